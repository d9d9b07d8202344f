// fft2, fftShift and fftGetProperty: every frequency, quadrants, values and angles.

#include <algorithm>
#include <complex>
#include <numbers>

#include "support.h"
#if MIRL_CUDA_SIMULATED
#include <cufft.h>
#endif

namespace mirl::test {
namespace {

using imageTransforms::fft2;
using imageTransforms::fftGetProperty;
using imageTransforms::fftShift;
using Number = std::complex<double>;
using Numbers = std::vector<Number>;

class Fourier : public DeviceTest {};

/// By the definition.
Numbers transformOf(const Numbers& line) {
  const std::size_t n = line.size();
  Numbers roots(n), made(n);
  for (std::size_t k = 0; k < n; ++k) {
    const double turns = static_cast<double>(k) / static_cast<double>(n);
    roots[k] = std::polar(1.0, -2 * std::numbers::pi * turns);
  }
  for (std::size_t k = 0; k < n; ++k) {
    for (std::size_t i = 0; i < n; ++i) made[k] += line[i] * roots[i * k % n];
  }
  return made;
}

/// Row by row, then column by column.
std::vector<Numbers> spectrumOf(const Pixels<Byte>& in) {
  std::vector<Numbers> rows;
  for (int y = 0; y < in.height; ++y) {
    Numbers line;
    for (int x = 0; x < in.width; ++x) line.emplace_back(in.at(x, y));
    rows.push_back(transformOf(line));
  }
  for (std::size_t x = 0; x < rows[0].size(); ++x) {
    Numbers column;
    for (const Numbers& row : rows) column.push_back(row[x]);
    column = transformOf(column);
    for (std::size_t y = 0; y < rows.size(); ++y) rows[y][x] = column[y];
  }
  return rows;
}

void checkSpectrum(const Pixels<Byte>& in, int pitch, int outPitch) {
  SCOPED_TRACE(testing::Message() << in.width << "x" << in.height << ", pitches " << pitch
                                  << " and " << outPitch);
  MirlImage out = toImage(Pixels<float>(in.width, in.height, 2), outPitch);
  fillBlock(out);
  ASSERT_EQ(fft2(toImage(in, pitch), out), MIRL_SUCCESS);
  EXPECT_TRUE(paddingUntouched(out));
  const Pixels<float> got = fromImage<float>(out);
  const std::vector<Numbers> want = spectrumOf(in);
  double largest = 0, error = 0;
  MirlSize worst;
  for (int y = 0; y < in.height; ++y) {
    for (int x = 0; x < in.width; ++x) {
      const Number number = want[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
      const double off = std::abs(Number(got.at(x, y, 0), got.at(x, y, 1)) - number);
      largest = std::max(largest, std::abs(number));
      if (off <= error) continue;
      error = off;
      worst = {x, y};
    }
  }
  EXPECT_LE(error, 2e-6 * largest) << "at " << worst.width << ", " << worst.height;
}

/// Noise, and one light pixel, whose frequencies are all as strong.
TEST_P(Fourier, EverySizeAndPitch) {
  // Lengths of every kind of factor, with primes below and above 31, and either side of blocks.
  const MirlSize sizes[] = {{1, 1},   {1, 2},   {2, 1},   {1, 37},  {31, 1},   {16, 16},
                            {33, 17}, {64, 48}, {67, 74}, {97, 31}, {128, 96}, {240, 135},
                            {65, 29}, {211, 6}, {7, 143}, {101, 2}, {253, 50}};
  unsigned seed = 1;
  for (const MirlSize& size : sizes) {
    checkSpectrum(randomPixels<Byte>(size.width, size.height, 1, seed++), 0, 0);
    Pixels<Byte> point(size.width, size.height, 1);
    point.at(size.width - 1, size.height / 2) = 255;
    checkSpectrum(point, 0, 0);
  }
  const auto in = randomPixels<Byte>(53, 18, 1, seed);
  forOddPitches(in.rowBytes(), 8 * in.width,
                [&](int pitch, int outPitch) { checkSpectrum(in, pitch, outPitch); });
  checkSpectrum(in, 0, 8 * in.width + 8);
  const PastCaches past;
  checkSpectrum(randomPixels<Byte>(150, 70, 1, seed), 0, 0);
  checkSpectrum(in, 0, 8 * in.width + 1);
}

TEST_P(Fourier, LiteralExamples) {
  using Values = std::vector<float>;
  const auto expectSpectrum = [](const Pixels<Byte>& in, const Values& want) {
    MirlImage out;
    EXPECT_EQ(fft2(toImage(in), out), MIRL_SUCCESS);
    const Values got = fromImage<float>(out).values;
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], want[i], 1e-4) << i;
  };
  expectSpectrum({1, {77}}, {77, 0});
  expectSpectrum({1, {1, 2, 3, 4}}, {10, 0, -2, 2, -2, 0, -2, -2});
  Values uniform(2 * 12 * 6);
  uniform[0] = 9 * 12 * 6;
  expectSpectrum(Pixels<Byte>(12, 6, 1, 9), uniform);
}

/// The plans that simulated GPUs hold at the moment.
std::size_t plans() {
#if MIRL_CUDA_SIMULATED
  return simulated::cufftPlans();
#else
  return 0;
#endif
}

// More sizes than plans are kept for, on several threads and streams, before and after a reset.
TEST_P(Fourier, ManySizesFromManyThreads) {
  const auto sizeOf = [](int i) { return MirlSize(5 + 3 * i, 4 + i % 5); };
  constexpr int kSizes = 13;
  const auto run = [&](int i, const MirlStream& stream) {
    MirlImage out;
    EXPECT_EQ(fft2(noiseImage(sizeOf(i), 8, 1, 1), out, stream), MIRL_SUCCESS);
    stream.sync();
    return bytesOf(out);
  };
  ASSERT_EQ(device::resetCurrentDevice(), MIRL_SUCCESS);
  const std::size_t before = plans();
  for (int round = 0; round < 2; ++round) {
    std::vector<Bytes> expected;
    for (int i = 0; i < kSizes; ++i) expected.push_back(run(i, MirlStream()));
    onThreads(3, [&](int thread) {
      const MirlStream stream(true);
      for (int i = 0; i < 4 * kSizes; ++i) {
        const int size = (thread % 2 == 0 ? i : i * 5) % kSizes;
        EXPECT_EQ(run(size, stream), expected[static_cast<std::size_t>(size)]);
      }
    });
    EXPECT_LE(plans(), before + 8) << "no more are kept";
    EXPECT_EQ(device::resetCurrentDevice(), MIRL_SUCCESS);
    EXPECT_EQ(plans(), before) << "nor over a reset";
  }
}

TEST_P(Fourier, QuadrantsChangePlaces) {
  for (const int channels : {1, 2, 4}) {
    for (const MirlSize& size : {MirlSize(1, 6), MirlSize(4, 1), MirlSize(2, 2), MirlSize(5, 5),
                                 MirlSize(34, 7), MirlSize(113, 40), MirlSize(600, 600)}) {
      const auto in = randomPixels<float>(size.width, size.height, channels, 3);
      MirlImage out = toImage(Pixels<float>(size.width, size.height, channels),
                              in.rowBytes() + (size.width % 2 == 0 ? 0 : 3));
      fillBlock(out);
      Pixels<float> want = fromImage<float>(out);
      const int halfWidth = size.width / 2, halfHeight = size.height / 2;
      for (int y = 0; y < 2 * halfHeight; ++y) {
        for (int x = 0; x < 2 * halfWidth; ++x) {
          for (int c = 0; c < channels; ++c) {
            want.at(x, y, c) = in.at(x < halfWidth ? x + halfWidth : x - halfWidth,
                                     y < halfHeight ? y + halfHeight : y - halfHeight, c);
          }
        }
      }
      ASSERT_EQ(fftShift(toImage(in), out), MIRL_SUCCESS);
      EXPECT_TRUE(holds(out, want)) << "columns and rows that are left over stay";
      EXPECT_TRUE(paddingUntouched(out));
    }
  }
}

/// Units in the last place of what is expected that a float is off.
double ulpsOff(float value, double expected) {
  const int exponent = expected == 0 ? -126 : std::max(std::ilogb(expected), -126);
  return std::fabs(value - expected) / std::ldexp(1.0, exponent - 23);
}

TEST_P(Fourier, PropertiesOfNumbers) {
  // Every pair of awkward values, points all around at distances of any kind, and any bits.
  std::vector<float> numbers;
  for (const float re : awkwardValues<float>()) {
    for (const float im : awkwardValues<float>()) numbers.insert(numbers.end(), {re, im});
  }
  std::mt19937 generator(5);
  for (int i = 0; i < 60000; ++i) {
    const double angle = static_cast<double>(generator()) / 6.8e8, far = std::exp(i % 80 - 40);
    numbers.push_back(static_cast<float>(std::cos(angle) * far));
    numbers.push_back(static_cast<float>(std::sin(angle) * far));
  }
  const Pixels<float> noise = fromImage<float>(noiseImage({401, 3}, 32, 2, 9));
  numbers.insert(numbers.end(), noise.values.begin(), noise.values.end());
  Pixels<float> in(2, numbers);
  in.height = 3;
  in.width /= 3;
  in.values.resize(in.index(0, in.height, 0));

  const auto read = [&](int property, int pitch = 0) {
    MirlImage out = toImage(Pixels<float>(in.width, in.height, 1), pitch);
    fillBlock(out);
    EXPECT_EQ(fftGetProperty(toImage(in), out, MirlFFTProp(property)), MIRL_SUCCESS);
    EXPECT_TRUE(paddingUntouched(out));
    return fromImage<float>(out);
  };
  const auto same = [](float a, float b) {
    return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b);
  };
  const Pixels<float> magnitude = read(MIRL_FFT_MAGNITUDE), phase = read(MIRL_FFT_PHASE),
                      real = read(MIRL_FFT_REAL), imaginary = read(MIRL_FFT_IMAG, in.width * 4 + 5);
  for (std::size_t i = 0; i < magnitude.values.size(); ++i) {
    const float re = in.values[2 * i], im = in.values[2 * i + 1];
    SCOPED_TRACE(testing::Message() << re << ", " << im);
    ASSERT_TRUE(same(magnitude.values[i], std::sqrt(std::fma(re, re, im * im))));
    ASSERT_TRUE(same(real.values[i], re));
    ASSERT_TRUE(same(imaginary.values[i], im));
    const double angle = std::atan2(double{im}, double{re});
    const float got = phase.values[i];
    ASSERT_EQ(std::isnan(got), std::isnan(angle));
    if (std::isnan(angle)) continue;
    ASSERT_LE(ulpsOff(got, angle), 2);
    ASSERT_EQ(std::signbit(got), std::signbit(angle));
    ASSERT_TRUE(angle != 0 || got == 0);
  }
  for (const auto& [scaled, plain] : {std::pair{MIRL_FFT_MAGNITUDE_SCALED, &magnitude},
                                      {MIRL_FFT_PHASE_SCALED, &phase},
                                      {MIRL_FFT_REAL_SCALED, &real},
                                      {MIRL_FFT_IMAG_SCALED, &imaginary}}) {
    const Pixels<float> got = read(scaled);
    for (std::size_t i = 0; i < got.values.size(); ++i) {
      ASSERT_TRUE(same(got.values[i], plain->values[i] / 3.0f)) << plain->values[i];
    }
  }
  for (const int none : {-1, 8}) {
    MirlImage out = toImage(magnitude);
    EXPECT_EQ(fftGetProperty(toImage(in), out, MirlFFTProp(none)), MIRL_SUCCESS);
    EXPECT_TRUE(holds(out, magnitude)) << "what isn't a property writes nothing";
  }
}

MIRL_TEST_ON_ALL_DEVICES(Fourier);

}  // namespace
}  // namespace mirl::test
