// MirlImage::set of whole images and channels, rectangle, generateRandomImage: numbers, what stays
// untouched, statuses.

#include <algorithm>

#include "support.h"

namespace mirl::test {
namespace {

using namespace dataExchange;

MIRL_DEVICE_TESTS(Fills);

constexpr double kNan = NAN, kInf = INFINITY;

/// What a double becomes in a fill: an integer type limits it.
template <class T>
T filled(double value) {
  if constexpr (std::is_same_v<T, float>) return static_cast<float>(value);
  const double maximum = std::numeric_limits<T>::max();
  return !(value > 0) ? T{0} : static_cast<T>(std::min(value, maximum));
}

/// Sets and compares the whole block; `valueOf(channel, was)` is what an element becomes.
template <class T, class Set, class ValueOf>
void expectSet(const MirlSize& size, int channels, int pitch, const Set& set,
               const ValueOf& valueOf) {
  auto pixels = randomPixels<T>(size.width, size.height, channels, 1);
  const int row = pixels.rowBytes();
  MirlImage image = toImage(Pixels<T>(size.width, size.height, channels), pitch);
  fillBlock(image);
  ASSERT_EQ(image.upload(pixels.values.data(), row), MIRL_SUCCESS);
  ASSERT_EQ(set(image), MIRL_SUCCESS);
  for (std::size_t i = 0; i < pixels.values.size(); ++i) {
    pixels.values[i] = valueOf(static_cast<int>(i) % channels, pixels.values[i]);
  }
  EXPECT_TRUE(holds(image, pixels)) << "pitch " << pitch;
  EXPECT_TRUE(paddingUntouched(image));
}

TEST_P(Fills, WholeImages) {
  const double values[] = {0,     1.9,  77,   254.999, 255,   300,  65534.5, 70000,
                           1e300, kInf, -0.5, -3,      -kInf, kNan, 0.1};
  forEachFormat([&]<class T>(T, int channels) {
    for (const double v : values) {
      expectSet<T>(
          {19, 3}, channels, 0, [&](MirlImage& image) { return image.set(v); },
          [&](int, T) { return filled<T>(v); });
    }
    const double colour[] = {300.7, -1, 41.5};
    const auto set = [&](MirlImage& image) {
      return image.set(MirlScalar(colour[0], colour[1], colour[2]));
    };
    const auto valueOf = [&](int c, T) { return filled<T>(colour[c]); };
    for (const MirlSize& size : awkwardSizes()) expectSet<T>(size, channels, 0, set, valueOf);
    const int row = 113 * channels * static_cast<int>(sizeof(T));
    for (const int more : {0, 1, 3, 16, 40}) {
      expectSet<T>({113, 9}, channels, row + more, set, valueOf);
    }
    expectSet<T>({2, 9001}, channels, 2 * channels * static_cast<int>(sizeof(T)), set, valueOf);
    const PastCaches past;
    for (const int more : {0, 1, 16}) {
      expectSet<T>({1999, 43}, channels, 1999 * channels * static_cast<int>(sizeof(T)) + more, set,
                   valueOf);
    }
  });
}

TEST_P(Fills, SingleChannels) {
  const struct {
    double value;
    int low8, low16;
  } values[] = {{300, 44, 300},           {1.5, 1, 1},   {-1.9, 255, 65535}, {-0.9, 0, 0},
                {0x1p40 + 513, 1, 513},   {1e300, 0, 0}, {kNan, 0, 0},       {-kInf, 0, 0},
                {-0x1p33 - 2, 254, 65534}};
  forEachFormat([&]<class T>(T, int channels) {
    for (int channel = 0; channel < channels; ++channel) {
      for (const auto& v : values) {
        const T element = std::is_same_v<T, float>
                              ? static_cast<T>(v.value)
                              : static_cast<T>(sizeof(T) == 1 ? v.low8 : v.low16);
        const auto set = [&](MirlImage& image) { return image.set(channel, v.value); };
        const auto valueOf = [&](int c, T was) { return c == channel ? element : was; };
        expectSet<T>({257, 5}, channels, 0, set, valueOf);
        expectSet<T>({61, 3}, channels, 61 * channels * static_cast<int>(sizeof(T)) + 1, set,
                     valueOf);
      }
    }
  });
}

TEST_P(Fills, SetStatuses) {
  const MirlStream ok, dead = deadStream();
  const auto expect = [&](const MirlImage& image, int channel, const MirlStream& stream,
                          MirlStatus whole, MirlStatus one) {
    expectStatus(image, whole, false, [&](MirlImage& out) { return out.set(1.0, stream); });
    expectStatus(image, whole, false,
                 [&](MirlImage& out) { return out.set(MirlScalar(1), stream); });
    expectStatus(image, one, false, [&](MirlImage& out) { return out.set(channel, 1, stream); });
  };
  const MirlStatus none = MIRL_IMAGE_NOT_INITIALIZED, type = MIRL_TYPE_NOT_SUPPORTED,
                   argument = MIRL_INVALID_ARGUMENT, good = MIRL_SUCCESS;
  expect(MirlImage(), -1, dead, none, none);
  for (const Format& format : allFormats()) {
    const MirlImage image(3, 2, format.type);
    const bool served = isServed(format);
    expect(image, format.channels, ok, served ? good : type, served ? argument : type);
    expect(image, -1, ok, served ? good : type, served ? argument : type);
    expect(image, 0, dead, served ? argument : type, served ? argument : type);
  }
}

TEST_P(Fills, Rectangles) {
  const MirlScalar colour(300.0, -4.0, 77.9);
  const Byte stored[] = {255, 0, 77};
  for (const int channels : {1, 3}) {
    for (const int pitch : {0, 113 * channels + 1}) {
      const auto pixels = randomPixels<Byte>(113, 70, channels, 1);
      for (const MirlRect& r :
           {MirlRect(0, 0, 113, 70), MirlRect(0, 0, 1, 1), MirlRect(112, 69, 1, 1),
            MirlRect(5, 3, 48, 60), MirlRect(17, 0, 31, 70), MirlRect(0, 7, 113, 2),
            MirlRect(113, 70, 0, 0), MirlRect(3, 3, 0, 5), MirlRect(3, 3, 5, 0)}) {
        Pixels<Byte> want = pixels;
        for (int y = r.y; y < r.y + r.height; ++y) {
          for (int x = r.x; x < r.x + r.width; ++x) {
            for (int c = 0; c < channels; ++c) want.at(x, y, c) = stored[c];
          }
        }
        MirlImage image = toImage(pixels, pitch);
        ASSERT_EQ(rectangle(image, r, colour), MIRL_SUCCESS);
        EXPECT_TRUE(holds(image, want)) << r.x << ", " << r.y << ", " << r.width;
      }
    }
  }
  const MirlImage good(5, 4, MIRL_8U_C1);
  const MirlStream ok, dead = deadStream();
  const auto expect = [&](const MirlImage& image, const MirlRect& r, const MirlStream& stream,
                          MirlStatus status) {
    expectStatus(image, status, false,
                 [&](MirlImage& out) { return rectangle(out, r, 1, stream); });
  };
  const MirlRect outside(0, 0, 6, 4);
  expect(MirlImage(), outside, dead, MIRL_IMAGE_NOT_INITIALIZED);
  for (const MirlType type : {MIRL_8U_C2, MIRL_8U_C4, MIRL_16U_C1, MIRL_32F_C3}) {
    expect(MirlImage(5, 4, type), outside, dead, MIRL_MISMATCH);
  }
  for (const MirlRect& r :
       {outside, MirlRect(0, 0, 5, 5), MirlRect(-1, 0, 2, 2), MirlRect(0, -1, 2, 2),
        MirlRect(2, 2, -1, 1), MirlRect(2, 2, 1, -1), MirlRect(1, 0, INT32_MAX, 1),
        MirlRect(INT32_MIN, 0, 1, 1), MirlRect(6, 0, 0, 0)}) {
    expect(good, r, ok, MIRL_INVALID_ARGUMENT);
  }
  expect(good, MirlRect(0, 0, 1, 1), dead, MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(rectangle(const_cast<MirlImage&>(good), {0, 0, 5, 4}, 1), MIRL_SUCCESS);
}

TEST_P(Fills, RandomNumbers) {
  // The generator's first numbers of a few counters, from its definition, over 2^24.
  const struct {
    int n;
    float number;
  } literals[] = {{0, 6694889},    {1, 14772678},  {2, 12343213},    {3, 10158300},
                  {4, 16311501},   {7, 622336},    {1028, 11313672}, {1031, 7241048},
                  {1032, 1050981}, {1034, 9910378}};
  MirlImage row(1 << 20, 1, MIRL_32F_C4);
  ASSERT_EQ(generateRandomImage(row), MIRL_SUCCESS);
  const std::vector<float> sequence = fromImage<float>(row).values;
  for (const auto& [n, number] : literals) {
    EXPECT_EQ(sequence[static_cast<std::size_t>(n)], number * 0x1p-24f) << n;
  }
  double sum = 0;
  int below = 0;
  for (const float v : sequence) {
    ASSERT_GT(v, 0);
    ASSERT_LE(v, 1);
    sum += static_cast<double>(v);
    below += v < 0.25f;
  }
  const auto count = static_cast<double>(sequence.size());
  EXPECT_NEAR(sum / count, 0.5, 1e-3);
  EXPECT_NEAR(below / count, 0.25, 1e-3);

  // Rows follow one another in it, whatever stands between them.
  const auto expect = [&](int width, int height, int channels, int pitch) {
    Pixels<float> want(width, height, channels);
    ASSERT_LE(want.values.size(), sequence.size());
    std::copy_n(sequence.begin(), want.values.size(), want.values.begin());
    MirlImage image = toImage(want, pitch);
    fillBlock(image);
    ASSERT_EQ(generateRandomImage(image), MIRL_SUCCESS);
    EXPECT_TRUE(holds(image, want));
    EXPECT_TRUE(paddingUntouched(image));
  };
  for (const MirlSize& size : awkwardSizes()) {
    for (int channels = 1; channels <= 4; ++channels) {
      expect(size.width, size.height, channels, 0);
      expect(size.width, size.height, channels, size.width * channels * 4 + channels);
    }
  }
  expect(1025, 1021, 3, 0);
  MirlImage large(3001, 3500, MIRL_32F_C1);
  ASSERT_EQ(generateRandomImage(large), MIRL_SUCCESS);
  const auto pixels = fromImage<float>(large).values;
  EXPECT_TRUE(std::equal(sequence.begin(), sequence.end(), pixels.begin()));

  const MirlStream ok, dead = deadStream();
  MirlImage empty;
  EXPECT_EQ(generateRandomImage(empty, dead), MIRL_IMAGE_NOT_INITIALIZED);
  for (const Format& format : allFormats()) {
    MirlImage image(3, 2, format.type);
    const bool served = std::abs(format.depth) == 32;
    for (const MirlStream& stream : {dead, ok}) {
      const MirlStatus good = stream.isDefault() ? MIRL_SUCCESS : MIRL_INVALID_ARGUMENT;
      expectStatus(image, served ? good : MIRL_DEPTH_NOT_SUPPORTED, false,
                   [&](MirlImage& out) { return generateRandomImage(out, stream); });
    }
  }
}

}  // namespace
}  // namespace mirl::test
