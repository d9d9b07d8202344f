#pragma once

#include "bench.h"

namespace mirl::bench {

/// Milliseconds between two events on the current GPU with `calls` calls between them. All of it is
/// queued while the GPU is kept busy for `lead` milliseconds, so that it needn't wait for the host.
double millisecondsOnGpu(const Run& run, int calls, double lead);

}  // namespace mirl::bench
