#include <climits>
#include <cmath>
#include <cstdint>

#include "support.h"

namespace mirl::test {
namespace {

using namespace geometryTransforms;

class Orthogonal : public DeviceTest {};

/// Sizes either side of vectors and of tiles of any pixels, and one of a few thousand.
std::vector<MirlSize> sizes() {
  std::vector<MirlSize> all = awkwardSizes();
  for (const MirlSize size : {MirlSize(63, 65), MirlSize(64, 64), MirlSize(129, 127),
                              MirlSize(131, 290), MirlSize(3, 2061), MirlSize(2061, 3)}) {
    all.push_back(size);
  }
  return all;
}

/// An image of such a size, each pixel of which comes from (x, y) = `from(x, y)` of another.
template <class T, class From>
Pixels<T> moved(const Pixels<T>& in, int width, int height, const From& from) {
  Pixels<T> out(width, height, in.channels);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const MirlPoint2D<int> place = from(x, y);
      for (int c = 0; c < in.channels; ++c) out.at(x, y, c) = in.at(place.x, place.y, c);
    }
  }
  return out;
}

/// Elements of any bits, NaNs among them, as nothing is computed.
template <class T>
Pixels<T> anyPixels(const MirlSize& size, int channels, unsigned seed) {
  Pixels<T> pixels(size.width, size.height, channels);
  const Bytes bytes = randomBytes(pixels.values.size() * sizeof(T), seed);
  std::memcpy(pixels.values.data(), bytes.data(), bytes.size());
  return pixels;
}

/// Runs with rows that begin at a word, whatever their length, and at any address; with results that
/// stay in the caches and with others.
template <class T, class Run>
void expectMoved(const Run& run, const Pixels<T>& in, const Pixels<T>& want) {
  const auto words = [](int bytes) { return (bytes + 3) / 4 * 4; };
  expectInto(run, in, want);
  expectInto(run, in, want, words(in.rowBytes()), words(want.rowBytes()));
  forOddPitches(in.rowBytes(), want.rowBytes(), [&](int pitch, int outPitch) {
    const PastCaches large;
    expectInto(run, in, want, pitch, outPitch);
  });
  MirlImage made;
  ASSERT_EQ(run(toImage(in), made), MIRL_SUCCESS);
  EXPECT_TRUE(holds(made, want));
}

TEST_P(Orthogonal, PixelsGoWhereTheyBelong) {
  forEachFormat([]<class T>(T, int channels) {
    for (const MirlSize& size : sizes()) {
      const int w = size.width, h = size.height;
      SCOPED_TRACE(testing::Message() << w << "x" << h << " C" << channels);
      const Pixels<T> in = anyPixels<T>(size, channels, 1);
      using Image = const MirlImage&;
      using Point = MirlPoint2D<int>;
      for (const int flip : {0, 1, 2}) {
        const auto run = [=](Image a, MirlImage& b) { return flipImage(a, b, MirlFlipType(flip)); };
        expectMoved(run, in, moved(in, w, h, [=](int x, int y) {
                      return Point(flip > 0 ? w - 1 - x : x, flip != 1 ? h - 1 - y : y);
                    }));
      }
      expectMoved([](Image a, MirlImage& b) { return transpose(a, b); }, in,
                  moved(in, h, w, [](int x, int y) { return Point(y, x); }));
      if (w < 9 || h < 4) continue;
      expectMoved([](Image a, MirlImage& b) { return crop(a, b, 1, 2, 3, 5); }, in,
                  moved(in, w - 8, h - 3, [](int x, int y) { return Point(x + 3, y + 1); }));
    }
  });
}

TEST_P(Orthogonal, CropTakesAnyChannelsAndLeavesTheRestOfALargerDestination) {
  for (const auto& [type, depth, channels] : allFormats()) {
    const MirlImage source = noiseImage({7, 5}, depth, channels, 1);
    MirlImage larger(6, 4, type), empty;
    fillBlock(larger);
    const bool served = source.depth() < 64;
    const MirlStatus expected = served ? MIRL_SUCCESS : MIRL_TYPE_NOT_SUPPORTED;
    EXPECT_EQ(crop(source, larger, 1, 1, 2, 0), expected);
    EXPECT_TRUE(untouchedOutside(larger, served ? 5 : 0, 3));
    EXPECT_EQ(crop(source, empty, 1, 1, 2, 0), expected);
    EXPECT_EQ(formatOf(empty), formatOf(MirlImage(MirlSize(5, 3), depth, channels)));
    if (!served) continue;
    MirlImage part;
    ASSERT_EQ(larger.copyTo(part, {0, 0}, {0, 0, 5, 3}, MirlStream()), MIRL_SUCCESS);
    EXPECT_TRUE(bytesOf(part) == bytesOf(empty));
    ASSERT_EQ(source.copyTo(part, {0, 0}, {2, 1, 5, 3}, MirlStream()), MIRL_SUCCESS);
    EXPECT_TRUE(bytesOf(part) == bytesOf(empty));
  }
}

