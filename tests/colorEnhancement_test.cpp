// Colour balance, equalisation and stretching: what depends on the whole image.

#include <mirl/colorEnhancement.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "pointwise_support.h"

namespace mirl::test {
namespace {

using namespace colorOperations;

MIRL_DEVICE_TESTS(ColorEnhancement);

Pixels<Byte> darkNoise(const MirlSize& size, int channels, unsigned seed) {
  auto pixels = randomPixels<Byte>(size.width, size.height, channels, seed);
  for (Byte& sample : pixels.values) sample = static_cast<Byte>(20 + sample * sample / 300);
  return pixels;
}

Pixels<Byte> equalised(const Pixels<Byte>& in) {
  std::array<unsigned, 256> counts{};
  for (const Byte sample : in.values) ++counts[sample];
  const float scale = 1.0f / static_cast<float>(in.values.size());
  return mapped<Byte>(in, 1, [&](const Byte* sample, Byte* out) {
    float share = 0;
    for (std::size_t i = 0; i <= *sample; ++i) share += static_cast<float>(counts[i]) * scale;
    *out = static_cast<Byte>(std::lround(share * 255.0f));
  });
}

TEST_P(ColorEnhancement, Equalises) {
  const auto run = with(histEq);
  expectInto(run, Pixels<Byte>(1, {10, 10, 200, 200}), Pixels<Byte>(1, {128, 128, 255, 255}));
  expectInto(run, Pixels<Byte>(1, {3, 1, 2, 0}), Pixels<Byte>(1, {255, 128, 191, 64}));
  expectInto(run, Pixels<Byte>(7, 3, 1), Pixels<Byte>(7, 3, 1, 255));
  unsigned seed = 1;
  const auto expect = [&](const MirlSize& size, int pitch = 0, int outPitch = 0) {
    const auto in = darkNoise(size, 1, ++seed);
    expectInto(run, in, equalised(in), pitch, outPitch);
  };
  for (const MirlSize& size : awkwardSizes()) expect(size);
  forOddPitches(61, 61, [&](int pitch, int outPitch) { expect({61, 7}, pitch, outPitch); });
  for (int width = 1000; width < 1100; ++width) expect({width, 3});  // sums that round otherwise
}

/// Thresholds and range, low before high, an entry for each channel.
using Bounds = std::array<MirlScalar, 4>;

MirlStatus adjustBy(const Bounds& b, MirlImage& image, const MirlStream& stream = MirlStream()) {
  return adjust(image, b[0], b[1], b[2], b[3], stream);
}

Pixels<Byte> adjusted(const Bounds& bounds, const Pixels<Byte>& in) {
  float least[3] = {255, 255, 255}, greatest[3] = {};
  const auto count = static_cast<std::size_t>(in.channels);
  for (std::size_t i = 0; i < in.values.size(); ++i) {
    least[i % count] = std::min<float>(least[i % count], in.values[i]);
    greatest[i % count] = std::max<float>(greatest[i % count], in.values[i]);
  }
  return mapped<Byte>(in, in.channels, [&](const Byte* from, Byte* to) {
    for (int c = 0; c < in.channels; ++c) {
      const auto byte = [&](std::size_t k) {
        const double scaled = bounds[k][c] * 255;
        return static_cast<float>(scaled > 255 ? 255 : scaled > 0 ? std::trunc(scaled) : 0);
      };
      const float v = from[c], o = byte(2), p = byte(3), range = greatest[c] - least[c];
      const float r = std::fma(p - o, (v - least[c] + 1e-12f) / range, o);
      const float within = range == 0 ? std::max(o, p) : r < o ? o : r > p ? p : r;
      to[c] = static_cast<Byte>(v <= byte(0) || v >= byte(1) ? v : within);
    }
  });
}

TEST_P(ColorEnhancement, Stretches) {
  const auto expect = [](const Bounds& bounds, const Pixels<Byte>& in, const Pixels<Byte>& want) {
    for (const int pitch : {0, in.rowBytes() + 1}) {
      MirlImage image = toImage(in, pitch);
      ASSERT_EQ(adjustBy(bounds, image), MIRL_SUCCESS);
      EXPECT_TRUE(holds(image, want));
    }
  };
  const Bounds rising{0, 1, 0.2, 0.6}, falling{0, 1, 0.6, 0.2}, level{0, 1, 0.2, 0.2};
  expect(rising, Pixels<Byte>(1, {0, 11, 99, 255}), Pixels<Byte>(1, {0, 55, 90, 255}));
  expect(falling, Pixels<Byte>(1, {50, 60, 100}), Pixels<Byte>(1, {51, 153, 153}));
  expect({{{0.2, 2., NAN}, {0.4, 0., 1.}, {0., 0., 0.2}, {1., 1., 0.2}}},
         Pixels<Byte>(3, {51, 7, 7, 52, 0, 7, 101, 1, 7, 102, 255, 7}),
         Pixels<Byte>(3, {51, 7, 51, 5, 0, 51, 250, 1, 51, 102, 255, 51}));
  const Pixels<Byte> flat(1, {100, 100}), high(1, {153, 153});
  expect(rising, flat, high);
  expect(falling, flat, high);
  expect(level, flat, Pixels<Byte>(1, {51, 51}));
  const double numbers[] = {0, 0, 0, 0.1, 0.25, 1, 1, 1, 0.999, -1, 1e300, NAN, -INFINITY};
  std::mt19937 generator(1);
  const auto any = [&] { return numbers[generator() % std::size(numbers)]; };
  for (unsigned i = 0; i < 300; ++i) {
    const Bounds bounds{0, {any(), any(), any()}, {any(), any(), any()}, {any(), any(), any()}};
    const auto in = darkNoise(awkwardSizes()[i % awkwardSizes().size()], i % 2 == 0 ? 1 : 3, i);
    expect(bounds, in, adjusted(bounds, in));
  }
}

template <class T>
Pixels<T> balanced(const Pixels<T>& in) {
  double sums[3] = {};
  for (std::size_t i = 0; i < in.values.size(); ++i) sums[i % 3] += double{1} * in.values[i];
  float m[3], first = 0, last = 0;
  for (int c = 0; c < 3; ++c) m[c] = static_cast<float>(sums[c] / (in.width * in.height));
  const int most = m[1] >= m[0] && m[1] >= m[2] ? 1 : m[2] >= m[0] ? 2 : 0;
  if (most == 1 && m[0] != 0) first = m[1] / m[0] / 255 * 1.2f;
  if (most == 2) first = (m[2] - m[0]) / 255 * 1.2f;
  if (most != 2) last = (m[most] - m[2]) / 255 * 1.2f;
  return mapped<T>(in, 3, [&](const T* c, T* out) {
    const float green = c[1];
    out[0] = stored<T>(first * green + c[0]);
    out[1] = c[1];
    out[2] = stored<T>(last * green + c[2]);
  });
}

TEST_P(ColorEnhancement, Balances) {
  const auto run = with(autoColor);
  const std::pair<Pixels<Byte>, Pixels<Byte>> pairs[] = {
      {{3, {100, 200, 50}}, {3, {101, 200, 191}}},
      {{3, {100, 50, 200}}, {3, {123, 50, 200}}},
      {{3, {200, 50, 100}}, {3, {200, 50, 123}}},
      {{3, {0, 100, 50}}, {3, {0, 100, 73}}},
      {{3, {0, 0, 0}}, {3, {0, 0, 0}}},
      {{3, {200, 50, 200}}, {3, {200, 50, 200}}}};
  for (const auto& [in, want] : pairs) expectInto(run, in, want);
  expectInto(run, Pixels<Word>(3, {60000, 60000, 60000}), Pixels<Word>(3, {60282, 60000, 60000}));
  expectInto(run, Pixels<float>(3, {0, 100, 50}), Pixels<float>(3, {0, 100, 73.52941f}));
  expectInto(run, Pixels<float>(3, {NAN, 9, 9, 5, 100, 50}),
             Pixels<float>(3, {NAN, NAN, NAN, 5, 100, 50}));
  MirlImage image(5, 3, MIRL_8U_C3);
  EXPECT_EQ(autoColor(image, image, deadStream()), MIRL_SUCCESS) << "the stream isn't used";
  forEachElement([&]<class T>(T) {
    auto in = randomPixels<T>(509, 251, 3, 1);
    for (T& sample : in.values) sample = static_cast<T>(static_cast<int>(sample));  // exact sums
    for (const std::size_t most : {2u, 1u, 0u}) {
      for (std::size_t i = most; i < in.values.size(); i += 3) in.values[i] += T{20};
      expectInto(run, in, balanced(in));
    }
  });
}

TEST_P(ColorEnhancement, Statuses) {
  const Bounds bounds{0, 1, 0, 1};
  const MirlImage source(8, 5, MIRL_8U_C3);
  for (const Format& format : allFormats()) {
    SCOPED_TRACE(format.type);
    const MirlImage in(5, 3, format.type);
    const bool gray = format.type == MIRL_8U_C1, three = format.channels == 3;
    MirlImage balance, live(8, 5, format.type);
    EXPECT_EQ(autoColor(in, balance), !three             ? MIRL_CHANNELS_NOT_SUPPORTED
                                      : isServed(format) ? MIRL_SUCCESS
                                                         : MIRL_DEPTH_NOT_SUPPORTED);
    EXPECT_EQ(balance.isInitialized(), three);
    const bool fits = three && std::abs(format.depth) == 8;
    EXPECT_EQ(autoColor(source, live), fits ? MIRL_SUCCESS : MIRL_MISMATCH);
    expectStatus(in, gray || format.type == MIRL_8U_C3 ? MIRL_INVALID_ARGUMENT : MIRL_MISMATCH,
                 false, [&](MirlImage& image) { return adjustBy(bounds, image, deadStream()); });
  }
  MirlImage empty, tall(8, 6, MIRL_8U_C3);
  EXPECT_EQ(adjustBy(bounds, empty), MIRL_IMAGE_NOT_INITIALIZED);
  EXPECT_EQ(autoColor(empty, empty), MIRL_IMAGE_NOT_INITIALIZED);
  EXPECT_EQ(autoColor(source, tall), MIRL_MISMATCH);
}

TEST_P(ColorEnhancement, FailuresOfTheRuntime) {
  const auto pixels = darkNoise({61, 47}, 3, 1);
  MirlImage colours = toImage(pixels), out, made;
  const auto adjusts = [&] { return adjustBy({0, 1, 0, 1}, colours); };
  const auto equalises = [&] { return histEq(MirlImage(9, 4, MIRL_8U_C1), out); };
  const auto failing = [](runtime::Call call, int n, const auto& run) {
    const FailNth fail(call, n);
    return run();
  };
  EXPECT_EQ(failing(runtime::Call::allocate, 1, adjusts), MIRL_DEVICE_ALLOC_FAILED);
  EXPECT_EQ(failing(runtime::Call::copy, 1, adjusts), MIRL_COPY_D2H_FAILED);
  EXPECT_EQ(failing(runtime::Call::fill, 1, equalises), MIRL_MEMSET_FAILED);
  EXPECT_EQ(failing(runtime::Call::allocate, 2, [&] { return autoColor(colours, made); }),
            MIRL_SUCCESS);  // without the means
  EXPECT_TRUE(!out.isInitialized() && holds(colours, pixels) && holds(made, pixels));
}

TEST_P(ColorEnhancement, CallsAtOnceDontMeet) {
  const Bounds bounds{{{0., 0., 0.2}, 1, {0.1, 0., 0.}, {0.7, 1., 1.}}};
  onThreads(2, [&](int thread) {
    const MirlStream stream(true);
    for (unsigned seed = static_cast<unsigned>(thread); seed < 40; seed += 2) {
      const auto gray = darkNoise({301, 203}, 1, seed), colours = darkNoise({301, 203}, 3, seed);
      MirlImage even, image = toImage(colours), balance;
      EXPECT_EQ(histEq(toImage(gray), even, stream), MIRL_SUCCESS);
      EXPECT_EQ(adjustBy(bounds, image, stream), MIRL_SUCCESS);
      EXPECT_EQ(autoColor(toImage(colours), balance, stream), MIRL_SUCCESS);
      stream.sync();
      EXPECT_TRUE(holds(even, equalised(gray)));
      EXPECT_TRUE(holds(image, adjusted(bounds, colours)) && holds(balance, balanced(colours)));
    }
  });
}

}  // namespace
}  // namespace mirl::test
