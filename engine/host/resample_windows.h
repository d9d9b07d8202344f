#pragma once

#include "engine/sampling.h"

#include <cstddef>

namespace mirl::engine::resample {

/// How the elements of a destination row come from a source row of floats. Neighbours read close to
/// each other, so a vector of them takes its taps from a window of two vectors, by permutations
/// instead of single loads.
struct WindowTable {
  int* base;               ///< for each vector, the first element of its window
  int* pick;               ///< for each element, its first tap within the window
  float* weights;          ///< `stride` floats for each weight of the sampler
  std::size_t stride;      ///< elements of the tables, a multiple of the vector's lanes
  bool oneVector = false;  ///< whether every `pick` is in the window's first vector
};

/// Lanes of a vector, 0 if this build has no vectors with fused multiply-adds.
std::size_t windowLanes();

/// line[e] = the blend of source[tap(e) + k * channels] over the taps k, for all `table.stride`
/// elements. Reads up to two vectors behind the last tap.
template <class Sampler>
void blendWindows(const WindowTable& table, int channels, const float* source, float* line);

extern template void blendWindows<Bilinear>(const WindowTable&, int, const float*, float*);
extern template void blendWindows<Cubic>(const WindowTable&, int, const float*, float*);

}  // namespace mirl::engine::resample
