#pragma once

// The GPU path of the map pattern. Each thread moves as many items as fit 16 bytes of the widest
// element, with vector loads and stores where all rows are aligned to them; else words of 4 bytes
// where rows are aligned to those, else item by item.

#include "engine/cuda/launch.h"
#include "engine/cuda/shared.h"
#include "engine/cuda/words.h"
#include "engine/functor.h"
#include "engine/view.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace mirl::engine::cuda {
namespace mapping {

inline constexpr int kBlockX = 32;
inline constexpr int kBlockY = 8;

/// The functor's table in shared memory. All threads of a block must call it.
template <class F>
__device__ decltype(auto) sharedTableOf([[maybe_unused]] const F& f) {
  if constexpr (hasTable<F>) {
    using Table = decltype(f.table);
    MIRL_SHARED(Table, table, 1);
    // Parameters are read for one thread after another, if each wants another word: in large ones.
    using Word = uint4;
    static_assert(sizeof(Table) % sizeof(Word) == 0 && alignof(Table) % alignof(Word) == 0);
    const auto* const from = reinterpret_cast<const Word*>(&f.table);
    const auto to = table.template as<Word>();
    constexpr unsigned kWords = sizeof(Table) / sizeof(Word);
    for (unsigned i = threadIdx.y * kBlockX + threadIdx.x; i < kWords; i += kBlockX * kBlockY) {
      to[i] = from[i];
    }
    __syncthreads();
    return table.readable();
  } else {
    return Nothing{};
  }
}

/// The functor's parameters from the channel of column x on. Choices rather than an index, so that
/// a thread keeps them in registers.
template <class F>
MIRL_HD auto channelsFrom([[maybe_unused]] const F& f, [[maybe_unused]] unsigned x) {
  if constexpr (hasChannels<F>) {
    constexpr int kChannels = decltype(f.channels)::kChannels;
    auto turned = f.channels;
    const int first = static_cast<int>(x % kChannels);
    for (int turn = 1; turn < kChannels; ++turn) {
      for (int c = 0; c < kChannels; ++c) {
        if (first == turn) turned.of[c] = f.channels.of[(c + turn) % kChannels];
      }
    }
    return turned;
  } else {
    return Nothing{};
  }
}

/// The result for the nth item behind the one that `channels` starts at.
template <class F, class Table, class Channels, class... In>
__device__ auto itemOf(const F& f, const Table& table, [[maybe_unused]] const Channels& channels,
                       [[maybe_unused]] unsigned n, const Place& at, const In&... in) {
  if constexpr (hasChannels<F>) {
    return call(f, table, at, channels.of[n % Channels::kChannels], in...);
  } else {
    return call(f, table, at, in...);
  }
}

// What an item has in plane n: an element, or a pixel.

template <class T, int N>
__device__ void setPlane(Pixel<T, N>& item, int n, const T& element) {
  item.v[n] = element;
}
template <class T, int N, int C>
__device__ void setPlane(Pixel<T, N>& item, int n, const Pixel<T, C>& pixel) {
#pragma unroll
  for (int c = 0; c < C; ++c) item.v[n * C + c] = pixel.v[c];
}

template <class P, class T, int N>
__device__ P planeOf(const Pixel<T, N>& item, int n) {
  if constexpr (std::is_same_v<P, T>) {
    return item.v[n];
  } else {
    P pixel;
    constexpr int kChannels = sizeof(P) / sizeof(T);
#pragma unroll
    for (int c = 0; c < kChannels; ++c) pixel.v[c] = item.v[n * kChannels + c];
    return pixel;
  }
}

// N items from column x on, as words.

template <int N, class T>
__device__ Items<T, N> load(const View<const T>& view, unsigned x, unsigned y) {
  return loadVector<N>(rowOf(view, y) + x);
}
template <int N, class T, int C>
__device__ auto load(const Planar<const T, C>& view, unsigned x, unsigned y) {
  Items<ItemOf<Planar<const T, C>>, N> items;
#pragma unroll
  for (int c = 0; c < C; ++c) {
    const Items<T, N> plane = loadVector<N>(rowOf(view.plane[c], y) + x);
#pragma unroll
    for (int i = 0; i < N; ++i) setPlane(items.item[i], c, plane.item[i]);
  }
  return items;
}

template <int N, class T>
__device__ void store(const View<T>& view, unsigned x, unsigned y, const Items<T, N>& items) {
  storeVector(rowOf(view, y) + x, items);
}
template <int N, class T, int C>
__device__ void store(const Planar<T, C>& view, unsigned x, unsigned y,
                      const Items<ItemOf<Planar<T, C>>, N>& items) {
#pragma unroll
  for (int c = 0; c < C; ++c) {
    Items<T, N> plane;
#pragma unroll
    for (int i = 0; i < N; ++i) plane.item[i] = planeOf<T>(items.item[i], c);
    storeVector(rowOf(view.plane[c], y) + x, plane);
  }
}

// One item at any address.

template <class T>
__device__ T loadOne(const View<const T>& view, unsigned x, unsigned y) {
  return loadBytes(rowOf(view, y) + x);
}
template <class T, int C>
__device__ auto loadOne(const Planar<const T, C>& view, unsigned x, unsigned y) {
  ItemOf<Planar<const T, C>> item;
#pragma unroll
  for (int c = 0; c < C; ++c) setPlane(item, c, loadBytes(rowOf(view.plane[c], y) + x));
  return item;
}

template <class T>
__device__ void storeOne(const View<T>& view, unsigned x, unsigned y, const T& item) {
  storeBytes(rowOf(view, y) + x, item);
}
template <class T, int C>
__device__ void storeOne(const Planar<T, C>& view, unsigned x, unsigned y,
                         const ItemOf<Planar<T, C>>& item) {
#pragma unroll
  for (int c = 0; c < C; ++c) storeBytes(rowOf(view.plane[c], y) + x, planeOf<T>(item, c));
}

/// Those of N items from column x on that the view has room for; all of them as words if `Wide`.
template <bool Wide, class Out, int N>
__device__ void storeSome(const Out& out, unsigned x, unsigned y,
                          const Items<ItemOf<Out>, N>& items) {
  const auto width = static_cast<unsigned>(out.width);
  if (Wide && x + N <= width) {
    store<N>(out, x, y, items);
    return;
  }
#pragma unroll
  for (unsigned i = 0; i < N; ++i) {
    if (x + i < width) storeOne(out, x + i, y, items.item[i]);
  }
}

template <int N, class F, class Table, class Channels, class Out, class... In>
__device__ void mapItems(const F& f, const Table& table, const Channels& channels, unsigned x,
                         unsigned y, const Out& out, const Items<In, N>&... in) {
  Items<ItemOf<Out>, N> made;
#pragma unroll
  for (int i = 0; i < N; ++i) {
    const Place at{static_cast<int>(x) + i, static_cast<int>(y)};
    made.item[i] = itemOf(f, table, channels, static_cast<unsigned>(i), at, in.item[i]...);
  }
  store<N>(out, x, y, made);
}

/// `N` items a thread, in words if `Wide`; else there is one, and rows need no alignment at all.
template <int N, bool Wide, class F, class Out, class... In>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    mapKernel(const __grid_constant__ F f, const Out out, In... in) {
  const auto& table = sharedTableOf(f);
  // Unsigned, so that the last blocks of the longest rows don't overflow.
  const unsigned width = static_cast<unsigned>(out.width);
  const unsigned height = static_cast<unsigned>(out.height);
  const unsigned x = (blockIdx.x * kBlockX + threadIdx.x) * N;
  if (x >= width) return;
  const auto channels = channelsFrom(f, x);
  for (unsigned y = blockIdx.y * kBlockY + threadIdx.y; y < height; y += gridDim.y * kBlockY) {
    if (Wide && x + N <= width) {
      mapItems<N>(f, table, channels, x, y, out, load<N>(in, x, y)...);
    } else {
      const unsigned end = x + N < width ? x + N : width;
      // Rare, and not worth the registers that it would take unrolled.
#pragma unroll 1
      for (unsigned i = x; i < end; ++i) {
        const Place at{static_cast<int>(i), static_cast<int>(y)};
        storeOne(out, i, y, itemOf(f, table, channelsOf(f), i, at, loadOne(in, i, y)...));
      }
    }
  }
}

template <int N, class T>
bool isAligned(const View<T>& view) {
  return isVectorAligned<N>(view);
}
template <int N, class T, int C>
bool isAligned(const Planar<T, C>& view) {
  return std::all_of(view.plane, view.plane + C,
                     [](const View<T>& plane) { return isVectorAligned<N>(plane); });
}

/// Rows that a thread does. Where a block begins with copying a table, as many as leave enough
/// blocks to fill the GPU.
template <class F>
int rowsPerThread(const runtime::Queue& queue, int width, int height, int items) {
  if constexpr (hasTable<F>) {
    const std::int64_t blocks = (std::int64_t{width} / (kBlockX * items) + 1) * height / kBlockY;
    return static_cast<int>(std::clamp<std::int64_t>(
        blocks / (4 * std::max(queue.device->multiProcessors(), 1)), 1, 16));
  } else {
    return 1;
  }
}

}  // namespace mapping