TEST_P(Orthogonal, CropRefusesMarginsThatLeaveNothing) {
  const MirlImage source(7, 5, MIRL_8U_C3), deep(7, 5, MIRL_64F_C1);
  struct Margins {
    int top, bottom, left, right;
  };
  for (const Margins& m :
       {Margins{0, 0, 3, 4}, Margins{0, 0, 7, 0}, Margins{2, 3, 0, 0}, Margins{-1, 0, 0, 0},
        Margins{0, 0, 8, -2}, Margins{5, -5, 0, 0}, Margins{INT_MAX, INT_MAX, INT_MAX, INT_MAX},
        Margins{0, 0, INT_MIN, INT_MIN}, Margins{0, INT_MIN, 0, INT_MAX}}) {
    for (const MirlImage& out : {MirlImage(), MirlImage(9, 9, MIRL_8U_C3)}) {
      expectStatus(out, MIRL_INVALID_ARGUMENT, false, [&](MirlImage& copy) {
        return crop(source, copy, m.top, m.bottom, m.left, m.right);
      });
    }
    expectStatus(MirlImage(), MIRL_TYPE_NOT_SUPPORTED, false, [&](MirlImage& copy) {
      return crop(deep, copy, m.top, m.bottom, m.left, m.right);
    });
  }
}

// What a failed check leaves behind differs from operation to operation.
TEST_P(Orthogonal, OutputsThatAreCreatedBeforeACheckFails) {
  MirlImage source(7, 5, MIRL_8U_C3);
  const MirlImage gray16(7, 5, MIRL_16U_C1), pairs(7, 5, MIRL_8U_C2);
  const auto expect = [](MirlStatus status, const auto& run) {
    expectStatus(MirlImage(), status, true, run);
  };
  expect(MIRL_MISMATCH, [&](auto& out) { return flipImage(source, out, MirlFlipType(3)); });
  expect(MIRL_TYPE_NOT_SUPPORTED, [&](auto& out) { return flipImage(pairs, out, MIRL_FLIP_UD); });
  expect(MIRL_MISMATCH, [&](auto& out) { return transpose(pairs, out); });
  expect(MIRL_TYPE_NOT_SUPPORTED, [&](auto& out) { return taper(gray16, out, 1, 1, 1, 1); });
  expect(MIRL_MISMATCH, [&](auto& out) { return taper(pairs, out, 1, 1, 1, 1); });
  expectStatus(MirlImage(7, 5, MIRL_8U_C3), MIRL_INVALID_ARGUMENT, false,
               [&](MirlImage& out) { return transpose(source, out); });

  EXPECT_EQ(crop(source, source, 9, 9, 9, 9), MIRL_IN_PLACE_NOT_SUPPORTED);
  EXPECT_EQ(flipImage(source, source, MirlFlipType(3)), MIRL_IN_PLACE_NOT_SUPPORTED);
  EXPECT_EQ(transpose(source, source), MIRL_IN_PLACE_NOT_SUPPORTED);
  EXPECT_EQ(taper(source, source, UINT_MAX, 0, 0, 0), MIRL_IN_PLACE_NOT_SUPPORTED);
}

// --- taper

struct Margins {
  unsigned left, right, top, bottom;
};

