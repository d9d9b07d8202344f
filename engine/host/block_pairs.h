#pragma once

#include "engine/host/element_pairs.h"
#include "engine/view.h"

#include <algorithm>
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

  /// Of `count` pixels from the first one on.
  template <bool InOrder>
  static Box of(const BlockPositions& at, int first, int count) {
    if constexpr (InOrder) {
      const int last = first + count - 1;
      return {std::min(at.x[first], at.x[last]), std::min(at.y[first], at.y[last]),
              std::max(at.x[first], at.x[last]), std::max(at.y[first], at.y[last])};
    } else {
      Box box{at.x[first], at.y[first], at.x[first], at.y[first]};
      for (int i = first; i < first + count; ++i) {
        box = {std::min(box.left, at.x[i]), std::min(box.top, at.y[i]),
               std::max(box.right, at.x[i]), std::max(box.bottom, at.y[i])};
      }
      return box;
    }
  }
};

/// Each pixel of a block with its right neighbour, and the two below them.
template <class T>
struct BlockPairs {
  alignas(64) Pair<T> above[kBlock];
  alignas(64) Pair<T> below[kBlock];
};

/// Those of a block whose taps are all inside. Where they lie within a few columns and rows these
/// are read whole, and pairs picked from them by permutations. False where they don't, or where
/// this build has no such permutations. `InOrder`: positions rise or fall along the block.
template <bool InOrder, class T>
bool pickPairs(const View<const T>& in, const BlockPositions& at, const Box& box,
               BlockPairs<T>& pairs);

/// Blends a block of bytes, as whole numbers or as 0 to 1, in vectors from the first byte to the
/// last. False, with nothing done, where this build has no such vectors.
template <bool Normalized>
bool blendBytes(const BlockPairs<std::uint8_t>& pairs, const BlockPositions& at, std::uint8_t* out);

}  // namespace mirl::engine::resample
