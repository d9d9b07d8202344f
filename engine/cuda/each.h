#pragma once

// The GPU path of the pattern of items that are solved each for itself: a thread an item.

#include "engine/cuda/launch.h"
#include "engine/functor.h"

#include <algorithm>

namespace mirl::engine::cuda {
namespace eaching {

inline constexpr int kBlockX = 32;
inline constexpr int kBlockY = 4;

template <class F>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    eachKernel(const __grid_constant__ F f, unsigned width, unsigned height) {
  const unsigned x = blockIdx.x * kBlockX + threadIdx.x;
  if (x >= width) return;
  for (unsigned y = blockIdx.y * kBlockY + threadIdx.y; y < height; y += gridDim.y * kBlockY) {
    f.template operator()<float>(Place{static_cast<int>(x), static_cast<int>(y)});
  }
}

}  // namespace eaching

template <class F>
void each(const runtime::Queue& queue, const F& f, int width, int height) {
  using namespace eaching;
  launch(queue, covering(width, height, {kBlockX, kBlockY}), eachKernel<F>, f,
         static_cast<unsigned>(width), static_cast<unsigned>(height));
}

}  // namespace mirl::engine::cuda
