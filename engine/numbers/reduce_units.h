#pragma once

// How the reduce pattern cuts an image, see engine/reduce.h.

#include "engine/device_code.h"
#include "engine/functor.h"

#include <algorithm>
#include <cstdint>

namespace mirl::engine {
namespace reduction {

inline constexpr int kThreads = 192;  // of a GPU's block: a multiple of 3 times a power of two
template <class T>
inline constexpr int kWordElements = static_cast<int>(16 / sizeof(T));

/// Lanes, rows of a unit and words of 16 bytes, all fit in with pieces of 48 elements.
inline constexpr int kGrain = 48;

template <class R>
inline constexpr bool kHasBounds = reducesOf<R>().bounds;

template <class R, bool = kHasBounds<R>>
struct BoundOf {
  using type = Nothing;
};
template <class R>
struct BoundOf<R, true> {
  using type = typename R::Bound;
};

/// How an image is cut into units. It depends on nothing but the image's size and the reducers.
struct Cut {
  int elements;  // of a row of the image
  int height;
  int segment;   // elements of a row in a unit
  int segments;  // in a row of the image
  int rows;      // of a unit
  int units;
};

inline Cut cutOf(int elements, int height, int maxUnits) {
  constexpr int kSegment = 24576;
  constexpr int kUnitElements = 8192;  // fewer aren't worth a block of threads
  const auto ceilDiv = [](std::int64_t a, std::int64_t b) { return (a + b - 1) / b; };
  const std::int64_t wanted = std::min<std::int64_t>(ceilDiv(elements, kSegment), maxUnits);
  const std::int64_t segment = ceilDiv(ceilDiv(elements, wanted), kGrain) * kGrain;
  const std::int64_t segments = ceilDiv(elements, segment);
  const std::int64_t rows = std::min<std::int64_t>(
      height, std::max(ceilDiv(height, maxUnits / segments), ceilDiv(kUnitElements, segment)));
  return {elements,
          height,
          static_cast<int>(segment),
          static_cast<int>(segments),
          static_cast<int>(rows),
          static_cast<int>(ceilDiv(height, rows) * segments)};
}

struct Unit {
  int x;  // the first element of each of its rows
  int y;
  int elements;
  int rows;
};

MIRL_HD inline Unit unitOf(const Cut& cut, int index) {
  const int x = index % cut.segments * cut.segment;
  const int y = index / cut.segments * cut.rows;
  return {x, y, cut.elements - x < cut.segment ? cut.elements - x : cut.segment,
          cut.height - y < cut.rows ? cut.height - y : cut.rows};
}

/// A reducer with the place for its results: C for each unit.
template <class R>
struct Task {
  R reducer;
  typename R::Total* results;
};

}  // namespace reduction
}  // namespace mirl::engine
