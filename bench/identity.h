#pragma once

#include <mirl/image.h>

namespace mirl::bench {

/// Queues a map that leaves each byte as it is, the least that an operation on pixels can cost:
/// a GPU's copy engine or its driver's kernel may be slower, or faster.
void identity(const MirlImage& from, MirlImage& to);

}  // namespace mirl::bench
