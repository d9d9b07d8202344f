#pragma once

#include "engine/view.h"

#include <cstdint>

namespace mirl::engine::resample {

inline constexpr int kGathered = 32;

/// The columns and rows that pixels come from, the last ones included.
struct Box {
  int left;
  int top;
  int right;
  int bottom;
};

/// Fetches the pixels at (x[i], y[i]), each together with its right neighbour as the high byte, and
/// the pairs below them. Where all of them lie within a few columns, the rows in question are read
/// whole and the pairs picked by permutations. False, with nothing done, where they don't or where
/// this build has no such permutations. All that is fetched must lie inside.
bool gatherPairs(const View<const std::uint8_t>& in, const int* x, const int* y, const Box& box,
                 std::uint16_t* upper, std::uint16_t* lower);

}  // namespace mirl::engine::resample
