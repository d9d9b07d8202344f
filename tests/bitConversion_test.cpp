// bitConversion.

#include <algorithm>
#include <cmath>

#include "pointwise_support.h"

namespace mirl::test {
namespace {

using dataExchange::bitConversion;

MIRL_DEVICE_TESTS(BitConversion);

template <class D, class S>
Pixels<D> expected(const Pixels<S>& source, int sourceBits, int resultBits) {
  const double sourceMaximum = std::exp2(sourceBits) - 1, resultMaximum = std::exp2(resultBits) - 1;
  const auto ratio = static_cast<float>(resultMaximum / sourceMaximum);
  return mapped<D>(source, source.channels, [&](const S* in, D* out) {
    for (int c = 0; c < source.channels; ++c) {
      const double scaled = static_cast<float>(std::min<double>(in[c], sourceMaximum) * ratio);
      out[c] = sourceBits == 0 ? D{0} : static_cast<D>(std::min(scaled, resultMaximum));
    }
  });
}

template <class S>
MirlImage toImageOfBits(const Pixels<S>& pixels, int bits, int pitch = 0) {
  MirlImage image = toImage(pixels, pitch);
  EXPECT_EQ(image.setDataBits(bits), MIRL_SUCCESS);
  return image;
}

/// Converts into a live image of the type, and compares all of it, padding included.
template <class D, class S>
void check(const Pixels<S>& source, int sourceBits, int resultBits, const Pixels<D>& want,
           int sourcePitch = 0, int resultPitch = 0) {
  SCOPED_TRACE(testing::Message() << sourceBits << " bits of " << 8 * sizeof(S) << " to "
                                  << resultBits << " of " << 8 * sizeof(D));
  MirlImage result = toImageOfBits(want, resultBits, resultPitch);
  fillBlock(result);
  ASSERT_EQ(bitConversion(toImageOfBits(source, sourceBits, sourcePitch), result), MIRL_SUCCESS);
  EXPECT_TRUE(holds(result, want));
  EXPECT_TRUE(paddingUntouched(result));
  EXPECT_EQ(result.dataBits(), resultBits);
}

template <class Visit>
void forEachPair(const Visit& visit) {
  visit(Byte{}, Byte{});
  visit(Byte{}, Word{});
  visit(Word{}, Byte{});
  visit(Word{}, Word{});
}

TEST_P(BitConversion, LiteralExamples) {
  check(Pixels<Byte>(1, {0, 1, 128, 255}), 8, 16, Pixels<Word>(1, {0, 257, 32896, 65535}));
  check(Pixels<Word>(1, {0, 257, 32768, 65535}), 16, 8, Pixels<Byte>(1, {0, 1, 127, 255}));
  // A ratio of 16.003662: 4095 of them are 65534.996.
  check(Pixels<Word>(1, {1, 4095, 65535}), 12, 16, Pixels<Word>(1, {16, 65534, 65534}));
  check(Pixels<Word>(1, {1023, 1}), 10, 16, Pixels<Word>(1, {65535, 64}));
  // Stray bits above the tenth count as 1023; 2 is 0.4985 and 514 is 128.12.
  check(Pixels<Word>(1, {1023, 2, 514, 2000}), 10, 8, Pixels<Byte>(1, {255, 0, 128, 255}));
  check(Pixels<Byte>(1, {0, 1, 2, 255}), 1, 8, Pixels<Byte>(1, {0, 255, 255, 255}));
  check(Pixels<Byte>(1, {0, 254, 255}), 8, 1, Pixels<Byte>(1, {0, 0, 1}));
  check(Pixels<Word>(1, {0, 1, 65535}), 0, 16, Pixels<Word>(1, {0, 0, 0}));
  check(Pixels<Word>(1, {0, 1, 65535}), 16, 0, Pixels<Word>(1, {0, 0, 0}));
}

TEST_P(BitConversion, EveryValueAtManyWidths) {
  forEachPair([]<class S, class D>(S, D) {
    const int values = 1 << 8 * sizeof(S);
    Pixels<S> source(256, values / 256, 1);
    for (std::size_t i = 0; i < source.values.size(); ++i) source.values[i] = static_cast<S>(i);
    for (const unsigned from : {0, 1, 2, 4, 7, 8, 9, 10, 12, 14, 15, 16}) {
      for (const unsigned to : {0, 1, 5, 8, 10, 12, 16}) {
        if (from > 8 * sizeof(S) || to > 8 * sizeof(D)) continue;
        check(source, int(from), int(to), expected<D>(source, int(from), int(to)));
      }
    }
  });
}

TEST_P(BitConversion, EverySizePitchAndChannels) {
  forEachPair([]<class S, class D>(S, D) {
    for (const int channels : {1, 2, 3, 4}) {
      for (const MirlSize& size : awkwardSizes()) {
        const auto in = randomPixels<S>(size.width, size.height, channels, 1);
        const auto want = expected<D>(in, 7, 8);
        check(in, 7, 8, want);
        check(in, 7, 8, want, in.rowBytes() + 1, want.rowBytes() + 3);
      }
    }
    const PastCaches past;
    const auto large = randomPixels<S>(4099, 43, 1, 3);
    check(large, 8, 8, expected<D>(large, 8, 8));
  });
}

// The bytes of an image are what counts, not its sign.
TEST_P(BitConversion, SignedElementsAreReadAsUnsigned) {
  const Pixels<Word> source(2, {0, 1, 0x7FFF, 0x8000, 0xFFFE, 0xFFFF});
  const auto want = expected<Byte>(source, 16, 8);
  MirlImage from(3, 1, MIRL_16S_C2), to(3, 1, MIRL_8S_C2);
  ASSERT_EQ(from.upload(source.values.data(), source.rowBytes()), MIRL_SUCCESS);
  ASSERT_EQ(bitConversion(from, to), MIRL_SUCCESS);
  Pixels<Byte> got(3, 1, 2);
  ASSERT_EQ(to.download(got.values.data(), got.rowBytes()), MIRL_SUCCESS);
  EXPECT_EQ(got.values, want.values);
}

TEST_P(BitConversion, InPlace) {
  const auto words = randomPixels<Word>(257, 67, 3, 1);
  MirlImage image = toImageOfBits(words, 10);
  ASSERT_EQ(bitConversion(image, image), MIRL_SUCCESS);
  EXPECT_TRUE(holds(image, expected<Word>(words, 10, 10)));
}

// Elements count, not pixels: 6 one-channel pixels are 2 of three channels.
TEST_P(BitConversion, LargerDestinationKeepsItsRest) {
  const auto source = randomPixels<Byte>(2, 3, 3, 1);
  const auto converted = expected<Word>(source, 8, 16);
  for (const int channels : {1, 2, 3, 4}) {
    for (const int more : {0, 1, 30}) {
      Pixels<Word> want((6 + channels - 1) / channels + more, 3 + more, channels, 0xA5A5);
      for (int y = 0; y < 3; ++y) {
        std::copy_n(&converted.at(0, y), 6, &want.at(0, y));
      }
      MirlImage result = toImage(want);
      fillBlock(result);
      ASSERT_EQ(bitConversion(toImageOfBits(source, 8), result), MIRL_SUCCESS);
      EXPECT_TRUE(holds(result, want)) << channels << " channels";
      EXPECT_TRUE(paddingUntouched(result));
    }
  }
}

TEST_P(BitConversion, ElementsAndBitsAreChecked) {
  const MirlImage good(4, 3, MIRL_8U_C1), words(4, 3, MIRL_16U_C1), narrow(3, 3, MIRL_8U_C1),
      flat(4, 2, MIRL_8U_C1), two(2, 3, MIRL_8U_C2), three(1, 3, MIRL_8U_C3),
      real(4, 3, MIRL_32F_C1);
  // Only a conversion in place can leave more significant bits than there are.
  MirlImage tooMany(words);
  ASSERT_EQ(tooMany.convertTo(tooMany, MIRL_8U_C1, 1, 0), MIRL_SUCCESS);
  ASSERT_EQ(tooMany.dataBits(), 16);
  const std::tuple<const MirlImage&, const MirlImage&, MirlStatus> cases[] = {
      {real, tooMany, MIRL_DEPTH_NOT_SUPPORTED},
      {tooMany, real, MIRL_DEPTH_NOT_SUPPORTED},
      {tooMany, narrow, MIRL_INVALID_ARGUMENT},
      {words, tooMany, MIRL_INVALID_ARGUMENT},
      {good, narrow, MIRL_MISMATCH},
      {two, three, MIRL_MISMATCH},
      {good, flat, MIRL_MISMATCH},
      {good, words, MIRL_SUCCESS},
      {good, two, MIRL_SUCCESS}};  // four elements a row
  for (const auto& [source, result, status] : cases) {
    expectStatus(result, status, false,
                 [&in = source](const MirlImage& out) { return bitConversion(in, out); });
  }
}

}  // namespace
}  // namespace mirl::test
