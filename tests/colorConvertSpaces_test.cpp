// HSV and Lab: what every pixel becomes, against formulas written out plainly.

#include "color_support.h"

namespace mirl::test {
namespace {

using namespace colorOperations;

MIRL_DEVICE_TESTS(ColorConvertSpaces);

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
  const Values<Byte> regions[] = {bytes(p, t, v), bytes(p, v, q), bytes(t, v, p),
                                  bytes(v, q, p), bytes(v, p, t), bytes(q, p, v)};
  return regions[region];
}

TEST_P(ColorConvertSpaces, Hsv) {
  forBothOrders([](MirlChannelSeq sequence, int red, int blue) {
    const auto checkType = [&]<class T>(T) {
      const auto expected = [=](const T* p, int) { return hsvOf<T>(p[red], p[1], p[blue]); };
      checkAll<T>(of(rgb2hsv), sequence, 3, expected);
    };
    checkType(Byte{});
    checkType(float{});
  });
  EXPECT_EQ(hsvOf<Byte>(255, 255, 0), bytes(42, 255, 255)) << "red wins over green";
  EXPECT_EQ(hsvOf<Byte>(77, 77, 77), bytes(0, 0, 77));
}

TEST_P(ColorConvertSpaces, ColourFromHsv) {
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
    checkNoise<Byte>(of(hsv2rgb), 3, sequence, 3, of8);
    checkAll<float>(of(hsv2rgb), sequence, 3, of32);
    check(of(hsv2rgb), colours(3), sequence, 3, of8);
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

TEST_P(ColorConvertSpaces, Lab) {
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

TEST_P(ColorConvertSpaces, ColourFromLab) {
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
TEST_P(ColorConvertSpaces, LabIsTheSameOnTheHost) {
  const auto bytesOn = [&](int id, const Convert& convert, const Pixels<float>& source) {
    EXPECT_EQ(device::setCurrentDevice(id), MIRL_SUCCESS);
    MirlImage out;
    EXPECT_EQ(convert(toImage(source), out), MIRL_SUCCESS);
    return bytesOf(out);
  };
  const int host = device::getDeviceCount() - 1;
  for (const Convert& convert : {of(rgb2Lab), of(Lab2rgb)}) {
    for (const Pixels<float>& source : {unitColours(), randomPixels<float>(257, 131, 3, 1)}) {
      EXPECT_EQ(bytesOn(GetParam(), convert, source), bytesOn(host, convert, source));
    }
    EXPECT_FALSE(bytesOn(GetParam(), convert, triplesOf(awkwardValues<float>())).empty());
  }
}

}  // namespace
}  // namespace mirl::test
