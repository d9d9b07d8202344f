// convertScale and MirlImage::convertTo.

#include <climits>
#include <cmath>
#include <limits>
#include <thread>

#include "support.h"

namespace mirl::test {
namespace {

using dataExchange::convertScale;
using Byte = std::uint8_t;
using Word = std::uint16_t;

class ConvertScale : public DeviceTest {};
class ConvertTo : public DeviceTest {};

constexpr unsigned char kGuard = 0xA5;

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
  MirlImage result = toImage(Pixels<D>(source.width, source.height, source.channels), resultPitch);
  fillBlock(result, kGuard);
  ASSERT_EQ(convertScale(toImage(source, sourcePitch), result, scale, shift), MIRL_SUCCESS);
  EXPECT_TRUE(holds(result, expected<D>(source, scale, shift)));
  EXPECT_TRUE(paddingUntouched(result, kGuard));
}

/// Calls visit(S, D) with all nine pairs.
template <class Visit>
void forEachPair(const Visit& visit) {
  const auto withSource = [&]<class S>(S s) {
    const auto withBoth = [&]<class D>(D d) {
      SCOPED_TRACE(testing::Message() << sizeof s << " bytes an element to " << sizeof d);
      visit(s, d);
    };
    withBoth(Byte{});
    withBoth(Word{});
    withBoth(float{});
  };
  withSource(Byte{});
  withSource(Word{});
  withSource(float{});
}

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

constexpr struct {
  float scale;
  float shift;
} kMaps[] = {{1, 0},          {255, 0},         {1.0f / 255, 0},    {1.0f / 257, 0.5f},
             {257, -32768},   {-1, 255},        {0.1f, -0.1f},      {0, 7.9f},
             {-0.0f, -0.0f},  {1e-38f, 1e-45f}, {3.4e38f, 3.4e38f}, {kInfinity, 0},
             {1, -kInfinity}, {kNan, 0},        {1, kNan}};

TEST_P(ConvertScale, LiteralExamples) {
  const auto run = [](const auto& source, float scale, float shift, auto result) {
    MirlImage out = toImage(decltype(result)(result.width, 1, 1));
    EXPECT_EQ(convertScale(toImage(source), out, scale, shift), MIRL_SUCCESS);
    EXPECT_TRUE(holds(out, result));
  };
  const Pixels<float> odd(1, {300, -5, 254.99f, 2.9f, -0.9f, kNan, kInfinity, -kInfinity});
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
      const int resultRow = 61 * channels * static_cast<int>(sizeof(D));
      for (int odd = 1; odd < 4; ++odd) {
        SCOPED_TRACE("odd pitches " + std::to_string(odd));
        check<D>(source, 0.7f, 3, odd & 1 ? source.rowBytes() + 1 : 0, odd & 2 ? resultRow + 1 : 0);
      }
    }
  });
}

TEST_P(ConvertScale, LargeImages) {
  check<float>(randomPixels<Byte>(4096, 4096, 1, 1), 1.0f / 255, 0);
  check<Byte>(randomPixels<float>(1021, 1031, 3, 2), 0.5f, 100);
  check<Word>(randomPixels<Word>(1, 600011, 1, 3), 2, -9, 2, 2);
}

TEST_P(ConvertScale, InPlaceAndIntoACreatedImage) {
  forEachPair([]<class S, class D>(S, D) {
    if constexpr (std::is_same_v<S, D>) {
      for (const int channels : {1, 3}) {
        const auto source = randomPixels<S>(257, 67, channels, 1);
        MirlImage image = toImage(source, source.rowBytes() + 1), made;
        image.setDataBits(7);
        image.setChannelSequence(MIRL_CHANNELSEQ_RGB);
        ASSERT_EQ(convertScale(image, made, 0.3f, 9), MIRL_SUCCESS);
        ASSERT_EQ(convertScale(image, image, 0.3f, 9), MIRL_SUCCESS);
        EXPECT_TRUE(holds(made, expected<S>(source, 0.3f, 9)));
        EXPECT_TRUE(holds(image, expected<S>(source, 0.3f, 9)));
        EXPECT_EQ(image.dataBits(), 7);
        EXPECT_EQ(image.channelSeq(), MIRL_CHANNELSEQ_RGB);
        EXPECT_EQ(made.dataBits(), made.depth());
        EXPECT_EQ(made.channelSeq(), channels == 3 ? MIRL_CHANNELSEQ_BGR : MIRL_CHANNELSEQ_NONE);
      }
    }
  });
}

bool isServed(int type) {
  const int block = type / 4;
  return type % 2 == 0 && (block == 0 || block == 2 || block == 4);
}

