#pragma once

// The order of floats in integers. Comparing those needs no masks, which compilers turn into better
// vector code; and it settles what comparing floats leaves open, so that extremes don't depend on
// the order of comparisons: -0 stands below 0, and every NaN above everything else.

#include "engine/device_code.h"

#include <bit>
#include <cstdint>
#include <limits>

namespace mirl::engine {

namespace float_order {

MIRL_HD inline std::uint32_t bitsOf(float value) {
#if MIRL_DEVICE_PASS
  return __float_as_uint(value);
#else
  return std::bit_cast<std::uint32_t>(value);
#endif
}

/// All bits if the sign is set.
MIRL_HD inline std::uint32_t signMask(std::uint32_t bits) {
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(bits) >> 31);
}

/// What -infinity is before the ranks are made to start with it.
inline constexpr std::uint32_t kLowest = 0x807FFFFFu;

}  // namespace float_order

/// The place of a float in the order, counted from -infinity, which has 0.
MIRL_HD inline std::uint32_t rankOf(float value) {
  const std::uint32_t bits = float_order::bitsOf(value);
  // Negative floats descend with their bits. NaNs with a sign would come before -infinity; the
  // subtraction wraps them round to the end.
  return (bits ^ (float_order::signMask(bits) & 0x7FFFFFFFu)) - float_order::kLowest;
}

/// The ranks above that of infinity are those of NaNs.
inline constexpr std::uint32_t kInfinityRank = 0x7F800000u - float_order::kLowest;
inline constexpr std::uint32_t kLastRank = 0xFFFFFFFFu;

/// The float of a rank.
inline float atRank(std::uint32_t rank) {
  if (rank > kInfinityRank) return std::numeric_limits<float>::quiet_NaN();
  const std::uint32_t ordered = rank + float_order::kLowest;
  return std::bit_cast<float>(ordered ^ (float_order::signMask(ordered) & 0x7FFFFFFFu));
}

}  // namespace mirl::engine
