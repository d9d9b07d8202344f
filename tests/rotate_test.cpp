// rotate, of images and of rectangles, and rotateNoCrop: numbers, shapes, statuses.

#include <algorithm>
#include <climits>
#include <cmath>

#include "support.h"

namespace mirl::test {
namespace {

using geometryTransforms::rotate;
using geometryTransforms::rotateNoCrop;
using Point = MirlPoint2D<int>;

constexpr float kAngles[] = {0,      30,     45,     90,      180,   -17.5f, 270,
                             359.9f, -1e-3f, 1e-30f, 725.25f, -1e7f, 3e38f};

MIRL_DEVICE_TESTS(Rotate);

/// An element as the blend takes it, and what is stored of the result.
template <class T>
float texel(T element) {
  if constexpr (std::is_same_v<T, float>) return element;
  return static_cast<float>(element) / static_cast<float>(std::numeric_limits<T>::max());
}
template <class T>
T quantized(float value) {
  if constexpr (std::is_same_v<T, float>) {
    return value;
  } else {
    const double product = static_cast<double>(value) * std::numeric_limits<T>::max();
    return static_cast<T>(product);
  }
}

float mix(float a, float b, float f) {
  return std::fma(f, b - a, a);
}

/// The turn as the formulas have it: matrix, inverse map, bilinear read with zeros outside.
template <class T>
Pixels<T> expected(const Pixels<T>& in, const MirlSize& size, float angle, float cx, float cy,
                   float offsetX = 0, float offsetY = 0) {
  const float r = angle * 0.017453292f, c = std::cos(r), s = std::sin(r);
  const float m[6] = {c, s, (1 - c) * cx - cy * s, -s, c, cx * s + (1 - c) * cy};
  const float tx = m[2] + offsetX, ty = m[5] + offsetY;
  const float d = 1 / (m[0] * m[0] + m[1] * m[1]), a = m[0] * d, b = m[1] * d;
  Pixels<T> out(size.width, size.height, in.channels);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const float u = static_cast<float>(x) - tx, v = static_cast<float>(y) - ty;
      const float readX = u * a - v * b, readY = u * b + v * a;
      const float left = std::floor(readX - 0.5f), top = std::floor(readY - 0.5f);
      const float f = readX - 0.5f - left, g = readY - 0.5f - top;
      for (int k = 0; k < in.channels; ++k) {
        const auto at = [&](float column, float row) {
          const bool inside = column >= 0 && row >= 0 && column < static_cast<float>(in.width) &&
                              row < static_cast<float>(in.height);
          return inside ? texel(in.at(static_cast<int>(column), static_cast<int>(row), k)) : 0.0f;
        };
        out.at(x, y, k) = quantized<T>(mix(mix(at(left, top), at(left + 1, top), f),
                                           mix(at(left, top + 1), at(left + 1, top + 1), f), g));
      }
    }
  }
  return out;
}

template <class T>
Pixels<T> expected(const Pixels<T>& in, const MirlSize& size, float angle, const Point& center) {
  return expected(in, size, angle, static_cast<float>(center.x), static_cast<float>(center.y));
}

template <class T>
void check(const Pixels<T>& in, const MirlSize& size, float angle, const Point& center,
           int pitchIn = 0, int pitchOut = 0) {
  SCOPED_TRACE(testing::Message() << angle << " degrees about " << center.x << ", " << center.y
                                  << ", " << in.width << "x" << in.height << " to " << size.width
                                  << "x" << size.height);
  const auto run = [&](const MirlImage& image, MirlImage& out) {
    return rotate(image, out, angle, center);
  };
  expectInto(run, in, expected(in, size, angle, center), pitchIn, pitchOut);
}

