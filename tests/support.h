#pragma once

// What the tests share: images on the host, exact comparison, awkward sizes and values.

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

#include "fixture.h"

namespace mirl::test {

/// The type of an image of such elements.
template <class T>
MirlType typeOf(int channels) {
  const int first = std::is_same_v<T, std::uint8_t>    ? MIRL_8U_C1
                    : std::is_same_v<T, std::uint16_t> ? MIRL_16U_C1
                                                       : MIRL_32F_C1;
  return static_cast<MirlType>(first + channels - 1);
}

/// Calls visit(T) with the three element types that operations serve.
template <class Visit>
void forEachElement(const Visit& visit) {
  const auto traced = [&]<class T>(T element) {
    SCOPED_TRACE(testing::Message() << sizeof element << " bytes an element");
    visit(element);
  };
  traced(Byte{});
  traced(Word{});
  traced(float{});
}

/// Calls visit(T, channels) with the six types that operations serve.
template <class Visit>
void forEachFormat(const Visit& visit) {
  forEachElement([&]<class T>(T element) {
    for (const int channels : {1, 3}) visit(element, channels);
  });
}

inline bool isServed(const Format& format) {
  return format.channels % 2 == 1 &&
         (format.depth == 8 || format.depth == 16 || format.depth == 32);
}

/// Tightly packed pixels in host memory.
template <class T>
struct Pixels {
  int width = 0;
  int height = 0;
  int channels = 1;
  std::vector<T> values;

  Pixels() = default;
  Pixels(int w, int h, int c, T value = T{})
      : width(w),
        height(h),
        channels(c),
        values(
            static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * static_cast<std::size_t>(c),
            value) {}
  /// A single row of given elements.
  Pixels(int c, std::vector<T> row)
      : width(static_cast<int>(row.size()) / c), height(1), channels(c), values(std::move(row)) {}

