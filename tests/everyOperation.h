#pragma once

// One table of all operations from images to an image: what each takes and in which order it
// checks.

#include <algorithm>
#include <functional>

#include "support.h"

namespace mirl::test {

using Inputs = std::vector<MirlImage>;
using Call = std::function<MirlStatus(const Inputs&, MirlImage&, const MirlStream&)>;

/// What can be wrong with a call: an input is empty, the last of several has another size, the
/// output is the first input itself, the stream is dead, the input has channels that nobody serves,
/// a live output has other channels, another depth or too few columns or rows, nobody serves the
/// type, an argument of the operation's own is bad.
enum Wrong {
  kSource,
  kOther,
  kItself,
  kStream,
  kInputChannels,
  kChannels,
  kDepth,
  kSize,
  kType,
  kArgument,
  kWrongs
};
using Check = std::pair<Wrong, MirlStatus>;
using Checks = std::vector<Check>;

using DepthAndChannels = std::pair<int, int>;
using TypeList = std::vector<MirlType>;

/// What an empty output becomes.
inline DepthAndChannels sameSign(const Format& in) {
  return {in.depth, in.channels};
}
inline DepthAndChannels noSign(const Format& in) {
  return {std::abs(in.depth), in.channels};
}
inline DepthAndChannels floats(const Format& in) {
  return {32, in.channels};
}
inline DepthAndChannels complexNumbers(const Format&) {
  return {32, 2};
}
inline DepthAndChannels pairsOfBytes(const Format&) {
  return {8, 2};
}
template <int channels>
DepthAndChannels ofChannels(const Format& in) {
  return {std::abs(in.depth), channels};
}

/// What a live output may be, whatever becomes of an empty one.
inline bool sameType(const Format& in, const Format& out) {
  return out.type == in.type;
}
inline bool sameDepth(const Format& in, const Format& out) {
  return std::abs(out.depth) == std::abs(in.depth);
}
inline bool noShallower(const Format& in, const Format& out) {
  return std::abs(out.depth) >= std::abs(in.depth);
}
inline bool numbersNoShallower(const Format& in, const Format& out) {
  return isServed(out) && noShallower(in, out);
}
inline bool anyNumbers(const Format&, const Format& out) {
  return isServed(out);
}
inline bool floatsOnly(const Format&, const Format& out) {
  return isServed(out) && out.depth == 32;
}
inline bool colourOfSameSign(const Format& in, const Format& out) {
  return out.type - in.type == 2 || out.type - in.type == 3;
}

/// The types of inputs, which are all of one here, that an operation serves; its own test has the
/// rest to say if there are none.
struct Types {
  TypeList served;
  /// A live output has its channels and its depth, with either sign, but for what follows.
  DepthAndChannels (*created)(const Format& in) = noSign;
  bool (*depthFits)(const Format& in, const Format& out) = nullptr;
  bool (*channelsFit)(const Format& in, const Format& out) = nullptr;

