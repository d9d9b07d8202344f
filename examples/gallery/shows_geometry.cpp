#include "shows.h"

// Resize and rotate.

namespace gallery {
namespace {

using namespace mirl::geometryTransforms;

constexpr const char* kGeometry = "Resize and rotate";

/// A piece from the middle of the photo, four times as large.
MirlImage enlarged(Stage& s, MirlInterpolationType interpolation) {
  const MirlSize size(s.photo.width() / 5, s.photo.height() / 5);
  const MirlRect middle(s.photo.width() / 2, s.photo.height() * 2 / 5, size.width, size.height);
  MirlImage piece;
  check(s.photo.copyTo(piece, {0, 0}, middle, s.stream), "copyTo");
  return s.runInto(
      MirlImage(size.width * 4, size.height * 4, MIRL_8U_C3),
      [=](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
        return resize(in, out, interpolation, stream);
      },
      piece);
}

MirlPoint2D<int> middleOf(const MirlImage& image) {
  return {image.width() / 2, image.height() / 2};
}

const Show kShows[] = {
    {kGeometry, "resize", "a piece x 4, nearest neighbour", "fruits", false,
     [](Stage& s) { return enlarged(s, MIRL_INTERPOLATION_NN); }},
    {kGeometry, "resize", "a piece x 4, bilinear", "fruits", false,
     [](Stage& s) { return enlarged(s, MIRL_INTERPOLATION_LINEAR); }},
    {kGeometry, "resize", "a piece x 4, bicubic", "fruits", false,
     [](Stage& s) { return enlarged(s, MIRL_INTERPOLATION_CUBIC); }},
    {kGeometry, "rotate", "30 degrees, of the same size", "building", false,
     [](Stage& s) {
       return s.run(
           [](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
             return rotate(in, out, 30, middleOf(in), stream);
           },
           s.photo);
     }},
    {kGeometry, "rotate", "45 degrees inside a rectangle", "baboon", false,
     [](Stage& s) {
       const int side = s.photo.height() / 2;
       const MirlRect region(s.photo.width() / 4, s.photo.height() / 4, side, side);
       return s.run(
           [=](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
             return rotate(in, out, 45, {side / 2, side / 2}, region, stream);
           },
           s.photo);
     }},
    {kGeometry, "rotateNoCrop", "30 degrees, all of it kept", "building", false,
     [](Stage& s) {
       return s.run([](const MirlImage& in, MirlImage& out,
                       const MirlStream& stream) { return rotateNoCrop(in, out, 30, stream); },
                    s.photo);
     }},
};

}  // namespace

std::span<const Show> geometryShows() {
  return kShows;
}

}  // namespace gallery
