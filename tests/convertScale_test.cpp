// convertScale and MirlImage::convertTo.

#include <climits>
#include <cmath>

#include "support.h"

namespace mirl::test {
namespace {

using dataExchange::convertScale;

class ConvertScale : public DeviceTest {};
class ConvertTo : public DeviceTest {};

template <class D, class S>
Pixels<D> expected(const Pixels<S>& source, float scale, float shift) {
  Pixels<D> result(source.width, source.height, source.channels);
  for (std::size_t i = 0; i < result.values.size(); ++i) {
    result.values[i] = stored<D>(std::fma(static_cast<float>(source.values[i]), scale, shift));
  }
  return result;
}

/// Converts into a live image of the type, and compares all of it, padding included.
template <class D, class S>
void check(const Pixels<S>& source, float scale, float shift, int sourcePitch = 0,
           int resultPitch = 0) {
  SCOPED_TRACE(testing::Message() << "scale " << scale << ", shift " << shift);
  const auto run = [&](const MirlImage& in, MirlImage& out) {
    return convertScale(in, out, scale, shift);
  };
  expectInto(run, source, expected<D>(source, scale, shift), sourcePitch, resultPitch);
}

/// Calls visit(S, D) with all nine pairs.
template <class Visit>
void forEachPair(const Visit& visit) {
  forEachElement([&]<class S>(S s) { forEachElement([&]<class D>(D d) { visit(s, d); }); });
}

constexpr struct {
  float scale;
  float shift;
} kMaps[] = {{1, 0},
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
    const auto convert = [&](const MirlImage& in, MirlImage& out) {
      return convertScale(in, out, scale, shift);
    };
    expectInto(convert, source, result);
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

TEST_P(ConvertScale, AwkwardValues) {
  forEachPair([]<class S, class D>(S, D) {
    for (const auto& map : kMaps) check<D>(Pixels<S>(1, awkwardValues<S>()), map.scale, map.shift);
  });
}

TEST_P(ConvertScale, EverySizeAndPitch) {
  forEachPair([]<class S, class D>(S, D) {
    unsigned seed = 1;
    for (const int channels : {1, 3}) {
      for (const MirlSize& size : awkwardSizes()) {
        const auto source = randomPixels<S>(size.width, size.height, channels, seed++);
        check<D>(source, 0.7f, 3);
      }
      const auto source = randomPixels<S>(61, 7, channels, seed++);
      forOddPitches(source.rowBytes(), 61 * channels * static_cast<int>(sizeof(D)),
                    [&](int from, int to) { check<D>(source, 0.7f, 3, from, to); });
    }
  });
}

TEST_P(ConvertScale, LargeImages) {
  check<float>(randomPixels<Byte>(4096, 4096, 1, 1), 1.0f / 255, 0);
  check<Byte>(randomPixels<float>(1021, 1031, 3, 2), 0.5f, 100);
  check<Word>(randomPixels<Word>(1, 600011, 1, 3), 2, -9, 2, 2);
}

TEST_P(ConvertScale, InPlaceAndIntoACreatedImage) {
  forEachFormat([]<class S>(S, int channels) {
    const auto source = randomPixels<S>(257, 67, channels, 1);
    MirlImage image = toImage(source, source.rowBytes() + 1), made;
    image.setDataBits(7);
    image.setChannelSequence(MIRL_CHANNELSEQ_RGB);
    const auto before = fieldsOf(image);
    ASSERT_EQ(convertScale(image, made, 0.3f, 9), MIRL_SUCCESS);
    ASSERT_EQ(convertScale(image, image, 0.3f, 9), MIRL_SUCCESS);
    EXPECT_TRUE(holds(made, expected<S>(source, 0.3f, 9)));
    EXPECT_TRUE(holds(image, expected<S>(source, 0.3f, 9)));
    EXPECT_EQ(fieldsOf(image), before);
    EXPECT_EQ(formatOf(made), formatOf(MirlImage(257, 67, typeOf<S>(channels))));
  });
}

TEST_P(ConvertScale, EveryPairOfTypes) {
  for (const Format& from : allFormats()) {
    const MirlImage source(3, 2, from.type);
    for (const Format& to : allFormats()) {
      SCOPED_TRACE(testing::Message() << from.type << " to " << to.type);
      const bool served = isServed(from) && isServed(to);
      expectStatus(MirlImage(3, 2, to.type),
                   from.channels != to.channels ? MIRL_MISMATCH
                   : served                     ? MIRL_SUCCESS
                                                : MIRL_TYPE_NOT_SUPPORTED,
                   false, [&](MirlImage& out) { return convertScale(source, out, 1, 0); });
    }
    MirlImage made;
    EXPECT_EQ(convertScale(source, made, 1, 0),
              isServed(from) ? MIRL_SUCCESS : MIRL_TYPE_NOT_SUPPORTED);
    EXPECT_EQ(formatOf(made), formatOf(source));
  }
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
  const MirlImage empty, good(4, 3, MIRL_8U_C1), four(4, 3, MIRL_8U_C4);
  const MirlStream dead = deadStream();
  const MirlType none = static_cast<MirlType>(-1);
  const struct {
    const char* what;
    const MirlImage& source;
    MirlImage result;
    MirlType type;
    bool deadStream;
    MirlStatus status;
    int typeAfter;  // -1: empty
  } cases[] = {
      {"source", empty, {}, MIRL_8U_C3, true, MIRL_IMAGE_NOT_INITIALIZED, -1},
      {"channels", good, {}, MIRL_8U_C3, true, MIRL_CHANNELS_NOT_SUPPORTED, -1},
      {"channels", good, {4, 3, MIRL_8U_C1}, MIRL_16U_C2, false, MIRL_CHANNELS_NOT_SUPPORTED, 0},
      {"no type", good, {}, none, false, MIRL_CHANNELS_NOT_SUPPORTED, -1},
      {"no type", good, {}, static_cast<MirlType>(28), false, MIRL_CHANNELS_NOT_SUPPORTED, -1},
      {"stream", good, {}, MIRL_16U_C1, true, MIRL_INVALID_ARGUMENT, -1},
      {"stream", good, {4, 3, MIRL_8U_C1}, MIRL_16U_C1, true, MIRL_INVALID_ARGUMENT, 0},
      {"size", good, {5, 3, MIRL_16U_C1}, MIRL_16U_C1, false, MIRL_MISMATCH, MIRL_16U_C1},
      {"channels", good, {4, 3, MIRL_8U_C3}, MIRL_8U_C3, true, MIRL_MISMATCH, MIRL_8U_C3},
      {"served", good, {}, MIRL_8S_C1, false, MIRL_TYPE_NOT_SUPPORTED, MIRL_8S_C1},
      {"served", four, {5, 5, MIRL_8U_C1}, MIRL_32F_C4, 0, MIRL_TYPE_NOT_SUPPORTED, MIRL_32F_C4},
      {"nothing", good, {5, 5, MIRL_8U_C1}, MIRL_32F_C1, false, MIRL_SUCCESS, MIRL_32F_C1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "wrong: " << c.what << ", type " << c.type);
    MirlImage result(c.result);
    EXPECT_EQ(c.source.convertTo(result, c.type, 1, 0, c.deadStream ? dead : MirlStream()),
              c.status);
    EXPECT_EQ(result.isInitialized() ? result.type() : -1, c.typeAfter);
  }
  // In place, a refused type leaves the image alone.
  MirlImage self(4, 3, MIRL_8U_C1);
  EXPECT_EQ(self.convertTo(self, MIRL_8U_C3, 1, 0), MIRL_CHANNELS_NOT_SUPPORTED);
  EXPECT_EQ(self.type(), MIRL_8U_C1);

  for (const int depth : {0, 1, 7, 12, 24, 48, -64, 128, INT_MAX, INT_MIN}) {
    MirlImage result;
    EXPECT_EQ(good.convertTo(result, depth, 1, 0), MIRL_DEPTH_NOT_SUPPORTED) << depth;
    EXPECT_EQ(empty.convertTo(result, depth, 1, 0), MIRL_DEPTH_NOT_SUPPORTED) << depth;
    EXPECT_FALSE(result.isInitialized());
  }
  MirlImage result;
  EXPECT_EQ(good.convertTo(result, -16, 1, 0), MIRL_TYPE_NOT_SUPPORTED);
  EXPECT_EQ(result.type(), MIRL_16S_C1);
}

MIRL_TEST_ON_ALL_DEVICES(ConvertScale);
MIRL_TEST_ON_ALL_DEVICES(ConvertTo);

}  // namespace
}  // namespace mirl::test
