// Tone curves and tables: gamma, logarithm, tables on the device and on the host, thresholds.

#include <algorithm>
#include <cmath>
#include <memory>

#include "pointwise_support.h"

namespace mirl::test {
namespace {

using namespace colorOperations;

MIRL_DEVICE_TESTS(ToneCurves);

constexpr MirlStatus kNoType = MIRL_TYPE_NOT_SUPPORTED, kMismatch = MIRL_MISMATCH;

/// Every value once.
template <class T>
Pixels<T> allOf(int width, int height) {
  Pixels<T> all(width, height, 1);
  for (std::size_t i = 0; i < all.values.size(); ++i) all.values[i] = static_cast<T>(i);
  return all;
}
const Pixels<Byte> kBytes = allOf<Byte>(256, 1);
const Pixels<Word> kWords = allOf<Word>(256, 256);

auto gammaBy(float gamma) {
  return with(gammaCorrect, gamma);
}
auto logBy(float scale) {
  return with(logTransform, scale);
}

TEST_P(ToneCurves, GammaIsAPower) {
  for (const float gamma : {0.1f, 0.45f, 0.5f, 1.0f, 1.8f, 2.2f, 5.0f, 300.0f}) {
    const auto formula = [&](const Byte* in, Byte* out) {
      const float power = static_cast<float>(
          std::pow(static_cast<long double>(*in / 255.0f), static_cast<long double>(1.0f / gamma)));
      *out = stored<Byte>(power * 255.0f);
    };
    expectInto(gammaBy(gamma), kBytes, mapped<Byte>(kBytes, 1, formula));
  }
  expectInto(gammaBy(1), kBytes, kBytes);
  expectInto(gammaBy(2), Pixels<Byte>(1, {0, 1, 64, 255}), Pixels<Byte>(1, {0, 15, 127, 255}));
  expectInto(gammaBy(0.5f), Pixels<Byte>(3, {15, 128, 254}), Pixels<Byte>(3, {0, 64, 253}));
  const Pixels<Byte> some(1, {0, 1, 254, 255});
  for (const float none : {0.0f, std::nanf(""), 1e-30f}) {
    expectInto(gammaBy(none), some, Pixels<Byte>(1, {0, 0, 0, 255}));
  }
  for (const float all : {-0.0f, -1.0f, INFINITY, -INFINITY}) {
    expectInto(gammaBy(all), some, Pixels<Byte>(1, {255, 255, 255, 255}));
  }
}

/// What the host device makes of it, wherever the test runs.
template <class T>
Pixels<float> logOnHost(const Pixels<T>& in, float scale) {
  const int here = device::getCurentDevice();
  device::setCurrentDevice(device::getDeviceCount() - 1);
  MirlImage out;
  EXPECT_EQ(logTransform(toImage(in), out, scale), MIRL_SUCCESS);
  device::setCurrentDevice(here);
  return fromImage<float>(out);
}

template <class T>
void expectLogarithms(const Pixels<T>& in) {
  const Pixels<float> out = logOnHost(in, 1);
  for (std::size_t i = 0; i < in.values.size(); ++i) {
    const double exact = std::log(double{in.values[i] + 1.0f});
    int exponent = 0;
    std::frexp(exact, &exponent);
    const double unit = exact == 0 ? 1e-45 : std::ldexp(1.0, exponent - 24);
    ASSERT_LE(std::fabs(out.values[i] - exact), unit) << +in.values[i];
  }
  expectInto(logBy(1), in, out);
}

TEST_P(ToneCurves, LogarithmsAreWithinOneUnit) {
  expectLogarithms(kWords);
  expectLogarithms(kBytes);
  std::vector<float> floats;
  for (float x = 1e-9f; x < 3e38f; x *= 1.0003f) floats.push_back(x);
  for (float x = 1e-9f; x < 1; x *= 1.0002f) floats.push_back(-x);
  expectLogarithms(Pixels<float>(1, floats));
}

TEST_P(ToneCurves, LogarithmsByHand) {
  expectInto(logBy(3), Pixels<Byte>(1, {0}), Pixels<float>(1, {0}));
  expectInto(logBy(1), Pixels<Byte>(3, {255, 0, 1}),
             Pixels<float>(3, {5.545177444f, 0, 0.6931471806f}));
  expectInto(logBy(-2), Pixels<Word>(1, {65535}), Pixels<float>(1, {-22.18070978f}));
  expectInto(logBy(0.5f), Pixels<float>(1, {-1, -1.5f, -INFINITY, INFINITY, NAN, 3}),
             Pixels<float>(1, {-INFINITY, NAN, NAN, INFINITY, NAN, 0.6931471806f}));
}

auto tableBy(const MirlImage& table) {
  return [&](const MirlImage& in, MirlImage& out) { return LUT(in, table, out); };
}

TEST_P(ToneCurves, TablesOnTheDevice) {
  const auto one = randomPixels<Byte>(256, 1, 1, 7), three = randomPixels<Byte>(768, 1, 3, 8);
  const MirlImage single = toImage(one), triple = toImage(three);
  for (const int channels : {1, 3}) {
    SCOPED_TRACE(channels);
    expectPointwise<Byte, Byte>(tableBy(single), channels, channels,
                                each<Byte>(channels, [&](std::size_t x) { return one.values[x]; }));
    expectPointwise<Byte, Byte>(tableBy(triple), channels, channels, [&](const Byte* in, Byte* t) {
      for (int c = 0; c < channels; ++c) {
        t[c] = three.values[static_cast<std::size_t>(in[c] * channels + c)];
      }
    });
  }
  MirlImage self = toImage(one), out;
  EXPECT_EQ(LUT(self, self, out), MIRL_SUCCESS) << "through itself";
  EXPECT_TRUE(holds(
      out, mapped<Byte>(one, 1, each<Byte>(1, [&](std::size_t x) { return one.values[x]; }))));
}

TEST_P(ToneCurves, WhatIsNoTable) {
  const MirlStream dead = deadStream();
  for (const Format& format : allFormats()) {
    const int entries = format.depth == 8 ? 256 : 65536;
    const int right = entries * format.channels;
    const bool type = (format.depth == 8 || format.depth == 16) && format.channels % 2 == 1;
    const MirlImage source(9, 4, format.depth, 1);
    for (const MirlSize& size : {MirlSize(right, 1), MirlSize(right - 1, 1), MirlSize(right + 1, 1),
                                 MirlSize(right, 2), MirlSize(1, right)}) {
      MirlImage table(size, format.type), out;
      const bool good = type && size.width == right && size.height == 1;
      const MirlStatus served = format.depth == 8 ? MIRL_SUCCESS : kNoType;
      EXPECT_EQ(LUT(source, table, out), good ? served : MIRL_INVALID_ARGUMENT)
          << format.type << ", " << size.width << "x" << size.height;
      EXPECT_EQ(out.isInitialized(), good);
      EXPECT_EQ(LUT(MirlImage(9, 4, 32, 1), table, out, dead),
                good ? kMismatch : MIRL_INVALID_ARGUMENT);
    }
  }
  MirlImage table(256, 1, MIRL_8U_C1);
  for (const Format& in : allFormats()) {
    const MirlImage source(9, 4, in.type);
    const bool bytes = source.depth() == 8, served = isServed(in) && bytes;
    for (const Format& out : allFormats()) {
      expectStatus(MirlImage(9, 4, out.type),
                   !bytes || in.type != out.type ? kMismatch
                   : served                      ? MIRL_SUCCESS
                                                 : kNoType,
                   false, [&](MirlImage& image) { return LUT(source, table, image); });
    }
    MirlImage made;
    EXPECT_EQ(LUT(source, table, made), !bytes ? kMismatch : served ? MIRL_SUCCESS : kNoType);
    EXPECT_EQ(made.type(), bytes ? in.type : -1);
  }
  EXPECT_EQ(LUT(MirlImage(256, 1, MIRL_8U_C1), table, table), MIRL_IN_PLACE_NOT_SUPPORTED);
}

/// Host tables of exactly as many entries as there are.
struct HostTables {
  explicit HostTables(int bits, unsigned seed = 1) {
    for (auto& table : of) {
      const auto noise = randomPixels<Word>(1 << bits, 1, 1, seed++);
      table = std::make_unique<Word[]>(noise.values.size());
      std::copy(noise.values.begin(), noise.values.end(), table.get());
    }
  }
  MirlStatus operator()(const MirlImage& in, MirlImage& out,
                        const MirlStream& stream = MirlStream()) const {
    return blackGammaLUT(in, out, of[0].get(), of[1].get(), of[2].get(), stream);
  }
  template <class T>
  auto formula(int bits) const {
    return [=, this](const T* in, T* out) {
      const int last = (1 << bits) - 1;
      for (int c = 0; c < 3; ++c)
        out[c] = static_cast<T>(std::min<int>(of[c][std::min<int>(in[c], last)], last));
    };
  }
  std::unique_ptr<Word[]> of[3];
};

TEST_P(ToneCurves, TablesOnTheHost) {
  const auto check = []<class T>(T, int bits) {
    SCOPED_TRACE(bits);
    const HostTables tables(bits);
    const auto run = [&](const MirlImage& in, MirlImage& out) {
      EXPECT_EQ(const_cast<MirlImage&>(in).setDataBits(bits), MIRL_SUCCESS);
      return tables(in, out);
    };
    const auto pixels = randomPixels<T>(509, 251, 3, 1);
    expectInto(run, pixels, mapped<T>(pixels, 3, tables.formula<T>(bits)));
  };
  for (const int bits : {0, 1, 6, 8}) check(Byte{}, bits);
  for (const int bits : {0, 5, 12, 16}) check(Word{}, bits);
}

TEST_P(ToneCurves, HostTablesMayGoWhenTheCallReturns) {
  const auto pixels = randomPixels<Word>(1001, 301, 3, 1);
  const MirlImage source = toImage(pixels);
  onThreads(2, [&](int thread) {
    const MirlStream stream(true);
    for (unsigned seed = 0; seed < 4; ++seed) {
      HostTables tables(16, 100 * seed + static_cast<unsigned>(thread));
      const auto want = mapped<Word>(pixels, 3, tables.formula<Word>(16));
      MirlImage out;
      EXPECT_EQ(tables(source, out, stream), MIRL_SUCCESS);
      for (auto& table : tables.of) std::fill_n(table.get(), 65536, Word{1});
      stream.sync();
      EXPECT_TRUE(holds(out, want)) << seed;
    }
  });
}

TEST_P(ToneCurves, HostTablesAndFormats) {
  Word table[1 << 16] = {};
  MirlImage source(5, 3, MIRL_16U_C3), out(5, 3, MIRL_16U_C3), made;
  for (int null = 0; null < 3; ++null) {
    Word* t[] = {table, table, table};
    t[null] = nullptr;
    EXPECT_EQ(blackGammaLUT(source, made, t[0], t[1], t[2]), MIRL_NULL_POINTER);
  }
  source.setDataBits(12);
  EXPECT_EQ(blackGammaLUT(source, made, table, table, table), MIRL_SUCCESS);
  EXPECT_EQ(made.dataBits(), 12);
  EXPECT_EQ(blackGammaLUT(source, out, table, table, table), MIRL_SUCCESS);
  EXPECT_EQ(out.dataBits(), 16) << "a live destination keeps its own";
}

auto binaryAt(float level, MirlChannelSeq sequence = MIRL_CHANNELSEQ_BGR) {
  return [=](const MirlImage& in, MirlImage& out) {
    const_cast<MirlImage&>(in).setChannelSequence(sequence);
    return imageBinary(in, out, level);
  };
}

auto binaryFormula(int threshold, float first, float third) {
  return [=](const Byte* in, Byte* out) {
    const float c0 = in[0], c1 = in[1], c2 = in[2];
    const float gray = c1 * 0.59f + c0 * first + c2 * third;
    *out = static_cast<int>(gray) >= threshold ? 255 : 0;
  };
}

TEST_P(ToneCurves, BinaryLevels) {
  const struct {
    float level;
    int threshold;
  } levels[] = {{0.5f, 127}, {0, 0},          {1, 255}, {0.999f, 254}, {2, 255},
                {-1, 0},     {INFINITY, 255}, {NAN, 0}, {0.1f, 25},    {-INFINITY, 0}};
  const auto colours = randomPixels<Byte>(509, 251, 3, 1);
  for (const auto& [level, at] : levels) {
    SCOPED_TRACE(level);
    const auto gray = each<Byte>(1, [at = at](int x) { return x >= at ? 255 : 0; });
    expectInto(binaryAt(level), kBytes, mapped<Byte>(kBytes, 1, gray));
    expectInto(binaryAt(level), colours, mapped<Byte>(colours, 1, binaryFormula(at, 0.11f, 0.3f)));
    expectInto(binaryAt(level, MIRL_CHANNELSEQ_RGB), colours,
               mapped<Byte>(colours, 1, binaryFormula(at, 0.3f, 0.11f)));
  }
  expectInto(binaryAt(0.5f), Pixels<Byte>(3, {128, 128, 128, 255, 0, 0, 0, 255, 0, 13, 133, 157}),
             Pixels<Byte>(1, {255, 0, 255, 255}));
}

TEST_P(ToneCurves, BinaryOfOtherSequencesWritesNothing) {
  for (int sequence = -1; sequence <= 6; ++sequence) {
    MirlImage source(5, 3, MIRL_8U_C3), out(5, 3, MIRL_8U_C1);
    fillBlock(out);
    source.setChannelSequence(static_cast<MirlChannelSeq>(sequence));
    EXPECT_EQ(imageBinary(source, out, 0), MIRL_SUCCESS);
    EXPECT_EQ(!untouched(out), sequence == 0 || sequence == 1) << sequence;
  }
}

}  // namespace
}  // namespace mirl::test
