#pragma once

// Pixels taken apart into an image for each channel, and put together.

#include "engine/host/stream_planes.h"
#include "engine/map.h"

#include <algorithm>

namespace mirl::engine {

/// One image for each of N channels.
template <class T, int N>
struct Channels {
  View<T> of[N];
};

template <class T, int N>
bool isPacked(const Channels<T, N>& channels, int width) {
  return std::all_of(channels.of, channels.of + N,
                     [=](const View<T>& view) { return isPacked(view, width); });
}

template <class T, int N>
Channels<T, N> rowsFrom(Channels<T, N> channels, std::int64_t n, int width, int height) {
  for (View<T>& view : channels.of) view = rowsFrom(view, n, width, height);
  return channels;
}

namespace channels {

/// Shares the rows of an image out, with whether the result is to go past the caches.
template <class Item, class Work>
void forRows(const View<Item>& pixels, const Work& work) {
  const auto rowBytes = 2 * static_cast<std::size_t>(pixels.width) * sizeof(Item);
  host::forRows(pixels.height, rowBytes, [&](const host::Rows& rows) {
    for (int y = rows.begin; y < rows.end; ++y) work(y, rows.pastCaches);
  });
}

template <class T, int N>
void splitOnHost(const View<const Pixel<T, N>>& in, const Channels<T, N>& out) {
  forRows(in, [&](int y, bool pastCaches) {
    T* rows[N];
    for (int c = 0; c < N; ++c) rows[c] = pixels::rowOf(out.of[c], y);
    const auto split = pastCaches ? streamSplitPlanes<T, N> : splitPlanes<T, N>;
    split(pixels::rowOf(in, y), in.width, rows);
  });
}

template <class T, int N>
void joinOnHost(const Channels<const T, N>& in, const View<Pixel<T, N>>& out) {
  forRows(out, [&](int y, bool pastCaches) {
    const T* rows[N];
    for (int c = 0; c < N; ++c) rows[c] = pixels::rowOf(in.of[c], y);
    const auto join = pastCaches ? streamJoinPlanes<T, N> : joinPlanes<T, N>;
    join(rows, out.width, pixels::rowOf(out, y));
  });
}

/// One pixel of three channels, for the pixels engine on GPUs.
template <class T>
struct kernel_merge3 {
  MIRL_HD Pixel<T, 3> operator()(T first, T second, T third) const {
    return {first, second, third};
  }
};

#if MIRL_KERNELS

using pixels::kBlockX;
using pixels::kBlockY;

/// `Count` pixels a thread. With one the rows need no alignment at all.
template <int Count, class T, int N>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    splitKernel(const View<const Pixel<T, N>> in, const Channels<T, N> out) {
  const unsigned width = static_cast<unsigned>(in.width);
  const unsigned height = static_cast<unsigned>(in.height);
  const unsigned x = (blockIdx.x * kBlockX + threadIdx.x) * Count;
  if (x >= width) return;
  for (unsigned y = blockIdx.y * kBlockY + threadIdx.y; y < height; y += gridDim.y * kBlockY) {
    const Pixel<T, N>* const row = pixels::rowOf(in, y);
    if (Count > 1 && x + Count <= width) {
      const Items<Pixel<T, N>, Count> group = loadVector<Count>(row + x);
#pragma unroll
      for (int c = 0; c < N; ++c) {
        Items<T, Count> plane;
#pragma unroll
        for (int i = 0; i < Count; ++i) plane.item[i] = group.item[i].v[c];
        storeVector(pixels::rowOf(out.of[c], y) + x, plane);
      }
    } else {
      const unsigned end = x + Count < width ? x + Count : width;
      for (unsigned i = x; i < end; ++i) {
        const Pixel<T, N> pixel = loadBytes(row + i);
#pragma unroll
        for (int c = 0; c < N; ++c) storeBytes(pixels::rowOf(out.of[c], y) + i, pixel.v[c]);
      }
    }
  }
}

template <class T, int N>
void splitOnGpu(const runtime::Queue& queue, const View<const Pixel<T, N>>& in,
                const Channels<T, N>& out) {
  constexpr int kCount = 16 / static_cast<int>(sizeof(T));
  bool aligned = isVectorAligned<kCount>(in);
  for (const View<T>& view : out.of) aligned = aligned && isVectorAligned<kCount>(view);
  cuda::launch(queue, cuda::covering(in.width, in.height, {kBlockX, kBlockY}, aligned ? kCount : 1),
               aligned ? splitKernel<kCount, T, N> : splitKernel<1, T, N>, in, out);
}

#endif

}  // namespace channels

/// Queues out.of[c](x, y) = channel c of in(x, y). The views have the input's size at least. Where
/// several of them are one image, it gets the last of their channels; none may be the input.
template <class T, int N>
void split([[maybe_unused]] const runtime::Queue& queue, const View<const Pixel<T, N>>& in,
           const Channels<T, N>& out) {
  static_assert(kServesAllDevices<T>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    channels::splitOnGpu(queue, in, out);
    return;
  }
#endif
  inLongRows(channels::splitOnHost<T, N>, in, out);
}

/// Queues out(x, y) = the pixel of in.of[c](x, y).
template <class T>
void join([[maybe_unused]] const runtime::Queue& queue, const Channels<const T, 3>& in,
          const View<Pixel<T, 3>>& out) {
  static_assert(kServesAllDevices<T>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    map(queue, channels::kernel_merge3<T>{}, out, in.of[0], in.of[1], in.of[2]);
    return;
  }
#endif
  inLongRows([](const auto& pixels, const auto& planes) { channels::joinOnHost(planes, pixels); },
             out, in);
}

}  // namespace mirl::engine
