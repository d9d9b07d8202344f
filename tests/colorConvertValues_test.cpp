// Colour conversions: what every pixel becomes, against formulas written out plainly.

#include <mirl/colorOperations.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "support.h"

namespace mirl::test {
namespace {

using namespace colorOperations;
using Byte = std::uint8_t;
using Word = std::uint16_t;

class ColorConvertValues : public DeviceTest {};

constexpr unsigned char kGuard = 0xA5;

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
  fillBlock(out, kGuard);
  ASSERT_EQ(convert(in, out), MIRL_SUCCESS);
  EXPECT_TRUE(paddingUntouched(out, kGuard));
}

/// `expected(pixel, x)` gives the channels of the result.
template <class T, class Expected>
void check(const Convert& convert, const Pixels<T>& source, MirlChannelSeq sequence, int channels,
           const Expected& expected, int pitch = 0, int outPitch = 0) {
  SCOPED_TRACE(testing::Message() << sizeof(T) << " bytes, sequence " << sequence);
  Pixels<T> want(source.width, source.height, channels);
  for (int y = 0; y < source.height; ++y) {
    for (int x = 0; x < source.width; ++x) {
      const Values<T> values = expected(&source.values[source.index(x, y, 0)], x);
      std::copy_n(values.begin(), channels,
                  want.values.begin() + static_cast<std::ptrdiff_t>(want.index(x, y, 0)));
    }
  }
  MirlImage out = toImage(Pixels<T>(source.width, source.height, channels), outPitch);
  run(convert, source, sequence, out, pitch);
  EXPECT_TRUE(holds(out, want));
}

/// Awkward sizes and odd pitches.
template <class T, class Expected>
void checkSizes(const Convert& convert, int inChannels, MirlChannelSeq sequence, int channels,
                const Expected& expected) {
  unsigned seed = 1;
  for (const MirlSize& size : awkwardSizes()) {
    const auto source = randomPixels<T>(size.width, size.height, inChannels, seed++);
    check(convert, source, sequence, channels, expected);
  }
  const auto source = randomPixels<T>(61, 7, inChannels, seed);
  const int outRow = 61 * channels * static_cast<int>(sizeof(T));
  check(convert, source, sequence, channels, expected, source.rowBytes() + 1, outRow);
  check(convert, source, sequence, channels, expected, source.rowBytes(), outRow + 1);
  check(convert, source, sequence, channels, expected, source.rowBytes() + 3, outRow + 5);
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
Pixels<Byte> colours(int step) {
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
  if constexpr (std::is_same_v<T, Word>) {
    std::vector<Word> values = {0, 1, 2, 127, 128, 129, 255, 256, 257, 32767, 32768, 65534, 65535};
    for (int v = 1009; v < 65536; v += 2018) values.push_back(static_cast<Word>(v));
    return triplesOf(values);
  }
  if constexpr (std::is_same_v<T, float>) {
    std::vector<float> values = {0.0f, 1e-30f, 0.003f, 1.0f, 1.5f, -0.25f, 3e38f, -3e38f};
    for (int v = 1; v < 40; ++v) values.push_back(static_cast<float>(v) / 40.0f);
    return triplesOf(values);
  }
}

/// Calls visit(sequence, index of red, index of blue).
template <class Visit>
void forBothOrders(const Visit& visit) {
  visit(MIRL_CHANNELSEQ_RGB, 0, 2);
  visit(MIRL_CHANNELSEQ_BGR, 2, 0);
}

/// Factors by channel in memory: the middle channel first.
float sum(float c0, float c1, float c2, float f0, float f1, float f2) {
  return std::fma(c2, f2, std::fma(c0, f0, c1 * f1));
}

template <class T>
auto grayOf(float f0, float f1, float f2) {
  return [=](const T* p, int) {
    return Values<T>{stored<T>(sum(float(p[0]), float(p[1]), float(p[2]), f0, f1, f2))};
  };
}

TEST_P(ColorConvertValues, Gray) {
  const Convert gray = of(rgb2gray);
  const auto redFirst = []<class T>(T) { return grayOf<T>(0.299f, 0.587f, 0.114f); };
  const auto blueFirst = []<class T>(T) { return grayOf<T>(0.114f, 0.587f, 0.299f); };
  const auto checkType = [&]<class T>(T t) {
    checkSizes<T>(gray, 3, MIRL_CHANNELSEQ_RGB, 1, redFirst(t));
    checkSizes<T>(gray, 3, MIRL_CHANNELSEQ_BGR, 1, blueFirst(t));
    check(gray, tellingPixels<T>(), MIRL_CHANNELSEQ_RGB, 1, redFirst(t));
    check(gray, tellingPixels<T>(), MIRL_CHANNELSEQ_BGR, 1, blueFirst(t));
    if constexpr (!std::is_same_v<T, float>) {
      checkSizes<T>(gray, 4, MIRL_CHANNELSEQ_RGBA, 1, redFirst(t));
      checkSizes<T>(gray, 4, MIRL_CHANNELSEQ_BGRA, 1, blueFirst(t));
    }
  };
  checkType(Byte{});
  checkType(Word{});
  checkType(float{});
  check(gray, Pixels<Byte>(3, {255, 255, 255, 0, 0, 0, 0, 0, 255}), MIRL_CHANNELSEQ_BGR, 1,
        [](const Byte*, int x) {
          return Values<Byte>{std::array<Byte, 3>{255, 0, 76}[size_t(x)]};
        });
  check(gray, Pixels<Word>(4, {65535, 65535, 65535, 9}), MIRL_CHANNELSEQ_RGBA, 1,
        [](const Word*, int) { return Values<Word>{65535}; });
}

// Every 8-bit colour there is: truncation shows the last bit of the sum.
TEST_P(ColorConvertValues, GrayOfEveryColour) {
  const Pixels<Byte> all = colours(1);
  check(of(rgb2gray), all, MIRL_CHANNELSEQ_RGB, 1, grayOf<Byte>(0.299f, 0.587f, 0.114f));
  check(of(rgb2gray), all, MIRL_CHANNELSEQ_BGR, 1, grayOf<Byte>(0.114f, 0.587f, 0.299f));
}

TEST_P(ColorConvertValues, GrayWithWeights) {
  const double weights[][3] = {
      {0.2126, 0.7152, 0.0722}, {1, 1, 1}, {-1, 0.5, 2}, {0, 0, 0}, {1e39, -1, 0},
      {0.1, 0.2, std::nan("")}};
  for (const auto& [red, green, blue] : weights) {
    const Convert gray = of<MirlScalar>(rgb2gray, MirlScalar(red, green, blue));
    const auto r = static_cast<float>(red), g = static_cast<float>(green),
               b = static_cast<float>(blue);
    const auto checkType = [&]<class T>(T) {
      checkSizes<T>(gray, 3, MIRL_CHANNELSEQ_RGB, 1, grayOf<T>(r, g, b));
      check(gray, tellingPixels<T>(), MIRL_CHANNELSEQ_RGB, 1, grayOf<T>(r, g, b));
      check(gray, tellingPixels<T>(), MIRL_CHANNELSEQ_BGR, 1, grayOf<T>(b, g, r));
    };
    checkType(Byte{});
    checkType(Word{});
    checkType(float{});
  }
  // Entry 0 is the weight of red, which stands last here.
  check(of<MirlScalar>(rgb2gray, MirlScalar(1, 0, 0)), Pixels<Byte>(3, {10, 20, 30}),
        MIRL_CHANNELSEQ_BGR, 1, [](const Byte*, int) { return Values<Byte>{30}; });
}

TEST_P(ColorConvertValues, ColourFromGray) {
  const auto checkType = [&]<class T>(T) {
    const auto copied = [](const T* p, int) { return Values<T>{p[0], p[0], p[0], 0}; };
    for (const int channels : {3, 4}) {
      checkSizes<T>(of(gray2rgb), 1, MIRL_CHANNELSEQ_NONE, channels, copied);
    }
    const auto source = randomPixels<T>(61, 7, 1, 1);
    Pixels<T> want(61, 7, 3);
    for (std::size_t i = 0; i < want.values.size(); ++i) want.values[i] = source.values[i / 3];
    MirlImage image = toImage(source, source.rowBytes() + 1);
    image.setDataBits(7);
    ASSERT_EQ(gray2rgb(image), MIRL_SUCCESS);
    EXPECT_TRUE(holds(image, want)) << "in place";
    EXPECT_EQ(image.channelSeq(), MIRL_CHANNELSEQ_BGR);
    EXPECT_EQ(image.dataBits(), image.depth());
  };
  checkType(Byte{});
  checkType(Word{});
  checkType(float{});
}

int limited(int value) {
  return std::clamp(value, 0, 255);
}

Values<Byte> bytes(int a, int b, int c = 0) {
  return {static_cast<Byte>(limited(a)), static_cast<Byte>(limited(b)),
          static_cast<Byte>(limited(c)), 0};
}

/// Y, U, V.
Values<Byte> yuvOf(int r, int g, int b) {
  return bytes(((66 * r + 129 * g + 25 * b + 128) >> 8) + 16,
               ((-38 * r - 74 * g + 112 * b + 128) >> 8) + 128,
               ((112 * r - 94 * g - 18 * b + 128) >> 8) + 128);
}

TEST_P(ColorConvertValues, Yuv8) {
  forBothOrders([](MirlChannelSeq sequence, int red, int blue) {
    const auto forward = [=](const Byte* p, int) { return yuvOf(p[red], p[1], p[blue]); };
    const auto back = [=](const Byte* p, int) {
      const int d = p[1] - 128, e = p[2] - 128, w = 298 * (p[0] - 16) + 128;
      const int rgb[] = {(w + 409 * e) >> 8, (w - 100 * d - 208 * e) >> 8, (w + 516 * d) >> 8};
      return bytes(rgb[red], rgb[1], rgb[blue]);
    };
    checkSizes<Byte>(of(rgb2yuv), 3, sequence, 3, forward);
    checkSizes<Byte>(of(yuv2rgb), 3, sequence, 3, back);
    check(of(rgb2yuv), tellingPixels<Byte>(), sequence, 3, forward);
    check(of(yuv2rgb), tellingPixels<Byte>(), sequence, 3, back);
  });
  EXPECT_EQ(yuvOf(255, 255, 255), bytes(235, 128, 128));
  EXPECT_EQ(yuvOf(0, 0, 0), bytes(16, 128, 128));
}

TEST_P(ColorConvertValues, Yuv16) {
  const auto words = [](float a, float b, float c) {
    return Values<Word>{stored<Word>(a), stored<Word>(b), stored<Word>(c)};
  };
  forBothOrders([&](MirlChannelSeq sequence, int red, int blue) {
    const auto forward = [=](const Word* p, int) {
      const auto row = [&](float r, float g, float b) {
        const float factors[] = {r, g, b};
        return sum(p[0], p[1], p[2], factors[red], g, factors[blue]);
      };
      const double v = 0.5f * p[red] - 0.418688 * p[1] - 0.081312 * p[blue];
      return words(row(0.299f, 0.587f, 0.114f), row(-0.168736f, -0.331264f, 0.5f),
                   static_cast<float>(v));
    };
    const auto back = [=](const Word* p, int) {
      const float y = p[0], d = p[1] - 128.0f, e = p[2] - 128.0f;
      const float rgb[] = {std::fma(e, 1.4075f, y), std::fma(e, -0.7169f, -0.3455f * d + y),
                           1.779f * d + y};
      return words(rgb[red], rgb[1], rgb[blue]);
    };
    checkSizes<Word>(of(rgb2yuv), 3, sequence, 3, forward);
    checkSizes<Word>(of(yuv2rgb), 3, sequence, 3, back);
    check(of(rgb2yuv), tellingPixels<Word>(), sequence, 3, forward);
    check(of(yuv2rgb), tellingPixels<Word>(), sequence, 3, back);
  });
  // Blue and red: negative chroma is lost.
  check(of(rgb2yuv), Pixels<Word>(3, {65535, 0, 0, 0, 0, 65535}), MIRL_CHANNELSEQ_BGR, 3,
        [&](const Word*, int x) {
          return x == 0 ? Values<Word>{7470, 32767, 0} : Values<Word>{19594, 0, 32767};
        });
}

TEST_P(ColorConvertValues, Uyvy) {
  const auto expected = [](const Byte* p, int x) {
    const Values<Byte> yuv = yuvOf(p[2], p[1], p[0]);
    return Values<Byte>{x % 2 == 0 ? yuv[1] : yuv[2], yuv[0]};
  };
  for (const MirlChannelSeq sequence : {MIRL_CHANNELSEQ_RGB, MIRL_CHANNELSEQ_NONE}) {
    checkSizes<Byte>(of(rgb2yuv422), 3, sequence, 2, expected);
    check(of(rgb2yuv422), tellingPixels<Byte>(), sequence, 2, expected);
    check(of(rgb2yuv422), randomPixels<Byte>(8191, 3, 3, 1), sequence, 2, expected);
  }
}

TEST_P(ColorConvertValues, Ycbcr) {
  const auto checkType = [&]<class T>(T) {
    const float white = std::is_same_v<T, float> ? 1.0f : float(std::numeric_limits<T>::max());
    const auto apply = [](const float(&table)[3][4], float k, float m, float a, float b, float d,
                          bool blueFirst) {
      float rows[3];
      for (int i = 0; i < 3; ++i) {
        const auto& t = table[i];
        rows[i] = (blueFirst ? sum(d, b, a, t[2] * k, t[1] * k, t[0] * k)
                             : sum(a, b, d, t[0] * k, t[1] * k, t[2] * k)) +
                  t[3] * m;
      }
      return Values<T>{stored<T>(rows[0]), stored<T>(rows[1]), stored<T>(rows[2])};
    };
    const float m = std::is_same_v<T, Byte> ? 1.0f : std::is_same_v<T, Word> ? 257.0f : 1.0f / 255;
    const auto forward = [&](const T* p, bool blueFirst) {
      constexpr float kTable[3][4] = {{65.481f, 128.553f, 24.966f, 16},
                                      {-37.797f, -74.203f, 112, 128},
                                      {112, -93.786f, -18.214f, 128}};
      const float c0 = p[0], c2 = p[2];
      return apply(kTable, 1.0f / 255, m, blueFirst ? c2 : c0, p[1], blueFirst ? c0 : c2,
                   blueFirst);
    };
    const auto back = [&](const T* p, bool blueFirst) {
      constexpr float kTable[3][4] = {{0.0045662f, 0, 0.0062589f, -0.8742024f},
                                      {0.0045662f, -0.0015363f, -0.0031881f, 0.5316682f},
                                      {0.0045662f, 0.0079107f, 0, -1.0856326f}};
      Values<T> rgb = apply(kTable, 255, white, p[0], p[1], p[2], false);
      if (blueFirst) std::swap(rgb[0], rgb[2]);
      return rgb;
    };
    // rgb2ycbcr tells four-channel sequences too, in integers.
    for (int sequence = 0; sequence < (std::is_same_v<T, float> ? 2 : 4); ++sequence) {
      const auto named = static_cast<MirlChannelSeq>(sequence);
      const bool blueFirst = sequence == 1 || sequence == 2;
      const auto run = [&](const Convert& convert, const auto& formula) {
        const auto expected = [&](const T* p, int) { return formula(p, blueFirst); };
        checkSizes<T>(convert, 3, named, 3, expected);
        check(convert, tellingPixels<T>(), named, 3, expected);
      };
      run(of(rgb2ycbcr), forward);
      if (sequence < 2) run(of(ycbcr2rgb), back);
    }
  };
  checkType(Byte{});
  checkType(Word{});
  checkType(float{});
  for (const MirlChannelSeq sequence : {MIRL_CHANNELSEQ_RGB, MIRL_CHANNELSEQ_BGR}) {
    check(of(rgb2ycbcr), Pixels<Byte>(3, {255, 255, 255}), sequence, 3,
          [](const Byte*, int) { return bytes(235, 127, 128); });
    check(of(ycbcr2rgb), Pixels<Byte>(3, {235, 128, 128}), sequence, 3,
          [](const Byte*, int) { return bytes(254, 255, 254); });
  }
}

template <class T>
Values<T> hsvOf(T red, T green, T blue) {
  const float white = std::is_same_v<T, Byte> ? 255.0f : 1.0f;
  const float r = red / white, g = green / white, b = blue / white;
  const float mx = std::max({r, g, b}), mn = std::min({r, g, b}), d = mx - mn;
  float h = 0, s = 0;
  if (d != 0) {
    s = d / mx;
    const float dr = ((mx - r) / 6 + d / 2) / d, dg = ((mx - g) / 6 + d / 2) / d,
                db = ((mx - b) / 6 + d / 2) / d;
    h = r == mx ? db - dg : g == mx ? 1.0f / 3 + dr - db : 2.0f / 3 + dg - dr;
    if (h < 0) h += 1;
    if (h > 1) h -= 1;
  }
  return {stored<T>(h * white), stored<T>(s * white), stored<T>(mx * white)};
}

Values<Byte> bgrOf(int h, int s, int v) {
  if (s == 0) return bytes(v, v, v);
  const int region = h / 43, remainder = (h - 43 * region) * 6;
  const int p = (v * (255 - s)) >> 8, q = (v * (255 - ((s * remainder) >> 8))) >> 8,
            t = (v * (255 - ((s * (255 - remainder)) >> 8))) >> 8;
  switch (region) {
    case 0:
      return bytes(p, t, v);
    case 1:
      return bytes(p, v, q);
    case 2:
      return bytes(t, v, p);
    case 3:
      return bytes(v, q, p);
    case 4:
      return bytes(v, p, t);
    default:
      return bytes(q, p, v);
  }
}

TEST_P(ColorConvertValues, Hsv) {
  forBothOrders([](MirlChannelSeq sequence, int red, int blue) {
    const auto checkType = [&]<class T>(T) {
      const auto expected = [=](const T* p, int) { return hsvOf<T>(p[red], p[1], p[blue]); };
      checkSizes<T>(of(rgb2hsv), 3, sequence, 3, expected);
      check(of(rgb2hsv), tellingPixels<T>(), sequence, 3, expected);
    };
    checkType(Byte{});
    checkType(float{});
  });
  EXPECT_EQ(hsvOf<Byte>(255, 255, 0), bytes(42, 255, 255)) << "red wins over green";
  EXPECT_EQ(hsvOf<Byte>(77, 77, 77), bytes(0, 0, 77));
}

TEST_P(ColorConvertValues, ColourFromHsv) {
  const auto of8 = [](const Byte* p, int) { return bgrOf(p[0], p[1], p[2]); };
  const auto low8 = [](float v) {
    const double cut = std::trunc(static_cast<double>(v * 255.0f));
    const double low = cut - 256 * std::floor(cut / 256);
    return std::isfinite(cut) ? static_cast<int>(low) : 0;
  };
  const auto of32 = [&](const float* p, int) {
    const Values<Byte> bgr = bgrOf(low8(p[0]), low8(p[1]), low8(p[2]));
    return Values<float>{bgr[0] / 255.0f, bgr[1] / 255.0f, bgr[2] / 255.0f};
  };
  for (const MirlChannelSeq sequence : {MIRL_CHANNELSEQ_RGB, MIRL_CHANNELSEQ_BGRA}) {
    checkSizes<Byte>(of(hsv2rgb), 3, sequence, 3, of8);
    checkSizes<float>(of(hsv2rgb), 3, sequence, 3, of32);
    check(of(hsv2rgb), colours(3), sequence, 3, of8);
    check(of(hsv2rgb), tellingPixels<float>(), sequence, 3, of32);
    check(of(hsv2rgb), triplesOf(awkwardValues<float>()), sequence, 3, of32);
  }
}

double linear(double v) {
  return 100 * (v > 0.04045 ? std::pow((v + 0.055) / 1.055, 2.4) : v / 12.92);
}

/// L, a and b of red, green and blue from 0 to 1.
std::array<double, 3> labOf(double red, double green, double blue) {
  const double r = linear(red), g = linear(green), b = linear(blue);
  const auto f = [](double v) { return v > 0.008856 ? std::cbrt(v) : 7.787 * v + 16.0 / 116; };
  const double x = f((0.412453 * r + 0.35758 * g + 0.180423 * b) / 95.047),
               y = f((0.212671 * r + 0.71516 * g + 0.072169 * b) / 100),
               z = f((0.019334 * r + 0.119193 * g + 0.950227 * b) / 108.883);
  return {116 * y - 16, 500 * (x - y), 200 * (y - z)};
}

/// Red, green and blue from 0 to 1.
std::array<double, 3> rgbOf(double lightness, double a, double b) {
  const double fy = (lightness + 16) / 116;
  const auto value = [](double f) {
    return f * f * f > 0.008856 ? f * f * f : (f - 16.0 / 116) / 7.787;
  };
  const double x = value(a / 500 + fy) * 0.95047, y = value(fy), z = value(fy - b / 200) * 1.08883;
  const auto companded = [](double v) {
    return v > 0.0031308 ? 1.055 * std::pow(v, 1 / 2.4) - 0.055 : 12.92 * v;
  };
  return {companded(3.2406 * x - 1.5372 * y - 0.4986 * z),
          companded(-0.9689 * x + 1.8758 * y + 0.0415 * z),
          companded(0.0557 * x - 0.204 * y + 1.057 * z)};
}

/// Compares with a double reference: `channel(pixel, c)` is what is to be stored. Integers may be
/// off by one, and only where the reference is near a whole number.
template <class T, class Channel>
void checkNearly(const Convert& convert, const Pixels<T>& source, MirlChannelSeq sequence,
                 double tolerance, const Channel& channel) {
  SCOPED_TRACE(testing::Message() << sizeof(T) << " bytes, sequence " << sequence);
  MirlImage out = toImage(Pixels<T>(source.width, source.height, 3));
  run(convert, source, sequence, out);
  const Pixels<T> got = fromImage<T>(out);
  for (std::size_t i = 0; i < source.values.size(); i += 3) {
    for (std::size_t c = 0; c < 3; ++c) {
      const double want = channel(&source.values[i], static_cast<int>(c));
      const double value = got.values[i + c];
      const double greatest = std::is_same_v<T, float> ? 1e30 : 255.0;
      const double least = std::is_same_v<T, float> ? -1e30 : 0.0;
      const double low = std::clamp(want - tolerance, least, greatest),
                   high = std::clamp(want + tolerance, least, greatest);
      const bool near = std::is_same_v<T, float>
                            ? value >= low && value <= high
                            : value >= std::floor(low) && value <= std::floor(high);
      ASSERT_TRUE(near) << +source.values[i] << ", " << +source.values[i + 1] << ", "
                        << +source.values[i + 2] << ", channel " << c << ": " << value
                        << ", reference " << want;
    }
  }
}

/// Floats of a grid from 0 to 1 with some below and above.
Pixels<float> unitColours() {
  std::vector<float> values = {-0.1f, 1e-20f, 0.04044f, 0.04046f, 1.25f};
  for (int i = 0; i <= 32; ++i) values.push_back(static_cast<float>(i) / 32.0f);
  return triplesOf(values);
}

TEST_P(ColorConvertValues, Lab) {
  forBothOrders([](MirlChannelSeq sequence, int red, int blue) {
    const auto of32 = [=](const float* p, int c) {
      return labOf(p[red], p[1], p[blue])[static_cast<std::size_t>(c)];
    };
    const auto of8 = [=](const Byte* p, int c) {
      const auto lab = labOf(p[red] / 255.0, p[1] / 255.0, p[blue] / 255.0);
      return c == 0 ? lab[0] * 2.55 : lab[static_cast<std::size_t>(c)] + 128;
    };
    checkNearly<float>(of(rgb2Lab), unitColours(), sequence, 5e-4, of32);
    checkNearly<Byte>(of(rgb2Lab), colours(5), sequence, 5e-4, of8);
  });
  // Known colours: black, white and the red of sRGB.
  check(of(rgb2Lab), Pixels<Byte>(3, {0, 0, 0}), MIRL_CHANNELSEQ_BGR, 3,
        [](const Byte*, int) { return bytes(0, 128, 128); });
  checkNearly(of(rgb2Lab), Pixels<float>(3, {1, 1, 1, 1, 0, 0}), MIRL_CHANNELSEQ_RGB, 0.02,
              [](const float* p, int c) {
                constexpr double kWhite[] = {100, 0, 0}, kRed[] = {53.24, 80.09, 67.2};
                return p[1] == 1 ? kWhite[c] : kRed[c];
              });
}

TEST_P(ColorConvertValues, ColourFromLab) {
  Pixels<float> lab = unitColours();
  for (std::size_t i = 0; i < lab.values.size(); ++i) {
    lab.values[i] = i % 3 == 0 ? lab.values[i] * 100 : lab.values[i] * 200 - 100;
  }
  forBothOrders([&](MirlChannelSeq sequence, int red, int blue) {
    const auto place = [=](int c) {
      return static_cast<std::size_t>(c == red ? 0 : c == blue ? 2 : 1);
    };
    const auto of32 = [=](const float* p, int c) { return rgbOf(p[0], p[1], p[2])[place(c)]; };
    const auto of8 = [=](const Byte* p, int c) {
      return 255 * rgbOf(p[0] / 2.55, p[1] - 128, p[2] - 128)[place(c)];
    };
    checkNearly<float>(of(Lab2rgb), lab, sequence, 5e-5, of32);
    checkNearly<Byte>(of(Lab2rgb), colours(5), sequence, 5e-3, of8);
  });
}

// Powers and roots too are the same code everywhere.
TEST_P(ColorConvertValues, LabIsTheSameOnTheHost) {
  const auto bytesOn = [&]<class T>(int id, const Convert& convert, const Pixels<T>& source) {
    EXPECT_EQ(device::setCurrentDevice(id), MIRL_SUCCESS);
    MirlImage out;
    EXPECT_EQ(convert(toImage(source), out), MIRL_SUCCESS);
    return bytesOf(out);
  };
  const int host = device::getDeviceCount() - 1;
  for (const Convert& convert : {of(rgb2Lab), of(Lab2rgb)}) {
    EXPECT_EQ(bytesOn(GetParam(), convert, colours(7)), bytesOn(host, convert, colours(7)));
    const auto odd = triplesOf(awkwardValues<float>());
    for (const Pixels<float>& source : {unitColours(), randomPixels<float>(257, 131, 3, 1)}) {
      EXPECT_EQ(bytesOn(GetParam(), convert, source), bytesOn(host, convert, source));
    }
    EXPECT_EQ(bytesOn(GetParam(), convert, odd).size(), odd.values.size() * sizeof(float));
  }
}

MIRL_TEST_ON_ALL_DEVICES(ColorConvertValues);

}  // namespace
}  // namespace mirl::test
