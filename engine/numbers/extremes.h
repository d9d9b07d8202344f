#pragma once

// The extremes of bytes, and how far the windows reach that they are taken of.

#include "engine/device_code.h"
#include "engine/numbers/packed_bytes.h"

#include <cstdint>

namespace mirl::engine {

/// What the extreme of no bytes is, and those of each two of four bytes.
struct Least {
  static constexpr std::uint8_t kNone = 255;
  MIRL_HD static unsigned of(unsigned a, unsigned b) { return minBytes(a, b); }
};
struct Greatest {
  static constexpr std::uint8_t kNone = 0;
  MIRL_HD static unsigned of(unsigned a, unsigned b) { return maxBytes(a, b); }
};

/// In pixels and rows.
struct Reach {
  int left;
  int right;
  int up;
  int down;
};

}  // namespace mirl::engine
