// trackFeatures: positions and statuses against the formulas, what a feature may come to, failures.

#include <algorithm>
#include <cmath>
#include <memory>

#include "support.h"

namespace mirl::test {
namespace {

using computerVision::trackFeatures;
using Feature = MirlPointValue2D<float, float>;
using Features = std::vector<Feature>;

Feature feature(float x, float y, float value = 0) {
  Feature made;
  made.x = x;
  made.y = y;
  made.value = value;
  return made;
}

struct Sample {
  float of[3];
};

/// A pixel, the edge going on for ever, and its slopes.
Sample pixelOf(const Pixels<Byte>& image, int x, int y) {
  const auto at = [&](int px, int py) {
    return static_cast<float>(
        image.at(std::clamp(px, 0, image.width - 1), std::clamp(py, 0, image.height - 1)));
  };
  x = std::clamp(x, 0, image.width - 1);
  y = std::clamp(y, 0, image.height - 1);
  return {at(x, y), (at(x + 1, y) - at(x - 1, y)) * 0.5f, (at(x, y + 1) - at(x, y - 1)) * 0.5f};
}

Sample sampleOf(const Pixels<Byte>& image, float x, float y) {
  const float left = std::floor(x), top = std::floor(y);
  const float f = x - left, g = y - top;
  const int column = static_cast<int>(left), row = static_cast<int>(top);
  Sample made;
  for (int k = 0; k < 3; ++k) {
    float line[2];
    for (int i = 0; i < 2; ++i) {
      const float a = pixelOf(image, column, row + i).of[k];
      line[i] = std::fma(f, pixelOf(image, column + 1, row + i).of[k] - a, a);
    }
    made.of[k] = std::fma(g, line[1] - line[0], line[0]);
  }
  return made;
}

void trackOne(const Pixels<Byte>& first, const Pixels<Byte>& second,
              const MirlTrackingCriteria& criteria, float s, const Feature& a, Feature& b) {
  if (b.value == -2.0f || b.value == -4.0f) return;
  const float x1 = a.x * s, y1 = a.y * s;
  const auto w = static_cast<float>(first.width), h = static_cast<float>(first.height);
  float x2 = b.x * s, y2 = b.y * s, r = 0;
  b.value = -3.0f;
  for (int i = 0; i < criteria.maxIterations; ++i) {
    const bool inside =
        !(x1 < 0 || y1 < 0 || x2 < 0 || y2 < 0) && x1 < w && x2 < w && y1 < h && y2 < h;
    if (!inside) {
      b.value = -4.0f;
      return;
    }
    float gxx = 0, gyy = 0, gxy = 0, ex = 0, ey = 0;
    r = 0;
    const int hw = criteria.window.width >> 1, hh = criteria.window.height >> 1;
    for (int dx = -hw; dx <= hw; ++dx) {
      for (int dy = -hh; dy <= hh; ++dy) {
        const auto at = [&](float x, int d) { return x + static_cast<float>(d) - 0.5f; };
        const Sample p = sampleOf(first, at(x1, dx), at(y1, dy));
        const Sample q = sampleOf(second, at(x2, dx), at(y2, dy));
        const float gx = p.of[1] + q.of[1], gy = p.of[2] + q.of[2], d = p.of[0] - q.of[0];
        gxx += gx * gx;
        gyy += gy * gy;
        gxy += gx * gy;
        r += std::fabs(d);
        ex += d * gx;
        ey += d * gy;
      }
    }
    const float det = gxx * gyy - gxy * gxy;
    if (std::fabs(det) <= 0.01f) {
      b.value = -2.0f;
      return;
    }
    const float dx = (gyy * ex - gxy * ey) / det, dy = (gxx * ey - gxy * ex) / det;
    b.value = 0;
    x2 += dx;
    y2 += dy;
    if (std::fabs(dx) < criteria.minDisplacement && std::fabs(dy) < criteria.minDisplacement) break;
  }
  if (r / static_cast<float>(criteria.window.width * criteria.window.height) >
      criteria.maxResidual) {
    b.value = -5.0f;
  }
  b.x = x2 / s;
  b.y = y2 / s;
}

Features expectedFeatures(const MirlImage& first, const MirlImage& second, const Features& features,
                          const MirlTrackingCriteria& criteria) {
  std::vector<float> scales = {1.0f};
  for (int l = 0; l < criteria.levels; ++l) scales.push_back(scales.back() * criteria.scale);
  Features tracked = features;
  float s = scales.back();
  for (int l = criteria.levels; l >= 0; --l, s /= criteria.scale) {
    const auto level = [&](const MirlImage& image) {
      const float scale = scales[static_cast<std::size_t>(l)];
      MirlImage small(static_cast<int>(static_cast<float>(image.width()) * scale),
                      static_cast<int>(static_cast<float>(image.height()) * scale), MIRL_8U_C1);
      EXPECT_EQ(geometryTransforms::resize(image, small, MIRL_INTERPOLATION_LINEAR), MIRL_SUCCESS);
      return fromImage<Byte>(small);
    };
    const auto a = level(first), b = level(second);
    for (std::size_t i = 0; i < features.size(); ++i) {
      trackOne(a, b, criteria, s, features[i], tracked[i]);
    }
  }
  return tracked;
}

/// Hills, and the same moved, beside a flat strip.
Pixels<Byte> hills(const MirlSize& size, double moved) {
  Pixels<Byte> image(size.width, size.height, 1, Byte{80});
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width * 3 / 4; ++x) {
      const double px = x - moved, py = y + moved / 2;
      image.at(x, y) = static_cast<Byte>(127 + 60 * std::sin(px / 5) * std::cos(py / 7) +
                                         40 * std::sin((px + py) / 11));
    }
  }
  return image;
}

