// add, subtract, multiply, divide, absDiff: numbers, formats, statuses.

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>

#include "support.h"

namespace mirl::test {
namespace {

using namespace arithmeticLogical;
using Byte = std::uint8_t;
using Word = std::uint16_t;

class Arithmetic : public DeviceTest {};

/// An operation and its formula. Double is wide enough that rounding its result to float gives what
/// single precision gives, for each of the five.
struct Op {
  const char* name;
  MirlStatus (*run)(const MirlImage&, const MirlImage&, MirlImage&, const MirlStream&);
  double (*formula)(double, double);
};
constexpr Op kOps[] = {
    {"add", add, [](double a, double b) { return a + b; }},
    {"subtract", subtract, [](double a, double b) { return a - b; }},
    {"multiply", multiply, [](double a, double b) { return a * b; }},
    {"divide", divide, [](double a, double b) { return a / b; }},
    {"absDiff", absDiff, [](double a, double b) { return std::fabs(a - b); }},
};

template <class V, class T, class U>
Pixels<V> expected(const Op& op, const Pixels<T>& a, const Pixels<U>& b) {
  Pixels<V> out(a.width, a.height, a.channels);
  for (std::size_t i = 0; i < out.values.size(); ++i) {
    out.values[i] = stored<V>(static_cast<float>(op.formula(a.values[i], b.values[i])));
  }
  return out;
}

template <class Visit>
void forEachElement(const Visit& visit) {
  visit(Byte{});
  visit(Word{});
  visit(float{});
}

/// Calls visit(T, U, V) with every combination that is served: the output at least as deep as both
/// inputs.
template <class Visit>
void forEachCombination(const Visit& visit) {
  int visited = 0;
  forEachElement([&]<class T>(T t) {
    forEachElement([&]<class U>(U u) {
      forEachElement([&]<class V>(V v) {
        if constexpr (sizeof v >= sizeof t && sizeof v >= sizeof u) {
          SCOPED_TRACE(testing::Message() << "bytes of an element: " << sizeof t << ", " << sizeof u
                                          << " to " << sizeof v);
          visit(t, u, v);
          ++visited;
        }
      });
    });
  });
  EXPECT_EQ(visited, 14);
}

constexpr unsigned char kGuard = 0xA5;

/// Runs one operation into a live output and compares all of it, padding included.
template <class V, class T, class U>
void check(const Op& op, const Pixels<T>& a, const Pixels<U>& b, int pitchA = 0, int pitchB = 0,
           int pitchOut = 0) {
  SCOPED_TRACE(op.name);
  MirlImage out = toImage(Pixels<V>(a.width, a.height, a.channels), pitchOut);
  fillBlock(out, kGuard);
  ASSERT_EQ(op.run(toImage(a, pitchA), toImage(b, pitchB), out, MirlStream()), MIRL_SUCCESS);
  EXPECT_TRUE(holds(out, expected<V>(op, a, b)));
  EXPECT_TRUE(paddingUntouched(out, kGuard));
}

TEST_P(Arithmetic, LiteralExamples) {
  const auto inf = std::numeric_limits<float>::infinity();
  const auto nan = std::numeric_limits<float>::quiet_NaN();
  const auto run = [](auto op, const auto& a, const auto& b, auto result) {
    MirlImage out = toImage(decltype(result)(result.width, 1, 1));
    EXPECT_EQ(op(toImage(a), toImage(b), out, MirlStream()), MIRL_SUCCESS);
    EXPECT_TRUE(holds(out, result));
  };
  const Pixels<Byte> a(1, {200, 100, 7, 5, 0, 16}), b(1, {100, 200, 2, 0, 0, 16});
  run(add, a, b, Pixels<Byte>(1, {255, 255, 9, 5, 0, 32}));
  run(add, a, b, Pixels<Word>(1, {300, 300, 9, 5, 0, 32}));
  run(subtract, a, b, Pixels<Byte>(1, {100, 0, 5, 5, 0, 0}));
  run(subtract, a, b, Pixels<float>(1, {100, -100, 5, 5, 0, 0}));
  run(multiply, a, b, Pixels<Byte>(1, {255, 255, 14, 0, 0, 255}));
  run(multiply, a, b, Pixels<Word>(1, {20000, 20000, 14, 0, 0, 256}));
  run(divide, a, b, Pixels<Byte>(1, {2, 0, 3, 255, 0, 1}));
  run(divide, a, b, Pixels<Word>(1, {2, 0, 3, 65535, 0, 1}));
  run(divide, a, b, Pixels<float>(1, {2, 0.5f, 3.5f, inf, nan, 1}));
  run(absDiff, a, b, Pixels<Byte>(1, {100, 100, 5, 5, 0, 0}));

  const Pixels<Word> wide(1, {65535, 65535, 7, 5});
  run(add, Pixels<Byte>(1, {1, 0, 255, 255}), wide, Pixels<Word>(1, {65535, 65535, 262, 260}));
  run(multiply, wide, wide, Pixels<float>(1, {4294836224.0f, 4294836224.0f, 49, 25}));
  run(absDiff, Pixels<float>(1, {-0.0f, 0.25f, 7, -5}), wide,
      Pixels<float>(1, {65535, 65534.75f, 0, 10}));
}

// For two 8-bit images these are all pairs that there are.
TEST_P(Arithmetic, PairsOfAwkwardValues) {
  forEachCombination([]<class T, class U, class V>(T, U, V) {
    const std::vector<T> rows = awkwardValues<T>();
    const std::vector<U> columns = awkwardValues<U>();
    Pixels<T> a(static_cast<int>(columns.size()), static_cast<int>(rows.size()), 1);
    Pixels<U> b(a.width, a.height, 1);
    for (std::size_t i = 0; i < a.values.size(); ++i) {
      a.values[i] = rows[i / columns.size()];
      b.values[i] = columns[i % columns.size()];
    }
    for (const Op& op : kOps) check<V>(op, a, b);
  });
}

TEST_P(Arithmetic, EverySizeAndPitch) {
  forEachCombination([]<class T, class U, class V>(T, U, V) {
    unsigned seed = 1;
    for (const int channels : {1, 3}) {
      for (const MirlSize& size : awkwardSizes()) {
        const auto a = randomPixels<T>(size.width, size.height, channels, seed++);
        const auto b = randomPixels<U>(size.width, size.height, channels, seed++);
        for (const Op& op : kOps) check<V>(op, a, b);
      }
      // One byte more than a row: no multiple of any element but the byte.
      const auto a = randomPixels<T>(61, 7, channels, seed++);
      const auto b = randomPixels<U>(61, 7, channels, seed++);
      for (int odd = 1; odd < 8; ++odd) {
        SCOPED_TRACE("odd pitches " + std::to_string(odd));
        for (const Op& op : kOps) {
          check<V>(op, a, b, odd & 1 ? a.rowBytes() + 1 : 0, odd & 2 ? b.rowBytes() + 1 : 0,
                   odd & 4 ? 61 * channels * static_cast<int>(sizeof(V)) + 1 : 0);
        }
      }
      for (const Op& op : kOps) check<V>(op, a, b, a.rowBytes() + 64, b.rowBytes(), 0);
    }
  });
}

TEST_P(Arithmetic, LargeImages) {
  const auto a = randomPixels<Byte>(4096, 4096, 1, 1), b = randomPixels<Byte>(4096, 4096, 1, 2);
  check<Byte>(kOps[0], a, b);
  check<float>(kOps[2], randomPixels<Word>(1031, 1021, 3, 3), randomPixels<Byte>(1031, 1021, 3, 4));
  check<Word>(kOps[4], randomPixels<Word>(1500007, 1, 1, 5), randomPixels<Word>(1500007, 1, 1, 6));
  check<Byte>(kOps[1], randomPixels<Byte>(1, 600011, 3, 7), randomPixels<Byte>(1, 600011, 3, 8), 3,
              3, 3);
}

TEST_P(Arithmetic, InPlace) {
  forEachCombination([]<class T, class U, class V>(T, U, V) {
    for (const Op& op : kOps) {
      for (const int channels : {1, 3}) {
        for (const bool oddPitch : {false, true}) {
          SCOPED_TRACE(op.name);
          const auto a = randomPixels<T>(257, 67, channels, 1);
          const auto b = randomPixels<U>(257, 67, channels, 2);
          MirlImage imageA = toImage(a, oddPitch ? a.rowBytes() + 1 : 0);
          MirlImage imageB = toImage(b);
          if constexpr (std::is_same_v<U, V>) {
            EXPECT_EQ(op.run(imageA, imageB, imageB, MirlStream()), MIRL_SUCCESS);
            EXPECT_TRUE(holds(imageB, expected<V>(op, a, b))) << "output is b";
            imageB = toImage(b);
          }
          if constexpr (std::is_same_v<T, U>) {
            MirlImage out = toImage(Pixels<V>(257, 67, channels));
            EXPECT_EQ(op.run(imageA, imageA, out, MirlStream()), MIRL_SUCCESS);
            EXPECT_TRUE(holds(out, expected<V>(op, a, a))) << "a is b";
          }
          if constexpr (std::is_same_v<T, V>) {
            EXPECT_EQ(op.run(imageA, imageB, imageA, MirlStream()), MIRL_SUCCESS);
            EXPECT_TRUE(holds(imageA, expected<V>(op, a, b))) << "output is a";
          }
          if constexpr (std::is_same_v<T, U> && std::is_same_v<T, V>) {
            EXPECT_EQ(op.run(imageB, imageB, imageB, MirlStream()), MIRL_SUCCESS);
            EXPECT_TRUE(holds(imageB, expected<V>(op, b, b))) << "all are one";
          }
        }
      }
    }
  });
}

/// 0, 1 and 2 for 8-bit, 16-bit and float with 1 or 3 channels, -1 for a type that isn't served.
int rankOf(int type) {
  if (type % 2 != 0 || type / 4 > 4 || (type / 4) % 2 != 0) return -1;
  return type / 8;
}

// All 28 x 28 x 28 types.
TEST_P(Arithmetic, EveryTripleOfTypes) {
  std::vector<MirlImage> images;
  for (int type = 0; type < 28; ++type) images.emplace_back(3, 2, static_cast<MirlType>(type));
  for (const Op& op : kOps) {
    SCOPED_TRACE(op.name);
    int served = 0;
    for (int a = 0; a < 28; ++a) {
      for (int b = 0; b < 28; ++b) {
        const bool inputs = a % 4 == b % 4 && rankOf(a) >= 0 && rankOf(b) >= 0;
        const int deeper = std::max(rankOf(a), rankOf(b));
        const MirlImage &first = images[static_cast<std::size_t>(a)],
                        &second = images[static_cast<std::size_t>(b)];
        for (int out = 0; out < 28; ++out) {
          const bool good = inputs && out % 4 == a % 4 && rankOf(out) >= deeper;
          EXPECT_EQ(op.run(first, second, images[static_cast<std::size_t>(out)], MirlStream()),
                    good ? MIRL_SUCCESS : MIRL_MISMATCH)
              << a << ", " << b << ", " << out;
          served += good ? 1 : 0;
        }
        MirlImage made;
        EXPECT_EQ(op.run(first, second, made, MirlStream()), inputs ? MIRL_SUCCESS : MIRL_MISMATCH);
        EXPECT_EQ(made.isInitialized(), a % 4 == b % 4) << a << ", " << b;
        if (!made.isInitialized()) continue;
        EXPECT_EQ(made.depth(), std::max(first.depth(), second.depth()));
        EXPECT_EQ(made.channels(), first.channels());
        EXPECT_FALSE(made.isSigned());
      }
    }
    EXPECT_EQ(served, 28);
  }
}

TEST_P(Arithmetic, FormatOfACreatedOutput) {
  for (const int channels : {1, 3}) {
    MirlImage a = toImage(randomPixels<Word>(17, 5, channels, 1), 17 * channels * 2 + 5);
    a.setDataBits(10);
    a.setChannelSequence(MIRL_CHANNELSEQ_RGB);
    MirlImage out;
    ASSERT_EQ(add(a, toImage(randomPixels<float>(17, 5, channels, 2)), out), MIRL_SUCCESS);
    EXPECT_EQ(out.width(), 17);
    EXPECT_EQ(out.height(), 5);
    EXPECT_EQ(out.type(), typeOf<float>(channels));
    EXPECT_EQ(out.dataBits(), 32);
    EXPECT_EQ(out.channelSeq(), channels == 3 ? MIRL_CHANNELSEQ_BGR : MIRL_CHANNELSEQ_NONE);
    EXPECT_EQ(out.device(), GetParam());
  }
}

TEST_P(Arithmetic, OrderOfChecks) {
  const MirlImage empty;
  const MirlImage good(4, 3, MIRL_8U_C1), wide(5, 3, MIRL_8U_C1), tall(4, 4, MIRL_8U_C1),
      colour(4, 3, MIRL_8U_C3), four(4, 3, MIRL_8U_C4), deep(4, 3, MIRL_16U_C1);
  const MirlStream ok;
  MirlStream dead(true);
  dead.destroy();
  const struct {
    const char* what;
    const MirlImage& a;
    const MirlImage& b;
    const MirlImage& out;
    const MirlStream& stream;
    MirlStatus status;
    bool creates;
  } cases[] = {
      {"a is empty", empty, tall, wide, dead, MIRL_IMAGE_NOT_INITIALIZED, false},
      {"b is empty", good, empty, wide, dead, MIRL_IMAGE_NOT_INITIALIZED, false},
      {"all are empty", empty, empty, empty, ok, MIRL_IMAGE_NOT_INITIALIZED, false},
      {"widths differ", good, wide, tall, dead, MIRL_MISMATCH, false},
      {"heights differ", good, tall, wide, dead, MIRL_MISMATCH, false},
      {"channels differ", good, colour, empty, dead, MIRL_MISMATCH, false},
      {"the stream is dead", good, good, empty, dead, MIRL_INVALID_ARGUMENT, false},
      {"stream before output", good, good, wide, dead, MIRL_INVALID_ARGUMENT, false},
      {"stream before type", four, four, empty, dead, MIRL_INVALID_ARGUMENT, false},
      {"width of the output", good, good, wide, ok, MIRL_MISMATCH, false},
      {"height of the output", good, good, tall, ok, MIRL_MISMATCH, false},
      {"channels of the output", good, good, colour, ok, MIRL_MISMATCH, false},
      {"output less deep", deep, good, good, ok, MIRL_MISMATCH, false},
      {"four channels", four, four, four, ok, MIRL_MISMATCH, false},
      {"four channels, empty output", four, four, empty, ok, MIRL_MISMATCH, true},
      {"nothing", good, good, empty, ok, MIRL_SUCCESS, true},
  };
  for (const auto& c : cases) {
    for (const Op& op : kOps) {
      SCOPED_TRACE(std::string(op.name) + ", wrong: " + c.what);
      MirlImage out(c.out);
      if (out.isInitialized()) fillBlock(out, kGuard);
      EXPECT_EQ(op.run(c.a, c.b, out, c.stream), c.status);
      EXPECT_EQ(out.isInitialized(), c.out.isInitialized() || c.creates);
      if (!c.out.isInitialized()) continue;
      EXPECT_TRUE(untouchedOutside(out, 0, 0, kGuard));
    }
  }
}

TEST_P(Arithmetic, RunsInStreamOrder) {
  const auto a = randomPixels<Byte>(640, 480, 3, 1), b = randomPixels<Byte>(640, 480, 3, 2);
  Pixels<float> want(640, 480, 3), got(640, 480, 3);
  for (std::size_t i = 0; i < want.values.size(); ++i) {
    want.values[i] =
        static_cast<float>((a.values[i] + b.values[i]) * std::abs(a.values[i] - b.values[i]));
  }
  const MirlImage imageA = toImage(a), imageB = toImage(b);
  const MirlStream streams[2] = {MirlStream(true), MirlStream(true)};
  MirlImage sum[2], difference[2], out[2];
  for (int i = 0; i < 2; ++i) {
    ASSERT_FALSE(streams[i].isDefault());
    sum[i].create(640, 480, MIRL_16U_C3);
    out[i].create(640, 480, MIRL_32F_C3);
    EXPECT_EQ(add(imageA, imageB, sum[i], streams[i]), MIRL_SUCCESS);
    EXPECT_EQ(absDiff(imageA, imageB, difference[i], streams[i]), MIRL_SUCCESS);
    EXPECT_EQ(multiply(sum[i], difference[i], out[i], streams[i]), MIRL_SUCCESS);
  }
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(out[i].download(got.values.data(), got.rowBytes(), streams[i]), MIRL_SUCCESS);
    streams[i].sync();
    EXPECT_TRUE(got.values == want.values) << "stream " << i;
  }
}

TEST_P(Arithmetic, ThreadsAtOnce) {
  const auto work = [&](unsigned seed) {
    ASSERT_EQ(device::setCurrentDevice(GetParam()), MIRL_SUCCESS);
    const MirlStream stream(true);
    const auto a = randomPixels<Word>(701, 301, 3, seed),
               b = randomPixels<Word>(701, 301, 3, ~seed);
    const MirlImage imageA = toImage(a), imageB = toImage(b);
    for (int round = 0; round < 4; ++round) {
      for (const Op& op : kOps) {
        MirlImage out;
        EXPECT_EQ(op.run(imageA, imageB, out, stream), MIRL_SUCCESS);
        stream.sync();
        EXPECT_TRUE(holds(out, expected<Word>(op, a, b))) << op.name;
      }
    }
  };
  std::thread other(work, 1u);
  work(2u);
  other.join();
}

TEST_P(Arithmetic, ImagesOfTwoDevices) {
  if (device::getDeviceCount() < 2) GTEST_SKIP() << "there is one device";
  const auto pixels = randomPixels<Byte>(17, 5, 1, 1);
  const MirlImage here = toImage(pixels);
  ASSERT_EQ(device::setCurrentDevice((GetParam() + 1) % device::getDeviceCount()), MIRL_SUCCESS);
  MirlImage there = toImage(pixels), out;
  const MirlStream stream(true);
  EXPECT_EQ(add(here, there, out), MIRL_MISMATCH);
  EXPECT_EQ(add(there, here, out), MIRL_MISMATCH);
  EXPECT_EQ(add(here, here, there), MIRL_MISMATCH);
  EXPECT_EQ(add(here, here, out, stream), MIRL_MISMATCH);
  EXPECT_FALSE(out.isInitialized());
  EXPECT_EQ(add(here, here, out), MIRL_SUCCESS);
  EXPECT_EQ(out.device(), GetParam());
  EXPECT_TRUE(holds(out, expected<Byte>(kOps[0], pixels, pixels)));
}

TEST_P(Arithmetic, NoMemoryForTheOutput) {
  const auto pixels = randomPixels<Byte>(17, 5, 1, 1);
  const MirlImage a = toImage(pixels);
  for (const Op& op : kOps) {
    MirlImage out;
    const runtime::Live before = runtime::live();
    runtime::failNth(runtime::Call::allocate, 1);
    EXPECT_EQ(op.run(a, a, out, MirlStream()), MIRL_DEVICE_ALLOC_FAILED);
    EXPECT_FALSE(out.isInitialized());
    EXPECT_EQ(runtime::live(), before);
    EXPECT_EQ(op.run(a, a, out, MirlStream()), MIRL_SUCCESS);
    EXPECT_TRUE(holds(out, expected<Byte>(op, pixels, pixels)));
  }
}

MIRL_TEST_ON_ALL_DEVICES(Arithmetic);

}  // namespace
}  // namespace mirl::test
