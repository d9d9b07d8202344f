#pragma once

#include "engine/view.h"
#include "runtime/runtime.h"

#include <cstdint>

namespace mirl::engine::host {

/// The views don't overlap. False without memory for scratch.
bool transformFourier(const runtime::Queue& queue, const View<Pixel<float, 2>>& out,
                      const View<const std::uint8_t>& in);

}  // namespace mirl::engine::host
