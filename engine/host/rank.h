#pragma once

// The host path of the rank pattern, see engine/rank.h.

#include "engine/numbers/extremes.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#include <cstdint>

namespace mirl::engine::host {

/// For N of 3, 5, 7 and 9.
template <int N>
void median(const View<std::uint8_t>& out, const View<const std::uint8_t>& in, int step);

/// For both extremes. False, with nothing written, without memory for scratch.
template <class Extreme>
bool extreme(const runtime::Queue& queue, const View<std::uint8_t>& out,
             const View<const std::uint8_t>& in, int step, const Reach& reach);

}  // namespace mirl::engine::host
