// opticalFlowHS: every pixel against the formulas, rows that run on, iterations and statuses.

#include "support.h"

namespace mirl::test {
namespace {

using computerVision::opticalFlowHS;

struct Flow {
  std::vector<float> first, second;
};

/// Element k of the image as one line, 0 behind its end.
int flat(const Pixels<Byte>& image, std::size_t k) {
  return k < image.values.size() ? image.values[k] : 0;
}

Flow expectedFlow(const Pixels<Byte>& a, const Pixels<Byte>& b, float alpha, int iterations) {
  Flow flow;
  const auto w = static_cast<std::size_t>(a.width);
  for (std::size_t i = 0; i < a.values.size(); ++i) {
    const std::size_t at[] = {i, i + 1, i + w, i + w + 1};
    int both[4], change = 0;
    for (int n = 0; n < 4; ++n) {
      both[n] = flat(a, at[n]) + flat(b, at[n]);
      change += flat(b, at[n]) - flat(a, at[n]);
    }
    const auto iy = static_cast<float>((both[2] + both[3] - both[0] - both[1]) / 4);
    const auto ix = static_cast<float>((both[1] + both[3] - both[0] - both[2]) / 4);
    const auto it = static_cast<float>(change / 4);
    const float d = iy * iy + alpha * alpha + ix * ix;
    float p = 0, q = 0;
    for (int n = 0; n < iterations; ++n) {
      const float t = ix * q;
      p = p - iy * (iy * p + t + it) / d;
      q = q - ix * (iy * p + t + it) / d;
    }
    flow.first.push_back(p);
    flow.second.push_back(q);
  }
  return flow;
}

/// The index of the first float that differs, NaN equalling NaN; -1 if none does.
std::ptrdiff_t firstDifference(const std::vector<float>& a, const std::vector<float>& b) {
  for (std::size_t i = 0; i < b.size(); ++i) {
    const bool bothNan = a[i] != a[i] && b[i] != b[i];
    if (!bothNan && std::memcmp(&a[i], &b[i], sizeof(float)) != 0) {
      return static_cast<std::ptrdiff_t>(i);
    }
  }
  return -1;
}

MIRL_DEVICE_TESTS(OpticalFlowHS);

TEST_P(OpticalFlowHS, AllPixelsAsTheFormulasHaveThem) {
  unsigned seed = 0;
  for (const MirlSize& size : {MirlSize(16, 16), MirlSize(1, 256), MirlSize(256, 1),
                               MirlSize(17, 31), MirlSize(65, 5), MirlSize(131, 67)}) {
    const auto noise = randomPixels<Byte>(size.width, size.height, 1, ++seed);
    const auto other = randomPixels<Byte>(size.width, size.height, 1, ++seed);
    // Small derivatives take all steps; some are none.
    Pixels<Byte> dull = noise, changed = noise;
    for (Byte& value : dull.values) value = static_cast<Byte>(100 + value % 9);
    for (std::size_t i = 0; i < changed.values.size(); ++i) {
      changed.values[i] = static_cast<Byte>(dull.values[i] + other.values[i] % 4);
    }
    for (const float alpha : {0.0f, 1e-22f, 0.3f, 1.0f, -15.0f, 3e5f, 1e7f, 1e18f, INFINITY}) {
      for (const int iterations : {-1, 0, 1, 7, 100}) {
        if (iterations != 100 && alpha != 1.0f) continue;
        for (const auto& [a, b] : {std::pair(noise, other), std::pair(dull, changed)}) {
          SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << ", alpha " << alpha
                                          << ", iterations " << iterations);
          const Flow want = expectedFlow(a, b, alpha, iterations);
          Flow got{std::vector<float>(a.values.size(), 7), std::vector<float>(a.values.size(), 7)};
          ASSERT_EQ(opticalFlowHS(toImage(a, size.width + 3), toImage(b), got.first.data(),
                                  got.second.data(), iterations % 2 == 0, alpha, iterations),
                    MIRL_SUCCESS);
          EXPECT_EQ(firstDifference(got.first, want.first), -1);
          EXPECT_EQ(firstDifference(got.second, want.second), -1);
        }
      }
    }
  }
}

TEST_P(OpticalFlowHS, ChecksInOrder) {
  std::vector<float> flow(256, 7);
  float* const to = flow.data();
  const MirlSize size(16, 16);
  const auto run = [&](const MirlImage& a, const MirlImage& b, float* x, float* y,
                       const MirlStream& stream = MirlStream()) {
    return opticalFlowHS(a, b, x, y, true, 1.0f, 3, stream);
  };
  const MirlImage good = noiseImage(size, 8, 1, 1), empty;
  const auto sized = [](int w, int h) { return noiseImage({w, h}, 8, 1, 2); };
  EXPECT_EQ(run(empty, good, nullptr, to), MIRL_IMAGE_NOT_INITIALIZED);
  EXPECT_EQ(run(noiseImage(size, 16, 3, 1), empty, to, to), MIRL_IMAGE_NOT_INITIALIZED);
  EXPECT_EQ(run(noiseImage(size, 16, 3, 1), good, to, to), MIRL_DEPTH_NOT_SUPPORTED);
  EXPECT_EQ(run(noiseImage(size, 8, 3, 1), good, to, to), MIRL_CHANNELS_NOT_SUPPORTED);
  for (const MirlImage& other :
       {sized(17, 16), sized(16, 15), noiseImage(size, 16, 1, 1), noiseImage(size, 8, 3, 1)}) {
    EXPECT_EQ(run(good, other, nullptr, to), MIRL_MISMATCH);
  }
  EXPECT_EQ(run(sized(15, 16), sized(15, 16), nullptr, to), MIRL_MATRIX_SIZE_MISMATCH);
  EXPECT_EQ(run(good, good, nullptr, to), MIRL_NULL_POINTER);
  EXPECT_EQ(run(good, good, to, nullptr), MIRL_NULL_POINTER);
  EXPECT_EQ(run(noiseImage(size, -8, 1, 1), good, to, to), MIRL_TYPE_NOT_SUPPORTED);
  EXPECT_EQ(run(good, good, to, to, deadStream()), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(flow, std::vector<float>(256, 7));
  EXPECT_EQ(run(good, good, to, to), MIRL_SUCCESS);
  EXPECT_EQ(flow, std::vector<float>(256, 0));
}

}  // namespace
}  // namespace mirl::test