// By 0 degrees a pixel is the mean of itself and those above and to the left.
TEST_P(Rotate, LiteralExamples) {
  const auto turns = []<class T>(const Pixels<T>& in, float angle, const Point& center,
                                 const std::vector<T>& want) {
    MirlImage out;
    EXPECT_EQ(rotate(toImage(in), out, angle, center), MIRL_SUCCESS);
    EXPECT_EQ(fromImage<T>(out).values, want);
  };
  Pixels<float> numbers(3, 2, 1);
  numbers.values = {4, 8, 12, 16, 20, 24};
  turns(numbers, 0, {0, 0}, {1, 3, 5, 5, 12, 16});
  turns(numbers, 0, {2, 1}, {1, 3, 5, 5, 12, 16});
  turns(Pixels<Byte>(2, 2, 1, 200), 0, {0, 0}, {50, 100, 100, 200});
  // 1 / 65535 is a little less in float, so that the product stays below 1; 65535 / 65535 is 1.
  turns(Pixels<Word>(2, 2, 1, 1), 0, {0, 0}, {0, 0, 0, 0});
  turns(Pixels<Word>(2, 2, 1, 65535), 0, {0, 0}, {16383, 32767, 32767, 65535});
  // Counterclockwise: what stood to the right of the centre stands above it, half a pixel over.
  Pixels<float> dot(9, 9, 1);
  dot.at(6, 4) = 1;
  MirlImage out;
  ASSERT_EQ(rotate(toImage(dot), out, 90, {4, 4}), MIRL_SUCCESS);
  const Pixels<float> up = fromImage<float>(out);
  EXPECT_NEAR(up.at(4, 1) + up.at(5, 1) + up.at(4, 2) + up.at(5, 2), 1.0f, 1e-5f);
}

TEST_P(Rotate, EveryAngleSizeTypeAndPitch) {
  forEachFormat([]<class T>(T, int channels) {
    unsigned seed = 1;
    for (const MirlSize& size : awkwardSizes()) {
      const auto in = randomPixels<T>(size.width, size.height, channels, seed++);
      for (const float angle : kAngles) {
        check(in, size, angle, {size.width / 2, size.height / 2});
      }
      check(in, size, 33, {0, 0});
      check(in, size, 77, {size.width - 1, size.height - 1});
      check(in, {size.width * 2 + 30, size.height + 7}, -140, {0, size.height - 1});
      check(in, {size.width, (size.height + 1) / 2}, 12, {size.width / 2, 0});
      check(in, {(size.width + 3) / 4, size.height}, 200, {size.width / 2, 0});
    }
    const auto in = randomPixels<T>(97, 61, channels, 5);
    forOddPitches(in.rowBytes(), in.rowBytes(), [&](int from, int to) {
      for (const float angle : {0.0f, 25.0f, 90.0f}) check(in, {97, 61}, angle, {48, 30}, from, to);
    });
  });
  check(randomPixels<Byte>(2111, 1301, 3, 1), {2111, 1301}, 31, {1000, 600});
  check(randomPixels<float>(1201, 2003, 1, 2), {3000, 1000}, -100, {1000, 600});
  check(randomPixels<Byte>(1500007, 1, 1, 3), {1500007, 1}, 0, {9, 0});
  check(randomPixels<Word>(2, 600011, 1, 4), {2, 600011}, 1e-4f, {1, 300000});
}

/// The new size of an image by the corners of its outline.
MirlSize turnedSize(const MirlSize& size, float angle) {
  const float r = angle * 0.017453292f, hc = std::cos(r) * 0.5f, hs = std::sin(r) * 0.5f;
  const auto w = static_cast<float>(size.width), h = static_cast<float>(size.height);
  const float x[] = {-h * hs - w * hc, h * hs - w * hc, h * hs + w * hc, -h * hs + w * hc};
  const float y[] = {h * hc - w * hs, -h * hc - w * hs, -h * hc + w * hs, h * hc + w * hs};
  const auto extent = [](const float(&v)[4]) {
    return static_cast<int>(std::ceil(*std::max_element(v, v + 4)) -
                            std::floor(*std::min_element(v, v + 4)) + 1);
  };
  return {extent(x), extent(y)};
}

