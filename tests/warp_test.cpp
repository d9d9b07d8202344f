// warpAffine and warpPerspective, forward and back: places, borders, refusals.

#include <array>
#include <cmath>

#include "support.h"

namespace mirl::test {
namespace {

using namespace geometryTransforms;
using Matrix = std::array<std::array<double, 3>, 3>;
using Warp = MirlStatus (*)(const MirlImage&, MirlImage&, double (*)[3], const MirlStream&);

constexpr double kInfinity = std::numeric_limits<double>::infinity();

MirlStatus run(Warp warp, const MirlImage& in, MirlImage& out, const Matrix& matrix,
               const MirlStream& stream = MirlStream()) {
  double rows[3][3];
  for (int i = 0; i < 3; ++i) std::copy_n(matrix[static_cast<std::size_t>(i)].data(), 3, rows[i]);
  return warp(in, out, rows, stream);
}

class Warps : public DeviceTest {};

/// What destination pixels take from a source by the matrix of the way back.
template <class T>
Pixels<T> expected(const Pixels<T>& in, const MirlSize& size, const Matrix& m, bool perspective) {
  Pixels<T> out(size.width, size.height, in.channels);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const auto form = [&](std::size_t i) { return m[i][0] * x + (m[i][1] * y + m[i][2]); };
      const double w = perspective ? form(2) : 1.0, px = form(0) / w, py = form(1) / w;
      if (!(px >= 0 && px <= in.width - 1 && py >= 0 && py <= in.height - 1)) continue;
      const int left = static_cast<int>(px), top = static_cast<int>(py);
      const int right = std::min(left + 1, in.width - 1), low = std::min(top + 1, in.height - 1);
      const auto f = static_cast<float>(px - left), g = static_cast<float>(py - top);
      for (int k = 0; k < in.channels; ++k) {
        const auto at = [&](int column, int row) {
          return static_cast<float>(in.at(column, row, k));
        };
        const auto mix = [](float a, float b, float part) { return std::fma(part, b - a, a); };
        const float value =
            mix(mix(at(left, top), at(right, top), f), mix(at(left, low), at(right, low), f), g);
        if constexpr (std::is_same_v<T, float>) {
          out.at(x, y, k) = value;
        } else {
          out.at(x, y, k) = static_cast<T>(std::floor(static_cast<double>(value) + 0.5));
        }
      }
    }
  }
  return out;
}

/// A turn with a scale about a point, on the way back.
Matrix turn(double degrees, double scale, double x, double y) {
  const double radians = degrees * 3.14159265358979 / 180;
  const double c = std::cos(radians) * scale, s = std::sin(radians) * scale;
  return {{{c, -s, x - c * x + s * y}, {s, c, y - s * x - c * y}, {0, 0, 1}}};
}

template <class T>
void check(const Pixels<T>& in, const MirlSize& size, const Matrix& matrix, int pitch = 0,
           int outPitch = 0) {
  for (const bool perspective : {false, true}) {
    SCOPED_TRACE(testing::Message()
                 << (perspective ? "perspective" : "affine") << " by " << matrix[0][0] << ", "
                 << matrix[0][1] << ", " << matrix[0][2] << ", " << in.width << "x" << in.height
                 << " to " << size.width << "x" << size.height);
    const auto warp = [&](const MirlImage& image, MirlImage& out) {
      return run(perspective ? warpPerspectiveBack : warpAffineBack, image, out, matrix);
    };
    expectInto(warp, in, expected(in, size, matrix, perspective), pitch, outPitch);
  }
}

