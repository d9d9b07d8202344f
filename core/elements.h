#pragma once

// From the numbers that a caller gives to elements, on the host.

#include <cmath>

namespace mirl::core {

/// The greatest number of so many bits, 0 to 16.
inline unsigned maximumOf(int bits) {
  return (1u << bits) - 1u;
}

/// A number limited to 0 to `maximum` and truncated; NaN gives 0.
inline unsigned limitedTo(double value, unsigned maximum) {
  if (!(value > 0)) return 0;
  return value < maximum ? static_cast<unsigned>(value) : maximum;
}

/// The low 16 bits of a number that is truncated to an integer of any size; NaN and infinity give
/// 0.
inline unsigned lowBits(double value) {
  if (!std::isfinite(value)) return 0;
  return static_cast<unsigned>(static_cast<int>(std::fmod(std::trunc(value), 65536.0)));
}

}  // namespace mirl::core