testing::AssertionResult same(const Feature* got, const Features& want) {
  for (std::size_t i = 0; i < want.size(); ++i) {
    if (std::memcmp(&got[i], &want[i], sizeof(Feature)) != 0) {
      return testing::AssertionFailure()
             << "feature " << i << ": " << got[i].x << ", " << got[i].y << ", " << got[i].value
             << ", expected " << want[i].x << ", " << want[i].y << ", " << want[i].value;
    }
  }
  return testing::AssertionSuccess();
}

MIRL_DEVICE_TESTS(TrackFeatures);

TEST_P(TrackFeatures, PositionsAndStatusesAsTheFormulasHaveThem) {
  std::vector<MirlTrackingCriteria> all = {{},
                                           {2, {9, 7}},
                                           {0, {4, 4}, 3},
                                           {1, {33, 35}, 2},
                                           {3, {5, 5}, 10, 20.0f, 0.01f, 0.7f},
                                           {1, {5, 5}, 10, 1.5f},
                                           {2, {3, 3}, 0},
                                           {1, {-3, 3}, 4},
                                           {1, {1, 1}, 4, -1.0f, -1.0f}};
  const MirlSize size(131, 79);
  Features features;
  std::mt19937 generator(7);
  const auto any = [&](int limit) {
    return static_cast<float>(generator() % static_cast<unsigned>(8 * limit)) / 8.0f;
  };
  for (int i = 0; i < 150; ++i) {
    features.push_back(feature(any(size.width), any(size.height), i % 9 == 0 ? -5.0f : 0.0f));
  }
  features[3].value = -2.0f;
  features[40].value = -4.0f;
  features[17].value = -3.0f;
  for (const float far : {-1.0f, -1e30f, 1e30f, INFINITY, NAN}) {
    features.push_back(feature(far, 20));
    features.push_back(feature(30, far));
  }
  features.push_back(feature(130.9f, 78.9f));
  features.push_back(feature(0, 0));
  const auto noise = randomPixels<Byte>(size.width, size.height, 1, 1);
  for (const MirlTrackingCriteria& criteria : all) {
    for (const auto& [a, b] :
         {std::pair(hills(size, 0), hills(size, 1.7)), std::pair(hills(size, 1), noise)}) {
      for (const std::size_t count : {features.size(), std::size_t{1}, std::size_t{17}}) {
        SCOPED_TRACE(testing::Message()
                     << criteria.levels << " levels, window " << criteria.window.width << "x"
                     << criteria.window.height << ", " << count << " features");
        Features some(features.begin(), features.begin() + static_cast<std::ptrdiff_t>(count));
        const MirlImage first = toImage(a, size.width + 5), second = toImage(b);
        Feature* tracked = nullptr;
        ASSERT_EQ(
            trackFeatures(first, second, some.data(), tracked, static_cast<int>(count), criteria),
            MIRL_SUCCESS);
        const std::unique_ptr<Feature[]> owned(tracked);
        const Features want = expectedFeatures(first, second, some, criteria);
        Features usual = want;  // NaN equals NaN
        for (std::size_t i = 0; i < count; ++i) {
          if (usual[i].x != usual[i].x && tracked[i].x != tracked[i].x) usual[i].x = tracked[i].x;
          if (usual[i].y != usual[i].y && tracked[i].y != tracked[i].y) usual[i].y = tracked[i].y;
        }
        EXPECT_TRUE(same(tracked, usual));
      }
    }
  }
}