  bool depthIsRight(const Format& in, const Format& out) const {
    if (depthFits != nullptr) return depthFits(in, out);
    return std::abs(out.depth) == std::abs(created(in).first);
  }
  bool channelsAreRight(const Format& in, const Format& out) const {
    return channelsFit != nullptr ? channelsFit(in, out) : out.channels == created(in).second;
  }
  /// Whether one of the types is like this.
  template <class Like>
  bool serves(const Like& like) const {
    return std::any_of(served.begin(), served.end(),
                       [&](MirlType type) { return like(formatOfType(type)); });
  }
};

/// What is unusual about an operation.
struct Traits {
  int inputs = 1;
  Call runBadly = nullptr;
  bool pointwise = true;  ///< what a pixel becomes is its own business, given its column's parity
  bool creates = true;
  /// A failure of the runtime on the way leaves an output that was created or written in part.
  bool partial = false;
  bool loses = false;   ///< and with this none
  bool rounds = false;  ///< devices, and rows of other pitches, agree within rounding only
  int outputDepthOfBadType = 64;
  int widthStep = 1, heightStep = 1;  ///< what the inputs' sides are multiples of
  MirlSize (*sizeOfOutput)(const MirlSize& size) = [](const MirlSize& size) { return size; };
  MirlSize sizeOfOthers = {0, 0};  ///< of the inputs behind the first, if it isn't the same
  MirlStatus copyFails = MIRL_COPY_D2D_FAILED;
};

/// A call with images of these types succeeds. The checks stand in their order; an empty output is
/// created behind that of the stream.
struct Operation {
  const char* name;
  MirlType in, out;
  Call run;
  Checks checks;
  Types types;
  Traits traits = {};
};

template <class T>
using Exactly = std::type_identity_t<T>;

/// Functions with arguments behind the images, between them and before them, and of several images.
template <class... Args>
Call behind(Exactly<MirlStatus (*)(const MirlImage&, MirlImage&, Args..., const MirlStream&)> run,
            Args... args) {
  return [=](const auto& in, auto& out, const auto& s) { return run(in[0], out, args..., s); };
}
template <class... Args>
Call between(Exactly<MirlStatus (*)(const MirlImage&, Args..., MirlImage&, const MirlStream&)> run,
             Args... args) {
  return [=](const auto& in, auto& out, const auto& s) { return run(in[0], args..., out, s); };
}
template <class Arg>
Call before(Exactly<MirlStatus (*)(Arg, const MirlImage&, MirlImage&, const MirlStream&)> run,
            Arg arg) {
  return [=](const auto& in, auto& out, const auto& s) { return run(arg, in[0], out, s); };
}
inline Call ofTwo(MirlStatus (*run)(const MirlImage&, const MirlImage&, MirlImage&,
                                    const MirlStream&)) {
  return [=](const auto& in, auto& out, const auto& s) { return run(in[0], in[1], out, s); };
}

inline Call blackGamma(bool bad = false) {
  static std::vector<Word> table(65536);
  for (std::size_t i = 0; i < table.size(); ++i) table[i] = static_cast<Word>(i * 31);
  return [=](const auto& in, auto& out, const auto& s) {
    Word* const t = table.data();
    return colorOperations::blackGammaLUT(in[0], out, t, t, bad ? nullptr : t, s);
  };
}

inline std::vector<Operation> operations() {
  using namespace arithmeticLogical;
  using namespace colorOperations;
  using namespace dataExchange;
  using namespace geometryTransforms;
  using namespace imageTransforms;
  using imageFiltering::imageFilter;
  using Stream = MirlStream;
  using Scalar = const MirlScalar&;
  using Filter = const MirlFilter&;
  using Region = const MirlRect&;
  using Center = MirlPoint2D<int>;
  const MirlType gray = MIRL_8U_C1, rgb = MIRL_8U_C3, wide = MIRL_16U_C3, real = MIRL_32F_C3,
                 flat = MIRL_16U_C2, v210 = MIRL_16U_C1;
  const MirlFilter sobel = MirlSpecialFilters::sobel(), tooLong(513, 1);
  const MirlScalar scalar(2.0, 0.5, 3.0);
  const MirlRect region(1, 2, 9, 7);
  static const float dozen[] = {300, 2, 3, 4, -5, 6, 0.7f, 8, 9, 10, 0.1f, 12};
  float* const values = const_cast<float*>(dozen);
  float* const null = nullptr;

  const Call copies = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return in[0].copyTo(out, {0, 0}, {0, 0, in[0].width(), in[0].height()}, s);
  };
  const Call widens = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return in[0].convertTo(out, MIRL_16U_C3, 200, 1, s);
  };
  const Call deepens = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return in[0].convertTo(out, 32, 2, 1, s);
  };
  const Call changesBits = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return bitConversion(in[0], out, s);
  };
  const Call splits = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return channelSplit(in[0], out, out, out, s);
  };
  const Call merges = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return channelMerge(in[0], in[1], in[2], out, s);
  };
  const Call corrects = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return FPNCorrection(in[0], out, in[1], in[2], 99.5f, s);
  };
  const Call derives = [](const Inputs& in, MirlImage& out, const Stream& s) {
    MirlImage other;
    const auto status = imageFiltering::imageGradients(in[0], out, other, MIRL_GRADIENT_SCHARR, s);
    if (other.release() != MIRL_SUCCESS) other.release();  // one fault at a time
    return status;
  };
  const Call transforms = [](const Inputs& in, MirlImage& out, const Stream& s) {
    MirlImage others[3];
    const auto status = haarFwd(in[0], others[0], others[1], out, others[2], s);
    for (MirlImage& another : others) {
      if (another.release() != MIRL_SUCCESS) another.release();  // one fault at a time
    }
    return status;
  };
  const Call restores = [](const Inputs& in, MirlImage& out, const Stream& s) {
    return haarInv(in[0], in[1], in[2], in[3], out, s);
  };
  static double matrix[3][3] = {{0.9, 0.2, 1}, {-0.3, 1.1, 0.5}, {1e-3, 2e-3, 1}};
  using Matrix = double(*)[3];
  const auto warp = [](auto* run, Matrix rows) { return behind<Matrix>(run, rows); };
  const auto crops = [](int top) { return behind<int, int, int, int>(crop, top, 2, 3, 4); };
  const auto flips = [](int axis) { return behind(flipImage, MirlFlipType(axis)); };
  const auto tapers = [](unsigned left) {
    return behind<unsigned, unsigned, unsigned, unsigned>(taper, left, 2, 3, 4);
  };
  const auto median = [](MirlSize window) {
    return behind<Region, const MirlSize&>(imageFiltering::medianFilter, MirlRect(), window);
  };
  // Of the whole image and, for a bad one, of more rows.
  const auto extreme = [](auto filter, int more) -> Call {
    return [=](const Inputs& in, MirlImage& out, const Stream& s) {
      return filter(in[0], out, {0, 0, in[0].width(), in[0].height() + more}, {5, 40}, s);
    };
  };
  const auto zooms = [](int mode) { return behind(resize, MirlInterpolationType(mode)); };
  const auto pads = [](float* colour) {
    return behind<int, int, int, int, const float*>(padImage, 1, 2, 3, 4, colour);
  };
  const auto masks = [](float* colour) {
    return behind<int, int, int, int, const float*>(borderMask, 1, 2, 3, 4, colour);
  };

  constexpr MirlStatus empty = MIRL_IMAGE_NOT_INITIALIZED, bad = MIRL_INVALID_ARGUMENT,
                       mismatch = MIRL_MISMATCH, noType = MIRL_TYPE_NOT_SUPPORTED,
                       noDepth = MIRL_DEPTH_NOT_SUPPORTED, noChannels = MIRL_CHANNELS_NOT_SUPPORTED;
  const Check source{kSource, empty}, other{kOther, mismatch}, dead{kStream, bad},
      itself{kItself, MIRL_IN_PLACE_NOT_SUPPORTED}, inputChannels{kInputChannels, noChannels},
      narrow{kSize, mismatch}, channels{kChannels, mismatch}, depth{kDepth, mismatch},
      argument{kArgument, bad}, pointer{kArgument, MIRL_NULL_POINTER}, badDepth{kDepth, noDepth},
      badChannels{kChannels, noChannels}, type{kType, noType}, deepType{kType, noDepth},
      mixedType{kType, mismatch};
  const Checks
      ofImages = {source, other, dead, channels, narrow, depth, mixedType},
      ofNumbers = {source, dead, channels, narrow, depth, mixedType},
      ofBits = {source, dead, channels, narrow, depth, type},
      toFloats = {source, dead, channels, badDepth, narrow, mixedType},
      copied = {source, dead, {kSize, bad}}, converted = {source, dead},
      convertedTo = {{kSource, noDepth}, dead},
      scaled = {source, narrow, channels, dead, {kDepth, noType}, type},
      rescaled = {source, deepType, badDepth, narrow, channels, dead},
      taken = {source, argument, {kInputChannels, bad}, badChannels, dead, type, narrow, depth},
      padded = {source, pointer, {kSize, bad}, channels, depth, dead, deepType},
      limited = {source, channels, narrow, depth, dead, mixedType},
      resized = {source, itself, channels, depth, dead, type, {kArgument, MIRL_NPP_FAILED}},
      rotated = {source, argument, itself, channels, depth, dead, mixedType},
      partRotated = {source, channels, depth, dead},
      rotatedNoCrop = {source, argument, itself, dead},
      cropped = {source, itself, dead, channels, depth, type, argument, narrow},
      flipped = {source, itself, dead, narrow, channels, depth, type, {kArgument, mismatch}},
      transposed = {source, itself, dead, {kSize, bad}, depth, channels, mixedType},
      tapered = {source, itself, argument, dead, narrow, channels, depth, mixedType},
      warped = {source, pointer, itself, channels, depth, dead, mixedType},
      toSpectrum = {{kSource, mismatch}, inputChannels, dead, narrow, badDepth,
                    badChannels,         deepType},
      shifted = {source, deepType, itself, dead, narrow, depth, channels},
      ofSpectrum = {source, deepType, inputChannels, dead, narrow, depth, channels},
      toBands = {source, dead, channels, type, narrow, depth},
      fromBands = {source, depth, channels, dead, mixedType, other},
      filtered = {source, itself, narrow, channels, depth, argument, dead, type},
      ranked = {source, dead, narrow, channels, depth, type, {kArgument, mismatch}, itself},
      extremes =
          {source, dead, narrow, channels, depth, mixedType, {kArgument, MIRL_ROI_OUT_OF_BOUNDS}},
      derived = {source, dead, narrow, channels, mixedType, depth, inputChannels},
      demosaiced = {source, inputChannels, dead,     badChannels,
                    narrow, depth,         deepType, {kArgument, mismatch}},
      directed = {source, inputChannels, dead, badChannels, narrow, depth, deepType, argument},
      toGray = {source, itself, inputChannels, dead, badChannels, narrow, depth, mixedType},
      fromGray = {source, itself, inputChannels, dead, narrow, depth, {kChannels, noType}, type},
      toOrFromHsv = {source, inputChannels, dead, channels, narrow, badDepth, deepType},
      toLab = {source, itself, inputChannels, dead, channels, narrow, depth, deepType},
      toLogarithms = {source, badDepth, dead, channels, narrow, deepType},
      lookedUp = {source, {kOther, bad}, {kType, bad}, dead, narrow, channels, depth},
      lookedUpOnHost = {source, pointer, dead, narrow, deepType, inputChannels, channels, depth},
      equalised = {source, type, dead, channels, narrow, depth},
      toBinary = {source, badChannels, dead, narrow, depth, mixedType},
      split = {source, inputChannels, dead, narrow, depth, deepType},
      merged = {source, inputChannels, other, dead, badChannels, narrow, depth, deepType},
      mixed = {source, pointer, inputChannels, dead, channels, narrow, depth, deepType},
      corrected = {source, other, channels, narrow, depth, dead, deepType, inputChannels},
      masked = {pointer, source, channels, narrow, depth, dead, deepType, inputChannels},
      unpacked = {source, badDepth, badChannels, dead},
      packed = {source, deepType, {kChannels, bad}, {kDepth, bad}, dead};
  const auto colours = [=](const Check& last) {
    return Checks{source, inputChannels, dead, channels, narrow, depth, last};
  };

  const auto types = [](const std::vector<int>& depths, const std::vector<int>& channelCounts) {
    TypeList list;
    for (const Format& format : allFormats()) {
      const bool named = std::count(depths.begin(), depths.end(), format.depth) != 0;
      const int n = format.channels;
      if (named && std::count(channelCounts.begin(), channelCounts.end(), n) != 0) {
        list.push_back(format.type);
      }
    }
    return list;
  };
  const std::vector<int> oneOrThree = {1, 3}, bytesOrWords = {8, -8, 16, -16};
  const TypeList all = types({8, 16, 32}, oneOrThree), all1 = types({8, 16, 32}, {1}),
                 all3 = types({8, 16, 32}, {3}), integers = types({8, 16}, oneOrThree),
                 bytes = types({8}, oneOrThree), bytesAndFloats3 = types({8, 32}, {3}),
                 anySign = types(bytesOrWords, oneOrThree), anySign1 = types(bytesOrWords, {1}),
                 anySign3 = types(bytesOrWords, {3}),
                 grayable = {MIRL_8U_C3, MIRL_8U_C4, MIRL_16U_C3, MIRL_16U_C4, MIRL_32F_C3};
  const Types ownTest{}, numbers{all, sameSign, numbersNoShallower},
      twoNumbers{all, noSign, numbersNoShallower}, asFloats{all, floats, floatsOnly},
      floatsAlone{types({32}, oneOrThree), sameSign, floatsOnly}, bits{integers, sameSign};
  const auto serve = [](const TypeList& list, auto... rules) { return Types{list, rules...}; };

  const Traits two{.inputs = 2}, three{.inputs = 3},
      withTable{.inputs = 2, .sizeOfOthers = {768, 1}}, toFloat{.outputDepthOfBadType = 32},
      converts{.loses = true}, needsOutput{.creates = false};
  const Traits ofArea{.pointwise = false},
      ofAreaToFloat{.pointwise = false, .outputDepthOfBadType = 32};
  const auto badly = [](const Call& run) { return Traits{.runBadly = run}; };
  const auto ofAreaBadly = [](const Call& run) {
    return Traits{.runBadly = run, .pointwise = false};
  };
  const auto filters = [](const Call& run) {
    return Traits{.runBadly = run, .pointwise = false, .partial = true};
  };
  // Widths of which every device makes rows without padding.
  const Traits packs{.creates = false, .widthStep = 384, .sizeOfOutput = [](const MirlSize& size) {
                       return MirlSize(size.width / 3 * 4, size.height);
                     }};
  const Traits unpacks{
      .creates = false, .widthStep = 512, .sizeOfOutput = [](const MirlSize& size) {
        return MirlSize(size.width / 4 * 3, size.height);
      }};
  Traits zoom = ofAreaBadly(zooms(4)), pad = ofAreaBadly(pads(null));
  zoom.creates = false;
  zoom.sizeOfOutput = [](const MirlSize& size) {
    return MirlSize(2 * size.width, 2 * size.height);
  };
  pad.sizeOfOutput = [](const MirlSize& size) { return MirlSize(size.width + 7, size.height + 3); };
  Traits halves{.pointwise = false, .widthStep = 2, .heightStep = 2};
  Traits doubles{.inputs = 4, .pointwise = false};
  halves.sizeOfOutput = [](const MirlSize& size) {
    return MirlSize(size.width / 2, size.height / 2);
  };
  doubles.sizeOfOutput = zoom.sizeOfOutput;
  const Traits spectrum{.pointwise = false, .rounds = true, .outputDepthOfBadType = 32},
      evenSides{.pointwise = false, .widthStep = 2, .heightStep = 2}, ofHeight = ofArea;
  Traits cut = ofAreaBadly(crops(-1)), swap = ofArea, fade = ofAreaBadly(tapers(32768));
  cut.sizeOfOutput = [](const MirlSize& size) { return MirlSize(size.width - 7, size.height - 3); };
  swap.sizeOfOutput = [](const MirlSize& size) { return MirlSize(size.height, size.width); };
  fade.sizeOfOutput = [](const MirlSize& size) {
    return MirlSize(size.width + 3, size.height + 7);
  };
  const auto shrinks = [=](auto filter) {
    return Traits{
        .runBadly = extreme(filter, 1), .pointwise = false, .copyFails = MIRL_COPY_D2ARRAY_FAILED};
  };
  const Traits gammaTables{.runBadly = blackGamma(true), .copyFails = MIRL_COPY_H2D_FAILED};

  return {
      {"add", wide, wide, ofTwo(add), ofImages, twoNumbers, two},
      {"subtract", rgb, rgb, ofTwo(subtract), ofImages, twoNumbers, two},
      {"multiply", gray, gray, ofTwo(multiply), ofImages, twoNumbers, two},
      {"divide", real, real, ofTwo(divide), ofImages, twoNumbers, two},
      {"absDiff", rgb, rgb, ofTwo(absDiff), ofImages, twoNumbers, two},
      {"add a number", wide, wide, between(add, 2.5), ofNumbers, numbers},
      {"add a scalar", rgb, rgb, between<Scalar>(add, scalar), ofNumbers, numbers},
      {"subtract from a number", wide, wide, before(subtract, 2e4), ofNumbers, numbers},
      {"subtract from a scalar", real, real, before<Scalar>(subtract, scalar), ofNumbers, numbers},
      {"multiply by a number", rgb, rgb, between(multiply, 1.5), ofNumbers, numbers},
      {"multiply by a scalar", rgb, rgb, between<Scalar>(multiply, scalar), ofNumbers, numbers},
      {"divide a number", gray, gray, before(divide, 500.0), ofNumbers, numbers},
      {"divide a scalar", wide, wide, before<Scalar>(divide, scalar), ofNumbers, numbers},
      {"pow", rgb, real, between(arithmeticLogical::pow, 2.5), toFloats, asFloats, toFloat},
      {"exp", wide, real, between(arithmeticLogical::exp), toFloats, asFloats, toFloat},
      {"sqrt", real, real, between(arithmeticLogical::sqrt), toFloats, asFloats, toFloat},
      {"cbrt", rgb, real, between(arithmeticLogical::cbrt), toFloats, asFloats, toFloat},
      {"abs", real, real, between(arithmeticLogical::abs), ofNumbers,
       serve(all, sameSign, sameType)},
      {"floor", real, real, between(arithmeticLogical::floor), toFloats, floatsAlone, toFloat},
      {"ceil", real, real, between(arithmeticLogical::ceil), toFloats, floatsAlone, toFloat},
      {"round", real, real, between(arithmeticLogical::round), toFloats, floatsAlone, toFloat},
      {"AND", rgb, rgb, ofTwo(AND), ofImages, serve(integers), two},
      {"OR", wide, wide, ofTwo(OR), ofImages, serve(integers), two},
      {"XOR", gray, gray, ofTwo(XOR), ofImages, serve(integers), two},
      {"AND a number", rgb, rgb, between(AND, 0x5A), ofBits, bits},
      {"OR a number", wide, wide, between(OR, 0x5A5A), ofBits, bits},
      {"XOR a number", gray, gray, between(XOR, 0x5A), ofBits, bits},
      {"SHL", wide, wide, between(SHL, 3), ofBits, bits},
      {"SHR", rgb, rgb, between(SHR, 3), ofBits, bits},
      {"NOT", rgb, rgb, between(NOT), ofNumbers, serve(integers, sameSign, sameType)},
      {"copyTo", rgb, rgb, copies, copied, ownTest},
      {"convertScale", wide, wide, behind(convertScale, 0.5f, 3.0f), scaled,
       serve(all, sameSign, anyNumbers)},
      {"convertTo", rgb, wide, widens, converted, ownTest, converts},
      {"convertTo a depth", wide, real, deepens, convertedTo, ownTest, converts},
      {"bitConversion", rgb, rgb, changesBits, rescaled, ownTest, needsOutput},
      {"getChannel", wide, MIRL_16U_C1, behind(getChannel, 2), taken,
       serve(types({8, 16, 32}, {3, 4}), ofChannels<1>, noShallower), badly(behind(getChannel, 3))},
      {"padImage", rgb, rgb, pads(values), padded, ownTest, pad},
      {"threshold", wide, wide, behind<Scalar, Scalar>(threshold, scalar, 999), limited, bits},
      {"resize", wide, wide, zooms(MIRL_INTERPOLATION_CUBIC), resized, serve(all), zoom},
      {"rotate", rgb, rgb, behind(rotate, 30.0f, Center(5, 5)), rotated, serve(all, sameSign),
       ofAreaBadly(behind(rotate, NAN, Center(5, 5)))},
      {"rotate a part", wide, wide,
       behind<float, Center, Region>(rotate, 100, Center(4, 4), region), partRotated, ownTest,
       ofArea},
      {"rotateNoCrop", rgb, rgb, behind(rotateNoCrop, 20.0f), rotatedNoCrop, ownTest,
       ofAreaBadly(behind(rotateNoCrop, -INFINITY))},
      {"crop", flat, flat, crops(1), cropped, ownTest, cut},
      {"flipImage", rgb, rgb, flips(MIRL_FLIP_BOTH), flipped, serve(all, sameSign),
       ofAreaBadly(flips(3))},
      {"transpose", wide, wide, behind(geometryTransforms::transpose), transposed,
       serve(all, sameSign), swap},
      {"taper", rgb, rgb, tapers(1), tapered, ownTest, fade},
      {"warpAffine", rgb, rgb, warp(warpAffine, matrix), warped, serve(all, sameSign),
       ofAreaBadly(warp(warpAffine, nullptr))},
      {"warpAffineBack", wide, wide, warp(warpAffineBack, matrix), warped, serve(all, sameSign),
       ofAreaBadly(warp(warpAffineBack, nullptr))},
      {"warpPerspective", real, real, warp(warpPerspective, matrix), warped, serve(all, sameSign),
       ofAreaBadly(warp(warpPerspective, nullptr))},
      {"warpPerspectiveBack", gray, gray, warp(warpPerspectiveBack, matrix), warped,
       serve(all, sameSign), ofAreaBadly(warp(warpPerspectiveBack, nullptr))},
      {"imageFilter", rgb, rgb, behind<Filter>(imageFilter, sobel), filtered, serve(all, sameSign),
       filters(behind<Filter>(imageFilter, tooLong))},
      {"imageFilter in a part", wide, wide,
       behind<Region, Filter, bool>(imageFilter, region, sobel, true), filtered,
       serve(all, sameSign),
       filters(behind<Region, Filter, bool>(imageFilter, region, tooLong, true))},
      {"medianFilter", rgb, rgb, median({5, 5}), ranked, serve(bytes, sameSign),
       ofAreaBadly(median({3, 5}))},
      {"minFilter", rgb, rgb, extreme(imageFiltering::minFilter, 0), extremes,
       serve(bytes, sameSign), shrinks(imageFiltering::minFilter)},
      {"maxFilter", gray, gray, extreme(imageFiltering::maxFilter, 0), extremes,
       serve(bytes, sameSign), shrinks(imageFiltering::maxFilter)},
      {"imageGradients", rgb, real, derives, derived,
       serve(types({8, -8, 32, -32}, oneOrThree), floats), ofAreaToFloat},
      {"demosaic", gray, rgb, behind(demosaic, MIRL_BAYER_GRBG_HQ), demosaiced,
       serve(anySign1, ofChannels<3>), ofAreaBadly(behind(demosaic, MirlBayerSeq(9)))},
      {"demosaicDFPD", gray, rgb, behind(demosaicDFPD, MIRL_BAYER_GRBG, true), directed,
       serve(anySign1, ofChannels<3>), ofAreaBadly(behind(demosaicDFPD, MIRL_BAYER_BGGR_HQ, true))},
      {"fft2", gray, MIRL_32F_C2, behind(fft2), toSpectrum,
       serve({MIRL_8U_C1, MIRL_8S_C1}, complexNumbers), spectrum},
      {"fftShift", MIRL_32F_C2, MIRL_32F_C2, behind(fftShift), shifted,
       serve(types({32, -32}, {1, 2, 3, 4}), sameSign, sameDepth), evenSides},
      {"fftGetProperty", MIRL_32F_C2, MIRL_32F_C1, behind(fftGetProperty, MIRL_FFT_PHASE_SCALED),
       ofSpectrum, serve({MIRL_32F_C2, MIRL_32S_C2}, ofChannels<1>), ofHeight},
      {"haarFwd", rgb, rgb, transforms, toBands, ownTest, halves},
      {"haarInv", rgb, rgb, restores, fromBands, ownTest, doubles},
      {"rgb2gray", rgb, gray, behind(rgb2gray), toGray, serve(grayable, ofChannels<1>)},
      {"rgb2gray with weights", rgb, gray, behind<Scalar>(rgb2gray, {0.2, 0.7, 0.1}), toGray,
       serve(all3, ofChannels<1>)},
      {"gray2rgb", gray, rgb, behind(gray2rgb), fromGray,
       serve(all1, ofChannels<3>, nullptr, colourOfSameSign)},
      {"rgb2yuv", rgb, rgb, behind(rgb2yuv), colours(deepType), serve(anySign3)},
      {"yuv2rgb", wide, wide, behind(yuv2rgb), colours(deepType), serve(anySign3)},
      {"rgb2yuv422", rgb, MIRL_8U_C2, behind(rgb2yuv422), colours(type),
       serve({MIRL_8U_C3}, pairsOfBytes, sameDepth)},
      {"rgb2ycbcr", rgb, rgb, behind(rgb2ycbcr), colours(type), serve(all3)},
      {"ycbcr2rgb", wide, wide, behind(ycbcr2rgb), colours(type), serve(all3)},
      {"rgb2hsv", real, real, behind(rgb2hsv), toOrFromHsv,
       serve(bytesAndFloats3, sameSign, sameType)},
      {"hsv2rgb", rgb, rgb, behind(hsv2rgb), toOrFromHsv,
       serve(bytesAndFloats3, sameSign, sameType)},
      {"rgb2Lab", rgb, rgb, behind(rgb2Lab), toLab, serve(bytesAndFloats3)},
      {"Lab2rgb", rgb, rgb, behind(Lab2rgb), colours(deepType), serve(bytesAndFloats3)},
      {"gammaCorrect", rgb, rgb, behind(gammaCorrect, 2.2f), ofNumbers, serve(bytes)},
      {"logTransform", wide, real, behind(logTransform, 2.0f), toLogarithms, serve(all, floats),
       toFloat},
      {"LUT", rgb, rgb, ofTwo(LUT), lookedUp, ownTest, withTable},
      {"histEq", gray, gray, behind(histEq), equalised, serve({MIRL_8U_C1}, sameSign), ofArea},
      // What dehaze does as well, which leaves edges unset.
      {"lowlight", rgb, rgb, behind(lowlight), colours(type), serve(types({8, 16}, {3}), sameSign),
       ofArea},
      {"blackGammaLUT", wide, wide, blackGamma(), lookedUpOnHost, serve(anySign3), gammaTables},
      {"imageBinary", rgb, gray, behind(imageBinary, 0.4f), toBinary, serve(bytes, ofChannels<1>)},
      {"channelSplit", rgb, gray, splits, split, serve(all3, ofChannels<1>)},
      {"channelMerge", gray, rgb, merges, merged, serve(all1, ofChannels<3>), three},
      {"channelMix", wide, wide, behind(channelMix, values), mixed, serve(all3, sameSign),
       badly(behind(channelMix, null))},
      {"colorPick", rgb, rgb, behind(colorPick, MIRL_COLOR_GREEN, 9.0f), colours(deepType),
       serve(types({8, -8}, {3}))},
      {"FPNCorrection", wide, wide, corrects, corrected, serve(anySign), three},
      {"borderMask", wide, wide, masks(values), masked, serve(anySign), ofAreaBadly(masks(null))},
      {"V210TOYUV444", v210, wide, behind(V210TOYUV444), unpacked, ownTest, unpacks},
      {"YUV444TOV210", wide, v210, behind(YUV444TOV210), packed, ownTest, packs},
      {"YUV422TOV210", flat, v210, behind(YUV422TOV210), packed, ownTest, packs}};
}

}  // namespace mirl::test
