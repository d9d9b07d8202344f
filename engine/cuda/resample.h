#pragma once

// The GPU path of the resample pattern. Reads go through the first-level cache, whose lines
// neighbouring pixels share; what costs is instructions, so positions that a column or a row has in
// common are made once for several pixels.

#include "engine/cuda/launch.h"
#include "engine/cuda/words.h"
#include "engine/sampling.h"

#include <algorithm>

namespace mirl::engine::resample {

inline constexpr int kBlockX = 32;
inline constexpr int kBlockY = 8;
/// Columns that a thread of a zoom makes, side by side so that they are stored at once.
inline constexpr int kZoomColumns = 4;

/// Rows that a thread makes: several where there are enough of them to fill the GPU anyway.
inline cuda::Shape shapeOf(int width, int height, int columnsPerThread) {
  return cuda::covering(width, height, {kBlockX, kBlockY}, columnsPerThread, height >= 512 ? 4 : 1);
}

/// Whether every element of every row can be read as a whole.
template <class T, int C>
bool isAligned(const View<const Pixel<T, C>>& view) {
  constexpr auto kElement = static_cast<std::ptrdiff_t>(sizeof(T));
  return reinterpret_cast<std::uintptr_t>(view.data) % kElement == 0 && view.pitch % kElement == 0;
}

template <class Sampler, class Border, bool Aligned, class Map, class Codec, class T, int C>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    mapKernel(const Map map, const Codec codec, const View<Pixel<T, C>> out,
              const View<const Pixel<T, C>> in) {
  const unsigned x = blockIdx.x * kBlockX + threadIdx.x;
  if (x >= static_cast<unsigned>(out.width)) return;
  for (unsigned y = blockIdx.y * kBlockY + threadIdx.y; y < static_cast<unsigned>(out.height);
       y += gridDim.y * kBlockY) {
    const auto point = map(static_cast<int>(x), static_cast<int>(y));
    const Pixel<T, C> pixel = sampleAt<Sampler, Border, Aligned>(codec, in, point);
    storeBytes(reinterpret_cast<Pixel<T, C>*>(rowBytes(out, y)) + x, pixel);
  }
}

template <class Sampler, class Border, class Map, class Codec, class T, int C>
void mapOnGpu(const runtime::Queue& queue, const Map& map, const Codec& codec,
              const View<Pixel<T, C>>& out, const View<const Pixel<T, C>>& in) {
  cuda::launch(queue, shapeOf(out.width, out.height, 1),
               isAligned(in) ? mapKernel<Sampler, Border, true, Map, Codec, T, C>
                             : mapKernel<Sampler, Border, false, Map, Codec, T, C>,
               map, codec, out, in);
}

/// `Wide`: the output takes the pixels of a thread in whole words.
template <class Sampler, bool Aligned, bool Wide, class Codec, class T, int C>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    zoomKernel(const Zoom zoom, const Codec codec, const View<Pixel<T, C>> out,
               const View<const Pixel<T, C>> in) {
  using Out = Items<Pixel<T, C>, kZoomColumns>;
  const unsigned width = static_cast<unsigned>(out.width);
  const unsigned x = (blockIdx.x * kBlockX + threadIdx.x) * kZoomColumns;
  if (x >= width) return;
  Position across[kZoomColumns];
#pragma unroll
  for (unsigned i = 0; i < kZoomColumns; ++i) {
    // Columns behind the last one repeat it and aren't stored.
    across[i] = Sampler::locate(zoom.x, static_cast<int>(x + i < width ? x + i : width - 1));
  }
  for (unsigned y = blockIdx.y * kBlockY + threadIdx.y; y < static_cast<unsigned>(out.height);
       y += gridDim.y * kBlockY) {
    const Position down = Sampler::locate(zoom.y, static_cast<int>(y));
    Out made;
#pragma unroll
    for (int i = 0; i < kZoomColumns; ++i) {
      made.item[i] = sample<Sampler, EdgeBorder, Aligned>(codec, in, across[i], down);
    }
    auto* at = reinterpret_cast<Pixel<T, C>*>(rowBytes(out, y)) + x;
    if (Wide && x + kZoomColumns <= width) {
      auto* words = reinterpret_cast<typename WordOf<Out::kWord>::type*>(at);
#pragma unroll
      for (int i = 0; i < Out::kWords; ++i) words[i] = made.word[i];
    } else {
#pragma unroll
      for (int i = 0; i < kZoomColumns; ++i) {
        if (x + i < width) storeBytes(at + i, made.item[i]);
      }
    }
  }
}

template <class Sampler, class Codec, class T, int C>
void zoomOnGpu(const runtime::Queue& queue, const Zoom& zoom, const Codec& codec,
               const View<Pixel<T, C>>& out, const View<const Pixel<T, C>>& in) {
  const auto kernel = !isAligned(in) ? zoomKernel<Sampler, false, false, Codec, T, C>
                      : isVectorAligned<kZoomColumns>(out)
                          ? zoomKernel<Sampler, true, true, Codec, T, C>
                          : zoomKernel<Sampler, true, false, Codec, T, C>;
  cuda::launch(queue, shapeOf(out.width, out.height, kZoomColumns), kernel, zoom, codec, out, in);
}

}  // namespace mirl::engine::resample
