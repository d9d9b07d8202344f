// opticalFlowPyrLKDense: every pixel against the formulas, windows of all sizes, levels, statuses.

#include <algorithm>
#include <cmath>

#include "support.h"

namespace mirl::test {
namespace {

using computerVision::opticalFlowPyrLKDense;
using Plane = Pixels<float>;

/// The second image as 0 to 1 at a place between pixels.
float blended(const Pixels<Byte>& image, float x, float y) {
  const auto axis = [](float at, int length, int(&index)[2]) {
    const float limited = at < -1e9f || at != at ? -1e9f : std::min(at, 1e9f);
    const double whole = std::floor(static_cast<double>(limited));
    for (int i = 0; i < 2; ++i) {
      index[i] = static_cast<int>(std::clamp(whole + i, 0.0, static_cast<double>(length - 1)));
    }
    return static_cast<float>(static_cast<double>(limited) - whole);
  };
  int column[2], row[2];
  const float f = axis(x, image.width, column), g = axis(y, image.height, row);
  float line[2];
  for (int i = 0; i < 2; ++i) {
    const float a = static_cast<float>(image.at(column[0], row[i])) / 255.0f;
    const float b = static_cast<float>(image.at(column[1], row[i])) / 255.0f;
    line[i] = std::fma(f, b - a, a);
  }
  return std::fma(g, line[1] - line[0], line[0]);
}

struct Flow {
  Plane u, v;
};

void solveLevel(const Pixels<Byte>& first, const Pixels<Byte>& second, const Flow* coarser,
                const MirlTrackingCriteria& criteria, Flow& flow) {
  const int w = first.width, h = first.height;
  const int hw = criteria.window.width, hh = criteria.window.height;
  flow = {Plane(w, h, 1), Plane(w, h, 1)};
  const auto pixel = [&](int x, int y) {
    return static_cast<float>(first.at(std::clamp(x, 0, w - 1), std::clamp(y, 0, h - 1)));
  };
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      float u = 0, v = 0;
      if (coarser != nullptr) {
        const int halfX = std::min(x / 2, coarser->u.width - 1);
        const int halfY = std::min(y / 2, coarser->u.height - 1);
        u = 2 * coarser->u.at(halfX, halfY);
        v = 2 * coarser->v.at(halfX, halfY);
      }
      if (x >= hw && y >= hh && x < w - hw && y < h - hh) {
        float gxx = 0, gyy = 0, gxy = 0, det = 0;
        for (int i = 0; i < criteria.maxIterations; ++i) {
          float bx = 0, by = 0;
          for (int wy = -hh; wy <= hh; ++wy) {
            for (int wx = -hw; wx <= hw; ++wx) {
              const int px = x + wx, py = y + wy;
              const float gx = pixel(px + 1, py) - pixel(px - 1, py);
              const float gy = pixel(px, py + 1) - pixel(px, py - 1);
              const float atX = static_cast<float>(px) + u, atY = static_cast<float>(py) + v;
              const float d = pixel(px, py) - 255.0f * blended(second, atX - 0.5f, atY - 0.5f);
              if (i == 0) gxx += gx * gx, gyy += gy * gy, gxy += gx * gy;
              bx += gx * d;
              by += gy * d;
            }
          }
          if (i == 0) det = (gxx * gyy - gxy * gxy) + 1e-12f;
          const float du = (bx * gyy - by * gxy) / det, dv = (by * gxx - bx * gxy) / det;
          u += du;
          v += dv;
          const float small = criteria.minDisplacement;
          if (std::fabs(du) < small && std::fabs(dv) < small) break;
        }
        const float toX = u + static_cast<float>(x), toY = v + static_cast<float>(y);
        if (toX > static_cast<float>(w - 1) || toX < 0) u = 0;
        if (toY > static_cast<float>(h - 1) || toY < 0) v = 0;
      }
      flow.u.at(x, y) = u;
      flow.v.at(x, y) = v;
    }
  }
}

Flow expectedFlow(const MirlImage& first, const MirlImage& second,
                  const MirlTrackingCriteria& criteria) {
  Flow flow, coarser;
  for (int l = criteria.levels; l >= 0; --l) {
    const auto level = [&](const MirlImage& image) {
      MirlImage small(image.width() >> l, image.height() >> l, MIRL_8U_C1);
      EXPECT_EQ(geometryTransforms::resize(image, small, MIRL_INTERPOLATION_LINEAR), MIRL_SUCCESS);
      return fromImage<Byte>(small);
    };
    solveLevel(level(first), level(second), l < criteria.levels ? &coarser : nullptr, criteria,
               flow);
    coarser = flow;
  }
  return flow;
}

/// Hills, and the same moved.
Pixels<Byte> hills(const MirlSize& size, double moved) {
  Pixels<Byte> image(size.width, size.height, 1);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const double px = x - moved, py = y + moved / 2;
      image.at(x, y) = static_cast<Byte>(127 + 60 * std::sin(px / 5) * std::cos(py / 7) +
                                         40 * std::sin((px + py) / 11));
    }
  }
  return image;
}

MIRL_DEVICE_TESTS(OpticalFlowPyrLKDense);

