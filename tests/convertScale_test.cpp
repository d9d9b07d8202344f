// convertScale and MirlImage::convertTo.

#include <climits>
#include <cmath>

#include "pointwise_support.h"

namespace mirl::test {
namespace {

using dataExchange::convertScale;

MIRL_DEVICE_TESTS(ConvertScale);
MIRL_DEVICE_TESTS(ConvertTo);

template <class D, class S>
Pixels<D> expected(const Pixels<S>& source, float scale, float shift) {
  return mapped<D>(source, source.channels, [&, n = source.channels](const S* in, D* out) {
    for (int c = 0; c < n; ++c) {
      out[c] = stored<D>(std::fma(static_cast<float>(in[c]), scale, shift));
    }
  });
}

auto scaling(float scale, float shift) {
  return [=](const MirlImage& in, MirlImage& out) { return convertScale(in, out, scale, shift); };
}

/// Calls visit(S, D) with all nine pairs.
template <class Visit>
void forEachPair(const Visit& visit) {
  forEachElement([&]<class S>(S s) { forEachElement([&]<class D>(D d) { visit(s, d); }); });
}

constexpr std::pair<float, float> kMaps[] = {{1, 0},
                                             {255, 0},
                                             {1.0f / 255, 0},
                                             {1.0f / 257, 0.5f},
                                             {257, -32768},
                                             {-1, 255},
                                             {0.1f, -0.1f},
                                             {0, 7.9f},
                                             {-0.0f, -0.0f},
                                             {1e-38f, 1e-45f},
                                             {3.4e38f, 3.4e38f},
                                             {INFINITY, 0},
                                             {1, -INFINITY},
                                             {NAN, 0},
                                             {1, NAN}};

TEST_P(ConvertScale, LiteralExamples) {
  const auto run = [](const auto& source, float scale, float shift, const auto& result) {
    expectInto(scaling(scale, shift), source, result);
  };
  const Pixels<float> odd(1, {300, -5, 254.99f, 2.9f, -0.9f, NAN, INFINITY, -INFINITY});
  run(odd, 1, 0, Pixels<Byte>(1, {255, 0, 254, 2, 0, 0, 255, 0}));
  run(odd, 1, 0, Pixels<Word>(1, {300, 0, 254, 2, 0, 0, 65535, 0}));
  run(odd, 1, 0, odd);
  run(Pixels<float>(1, {0.999999f, 0.5f, 1, 2}), 255, 0, Pixels<Byte>(1, {254, 127, 255, 255}));
  run(Pixels<Byte>(1, {0, 1, 100, 255}), 257, 0, Pixels<Word>(1, {0, 257, 25700, 65535}));
  run(Pixels<Word>(1, {0, 1, 300, 65535}), 0.5f, 1, Pixels<Byte>(1, {1, 1, 151, 255}));
  run(Pixels<Byte>(1, {0, 10, 255}), -1, 255, Pixels<Byte>(1, {255, 245, 0}));
  // (1 + 2^-12)^2 - (1 + 2^-11) is 2^-24, and 0 if the product is rounded first.
  run(Pixels<float>(1, {1 + 0x1p-12f}), 1 + 0x1p-12f, -(1 + 0x1p-11f),
      Pixels<float>(1, {0x1p-24f}));
}

// All integers there are, and awkward floats.
TEST_P(ConvertScale, AwkwardValues) {
  forEachPair([]<class S, class D>(S, D) {
    Pixels<S> in(1, awkwardValues<S>());
    if constexpr (!std::is_same_v<S, float>) {
      in = Pixels<S>(256, 256, 1);
      for (std::size_t i = 0; i < in.values.size(); ++i) in.values[i] = static_cast<S>(i);
    }
    for (const auto& [scale, shift] : kMaps) {
      SCOPED_TRACE(testing::Message() << "scale " << scale << ", shift " << shift);
      expectInto(scaling(scale, shift), in, expected<D>(in, scale, shift));
    }
  });
}

// By type and by depth: the same, whatever the destination was before.
TEST_P(ConvertTo, AnyDestination) {
  forEachPair([]<class S, class D>(S, D) {
    for (const int channels : {1, 3}) {
      const auto source = randomPixels<S>(113, 9, channels, 1);
      const auto want = expected<D>(source, 0.4f, 20);
      const MirlType type = typeOf<D>(channels);
      const MirlImage fresh(113, 9, type);
      MirlImage from = toImage(source);
      from.setDataBits(5);
      for (const bool byDepth : {false, true}) {
        const auto convert = [&](const MirlImage& in, MirlImage& out) {
          return byDepth ? in.convertTo(out, fresh.depth(), 0.4f, 20)
                         : in.convertTo(out, type, 0.4f, 20);
        };
        MirlImage results[] = {{}, {113, 9, type}, {2, 200, MIRL_64F_C2}};
        const void* const before = results[1].ptr();
        for (MirlImage& result : results) {
          EXPECT_EQ(convert(from, result), MIRL_SUCCESS);
          EXPECT_TRUE(holds(result, want));
          EXPECT_EQ(formatOf(result), formatOf(fresh));
        }
        EXPECT_EQ(results[1].ptr(), before) << "the right type stays";
        MirlImage self(from);
        self.setChannelSequence(MIRL_CHANNELSEQ_RGBA);
        EXPECT_EQ(convert(self, self), MIRL_SUCCESS);
        EXPECT_TRUE(holds(self, want)) << "in place";
        EXPECT_EQ(self.channelSeq(), MIRL_CHANNELSEQ_RGBA);
        EXPECT_EQ(self.dataBits(), 5);
      }
      EXPECT_TRUE(holds(from, source));
    }
  });
}

TEST_P(ConvertTo, Failures) {
  const MirlImage empty, good(4, 3, MIRL_8U_C1), four(4, 3, MIRL_8U_C4), flat(5, 5, MIRL_8U_C1),
      wide(5, 3, MIRL_16U_C1), colour(4, 3, MIRL_8U_C3);
  const MirlStream alive, dead = deadStream();
  constexpr MirlStatus kNoChannels = MIRL_CHANNELS_NOT_SUPPORTED, kNoType = MIRL_TYPE_NOT_SUPPORTED,
                       kBad = MIRL_INVALID_ARGUMENT;
  /// Source, result, type asked for, stream, status and the type of the result after it.
  using Image = const MirlImage&;
  const std::tuple<Image, Image, int, const MirlStream&, MirlStatus, int> cases[] = {
      {empty, empty, MIRL_8U_C3, dead, MIRL_IMAGE_NOT_INITIALIZED, -1},
      {good, empty, MIRL_8U_C3, dead, kNoChannels, -1},
      {good, good, MIRL_16U_C2, alive, kNoChannels, MIRL_8U_C1},
      {good, empty, -1, alive, kNoChannels, -1},
      {good, empty, 28, alive, kNoChannels, -1},
      {good, empty, MIRL_16U_C1, dead, kBad, -1},
      {good, good, MIRL_16U_C1, dead, kBad, MIRL_8U_C1},
      {good, wide, MIRL_16U_C1, alive, MIRL_MISMATCH, MIRL_16U_C1},
      {good, colour, MIRL_8U_C3, dead, MIRL_MISMATCH, MIRL_8U_C3},
      {good, empty, MIRL_8S_C1, alive, kNoType, MIRL_8S_C1},
      {four, flat, MIRL_32F_C4, alive, kNoType, MIRL_32F_C4},
      {good, flat, MIRL_32F_C1, alive, MIRL_SUCCESS, MIRL_32F_C1}};
  for (const auto& [source, before, type, stream, status, after] : cases) {
    MirlImage result(before);
    EXPECT_EQ(source.convertTo(result, static_cast<MirlType>(type), 1, 0, stream), status) << type;
    EXPECT_EQ(result.isInitialized() ? result.type() : -1, after) << type;
  }
  // In place, a refused type leaves the image alone.
  MirlImage self(4, 3, MIRL_8U_C1), result;
  EXPECT_EQ(self.convertTo(self, MIRL_8U_C3, 1, 0), kNoChannels);
  EXPECT_EQ(self.type(), MIRL_8U_C1);
  for (const int depth : {0, 1, 7, 12, 24, 48, -64, 128, INT_MAX, INT_MIN}) {
    EXPECT_EQ(good.convertTo(result, depth, 1, 0), MIRL_DEPTH_NOT_SUPPORTED) << depth;
    EXPECT_EQ(empty.convertTo(result, depth, 1, 0), MIRL_DEPTH_NOT_SUPPORTED) << depth;
    EXPECT_FALSE(result.isInitialized());
  }
  EXPECT_EQ(good.convertTo(result, -16, 1, 0), kNoType);
  EXPECT_EQ(result.type(), MIRL_16S_C1);
}

}  // namespace
}  // namespace mirl::test