template <class T>
void checkNoCrop(const Pixels<T>& in, float angle, MirlImage out = MirlImage()) {
  SCOPED_TRACE(testing::Message() << angle << " degrees, " << in.width << "x" << in.height);
  ASSERT_EQ(rotateNoCrop(toImage(in), out, angle), MIRL_SUCCESS);
  const MirlSize size = turnedSize({in.width, in.height}, angle);
  EXPECT_TRUE(holds(out, expected(in, size, angle, static_cast<float>(in.width / 2),
                                  static_cast<float>(in.height / 2),
                                  static_cast<float>(size.width - in.width) / 2,
                                  static_cast<float>(size.height - in.height) / 2)));
  EXPECT_EQ(formatOf(out), formatOf(MirlImage(size, typeOf<T>(in.channels))));
}

TEST_P(Rotate, NoCropHoldsAllOfIt) {
  for (const auto& [angle, width, height] :
       {std::tuple{0.0f, 101, 51}, {90.0f, 53, 101}, {45.0f, 109, 109}, {-45.0f, 109, 109}}) {
    MirlImage out;
    ASSERT_EQ(rotateNoCrop(MirlImage(100, 50, MIRL_8U_C1), out, angle), MIRL_SUCCESS);
    EXPECT_EQ(std::pair(out.width(), out.height()), std::pair(width, height)) << angle;
  }
  forEachFormat([]<class T>(T, int channels) {
    for (const MirlSize& size : {MirlSize(1, 1), MirlSize(36, 20), MirlSize(61, 47)}) {
      const auto in = randomPixels<T>(size.width, size.height, channels, 7);
      for (const float angle : kAngles) checkNoCrop(in, angle);
      for (MirlImage used :
           {MirlImage(9, 9, MIRL_16S_C4), MirlImage(turnedSize(size, 20), typeOf<T>(channels))}) {
        used.setDataBits(3);
        used.setChannelSequence(MIRL_CHANNELSEQ_RGB);
        checkNoCrop(in, 20, used);
      }
    }
    // By 0 degrees and with even sides each sample is one pixel, so this is what happens to every
    // element that there is.
    Pixels<T> all(256, 256, 1);
    for (std::size_t i = 0; i < all.values.size(); ++i) all.values[i] = static_cast<T>(i);
    if (channels == 1) checkNoCrop(all, 0);
  });
}

template <class T>
void checkRegion(const Pixels<T>& in, const MirlRect& region, float angle, const Point& center,
                 MirlImage out, bool samePlace = false) {
  SCOPED_TRACE(testing::Message() << angle << " degrees in " << region.x << ", " << region.y << ", "
                                  << region.width << "x" << region.height);
  Pixels<T> part(region.width, region.height, in.channels), want = in;
  const auto forEach = [&](const auto& visit) {
    for (int y = 0; y < region.height; ++y) {
      for (int x = 0; x < region.width; ++x) {
        for (int c = 0; c < in.channels; ++c) {
          visit(part.at(x, y, c), want.at(region.x + x, region.y + y, c));
        }
      }
    }
  };
  forEach([](T& inside, const T& image) { inside = image; });
  part = expected(part, {region.width, region.height}, angle, center);
  forEach([](const T& inside, T& image) { image = inside; });

  MirlImage source = toImage(in, in.rowBytes() + 1);
  source.setDataBits(5);
  source.setChannelSequence(MIRL_CHANNELSEQ_RGB);
  MirlImage& target = samePlace ? source : out;
  ASSERT_EQ(rotate(source, target, angle, center, region), MIRL_SUCCESS);
  EXPECT_TRUE(holds(target, want));
  EXPECT_TRUE(samePlace || holds(source, in));
  EXPECT_EQ(target.dataBits(), 5);
  EXPECT_EQ(target.channelSeq(), MIRL_CHANNELSEQ_RGB);
}

TEST_P(Rotate, RectangleTurnsInsideItsBounds) {
  forEachFormat([]<class T>(T, int channels) {
    const auto in = randomPixels<T>(90, 70, channels, 3);
    const MirlType type = typeOf<T>(channels);
    for (const MirlRect& region : {MirlRect(0, 0, 90, 70), MirlRect(3, 5, 64, 40),
                                   MirlRect(89, 69, 1, 1), MirlRect(40, 0, 7, 70)}) {
      const Point center(region.width / 2, region.height / 3);
      for (const float angle : {0.0f, 30.0f, -90.0f}) {
        checkRegion(in, region, angle, center, MirlImage());
        checkRegion(in, region, angle, center, MirlImage(90, 70, type));
        checkRegion(in, region, angle, center, MirlImage(8, 200, type));
        checkRegion(in, region, angle, center, MirlImage(), true);
      }
    }
  });
}

