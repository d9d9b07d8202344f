#include "shows.h"

// Computer vision: pyramids with their levels side by side.

namespace gallery {
namespace {

constexpr const char* kVision = "Computer vision";
constexpr int kLevels = 5;
constexpr MirlInterpolationType kLinear = MIRL_INTERPOLATION_LINEAR;

/// The largest level, and the others in a column beside it.
MirlImage sideBySide(Stage& s, const MirlPyramid& pyramid, float shift) {
  const MirlImage& large = pyramid.largest();
  MirlImage all(large.width() + pyramid[1].width(), large.height(),
                large.channels() == 1 ? MIRL_8U_C1 : MIRL_8U_C3);
  check(all.set(24.0, s.stream), "set");
  int y = 0;
  for (int i = 0; i < pyramid.levels() && pyramid[i].isInitialized(); ++i) {
    const MirlImage level = s.in(all.type(), pyramid[i], shift > 0 ? 3.0f : 1.0f, shift);
    const MirlSize size = level.size();
    check(level.copyTo(all, {i == 0 ? 0 : large.width(), y}, {0, 0, size.width, size.height},
                       s.stream),
          "copyTo");
    if (i > 0) y += size.height;
  }
  return all;
}

/// Fills a pyramid through the stage.
template <class Fill>
MirlImage pyramidOf(Stage& s, const MirlImage& image, float shift, const Fill& fill) {
  MirlPyramid pyramid;
  s.run(
      [&](const MirlImage& in, MirlImage& out, const MirlStream&) {
        if (out.isInitialized()) pyramid.release();
        out.create(1, 1, MIRL_8U_C1);
        return fill(in, pyramid);
      },
      image);
  return sideBySide(s, pyramid, shift);
}

const Show kShows[] = {
    {kVision, "MirlPyramid", "a photo at half its size again and again", "building", false,
     [](Stage& s) {
       return pyramidOf(s, s.photo, 0, [](const MirlImage& in, MirlPyramid& levels) {
         return levels.create(in, kLevels, 0.5f, kLinear);
       });
     }},
    {kVision, "MirlPyramid", "Gaussian: each level blurred before it is halved", "building", false,
     [](Stage& s) {
       return pyramidOf(s, s.photo, 0, [](const MirlImage& in, MirlPyramid& levels) {
         return levels.createGaussian(in, kLevels, 0.5f, {5, 5}, 1.2f, kLinear);
       });
     }},
    {kVision, "MirlPyramid", "Laplacian of floats: the details of each size, three times as strong",
     "building", false,
     [](Stage& s) {
       const MirlImage floats = s.in(MIRL_32F_C1, s.gray, 1);
       return pyramidOf(s, floats, 128, [](const MirlImage& in, MirlPyramid& levels) {
         return levels.createLaplacian(in, kLevels, 0.5f, {5, 5}, 1.2f, kLinear);
       });
     }},
};

}  // namespace

std::span<const Show> visionShows() {
  return kShows;
}

}  // namespace gallery
