#pragma once

// The correlation engine: a sum of weighted neighbours over a plane of elements. Pixels of several
// channels are such a plane too, with taps `step` elements apart.
//
// Each result is a chain of fused multiply-adds in one fixed order, column of taps after column, so
// it is the same on every device. On a GPU a block stages a tile of floats in shared memory, and
// each thread computes 4 columns of 4 rows, reading every staged value of a column once for 4
// results. On the host each row is converted to float once, into a ring of line buffers, and
// vectors of results run over the taps.

#include "engine/device_code.h"
#include "engine/numbers/conversions.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#include <algorithm>
#include <cstdint>

#if MIRL_KERNELS
#include "engine/borders.h"
#include "engine/cuda/launch.h"
#include "engine/cuda/shared.h"
#include "engine/cuda/tile.h"
#include "engine/cuda/words.h"
#endif

namespace mirl::engine {

inline constexpr int kMostTaps = 512;

/// The weights, which travel as a kernel parameter. Tap (i, j) has weight `i * height + j` and
/// reads the element `originX + i * step` to the right and `originY + j` below.
struct Taps {
  float weight[kMostTaps];
  int width;
  int height;
  int originX;
  int originY;
  int step;
};

/// The elements to compute: x0 <= x < x1, y0 <= y < y1.
struct Window {
  int x0;
  int y0;
  int x1;
  int y1;
};

/// Turns a sum into an element: limited and truncated, or as it is.
template <class T>
MIRL_HD inline T fromSum(float sum, float limit) {
  if constexpr (std::is_same_v<T, float>) {
    return sum;
  } else {
    return static_cast<T>(truncateTo(sum, limit));
  }
}

namespace correlation {

/// For 8-bit, 16-bit and float elements. False, with nothing written, if there is no memory for the
/// line buffers.
template <class T>
bool onHost(const runtime::Queue& queue, const View<T>& out, const View<const T>& in,
            const Taps& taps, const Window& window, float limit);

#if MIRL_KERNELS

inline constexpr int kBlockX = 32;
inline constexpr int kBlockY = 8;
inline constexpr int kColumns = 4;  // of a thread, a warp apart so that banks don't clash
inline constexpr int kRows = 4;     // of a thread, next to each other
inline constexpr int kTileX = kBlockX * kColumns;
inline constexpr int kTileY = kBlockY * kRows;

/// Coordinates from `first` on, continued by the edge of a plane of `size`. A plane may reach as
/// far as an int does, and what lies beyond it further; near a tile ints are enough again.
struct Run {
  std::int64_t first;
  int lowest;
  int highest;

  __device__ Run(std::int64_t first_, int size)
      : first(first_), lowest(nearTile(-first_)), highest(nearTile(size - 1 - first_)) {}

  __device__ std::int64_t at(int i) const {
    return first + (i < lowest ? lowest : i > highest ? highest : i);
  }

