// resize: numbers, shapes, statuses.

#include <cmath>

#include "support.h"

namespace mirl::test {
namespace {

using geometryTransforms::resize;
constexpr MirlInterpolationType kModes[] = {MIRL_INTERPOLATION_NN, MIRL_INTERPOLATION_LINEAR,
                                            MIRL_INTERPOLATION_CUBIC};

MIRL_DEVICE_TESTS(Resize);

int clampTo(std::int64_t index, int n) {
  return static_cast<int>(std::min<std::int64_t>(std::max<std::int64_t>(index, 0), n - 1));
}

/// The taps of one destination pixel along an axis, and the sum of what they read.
struct Axis {
  std::int64_t index;  // floor of the coordinate
  float f;             // and the rest

  /// (x + 0.5) * source / destination - 0.5 is a ratio of whole numbers.
  Axis(int x, int source, int destination) {
    const std::int64_t below = 2 * std::int64_t{destination};
    const std::int64_t above = (2 * std::int64_t{x} + 1) * source - destination;
    index = above / below - (above % below < 0 ? 1 : 0);
    f = static_cast<float>(above - index * below) / static_cast<float>(below);
  }

  template <class Read>
  float linear(const Read& read) const {
    const float a = read(index);
    return std::fma(f, read(index + 1) - a, a);
  }
  template <class Read>
  float cubic(const Read& read) const {
    const float w[4] = {f * (f - 1) * (f - 2) * (-1.0f / 6), (f + 1) * (f - 1) * (f - 2) * 0.5f,
                        (f + 1) * f * (f - 2) * -0.5f, (f + 1) * f * (f - 1) * (1.0f / 6)};
    float sum = read(index - 1) * w[0];
    for (int k = 1; k < 4; ++k) sum = std::fma(read(index - 1 + k), w[k], sum);
    return sum;
  }
};

template <class T>
T rounded(float value) {
  if constexpr (std::is_same_v<T, float>) {
    return value;
  } else {
    return stored<T>(static_cast<float>(std::floor(static_cast<double>(value) + 0.5)));
  }
}

template <class T>
Pixels<T> expected(const Pixels<T>& in, const MirlSize& size, MirlInterpolationType mode) {
  Pixels<T> out(size.width, size.height, in.channels);
  for (int y = 0; y < size.height; ++y) {
    const Axis down(y, in.height, size.height);
    for (int x = 0; x < size.width; ++x) {
      const Axis across(x, in.width, size.width);
      for (int c = 0; c < in.channels; ++c) {
        const auto at = [&](std::int64_t column, std::int64_t row) {
          return static_cast<float>(in.at(clampTo(column, in.width), clampTo(row, in.height), c));
        };
        float value = 0;
        if (mode == MIRL_INTERPOLATION_NN) {
          value = at((2 * std::int64_t{x} + 1) * in.width / (2 * std::int64_t{size.width}),
                     (2 * std::int64_t{y} + 1) * in.height / (2 * std::int64_t{size.height}));
        } else {
          const bool cubic = mode == MIRL_INTERPOLATION_CUBIC;
          const auto row = [&](std::int64_t v) {
            const auto read = [&](std::int64_t u) { return at(u, v); };
            return cubic ? across.cubic(read) : across.linear(read);
          };
          value = cubic ? down.cubic(row) : down.linear(row);
        }
        out.at(x, y, c) = rounded<T>(value);
      }
    }
  }
  return out;
}

template <class T>
void check(const Pixels<T>& in, const MirlSize& size, MirlInterpolationType mode, int pitchIn = 0,
           int pitchOut = 0) {
  SCOPED_TRACE(testing::Message() << "mode " << mode << ", " << in.width << "x" << in.height
                                  << " to " << size.width << "x" << size.height << ", "
                                  << in.channels << " channels of " << sizeof(T) << " bytes");
  const auto run = [&](const MirlImage& image, MirlImage& out) { return resize(image, out, mode); };
  expectInto(run, in, expected(in, size, mode), pitchIn, pitchOut);
}

TEST_P(Resize, LiteralExamples) {
  const auto run = [](MirlInterpolationType mode, const auto& in, const auto& result) {
    SCOPED_TRACE(mode);
    expectInto([&](const auto& image, auto& out) { return resize(image, out, mode); }, in, result);
  };
  const Pixels<Byte> two(1, {0, 100}), four(1, {10, 20, 30, 41});
  run(MIRL_INTERPOLATION_NN, two, Pixels<Byte>(1, {0, 0, 100, 100}));
  run(MIRL_INTERPOLATION_LINEAR, two, Pixels<Byte>(1, {0, 25, 75, 100}));
  run(MIRL_INTERPOLATION_NN, four, Pixels<Byte>(1, {20, 41}));
  run(MIRL_INTERPOLATION_LINEAR, four, Pixels<Byte>(1, {15, 36}));  // 35.5 goes up
  run(MIRL_INTERPOLATION_LINEAR, four, Pixels<Byte>(1, {25}));      // between the middle ones
  run(MIRL_INTERPOLATION_LINEAR, Pixels<Word>(1, {0, 65535}), Pixels<Word>(1, {32768}));
  run(MIRL_INTERPOLATION_LINEAR, Pixels<float>(3, {1, -8, 0, 2, 8, 0.5f}),
      Pixels<float>(3, {1.5f, 0, 0.25f}));
  // At 1.25 the weights are -7, 105, 35 and -5 over 128; at 1.75 the same from the end.
  run(MIRL_INTERPOLATION_CUBIC, Pixels<Byte>(1, {0, 0, 64, 64}),
      Pixels<Byte>(1, {0, 0, 0, 15, 49, 68, 67, 64}));
  run(MIRL_INTERPOLATION_CUBIC, Pixels<Byte>(1, {0, 0, 255, 255}),
      Pixels<Byte>(1, {0, 0, 0, 60, 195, 255, 255, 255}));
}

TEST_P(Resize, EverySizeTypeAndPitch) {
  const MirlSize sizes[] = {{1, 1},   {1, 37},  {37, 1},   {2, 2},    {17, 5},
                            {34, 10}, {68, 40}, {113, 29}, {257, 131}};
  forEachFormat([&]<class T>(T, int channels) {
    unsigned seed = 1;
    for (const MirlSize& from : sizes) {
      const auto in = randomPixels<T>(from.width, from.height, channels, seed++);
      for (const MirlSize& to : sizes) {
        for (const MirlInterpolationType mode : kModes) check(in, to, mode);
      }
    }
    const auto in = randomPixels<T>(62, 14, channels, 5);
    for (const MirlSize& to : {MirlSize(31, 7), MirlSize(93, 21), MirlSize(50, 11), MirlSize(62, 9),
                               MirlSize(11, 14), MirlSize(62, 14)}) {
      for (const MirlInterpolationType mode : kModes) {
        forOddPitches(in.rowBytes(), to.width * channels * static_cast<int>(sizeof(T)),
                      [&](int pitchIn, int pitchOut) { check(in, to, mode, pitchIn, pitchOut); });
      }
    }
    for (const int mode : {-1, 0, 1, 2, 3, 4, 77}) {  // to one size it is a copy, whatever the mode
      const auto run = [&](const MirlImage& image, MirlImage& out) {
        return resize(image, out, static_cast<MirlInterpolationType>(mode));
      };
      expectInto(run, in, in, 0, in.rowBytes() + 5);
    }
  });
}

// Along a row each ratio is a table of its own, and some of them have ways of their own.
TEST_P(Resize, EveryRatio) {
  forEachFormat([]<class T>(T, int channels) {
    for (const int width : {1, 2, 3, 16, 31, 64, 97}) {
      const auto in = randomPixels<T>(width, 3, channels, static_cast<unsigned>(width));
      for (int to = 1; to <= 200; to += to < 100 ? 1 : 9) {
        for (const MirlInterpolationType mode : kModes) check(in, {to, 4}, mode);
      }
      check(in, {width * 2, 6}, MIRL_INTERPOLATION_LINEAR);
    }
    for (const int height : {1, 2, 7, 20}) {
      const auto in = randomPixels<T>(5, height, channels, static_cast<unsigned>(height));
      for (int to = 1; to <= 45; ++to) {
        for (const MirlInterpolationType mode : kModes) check(in, {6, to}, mode);
      }
    }
  });
}

TEST_P(Resize, LargeImages) {
  check(randomPixels<Word>(2600, 100, 3, 3), {1300, 50}, MIRL_INTERPOLATION_LINEAR);
  check(randomPixels<Byte>(1500007, 1, 1, 4), {1000003, 2}, MIRL_INTERPOLATION_LINEAR);
  check(randomPixels<Byte>(3, 600011, 1, 5), {2, 400009}, MIRL_INTERPOLATION_CUBIC);
  check(randomPixels<Byte>(1000003, 1, 3, 6), {7, 1}, MIRL_INTERPOLATION_NN);
  check(randomPixels<float>(5000, 300, 3, 7), {64, 64}, MIRL_INTERPOLATION_LINEAR);
  const PastCaches past;
  check(randomPixels<Byte>(1999, 101, 3, 1), {4099, 301}, MIRL_INTERPOLATION_LINEAR);
  check(randomPixels<float>(1003, 203, 1, 2), {3011, 299}, MIRL_INTERPOLATION_CUBIC);
}

TEST_P(Resize, OddFloats) {
  Pixels<float> in = randomPixels<float>(23, 11, 1, 3);
  in.at(4, 3) = INFINITY;
  in.at(14, 7) = NAN;
  in.at(9, 1) = 0x1.fffffep127f;
  in.at(9, 2) = -0x1.fffffep127f;
  in.at(22, 10) = 1e-45f;
  for (const MirlInterpolationType mode : kModes) {
    check(in, {40, 23}, mode);
    check(in, {9, 4}, mode);
  }
}

TEST_P(Resize, OneObjectAndModes) {
  MirlImage good(4, 3, MIRL_8U_C1), other(5, 3, MIRL_8U_C1), same(4, 3, MIRL_8U_C4), none;
  EXPECT_EQ(resize(good, none, MIRL_INTERPOLATION_LINEAR), MIRL_IMAGE_NOT_INITIALIZED);
  EXPECT_EQ(resize(MirlImage(same), same, MIRL_INTERPOLATION_LINEAR), MIRL_TYPE_NOT_SUPPORTED)
      << "before the copy";
  for (const int mode : {-1, 0, 4}) {
    expectStatus(other, MIRL_NPP_FAILED, false, [&](MirlImage& out) {
      return resize(good, out, static_cast<MirlInterpolationType>(mode));
    });
  }
}

}  // namespace
}  // namespace mirl::test