/// One strip after the other, in the header's order of corners: a later one overwrites.
Pixels<Byte> tapered(const Pixels<Byte>& in, const Margins& m) {
  const int left = static_cast<int>(m.left), top = static_cast<int>(m.top);
  const int right = left + in.width, bottom = top + in.height;  // the first behind the image
  Pixels<Byte> out(right + static_cast<int>(m.right), bottom + static_cast<int>(m.bottom),
                   in.channels);
  const double radius = in.width / 2;
  for (int c = 0; c < in.channels; ++c) {
    double sum = 0;
    for (int y = 0; y < in.height; ++y) {
      for (int x = 0; x < in.width; ++x) sum += in.at(x, y, c);
    }
    const double mean = sum / (static_cast<double>(in.width) * in.height);
    for (int y = 0; y < out.height; ++y) {
      for (int x = 0; x < out.width; ++x) {
        const Byte nearest =
            in.at(std::clamp(x - left, 0, in.width - 1), std::clamp(y - top, 0, in.height - 1), c);
        Byte& made = out.at(x, y, c);
        made = nearest;
        const auto fade = [&](int distance) {
          const double d = distance, v = nearest;
          made = static_cast<Byte>(d == 0 ? v
                                   : d * d > radius * radius
                                       ? mean
                                       : v - std::sqrt(d * d / (radius * radius)) * (v - mean));
        };
        if (x < left && y < bottom) fade(left - x);
        if (x >= right && y >= top) fade(x - right);
        if (y >= bottom && x <= right) fade(y - bottom);
        if (y < top && x >= left) fade(top - y);
      }
    }
  }
  return out;
}

TEST_P(Orthogonal, TaperFadesToTheMean) {
  const MirlSize all[] = {{1, 1}, {2, 3}, {1, 40}, {40, 1}, {100, 7}, {101, 31}, {31, 1021}};
  const Margins margins[] = {{0, 0, 0, 0},   {1, 0, 0, 0},    {0, 1, 0, 0},
                             {0, 0, 1, 0},   {0, 0, 0, 1},    {3, 5, 4, 2},
                             {60, 70, 1, 9}, {17, 0, 64, 55}, {9, 300, 0, 7}};
  unsigned seed = 1;
  for (const MirlSize& size : all) {
    for (const int channels : {1, 3}) {
      const Pixels<Byte> in = anyPixels<Byte>(size, channels, seed++);
      for (const Margins& m : margins) {
        SCOPED_TRACE(testing::Message()
                     << size.width << "x" << size.height << " C" << channels << ", " << m.left
                     << " " << m.right << " " << m.top << " " << m.bottom);
        expectMoved([&](const MirlImage& a,
                        MirlImage& b) { return taper(a, b, m.left, m.right, m.top, m.bottom); },
                    in, tapered(in, m));
      }
    }
  }
}

// By hand: a row of 200, 100, 0, 100 has the mean 100 and the radius 2.
TEST_P(Orthogonal, TaperOfARow) {
  const MirlImage source = toImage(Pixels<Byte>(1, {200, 100, 0, 100}));
  MirlImage out;
  ASSERT_EQ(taper(source, out, 3, 4, 1, 1), MIRL_SUCCESS);
  const Byte rows[3][11] = {{100, 100, 150, 150, 100, 50, 100, 100, 100, 100, 100},
                            {100, 100, 150, 200, 100, 0, 100, 100, 100, 100, 100},
                            {200, 200, 200, 200, 100, 0, 100, 100, 100, 100, 100}};
  Pixels<Byte> want(11, 3, 1);
  std::memcpy(want.values.data(), rows, sizeof rows);
  EXPECT_TRUE(holds(out, want));
}

TEST_P(Orthogonal, TaperRefusesMarginsThatAreTooWide) {
  const MirlImage source(2, 2, MIRL_8U_C1);
  for (const Margins& m : {Margins{32768, 0, 0, 0}, Margins{0, UINT_MAX, 0, 0},
                           Margins{0, 0, 0, 0x80000000u}, Margins{UINT_MAX, 1, UINT_MAX, 1}}) {
    for (const MirlImage& out : {MirlImage(), MirlImage(2, 2, MIRL_8U_C1)}) {
      expectStatus(out, MIRL_INVALID_ARGUMENT, false, [&](MirlImage& copy) {
        return taper(source, copy, m.left, m.right, m.top, m.bottom);
      });
    }
  }
  MirlImage wide;
  ASSERT_EQ(taper(source, wide, 32767, 32767, 0, 0), MIRL_SUCCESS);
  EXPECT_EQ(wide.width(), 65536);
}

MIRL_TEST_ON_ALL_DEVICES(Orthogonal);

}  // namespace
}  // namespace mirl::test
