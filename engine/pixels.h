#pragma once

// The pixels engine: out(x, y) = f(in0(x, y), in1(x, y), ...) over items, which are single elements
// or whole pixels, on the device of the queue. An input may be the output.
//
// What decides the speed is memory traffic. On a GPU each thread moves as many items as fit 16
// bytes of the widest element, with vector loads and stores where all rows are aligned to them and
// item by item elsewhere. On the host the rows are shared out over the threads, each a branch-free
// loop that the compiler turns into vector code.

#include "engine/device_code.h"
#include "engine/view.h"
#include "runtime/host/parallel.h"
#include "runtime/host/stream_copy.h"
#include "runtime/runtime.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#if defined(__CUDACC__)
#include "engine/vector_access.h"
#include "runtime/cuda/cuda_device.h"
#endif

namespace mirl::engine {
namespace pixels {

template <class T>
inline constexpr std::size_t kElementBytes = sizeof(T);
template <class T, int N>
inline constexpr std::size_t kElementBytes<Pixel<T, N>> = sizeof(T);

template <class T>
MIRL_HD T* rowOf(const View<T>& view, std::int64_t y) {
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(view.data) + y * view.pitch);
}

/// The item at x of a row of any alignment.
template <class T>
T loadItem(const T* row, std::ptrdiff_t x) {
  T item;
  std::memcpy(&item, reinterpret_cast<const char*>(row) + x * std::ptrdiff_t{sizeof item},
              sizeof item);
  return item;
}

template <class T>
void storeItem(T* row, std::ptrdiff_t x, const T& item) {
  std::memcpy(reinterpret_cast<char*>(row) + x * std::ptrdiff_t{sizeof item}, &item, sizeof item);
}

/// No item depends on another, even where an input row is the output row, and that is what the
/// pragma says: the compiler needn't test for overlap before it uses vectors.
template <class F, class Out, class... In>
void mapRow(const F& function, std::ptrdiff_t count, Out* out, const In*... in) {
  const F f = function;  // a copy can't be behind `out`, so its fields stay in registers
#pragma GCC ivdep
  for (std::ptrdiff_t x = 0; x < count; ++x) storeItem(out, x, f(loadItem(in, x)...));
}

template <class T>
T* advance(T* row, std::ptrdiff_t items) {
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(row) + items * std::ptrdiff_t{sizeof(T)});
}

/// The same with the output past the caches: pieces of a row are made in the nearest one first.
template <class F, class Out, class... In>
void mapRowPastCaches(const F& f, std::ptrdiff_t count, Out* out, const In*... in) {
  constexpr std::ptrdiff_t kItems = 4096 / sizeof(Out) / 64 * 64;
  alignas(64) Out piece[kItems];
  for (std::ptrdiff_t x = 0; x < count; x += kItems) {
    const std::ptrdiff_t items = std::min(kItems, count - x);
    mapRow(f, items, piece, advance(in, x)...);
    runtime::streamCopy(advance(out, x), piece, static_cast<std::size_t>(items) * sizeof(Out));
  }
}

template <class F, class Out, class... In>
void mapOnHost(const F& f, const View<Out>& out, const View<const In>&... in) {
  const auto rowBytes = static_cast<std::size_t>(out.width) * (sizeof(Out) + (sizeof(In) + ...));
  const bool pastCaches = runtime::bypassesCaches(rowBytes * static_cast<std::size_t>(out.height));
  runtime::parallelRows(out.height, rowBytes, [&](int begin, int end) {
    if (pastCaches) {
      for (int y = begin; y < end; ++y)
        mapRowPastCaches(f, out.width, rowOf(out, y), rowOf(in, y)...);
      runtime::finishStreamCopies();
    } else {
      for (int y = begin; y < end; ++y) mapRow(f, out.width, rowOf(out, y), rowOf(in, y)...);
    }
  });
}

#if defined(__CUDACC__)

/// Items that one thread takes: 16 bytes of the widest element.
template <class... Items>
inline constexpr int kItemsPerThread =
    static_cast<int>(16 / std::max({kElementBytes<std::remove_const_t<Items>>...}));

inline constexpr int kBlockX = 32;
inline constexpr int kBlockY = 8;

/// `Items` items a thread. With one item rows need no alignment at all.
template <int Items, class F, class Out, class... In>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    mapKernel(const F f, const View<Out> out, const View<const In>... in) {
  // Unsigned, so that the last blocks of the longest rows don't overflow.
  const unsigned width = static_cast<unsigned>(out.width);
  const unsigned height = static_cast<unsigned>(out.height);
  const unsigned x = (blockIdx.x * kBlockX + threadIdx.x) * Items;
  if (x >= width) return;
  for (unsigned y = blockIdx.y * kBlockY + threadIdx.y; y < height; y += gridDim.y * kBlockY) {
    if (Items > 1 && x + Items <= width) {
      mapItems<Items>(f, rowOf(out, y) + x, loadVector<Items>(rowOf(in, y) + x)...);
    } else {
      const unsigned end = x + Items < width ? x + Items : width;
      for (unsigned i = x; i < end; ++i) {
        storeBytes(rowOf(out, y) + i, f(loadBytes(rowOf(in, y) + i)...));
      }
    }
  }
}

template <int Items, class F, class Out, class... In>
void launch(const runtime::Queue& queue, const F& f, const View<Out>& out,
            const View<const In>&... in) {
  constexpr int kMaxGridY = 65535;
  constexpr int kBlockWidth = kBlockX * Items;
  const dim3 block(kBlockX, kBlockY);
  const dim3 grid(static_cast<unsigned>((out.width - 1) / kBlockWidth + 1),
                  static_cast<unsigned>(std::min((out.height - 1) / kBlockY + 1, kMaxGridY)));
  mapKernel<Items><<<grid, block, 0, static_cast<cudaStream_t>(queue.stream)>>>(f, out, in...);
}

template <class F, class Out, class... In>
void mapOnGpu(const runtime::Queue& queue, const F& f, const View<Out>& out,
              const View<const In>&... in) {
  const runtime::cuda::Current current(queue.device->id());
  constexpr int kItems = kItemsPerThread<Out, In...>;
  if (isVectorAligned<kItems>(out) && (isVectorAligned<kItems>(in) && ...)) {
    launch<kItems>(queue, f, out, in...);
  } else {
    launch<1>(queue, f, out, in...);
  }
}

#endif

}  // namespace pixels

/// Queues out = f(in...), item by item. The views have the output's size at least; `f` is copied
/// and called as `Out f(In...) const`.
template <class F, class Out, class... In>
void map([[maybe_unused]] const runtime::Queue& queue, const F& f, const View<Out>& out,
         const View<const In>&... in) {
#if defined(__CUDACC__)
  if (!queue.device->isHost()) {
    pixels::mapOnGpu(queue, f, out, in...);
    return;
  }
#endif
  pixels::mapOnHost(f, out, in...);
}

}  // namespace mirl::engine
