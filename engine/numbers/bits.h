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

}  // namespace mirl::engine
