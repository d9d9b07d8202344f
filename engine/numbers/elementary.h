#pragma once

// The exponential, powers and the cube root over the whole range of floats, in the way of
// engine/numbers/powers.h: the same bits on every device, without branches.

#include "engine/device_code.h"
#include "engine/numbers/bits.h"
#include "engine/numbers/conversions.h"
#include "engine/numbers/powers.h"

#include <bit>
#include <cmath>

namespace mirl::engine {

/// The greatest whole number that isn't above x. The sign of a zero is kept.
MIRL_HD inline float wholeBelow(float x) {
#if MIRL_DEVICE_PASS
  return floorf(x);
#else
  // Compilers make no vector code of std::floor; -0 - 0 is -0.
  const float nearest = std::nearbyint(x);
  return nearest - select(nearest > x, 1.0f, 0.0f);
#endif
}

inline constexpr unsigned kSignBit = 0x80000000u;
inline constexpr unsigned kInfinityBits = 0x7F800000u;
inline constexpr unsigned kNanBits = 0x7FC00000u;

/// The unevaluated sum of two floats, the second of which is small beside the first.
struct TwoFloats {
  float high;
  float low;
};

/// `value` with a magnitude of at most `limit`, of which a NaN gets the sign.
MIRL_HD inline float limitedMagnitude(float value, float limit) {
  const int magnitude = static_cast<int>(bitsOf(value) & ~kSignBit);
  const int limitBits = static_cast<int>(bitsOf(limit));
  const int limited = magnitude < limitBits ? magnitude : limitBits;
  return floatOf(static_cast<unsigned>(limited) | (bitsOf(value) & kSignBit));
}

/// 2^exponent, rounded twice at most, for any exponent whose second part is below 1/2 where the
/// first is below 200.
MIRL_HD inline float powerOfTwo(const TwoFloats& exponent) {
  const float high = limitedMagnitude(exponent.high, 200.0f);
  const float low = limitedMagnitude(exponent.low, 0.5f);
  const float shifted = high + kRounder;
  return powerOfTwo(shifted, (high - (shifted - kRounder)) + low);
}

/// The logarithm to base 2 for x above 0, within 2^-29 of itself. Any other x no matter what.
MIRL_HD inline TwoFloats logarithm(float x) {
  const bool tiny = bitsOf(x) < 0x00800000u;
  const unsigned bits = bitsOf(select(tiny, x * 16777216.0f, x));

  // x = 2^whole * (1 + z), with 1 + z between the roots of 1/2 and of 2.
  constexpr unsigned kRootOfHalf = 0x3F3504F3u;
  const int whole = static_cast<int>(bits - kRootOfHalf) >> 23;
  const float z = floatOf(bits - (static_cast<unsigned>(whole) << 23)) - 1.0f;
  const float wholeFloat = static_cast<float>(whole) - select(tiny, 24.0f, 0.0f);

  // u + uRest = z / (2 + z), where the logarithm of 1 + z is 2 atanh(u).
  const float divisor = z + 2.0f;
  const float divisorRest = z - (divisor - 2.0f);
  const float reciprocal = 1.0f / divisor;
  const float u = z * reciprocal;
  const float residue = fusedMultiplyAdd(-u, divisorRest, fusedMultiplyAdd(-u, divisor, z));
  const float uRest = residue * reciprocal;

  // atanh(u) = u + u * v * p(v). The terms behind the first are below a hundredth of it.
  const float v = u * u;
  float p = 0.1166523397f;
  p = fusedMultiplyAdd(p, v, 0.1427541077f);
  p = fusedMultiplyAdd(p, v, 0.2000006139f);
  p = fusedMultiplyAdd(p, v, 0.3333333433f);
  const float series = u * v * p;
  const float sum = u + series;
  const float sumRest = (u - sum) + series + uRest;

  // Times 2 / ln 2, which is in two parts, and plus the whole.
  constexpr float kFactor = 2.885390043f;
  const float part = sum * kFactor;
  const float partRest = fusedMultiplyAdd(
      sumRest, kFactor,
      fusedMultiplyAdd(sum, 3.851926067e-8f, fusedMultiplyAdd(sum, kFactor, -part)));
  const float high = wholeFloat + part;
  return {high, (wholeFloat - high) + part + partRest};
}

/// e^x within 2 units in the last place.
MIRL_HD inline float exponential(float x) {
  constexpr float kFactor = 1.442695022f;  // 1 / ln 2 in two parts
  const float high = x * kFactor;
  const float low = fusedMultiplyAdd(x, kFactor, -high);
  const float result = powerOfTwo({high, fusedMultiplyAdd(x, 1.925963034e-8f, low)});
  return select((bitsOf(x) & ~kSignBit) > kInfinityBits, x, result);
}

/// The cube root within 1 unit in the last place, with the sign of x. Zeros, infinities and NaN
/// give themselves.
MIRL_HD inline float signedCubeRoot(float x) {
  const unsigned magnitude = bitsOf(x) & ~kSignBit;
  const float positive = floatOf(magnitude);
  const bool tiny = magnitude < 0x00800000u;
  const float root = cubeRoot(select(tiny, positive * 16777216.0f, positive));
  const float scaled = select(tiny, root * 0.00390625f, root);
  return floatOf(bitsOf(select(magnitude == 0, 0.0f, scaled)) | (bitsOf(x) & kSignBit));
}

/// x to a power that is chosen on the host: within 3 units in the last place, with the special
/// cases of IEEE 754, so 1 for the power 0 and for the base 1 even of a NaN, and NaN for a negative
/// number to a power that isn't whole.
class Power {
 public:
  explicit Power(float exponent)
      // Beyond 2^32 every base but 1 gives what it gives at the limit.
      : exponent_(limitedMagnitude(exponent, 4294967296.0f)) {
    const float infinity = floatOf(kInfinityBits);
    const float magnitude = floatOf(bitsOf(exponent) & ~kSignBit);
    // From 2^24 up all floats are even.
    const bool small = magnitude < 16777216.0f;
    const int whole = small ? static_cast<int>(exponent) : 0;
    const bool isWhole = small ? static_cast<float>(whole) == exponent : exponent == exponent;
    ofZero_ = exponent > 0 ? 0.0f : infinity;
    ofInfinity_ = exponent > 0 ? infinity : 0.0f;
    if (exponent == 0) ofZero_ = ofInfinity_ = 1;
    sign_ = isWhole && whole % 2 != 0 ? kSignBit : 0;
    negatives_ = isWhole ? 0 : 0x7F7FFFFFu;
    lastBase_ = exponent == 0 ? ~kSignBit : kInfinityBits;
    unlessOne_ = exponent != exponent ? floatOf(kNanBits) : -0.0f;
  }