TEST_P(Warps, WayBackOfEveryTypeSizeAndPitch) {
  forEachFormat([]<class T>(T, int channels) {
    unsigned seed = 1;
    for (const MirlSize& size : awkwardSizes()) {
      const auto in = randomPixels<T>(size.width, size.height, channels, seed++);
      const double x = size.width / 2, y = size.height / 2;
      const MirlSize larger(size.width + 40, size.height + 9), smaller((size.width + 1) / 2, 2);
      for (const MirlSize& to : {size, larger, smaller}) {
        for (const double degrees : {0.0, 10.0, 45.0, 90.0, 180.0, -77.0}) {
          Matrix matrix = turn(degrees, 1, x, y);
          check(in, to, matrix);
          matrix[2] = {0.001, -0.002, 1.0};
          check(in, to, matrix);
        }
        check(in, to, turn(33, 0.1, x, y));
        check(in, to, turn(-5, 7, x, y));
        check(in, to, {{{1, 0, -0.5}, {0, 1, 0.25}, {0, 0, 49}}});
        // Rows of one long run, the horizon across the picture, far away.
        check(in, to, {{{1, 0, 3}, {0, 1, -1}, {0.1, 0, -1}}});
        check(in, to, {{{1e10, 0, -5e10}, {0, -1e30, 5e30}, {0, 1e-40, 1}}});
      }
    }
    const auto in = randomPixels<T>(97, 61, channels, 5);
    forOddPitches(in.rowBytes(), in.rowBytes(), [&](int from, int to) {
      for (const double degrees : {0, 25, 90}) {
        check(in, {97, 61}, turn(degrees, 0.9, 50, 30), from, to);
      }
    });
  });
  check(randomPixels<Byte>(1200, 900, 1, 1), {1200, 900}, turn(20, 1.5, 600, 400));
  check(randomPixels<Byte>(1200, 900, 3, 1), {700, 2100}, turn(-140, 0.6, 600, 400));
}

// Matrices whose inverses are exact: both ways give the same pixels.
TEST_P(Warps, ForwardIsTheInverse) {
  const Matrix pairs[][2] = {
      {{{{1, 0, 5}, {0, 1, -3}, {0, 0, 1}}}, {{{1, 0, -5}, {0, 1, 3}, {0, 0, 1}}}},
      {{{{2, 0, 1}, {0, 0.5, 8}, {0, 0, 1}}}, {{{0.5, 0, -0.5}, {0, 2, -16}, {0, 0, 1}}}},
      {{{{0, -1, 60}, {1, 0, 0}, {0, 0, 1}}}, {{{0, 1, 0}, {-1, 0, 60}, {0, 0, 1}}}},
      {{{{3, 2, 1}, {1, 1, -4}, {0, 0, 1}}}, {{{1, -2, -9}, {-1, 3, 13}, {0, 0, 1}}}}};
  forEachFormat([&]<class T>(T, int channels) {
    const MirlImage in = toImage(randomPixels<T>(83, 61, channels, 9));
    for (const auto& [forward, back] : pairs) {
      MirlImage there, here, steep, flat;
      EXPECT_EQ(run(warpAffine, in, there, forward), MIRL_SUCCESS);
      EXPECT_EQ(run(warpAffineBack, in, here, back), MIRL_SUCCESS);
      EXPECT_EQ(run(warpPerspective, in, steep, forward), MIRL_SUCCESS);
      Matrix multiple = back;
      for (auto& row : multiple) {
        for (double& coefficient : row) coefficient *= -0x1p-60;
      }
      EXPECT_EQ(run(warpPerspectiveBack, in, flat, multiple), MIRL_SUCCESS);
      EXPECT_EQ(bytesOf(there), bytesOf(here));
      EXPECT_EQ(bytesOf(there), bytesOf(steep));
      EXPECT_EQ(bytesOf(there), bytesOf(flat));
    }
  });
}

// Pixels that hold their own coordinates tell where they came from.
TEST_P(Warps, PixelsComeWhereTheMatrixTakesThem) {
  Pixels<float> where(200, 150, 3);
  for (int y = 0; y < 150; ++y) {
    for (int x = 0; x < 200; ++x) {
      where.at(x, y, 0) = static_cast<float>(x);
      where.at(x, y, 1) = static_cast<float>(y);
      where.at(x, y, 2) = 1;
    }
  }
  const Matrix affine = {{{0.9, 0.3, 11}, {-0.4, 1.7, 20.5}, {0, 0, 1}}};
  const Matrix steep = {{{90, 20, 1100}, {-30, 120, 2000}, {0.1, 0.3, 70}}};
  const std::pair<Warp, Matrix> warps[] = {{warpAffine, affine}, {warpPerspective, steep}};
  for (const auto& [warp, m] : warps) {
    MirlImage out;
    ASSERT_EQ(run(warp, toImage(where), out, m), MIRL_SUCCESS);
    const auto got = fromImage<float>(out);
    int reached = 0;
    for (int y = 0; y < 150; ++y) {
      for (int x = 0; x < 200; ++x) {
        const double px = got.at(x, y, 0), py = got.at(x, y, 1);
        if (got.at(x, y, 2) != 1) continue;
        ++reached;
        const double w = m[2][0] * px + m[2][1] * py + m[2][2];
        ASSERT_NEAR((m[0][0] * px + m[0][1] * py + m[0][2]) / w, x, 1e-4);
        ASSERT_NEAR((m[1][0] * px + m[1][1] * py + m[1][2]) / w, y, 1e-4);
      }
    }
    EXPECT_GT(reached, 9000);
  }
}