 private:
  __device__ static int nearTile(std::int64_t offset) {
    constexpr std::int64_t kFar = 1 << 30;
    return static_cast<int>(offset < -kFar ? -kFar : offset > kFar ? kFar : offset);
  }
};

template <class T>
__device__ float readAt(const View<const T>& in, std::int64_t x, std::int64_t y) {
  const char* row = reinterpret_cast<const char*>(in.data) + y * in.pitch;
  return toFloat(loadBytes(reinterpret_cast<const T*>(row) + x));
}

template <class T>
__device__ void writeSum(const View<T>& out, std::int64_t x, std::int64_t y, float sum,
                         float limit) {
  char* row = reinterpret_cast<char*>(out.data) + y * out.pitch;
  storeBytes(reinterpret_cast<T*>(row) + x, fromSum<T>(sum, limit));
}

/// Floats of a row of the tile: whole words of elements, with room for those before the first one.
template <class T>
MIRL_HD int tilePitch(int width, int step) {
  constexpr int kWord = cuda::kWordElements<T>;
  return (kTileX + (width - 1) * step + 2 * (kWord - 1)) / kWord * kWord;
}

/// Width and Height are the filter's, or 0 for any.
template <class T, int Width, int Height>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    tileKernel(const View<T> out, const View<const T> in, const __grid_constant__ Taps taps,
               const Window window, float limit, bool aligned) {
  MIRL_DYNAMIC_SHARED(float, staged);
  const int width = Width == 0 ? taps.width : Width;
  const int height = Height == 0 ? taps.height : Height;
  const int stagedX = tilePitch<T>(width, taps.step);
  const int stagedY = kTileY + height - 1;
  const int tx = static_cast<int>(threadIdx.x);
  const int ty = static_cast<int>(threadIdx.y);
  const std::int64_t left = window.x0 + std::int64_t{blockIdx.x} * kTileX;
  // Words begin at multiples of their elements, before the first one that is wanted.
  const std::int64_t first = left + taps.originX;
  const int before = static_cast<int>(first & (cuda::kWordElements<T> - 1));
  const auto tile = staged + before;
  for (std::int64_t top = window.y0 + std::int64_t{blockIdx.y} * kTileY; top < window.y1;
       top += std::int64_t{gridDim.y} * kTileY) {
    cuda::stage<NearestElement, 1>(staged, stagedX, stagedX, stagedY, in, first - before,
                                   top + taps.originY, aligned,
                                   [](T element) { return toFloat(element); });
    __syncthreads();

    float sum[kColumns][kRows] = {};
#pragma unroll
    for (int i = 0; i < width; ++i) {
#pragma unroll
      for (int c = 0; c < kColumns; ++c) {
        const auto column = tile + (ty * kRows * stagedX + tx + c * kBlockX + i * taps.step);
        float value[kRows];
#pragma unroll
        for (int r = 0; r < kRows; ++r) value[r] = column[r * stagedX];
#pragma unroll
        for (int j = 0; j < height; ++j) {
          const float weight = taps.weight[i * height + j];
#pragma unroll
          for (int r = 0; r < kRows; ++r) sum[c][r] = fusedMultiplyAdd(value[r], weight, sum[c][r]);
#pragma unroll
          for (int r = 0; r + 1 < kRows; ++r) value[r] = value[r + 1];
          if (j + 1 < height) value[kRows - 1] = column[(j + kRows) * stagedX];
        }
      }
    }
#pragma unroll
    for (int c = 0; c < kColumns; ++c) {
#pragma unroll
      for (int r = 0; r < kRows; ++r) {
        const std::int64_t x = left + tx + c * kBlockX;
        const std::int64_t y = top + ty * kRows + r;
        if (x < window.x1 && y < window.y1) writeSum(out, x, y, sum[c][r], limit);
      }
    }
    __syncthreads();
  }
}

/// Long filters, whose tile would not fit: every thread reads what it needs.
template <class T>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    plainKernel(const View<T> out, const View<const T> in, const __grid_constant__ Taps taps,
                const Window window, float limit) {
  const std::int64_t x = window.x0 + std::int64_t{blockIdx.x} * kBlockX + threadIdx.x;
  if (x >= window.x1) return;
  const Run columns(x + taps.originX, in.width);
  for (std::int64_t y = window.y0 + std::int64_t{blockIdx.y} * kBlockY + threadIdx.y; y < window.y1;
       y += std::int64_t{gridDim.y} * kBlockY) {
    const Run rows(y + taps.originY, in.height);
    float sum = 0.0f;
    for (int i = 0; i < taps.width; ++i) {
      for (int j = 0; j < taps.height; ++j) {
        const float value = readAt(in, columns.at(i * taps.step), rows.at(j));
        sum = fusedMultiplyAdd(value, taps.weight[i * taps.height + j], sum);
      }
    }
    writeSum(out, x, y, sum, limit);
  }
}

template <class T>
void onGpu(const runtime::Queue& queue, const View<T>& out, const View<const T>& in,
           const Taps& taps, const Window& window, float limit) {
  constexpr std::size_t kSharedBytes = 48 * 1024;
  constexpr cuda::Threads kThreads{kBlockX, kBlockY};
  const std::int64_t columns = std::int64_t{window.x1} - window.x0;
  const std::int64_t rows = std::int64_t{window.y1} - window.y0;
  const std::size_t staged = static_cast<std::size_t>(tilePitch<T>(taps.width, taps.step)) *
                             static_cast<std::size_t>(kTileY + taps.height - 1) * sizeof(float);
  if (staged > kSharedBytes) {
    cuda::launch(queue, cuda::covering(columns, rows, kThreads), plainKernel<T>, out, in, taps,
                 window, limit);
    return;
  }
  const bool square = taps.width == taps.height;
  const auto kernel = square && taps.width == 3   ? tileKernel<T, 3, 3>
                      : square && taps.width == 5 ? tileKernel<T, 5, 5>
                      : square && taps.width == 7 ? tileKernel<T, 7, 7>
                                                  : tileKernel<T, 0, 0>;
  cuda::Shape shape = cuda::covering(columns, rows, kThreads, kColumns, kRows);
  shape.sharedBytes = staged;
  cuda::launch(queue, shape, kernel, out, in, taps, window, limit, cuda::hasAlignedRows(in));
}

#endif

}  // namespace correlation

/// Queues the sums of a window of elements. The input is another image than the output, of its
/// size; beyond its edges rows and columns are continued by the nearest element. `limit` is what
/// integer results are limited to. False, with nothing queued, if there is no memory for scratch.
template <class T>
bool correlate(const runtime::Queue& queue, const View<T>& out, const View<const T>& in,
               const Taps& taps, const Window& window, float limit) {
  static_assert(kServesAllDevices<T>, "compile this unit as CUDA");
  if (window.x0 >= window.x1 || window.y0 >= window.y1) return true;
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    correlation::onGpu(queue, out, in, taps, window, limit);
    return true;
  }
#endif
  return correlation::onHost(queue, out, in, taps, window, limit);
}

}  // namespace mirl::engine
