#pragma once

#include "engine/view.h"

#include <cstdint>

namespace mirl::engine::resample {

/// Pixels that are sampled at a time: two of the longest vectors.
inline constexpr int kBlock = 32;

/// Where the pixels of a block come from.
struct BlockPositions {
  alignas(64) int x[kBlock];
  alignas(64) int y[kBlock];
  alignas(64) float acrossFraction[kBlock];
  alignas(64) float downFraction[kBlock];
};

/// The columns and rows of the first taps, the last ones included.
struct Box {
  int left;
  int top;
  int right;
  int bottom;
};

/// A block of bytes, whose taps are all inside, blended as whole numbers or as 0 to 1. Where they
/// lie within a few columns the rows in question are read whole, and neighbours picked from them by
/// permutations. False, with nothing done, where they don't or where this build has no such
/// permutations.
template <bool Normalized>
bool sampleBytes(const View<const std::uint8_t>& in, const BlockPositions& at, const Box& box,
                 std::uint8_t* out);

extern template bool sampleBytes<false>(const View<const std::uint8_t>&, const BlockPositions&,
                                        const Box&, std::uint8_t*);
extern template bool sampleBytes<true>(const View<const std::uint8_t>&, const BlockPositions&,
                                       const Box&, std::uint8_t*);

}  // namespace mirl::engine::resample
