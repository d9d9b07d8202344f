#pragma once

#include "engine/numbers/mix.h"

#include <cstddef>

namespace mirl::engine::host {

/// For pixels of N bytes, 3 or 4 with one sum: M sums with their offsets, clamped to a byte and
/// truncated, for as many pixels as explicit vectors can do, which may be none. Returns how many
/// those were. Results must stay below 2^31. The output may be the input.
template <int N, int M, Products products = Products::fused>
std::ptrdiff_t mixBytes(const MixRow (&rows)[M], const void* in, std::ptrdiff_t count, void* out);

}  // namespace mirl::engine::host