TEST_P(ConvertScale, EveryPairOfTypes) {
  for (int source = 0; source < 28; ++source) {
    const MirlImage from(3, 2, static_cast<MirlType>(source));
    for (int result = 0; result < 28; ++result) {
      MirlImage to(3, 2, static_cast<MirlType>(result));
      fillBlock(to, kGuard);
      const MirlStatus status = convertScale(from, to, 1, 0);
      EXPECT_EQ(status, source % 4 != result % 4               ? MIRL_MISMATCH
                        : isServed(source) && isServed(result) ? MIRL_SUCCESS
                                                               : MIRL_TYPE_NOT_SUPPORTED)
          << source << ", " << result;
      if (status != MIRL_SUCCESS) {
        EXPECT_TRUE(untouchedOutside(to, 0, 0, kGuard));
      }
    }
    MirlImage made;
    EXPECT_EQ(convertScale(from, made, 1, 0),
              isServed(source) ? MIRL_SUCCESS : MIRL_TYPE_NOT_SUPPORTED);
    EXPECT_EQ(made.type(), source);
    EXPECT_EQ(made.device(), GetParam());
  }
}

TEST_P(ConvertScale, OrderOfChecks) {
  const MirlImage empty, good(4, 3, MIRL_8U_C1), wide(5, 3, MIRL_8U_C1), tall(4, 4, MIRL_8U_C1),
      colour(4, 3, MIRL_8U_C3), four(4, 3, MIRL_8U_C4);
  const MirlStream ok;
  MirlStream dead(true);
  dead.destroy();
  const struct {
    const char* what;
    const MirlImage& source;
    const MirlImage& result;
    const MirlStream& stream;
    MirlStatus status;
    bool creates;
  } cases[] = {
      {"no source", empty, wide, dead, MIRL_IMAGE_NOT_INITIALIZED, false},
      {"width", good, wide, dead, MIRL_MISMATCH, false},
      {"height", good, tall, dead, MIRL_MISMATCH, false},
      {"channels", four, colour, dead, MIRL_MISMATCH, false},
      {"dead stream", four, four, dead, MIRL_INVALID_ARGUMENT, false},
      {"dead stream, no result", four, empty, dead, MIRL_INVALID_ARGUMENT, false},
      {"four channels", four, four, ok, MIRL_TYPE_NOT_SUPPORTED, false},
      {"four channels, no result", four, empty, ok, MIRL_TYPE_NOT_SUPPORTED, true},
      {"nothing", good, empty, ok, MIRL_SUCCESS, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string("wrong: ") + c.what);
    MirlImage result(c.result);
    EXPECT_EQ(convertScale(c.source, result, 1, 0, c.stream), c.status);
    EXPECT_EQ(result.isInitialized(), c.result.isInitialized() || c.creates);
  }
}

TEST_P(ConvertScale, RunsOnStreamsAndThreads) {
  const auto work = [&](unsigned seed) {
    ASSERT_EQ(device::setCurrentDevice(GetParam()), MIRL_SUCCESS);
    const auto source = randomPixels<Byte>(701, 301, 3, seed);
    const MirlImage image = toImage(source);
    const MirlStream stream(true);
    for (int round = 0; round < 10; ++round) {
      MirlImage wide;
      MirlImage result(701, 301, MIRL_16U_C3);
      EXPECT_EQ(image.convertTo(wide, MIRL_32F_C3, 2, 0, stream), MIRL_SUCCESS);
      EXPECT_EQ(convertScale(wide, result, 0.5f, 1000, stream), MIRL_SUCCESS);
      stream.sync();
      EXPECT_TRUE(holds(result, expected<Word>(source, 1, 1000)));
    }
  };
  std::thread other(work, 1u);
  work(2u);
  other.join();
}

