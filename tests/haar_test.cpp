// haarFwd and haarInv: every band, the way back, roles and sizes.

#include <algorithm>

#include "support.h"

namespace mirl::test {
namespace {

using imageTransforms::haarFwd;
using imageTransforms::haarInv;
using Bands = std::vector<Pixels<Byte>>;

class Haar : public DeviceTest {};

Byte truncated(double value) {
  return value > 0 ? static_cast<Byte>(static_cast<unsigned>(value)) : Byte{0};
}

/// The row pass and the column pass one after the other, halves and all.
Bands expectedBands(const Pixels<Byte>& in) {
  const int w = in.width / 2, h = in.height / 2;
  Bands bands(4, Pixels<Byte>(w, h, in.channels));
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      for (int c = 0; c < in.channels; ++c) {
        double sum[2], difference[2];
        for (int row = 0; row < 2; ++row) {
          const double a = in.at(2 * x, 2 * y + row, c), b = in.at(2 * x + 1, 2 * y + row, c);
          sum[row] = (a + b) * 0.5;
          difference[row] = (a - b) * 0.5;
        }
        bands[0].at(x, y, c) = truncated((sum[0] + sum[1]) * 0.5);
        bands[1].at(x, y, c) = truncated((difference[0] + difference[1]) * 0.5);
        bands[2].at(x, y, c) = truncated((sum[0] - sum[1]) * 0.5);
        bands[3].at(x, y, c) = truncated((difference[0] - difference[1]) * 0.5);
      }
    }
  }
  return bands;
}

Pixels<Byte> expectedImage(const Bands& bands) {
  const int w = bands[0].width, h = bands[0].height, channels = bands[0].channels;
  Pixels<Byte> out(2 * w, 2 * h, channels);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < 2 * w; ++x) {
      for (int c = 0; c < channels; ++c) {
        const double sign = x % 2 == 0 ? 1 : -1;
        const double above = bands[0].at(x / 2, y, c) + sign * bands[1].at(x / 2, y, c);
        const double below = bands[2].at(x / 2, y, c) + sign * bands[3].at(x / 2, y, c);
        out.at(x, 2 * y, c) = truncated(above + below);
        out.at(x, 2 * y + 1, c) = truncated(above - below);
      }
    }
  }
  return out;
}

void checkBothWays(const Pixels<Byte>& in, int pitch, int bandPitch) {
  SCOPED_TRACE(testing::Message() << in.width << "x" << in.height << ", pitches " << pitch
                                  << " and " << bandPitch);
  const Bands want = expectedBands(in);
  const Pixels<Byte> empty(in.width / 2, in.height / 2, in.channels);
  MirlImage bands[4], out = toImage(Pixels<Byte>(in.width, in.height, in.channels), pitch);
  for (MirlImage& band : bands) {
    band = toImage(empty, bandPitch);
    fillBlock(band);
  }
  ASSERT_EQ(haarFwd(toImage(in, pitch), bands[0], bands[1], bands[2], bands[3]), MIRL_SUCCESS);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_TRUE(holds(bands[i], want[i])) << "band " << i;
    EXPECT_TRUE(paddingUntouched(bands[i]));
  }
  // On the way back bands of any bytes, so that sums leave the range on both sides.
  Bands noise;
  for (unsigned i = 0; i < 4; ++i) {
    noise.push_back(randomPixels<Byte>(empty.width, empty.height, in.channels, 10 + i));
    bands[i] = toImage(noise.back(), bandPitch);
  }
  fillBlock(out);
  ASSERT_EQ(haarInv(bands[0], bands[1], bands[2], bands[3], out), MIRL_SUCCESS);
  EXPECT_TRUE(holds(out, expectedImage(noise)));
  EXPECT_TRUE(paddingUntouched(out));
}

TEST_P(Haar, EverySizeAndPitch) {
  for (const int channels : {1, 3}) {
    unsigned seed = 1;
    for (const MirlSize& size : {MirlSize(2, 2), MirlSize(2, 34), MirlSize(34, 2), MirlSize(30, 6),
                                 MirlSize(64, 8), MirlSize(1026, 10), MirlSize(2500, 602)}) {
      checkBothWays(randomPixels<Byte>(size.width, size.height, channels, seed++), 0, 0);
    }
    const auto in = randomPixels<Byte>(202, 18, channels, seed);
    forOddPitches(in.rowBytes(), in.rowBytes() / 2,
                  [&](int pitch, int bandPitch) { checkBothWays(in, pitch, bandPitch); });
  }
}

