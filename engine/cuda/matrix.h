#pragma once

// The GPU path of the matrix pattern: a block of threads makes 128 by 128 results, each thread 8 by
// 8 of them in registers, from slices of both operands that it stages in shared memory.

#include "engine/cuda/launch.h"
#include "engine/cuda/shared.h"
#include "engine/cuda/words.h"
#include "engine/numbers/conversions.h"
#include "engine/view.h"

#include <cstdint>

namespace mirl::engine::cuda {
namespace matrices {

inline constexpr int kThreads = 16;                 // of a block, in both directions
inline constexpr int kHalf = 4;                     // results of a thread side by side, twice
inline constexpr int kTile = 2 * kHalf * kThreads;  // results of a block
inline constexpr int kDepth = 16;                   // elements of a slice
inline constexpr int kFetched = kTile * kDepth / (kThreads * kThreads);  // of a thread

/// The elements that a thread stages of a slice, `lines` by `depth` of a stored matrix, kept in
/// registers while the slice before is worked on. Lines are rows of what is stored, or columns; the
/// slice lies in shared memory element by element, all lines' first one first. Beyond the matrix
/// there are zeros.
template <bool LinesAreRows>
struct Slice {
  float element[kFetched];

  /// Neighbouring threads read neighbours in memory.
  __device__ static int lineOf(int n) { return LinesAreRows ? n / kDepth : n % kTile; }
  __device__ static int depthOf(int n) { return LinesAreRows ? n % kDepth : n / kTile; }

  __device__ void fetch(const View<const float>& stored, std::int64_t firstLine, int first,
                        int thread) {
#pragma unroll
    for (int i = 0; i < kFetched; ++i) {
      const int n = thread + i * kThreads * kThreads;
      const std::int64_t line = firstLine + lineOf(n), k = std::int64_t{first} + depthOf(n);
      const std::int64_t row = LinesAreRows ? line : k, column = LinesAreRows ? k : line;
      const bool inside = row < stored.height && column < stored.width;
      element[i] = inside ? loadBytes(rowOf(stored, row) + column) : 0.0f;
    }
  }
  __device__ void put(const Shared<float>& slice, int thread) const {
#pragma unroll
    for (int i = 0; i < kFetched; ++i) {
      const int n = thread + i * kThreads * kThreads;
      slice[depthOf(n) * kPitch + lineOf(n)] = element[i];
    }
  }

  /// A few elements more than lines, so that threads which write different elements of a line find
  /// different banks.
  static constexpr int kPitch = kTile + kHalf;
};

/// The elements of a slice that a thread multiplies: two groups of neighbours.
__device__ inline void readLines(const Shared<float>& from, float (&to)[2 * kHalf]) {
#pragma unroll
  for (int h = 0; h < 2; ++h) {
    const float4 group = (from + h * kTile / 2).as<float4>()[0];
    to[h * kHalf] = group.x;
    to[h * kHalf + 1] = group.y;
    to[h * kHalf + 2] = group.z;
    to[h * kHalf + 3] = group.w;
  }
}

template <bool ATransposed, bool BTransposed>
__global__ void __launch_bounds__(kThreads* kThreads)
    productKernel(const View<float> out, const View<const float> a, const View<const float> b) {
  using SliceOfA = Slice<!ATransposed>;
  using SliceOfB = Slice<BTransposed>;
  MIRL_SHARED(float, left, kDepth* SliceOfA::kPitch);
  MIRL_SHARED(float, right, kDepth* SliceOfB::kPitch);
  const int tx = static_cast<int>(threadIdx.x), ty = static_cast<int>(threadIdx.y);
  const int thread = ty * kThreads + tx;
  const int depth = ATransposed ? a.height : a.width;
  const std::int64_t column = std::int64_t{blockIdx.x} * kTile;
  for (std::int64_t row = std::int64_t{blockIdx.y} * kTile; row < out.height;
       row += std::int64_t{gridDim.y} * kTile) {
    float sum[2 * kHalf][2 * kHalf] = {};
    SliceOfA nextA;
    SliceOfB nextB;
    nextA.fetch(a, row, 0, thread);
    nextB.fetch(b, column, 0, thread);
    for (std::int64_t first = 0; first < depth; first += kDepth) {
      __syncthreads();
      nextA.put(left, thread);
      nextB.put(right, thread);
      __syncthreads();
      if (first + kDepth < depth) {
        nextA.fetch(a, row, static_cast<int>(first) + kDepth, thread);
        nextB.fetch(b, column, static_cast<int>(first) + kDepth, thread);
      }
      // Zeros behind the last element would change the sign of a zero sum.
      const int some = depth - first < kDepth ? static_cast<int>(depth - first) : kDepth;
      const auto multiply = [&](int k) {
        float x[2 * kHalf], y[2 * kHalf];
        readLines(left + (k * SliceOfA::kPitch + ty * kHalf), x);
        readLines(right + (k * SliceOfB::kPitch + tx * kHalf), y);
#pragma unroll
        for (int r = 0; r < 2 * kHalf; ++r) {
#pragma unroll
          for (int c = 0; c < 2 * kHalf; ++c) sum[r][c] = fusedMultiplyAdd(x[r], y[c], sum[r][c]);
        }
      };
      if (some == kDepth) {
#pragma unroll
        for (int k = 0; k < kDepth; ++k) multiply(k);
      } else {
#pragma unroll 1
        for (int k = 0; k < some; ++k) multiply(k);
      }
    }
    const auto place = [](int i, int of) {
      return i / kHalf * (kTile / 2) + of * kHalf + i % kHalf;
    };
#pragma unroll
    for (int r = 0; r < 2 * kHalf; ++r) {
      const std::int64_t y = row + place(r, ty);
#pragma unroll
      for (int c = 0; c < 2 * kHalf; ++c) {
        const std::int64_t x = column + place(c, tx);
        if (y < out.height && x < out.width) storeBytes(rowOf(out, y) + x, sum[r][c]);
      }
    }
  }
}

}  // namespace matrices

template <bool ATransposed, bool BTransposed>
void multiplyMatrices(const runtime::Queue& queue, const View<float>& out,
                      const View<const float>& a, const View<const float>& b) {
  using namespace matrices;
  launch(queue, covering(out.width, out.height, {kThreads, kThreads}, 2 * kHalf, 2 * kHalf),
         productKernel<ATransposed, BTransposed>, out, a, b);
}

}  // namespace mirl::engine::cuda
