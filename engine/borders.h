#pragma once

// What stands outside an image, for neighbourhoods: rules that turn any column of a plane of
// elements, pixels being `Step` of them, into a column that is there, or into -1 where there is none
// and the value is 0. Rows follow the same rules as the columns of a plane of single elements.

#include "engine/device_code.h"

#include <cstdint>

namespace mirl::engine {

/// The plane's first and last elements go on for ever, whatever channel they are of.
struct NearestElement {
  template <int Step>
  MIRL_HD static std::int64_t limit(std::int64_t x, int width) {
    return x < 0 ? 0 : x < width ? x : width - 1;
  }
};

/// The first and the last pixel go on for ever.
struct NearestPixel {
  template <int Step>
  MIRL_HD static std::int64_t limit(std::int64_t x, int width) {
    if (x < 0) return ((x % Step) + Step) % Step;
    return x < width ? x : width - Step + x % Step;
  }
};

/// There is 0 outside.
struct ZeroOutside {
  template <int Step>
  MIRL_HD static std::int64_t limit(std::int64_t x, int width) {
    return x < 0 || x >= width ? -1 : x;
  }
};

}  // namespace mirl::engine
