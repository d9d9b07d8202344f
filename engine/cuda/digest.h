#pragma once

// The GPU path of the digest pattern: tiles of 128 columns by 32 rows. A thread has 4 pixels side by
// side in each of 4 rows, which it keeps while it waits for the digests around them.

#include "engine/cuda/launch.h"
#include "engine/cuda/map.h"
#include "engine/cuda/shared.h"
#include "engine/cuda/stencil.h"
#include "engine/cuda/words.h"
#include "engine/functor.h"
#include "engine/view.h"

#include <cstdint>

namespace mirl::engine::cuda {
namespace digests {

inline constexpr int kBlockX = 32;
inline constexpr int kBlockY = 8;
inline constexpr int kColumns = 4;  // of a thread
inline constexpr int kRows = 4;
inline constexpr int kTileX = kBlockX * kColumns;
inline constexpr int kTileY = kBlockY * kRows;

template <bool Wide, class P>
__device__ Items<P, kColumns> loadSome(const View<const P>& in, unsigned x, unsigned y) {
  if (Wide && x + kColumns <= static_cast<unsigned>(in.width)) {
    return mapping::load<kColumns>(in, x, y);
  }
  Items<P, kColumns> items;
#pragma unroll
  for (unsigned i = 0; i < kColumns; ++i) {
    // Beyond the row something must be there, and nobody looks at it.
    const unsigned last = static_cast<unsigned>(in.width) - 1;
    items.item[i] = mapping::loadOne(in, x + i < last ? x + i : last, y);
  }
  return items;
}

/// Pixels are moved in words if `Wide`.
template <bool Wide, class F, class P>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    digestKernel(const __grid_constant__ F f, const View<P> out, const View<const P> in) {
  constexpr int kAcross = F::halo.across, kDown = F::halo.down;
  constexpr int kPitch = kTileX + 2 * kAcross;
  constexpr int kLines = kTileY + 2 * kDown;
  MIRL_SHARED(float, tile, kPitch* kLines);
  const int tx = static_cast<int>(threadIdx.x), ty = static_cast<int>(threadIdx.y);
  const std::int64_t left = std::int64_t{blockIdx.x} * kTileX;
  const std::int64_t x = left + tx * kColumns;
  for (std::int64_t top = std::int64_t{blockIdx.y} * kTileY; top < out.height;
       top += std::int64_t{gridDim.y} * kTileY) {
    Items<P, kColumns> pixels[kRows];
#pragma unroll
    for (int r = 0; r < kRows; ++r) {
      const int y = ty + r * kBlockY;
      if (x >= in.width || top + y >= in.height) continue;
      pixels[r] = loadSome<Wide>(in, static_cast<unsigned>(x), static_cast<unsigned>(top + y));
      const auto to = tile + ((y + kDown) * kPitch + kAcross + tx * kColumns);
#pragma unroll
      for (int i = 0; i < kColumns; ++i) to[i] = f.digest(pixels[r].item[i]);
    }
    // What is around the tile: rows above and below, then columns beside it.
    constexpr int kEnds = 2 * kDown * kPitch;
    constexpr int kAround = kEnds + 2 * kAcross * kTileY;
    for (int n = ty * kBlockX + tx; n < kAround; n += kBlockX * kBlockY) {
      int line, column;
      if (n < kEnds) {
        const int end = n / kPitch;
        line = end < kDown ? end : end + kTileY;
        column = n % kPitch;
      } else {
        const int side = (n - kEnds) % (2 * kAcross);
        line = kDown + (n - kEnds) / (2 * kAcross);
        column = side < kAcross ? side : side + kTileX;
      }
      const std::int64_t atX = left + column - kAcross, atY = top + line - kDown;
      if (atX < 0 || atX >= in.width || atY < 0 || atY >= in.height) continue;
      tile[line * kPitch + column] =
          f.digest(mapping::loadOne(in, static_cast<unsigned>(atX), static_cast<unsigned>(atY)));
    }
    __syncthreads();
#pragma unroll
    for (int r = 0; r < kRows; ++r) {
      const int y = ty + r * kBlockY;
      const std::int64_t atY = top + y;
      if (x >= out.width || atY >= out.height) continue;
      const bool rowInside = atY >= kDown && atY < out.height - kDown;
      const auto centre = tile + ((y + kDown) * kPitch + kAcross + tx * kColumns);
      Items<P, kColumns> made;
      bool all = true;
#pragma unroll
      for (int i = 0; i < kColumns; ++i) {
        const bool inside = rowInside && x + i >= kAcross && x + i < out.width - kAcross;
        all = all && inside;
        if (inside) {
          made.item[i] = f(pixels[r].item[i], stencils::Neighbours<float, 1>{centre + i, kPitch});
        } else if constexpr (requires { &F::atEdge; }) {
          made.item[i] = f.atEdge(pixels[r].item[i]);
        }
      }
      const auto column = static_cast<unsigned>(x), row = static_cast<unsigned>(atY);
      if (requires { &F::atEdge; } || all) {
        mapping::storeSome<Wide>(out, column, row, made);
      } else {
#pragma unroll
        for (int i = 0; i < kColumns; ++i) {
          if (rowInside && x + i >= kAcross && x + i < out.width - kAcross) {
            mapping::storeOne(out, column + static_cast<unsigned>(i), row, made.item[i]);
          }
        }
      }
    }
    __syncthreads();
  }
}

}  // namespace digests

template <class F, class P>
void digest(const runtime::Queue& queue, const F& f, const View<P>& out, const View<const P>& in) {
  using namespace digests;
  const bool wide = mapping::isAligned<kColumns>(out) && mapping::isAligned<kColumns>(in);
  launch(queue, covering(out.width, out.height, {kBlockX, kBlockY}, kColumns, kRows),
         wide ? digestKernel<true, F, P> : digestKernel<false, F, P>, f, out, in);
}

}  // namespace mirl::engine::cuda