TEST_P(Warps, LiteralExamples) {
  Pixels<Byte> in(3, 2, 1);
  in.values = {10, 21, 30, 40, 50, 61};
  MirlImage out;
  // Half a pixel to the right: 15.5 and 25.5 are rounded up, and the first column has no source.
  ASSERT_EQ(run(warpAffine, toImage(in), out, {{{1, 0, 0.5}, {0, 1, 0}}}), MIRL_SUCCESS);
  EXPECT_EQ(fromImage<Byte>(out).values, (std::vector<Byte>{0, 16, 26, 0, 45, 56}));
  // Twice as large, into three rows of five: the last column and row come from the last pixel.
  out = MirlImage(5, 3, MIRL_8U_C1);
  ASSERT_EQ(run(warpAffine, toImage(in), out, {{{2, 0, 0}, {0, 2, 0}}}), MIRL_SUCCESS);
  EXPECT_EQ(fromImage<Byte>(out).values,
            (std::vector<Byte>{10, 16, 21, 26, 30, 25, 30, 36, 41, 46, 40, 45, 50, 56, 61}));
  ASSERT_EQ(run(warpAffine, toImage(in), out, {{{1, 0, 100}, {0, 1, 0}}}), MIRL_SUCCESS);
  EXPECT_EQ(fromImage<Byte>(out).values, std::vector<Byte>(15, 0));
}

TEST_P(Warps, MatricesThatAreNone) {
  const double max = std::numeric_limits<double>::max();
  const Matrix bad[] = {{{{1, 2, 0}, {2, 4, 0}, {0, 0, 1}}},
                        {{{0, 0, 3}, {0, 0, 4}, {0, 0, 1}}},
                        {{{NAN, 0, 0}, {0, 1, 0}, {0, 0, 1}}},
                        {{{1, 0, 0}, {0, 1, kInfinity}, {0, 0, 1}}},
                        {{{0.1, 0.3, 0}, {0.2, 0.6, 0}, {0, 0, 1}}}};
  for (const Matrix& matrix : bad) {
    for (const Warp warp : {warpAffine, warpAffineBack, warpPerspective, warpPerspectiveBack}) {
      forEachFormat([&]<class T>(T, int channels) {
        const MirlImage in = toImage(randomPixels<T>(9, 7, channels, 2));
        MirlImage out = toImage(randomPixels<T>(6, 8, channels, 3)), made;
        EXPECT_EQ(run(warp, in, out, matrix), MIRL_NPP_FAILED);
        EXPECT_TRUE(holds(out, Pixels<T>(6, 8, channels)));
        EXPECT_EQ(run(warp, in, made, matrix), MIRL_NPP_FAILED);
        EXPECT_TRUE(holds(made, Pixels<T>(9, 7, channels)));
      });
    }
  }
  // What is too large for its inverse is refused, what is just large isn't.
  MirlImage in = toImage(randomPixels<Byte>(9, 7, 1, 2)), out;
  EXPECT_EQ(run(warpAffine, in, out, {{{max, 0, 0}, {0, max, 0}}}), MIRL_NPP_FAILED);
  EXPECT_EQ(run(warpPerspective, in, out, {{{max, 0, 0}, {0, max, 0}, {0, 0, max}}}), MIRL_SUCCESS);
  EXPECT_EQ(bytesOf(out), bytesOf(in));
  EXPECT_EQ(run(warpPerspective, in, out, {{{0, 0, 1}, {0, 1, 0}, {1, 1, 0}}}), MIRL_SUCCESS);
  EXPECT_EQ(run(warpPerspective, in, out, {{{1, 0, 0}, {0, 1, 0}, {0, 0, 0}}}), MIRL_NPP_FAILED);
}

MIRL_TEST_ON_ALL_DEVICES(Warps);

}  // namespace
}  // namespace mirl::test
