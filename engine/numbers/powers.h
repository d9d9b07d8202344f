#pragma once

// Powers and roots that give the same bits on every device: the mathematics libraries of devices
// differ in the last bit. Only sums, products and fused multiply-adds of single precision, without
// branches, so that loops of them become vector code. Polynomials are interpolations at Chebyshev
// nodes.

#include "engine/device_code.h"
#include "engine/numbers/bits.h"
#include "engine/numbers/conversions.h"

namespace mirl::engine {

/// `value` unless it is above `limit`, a positive number. Integers because compilers know vector
/// minima of those: the bits of negative floats are negative integers.
MIRL_HD inline float limitedTo(float value, float limit) {
  const int bits = static_cast<int>(bitsOf(value));
  const int limitBits = static_cast<int>(bitsOf(limit));
  return floatOf(static_cast<unsigned>(bits < limitBits ? bits : limitBits));
}

/// The root or power of what isn't finite is that itself: `result` for other `x` above 0.
MIRL_HD inline float unlessInfinite(float x, float result) {
  return select(bitsOf(x) >= 0x7F800000u, x, result);
}

/// 1.5 * 2^23: its sum with a float is rounded to wholes.
inline constexpr float kRounder = 12582912.0f;

/// 2^(n + f) for whole n between -250 and 250 and f between -1/2 and 1/2, from n + kRounder.
MIRL_HD inline float powerOfTwo(float shifted, float f) {
  float p = 0.0001545336197f;
  p = fusedMultiplyAdd(p, f, 0.001339109325f);
  p = fusedMultiplyAdd(p, f, 0.009618082183f);
  p = fusedMultiplyAdd(p, f, 0.05550356682f);
  p = fusedMultiplyAdd(p, f, 0.2402265076f);
  p = fusedMultiplyAdd(p, f, 0.6931471881f);
  p = fusedMultiplyAdd(p, f, 1.0f);

  // 2^n in two factors, neither of which overflows before the product does, and only the second
  // of which rounds, if the result is below 2^-126.
  const unsigned steps = bitsOf(shifted) - bitsOf(kRounder);
  const unsigned half = static_cast<unsigned>(static_cast<int>(steps) >> 1);
  return p * floatOf((half + 127u) << 23) * floatOf((steps - half + 127u) << 23);
}

/// x^exponent for x from 2^-126 up and exponents from 0 to 2.5, within 2 units in the last place as
/// long as the result is no smaller than 2^-126. Infinity and NaN give themselves, any other x no
/// matter what.
MIRL_HD inline float power(float x, float exponent) {
  // x = 2^whole * (1 + z), with 1 + z between the roots of 1/2 and of 2.
  constexpr unsigned kRootOfHalf = 0x3F3504F3u;
  const int whole = static_cast<int>(bitsOf(x) - kRootOfHalf) >> 23;
  const float z = floatOf(bitsOf(x) - (static_cast<unsigned>(whole) << 23)) - 1.0f;

  // The logarithm to base 2 of 1 + z. The leading coefficient is in two parts.
  float q = -0.1106779585f;
  q = fusedMultiplyAdd(q, z, 0.1835407671f);
  q = fusedMultiplyAdd(q, z, -0.1893965231f);
  q = fusedMultiplyAdd(q, z, 0.2049341611f);
  q = fusedMultiplyAdd(q, z, -0.2398713991f);
  q = fusedMultiplyAdd(q, z, 0.288556754f);
  q = fusedMultiplyAdd(q, z, -0.3606850399f);
  q = fusedMultiplyAdd(q, z, 0.4808983f);
  q = fusedMultiplyAdd(q, z, -0.7213474865f);
  const float rest = fusedMultiplyAdd(q, z, 1.92596299e-8f);
  const float logarithm = fusedMultiplyAdd(z, 1.44269502f, z * rest);

  // exponent * (whole + logarithm) = n + f, with n whole and f between -1/2 and 1/2. What the
  // product of the large parts loses by rounding is kept.
  const float wholeFloat = static_cast<float>(whole);
  const float high = exponent * wholeFloat;
  const float low = fusedMultiplyAdd(exponent, wholeFloat, -high);
  const float shifted = limitedTo(fusedMultiplyAdd(exponent, logarithm, high), 129.0f) + kRounder;
  const float n = shifted - kRounder;
  const float f = fusedMultiplyAdd(exponent, logarithm, (high - n) + low);
  return unlessInfinite(x, powerOfTwo(shifted, f));
}

/// The cube root for x from 2^-126 up, within 1 unit in the last place. Infinity and NaN give
/// themselves, any other x no matter what.
MIRL_HD inline float cubeRoot(float x) {
  // x^(-1/3) from a third of the exponent, to 4 percent, then to 2^-17 by three terms of the
  // binomial series of (1 - e)^(-1/3).
  const float third = static_cast<float>(static_cast<int>(bitsOf(x))) * (1.0f / 3.0f);
  const float guess = floatOf(0x54A22000u - static_cast<unsigned>(static_cast<int>(third)));
  const float e = fusedMultiplyAdd(-x * guess, guess * guess, 1.0f);
  float series = fusedMultiplyAdd(e, 14.0f / 81.0f, 2.0f / 9.0f);
  series = fusedMultiplyAdd(series, e, 1.0f / 3.0f);
  const float inverse = fusedMultiplyAdd(guess * e, series, guess);

  // One step of Newton's on the root itself, whose residue is small: this decides the last bit.
  const float square = inverse * inverse;
  const float root = x * square;
  const float residue = fusedMultiplyAdd(-root * root, root, x);
  return unlessInfinite(x, fusedMultiplyAdd(residue, square * (1.0f / 3.0f), root));
}

}  // namespace mirl::engine
