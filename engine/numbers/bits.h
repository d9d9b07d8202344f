#pragma once

// Choices without branches. Around a conditional expression host compilers tend to branch, because
// one side might raise a floating-point exception or just costs something; a loop with a branch
// doesn't become vector code.

#include "engine/device_code.h"

#include <bit>
#include <type_traits>

namespace mirl::engine {

MIRL_HD inline float floatOf(unsigned bits) {
#if MIRL_DEVICE_PASS
  return __uint_as_float(bits);
#else
  return std::bit_cast<float>(bits);
#endif
}
MIRL_HD inline unsigned bitsOf(float value) {
#if MIRL_DEVICE_PASS
  return __float_as_uint(value);
#else
  return std::bit_cast<unsigned>(value);
#endif
}

/// `chosen ? a : b` for floats and unsigned integers.
template <class T>
MIRL_HD T select(bool chosen, T a, T b) {
#if MIRL_DEVICE_PASS
  return chosen ? a : b;
#else
  if constexpr (std::is_same_v<T, float>) {
    return floatOf(select(chosen, bitsOf(a), bitsOf(b)));
  } else {
    const auto mask = static_cast<T>(0u - static_cast<unsigned>(chosen));
    return static_cast<T>((a & mask) | (b & static_cast<T>(~mask)));
  }
#endif
}

/// `chosen ? a() : b()` likewise. GPUs, whose threads mostly choose alike, call only one of them.
template <class A, class B>
MIRL_HD auto selectCall(bool chosen, const A& a, const B& b) {
#if MIRL_DEVICE_PASS
  return chosen ? a() : b();
#else
  return select(chosen, a(), b());
#endif
}

/// (a + b) / 2 of 8-bit or 16-bit integers, truncated.
template <class T>
MIRL_HD T meanOf(T a, T b) {
#if MIRL_DEVICE_PASS
  return static_cast<T>((static_cast<unsigned>(a) + b) >> 1);
#else
  // Processors have an instruction for means that are rounded up, which doesn't leave the type.
  const auto up = static_cast<T>((a + b + 1) >> 1);
  return static_cast<T>(up - static_cast<T>((a ^ b) & 1));
#endif
}
/// (a + b + c + d) / 4 likewise.
template <class T>
MIRL_HD T meanOf(T a, T b, T c, T d) {
#if MIRL_DEVICE_PASS
  return static_cast<T>((static_cast<unsigned>(a) + b + c + d) >> 2);
#else
  const T ab = meanOf(a, b), cd = meanOf(c, d);
  const auto rest = static_cast<T>((a ^ b) & (c ^ d) & (ab ^ cd) & 1);
  return static_cast<T>(meanOf(ab, cd) + rest);
#endif
}

}  // namespace mirl::engine
