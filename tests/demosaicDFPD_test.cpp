#include <cmath>
#include <cstdint>

#include "support.h"

namespace mirl::test {
namespace {

class DemosaicDFPD : public DeviceTest {};

/// The colour of the sample at (x, y), 0 to 2 for blue, green and red.
int colourAt(int sequence, int x, int y) {
  constexpr int kCells[4][4] = {{0, 1, 1, 2}, {1, 0, 2, 1}, {1, 2, 0, 1}, {2, 1, 1, 0}};
  return kCells[sequence - 1][(y & 1) * 2 + (x & 1)];
}

/// The three passes, one after the other.
template <class T>
Pixels<T> demosaiced(const Pixels<T>& in, int sequence, double maximum) {
  Pixels<T> out(in.width, in.height, 3);
  std::vector<bool> isDown(in.values.size());
  const auto limit = [&](double v) {
    return static_cast<T>(v < 0 ? 0 : v > maximum ? maximum : std::trunc(v));
  };
  const auto p = [&](int x, int y) -> double {
    const bool outside = x < 0 || y < 0 || x >= in.width || y >= in.height;
    return outside ? 0 : in.at(x, y);
  };
  const auto forAll = [&](bool inside, bool green, const auto& visit) {
    const int frame = inside ? 1 : 0;
    for (int y = frame; y < in.height - frame; ++y) {
      for (int x = frame; x < in.width - frame; ++x) {
        if ((colourAt(sequence, x, y) == 1) == green) visit(x, y);
      }
    }
  };
  for (std::size_t i = 0; i < in.values.size(); ++i) {
    for (std::size_t c = 0; c < 3; ++c) out.values[3 * i + c] = limit(in.values[i]);
  }
  forAll(false, false, [&](int x, int y) {
    const auto gh = [&](int i, int j) {
      const int a = x + i, b = y + j;
      return 0.5 * p(a + 1, b) + 0.5 * p(a - 1, b) + 0.5 * p(a, b) - 0.25 * p(a + 2, b) -
             0.25 * p(a - 2, b);
    };
    const auto gv = [&](int i, int j) {
      const int a = x + i, b = y + j;
      return 0.5 * p(a, b + 1) + 0.5 * p(a, b - 1) + 0.5 * p(a, b) - 0.25 * p(a, b + 2) -
             0.25 * p(a, b - 2);
    };
    const auto h = [&](int i, int j, int k, int l) {
      return std::abs((p(x + i, y + j) - gh(i, j)) - (p(x + k, y + l) - gh(k, l)));
    };
    const auto v = [&](int i, int j, int k, int l) {
      return std::abs((p(x + i, y + j) - gv(i, j)) - (p(x + k, y + l) - gv(k, l)));
    };
    const double across =
        h(0, 0, 2, 0) + h(2, 0, 4, 0) + h(0, 2, 2, 2) + h(-2, 0, 0, 0) + h(0, -2, 2, -2);
    const double down =
        v(0, 0, 0, 2) + v(2, 0, 2, 2) + v(0, 2, 0, 4) + v(-2, 0, -2, 2) + v(0, -2, 0, 0);
    isDown[in.index(x, y, 0)] = down < across;
    out.at(x, y, 1) = limit(down < across ? gv(0, 0) : gh(0, 0));
  });
  forAll(true, true, [&](int x, int y) {
    const auto filled = [&](int dx, int dy) {
      const int c = colourAt(sequence, x + dx, y + dy);
      const int sum = out.at(x - dx, y - dy, c) + out.at(x + dx, y + dy, c) -
                      out.at(x - dx, y - dy, 1) - out.at(x + dx, y + dy, 1);
      out.at(x, y, c) = limit(out.at(x, y, 1) + 0.5 * sum);
    };
    filled(1, 0);
    filled(0, 1);
  });
  forAll(true, false, [&](int x, int y) {
    const int n = colourAt(sequence, x, y), m = 2 - n;
    const int dy = isDown[in.index(x, y, 0)] ? 1 : 0, dx = 1 - dy;
    const int before = out.at(x - dx, y - dy, m) - out.at(x - dx, y - dy, n);
    const int behind = out.at(x + dx, y + dy, m) - out.at(x + dx, y + dy, n);
    out.at(x, y, m) = limit(out.at(x, y, n) + 0.5 * (before + behind));
  });
  return out;
}

template <class T>
void check(const Pixels<T>& in, int dataBits) {
  for (int sequence = 1; sequence <= 4; ++sequence) {
    const Pixels<T> want = demosaiced(in, sequence, std::exp2(dataBits) - 1);
    for (const int padding : {0, 1, 6}) {
      MirlImage mosaic = toImage(in, padding == 0 ? 0 : in.rowBytes() + padding);
      mosaic.setDataBits(dataBits);
      MirlImage out;
      if (padding == 6) {
        out = toImage(Pixels<T>(in.width, in.height, 3), 3 * in.rowBytes() + 5);
        out.setChannelSequence(MIRL_CHANNELSEQ_RGB);  // which doesn't count
        fillBlock(out);
      }
      ASSERT_EQ(colorOperations::demosaicDFPD(mosaic, out, static_cast<MirlBayerSeq>(sequence),
                                              padding == 1),
                MIRL_SUCCESS);
      ASSERT_TRUE(holds(out, want))
          << "sequence " << sequence << ", padding " << padding << ", bits " << dataBits;
      if (padding == 6) {
        EXPECT_TRUE(paddingUntouched(out));
      }
    }
  }
}

/// Steps with a slope, which aren't off the limits everywhere as noise is.
template <class T>
Pixels<T> steps(const MirlSize& size) {
  Pixels<T> pixels = randomPixels<T>(size.width, size.height, 1, 1);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const int step = (x / 13 + y / 7) % 3 * 60 + 2 * (x % 13) + (x & y & 1) * 20;
      pixels.at(x, y) = static_cast<T>((step << (8 * sizeof(T) - 8)) + pixels.at(x, y) % 9);
    }
  }
  return pixels;
}

