#pragma once

#include <cstddef>

namespace mirl::runtime {

/// What counts as the size of the caches instead of the processor's, so that tests can send small
/// images past them; 0 is the processor's again.
void setCacheLimit(std::size_t bytes);

}  // namespace mirl::runtime
