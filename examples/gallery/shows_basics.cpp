#include "shows.h"

// Image files, arithmetic and depth conversion.

namespace gallery {
namespace {

using namespace mirl::arithmeticLogical;
using namespace mirl::dataExchange;

/// The photo as a file of 16 bits and 3 channels.
std::string deepFile(Stage& s) {
  return s.save(s.in(MIRL_16U_C3, s.photo, 257), "deep.png", false);
}

/// An operation for Stage::run.
auto scaling(float scale, float shift = 0) {
  return [=](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    return convertScale(in, out, scale, shift, stream);
  };
}

/// An operation of two images among those of its name.
using OfTwo = MirlStatus(const MirlImage&, const MirlImage&, MirlImage&, const MirlStream&);

/// An image like another one whose elements have so many significant bits.
MirlImage withBits(const MirlImage& image, MirlType type, int bits) {
  MirlImage made = Stage::like(image, type);
  check(made.setDataBits(bits), "setDataBits");
  return made;
}

/// The photo with fewer or more significant bits, and with 8 again.
MirlImage throughBits(Stage& s, int bits) {
  const MirlType type = bits > 8 ? MIRL_16U_C3 : MIRL_8U_C3;
  const MirlImage other = s.runInto(withBits(s.photo, type, bits), bitConversion, s.photo);
  return s.runInto(Stage::like(s.photo, MIRL_8U_C3), bitConversion, other);
}

MirlImage asFloat(const Stage& s, const MirlImage& image) {
  return s.in(MIRL_32F_C3, image, 1.0f / 255);
}

MirlStatus tinted(const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return multiply(in, MirlScalar(0.6, 0.85, 1.15), out, stream);
}
MirlStatus negative(const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return subtract(255.0, in, out, stream);
}
MirlStatus power(const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return mirl::arithmeticLogical::pow(in, 0.45, out, stream);
}
MirlStatus upperBits(const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return AND(in, 0xC0, out, stream);
}
/// The operators run on the default stream.
MirlStatus moreContrast(const MirlImage& in, MirlImage& out, const MirlStream&) {
  out = in + (in - 128.0) / 2.0;
  return out.isInitialized() ? MIRL_SUCCESS : MIRL_OPERATION_FAILED;
}

constexpr const char* kFiles = "Image files";
constexpr const char* kArithmetic = "Arithmetic";
constexpr const char* kDepth = "Depth conversion";

const Show kShows[] = {
    {kFiles, "saveImage", "a JPEG file from float, 0 to 1", "fruits", false,
     [](Stage& s) {
       return s.load(s.save(asFloat(s, s.photo), "float.jpg"), MIRL_LOAD_ANYDEPTH_ANYCOLOR, false);
     }},
    {kFiles, "saveImage", "a PNG file from 16 bits", "fruits", false,
     [](Stage& s) {
       const MirlImage deep = s.in(MIRL_16U_C3, s.photo, 257);
       return s.load(s.save(deep, "deep.png"), MIRL_LOAD_ANYDEPTH_ANYCOLOR, false);
     }},
    {kFiles, "loadImage", "GRAYSCALE: 8 bits, 1 channel", "fruits", false,
     [](Stage& s) { return s.load(deepFile(s), MIRL_LOAD_GRAYSCALE); }},
    {kFiles, "loadImage", "COLOR: 8 bits, 3 channels", "fruits", false,
     [](Stage& s) { return s.load(deepFile(s), MIRL_LOAD_COLOR); }},
    {kFiles, "loadImage", "ANYDEPTH: 16 bits as in the file, 1 channel", "fruits", false,
     [](Stage& s) { return s.load(deepFile(s), MIRL_LOAD_ANYDEPTH); }},
    {kFiles, "loadImage", "ANYDEPTH_ANYCOLOR: both as in the file", "fruits", false,
     [](Stage& s) { return s.load(deepFile(s), MIRL_LOAD_ANYDEPTH_ANYCOLOR); }},

    {kArithmetic, "add", "8 bits: what is too bright becomes white", "fruits", true,
     [](Stage& s) { return s.run<OfTwo>(add, s.first, s.second); }},
    {kArithmetic, "add", "into 16 bits, shown halved: the mean", "fruits", true,
     [](Stage& s) {
       const MirlImage sum =
           s.runInto<OfTwo>(Stage::like(s.first, MIRL_16U_C3), add, s.first, s.second);
       return s.in(MIRL_8U_C3, sum, 0.5f);
     }},
    {kArithmetic, "multiply", "in float: one photo through the other", "fruits", true,
     [](Stage& s) { return s.run<OfTwo>(multiply, asFloat(s, s.first), asFloat(s, s.second)); }},
    {kArithmetic, "subtract", "two frames in float; gray is no change", "basketball", true,
     [](Stage& s) {
       const MirlImage change = s.run<OfTwo>(subtract, asFloat(s, s.first), asFloat(s, s.second));
       return s.in(MIRL_8U_C3, change, 255, 128);
     }},
    {kArithmetic, "subtract", "8 bits: what is below 0 becomes black, x 3", "basketball", true,
     [](Stage& s) { return s.in(MIRL_8U_C3, s.run<OfTwo>(subtract, s.first, s.second), 3); }},
    {kArithmetic, "absDiff", "what moved, x 3", "basketball", true,
     [](Stage& s) { return s.in(MIRL_8U_C3, s.run(absDiff, s.first, s.second), 3); }},
    {kArithmetic, "absDiff", "what moved, x 6", "rubberwhale", true,
     [](Stage& s) { return s.in(MIRL_8U_C3, s.run(absDiff, s.first, s.second), 6); }},
    {kArithmetic, "divide", "the ratio of two frames; gray is 1", "rubberwhale", true,
     [](Stage& s) {
       return s.in(MIRL_8U_C3, s.run<OfTwo>(divide, asFloat(s, s.first), asFloat(s, s.second)),
                   128);
     }},

    {kArithmetic, "multiply", "by a scalar: evening light", "fruits", false,
     [](Stage& s) { return s.run(tinted, s.photo); }},
    {kArithmetic, "subtract", "from a constant: 255 minus the photo", "fruits", false,
     [](Stage& s) { return s.run(negative, s.photo); }},
    {kArithmetic, "pow", "8 bits to float, power 0.45: brighter shadows", "fruits", false,
     [](Stage& s) { return s.in(MIRL_8U_C3, s.run(power, s.photo), 21.07f); }},
    {kArithmetic, "NOT", "every bit turned over: again a negative", "aloeL", false,
     [](Stage& s) { return s.run(NOT, s.photo); }},
    {kArithmetic, "AND", "with 0xC0: the two upper bits, four tones", "aloeL", false,
     [](Stage& s) { return s.run(upperBits, s.photo); }},
    {kArithmetic, "XOR", "of two frames: black is no change", "basketball", true,
     [](Stage& s) { return s.run<OfTwo>(XOR, s.first, s.second); }},
    {kArithmetic, "operators", "photo + (photo - 128.0) / 2: more contrast", "aloeL", false,
     [](Stage& s) { return s.in(MIRL_8U_C3, s.run(moreContrast, s.photo), 1); }},

    {kDepth, "convertScale", "8 to 16 bits, x 257", "aloeL", false,
     [](Stage& s) { return s.runInto(Stage::like(s.photo, MIRL_16U_C3), scaling(257), s.photo); }},
    {kDepth, "convertScale", "16 to 8 bits, and 1.5 times the contrast", "aloeL", false,
     [](Stage& s) {
       const MirlImage deep = s.in(MIRL_16U_C3, s.photo, 257);
       return s.runInto(Stage::like(s.photo, MIRL_8U_C3), scaling(1.5f / 257, -50), deep);
     }},
    {kDepth, "convertScale", "8 bits to float, 0 to 1", "aloeL", false,
     [](Stage& s) {
       return s.runInto(Stage::like(s.photo, MIRL_32F_C3), scaling(1.0f / 255), s.photo);
     }},
    {kDepth, "convertScale", "float and back to 8: the difference, x 255", "aloeL", false,
     [](Stage& s) {
       const MirlImage back =
           s.runInto(Stage::like(s.photo, MIRL_8U_C3), scaling(255), asFloat(s, s.photo));
       return s.difference(s.photo, back, 255);
     }},
    {kDepth, "bitConversion", "8 to 10 bits, shown as if it were 12", "baboon", false,
     [](Stage& s) {
       const MirlImage video =
           s.runInto(withBits(s.photo, MIRL_16U_C3, 10), bitConversion, s.photo);
       return s.in(MIRL_8U_C3, video, 255.0f / 4095);
     }},
    {kDepth, "bitConversion", "to 2 bits and back to 8", "baboon", false,
     [](Stage& s) { return throughBits(s, 2); }},
    {kDepth, "bitConversion", "to 12 bits and back: off by 0 or 1, x 100", "aloeL", false,
     [](Stage& s) { return s.difference(s.photo, throughBits(s, 12), 100); }},
    {kDepth, "bitConversion", "to 4 bits and back: the difference, x 12", "aloeL", false,
     [](Stage& s) { return s.difference(s.photo, throughBits(s, 4), 12); }},
};

}  // namespace

std::span<const Show> basicShows() {
  return kShows;
}

}  // namespace gallery
