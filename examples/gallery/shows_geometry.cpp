#include "shows.h"

// Sizes, turns, warps and moves.

namespace gallery {
namespace {

using namespace mirl::geometryTransforms;

constexpr const char* kGeometry = "Sizes, turns and warps";
constexpr const char* kMoves = "Flips and margins";

template <MirlFlipType flip>
MirlImage flipped(Stage& s) {
  const auto operation = [](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    return flipImage(in, out, flip, stream);
  };
  return s.run(operation, s.photo);
}

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

using Point = MirlPoint2D<double>;

/// Straightens the page between four corners, parts of the photo's width and height from the upper
/// left one on clockwise, into a square.
MirlImage straightened(Stage& s, const Point (&corners)[4]) {
  constexpr int kSide = 500;
  Point p[4];
  for (int i = 0; i < 4; ++i) {
    p[i] = {corners[i].x * s.photo.width(), corners[i].y * s.photo.height()};
  }
  // The matrix that takes the square to the four corners: its first two columns of the third row
  // are how much the opposite sides converge.
  const Point right(p[1].x - p[2].x, p[1].y - p[2].y), low(p[3].x - p[2].x, p[3].y - p[2].y);
  const Point skew(p[0].x - p[1].x + p[2].x - p[3].x, p[0].y - p[1].y + p[2].y - p[3].y);
  const double area = right.x * low.y - low.x * right.y;
  const double g = (skew.x * low.y - low.x * skew.y) / area;
  const double h = (right.x * skew.y - skew.x * right.y) / area;
  double m[3][3] = {{p[1].x - p[0].x + g * p[1].x, p[3].x - p[0].x + h * p[3].x, p[0].x},
                    {p[1].y - p[0].y + g * p[1].y, p[3].y - p[0].y + h * p[3].y, p[0].y},
                    {g, h, 1}};
  for (auto& row : m) {
    row[0] /= kSide - 1;
    row[1] /= kSide - 1;
  }
  return s.runInto(
      MirlImage(kSide, kSide, MIRL_8U_C3),
      [&](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
        return warpPerspectiveBack(in, out, m, stream);
      },
      s.photo);
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
    {kGeometry, "warpAffine", "sheared and made smaller", "baboon", false,
     [](Stage& s) {
       double m[2][3] = {{0.8, 0.25, 0}, {-0.15, 0.7, 0.2 * s.photo.height()}};
       return s.run([&](const MirlImage& in, MirlImage& out,
                        const MirlStream& stream) { return warpAffine(in, out, m, stream); },
                    s.photo);
     }},
    {kGeometry, "warpPerspectiveBack", "a page straightened by its corners", "sudoku", false,
     [](Stage& s) {
       return straightened(s, {{0.129, 0.155}, {0.893, 0.122}, {0.93, 0.925}, {0.066, 0.913}});
     }},
    {kMoves, "flipImage", "top to bottom", "building", false, flipped<MIRL_FLIP_UD>},
    {kMoves, "flipImage", "left to right", "building", false, flipped<MIRL_FLIP_LR>},
    {kMoves, "flipImage", "both", "building", false, flipped<MIRL_FLIP_BOTH>},
    {kMoves, "transpose", "rows as columns", "building", false,
     [](Stage& s) {
       const auto operation = [](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
         return transpose(in, out, stream);
       };
       return s.run(operation, s.photo);
     }},
    {kMoves, "crop", "a quarter cut off all around", "fruits", false,
     [](Stage& s) {
       const int x = s.photo.width() / 4, y = s.photo.height() / 4;
       const auto operation = [=](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
         return crop(in, out, y, y, x, x, stream);
       };
       return s.run(operation, s.photo);
     }},
    {kMoves, "taper", "margins of four widths that fade to the mean", "fruits", false,
     [](Stage& s) {
       const auto w = static_cast<unsigned>(s.photo.width());
       const auto operation = [=](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
         return taper(in, out, w / 4, w / 2, w / 8, w / 3, stream);
       };
       return s.run(operation, s.photo);
     }},
};

}  // namespace

std::span<const Show> geometryShows() {
  return kShows;
}

}  // namespace gallery
