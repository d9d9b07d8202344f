#pragma once

// What the tests of colour conversions share: telling pixels, and the comparison of a conversion
// with a formula for one pixel.

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "pointwise_support.h"

namespace mirl::test {

using Convert = std::function<MirlStatus(const MirlImage&, MirlImage&)>;
template <class T>
using Values = std::array<T, 4>;

/// A conversion without its stream, which tells the overloads apart.
template <class... In>
Convert of(MirlStatus (*run)(const MirlImage&, MirlImage&, const In&..., const MirlStream&),
           const In&... in) {
  return [=](const MirlImage& source, MirlImage& out) {
    return run(source, out, in..., MirlStream());
  };
}

/// Both images have the sequence, so that it doesn't matter here whose counts.
template <class T>
void run(const Convert& convert, const Pixels<T>& source, MirlChannelSeq sequence, MirlImage& out,
         int pitch = 0) {
  MirlImage in = toImage(source, pitch);
  in.setChannelSequence(sequence);
  if (out.channels() > 2) out.setChannelSequence(sequence);
  fillBlock(out);
  ASSERT_EQ(convert(in, out), MIRL_SUCCESS);
  EXPECT_TRUE(paddingUntouched(out));
}

/// `expected(pixel, x)` gives the channels of the result.
template <class T, class Expected>
void check(const Convert& convert, const Pixels<T>& source, MirlChannelSeq sequence, int channels,
           const Expected& expected, int pitch = 0, int outPitch = 0) {
  SCOPED_TRACE(testing::Message() << sizeof(T) << " bytes, sequence " << sequence);
  int next = 0;
  const auto want = mapped<T>(source, channels, [&](const T* in, T* out) {
    const Values<T> values = expected(in, next++ % source.width);
    std::copy_n(values.begin(), channels, out);
  });
  MirlImage out = toImage(Pixels<T>(source.width, source.height, channels), outPitch);
  run(convert, source, sequence, out, pitch);
  EXPECT_TRUE(holds(out, want));
}

/// Any pixels, also in rows that begin at any byte.
template <class T, class Expected>
void checkNoise(const Convert& convert, int inChannels, MirlChannelSeq sequence, int channels,
                const Expected& expected) {
  const auto source = randomPixels<T>(257, 67, inChannels, 1);
  check(convert, source, sequence, channels, expected);
  check(convert, source, sequence, channels, expected, source.rowBytes() + 1,
        257 * channels * static_cast<int>(sizeof(T)) + 3);
}

/// Pixels of all triples of some values, 1021 to a row.
template <class T>
Pixels<T> triplesOf(const std::vector<T>& values) {
  const std::size_t n = values.size();
  const int count = static_cast<int>(n * n * n);
  Pixels<T> pixels(1021, (count + 1020) / 1021, 3, values[0]);
  for (std::size_t i = 0; i < n * n * n; ++i) {
    pixels.values[3 * i] = values[i % n];
    pixels.values[3 * i + 1] = values[i / n % n];
    pixels.values[3 * i + 2] = values[i / n / n];
  }
  return pixels;
}

/// All triples of every `step`th 8-bit value and 255.
inline Pixels<Byte> colours(int step) {
  std::vector<Byte> values;
  for (int v = 0; v < 255; v += step) values.push_back(static_cast<Byte>(v));
  values.push_back(255);
  return triplesOf(values);
}

/// Pixels that show more than noise does: regular 8-bit colours, the limits of 16 bits, floats
/// that a program would use and odd ones.
template <class T>
Pixels<T> tellingPixels() {
  if constexpr (std::is_same_v<T, Byte>) return colours(5);
  std::vector<T> values;
  if constexpr (std::is_same_v<T, Word>) {
    values = {0, 1, 2, 127, 128, 129, 255, 256, 257, 32767, 32768, 65534, 65535};
    for (int v = 1009; v < 65536; v += 2018) values.push_back(static_cast<Word>(v));
  } else if constexpr (std::is_same_v<T, float>) {
    values = {0.0f, 1e-30f, 0.003f, 1.0f, 1.5f, -0.25f, 3e38f, -3e38f};
    for (int v = 1; v < 40; ++v) values.push_back(static_cast<float>(v) / 40.0f);
  }
  return triplesOf(values);
}

/// Any pixels and telling ones, all of 3 channels.
template <class T, class Expected>
void checkAll(const Convert& convert, MirlChannelSeq sequence, int channels,
              const Expected& expected) {
  checkNoise<T>(convert, 3, sequence, channels, expected);
  check(convert, tellingPixels<T>(), sequence, channels, expected);
}

/// Calls visit(sequence, index of red, index of blue).
template <class Visit>
void forBothOrders(const Visit& visit) {
  visit(MIRL_CHANNELSEQ_RGB, 0, 2);
  visit(MIRL_CHANNELSEQ_BGR, 2, 0);
}

inline Values<Byte> bytes(int a, int b, int c = 0) {
  const auto limited = [](int value) { return static_cast<Byte>(std::clamp(value, 0, 255)); };
  return {limited(a), limited(b), limited(c), 0};
}

}  // namespace mirl::test
