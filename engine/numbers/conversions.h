#pragma once

// The conversions between element types, for the whole library: exact to float, saturating and
// truncating from float. On GPUs the conversion instructions run at a quarter of the usual rate;
// placing an integer in the mantissa of 2^23, and adding 2^23 in round-toward-zero to get it out
// again, runs at the full one.

#include "engine/device_code.h"

#include <bit>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace mirl::engine {

template <class T>
inline constexpr bool isSmallInteger =
    std::is_same_v<T, std::uint8_t> || std::is_same_v<T, std::uint16_t>;

/// The greatest value of an element type, as a constant that device code may use.
template <class T>
inline constexpr T kGreatest = std::numeric_limits<T>::max();

/// The element as float, exactly.
template <class T>
MIRL_HD inline float toFloat(T element) {
  static_assert(isSmallInteger<T> || std::is_same_v<T, float>);
#if MIRL_DEVICE_PASS
  if constexpr (isSmallInteger<T>) {
    return __uint_as_float(0x4B000000u | element) - 8388608.0f;
  } else {
    return element;
  }
#else
  return static_cast<float>(element);
#endif
}

/// A float that is known to lie between 0 and 2^23 - 1, truncated.
MIRL_HD inline unsigned truncateInRange(float value) {
#if MIRL_DEVICE_PASS
  return __float_as_uint(__fadd_rz(value, 8388608.0f)) & 0x007FFFFFu;
#else
  return static_cast<unsigned>(static_cast<int>(value));
#endif
}

/// A float limited to 0 to `limit` (at most 2^23 - 1) and truncated toward zero; NaN gives 0.
MIRL_HD inline unsigned truncateTo(float value, float limit) {
#if MIRL_DEVICE_PASS
  return truncateInRange(fminf(fmaxf(value, 0.0f), limit));
#else
  // Floats from 0 up are ordered as their bits are, and integer comparisons are what compilers turn
  // into vector minima and maxima. What is above the bits of infinity is a NaN.
  const int bits = std::bit_cast<int>(value);
  const int number = bits > 0x7F800000 ? 0 : bits;
  const int positive = number > 0 ? number : 0;
  const int limitBits = std::bit_cast<int>(limit);
  const int limited = positive < limitBits ? positive : limitBits;
  return truncateInRange(std::bit_cast<float>(limited));
#endif
}

/// What a float becomes when it is stored: a float as it is, an integer by `truncateTo` with the
/// type's own limit.
template <class T>
MIRL_HD inline T fromFloat(float value) {
  if constexpr (std::is_same_v<T, float>) {
    return value;
  } else {
    static_assert(isSmallInteger<T>);
    return static_cast<T>(truncateTo(value, kGreatest<T>));
  }
}

/// The product rounded once together with the sum, on every device.
MIRL_HD inline float fusedMultiplyAdd(float a, float b, float c) {
#if MIRL_DEVICE_PASS
  return __fmaf_rn(a, b, c);
#else
  return __builtin_fmaf(a, b, c);
#endif
}

MIRL_HD inline double fusedMultiplyAdd(double a, double b, double c) {
#if MIRL_DEVICE_PASS
  return __fma_rn(a, b, c);
#else
  return __builtin_fma(a, b, c);
#endif
}

/// The exact product of a number from 0 to 1 and of a whole one up to 2^23 - 1, truncated.
MIRL_HD inline int truncatedProduct(float value, float whole) {
#if MIRL_DEVICE_PASS
  return static_cast<int>(truncateTo(__fmul_rz(value, whole), whole));
#else
  // The rounded product may have reached a whole number that the exact one doesn't: the sign of the
  // difference tells.
  const auto product = static_cast<int>(value * whole);
  const float beyond = fusedMultiplyAdd(value, whole, -static_cast<float>(product));
  return product + (std::bit_cast<int>(beyond) >> 31);
#endif
}

/// value / divisor by the rounded 1 / divisor, with the bits of a division where neither that nor
/// the quotient is infinite or below the normal numbers: the product is off by so little that one
/// correction from its exact residue makes it right.
template <class Real>
MIRL_HD inline Real dividedBy(Real value, Real divisor, Real reciprocal) {
  const Real quotient = value * reciprocal;
  return fusedMultiplyAdd(fusedMultiplyAdd(-quotient, divisor, value), reciprocal, quotient);
}

/// The same for a constant divisor.
MIRL_HD inline float dividedBy(float value, float divisor) {
  return dividedBy(value, divisor, 1.0f / divisor);
}

}  // namespace mirl::engine