// By type and by depth: the same, whatever the destination was before.
TEST_P(ConvertTo, AnyDestination) {
  forEachPair([]<class S, class D>(S, D) {
    for (const int channels : {1, 3}) {
      const auto source = randomPixels<S>(113, 9, channels, 1);
      const auto want = expected<D>(source, 0.4f, 20);
      MirlImage from = toImage(source);
      from.setDataBits(5);
      const int depth = static_cast<int>(sizeof(D)) * 8;
      for (const bool byDepth : {false, true}) {
        MirlImage results[] = {{}, {113, 9, typeOf<D>(channels)}, {2, 200, MIRL_64F_C2}};
        for (MirlImage& result : results) {
          const void* before = result.type() == typeOf<D>(channels) ? result.ptr() : nullptr;
          EXPECT_EQ(byDepth ? from.convertTo(result, depth, 0.4f, 20)
                            : from.convertTo(result, typeOf<D>(channels), 0.4f, 20),
                    MIRL_SUCCESS);
          EXPECT_TRUE(holds(result, want));
          EXPECT_EQ(result.dataBits(), depth);
          EXPECT_EQ(result.channelSeq(),
                    channels == 3 ? MIRL_CHANNELSEQ_BGR : MIRL_CHANNELSEQ_NONE);
          if (before != nullptr) {
            EXPECT_EQ(result.ptr(), before) << "the right type stays";
          }
        }
        MirlImage self(from);
        self.setChannelSequence(MIRL_CHANNELSEQ_RGBA);
        EXPECT_EQ(byDepth ? self.convertTo(self, depth, 0.4f, 20)
                          : self.convertTo(self, typeOf<D>(channels), 0.4f, 20),
                  MIRL_SUCCESS);
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
  MirlStream dead(true);
  dead.destroy();
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
      {"served",
       four,
       {5, 5, MIRL_8U_C1},
       MIRL_32F_C4,
       false,
       MIRL_TYPE_NOT_SUPPORTED,
       MIRL_32F_C4},
      {"nothing", good, {5, 5, MIRL_8U_C1}, MIRL_32F_C1, false, MIRL_SUCCESS, MIRL_32F_C1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "wrong: " << c.what << ", type " << c.type);
    MirlImage result(c.result);
    EXPECT_EQ(c.source.convertTo(result, c.type, 1, 0, c.deadStream ? dead : MirlStream()),
              c.status);
    EXPECT_EQ(result.isInitialized(), c.typeAfter >= 0);
    if (c.typeAfter >= 0) {
      EXPECT_EQ(result.type(), c.typeAfter);
    }
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

TEST_P(ConvertTo, RuntimeFailures) {
  const auto source = randomPixels<Byte>(17, 5, 1, 1);
  const MirlImage from = toImage(source);
  const auto fails = [&](const MirlImage& image, MirlImage& result, runtime::Call call,
                         MirlStatus status) {
    const runtime::Live before = runtime::live();
    const bool wasLive = result.isInitialized();
    runtime::failNth(call, 1);
    EXPECT_EQ(image.convertTo(result, MIRL_16U_C1, 2, 0), status);
    const long released = wasLive && !result.isInitialized() ? 1 : 0;
    EXPECT_EQ(runtime::live().deviceBlocks, before.deviceBlocks - released);
  };
  MirlImage empty, other(3, 3, MIRL_32F_C1), self(from);
  fails(from, empty, runtime::Call::allocate, MIRL_DEVICE_ALLOC_FAILED);
  EXPECT_FALSE(empty.isInitialized());
  fails(from, other, runtime::Call::free, MIRL_DEVICE_FREE_FAILED);
  EXPECT_EQ(other.type(), MIRL_32F_C1);
  fails(from, other, runtime::Call::allocate, MIRL_DEVICE_ALLOC_FAILED);
  EXPECT_FALSE(other.isInitialized());
  fails(self, self, runtime::Call::allocate, MIRL_DEVICE_ALLOC_FAILED);
  EXPECT_TRUE(holds(self, source));
  fails(self, self, runtime::Call::free, MIRL_DEVICE_FREE_FAILED);
  EXPECT_TRUE(holds(self, source));
  runtime::failNth(runtime::Call::allocate, 1);
  EXPECT_EQ(convertScale(from, empty, 1, 0), MIRL_DEVICE_ALLOC_FAILED);
  EXPECT_FALSE(empty.isInitialized());

  // After each of them the next call works.
  for (MirlImage* result : {&empty, &other, &self}) {
    EXPECT_EQ(result == &self ? self.convertTo(self, MIRL_16U_C1, 2, 0)
                              : from.convertTo(*result, MIRL_16U_C1, 2, 0),
              MIRL_SUCCESS);
    EXPECT_TRUE(holds(*result, expected<Word>(source, 2, 0)));
  }
}

TEST_P(ConvertTo, ImagesOfTwoDevices) {
  if (device::getDeviceCount() < 2) GTEST_SKIP() << "there is one device";
  const auto source = randomPixels<Byte>(17, 5, 1, 1);
  MirlImage here = toImage(source), made;
  ASSERT_EQ(device::setCurrentDevice((GetParam() + 1) % device::getDeviceCount()), MIRL_SUCCESS);
  MirlImage there(17, 5, MIRL_8U_C1);
  const MirlStream stream(true);
  EXPECT_EQ(convertScale(here, there, 1, 0), MIRL_MISMATCH);
  EXPECT_EQ(convertScale(here, made, 1, 0, stream), MIRL_MISMATCH);
  EXPECT_EQ(here.convertTo(there, MIRL_16U_C1, 1, 0), MIRL_MISMATCH);
  EXPECT_EQ(here.convertTo(here, MIRL_16U_C1, 1, 0, stream), MIRL_MISMATCH);
  EXPECT_EQ(there.type(), MIRL_8U_C1);
  EXPECT_FALSE(made.isInitialized());
  EXPECT_EQ(here.convertTo(made, MIRL_16U_C1, 1, 0), MIRL_SUCCESS);
  EXPECT_EQ(here.convertTo(here, MIRL_16U_C1, 1, 0), MIRL_SUCCESS);
  EXPECT_EQ(made.device(), GetParam());
  EXPECT_EQ(here.device(), GetParam());
  EXPECT_TRUE(holds(made, expected<Word>(source, 1, 0)));
  EXPECT_TRUE(holds(here, expected<Word>(source, 1, 0)));
}

MIRL_TEST_ON_ALL_DEVICES(ConvertScale);
MIRL_TEST_ON_ALL_DEVICES(ConvertTo);

}  // namespace
}  // namespace mirl::test
