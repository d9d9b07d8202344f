// Whole channels: split, merged, mixed, and one colour picked out.

#include <algorithm>
#include <array>
#include <cmath>

#include "pointwise_support.h"

namespace mirl::test {
namespace {

using namespace colorOperations;

MIRL_DEVICE_TESTS(Channels);

constexpr MirlStatus kMismatch = MIRL_MISMATCH;

template <class T>
Pixels<T> channelOf(const Pixels<T>& in, int channel) {
  return mapped<T>(in, 1, [&](const T* from, T* to) { *to = from[channel]; });
}

/// Splits into images of their own pitch and merges them again, with every sequence.
template <class T>
void splitAndMerge(const MirlSize& size, int pitch, int outPitch, MirlChannelSeq sequence) {
  const auto pixels = randomPixels<T>(size.width, size.height, 3, 1);
  MirlImage source = toImage(pixels, pitch);
  source.setChannelSequence(sequence);
  MirlImage plane[3];
  for (int c = 0; c < 3; ++c) {
    // Three different pitches, one of which is the device's own.
    plane[c] =
        toImage(Pixels<T>(size.width, size.height, 1), c == 2 || outPitch == 0 ? 0 : outPitch + c);
    fillBlock(plane[c]);
  }
  ASSERT_EQ(channelSplit(source, plane[0], plane[1], plane[2]), MIRL_SUCCESS);
  for (int c = 0; c < 3; ++c) {
    const int at = sequence == MIRL_CHANNELSEQ_RGB ? c : 2 - c;
    EXPECT_TRUE(holds(plane[c], channelOf(pixels, at))) << c;
    EXPECT_TRUE(paddingUntouched(plane[c])) << c;
  }
  MirlImage back = toImage(Pixels<T>(size.width, size.height, 3), pitch);
  fillBlock(back);
  back.setChannelSequence(sequence);
  ASSERT_EQ(channelMerge(plane[0], plane[1], plane[2], back), MIRL_SUCCESS);
  EXPECT_TRUE(holds(back, pixels));
  EXPECT_TRUE(paddingUntouched(back));
}

TEST_P(Channels, SplitAndMerge) {
  forEachElement([]<class T>(T) {
    constexpr int kSize = static_cast<int>(sizeof(T));
    for (const auto sequence : {MIRL_CHANNELSEQ_RGB, MIRL_CHANNELSEQ_BGR}) {
      for (const MirlSize& size : awkwardSizes()) splitAndMerge<T>(size, 0, 0, sequence);
      forOddPitches(61 * 3 * kSize, 61 * kSize, [&](int pitch, int outPitch) {
        splitAndMerge<T>({61, 7}, pitch, outPitch, sequence);
      });
      // Past the caches: aligned rows, and rows at any byte.
      const PastCaches past;
      splitAndMerge<T>({4099, 43}, 0, 0, sequence);
      splitAndMerge<T>({4099, 43}, 4099 * 3 * kSize + 1, 4099 * kSize + 3, sequence);
    }
  });
}

TEST_P(Channels, CreatedImages) {
  const Pixels<Byte> pixels(3, {1, 2, 3, 4, 5, 6});
  MirlImage source = toImage(pixels), red, green, blue, back;
  source.setChannelSequence(MIRL_CHANNELSEQ_RGB);
  source.setDataBits(6);
  ASSERT_EQ(channelSplit(source, red, green, blue), MIRL_SUCCESS);
  EXPECT_TRUE(holds(red, Pixels<Byte>(1, {1, 4})));
  EXPECT_TRUE(holds(green, Pixels<Byte>(1, {2, 5})));
  EXPECT_TRUE(holds(blue, Pixels<Byte>(1, {3, 6})));
  EXPECT_EQ(red.dataBits(), 8);
  ASSERT_EQ(channelMerge(red, green, blue, back), MIRL_SUCCESS);
  EXPECT_EQ(back.channelSeq(), MIRL_CHANNELSEQ_BGR);
  EXPECT_TRUE(holds(back, Pixels<Byte>(3, {3, 2, 1, 6, 5, 4})));

  // Destinations of other channels get the leading elements; one image for all the last channel.
  MirlImage wide(2, 1, MIRL_8U_C4), same(2, 1, MIRL_8U_C1);
  fillBlock(wide, 9);
  ASSERT_EQ(channelSplit(source, wide, same, same), MIRL_SUCCESS);
  EXPECT_EQ(bytesOf(wide), Bytes({1, 4, 9, 9, 9, 9, 9, 9}));
  EXPECT_TRUE(holds(same, Pixels<Byte>(1, {3, 6})));
  MirlImage made;
  ASSERT_EQ(channelSplit(source, made, made, made), MIRL_SUCCESS);
  EXPECT_TRUE(holds(made, Pixels<Byte>(1, {3, 6})));
  ASSERT_EQ(channelMerge(red, red, red, back), MIRL_SUCCESS);
  EXPECT_TRUE(holds(back, Pixels<Byte>(3, {1, 1, 1, 4, 4, 4})));
}

TEST_P(Channels, OtherSequencesWriteNothing) {
  for (int sequence = -1; sequence <= 6; ++sequence) {
    MirlImage source(5, 3, MIRL_16U_C3), plane[3], back(5, 3, MIRL_16U_C3);
    for (MirlImage& image : plane) {
      image.create(5, 3, MIRL_16U_C1);
      fillBlock(image);
    }
    fillBlock(back, 1);
    source.setChannelSequence(static_cast<MirlChannelSeq>(sequence));
    back.setChannelSequence(static_cast<MirlChannelSeq>(sequence));
    const bool means = sequence == 0 || sequence == 1;
    EXPECT_EQ(channelMerge(plane[0], plane[1], plane[2], back), MIRL_SUCCESS);
    EXPECT_EQ(static_cast<bool>(untouchedOutside(back, 0, 0, 1)), !means) << sequence;
    fillBlock(source, 1);
    EXPECT_EQ(channelSplit(source, plane[0], plane[1], plane[2]), MIRL_SUCCESS);
    for (const MirlImage& image : plane) EXPECT_EQ(!untouched(image), means) << sequence;
  }
}

TEST_P(Channels, SplitAndMergeStatuses) {
  MirlImage source(5, 3, MIRL_8U_C3), wide(6, 3, 8, 1), good(5, 3, 8, 1), a;
  EXPECT_EQ(channelSplit(source, a, good, wide), kMismatch);
  EXPECT_EQ(a.type(), MIRL_8U_C1) << "what came before has been created";
  EXPECT_EQ(channelSplit(source, source, good, good), MIRL_IN_PLACE_NOT_SUPPORTED);
  EXPECT_EQ(channelSplit(source, good, good, source), MIRL_IN_PLACE_NOT_SUPPORTED);
  for (int n = 1; n <= 3; ++n) {
    MirlImage made[3];
    const FailNth fail(runtime::Call::allocate, n);
    EXPECT_EQ(channelSplit(source, made[0], made[1], made[2]), MIRL_DEVICE_ALLOC_FAILED);
    for (const MirlImage& image : made) EXPECT_FALSE(image.isInitialized()) << n;
  }
  MirlImage none;
  const MirlImage odd[] = {{6, 3, 8, 1}, {5, 4, 8, 1}, {5, 3, 16, 1}, {5, 3, 8, 3}};
  for (const MirlImage& other : odd) {
    EXPECT_EQ(channelMerge(good, other, good, none, deadStream()), kMismatch);
    EXPECT_EQ(channelMerge(good, good, other, none, deadStream()), kMismatch);
  }
}

using Matrix = std::array<float, 12>;
constexpr Matrix kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};

auto mixBy(const Matrix& matrix, int dataBits) {
  return [=](const MirlImage& in, MirlImage& out) {
    EXPECT_EQ(const_cast<MirlImage&>(in).setDataBits(dataBits), MIRL_SUCCESS);
    Matrix gone = matrix;
    const MirlStatus status = channelMix(in, out, gone.data());
    gone.fill(77);
    return status;
  };
}

template <class T>
auto mixFormula(const Matrix& m, int dataBits) {
  return [=](const T* in, T* out) {
    for (std::size_t r = 0; r < 12; r += 4) {
      float sum = m[r + 1] * static_cast<float>(in[1]);
      sum = std::fma(m[r], static_cast<float>(in[0]), sum);
      sum = std::fma(m[r + 2], static_cast<float>(in[2]), sum) + m[r + 3];
      *out = stored<T>(sum);
      if (sizeof(T) < 4) *out = std::min(*out, stored<T>(static_cast<float>((1 << dataBits) - 1)));
      ++out;
    }
  };
}

TEST_P(Channels, Mix) {
  const Matrix matrices[] = {
      kIdentity,
      {0.393f, 0.769f, 0.189f, 0, 0.349f, 0.686f, 0.168f, 0, 0.272f, 0.534f, 0.131f, 0},
      {1.5f, -0.4f, 0.1f, -20, -0.3f, 1.2f, 0.2f, 300, 0, 0, -1, 255.5f},
      {3e7f, -3e7f, 0, 1, 1e38f, 1e38f, 1e38f, 0, 0.1f, 0, 0, 2147483648.0f},
      {NAN, 0, 0, 0, 0, INFINITY, 0, 0, 0, 0, 0, -INFINITY}};
  forEachElement([&]<class T>(T) {
    for (const Matrix& matrix : matrices) {
      for (const int bits : {0, 6, 7, 8, 10, 16}) {
        if (bits > 8 * static_cast<int>(sizeof(T))) continue;
        const auto in = randomPixels<T>(257, 131, 3, 1);
        expectInto(mixBy(matrix, bits), in, mapped<T>(in, 3, mixFormula<T>(matrix, bits)));
      }
    }
  });
}

TEST_P(Channels, MixByHand) {
  const Pixels<Byte> in(3, {10, 100, 255});
  expectInto(mixBy(kIdentity, 8), in, in);
  expectInto(mixBy(kIdentity, 6), in, Pixels<Byte>(3, {10, 63, 63}));
  expectInto(mixBy({1, 0, 0, 300, 0, 0.5f, 0, 0.9f, 0, 0, -1, 0}, 8), in,
             Pixels<Byte>(3, {255, 50, 0}));
  expectInto(mixBy({0, 0, 20, 0, 0, 2, 0, 0, 0, 0, 0, 7}, 10), Pixels<Word>(3, {1, 600, 60}),
             Pixels<Word>(3, {1023, 1023, 7}));
  expectInto(mixBy({-2, 0, 0, 0, 0, 1, 0, 0.5f, 0, 0, 1, 1e6f}, 8), Pixels<float>(3, {3, -1, 0}),
             Pixels<float>(3, {-6, -0.5f, 1e6f}));
}

auto pickBy(int color, float threshold) {
  return with(colorPick, static_cast<MirlColor>(color), threshold);
}

auto pickFormula(int color, float t) {
  return [=](const Byte* in, Byte* out) {
    const float b = in[0], g = in[1], r = in[2];
    const bool stays = color == MIRL_COLOR_RED     ? r > g && r > b && r - b > t && r - g > t
                       : color == MIRL_COLOR_GREEN ? g > r && g > b && g - b > t && g - r > t
                       : color == MIRL_COLOR_BLUE  ? b > g && b > r && b - g > t && b - r > t
                                                   : false;
    const float gray = 0.3f * g + 0.59f * r + 0.11f * b;
    for (int c = 0; c < 3; ++c) out[c] = stays ? in[c] : static_cast<Byte>(gray);
  };
}

TEST_P(Channels, Pick) {
  const auto colours = randomPixels<Byte>(509, 251, 3, 1);
  for (const int color : {0, 1, 2, 3, -1}) {
    for (const float t : {0.0f, 0.5f, 30.0f, 253.9f, 254.0f, 255.0f, 1e30f, -1.0f, -1e30f, NAN,
                          INFINITY, -INFINITY}) {
      expectInto(pickBy(color, t), colours, mapped<Byte>(colours, 3, pickFormula(color, t)));
    }
  }
  expectInto(pickBy(3, 0), Pixels<Byte>(3, {7, 7, 7}), Pixels<Byte>(3, {6, 6, 6}));
  const Pixels<Byte> in(3, {50, 100, 100, 50, 99, 100, 0, 0, 255});
  expectInto(pickBy(MIRL_COLOR_RED, 0), in, Pixels<Byte>(3, {94, 94, 94, 50, 99, 100, 0, 0, 255}));
  expectInto(pickBy(MIRL_COLOR_RED, 254), in, Pixels<Byte>(3, {94, 94, 94, 94, 94, 94, 0, 0, 255}));
  expectInto(pickBy(MIRL_COLOR_BLUE, 0), in,
             Pixels<Byte>(3, {94, 94, 94, 94, 94, 94, 150, 150, 150}));
}

TEST_P(Channels, PickWantsBlueFirst) {
  for (int sequence = -1; sequence <= 6; ++sequence) {
    MirlImage source(5, 3, MIRL_8U_C3), out;
    source.setChannelSequence(static_cast<MirlChannelSeq>(sequence));
    EXPECT_EQ(colorPick(source, out, MIRL_COLOR_RED, 0),
              sequence == MIRL_CHANNELSEQ_BGR ? MIRL_SUCCESS : kMismatch);
    EXPECT_TRUE(out.isInitialized());
  }
}

}  // namespace
}  // namespace mirl::test
