// Powers, roots and divisions that are the same on every device, against double precision.

#include "engine/numbers/powers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace mirl::test {
namespace {

using engine::bitsOf;
using engine::floatOf;

/// Units in the last place of the reference's own binade.
double ulps(float value, double reference) {
  int exponent = 0;
  std::frexp(reference, &exponent);
  return std::fabs(value - reference) / std::ldexp(1.0, exponent - 24);
}

/// The greatest error over floats of a range, `step` of them apart.
template <class Function, class Reference>
double greatestError(float from, float to, unsigned step, const Function& function,
                     const Reference& reference) {
  double greatest = 0;
  for (unsigned bits = bitsOf(from); bits <= bitsOf(to); bits += step) {
    const float x = floatOf(bits);
    greatest = std::fmax(greatest, ulps(function(x), reference(static_cast<double>(x))));
  }
  return greatest;
}

constexpr float kLeast = std::numeric_limits<float>::min();
constexpr float kGreatest = std::numeric_limits<float>::max();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

TEST(Powers, PowersAreWithinTwoUnits) {
  for (const float exponent : {1.0f / 2.4f, 0.1f, 0.45f, 1.0f, 2.2f, 2.4f}) {
    const auto function = [&](float x) { return engine::power(x, exponent); };
    const auto reference = [&](double x) { return std::pow(x, static_cast<double>(exponent)); };
    EXPECT_LE(greatestError(0.002f, 2.0f, 37, function, reference), 2) << exponent;
    const float low = std::fmax(kLeast, std::pow(2.0f, -125.0f / exponent));
    const float high = std::fmin(kGreatest, std::pow(2.0f, 127.0f / exponent));
    EXPECT_LE(greatestError(low, high, 4093, function, reference), 2) << exponent;
    EXPECT_EQ(function(1.0f), 1.0f);
    EXPECT_EQ(function(kInfinity), kInfinity);
    EXPECT_TRUE(std::isnan(function(std::nanf(""))));
  }
  EXPECT_EQ(engine::power(1e20f, 2.4f), kInfinity) << "too great for a float";
  EXPECT_EQ(engine::power(kGreatest, 2.4f), kInfinity);
}

TEST(Powers, CubeRootsAreWithinOneUnit) {
  const auto reference = [](double x) { return std::cbrt(x); };
  EXPECT_LE(greatestError(1.0f, 8.0f, 3, engine::cubeRoot, reference), 1);
  EXPECT_LE(greatestError(kLeast, kGreatest, 4093, engine::cubeRoot, reference), 1);
  EXPECT_EQ(engine::cubeRoot(kInfinity), kInfinity);
  EXPECT_TRUE(std::isnan(engine::cubeRoot(std::nanf(""))));
}

// A quotient's last bit depends on the mantissa alone: one binade of it is all of them.
TEST(Powers, DivisionsByConstantsAreDivisions) {
  for (const float divisor : {255.0f, 6.0f, 2.55f, 7.787f, 12.92f, 95.047f, 100.0f, 108.883f,
                              116.0f, -200.0f, 500.0f, 1.0f}) {
    for (unsigned bits = bitsOf(1.0f); bits < bitsOf(2.0f); ++bits) {
      const float x = floatOf(bits);
      ASSERT_EQ(engine::dividedBy(x, divisor), x / divisor) << x << " / " << divisor;
    }
  }
  EXPECT_EQ(engine::dividedBy(0.0f, 6.0f), 0.0f);
  EXPECT_EQ(engine::dividedBy(kGreatest, 6.0f), kGreatest / 6.0f);
  EXPECT_EQ(engine::dividedBy(8 * kLeast, 6.0f), 8 * kLeast / 6.0f);
}

}  // namespace
}  // namespace mirl::test
