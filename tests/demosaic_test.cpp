#include <cmath>
#include <cstdint>

#include "support.h"

namespace mirl::test {
namespace {

MIRL_DEVICE_TESTS(Demosaic);

/// A filter as it is written down, rows top to bottom.
using Filter = double[5][5];
constexpr Filter kGreen = {
    {0, 0, -1, 0, 0}, {0, 0, 2, 0, 0}, {-1, 2, 4, 2, -1}, {0, 0, 2, 0, 0}, {0, 0, -1, 0, 0}};
constexpr Filter kDiagonal = {{0, 0, -1.5, 0, 0},
                              {0, 2, 0, 2, 0},
                              {-1.5, 0, 6, 0, -1.5},
                              {0, 2, 0, 2, 0},
                              {0, 0, -1.5, 0, 0}};
constexpr Filter kBeside = {
    {0, 0, 0.5, 0, 0}, {0, -1, 0, -1, 0}, {-1, 4, 5, 4, -1}, {0, -1, 0, -1, 0}, {0, 0, 0.5, 0, 0}};

/// The colour of the sample at (x, y), 0 to 2 for blue, green and red.
int colourAt(MirlBayerSeq sequence, int x, int y) {
  const int blue = 0, green = 1, red = 2;
  const int cell = (y & 1) * 2 + (x & 1);
  switch (sequence) {
    case MIRL_BAYER_BGGR:
    case MIRL_BAYER_BGGR_HQ:
      return std::array{blue, green, green, red}[static_cast<std::size_t>(cell)];
    case MIRL_BAYER_GBRG:
    case MIRL_BAYER_GBRG_HQ:
      return std::array{green, blue, red, green}[static_cast<std::size_t>(cell)];
    case MIRL_BAYER_GRBG:
    case MIRL_BAYER_GRBG_HQ:
      return std::array{green, red, blue, green}[static_cast<std::size_t>(cell)];
    default:
      return std::array{red, green, green, blue}[static_cast<std::size_t>(cell)];
  }
}

template <class T>
Pixels<T> demosaiced(const Pixels<T>& in, MirlBayerSeq sequence, double maximum) {
  Pixels<T> out(in.width, in.height, 3);
  for (int y = 0; y < in.height; ++y) {
    for (int x = 0; x < in.width; ++x) {
      const auto p = [&](int dx, int dy) -> double {
        return in.at(std::clamp(x + dx, 0, in.width - 1), std::clamp(y + dy, 0, in.height - 1));
      };
      const auto filtered = [&](const Filter& filter, bool turned) {
        double sum = 0;
        for (int j = -2; j <= 2; ++j) {
          for (int i = -2; i <= 2; ++i) {
            sum += p(i, j) * (turned ? filter[i + 2][j + 2] : filter[j + 2][i + 2]);
          }
        }
        return sum * 0.125;
      };
      const double beside = (p(-1, 0) + p(1, 0)) * 0.5, above = (p(0, -1) + p(0, 1)) * 0.5;
      const double diagonal = (p(-1, -1) + p(1, -1) + p(-1, 1) + p(1, 1)) * 0.25;
      const bool plain = sequence <= MIRL_BAYER_RGGB;
      const int own = colourAt(sequence, x, y);
      double colours[3];
      colours[own] = p(0, 0);
      if (own == 1) {
        const int row = colourAt(sequence, x + 1, y);
        colours[row] = plain ? beside : filtered(kBeside, false);
        colours[2 - row] = plain ? above : filtered(kBeside, true);
      } else {
        const bool falls = p(2, 0) - p(-2, 0) < 0;
        colours[1] = !plain ? filtered(kGreen, false) : falls ? above : (beside + above) / 2;
        colours[2 - own] = plain ? diagonal : filtered(kDiagonal, false);
      }
      for (int c = 0; c < 3; ++c) {
        out.at(x, y, c) = static_cast<T>(std::clamp(std::trunc(colours[c]), 0.0, maximum));
      }
    }
  }
  return out;
}

template <class T>
void check(int dataBits, double maximum) {
  unsigned seed = 1;
  for (const MirlSize size : {MirlSize(1, 1), MirlSize(1, 9), MirlSize(9, 1), MirlSize(2, 2),
                              MirlSize(17, 5), MirlSize(131, 67), MirlSize(1030, 36)}) {
    const Pixels<T> in = randomPixels<T>(size.width, size.height, 1, seed++);
    for (const int padding : {0, 1, 6}) {
      MirlImage mosaic = toImage(in, padding == 0 ? 0 : in.rowBytes() + padding);
      mosaic.setDataBits(dataBits);
      for (int sequence = 1; sequence <= 8; ++sequence) {
        MirlImage out;
        if (padding == 6) {
          ASSERT_EQ(out.create(size.width, size.height, 3 * in.rowBytes() + 5,
                               static_cast<int>(sizeof(T)) * 8, 3),
                    MIRL_SUCCESS);
          out.setChannelSequence(MIRL_CHANNELSEQ_RGB);  // which doesn't count
        }
        const auto order = static_cast<MirlBayerSeq>(sequence);
        ASSERT_EQ(colorOperations::demosaic(mosaic, out, order), MIRL_SUCCESS);
        ASSERT_TRUE(holds(out, demosaiced(in, order, maximum)))
            << "sequence " << sequence << ", padding " << padding;
      }
    }
  }
}

TEST_P(Demosaic, EqualsTheFormula) {
  check<std::uint8_t>(8, 255);
  check<std::uint8_t>(5, 255);
  check<std::uint16_t>(16, 65535);
  check<std::uint16_t>(12, 4095);
}

TEST_P(Demosaic, OfFewPixels) {
  // R G    a red of 100 and greens of 40 and 60 on a blue of 8
  // G B
  const MirlImage mosaic = toImage(Pixels<std::uint8_t>(2, 2, 1));
  MirlImage written = mosaic, out;
  const std::uint8_t bytes[] = {100, 40, 60, 8};
  ASSERT_EQ(written.upload(bytes, 2), MIRL_SUCCESS);
  ASSERT_EQ(colorOperations::demosaic(written, out, MIRL_BAYER_RGGB), MIRL_SUCCESS);
  // At the red sample the columns and rows before the first are those: (100 + 40 + 60 + 100) / 4 of
  // green, were p(2, 0) = 40 not less than p(-2, 0) = 100; so half of 60 + 100. And (100 + 40 + 60
  // + 8) / 4 of blue.
  EXPECT_EQ(out.get(0, 0, 0), 52);
  EXPECT_EQ(out.get(0, 0, 1), 80);
  EXPECT_EQ(out.get(0, 0, 2), 100);
  EXPECT_EQ(out.get(1, 0, 2), 70);  // half of 100 and 40, red beside
  EXPECT_EQ(out.get(1, 0, 0), 24);  // half of 40 and 8, blue below
}

}  // namespace
}  // namespace mirl::test
