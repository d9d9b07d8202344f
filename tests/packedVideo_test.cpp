// V210TOYUV444, YUV444TOV210, YUV422TOV210: where each sample stands, layouts, statuses.

#include "support.h"

namespace mirl::test {
namespace {

using namespace colorOperations;

MIRL_DEVICE_TESTS(PackedVideo);

/// Where the samples of a group stand: the component, in the order of a 4:4:4 image, the pixel that
/// it is taken from, and its lowest bit among the 128.
enum Component { Y, V, U };
constexpr struct {
  Component component;
  int pixel;
  int bit;
} kSamples[] = {{U, 0, 0},  {Y, 0, 10}, {V, 0, 20}, {Y, 1, 32}, {U, 2, 42},  {Y, 2, 52},
                {V, 2, 64}, {Y, 3, 74}, {U, 4, 84}, {Y, 4, 96}, {V, 4, 106}, {Y, 5, 116}};

/// A V210 image as its half words.
Pixels<Word> emptyV210(int width, int height) {
  return Pixels<Word>(width / 6 * 8, height, 1);
}
MirlImage v210Image(const Pixels<Word>& halves) {
  return toImage(halves, halves.rowBytes());
}

std::uint32_t wordAt(const Pixels<Word>& halves, int group, int y, int word) {
  const int x = group * 8 + word * 2;
  return halves.at(x, y) | static_cast<std::uint32_t>(halves.at(x + 1, y)) << 16;
}

/// Calls visit(sample, group, y) for all samples of a picture.
template <class Visit>
void forEachSample(int width, int height, const Visit& visit) {
  for (int y = 0; y < height; ++y) {
    for (int group = 0; group < width / 6; ++group) {
      for (const auto& sample : kSamples) visit(sample, group, y);
    }
  }
}

Pixels<Word> unpacked(const Pixels<Word>& v210, int width) {
  Pixels<Word> full(width, v210.height, 3);
  forEachSample(width, v210.height, [&](const auto& s, int group, int y) {
    const auto value = static_cast<Word>(wordAt(v210, group, y, s.bit / 32) >> s.bit % 32 & 0x3FF);
    const int x = group * 6 + s.pixel;
    full.at(x, y, s.component) = value;
    if (s.component != Y) full.at(x + 1, y, s.component) = value;
  });
  return full;
}

/// Adds up, with no regard to the bits that a sample has.
Pixels<Word> packed(const Pixels<Word>& full) {
  Pixels<Word> v210 = emptyV210(full.width, full.height);
  forEachSample(full.width, full.height, [&](const auto& s, int group, int y) {
    const std::uint32_t sample = full.at(group * 6 + s.pixel, y, s.component);
    const std::uint32_t word = wordAt(v210, group, y, s.bit / 32) + (sample << s.bit % 32);
    const int x = group * 8 + s.bit / 32 * 2;
    v210.at(x, y) = static_cast<Word>(word);
    v210.at(x + 1, y) = static_cast<Word>(word >> 16);
  });
  return v210;
}

Pixels<Word> flattened(const Pixels<Word>& full) {
  Pixels<Word> flat(full.width, full.height, 2);
  for (int y = 0; y < full.height; ++y) {
    for (int x = 0; x < full.width; ++x) {
      flat.at(x, y, 0) = full.at(x / 2 * 2, y, x % 2 == 0 ? U : V);
      flat.at(x, y, 1) = full.at(x, y, Y);
    }
  }
  return flat;
}

TEST_P(PackedVideo, OneGroupByHand) {
  const Pixels<Word> flat(2, {100, 200, 300, 400, 500, 600, 700, 800, 900, 1000, 1023, 0});
  const std::uint32_t words[] = {0x12C32064, 0x2587D190, 0x384C82BC, 0x000FFFE8};
  MirlImage v210(4, 1, 16, 32, 1), full(6, 1, MIRL_16U_C3);
  ASSERT_EQ(YUV422TOV210(toImage(flat, flat.rowBytes()), v210), MIRL_SUCCESS);
  std::uint32_t made[4];
  ASSERT_EQ(v210.download(made), MIRL_SUCCESS);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(made[i], words[i]) << i;

  for (std::uint32_t& word : made) word |= 0xC0000000;
  ASSERT_EQ(v210.upload(made), MIRL_SUCCESS);
  const MirlStream stream(true);
  ASSERT_EQ(V210TOYUV444(v210, full, stream), MIRL_SUCCESS);
  EXPECT_TRUE(stream.finished()) << "it waits";
  EXPECT_TRUE(holds(full, Pixels<Word>(3, {200, 300, 100, 400, 300, 100, 600, 700, 500,  //
                                           800, 700, 500, 1000, 1023, 900, 0, 1023, 900})));
  ASSERT_EQ(YUV444TOV210(full, v210), MIRL_SUCCESS);
  ASSERT_EQ(v210.download(made), MIRL_SUCCESS);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(made[i], words[i]) << i;
}

// The last one is too large for caches.
TEST_P(PackedVideo, EverySampleOfEverySize) {
  const MirlSize sizes[] = {{6, 1}, {6, 37}, {18, 3}, {384, 5}, {390, 4}, {1920, 9}, {3840, 1200}};
  for (const MirlSize& size : sizes) {
    const int width = size.width, height = size.height;
    SCOPED_TRACE(testing::Message() << width << "x" << height);
    auto words = randomPixels<Word>(width / 6 * 8, height, 1, 1);
    const Pixels<Word> full = unpacked(words, width);
    forOddPitches(full.rowBytes(), full.rowBytes(), [&](int pitch, int outPitch) {
      MirlImage out = toImage(Pixels<Word>(width, height, 3), outPitch);
      fillBlock(out);
      ASSERT_EQ(V210TOYUV444(v210Image(words), out), MIRL_SUCCESS);
      EXPECT_TRUE(holds(out, full));
      EXPECT_TRUE(paddingUntouched(out));

      // Samples of 16 bits, which carry.
      const auto wide = randomPixels<Word>(width, height, 3, 2);
      const Pixels<Word> flat = flattened(wide), want = packed(wide);
      MirlImage v210 = v210Image(emptyV210(width, height));
      ASSERT_EQ(YUV444TOV210(toImage(wide, pitch), v210), MIRL_SUCCESS);
      EXPECT_TRUE(holds(v210, want));
      fillBlock(v210);
      ASSERT_EQ(YUV422TOV210(toImage(flat, flat.rowBytes()), v210), MIRL_SUCCESS);
      EXPECT_TRUE(holds(v210, want));
    });
    // There and back only the two spare bits of each word are lost.
    MirlImage back = v210Image(emptyV210(width, height));
    ASSERT_EQ(YUV444TOV210(toImage(full), back), MIRL_SUCCESS);
    for (std::size_t i = 1; i < words.values.size(); i += 2) words.values[i] &= 0x3FFF;
    EXPECT_TRUE(holds(back, words));
    if (HasFailure()) return;
  }
}

// Of a taller source the first rows count; of a taller destination the others stay.
TEST_P(PackedVideo, HeightsThatDiffer) {
  const auto words = randomPixels<Word>(16, 3, 1, 1);
  Pixels<Word> first = words;
  first.height = 2;
  const Pixels<Word> full = unpacked(first, 12), flat = flattened(full);
  MirlImage out(12, 2, MIRL_16U_C3);
  ASSERT_EQ(V210TOYUV444(v210Image(words), out), MIRL_SUCCESS);
  EXPECT_TRUE(holds(out, full));

  for (const bool is444 : {true, false}) {
    MirlImage tall = v210Image(emptyV210(12, 3));
    fillBlock(tall);
    ASSERT_EQ(is444 ? YUV444TOV210(out, tall) : YUV422TOV210(toImage(flat, flat.rowBytes()), tall),
              MIRL_SUCCESS);
    EXPECT_TRUE(untouchedOutside(tall, 16, 2));
    EXPECT_NE(bytesOf(tall)[40], kGuard);
  }
}

TEST_P(PackedVideo, WhatDoesNotFit) {
  const MirlImage empty, v210(16, 4, 32, 16, 1), padded(16, 4, 48, 16, 1),
      shortV210(16, 3, 32, 16, 1), odd(12, 4, 24, 16, 1), full(12, 4, MIRL_16U_C3),
      signedFull(12, 4, MIRL_16S_C3), bytes(12, 4, MIRL_8U_C3), four(12, 4, MIRL_16U_C4),
      uneven(10, 4, MIRL_16U_C3), flat(12, 4, 48, 16, 2), pairs(24, 4, 48, 16, 1),
      looseFlat(12, 4, 72, 16, 2), hiddenFlat(11, 4, 48, 16, 2), unevenFlat(10, 4, 40, 16, 2);
  const MirlStream ok;
  const auto unpack = V210TOYUV444, pack = YUV444TOV210, packFlat = YUV422TOV210;
  const struct {
    const char* what;
    decltype(unpack) run;
    const MirlImage &source, &out;
    MirlStatus status = MIRL_INVALID_ARGUMENT;
  } cases[] = {
      {"no destination", unpack, v210, empty, MIRL_DEPTH_NOT_SUPPORTED},
      {"8 bits", unpack, padded, bytes, MIRL_DEPTH_NOT_SUPPORTED},
      {"four channels", unpack, padded, four, MIRL_CHANNELS_NOT_SUPPORTED},
      {"part of a group", unpack, v210, uneven},
      {"padded V210", unpack, padded, full},
      {"part of a V210 group", unpack, odd, full},
      {"too few rows", unpack, shortV210, full},
      {"itself", unpack, full, full},
      {"nothing: signed", unpack, v210, signedFull, MIRL_SUCCESS},
      {"8 bits", pack, bytes, empty, MIRL_DEPTH_NOT_SUPPORTED},
      {"no destination", pack, four, empty, MIRL_IMAGE_NOT_INITIALIZED},
      {"four channels", pack, four, padded, MIRL_CHANNELS_NOT_SUPPORTED},
      {"part of a group", pack, uneven, v210},
      {"padded V210", pack, full, padded},
      {"too few rows", pack, full, shortV210},
      {"itself", pack, full, full},
      {"8 bits", packFlat, bytes, empty, MIRL_DEPTH_NOT_SUPPORTED},
      {"no destination", packFlat, looseFlat, empty, MIRL_IMAGE_NOT_INITIALIZED},
      {"padded source", packFlat, looseFlat, v210},
      {"a column short", packFlat, hiddenFlat, v210},
      {"part of a group", packFlat, unevenFlat, v210},
      {"padded V210", packFlat, flat, padded},
      {"too few rows", packFlat, flat, shortV210},
      {"itself", packFlat, flat, flat},
      {"nothing: one channel", packFlat, pairs, v210, MIRL_SUCCESS},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.what << ", case " << &c - cases);
    // A copy would have the device's pitch.
    MirlImage out;
    if (c.out.isInitialized()) {
      out.create(c.out.width(), c.out.height(), c.out.pitch(),
                 c.out.isSigned() ? -c.out.depth() : c.out.depth(), c.out.channels());
      fillBlock(out);
    }
    EXPECT_EQ(c.run(c.source, &c.source == &c.out ? const_cast<MirlImage&>(c.out) : out, ok),
              c.status);
    EXPECT_EQ(out.isInitialized(), c.out.isInitialized());
    EXPECT_TRUE(c.status == MIRL_SUCCESS || !out.isInitialized() || untouched(out));
  }
}

}  // namespace
}  // namespace mirl::test
