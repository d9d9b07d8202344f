// getChannel, padImage, threshold: numbers, what stays untouched, statuses.

#include <algorithm>

#include "pointwise_support.h"

namespace mirl::test {
namespace {

using namespace dataExchange;

MIRL_DEVICE_TESTS(ChannelsAndPads);

constexpr double kNan = NAN, kInf = INFINITY;

TEST_P(ChannelsAndPads, ChannelsOfPixels) {
  forEachElement([]<class T>(T) {
    for (const int channels : {3, 4}) {
      for (int wanted = 0; wanted < channels; ++wanted) {
        const auto run = [&](const MirlImage& in, MirlImage& out) {
          return getChannel(in, out, wanted);
        };
        expectPointwise<T, T>(run, channels, 1, [&](const T* in, T* out) { *out = in[wanted]; });
      }
    }
  });
}

TEST_P(ChannelsAndPads, ChannelFormats) {
  const MirlImage gray(4, 3, MIRL_8U_C1);
  expectStatus({}, MIRL_TYPE_NOT_SUPPORTED, true,
               [&](MirlImage& out) { return getChannel(gray, out, 0); });
  const auto pixels = randomPixels<Byte>(4, 3, 3, 1);
  const MirlImage colour = toImage(pixels);

  // Larger and of another depth: the bytes stand at the start.
  MirlImage deep(2, 5, MIRL_16U_C1);
  fillBlock(deep);
  ASSERT_EQ(getChannel(colour, deep, 1), MIRL_SUCCESS);
  EXPECT_TRUE(untouchedOutside(deep, 2, 3));
  const auto want = mapped<Byte>(pixels, 1, [](const Byte* in, Byte* out) { *out = in[1]; });
  const Bytes moved = bytesOf(deep);
  EXPECT_TRUE(std::equal(want.values.begin(), want.values.end(), moved.begin()));

  EXPECT_TRUE(holds(colour[1], want));
  for (const int none : {-1, 3}) EXPECT_FALSE(colour[none].isInitialized());
  EXPECT_FALSE(gray[0].isInitialized());
}

struct Pads {
  int top, bottom, left, right;
};

TEST_P(ChannelsAndPads, PadsAroundEverySize) {
  const float values[] = {5000.9f, -1.0f, 200.5f};
  const auto expectPadded = [&]<class T>(const Pixels<T>& in, const Pads& p, int pitch = 0,
                                         int outPitch = 0) {
    SCOPED_TRACE(testing::Message()
                 << in.width << "x" << in.height << " C" << in.channels << ": " << p.top << ", "
                 << p.bottom << ", " << p.left << ", " << p.right);
    Pixels<T> want(p.left + in.width + p.right, p.top + in.height + p.bottom, in.channels);
    for (int y = 0; y < want.height; ++y) {
      for (int x = 0; x < want.width; ++x) {
        for (int c = 0; c < in.channels; ++c) {
          const int fromX = x - p.left, fromY = y - p.top;
          const bool inside = fromX >= 0 && fromY >= 0 && fromX < in.width && fromY < in.height;
          const float limit = sizeof(T) == 1 ? 255 : 4095;
          want.at(x, y, c) =
              inside ? in.at(fromX, fromY, c) : stored<T>(std::min(values[c], limit));
        }
      }
    }
    const auto run = [&](const MirlImage& source, MirlImage& out) {
      if (sizeof(T) == 2) const_cast<MirlImage&>(source).setDataBits(12);
      return padImage(source, out, p.top, p.bottom, p.left, p.right, values);
    };
    expectInto(run, in, want, pitch, outPitch);
    MirlImage made;
    const MirlImage source = toImage(in, pitch);
    ASSERT_EQ(run(source, made), MIRL_SUCCESS);
    EXPECT_TRUE(holds(made, want));
  };
  const Pads all[] = {{0, 0, 0, 0}, {1, 0, 0, 0},  {0, 3, 0, 0},     {0, 0, 1, 0},
                      {0, 0, 0, 5}, {2, 3, 17, 1}, {7, 1, 100, 333}, {1, 1, 5, 16}};
  for (const int channels : {1, 3}) {
    for (const auto& [width, height] : awkwardSizes()) {
      for (const Pads& p : all) {
        expectPadded(randomPixels<Byte>(width, height, channels, 1), p);
        expectPadded(randomPixels<Word>(width, height, channels, 2), p);
      }
    }
    const auto in = randomPixels<Byte>(61, 7, channels, 3);
    forOddPitches(in.rowBytes(), in.rowBytes() + 22 * channels, [&](int pitch, int outPitch) {
      expectPadded(in, {2, 3, 17, 5}, pitch, outPitch);
    });
  }
  const PastCaches past;
  expectPadded(randomPixels<Byte>(4099, 43, 3, 4), {60, 3, 11, 45});
}

TEST_P(ChannelsAndPads, WhatCannotBePadded) {
  const MirlImage empty, good(4, 3, MIRL_8U_C1), padded(7, 5, MIRL_8U_C1), colour(7, 5, MIRL_8U_C3),
      floats(4, 3, MIRL_32F_C4), signedBytes(4, 3, MIRL_8S_C3);
  const float value[4] = {};
  const Pads p{1, 1, 2, 1};
  constexpr int kMost = INT32_MAX;
  const struct {
    const char* what;
    const MirlImage &source, &out;
    Pads pads;
    MirlStatus status = MIRL_INVALID_ARGUMENT;
    bool creates = false;
  } cases[] = {
      {"negative", good, padded, {1, 1, -1, 4}},
      {"negative above", good, padded, {-1, 3, 2, 1}},
      {"least", good, empty, {INT32_MIN, 0, 0, 0}},
      {"overflow", good, empty, {0, 0, kMost, kMost}},
      {"size before format", good, colour, {1, 1, 2, 2}},
      {"height", good, padded, {2, 1, 2, 1}},
      {"too wide a row", floats, empty, {0, 0, kMost - 4, 0}},
      {"itself, padded", good, good, p},
      {"depth before channels", floats, empty, p, MIRL_DEPTH_NOT_SUPPORTED, true},
      {"nothing", signedBytes, empty, p, MIRL_SUCCESS, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string("wrong: ") + c.what);
    expectStatus(c.out, c.status, c.creates, [&](MirlImage& out) {
      return padImage(c.source, out, c.pads.top, c.pads.bottom, c.pads.left, c.pads.right, value);
    });
  }
  // Channels that have no fill: the copy has been made by then.
  const auto four = randomPixels<Byte>(4, 3, 4, 1);
  MirlImage out(7, 5, MIRL_8U_C4), inside;
  EXPECT_EQ(padImage(toImage(four), out, 1, 1, 2, 1, value), MIRL_CHANNELS_NOT_SUPPORTED);
  ASSERT_EQ(out.copyTo(inside, {0, 0}, {2, 1, 4, 3}), MIRL_SUCCESS);
  EXPECT_TRUE(holds(inside, four));
  {
    const FailNth fail(runtime::Call::copy);
    EXPECT_EQ(padImage(inside, out, 1, 1, 2, 1, value), MIRL_COPY_D2D_FAILED);
  }
  MirlImage red = toImage(four)[2];
  const Bytes before = bytesOf(red);
  EXPECT_EQ(padImage(red, red, 0, 0, 0, 0, value), MIRL_SUCCESS);
  EXPECT_EQ(bytesOf(red), before);
}

template <class T>
T limited(T element, double low, double high) {
  const auto e = static_cast<float>(element), lower = static_cast<float>(low),
             upper = static_cast<float>(high);
  return stored<T>(e < lower ? lower : e > upper ? upper : e);
}

TEST_P(ChannelsAndPads, Thresholds) {
  const struct {
    double lower, upper;
  } limits[] = {{0, 255},      {0, 65535},   {50, 50},     {10.7, 200.2}, {100, 20},
                {10.7, 10.2},  {300, 310},   {-5, -1},     {-0.5, 0.5},   {0.5, 255.5},
                {kNan, 100},   {100, kNan},  {kNan, kNan}, {-kInf, kInf}, {kInf, -kInf},
                {254.5, 255},  {255, 0},     {256, 0},     {1, 0},        {0.25, 0},
                {1000, 60000}, {65534.5, 0}, {10.7, 5.2},  {65536, 1e30}, {0x1p24 + 1, 1e300}};
  for (const auto& [low, high] : limits) {
    SCOPED_TRACE(testing::Message() << low << " to " << high);
    const auto check = [low = low, high = high]<class T>(T) {
      const Pixels<T> in(1, awkwardValues<T>());
      const auto formula = each<T>(1, [&](T e) { return limited<T>(e, low, high); });
      expectInto([&](const auto& source, auto& out) { return threshold(source, out, low, high); },
                 in, mapped<T>(in, 1, formula));
    };
    check(Byte{});
    check(Word{});
  }
  // Limits of their own for each channel.
  const MirlScalar lower(20.5, 100.0, 0.0), upper(180.0, 90.0, 60000.5);
  const auto run = [&](const MirlImage& in, MirlImage& out) {
    return threshold(in, out, lower, upper);
  };
  const auto check = [&]<class T>(T) {
    for (const int channels : {1, 3}) {
      expectPointwise<T, T>(run, channels, channels, [&](const T* in, T* out) {
        for (int c = 0; c < channels; ++c) {
          out[c] = limited<T>(in[c], lower[c], upper[c]);
        }
      });
    }
  };
  check(Byte{});
  check(Word{});
}

}  // namespace
}  // namespace mirl::test
