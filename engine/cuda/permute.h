#pragma once

// The GPU path of the permute pattern.

#include "engine/cuda/launch.h"
#include "engine/cuda/words.h"
#include "engine/view.h"

namespace mirl::engine::cuda {
namespace permuting {

inline constexpr int kBlockX = 32;
inline constexpr int kBlockY = 8;

template <class Item>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    mirrorKernel(const View<Item> out, const View<const Item> in) {
  const unsigned width = static_cast<unsigned>(out.width);
  const unsigned height = static_cast<unsigned>(out.height);
  const unsigned x = blockIdx.x * kBlockX + threadIdx.x;
  if (x >= width) return;
  for (unsigned y = blockIdx.y * kBlockY + threadIdx.y; y < height; y += gridDim.y * kBlockY) {
    storeBytes(rowOf(out, y) + x, loadBytes(rowOf(in, y) + (width - 1 - x)));
  }
}

template <class Item>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    transposeKernel(const View<Item> out, const View<const Item> in) {
  const unsigned width = static_cast<unsigned>(out.width);
  const unsigned height = static_cast<unsigned>(out.height);
  const unsigned x = blockIdx.x * kBlockX + threadIdx.x;
  if (x >= width) return;
  for (unsigned y = blockIdx.y * kBlockY + threadIdx.y; y < height; y += gridDim.y * kBlockY) {
    storeBytes(rowOf(out, y) + x, loadBytes(rowOf(in, x) + y));
  }
}

}  // namespace permuting

template <class Item>
void mirror(const runtime::Queue& queue, const View<Item>& out, const View<const Item>& in) {
  using namespace permuting;
  launch(queue, covering(out.width, out.height, {kBlockX, kBlockY}), mirrorKernel<Item>, out, in);
}

template <class Item>
void transpose(const runtime::Queue& queue, const View<Item>& out, const View<const Item>& in) {
  using namespace permuting;
  launch(queue, covering(out.width, out.height, {kBlockX, kBlockY}), transposeKernel<Item>, out,
         in);
}

}  // namespace mirl::engine::cuda
