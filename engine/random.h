#pragma once

#include "engine/view.h"
#include "runtime/runtime.h"

namespace mirl::engine {

/// Queues a fill with uniform random numbers above 0 and up to 1: element n of the rows, counted as
/// if they stood one behind the other, is the nth number of one fixed sequence, on every device.
void fillUniform(const runtime::Queue& queue, const View<float>& out);

}  // namespace mirl::engine