TEST_P(Haar, LiteralExamples) {
  const auto bandsOf = [](const std::vector<Byte>& block) {
    Pixels<Byte> in(2, 2, 1);
    in.values = block;
    MirlImage bands[4];
    EXPECT_EQ(haarFwd(toImage(in), bands[0], bands[1], bands[2], bands[3]), MIRL_SUCCESS);
    std::vector<Byte> values;
    for (const MirlImage& band : bands) values.push_back(fromImage<Byte>(band).values[0]);
    return values;
  };
  EXPECT_EQ(bandsOf({10, 20, 30, 40}), (std::vector<Byte>{25, 0, 0, 0}));
  EXPECT_EQ(bandsOf({40, 30, 20, 10}), (std::vector<Byte>{25, 5, 10, 0}));
  EXPECT_EQ(bandsOf({1, 2, 2, 2}), (std::vector<Byte>{1, 0, 0, 0}));
  const auto image = [](Byte value) { return toImage(Pixels<Byte>(1, 1, 1, value)); };
  MirlImage out;
  ASSERT_EQ(haarInv(image(25), image(5), image(10), image(0), out), MIRL_SUCCESS);
  EXPECT_EQ(fromImage<Byte>(out).values, (std::vector<Byte>{40, 30, 20, 10}));
  const MirlImage loud = image(200);
  ASSERT_EQ(haarInv(loud, loud, loud, loud, out), MIRL_SUCCESS);
  EXPECT_EQ(fromImage<Byte>(out).values, (std::vector<Byte>{800 & 255, 0, 0, 0}));
}

TEST_P(Haar, RolesAndSizes) {
  const MirlImage in = noiseImage({8, 6}, 8, 1, 1), odd = noiseImage({5, 4}, 8, 1, 1);
  MirlImage a(4, 3, MIRL_8U_C1), b(4, 3, MIRL_8U_C1), c(4, 3, MIRL_8U_C1), d(4, 3, MIRL_8U_C1);
  MirlImage wide(6, 3, MIRL_8U_C1), low(4, 2, MIRL_8U_C1), deep(4, 3, MIRL_16U_C1), self(in), empty;
  const auto refused = [](MirlStatus status, const MirlImage& from, MirlImage& p, MirlImage& q,
                          MirlImage& r, MirlImage& s) {
    std::vector<MirlImage*> bands{&p, &q, &r, &s};
    for (MirlImage* band : bands) fillBlock(*band);
    EXPECT_EQ(haarFwd(from, p, q, r, s), status);
    for (MirlImage* band : bands) EXPECT_TRUE(untouched(*band));
  };
  refused(MIRL_MISMATCH, odd, a, b, c, d);
  refused(MIRL_MISMATCH, in, wide, b, c, d);
  refused(MIRL_MISMATCH, in, a, wide, c, d);
  refused(MIRL_MISMATCH, in, a, b, c, low);
  refused(MIRL_MISMATCH, in, low, b, c, d);
  refused(MIRL_MISMATCH, in, a, b, deep, d);
  refused(MIRL_IN_PLACE_NOT_SUPPORTED, in, a, b, a, d);
  EXPECT_EQ(haarFwd(self, a, self, c, d), MIRL_IN_PLACE_NOT_SUPPORTED);
  EXPECT_EQ(bytesOf(self), bytesOf(in));

  // Larger bands keep what lies beside and below.
  MirlImage large[4];
  for (MirlImage& band : large) {
    band = toImage(Pixels<Byte>(9, 5, 1, 77));
  }
  ASSERT_EQ(haarFwd(in, large[0], large[1], large[2], large[3]), MIRL_SUCCESS);
  const Bands want = expectedBands(fromImage<Byte>(in));
  for (std::size_t i = 0; i < 4; ++i) {
    const auto got = fromImage<Byte>(large[i]);
    for (int y = 0; y < 5; ++y) {
      for (int x = 0; x < 9; ++x) {
        const bool inside = x < 4 && y < 3;
        EXPECT_EQ(got.at(x, y), inside ? want[i].at(x, y) : 77) << i << ": " << x << ", " << y;
      }
    }
  }

  const auto inverse = [&](MirlStatus status, const MirlImage& second, MirlImage& out) {
    if (status != MIRL_SUCCESS) fillBlock(out);
    EXPECT_EQ(haarInv(a, second, c, d, out), status);
    if (status != MIRL_SUCCESS) {
      EXPECT_TRUE(untouched(out));
    }
  };
  MirlImage good(8, 6, MIRL_8U_C1), high(8, 9, MIRL_8U_C1), tooLow(8, 5, MIRL_8U_C1),
      tooWide(9, 6, MIRL_8U_C1), other(8, 6, MIRL_8U_C3), bandAndResult(8, 6, MIRL_8U_C1);
  inverse(MIRL_SUCCESS, b, good);
  inverse(MIRL_SUCCESS, b, high);
  inverse(MIRL_MISMATCH, b, tooLow);
  inverse(MIRL_INVALID_ARGUMENT, b, tooWide);
  inverse(MIRL_MISMATCH, b, other);
  inverse(MIRL_MISMATCH, low, good);
  inverse(MIRL_MISMATCH, deep, good);
  inverse(MIRL_IN_PLACE_NOT_SUPPORTED, bandAndResult, bandAndResult);
}

MIRL_TEST_ON_ALL_DEVICES(Haar);

}  // namespace
}  // namespace mirl::test
