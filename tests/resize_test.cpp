// resize: numbers, shapes, statuses.

#include <cmath>
#include <limits>
#include <thread>

#include "support.h"

namespace mirl::test {
namespace {

using geometryTransforms::resize;
using Byte = std::uint8_t;
using Word = std::uint16_t;

constexpr unsigned char kGuard = 0xA5;
constexpr MirlInterpolationType kModes[] = {MIRL_INTERPOLATION_NN, MIRL_INTERPOLATION_LINEAR,
                                            MIRL_INTERPOLATION_CUBIC};

class Resize : public DeviceTest {};

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
        } else if (mode == MIRL_INTERPOLATION_LINEAR) {
          value = down.linear([&](std::int64_t row) {
            return across.linear([&](std::int64_t column) { return at(column, row); });
          });
        } else {
          value = down.cubic([&](std::int64_t row) {
            return across.cubic([&](std::int64_t column) { return at(column, row); });
          });
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
  MirlImage out = toImage(Pixels<T>(size.width, size.height, in.channels), pitchOut);
  fillBlock(out, kGuard);
  ASSERT_EQ(resize(toImage(in, pitchIn), out, mode), MIRL_SUCCESS);
  EXPECT_TRUE(holds(out, expected(in, size, mode)));
  EXPECT_TRUE(paddingUntouched(out, kGuard));
}

template <class Visit>
void forEachFormat(const Visit& visit) {
  for (const int channels : {1, 3}) {
    visit(Byte{}, channels);
    visit(Word{}, channels);
    visit(float{}, channels);
  }
}

TEST_P(Resize, LiteralExamples) {
  const auto run = [](MirlInterpolationType mode, const auto& in, const auto& result) {
    MirlImage out = toImage(result);
    fillBlock(out, kGuard);
    EXPECT_EQ(resize(toImage(in), out, mode), MIRL_SUCCESS);
    EXPECT_TRUE(holds(out, result)) << "mode " << mode;
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

// The cubic is no more than interpolation: whatever cubic the pixels lie on, it gives that.
TEST_P(Resize, CubicKeepsCubics) {
  const auto value = [](double x) { return ((0.25 * x - 3) * x + 7) * x - 11; };
  Pixels<float> in(16, 1, 1);
  for (int x = 0; x < 16; ++x) in.at(x, 0) = static_cast<float>(value(x));
  MirlImage out(37, 1, MIRL_32F_C1);
  ASSERT_EQ(resize(toImage(in), out, MIRL_INTERPOLATION_CUBIC), MIRL_SUCCESS);
  const Pixels<float> got = fromImage<float>(out);
  for (int x = 3; x < 34; ++x) {  // the others read behind the edge
    EXPECT_NEAR(got.at(x, 0), value((x + 0.5) * 16 / 37 - 0.5), 1e-3) << x;
  }
}

TEST_P(Resize, EverySizeAndType) {
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

TEST_P(Resize, OddPitches) {
  forEachFormat([]<class T>(T, int channels) {
    const auto in = randomPixels<T>(62, 14, channels, 5);
    for (const MirlSize& to : {MirlSize(31, 7), MirlSize(93, 21), MirlSize(50, 11), MirlSize(62, 9),
                               MirlSize(11, 14), MirlSize(62, 14)}) {
      const int row = to.width * channels * static_cast<int>(sizeof(T));
      for (const MirlInterpolationType mode : kModes) {
        check(in, to, mode, in.rowBytes() + 1, 0);
        check(in, to, mode, 0, row + 1);
        check(in, to, mode, in.rowBytes(), row);
        check(in, to, mode, in.rowBytes() + 7, row + 3);
      }
    }
  });
}

TEST_P(Resize, LargeImages) {
  check(randomPixels<Byte>(1999, 1001, 3, 1), {4099, 3001}, MIRL_INTERPOLATION_LINEAR);
  check(randomPixels<float>(1003, 2003, 1, 2), {3011, 2999}, MIRL_INTERPOLATION_CUBIC);
  check(randomPixels<Word>(2600, 1400, 3, 3), {1300, 700}, MIRL_INTERPOLATION_LINEAR);
  check(randomPixels<Byte>(1500007, 1, 1, 4), {1000003, 2}, MIRL_INTERPOLATION_LINEAR);
  check(randomPixels<Byte>(3, 600011, 1, 5), {2, 400009}, MIRL_INTERPOLATION_CUBIC);
  check(randomPixels<Byte>(1000003, 1, 3, 6), {7, 1}, MIRL_INTERPOLATION_NN);
  check(randomPixels<float>(5000, 3000, 3, 7), {64, 64}, MIRL_INTERPOLATION_LINEAR);
}

TEST_P(Resize, OddFloats) {
  using Float = std::numeric_limits<float>;
  Pixels<float> in = randomPixels<float>(23, 11, 1, 3);
  in.at(4, 3) = Float::infinity();
  in.at(14, 7) = Float::quiet_NaN();
  in.at(9, 1) = Float::max();
  in.at(9, 2) = -Float::max();
  in.at(22, 10) = Float::denorm_min();
  for (const MirlInterpolationType mode : kModes) {
    check(in, {40, 23}, mode);
    check(in, {9, 4}, mode);
  }
}

TEST_P(Resize, OneSizeIsACopyWhateverTheMode) {
  forEachFormat([]<class T>(T, int channels) {
    const auto in = randomPixels<T>(61, 17, channels, 9);
    for (const int mode : {-1, 0, 1, 2, 3, 4, 77}) {
      MirlImage out = toImage(Pixels<T>(61, 17, channels), in.rowBytes() + 5);
      fillBlock(out, kGuard);
      EXPECT_EQ(resize(toImage(in), out, static_cast<MirlInterpolationType>(mode)), MIRL_SUCCESS);
      EXPECT_TRUE(holds(out, in));
      EXPECT_TRUE(paddingUntouched(out, kGuard));
    }
  });
}

// The destination's sign isn't looked at, the source's is.
TEST_P(Resize, EveryPairOfTypes) {
  for (const Format& from : allFormats()) {
    const bool served =
        from.channels % 2 == 1 && (from.depth == 8 || from.depth == 16 || from.depth == 32);
    for (const Format& to : allFormats()) {
      const MirlImage in(4, 3, from.type);
      MirlImage out(5, 2, to.type);
      const bool fits = from.channels == to.channels && std::abs(from.depth) == std::abs(to.depth);
      EXPECT_EQ(resize(in, out, MIRL_INTERPOLATION_LINEAR), !fits    ? MIRL_MISMATCH
                                                            : served ? MIRL_SUCCESS
                                                                     : MIRL_TYPE_NOT_SUPPORTED)
          << from.type << " to " << to.type;
    }
  }
}

TEST_P(Resize, OrderOfChecks) {
  const MirlImage empty;
  const MirlImage good(4, 3, MIRL_8U_C1), other(5, 3, MIRL_8U_C1), colour(5, 3, MIRL_8U_C3),
      deep(5, 3, MIRL_16U_C1), four(4, 3, MIRL_8U_C4), fourOther(5, 3, MIRL_8U_C4);
  const MirlStream ok;
  MirlStream dead(true);
  dead.destroy();
  const struct {
    const char* what;
    const MirlImage& in;
    const MirlImage& out;
    int mode;
    const MirlStream& stream;
    MirlStatus status;
  } cases[] = {
      {"source empty", empty, colour, 0, dead, MIRL_IMAGE_NOT_INITIALIZED},
      {"destination empty", good, empty, 0, dead, MIRL_IMAGE_NOT_INITIALIZED},
      {"one object, empty", empty, empty, 2, ok, MIRL_IMAGE_NOT_INITIALIZED},
      {"channels", good, colour, 0, dead, MIRL_MISMATCH},
      {"depth", good, deep, 0, dead, MIRL_MISMATCH},
      {"channels before type", four, colour, 0, dead, MIRL_MISMATCH},
      {"stream", good, other, 0, dead, MIRL_INVALID_ARGUMENT},
      {"stream before type", four, fourOther, 0, dead, MIRL_INVALID_ARGUMENT},
      {"type before mode", four, fourOther, 0, ok, MIRL_TYPE_NOT_SUPPORTED},
      {"type before the copy", four, four, 2, ok, MIRL_TYPE_NOT_SUPPORTED},
      {"mode 0", good, other, 0, ok, MIRL_NPP_FAILED},
      {"mode 4", good, other, 4, ok, MIRL_NPP_FAILED},
      {"mode -1", good, other, -1, ok, MIRL_NPP_FAILED},
      {"nothing", good, other, 3, ok, MIRL_SUCCESS},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    MirlImage out(c.out);
    if (out.isInitialized()) fillBlock(out, kGuard);
    const auto before = fieldsOf(out);
    EXPECT_EQ(resize(c.in, out, static_cast<MirlInterpolationType>(c.mode), c.stream), c.status);
    EXPECT_EQ(fieldsOf(out), before);
    if (out.isInitialized() && c.status != MIRL_SUCCESS) {
      EXPECT_TRUE(untouchedOutside(out, 0, 0, kGuard));
    }
  }
  MirlImage same(4, 3, MIRL_8U_C4);
  EXPECT_EQ(resize(same, same, MIRL_INTERPOLATION_LINEAR, dead), MIRL_IN_PLACE_NOT_SUPPORTED);
}

TEST_P(Resize, Failures) {
  const auto pixels = randomPixels<Byte>(40, 30, 3, 1);
  const MirlImage in = toImage(pixels);
  MirlImage same = toImage(pixels), other = toImage(Pixels<Byte>(60, 45, 3));
  fillBlock(same, kGuard);
  fillBlock(other, kGuard);
  {
    const FailNth fail(runtime::Call::copy);
    EXPECT_EQ(resize(in, same, MIRL_INTERPOLATION_LINEAR), MIRL_COPY_D2D_FAILED);
  }
  EXPECT_TRUE(untouchedOutside(same, 0, 0, kGuard));
  if (GetParam() != device::getDeviceCount() - 1) return;  // GPUs need no tables
  for (const MirlInterpolationType mode : kModes) {
    const FailNth fail(runtime::Call::allocate);
    EXPECT_EQ(resize(in, other, mode), MIRL_DEVICE_ALLOC_FAILED);
    EXPECT_TRUE(untouchedOutside(other, 0, 0, kGuard));
    EXPECT_EQ(resize(in, other, mode), MIRL_SUCCESS);
    EXPECT_TRUE(holds(other, expected(pixels, other.size(), mode)));
    fillBlock(other, kGuard);
  }
}

TEST_P(Resize, ThreadsAndStreams) {
  onThreads(2, [](int i) {
    const MirlStream stream(true);
    const auto pixels = randomPixels<Word>(701, 301, 3, static_cast<unsigned>(i));
    const MirlImage in = toImage(pixels);
    for (const MirlInterpolationType mode : kModes) {
      MirlImage larger(903, 404, MIRL_16U_C3), smaller(350, 150, MIRL_16U_C3);
      EXPECT_EQ(resize(in, larger, mode, stream), MIRL_SUCCESS);
      EXPECT_EQ(resize(larger, smaller, mode, stream), MIRL_SUCCESS);
      stream.sync();
      const auto between = expected(pixels, larger.size(), mode);
      EXPECT_TRUE(holds(smaller, expected(between, smaller.size(), mode)));
    }
  });
}

TEST_P(Resize, ImagesOfTwoDevices) {
  if (device::getDeviceCount() < 2) GTEST_SKIP() << "there is one device";
  const MirlImage here(8, 8, MIRL_8U_C1);
  MirlImage out(4, 4, MIRL_8U_C1);
  ASSERT_EQ(device::setCurrentDevice((GetParam() + 1) % device::getDeviceCount()), MIRL_SUCCESS);
  const MirlStream elsewhere(true);
  MirlImage there(4, 4, MIRL_8U_C1);
  EXPECT_EQ(resize(here, there, MIRL_INTERPOLATION_LINEAR), MIRL_MISMATCH);
  EXPECT_EQ(resize(here, out, MIRL_INTERPOLATION_LINEAR, elsewhere), MIRL_MISMATCH);
  EXPECT_EQ(resize(here, out, MIRL_INTERPOLATION_LINEAR), MIRL_SUCCESS);
}

MIRL_TEST_ON_ALL_DEVICES(Resize);

}  // namespace
}  // namespace mirl::test
