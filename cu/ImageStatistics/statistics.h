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

/// Calls `run<T, C>(queue)` for a live image of 1 or 3 channels of one of the element types, and
/// returns its status. `refused` is the status of other types.
template <class... Elements, class Run>
MirlStatus dispatch(const MirlImage& in, const MirlStream& stream, MirlStatus refused,
                    const Run& run) {
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, in, {}, queue);
  if (found != MIRL_SUCCESS) return found;
  if (in.channels() != 1 && in.channels() != 3) return refused;
  MirlStatus status = refused;
  engine::visitCombination(engine::Combinations<engine::Combination<Elements>...>{}, in.channels(),
                           std::array{in.type()}, [&]<class T>(engine::Combination<T>) {
                             status = in.channels() == 1 ? run.template operator()<T, 1>(queue)
                                                         : run.template operator()<T, 3>(queue);
                           });
  return status;
}

/// Writes a result for each channel to the leading entries.
template <std::size_t C>
void store(const std::array<double, C>& values, MirlScalar& scalar) {
  if (scalar.vals() != nullptr) std::copy(values.begin(), values.end(), scalar.vals());
}

}  // namespace mirl::imageStatistics
