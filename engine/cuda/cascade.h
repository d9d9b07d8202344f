#pragma once

// The GPU path of the cascade pattern: a block makes one plane after the other in shared memory,
// each on a tile smaller by what the stages behind it look at, and of the output 32 words of
// elements by 32 rows.

#include "engine/cuda/launch.h"
#include "engine/cuda/map.h"
#include "engine/cuda/shared.h"
#include "engine/cuda/tile.h"
#include "engine/functor.h"
#include "engine/view.h"

#include <cstdint>

namespace mirl::engine::cuda {
namespace cascades {

inline constexpr int kBlockX = 32;
inline constexpr int kBlockY = 8;
inline constexpr int kRows = 4;  // of a thread
inline constexpr int kTileY = kBlockY * kRows;
template <class T>
inline constexpr int kTileX = kBlockX* kWordElements<T>;

/// Whether only every other column of a stage is needed.
template <class F>
inline constexpr bool isHalved = requires(const F& f) {
  f.firstColumn(0);
};

/// What is around element `x` of a row of a tile. Of a halved one every second element is there.
template <class T, int Pitch, bool Halved>
struct Around {
  Shared<T> row;
  int x;

  __device__ T operator()(int dx, int dy) const {
    const auto at = row + dy * Pitch;
    if constexpr (Halved) {
      // With constant offsets two indices are left of these.
      return dx % 2 == 0 ? at[(x >> 1) + dx / 2] : at[((x + 1) >> 1) + (dx - 1) / 2];
    } else {
      return at[x + dx];
    }
  }
};

/// Where in the image a tile of results begins.
struct Corner {
  int left;
  int top;
};

/// Makes the planes of all stages and then the output. `run(f, at, x, y, planes...)` calls a functor
/// with the planes so far and more, around element (x, y) of the tile, `at` being its place.
template <bool Wide, int TileX, int Word, class Out, class Run, class F, class... Rest>
__device__ void runStages(const Out& out, const Corner& corner, const Run& run, const F& f,
                          const Rest&... rest) {
  const int tx = static_cast<int>(threadIdx.x), ty = static_cast<int>(threadIdx.y);
  if constexpr (sizeof...(Rest) == 0) {
    const int x = tx * Word;
    if (corner.left + x >= out.width) return;
#pragma unroll
    for (int r = 0; r < kRows; ++r) {
      const int y = ty + r * kBlockY;
      if (corner.top + y >= out.height) return;
      Items<ItemOf<Out>, Word> made;
#pragma unroll
      for (int i = 0; i < Word; ++i) {
        made.item[i] = run(f, Place{corner.left + x + i, corner.top + y}, x + i, y);
      }
      mapping::storeSome<Wide>(out, static_cast<unsigned>(corner.left + x),
                               static_cast<unsigned>(corner.top + y), made);
    }
  } else {
    constexpr int kAcross = kSumOfHalos<Rest...>.across, kDown = kSumOfHalos<Rest...>.down;
    constexpr int kStep = isHalved<F> ? 2 : 1;
    // A chessboard begins at an even column.
    constexpr int kLeft = (kAcross + kStep - 1) / kStep * kStep;
    constexpr int kPitch = (TileX + 2 * kLeft) / kStep;
    constexpr int kCount = kPitch * (kTileY + 2 * kDown);
    using Element = typename F::Element;
    MIRL_SHARED(Element, plane, kCount);
    for (unsigned n = threadIdx.y * kBlockX + threadIdx.x; n < kCount; n += kBlockX * kBlockY) {
      const int y = static_cast<int>(n / kPitch) - kDown;
      int x = static_cast<int>(n % kPitch) * kStep - kLeft;
      if constexpr (isHalved<F>) x += f.firstColumn(corner.top + y);
      if (kLeft > kAcross && (x < -kAcross || x >= TileX + kAcross)) continue;
      plane[n] = run(f, Place{corner.left + x, corner.top + y}, x, y);
    }
    __syncthreads();
    const auto runNext = [&](const auto& g, const Place& at, int x, int y, const auto&... later) {
      using Seen = Around<Element, kPitch, isHalved<F>>;
      return run(g, at, x, y, Seen{plane + (y + kDown) * kPitch, x + kLeft}, later...);
    };
    runStages<Wide, TileX, Word>(out, corner, runNext, rest...);
  }
}

template <bool Wide, class Border, class Out, class T, class... F>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    cascadeKernel(const Out out, const View<const T> in, bool aligned, const F... stages) {
  constexpr int kAcross = kSumOfHalos<F...>.across, kDown = kSumOfHalos<F...>.down;
  constexpr int kWord = kWordElements<T>;
  // Tiles begin at a word.
  constexpr int kLeft = (kAcross + kWord - 1) / kWord * kWord;
  constexpr int kPitch = kTileX<T> + 2 * kLeft;
  constexpr int kStaged = kTileY + 2 * kDown;
  MIRL_SHARED(T, source, kPitch * kStaged);
  const std::int64_t left = std::int64_t{blockIdx.x} * kTileX<T>;
  for (std::int64_t top = std::int64_t{blockIdx.y} * kTileY; top < out.height;
       top += std::int64_t{gridDim.y} * kTileY) {
    stage<Border, 1>(source, kPitch, kPitch, kStaged, in, left - kLeft, top - kDown, aligned,
                     [](T element) { return element; });
    __syncthreads();
    const auto run = [&](const auto& f, const Place& at, int x, int y, const auto&... planes) {
      using Seen = Around<T, kPitch, false>;
      return call(f, Nothing{}, at, Seen{source + (y + kDown) * kPitch, x + kLeft}, planes...);
    };
    runStages<Wide, kTileX<T>, kWord>(out, Corner{static_cast<int>(left), static_cast<int>(top)},
                                      run, stages...);
    __syncthreads();
  }
}

}  // namespace cascades

template <class Border, class Out, class T, class... F>
void cascade(const runtime::Queue& queue, const Out& out, const View<const T>& in,
             const F&... stages) {
  using namespace cascades;
  const Shape shape = covering(out.width, out.height, {kBlockX, kBlockY}, kWordElements<T>, kRows);
  launch(queue, shape,
         mapping::isAligned<kWordElements<T>>(out) ? cascadeKernel<true, Border, Out, T, F...>
                                                   : cascadeKernel<false, Border, Out, T, F...>,
         out, in, hasAlignedRows(in), stages...);
}

}  // namespace mirl::engine::cuda
