// dehaze and lowlight: every light, the edge that is left alone, in place.

#include <mirl/colorEnhancement.h>

#include <array>
#include <climits>
#include <limits>

#include "support.h"

namespace mirl::test {
namespace {

using colorOperations::dehaze;
using colorOperations::lowlight;
using Light = std::array<int, 3>;

MIRL_DEVICE_TESTS(Dehaze);

float lesser(float a, float b) {
  return b < a ? b : a;
}

template <class T>
Pixels<T> negative(Pixels<T> pixels) {
  for (T& sample : pixels.values) {
    sample = static_cast<T>(std::numeric_limits<T>::max() - sample);
  }
  return pixels;
}

/// Step by step, with divisions as they stand, into what the destination holds already.
template <class T>
Pixels<T> cleared(const Pixels<T>& in, const Light& light, Pixels<T> out) {
  const float limit = std::numeric_limits<T>::max();
  Pixels<float> dark(in.width, in.height, 1);
  for (int y = 0; y < in.height; ++y) {
    for (int x = 0; x < in.width; ++x) {
      const auto share = [&](int c) {
        return static_cast<float>(in.at(x, y, c)) /
               static_cast<float>(light[static_cast<std::size_t>(c)]);
      };
      dark.at(x, y) = lesser(lesser(share(0), share(1)), share(2));
    }
  }
  for (int y = 1; y < in.height - 1; ++y) {
    for (int x = 1; x < in.width - 1; ++x) {
      float sum = 0, least = limit;
      for (int i = x - 1; i <= x + 1; ++i) {
        for (int j = y - 1; j <= y + 1; ++j) {
          sum += dark.at(i, j);
          least = lesser(least, dark.at(i, j));
        }
      }
      const float mean = sum / 9.0f;
      const float t = lesser(1.0f - 0.8f * (dark.at(x, y) < mean ? least : mean), 1.0f);
      for (int c = 0; c < 3; ++c) {
        const int a = light[static_cast<std::size_t>(c)];
        const std::int64_t exact = std::int64_t{in.at(x, y, c)} - a;
        const float above = static_cast<float>(static_cast<std::int32_t>(exact));
        const float v = above / t + static_cast<float>(a);
        out.at(x, y, c) = static_cast<T>(v >= limit ? limit : v > 0 ? v : 0.0f);
      }
    }
  }
  return out;
}

template <class T>
void check(const Pixels<T>& in, const Light& light, int pitch, int outPitch) {
  SCOPED_TRACE(testing::Message() << in.width << "x" << in.height << " of " << sizeof(T)
                                  << " bytes, light " << light[0] << ", pitch " << pitch);
  const auto run = [&](MirlImage& from, MirlImage& to, const Pixels<T>& want, bool lights) {
    ASSERT_EQ(lights ? lowlight(from, to) : dehaze(from, to, light[0], light[1], light[2]),
              MIRL_SUCCESS);
    EXPECT_TRUE(holds(to, want)) << (lights ? "lowlight" : "dehaze") << (&from == &to);
  };
  const auto before = randomPixels<T>(in.width, in.height, 3, 99);
  const int white = std::numeric_limits<T>::max();
  const auto bright = negative(cleared(negative(in), {white, white, white}, in));
  MirlImage source = toImage(in, pitch), out = toImage(before, outPitch), created;
  fillBlock(out);
  ASSERT_EQ(out.upload(before.values.data(), before.rowBytes()), MIRL_SUCCESS);
  run(source, out, cleared(in, light, before), false);
  EXPECT_TRUE(paddingUntouched(out));
  run(source, created, bright, true);
  EXPECT_TRUE(holds(source, in));
  run(source, out, bright, true);
  MirlImage again = source;
  run(again, again, cleared(in, light, in), false);
  run(source, source, bright, true);
}

/// Samples of a foggy photo, smooth enough for either branch, or of any value.
template <class T>
Pixels<T> foggy(const MirlSize& size, unsigned seed, bool smooth) {
  auto pixels = randomPixels<T>(size.width, size.height, 3, seed);
  const int white = std::numeric_limits<T>::max();
  for (std::size_t i = 0; smooth && i < pixels.values.size(); ++i) {
    const int value = white / 3 + static_cast<int>(i / 3 % 97) * white / 400;
    pixels.values[i] = static_cast<T>(value + pixels.values[i] / 8);
  }
  return pixels;
}

TEST_P(Dehaze, EverySizePitchAndLight) {
  const auto checkAll = [](auto sample) {
    using T = decltype(sample);
    constexpr int white = std::numeric_limits<T>::max();
    unsigned seed = 1;
    auto sizes = awkwardSizes();
    for (const MirlSize& size : {MirlSize(2, 2), MirlSize(3, 3), MirlSize(1026, 34)}) {
      sizes.push_back(size);
    }
    for (const MirlSize& size : sizes) {
      check(foggy<T>(size, ++seed, true), {white * 4 / 5, white * 5 / 6, white * 6 / 7}, 0, 0);
    }
    const auto in = foggy<T>({61, 7}, 3, true);
    forOddPitches(in.rowBytes(), in.rowBytes(), [&](int pitch, int outPitch) {
      check(in, {white - 30, white, white - 5}, pitch, outPitch);
    });
    for (const int light : {0, 1, -1, 7, white / 2, white, 100000, 16777217, INT_MAX, INT_MIN}) {
      auto any = foggy<T>({67, 23}, 5, false);
      for (std::size_t i = 0; i < any.values.size() / 2; ++i) any.values[i] &= 1;
      check(any, {light, light, light}, 0, 0);
      check(any, {light, white, 1}, 0, 0);
    }
  };
  checkAll(Byte{});
  checkAll(Word{});
}

TEST_P(Dehaze, LiteralExamples) {
  const auto centre = [](Byte value, int light) {
    MirlImage out;
    EXPECT_EQ(dehaze(toImage(Pixels<Byte>(3, 3, 3, value)), out, light, light, light),
              MIRL_SUCCESS);
    return static_cast<int>(fromImage<Byte>(out).at(1, 1));
  };
  EXPECT_EQ(centre(0, 255), 0);     // t is 1
  EXPECT_EQ(centre(150, 200), 74);  // t is 0.39999998: -50 / t + 200 is below 75
  EXPECT_EQ(centre(50, 200), 12);   // t is 0.8: -150 / 0.8 + 200 is 12.5
  EXPECT_EQ(centre(100, 200), 33);  // t is 0.6: -100 / 0.6 + 200 is 33.3
  EXPECT_EQ(centre(255, 200), 0);   // t is -0.02
  EXPECT_EQ(centre(0, 0), 0);       // 0 / 0
}

}  // namespace
}  // namespace mirl::test