  MIRL_HD float operator()(float x) const {
    const unsigned bits = bitsOf(x);
    const unsigned magnitude = bits & ~kSignBit;
    const TwoFloats log = logarithm(floatOf(magnitude));
    const float high = exponent_ * log.high;
    const float low = fusedMultiplyAdd(exponent_, log.high, -high);
    float result = powerOfTwo({high, fusedMultiplyAdd(exponent_, log.low, low)});

    result = select(magnitude == 0, ofZero_, result);
    result = select(magnitude == kInfinityBits, ofInfinity_, result);
    result = floatOf(bitsOf(result) | (bits & sign_));
    // From the least negative number down to the greatest.
    result = select(bits - (kSignBit + 1) < negatives_, floatOf(kNanBits), result);
    result = select(magnitude > lastBase_, x, result);
    return select(bits == bitsOf(1.0f), 1.0f, result + unlessOne_);
  }

 private:
  float exponent_;
  float ofZero_;
  float ofInfinity_;
  unsigned sign_;       ///< of negative bases
  unsigned negatives_;  ///< how many negative numbers give NaN
  unsigned lastBase_;   ///< bits behind which the NaNs are that give themselves
  float unlessOne_;     ///< what is added for all bases but 1
};

/// x to a whole power from -15 to 15, rounded once for all practical purposes: a few products in
/// double precision, which also have all special cases by themselves.
class WholePower {
 public:
  static bool serves(float exponent) {
    return std::fabs(exponent) <= 15.0f &&
           exponent == static_cast<float>(static_cast<int>(exponent));
  }

  explicit WholePower(float exponent) {
    const int whole = static_cast<int>(exponent);
    for (int i = 0; i < 4; ++i) taken_[i] = (whole < 0 ? -whole : whole) >> i & 1 ? ~0ull : 0;
    inverted_ = whole < 0 ? ~0ull : 0;
  }

  MIRL_HD float operator()(float x) const {
    double square = x;
    double product = oneUnless(taken_[0], square);
    for (int i = 1; i < 4; ++i) {
      square *= square;
      product *= oneUnless(taken_[i], square);
    }
    return static_cast<float>(select(inverted_, 1.0 / product, product));
  }

 private:
  using Bits = unsigned long long;

  MIRL_HD static double select(Bits mask, double a, double b) {
#if MIRL_DEVICE_PASS
    return mask != 0 ? a : b;
#else
    return std::bit_cast<double>((std::bit_cast<Bits>(a) & mask) |
                                 (std::bit_cast<Bits>(b) & ~mask));
#endif
  }
  MIRL_HD static double oneUnless(Bits mask, double value) {
    return select(mask, value, 1.0);
  }

  Bits taken_[4];  ///< all bits for the powers 1, 2, 4 and 8 of x that are factors
  Bits inverted_;
};

/// x to the power 2, with the bits of `WholePower`.
struct Square {
  MIRL_HD float operator()(float x) const { return x * x; }
};

/// x to the power 1/2: the square root, but of zeros 0 and of infinities infinity.
struct HalfPower {
  MIRL_HD float operator()(float x) const {
    const bool infinite = (bitsOf(x) & ~kSignBit) == kInfinityBits;
    return select(infinite, floatOf(kInfinityBits), std::sqrt(x + 0.0f));
  }
};

/// Calls `visit` with the function that raises floats to a power, the fastest that there is.
template <class Visit>
auto visitPower(float exponent, const Visit& visit) {
  if (exponent == 2.0f) return visit(Square());
  if (WholePower::serves(exponent)) return visit(WholePower(exponent));
  if (exponent == 0.5f) return visit(HalfPower());
  return visit(Power(exponent));
}

}  // namespace mirl::engine
