#pragma once

// The GPU path of the blocks pattern. Blocks of pixels are of odd sizes, so that threads which each
// moved their own would scatter their accesses: a block of threads fetches and stores a run of them
// together, 16 bytes a thread, and only takes them apart in shared memory.

#include "engine/cuda/launch.h"
#include "engine/cuda/shared.h"
#include "engine/view.h"

#include <cstdint>

namespace mirl::engine::cuda {
namespace blocks {

template <class T>
__device__ auto* addressOf(const View<T>& view, unsigned x, unsigned y) {
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  return reinterpret_cast<Byte*>(rowOf(view, y)) + std::int64_t{x} * sizeof(T);
}

inline constexpr int kBlockX = 64;
inline constexpr int kBlockY = 4;

/// Bytes that the threads of a row of the block move together, 16 at a time where `words` says so.
template <class Words, class FromWords, class Bytes, class FromBytes>
__device__ void copyTogether(bool words, Words to, FromWords from, Bytes toBytes,
                             FromBytes fromBytes, unsigned count) {
  const unsigned inWords = words ? count / 16 : 0;
  for (unsigned i = threadIdx.x; i < inWords; i += kBlockX) to[i] = from[i];
  for (unsigned i = inWords * 16 + threadIdx.x; i < count; i += kBlockX) toBytes[i] = fromBytes[i];
}

/// From the image to a row of shared memory, which starts at a word, and back.
__device__ inline void fetchTogether(Shared<char> to, const char* from, unsigned count) {
  copyTogether(reinterpret_cast<std::uintptr_t>(from) % 16 == 0, to.as<uint4>(),
               reinterpret_cast<const uint4*>(from), to, from, count);
}
__device__ inline void storeTogether(char* to, Shared<char> from, unsigned count) {
  copyTogether(reinterpret_cast<std::uintptr_t>(to) % 16 == 0, reinterpret_cast<uint4*>(to),
               from.as<uint4>(), to, from, count);
}

template <class F, class Out, class In>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    mapKernel(const __grid_constant__ F f, const View<Out> out, const View<const In> in) {
  MIRL_SHARED(In, fetched, kBlockX * kBlockY);
  MIRL_SHARED(Out, made, kBlockX * kBlockY);
  const auto fetchedRow = fetched + threadIdx.y * kBlockX;
  const auto madeRow = made + threadIdx.y * kBlockX;
  const unsigned x = blockIdx.x * kBlockX;
  const unsigned left = static_cast<unsigned>(out.width) - x;
  const unsigned inRow = left < kBlockX ? left : kBlockX;
  const unsigned height = static_cast<unsigned>(out.height);
  // All threads go round together, so that each of them meets every barrier.
  for (unsigned top = blockIdx.y * kBlockY; top < height; top += gridDim.y * kBlockY) {
    const unsigned y = top + threadIdx.y;
    const unsigned count = y < height ? inRow : 0;
    fetchTogether(fetchedRow.template as<char>(), addressOf(in, x, y),
                  count * static_cast<unsigned>(sizeof(In)));
    __syncthreads();
    if (threadIdx.x < count) madeRow[threadIdx.x] = f(fetchedRow[threadIdx.x]);
    __syncthreads();
    storeTogether(addressOf(out, x, y), madeRow.template as<char>(),
                  count * static_cast<unsigned>(sizeof(Out)));
  }
}

}  // namespace blocks

template <class F, class Out, class In>
void mapBlocks(const runtime::Queue& queue, const F& f, const View<Out>& out,
               const View<const In>& in) {
  launch(queue, covering(out.width, out.height, {blocks::kBlockX, blocks::kBlockY}),
         blocks::mapKernel<F, Out, In>, f, out, in);
}

}  // namespace mirl::engine::cuda