/// What decides how many items fit 16 bytes: items that are words themselves go as wholes, and of
/// others, as pixels of three channels, so many go together that their elements fill words.
template <class Item>
inline constexpr std::size_t kMovedBytes = (sizeof(Item) & (sizeof(Item) - 1)) == 0
                                               ? sizeof(Item)
                                               : kElementBytes<Item>;

template <class F, class Out, class... In>
void map(const runtime::Queue& queue, const F& f, const Out& out, const In&... in) {
  using namespace mapping;
  const auto run = [&](auto kernel, int items) {
    const int rows = rowsPerThread<F>(queue, out.width, out.height, items);
    launch(queue, covering(out.width, out.height, {kBlockX, kBlockY}, items, rows), kernel, f, out,
           in...);
  };
  constexpr std::size_t kWidest = std::max({kMovedBytes<ItemOf<Out>>, kMovedBytes<ItemOf<In>>...});
  constexpr int kItems = kWidest < 16 ? static_cast<int>(16 / kWidest) : 1;
  if (isAligned<kItems>(out) && (isAligned<kItems>(in) && ...)) {
    run(mapKernel<kItems, true, F, Out, In...>, kItems);
    return;
  }
  if constexpr (kItems > 4) {
    constexpr int kFew = kItems / 4;
    if (isAligned<kFew>(out) && (isAligned<kFew>(in) && ...)) {
      run(mapKernel<kFew, true, F, Out, In...>, kFew);
      return;
    }
  }
  run(mapKernel<1, false, F, Out, In...>, 1);
}

}  // namespace mirl::engine::cuda