/// Of sizes up to several tiles and strips, and to the work of two threads.
template <class T>
void checkSizes(int fewerBits) {
  for (const MirlSize size :
       {MirlSize(1, 1), MirlSize(1, 9), MirlSize(9, 1), MirlSize(2, 2), MirlSize(3, 3),
        MirlSize(17, 5), MirlSize(140, 118), MirlSize(2100, 8)}) {
    check(randomPixels<T>(size.width, size.height, 1, 2), fewerBits);
    check(steps<T>(size), 8 * sizeof(T));
  }
  const PastCaches past;
  check(randomPixels<T>(150, 20, 1, 3), 8 * sizeof(T));
}

TEST_P(DemosaicDFPD, EqualsItsThreePasses) {
  checkSizes<std::uint8_t>(6);
  checkSizes<std::uint16_t>(12);
}

TEST_P(DemosaicDFPD, GoesAcrossWhereDirectionsAreEqual) {
  // Colours differ from green by the same everywhere in a parabola across the image. So the row's
  // estimate is taken: (11 + 10 + 11) / 2 - (14 + 14) / 4 of green, where the column's is 10.
  Pixels<Byte> bowl(25, 25, 1);
  for (int y = 0; y < 25; ++y) {
    for (int x = 0; x < 25; ++x) bowl.at(x, y) = static_cast<Byte>(10 + (x - 12) * (x - 12));
  }
  MirlImage out;
  ASSERT_EQ(colorOperations::demosaicDFPD(toImage(bowl), out, MIRL_BAYER_BGGR, true), MIRL_SUCCESS);
  EXPECT_EQ(out.get(12, 12, 0), 10);
  EXPECT_EQ(out.get(12, 12, 1), 9);

  // What is flat stays flat, away from the zeros around it.
  const MirlImage flat = toImage(Pixels<Word>(25, 25, 1, 777));
  MirlImage wide;
  ASSERT_EQ(colorOperations::demosaicDFPD(flat, wide, MIRL_BAYER_GRBG, true), MIRL_SUCCESS);
  for (int x = 8; x < 16; ++x) {
    for (int c = 0; c < 3; ++c) EXPECT_EQ(wide.get(x, 12, c), 777);
  }
}

MIRL_TEST_ON_ALL_DEVICES(DemosaicDFPD);

}  // namespace
}  // namespace mirl::test