  std::size_t index(int x, int y, int c) const {
    return (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
            static_cast<std::size_t>(x)) *
               static_cast<std::size_t>(channels) +
           static_cast<std::size_t>(c);
  }
  T& at(int x, int y, int c = 0) { return values[index(x, y, c)]; }
  const T& at(int x, int y, int c = 0) const { return values[index(x, y, c)]; }
  int rowBytes() const { return width * channels * static_cast<int>(sizeof(T)); }
};

/// Elements over the whole range of an integer type; floats of -300 to 300 and some of any size.
template <class T>
Pixels<T> randomPixels(int width, int height, int channels, unsigned seed) {
  Pixels<T> pixels(width, height, channels);
  std::mt19937 generator(seed);
  for (T& value : pixels.values) {
    if constexpr (std::is_same_v<T, float>) {
      const unsigned bits = static_cast<unsigned>(generator());
      value = static_cast<float>(static_cast<int>(bits % 600000u) - 300000) / 1000.0f;
      if (bits >> 28 == 0) value *= 1000.0f;
    } else {
      value = static_cast<T>(generator());
    }
  }
  return pixels;
}

/// An image on the current device that holds the pixels. With a pitch of its own, if given.
template <class T>
MirlImage toImage(const Pixels<T>& pixels, int pitch = 0) {
  MirlImage image;
  const MirlType type = typeOf<T>(pixels.channels);
  const int depth = static_cast<int>(sizeof(T)) * 8;
  EXPECT_EQ(pitch == 0 ? image.create(pixels.width, pixels.height, type)
                       : image.create(pixels.width, pixels.height, pitch, depth, pixels.channels),
            MIRL_SUCCESS);
  EXPECT_EQ(image.upload(pixels.values.data(), pixels.rowBytes()), MIRL_SUCCESS);
  return image;
}

template <class T>
Pixels<T> fromImage(const MirlImage& image) {
  Pixels<T> pixels(image.width(), image.height(), image.channels());
  EXPECT_EQ(image.type(), typeOf<T>(image.channels()));
  EXPECT_EQ(image.download(pixels.values.data(), pixels.rowBytes()), MIRL_SUCCESS);
  return pixels;
}

/// Whether an image holds exactly these pixels; NaN equals NaN. The failure names the first
/// difference.
template <class T>
testing::AssertionResult holds(const MirlImage& image, const Pixels<T>& expected) {
  if (image.type() != typeOf<T>(expected.channels) || image.width() != expected.width ||
      image.height() != expected.height) {
    return testing::AssertionFailure()
           << "format is type " << image.type() << ", " << image.width() << "x" << image.height()
           << ", expected type " << typeOf<T>(expected.channels) << ", " << expected.width << "x"
           << expected.height;
  }
  const Pixels<T> actual = fromImage<T>(image);
  for (int y = 0; y < expected.height; ++y) {
    for (int x = 0; x < expected.width; ++x) {
      for (int c = 0; c < expected.channels; ++c) {
        const T want = expected.at(x, y, c);
        const T got = actual.at(x, y, c);
        const bool bothNan = want != want && got != got;
        if (!bothNan && std::memcmp(&want, &got, sizeof want) != 0) {
          return testing::AssertionFailure()
                 << "first difference at x " << x << ", y " << y << ", channel " << c << ": "
                 << +got << ", expected " << +want << " (image " << expected.width << "x"
                 << expected.height << ", " << expected.channels << " channels)";
        }
      }
    }
  }
  return testing::AssertionSuccess();
}

/// Runs `run(in, out)` into an image full of the guard, and compares all of it with what is
/// expected, padding included.
template <class Run, class S, class D>
void expectInto(const Run& run, const Pixels<S>& in, const Pixels<D>& want, int pitch = 0,
                int outPitch = 0) {
  MirlImage out = toImage(Pixels<D>(want.width, want.height, want.channels), outPitch);
  fillBlock(out);
  ASSERT_EQ(run(toImage(in, pitch), out), MIRL_SUCCESS);
  EXPECT_TRUE(holds(out, want));
  EXPECT_TRUE(paddingUntouched(out));
}

/// Calls visit(pitch, outPitch) with rows that begin at any byte; 0 is the device's own pitch.
template <class Visit>
void forOddPitches(int row, int outRow, const Visit& visit) {
  visit(row + 1, 0);
  visit(0, outRow + 1);
  visit(row, outRow);
  visit(row + 7, outRow + 3);
}

/// Awkward sizes: one pixel, one row, one column, either side of vectors, and primes above a tile.
inline std::vector<MirlSize> awkwardSizes() {
  return {{1, 1}, {1, 37}, {37, 1}, {15, 4}, {16, 3}, {17, 5}, {113, 9}, {257, 131}};
}

/// Values at and beside the limits that arithmetic meets: all of 8 bits, some of 16, odd floats.
template <class T>
std::vector<T> awkwardValues() {
  std::vector<T> values;
  if constexpr (std::is_same_v<T, float>) {
    for (const float v : {0.0f,       1e-45f,      0x1p-126f,  1e-5f,    1 / 3.0f,
                          0.5f,       0.99999994f, 1.0f,       1.5f,     2.9f,
                          3.0f,       127.5f,      254.99f,    255.0f,   255.00002f,
                          256.0f,     300.0f,      65534.996f, 65535.0f, 65536.0f,
                          8388607.5f, 16777216.0f, 0x1p31f,    1e30f,    0x1.fffffep127f,
                          INFINITY}) {
      values.insert(values.end(), {v, -v});
    }
    values.push_back(NAN);
  } else {
    for (int v = 0; v <= std::numeric_limits<T>::max(); ++v) {
      const bool nearPowerOf2 =
          (v & (v - 1)) == 0 || (v & (v + 1)) == 0 || ((v - 1) & (v - 2)) == 0;
      if (v < 256 || nearPowerOf2 || v % 1009 == 0) values.push_back(static_cast<T>(v));
    }
  }
  return values;
}

/// What a float is when it is stored: as it is, or clamped to the integer type and truncated.
template <class T>
T stored(float value) {
  if constexpr (!std::is_same_v<T, float>) {
    if (!(value > 0.0f)) return 0;
    if (value >= static_cast<float>(std::numeric_limits<T>::max())) {
      return std::numeric_limits<T>::max();
    }
  }
  return static_cast<T>(value);
}

}  // namespace mirl::test
