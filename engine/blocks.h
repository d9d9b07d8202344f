#pragma once

// The groups engine: out(x, y) = f(in(x, y)) over groups of pixels, for formats that pack a few
// pixels into a block that only makes sense as a whole.
//
// Groups are of odd sizes, so that threads which each moved their own would scatter their accesses.
// On a GPU a block of threads fetches and stores a run of groups together, 16 bytes a thread, and
// only takes them apart in shared memory.

#include "engine/device_code.h"
#include "engine/host/rows.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#if MIRL_KERNELS
#include "engine/cuda/launch.h"
#include "engine/cuda/shared.h"
#endif

namespace mirl::engine {
namespace groups {

template <class Group>
MIRL_HD auto* groupAt(const View<Group>& view, std::int64_t x, std::int64_t y) {
  using Byte = std::conditional_t<std::is_const_v<Group>, const char, char>;
  return reinterpret_cast<Byte*>(view.data) + y * view.pitch +
         x * static_cast<std::int64_t>(sizeof(Group));
}

/// What a functor does of a run with explicit vectors of its own, as `vectors(count, out, in)`: it
/// returns how many of the first groups those were.
template <class F>
std::ptrdiff_t mapVectors(const F& f, int count, char* out, const char* in) {
  if constexpr (requires { f.vectors(count, out, in); }) {
    return f.vectors(count, out, in);
  } else {
    return 0;
  }
}

template <class F, class Out, class In>
void mapRun(const F& f, int count, char* out, const char* in) {
  for (std::ptrdiff_t i = mapVectors(f, count, out, in); i < count; ++i) {
    In from;
    std::memcpy(&from, in + i * std::ptrdiff_t{sizeof from}, sizeof from);
    const Out to = f(from);
    std::memcpy(out + i * std::ptrdiff_t{sizeof to}, &to, sizeof to);
  }
}

template <class F, class Out, class In>
void mapOnHost(const F& f, const View<Out>& out, const View<const In>& in) {
  constexpr int kRun = 128;  // whole cache lines of any group
  const auto rowBytes = static_cast<std::size_t>(out.width) * (sizeof(Out) + sizeof(In));
  host::forRows(out.height, rowBytes, [&](const host::Rows& rows) {
    alignas(64) char run[kRun * sizeof(Out)];
    for (int y = rows.begin; y < rows.end; ++y) {
      for (int x = 0; x < out.width; x += kRun) {
        const int count = std::min(kRun, out.width - x);
        char* const target = groupAt(out, x, y);
        mapRun<F, Out, In>(f, count, rows.pastCaches ? run : target, groupAt(in, x, y));
        if (rows.pastCaches) {
          runtime::streamCopy(target, run, static_cast<std::size_t>(count) * sizeof(Out));
        }
      }
    }
  });
}

#if MIRL_KERNELS

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
__device__ inline void fetchTogether(cuda::Shared<char> to, const char* from, unsigned count) {
  copyTogether(reinterpret_cast<std::uintptr_t>(from) % 16 == 0, to.as<uint4>(),
               reinterpret_cast<const uint4*>(from), to, from, count);
}
__device__ inline void storeTogether(char* to, cuda::Shared<char> from, unsigned count) {
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
    fetchTogether(fetchedRow.template as<char>(), groupAt(in, x, y),
                  count * static_cast<unsigned>(sizeof(In)));
    __syncthreads();
    if (threadIdx.x < count) madeRow[threadIdx.x] = f(fetchedRow[threadIdx.x]);
    __syncthreads();
    storeTogether(groupAt(out, x, y), madeRow.template as<char>(),
                  count * static_cast<unsigned>(sizeof(Out)));
  }
}

template <class F, class Out, class In>
void mapOnGpu(const runtime::Queue& queue, const F& f, const View<Out>& out,
              const View<const In>& in) {
  cuda::launch(queue, cuda::covering(out.width, out.height, {kBlockX, kBlockY}),
               mapKernel<F, Out, In>, f, out, in);
}

#endif

}  // namespace groups

/// Queues out = f(in), group by group. Groups are plain structs of whole words or half words, which
/// may stand at any address; the views have the output's size at least, and don't overlap. On the
/// host a functor may bring vectors of its own.
template <class F, class Out, class In>
void mapGroups([[maybe_unused]] const runtime::Queue& queue, const F& f, const View<Out>& out,
               const View<const In>& in) {
  static_assert(kServesAllDevices<F>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    groups::mapOnGpu(queue, f, out, in);
    return;
  }
#endif
  groups::mapOnHost(f, out, in);
}

}  // namespace mirl::engine
