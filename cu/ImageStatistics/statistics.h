#pragma once

// What the reductions share: the way from an image to its element type, and from results to a
// scalar.

#include <mirl/image.h>
#include <mirl/scalar.h>

#include "core/access.h"
#include "engine/dispatch.h"
#include "engine/reduce.h"

#include <array>

namespace mirl::imageStatistics {

/// Calls `run<T, C>(queue)` for a live image of 1 or 3 channels of the served elements, and returns
/// its status. `refused` is the status of other types.
template <class Served, class Run>
MirlStatus dispatch(const MirlImage& in, const MirlStream& stream, MirlStatus refused,
                    const Run& run) {
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, in, {}, queue);
  if (found != MIRL_SUCCESS) return found;
  MirlStatus status = refused;
  const auto visit = [&]<class T, int C>(engine::Combination<T>, engine::Channels<C>) {
    status = run.template operator()<T, C>(queue);
  };
  engine::visitPixels<1, 3>(Served{}, engine::typesOf(in), visit);
  return status;
}

/// Writes a result for each channel to the leading entries.
template <std::size_t C>
void store(const std::array<double, C>& values, MirlScalar& scalar) {
  if (scalar.vals() != nullptr) std::copy(values.begin(), values.end(), scalar.vals());
}

}  // namespace mirl::imageStatistics