TEST_P(TrackFeatures, FindsAMotion) {
  const MirlSize size(160, 120);
  Features features = {feature(50, 60), feature(150, 60)};
  Feature* tracked = nullptr;
  ASSERT_EQ(trackFeatures(toImage(hills(size, 0)), toImage(hills(size, 3)), features.data(),
                          tracked, 2, {2, {15, 15}}),
            MIRL_SUCCESS);
  EXPECT_NEAR(static_cast<double>(tracked[0].x), 53, 0.2);
  EXPECT_NEAR(static_cast<double>(tracked[0].y), 58.5, 0.2);
  EXPECT_EQ(tracked[0].value, 0.0f);
  EXPECT_EQ(tracked[1].value, -2.0f);
  EXPECT_EQ(tracked[1].x, 150.0f);
  delete[] tracked;
}

TEST_P(TrackFeatures, ChecksInOrder) {
  Features features(3, feature(4, 4));
  Feature* const before = &features[2];
  Feature* tracked = before;
  const auto run = [&](const MirlImage& a, const MirlImage& b, const MirlTrackingCriteria& criteria,
                       Feature* from, int count = 3, const MirlStream& stream = MirlStream()) {
    return trackFeatures(a, b, from, tracked, count, criteria, stream);
  };
  const auto sized = [](int w, int h, int depth = 8, int channels = 1) {
    return noiseImage({w, h}, depth, channels, 2);
  };
  const auto scaled = [](int levels, float scale) {
    return MirlTrackingCriteria(levels, {3, 3}, 10, 20.0f, 0.01f, scale);
  };
  const MirlImage good = sized(8, 8), empty;
  const MirlTrackingCriteria fine = scaled(1, 0.5f), bad = scaled(1, 1.0f);
  Feature* const from = features.data();
  EXPECT_EQ(run(empty, good, bad, nullptr), MIRL_IMAGE_NOT_INITIALIZED);
  EXPECT_EQ(run(sized(8, 8, 16, 3), empty, bad, nullptr), MIRL_IMAGE_NOT_INITIALIZED);
  EXPECT_EQ(run(sized(8, 8, 16, 3), good, bad, nullptr), MIRL_DEPTH_NOT_SUPPORTED);
  EXPECT_EQ(run(sized(8, 8, 8, 3), good, bad, nullptr), MIRL_CHANNELS_NOT_SUPPORTED);
  for (const MirlImage& other : {sized(9, 8), sized(8, 7), sized(8, 8, 16), sized(8, 8, 8, 3)}) {
    EXPECT_EQ(run(good, other, bad, nullptr), MIRL_MISMATCH);
  }
  for (const float scale : {1.0f, 0.0f, -0.5f, 2.0f, NAN}) {
    EXPECT_EQ(run(good, good, scaled(9, scale), nullptr), MIRL_INVALID_ARGUMENT);
  }
  EXPECT_EQ(run(good, good, scaled(-1, 0.5f), nullptr), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(run(good, good, scaled(1001, 0.9f), nullptr), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(run(good, good, {1, {3, 32768}}, nullptr), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(run(good, good, scaled(4, 0.5f), nullptr), MIRL_NPP_FAILED);
  EXPECT_EQ(run(good, good, fine, nullptr), MIRL_NULL_POINTER);
  EXPECT_EQ(run(sized(8, 8, -8), good, fine, from), MIRL_TYPE_NOT_SUPPORTED);
  EXPECT_EQ(run(good, good, fine, from, 3, deadStream()), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(tracked, before);
  for (const int count : {0, -1}) {
    tracked = nullptr;
    EXPECT_EQ(run(good, good, fine, nullptr, count), MIRL_SUCCESS);
    EXPECT_NE(tracked, nullptr);
    delete[] tracked;
  }
}

}  // namespace
}  // namespace mirl::test