// Those that make their outputs anew, or what they turn in a copy.
TEST_P(Rotate, FormatsServed) {
  for (const Format& format : allFormats()) {
    SCOPED_TRACE(format.type);
    const MirlStatus status = isServed(format) ? MIRL_SUCCESS : MIRL_MISMATCH;
    const MirlImage in = noiseImage({6, 4}, format.depth, format.channels, 1);
    const MirlRect region(1, 1, 3, 2);
    MirlImage part, larger, self(in), other(9, 2, format.type);
    EXPECT_EQ(rotateNoCrop(in, larger, 10), status);
    EXPECT_EQ(formatOf(larger), formatOf(MirlImage(turnedSize(in.size(), 10), format.type)));
    for (MirlImage* out : {&part, &other, &self}) {
      EXPECT_EQ(rotate(out == &self ? self : in, *out, 10, {1, 1}, region), status);
      EXPECT_EQ(formatOf(*out), formatOf(in));
      EXPECT_TRUE(isServed(format) || bytesOf(*out) == bytesOf(in));
    }
  }
}

TEST_P(Rotate, AnglesCentresAndRectanglesAreChecked) {
  const MirlImage good = noiseImage({4, 3}, 8, 1, 1), empty, other(9, 9, MIRL_8U_C1);
  const MirlRect all(0, 0, 4, 3);
  const int max = INT_MAX, min = INT_MIN;
  using Case = std::tuple<float, Point, MirlRect>;
  const Case badTurns[] = {{NAN, {0, 0}, all}, {-INFINITY, {0, 0}, all}, {1, {4, 0}, all},
                           {1, {0, 3}, all},   {1, {-1, 0}, all},        {1, {0, min}, all}};
  const Case badParts[] = {{1, {0, 0}, {0, 0, 0, 3}},   {1, {0, 0}, {0, 0, 4, 0}},
                           {1, {0, 0}, {3, 2, -2, -1}}, {1, {0, 0}, {1, 0, 4, 3}},
                           {1, {0, 0}, {0, 1, 4, 3}},   {1, {0, 0}, {1, 0, max, 3}},
                           {1, {0, 0}, {-1, 0, 2, 2}},  {1, {0, 0}, {min, 0, 2, 2}},
                           {1, {2, 0}, {1, 1, 2, 2}},   {1, {0, 0}, {max, max, 1, 1}}};
  const auto refused = [&](const auto& run) {
    for (const MirlImage& out : {good, empty}) expectStatus(out, MIRL_INVALID_ARGUMENT, false, run);
  };
  const auto part = [&](const Case& c) {
    const auto& [angle, center, region] = c;
    SCOPED_TRACE(testing::Message() << angle << " about " << center.x << ", " << center.y << " in "
                                    << region.x << ", " << region.y << ", " << region.width);
    // What is refused comes after the copy.
    for (const MirlImage& from : {good, empty, other}) {
      MirlImage out(from), self(good);
      if (out.isInitialized()) fillBlock(out);
      for (MirlImage* to : {&out, &self}) {
        EXPECT_EQ(rotate(to == &self ? self : good, *to, angle, center, region),
                  MIRL_INVALID_ARGUMENT);
        EXPECT_EQ(bytesOf(*to), bytesOf(good));
      }
    }
  };
  for (const Case& c : badParts) part(c);
  for (const Case& c : badTurns) {
    part(c);
    refused([&](MirlImage& out) { return rotate(good, out, std::get<0>(c), std::get<1>(c)); });
  }
  const MirlStream dead = deadStream();
  for (const MirlImage& out : {good, empty}) {
    expectStatus(out, MIRL_INVALID_ARGUMENT, false, [&](MirlImage& image) {
      return rotate(good, image, NAN, {0, 0}, all, dead);
    });
  }
}

}  // namespace
}  // namespace mirl::test
