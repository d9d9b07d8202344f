// FPNCorrection, fpn, borderMask: numbers, padding, margins, statuses.

#include <algorithm>

#include "support.h"

namespace mirl::test {
namespace {

using namespace colorOperations;

MIRL_DEVICE_TESTS(SensorCorrections);

/// Calls visit(T, channels) for what FPNCorrection and borderMask serve.
template <class Visit>
void forEachServed(const Visit& visit) {
  for (const int channels : {1, 3}) {
    visit(Byte{}, channels);
    visit(Word{}, channels);
  }
}

template <class T>
Pixels<T> corrected(const Pixels<T>& source, const Pixels<T>& flat, const Pixels<T>& dark,
                    float gain, int maximum) {
  Pixels<T> out = source;
  for (std::size_t i = 0; i < out.values.size(); ++i) {
    const float s = source.values[i], f = flat.values[i], d = dark.values[i];
    out.values[i] = stored<T>(std::min(((s - d) * gain) / (f - d), static_cast<float>(maximum)));
  }
  return out;
}

/// Corrects into a live image with a guard, or in place of one of the inputs.
template <class T>
void expectCorrected(const Pixels<T>& source, const Pixels<T>& flat, const Pixels<T>& dark,
                     float gain, const Pixels<T>& want, int bits = sizeof(T) * 8) {
  MirlImage f = toImage(flat), d = toImage(dark), s = toImage(source, source.rowBytes() + 1);
  ASSERT_EQ(s.setDataBits(bits), MIRL_SUCCESS);
  const auto run = [&](const MirlImage& in, MirlImage& out) {
    MirlImage& sameBits = const_cast<MirlImage&>(in);
    sameBits.setDataBits(bits);
    return FPNCorrection(in, out, f, d, gain);
  };
  expectInto(run, source, want);
  for (MirlImage* out : {&s, &f, &d}) {
    MirlImage kept = *out;
    kept.setDataBits(bits);
    ASSERT_EQ(FPNCorrection(s, *out, f, d, gain), MIRL_SUCCESS);
    EXPECT_TRUE(holds(*out, want));
    ASSERT_EQ(kept.copyTo(*out, {0, 0}, {0, 0, kept.width(), kept.height()}), MIRL_SUCCESS);
  }
}

TEST_P(SensorCorrections, FlatFieldByHand) {
  const Pixels<Byte> source(1, {20, 120, 70, 25, 20, 10, 10, 45}),
      flat(1, {120, 120, 120, 20, 20, 40, 15, 120}), dark(1, {20, 20, 20, 20, 20, 20, 20, 20});
  const auto expect = [&](float gain, const std::vector<Byte>& want, int bits = 8) {
    expectCorrected(source, flat, dark, gain, Pixels<Byte>(1, want), bits);
  };
  expect(100.7f, {0, 100, 50, 255, 0, 0, 201, 25});
  expect(300, {0, 255, 150, 255, 0, 0, 255, 75}, 6);
  expect(-1, {0, 0, 0, 0, 0, 0, 0, 0});
  expect(NAN, {0, 0, 0, 0, 0, 0, 0, 0});
  expectCorrected(Pixels<Word>(3, {600, 601, 100}), Pixels<Word>(3, {1100, 1100, 1100}),
                  Pixels<Word>(3, {100, 100, 100}), 8190, Pixels<Word>(3, {4095, 4095, 0}), 12);
}

TEST_P(SensorCorrections, FlatFieldOfEverySize) {
  forEachServed([]<class T>(T, int channels) {
    auto sizes = awkwardSizes();
    sizes.push_back({2500, 2003});
    for (const auto& [width, height] : sizes) {
      const auto source = randomPixels<T>(width, height, channels, 1),
                 flat = randomPixels<T>(width, height, channels, 2),
                 dark = randomPixels<T>(width, height, channels, 3);
      const int bits = sizeof(T) == 1 ? 8 : 14;
      const auto want = corrected(source, flat, dark, 1000.3f, (1 << bits) - 1);
      expectCorrected(source, flat, dark, 1000.3f, want, bits);
    }
  });
}

// All pairs of a byte and an offset.
TEST_P(SensorCorrections, OffsetsOfWholeBuffers) {
  Bytes bytes(65536), offsets(65536), want(65536);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<unsigned char>(i % 256);
    offsets[i] = static_cast<unsigned char>(i / 256);
    const int offset = i / 256 < 128 ? static_cast<int>(i / 256) : static_cast<int>(i / 256) - 256;
    want[i] = static_cast<unsigned char>(std::max(static_cast<int>(i % 256) - offset, 0));
  }
  ASSERT_EQ(want[(256 - 10) * 256 + 250], 4);
  // Most of a row is padding, and the types don't matter.
  const auto image = [](int depth, const Bytes& block) {
    MirlImage made(1, 128, 512, depth, 1);
    EXPECT_EQ(made.upload(block.data()), MIRL_SUCCESS);
    return made;
  };
  for (int alias = 0; alias < 3; ++alias) {
    MirlImage images[] = {image(-8, want), image(16, bytes), image(-32, offsets)};
    ASSERT_EQ(fpn(images[alias], images[1], images[2]), MIRL_SUCCESS);
    Bytes out(65536);
    ASSERT_EQ(images[alias].download(out.data()), MIRL_SUCCESS);
    EXPECT_EQ(out, want) << alias;
  }
}

struct Margins {
  int top, bottom, left, right;
};

template <class T>
Pixels<T> masked(const Pixels<T>& in, const Margins& m, const std::vector<int>& value) {
  Pixels<T> out = in;
  for (int y = 0; y < in.height; ++y) {
    for (int x = 0; x < in.width; ++x) {
      if (x < in.width - m.right && y < in.height - m.bottom && y >= m.top && x >= m.left) continue;
      for (int c = 0; c < in.channels; ++c) {
        out.at(x, y, c) = static_cast<T>(value[static_cast<std::size_t>(c)]);
      }
    }
  }
  return out;
}

TEST_P(SensorCorrections, MasksOfEveryKind) {
  const float value[] = {300.9f, -1.5f, 70000.0f};
  forEachServed([&]<class T>(T, int channels) {
    const std::vector<int> wrapped =
        sizeof(T) == 1 ? std::vector<int>{44, 255, 112} : std::vector<int>{300, 65535, 4464};
    const auto expectMasked = [&](int width, int height, const Margins& m, int pitch = 0,
                                  int outPitch = 0) {
      SCOPED_TRACE(testing::Message() << width << "x" << height << ": " << m.top << ", " << m.bottom
                                      << ", " << m.left << ", " << m.right);
      const auto in = randomPixels<T>(width, height, channels, 1);
      const auto want = masked(in, m, wrapped);
      const auto run = [&](const MirlImage& source, MirlImage& out) {
        return borderMask(source, out, m.top, m.bottom, m.left, m.right, value);
      };
      expectInto(run, in, want, pitch, outPitch);
      MirlImage inPlace = toImage(in, pitch), made;
      ASSERT_EQ(run(inPlace, made), MIRL_SUCCESS);
      EXPECT_TRUE(holds(made, want));
      ASSERT_EQ(run(inPlace, inPlace), MIRL_SUCCESS);
      EXPECT_TRUE(holds(inPlace, want));
    };
    for (const auto& [width, height] : awkwardSizes()) {
      const Margins all[] = {{0, 0, 0, 0},
                             {height, 0, 0, 0},
                             {0, height, 0, width},
                             {height / 2, height - height / 2, 0, 0},
                             {0, 0, width / 3, width - width / 3},
                             {height / 3, height / 4, width / 5, width / 3},
                             {0, height / 2, width / 2, 0}};
      for (const Margins& m : all) expectMasked(width, height, m);
    }
    const int row = 113 * channels * static_cast<int>(sizeof(T));
    forOddPitches(row, row, [&](int pitch, int outPitch) {
      expectMasked(113, 9, {1, 2, 17, 5}, pitch, outPitch);
    });
    expectMasked(4100, 4001, {100, 7, 333, 1});
  });
  // What is no number, and numbers that no integer holds.
  const float odd[] = {NAN, INFINITY, 0x1.000002p22f};
  MirlImage out;
  ASSERT_EQ(borderMask(toImage(Pixels<Byte>(3, {1, 2, 3})), out, 1, 0, 0, 0, odd), MIRL_SUCCESS);
  EXPECT_TRUE(holds(out, Pixels<Byte>(3, {0, 0, 0})));
}

TEST_P(SensorCorrections, WhatDoesNotFit) {
  const MirlImage empty, good(4, 3, MIRL_8U_C1), wide(5, 3, MIRL_8U_C1), tall(4, 4, MIRL_8U_C1),
      deep(4, 3, MIRL_16U_C1), colour(4, 3, MIRL_8U_C3), four(4, 3, MIRL_16U_C4),
      float4(4, 3, MIRL_32F_C4);
  const float value[3] = {};
  const std::pair<const MirlImage&, const MirlImage&> frames[] = {
      {wide, good}, {colour, good}, {good, tall}, {good, deep}};
  for (const auto& [flat, dark] : frames) {
    expectStatus(empty, MIRL_MISMATCH, false, [&, &f = flat, &d = dark](MirlImage& out) {
      return FPNCorrection(good, out, f, d, 1);
    });
  }

  const struct {
    const char* what;
    const MirlImage &source, &out;
    Margins m;
    MirlStatus status;
    bool creates = false;
  } masks[] = {
      {"depth", float4, empty, {-1, 0, 0, 0}, MIRL_DEPTH_NOT_SUPPORTED, true},
      {"too wide", four, empty, {0, 0, 2, 3}, MIRL_INVALID_ARGUMENT, true},
      {"too tall", good, good, {4, 0, 0, 0}, MIRL_INVALID_ARGUMENT},
      {"negative", good, good, {0, 0, -1, 5}, MIRL_INVALID_ARGUMENT},
      {"overflow", good, good, {0, 0, INT32_MAX, INT32_MAX}, MIRL_INVALID_ARGUMENT},
      {"least", good, good, {INT32_MIN, INT32_MIN, 0, 0}, MIRL_INVALID_ARGUMENT},
  };
  for (const auto& c : masks) {
    SCOPED_TRACE(std::string("wrong: ") + c.what);
    expectStatus(c.out, c.status, c.creates, [&](MirlImage& out) {
      return borderMask(c.source, out, c.m.top, c.m.bottom, c.m.left, c.m.right, value);
    });
  }

  const MirlImage padded(4, 3, good.pitch() + 1, 8, 1);
  EXPECT_EQ(fpn(const_cast<MirlImage&>(empty), good, good), MIRL_IMAGE_NOT_INITIALIZED);
  for (const auto& [source, offsets, status] :
       {std::tuple(&empty, &tall, MIRL_IMAGE_NOT_INITIALIZED),
        std::tuple(&tall, &empty, MIRL_IMAGE_NOT_INITIALIZED),
        std::tuple(&tall, &good, MIRL_MISMATCH), std::tuple(&good, &tall, MIRL_MISMATCH),
        std::tuple(&padded, &good, MIRL_MISMATCH), std::tuple(&good, &padded, MIRL_MISMATCH)}) {
    expectStatus(good, status, false,
                 [&, s = source, o = offsets](MirlImage& out) { return fpn(out, *s, *o); });
  }
}

}  // namespace
}  // namespace mirl::test
