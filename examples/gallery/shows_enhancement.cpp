#include "shows.h"

#include <vector>

// What learns from the whole photo first: equalisation, colour balance, stretching. The left half
// of each picture is as it was before.

namespace gallery {
namespace {

using namespace mirl::colorOperations;

constexpr const char* kEnhancement = "Enhancement";

MirlImage beside(Stage& s, const MirlImage& before, const MirlImage& after) {
  MirlImage both = after;
  const MirlRect left(0, 0, before.width() / 2, before.height());
  check(before.copyTo(both, {0, 0}, left, s.stream), "copyTo");
  return both;
}

/// Flat and dark, as through fog at dusk.
MirlImage dull(Stage& s, const MirlImage& image) {
  return s.in(image.type(), image, 0.3f, 20);
}

template <class Operation>
MirlImage compared(Stage& s, const MirlImage& before, const Operation& operation) {
  return beside(s, before, s.run(operation, before));
}

/// Too little green and too much of another colour, blue first.
MirlImage tinted(Stage& s, float blue, float green, float red) {
  float matrix[] = {blue, 0, 0, 0, 0, green, 0, 0, 0, 0, red, 0};
  MirlImage out;
  check(channelMix(s.photo, out, matrix, s.stream), "channelMix");
  return out;
}

/// `adjust` works in place, so the time is that of a copy and the operation.
auto adjustBy(const MirlScalar& from, const MirlScalar& to, const MirlScalar& low,
              const MirlScalar& high) {
  return [=](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    out = in;
    return adjust(out, from, to, low, high, stream);
  };
}

/// The photo behind haze of this light, the more the higher up in the picture.
MirlImage hazy(Stage& s, double haze) {
  MirlImage out = s.photo;
  const int rows = out.height();
  std::vector<unsigned char> bytes(static_cast<std::size_t>(rows) *
                                   static_cast<std::size_t>(s.photo.width()) * 3);
  check(out.download(bytes.data(), s.photo.width() * 3), "download");
  const std::size_t row = bytes.size() / static_cast<std::size_t>(rows);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const double far = 1 - static_cast<double>(i / row) / rows;
    const double through = 1 - 0.75 * far;
    bytes[i] = static_cast<unsigned char>(bytes[i] * through + haze * (1 - through));
  }
  check(out.upload(bytes.data(), s.photo.width() * 3), "upload");
  return out;
}

const Show kShows[] = {
    {kEnhancement, "histEq", "equalised", "building", false,
     [](Stage& s) { return compared(s, s.gray, histEq); }},
    {kEnhancement, "histEq", "a dull photo equalised", "fruits", false,
     [](Stage& s) { return compared(s, dull(s, s.gray), histEq); }},
    {kEnhancement, "autoColor", "too red, some green added to blue", "fruits", false,
     [](Stage& s) { return compared(s, tinted(s, 0.5f, 0.8f, 1), autoColor); }},
    {kEnhancement, "autoColor", "too green, some of it added to red", "fruits", false,
     [](Stage& s) { return compared(s, tinted(s, 0.7f, 1, 0.4f), autoColor); }},
    {kEnhancement, "adjust", "a dull photo stretched to the whole range", "fruits", false,
     [](Stage& s) { return compared(s, dull(s, s.photo), adjustBy(0.0, 1.0, 0.0, 1.0)); }},
    {kEnhancement, "adjust", "only values between 0.3 and 0.7, made dark", "building", false,
     [](Stage& s) { return compared(s, s.gray, adjustBy(0.3, 0.7, 0.0, 0.3)); }},
    {kEnhancement, "dehaze", "haze that grows to the top, of light 230", "building", false,
     [](Stage& s) {
       const auto clear = [](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
         return dehaze(in, out, 230, 230, 230, stream);
       };
       const MirlImage before = hazy(s, 230);
       MirlImage edge = before;  // it stays
       return beside(s, before, s.runInto(edge, clear, before));
     }},
    {kEnhancement, "lowlight", "a photo at a quarter of its light", "fruits", false,
     [](Stage& s) { return compared(s, s.in(MIRL_8U_C3, s.photo, 0.25f), lowlight); }},
};

}  // namespace

std::span<const Show> enhancementShows() {
  return kShows;
}

}  // namespace gallery
