#pragma once

// The GPU path of the stencil pattern: tiles of 128 columns, of which a thread does 4 in each of
// several rows. Elements of less than 4 bytes are done in words of neighbours, so that threads next
// to each other read other banks and store vectors.

#include "engine/cuda/launch.h"
#include "engine/cuda/map.h"
#include "engine/cuda/shared.h"
#include "engine/cuda/tile.h"
#include "engine/functor.h"
#include "engine/view.h"

#include <cstdint>

namespace mirl::engine::cuda {
namespace stencils {

inline constexpr int kBlockX = 32;
inline constexpr int kBlockY = 8;
inline constexpr int kColumns = 4;  // of a thread
inline constexpr int kRows = 4;
inline constexpr int kTileX = kBlockX * kColumns;
inline constexpr int kTileY = kBlockY * kRows;

template <class T, int Step>
struct Neighbours {
  Shared<T> at;
  int pitch;

  __device__ T operator()(int dx, int dy) const { return at[dy * pitch + dx * Step]; }
};

/// `Wide`: the output takes the neighbours of a thread as words.
template <bool Wide, int Step, class Border, class F, class Out, class T>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    stencilKernel(const __grid_constant__ F f, const Out out, const View<const T> in,
                  bool aligned) {
  constexpr int kWord = kWordElements<T>;
  constexpr int kGroups = kColumns / kWord;
  constexpr int kDown = F::halo.down;
  // Tiles begin at a word.
  constexpr int kMargin = (F::halo.across * Step + kWord - 1) / kWord * kWord;
  constexpr int kPitch = kTileX + 2 * kMargin;
  constexpr int kStaged = kTileY + 2 * kDown;
  MIRL_SHARED(T, tile, kPitch * kStaged);
  const int tx = static_cast<int>(threadIdx.x), ty = static_cast<int>(threadIdx.y);
  const std::int64_t left = std::int64_t{blockIdx.x} * kTileX;
  for (std::int64_t top = std::int64_t{blockIdx.y} * kTileY; top < out.height;
       top += std::int64_t{gridDim.y} * kTileY) {
    stage<Border, Step>(tile, kPitch, kPitch, kStaged, in, left - kMargin, top - kDown, aligned,
                        [](T element) { return element; });
    __syncthreads();
#pragma unroll
    for (int r = 0; r < kRows; ++r) {
      const int y = ty + r * kBlockY;
      if (top + y >= out.height) continue;
#pragma unroll
      for (int g = 0; g < kGroups; ++g) {
        const int x = (g * kBlockX + tx) * kWord;
        if (left + x >= out.width) continue;
        const auto centre = tile + ((y + kDown) * kPitch + kMargin + x);
        const Place place{static_cast<int>(left) + x, static_cast<int>(top) + y};
        Items<ItemOf<Out>, kWord> made;
#pragma unroll
        for (int i = 0; i < kWord; ++i) {
          made.item[i] = call(f, Nothing{}, Place{place.x + i, place.y},
                              Neighbours<T, Step>{centre + i, kPitch});
        }
        mapping::storeSome<Wide>(out, static_cast<unsigned>(place.x),
                                 static_cast<unsigned>(place.y), made);
      }
    }
    __syncthreads();
  }
}

}  // namespace stencils

template <int Step, class Border, class F, class Out, class T>
void stencil(const runtime::Queue& queue, const F& f, const Out& out, const View<const T>& in) {
  using namespace stencils;
  const Shape shape = covering(out.width, out.height, {kBlockX, kBlockY}, kColumns, kRows);
  launch(queue, shape,
         mapping::isAligned<kWordElements<T>>(out) ? stencilKernel<true, Step, Border, F, Out, T>
                                                   : stencilKernel<false, Step, Border, F, Out, T>,
         f, out, in, hasAlignedRows(in));
}

}  // namespace mirl::engine::cuda