TEST_P(OpticalFlowPyrLKDense, AllPixelsAsTheFormulasHaveThem) {
  struct Case {
    MirlSize size;
    int levels;
    MirlSize window;
    int iterations;
    float small;
  };
  for (const Case& c : std::vector<Case>{{{67, 41}, 3, {3, 3}, 10, 0.01f},
                                         {{131, 37}, 2, {2, 5}, 4, 0.01f},
                                         {{40, 23}, 0, {0, 0}, 3, 0.01f},
                                         {{53, 43}, 1, {17, 16}, 2, 0.01f},
                                         {{6, 9}, 1, {3, 3}, 5, 0.01f},
                                         {{1, 1}, 0, {0, 0}, 3, 0.01f},
                                         {{19, 33}, 1, {-1, 2}, 3, 0.01f},
                                         {{35, 33}, 4, {1, 1}, 6, -1.0f},
                                         {{35, 33}, 2, {1, 1}, 0, 0.01f}}) {
    const auto noise = randomPixels<Byte>(c.size.width, c.size.height, 1, 1);
    const auto other = randomPixels<Byte>(c.size.width, c.size.height, 1, 2);
    Pixels<Byte> flat(c.size.width, c.size.height, 1, Byte{9});
    MirlTrackingCriteria criteria(c.levels, c.window, c.iterations);
    criteria.minDisplacement = c.small;
    for (const auto& [a, b] :
         {std::pair(hills(c.size, 0), hills(c.size, 2.6)), std::pair(noise, other),
          std::pair(hills(c.size, 1), other), std::pair(flat, noise)}) {
      SCOPED_TRACE(testing::Message() << c.size.width << "x" << c.size.height << ", window "
                                      << c.window.width << "x" << c.window.height);
      const MirlImage first = toImage(a, c.size.width + 3), second = toImage(b);
      const Flow want = expectedFlow(first, second, criteria);
      Flow got{Plane(c.size.width, c.size.height, 1, 7), Plane(c.size.width, c.size.height, 1, 7)};
      ASSERT_EQ(
          opticalFlowPyrLKDense(first, second, got.u.values.data(), got.v.values.data(), criteria),
          MIRL_SUCCESS);
      EXPECT_TRUE(holds(toImage(got.u), want.u));
      EXPECT_TRUE(holds(toImage(got.v), want.v));
    }
  }
}

TEST_P(OpticalFlowPyrLKDense, FindsAMotionAndHalfAPixel) {
  const MirlSize size(160, 120);
  for (const double moved : {0.0, 3.0}) {
    Plane u(size.width, size.height, 1), v(size.width, size.height, 1);
    MirlTrackingCriteria criteria;
    criteria.levels = 2;
    ASSERT_EQ(opticalFlowPyrLKDense(toImage(hills(size, 0)), toImage(hills(size, moved)),
                                    u.values.data(), v.values.data(), criteria),
              MIRL_SUCCESS);
    EXPECT_NEAR(static_cast<double>(u.at(80, 60)), moved + 0.5, 0.2);
    EXPECT_NEAR(static_cast<double>(v.at(80, 60)), -moved / 2 + 0.5, 0.2);
  }
}

TEST_P(OpticalFlowPyrLKDense, ChecksInOrder) {
  std::vector<float> flow(64, 7);
  float* const to = flow.data();
  const auto run = [&](const MirlImage& a, const MirlImage& b, float* x, float* y, int levels = 0,
                       int iterations = 1, const MirlStream& stream = MirlStream()) {
    return opticalFlowPyrLKDense(a, b, x, y, {levels, {1, 1}, iterations}, stream);
  };
  const auto sized = [](int w, int h, int depth = 8, int channels = 1) {
    return noiseImage({w, h}, depth, channels, 2);
  };
  const MirlImage good = sized(8, 8), empty;
  EXPECT_EQ(run(empty, good, nullptr, to), MIRL_IMAGE_NOT_INITIALIZED);
  EXPECT_EQ(run(good, empty, nullptr, to), MIRL_IMAGE_NOT_INITIALIZED);
  for (const MirlImage& other : {sized(9, 8), sized(8, 7), sized(8, 8, -8), sized(8, 8, 8, 3)}) {
    EXPECT_EQ(run(other, good, nullptr, to), MIRL_MISMATCH);
  }
  EXPECT_EQ(run(sized(8, 8, 16), sized(8, 8, 16), nullptr, to, -1), MIRL_TYPE_NOT_SUPPORTED);
  EXPECT_EQ(run(good, good, nullptr, to, -1), MIRL_NULL_POINTER);
  EXPECT_EQ(run(good, good, to, nullptr, -1), MIRL_NULL_POINTER);
  EXPECT_EQ(run(good, good, to, to, 0, 1, deadStream()), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(run(good, good, to, to, 0, -1), MIRL_INVALID_ARGUMENT);
  for (const int levels : {-1, 4, 31, 32, 1 << 30}) {
    EXPECT_EQ(run(good, good, to, to, levels), MIRL_INVALID_ARGUMENT);
  }
  EXPECT_EQ(flow, std::vector<float>(64, 7));
  EXPECT_EQ(run(good, good, to, to, 3), MIRL_SUCCESS);
}

}  // namespace
}  // namespace mirl::test
