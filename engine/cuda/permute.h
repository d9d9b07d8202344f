#pragma once

// The GPU path of the permute pattern. A mirrored run of pixels is turned in a thread's registers;
// rows and columns change places in a tile of shared memory, which is read and written along the
// rows on either side. Where rows are aligned that is in words, of which a tile's pitch makes threads
// next to each other touch other banks.

#include "engine/cuda/launch.h"
#include "engine/cuda/shared.h"
#include "engine/cuda/tile.h"
#include "engine/cuda/words.h"
#include "engine/view.h"

#include <cstdint>
#include <type_traits>

namespace mirl::engine::cuda {
namespace permuting {

inline constexpr int kBlockX = 32;
inline constexpr int kBlockY = 8;

// --- mirror

/// N items at any address in a row that starts at a word and ends before the next one does. The last
/// word that is read then holds one of their bytes at least.
template <int N, class Item>
__device__ Items<Item, N> loadShifted(const Item* at) {
  constexpr int kCount = static_cast<int>(sizeof(Item) * N / 4);
  union Words {
    unsigned word[kCount];
    Items<Item, N> items;
    __device__ Words() {}
  } made;
  const auto address = reinterpret_cast<std::uintptr_t>(at);
  const unsigned shift = address % 4;
  const auto* const words = reinterpret_cast<const unsigned*>(address - shift);
  unsigned low = words[0];
#pragma unroll
  for (int i = 0; i < kCount; ++i) {
    const unsigned high = i + 1 < kCount || shift != 0 ? words[i + 1] : 0;
    made.word[i] = __funnelshift_r(low, high, shift * 8);
    low = high;
  }
  return made.items;
}

/// `N` items a thread, which are whole words unless there is one.
template <int N, class Item>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    mirrorKernel(const View<Item> out, const View<const Item> in, bool alike) {
  const unsigned width = static_cast<unsigned>(out.width);
  const unsigned height = static_cast<unsigned>(out.height);
  const unsigned x = (blockIdx.x * kBlockX + threadIdx.x) * N;
  if (x >= width) return;
  for (unsigned y = blockIdx.y * kBlockY + threadIdx.y; y < height; y += gridDim.y * kBlockY) {
    Item* const to = rowOf(out, y) + x;
    const Item* const last = rowOf(in, y) + (width - 1 - x);
    if (N > 1 && x + N <= width) {
      const Item* const first = last - (N - 1);
      const Items<Item, N> read = alike ? loadVector<N>(first) : loadShifted<N>(first);
      Items<Item, N> made;
#pragma unroll
      for (int i = 0; i < N; ++i) made.item[i] = read.item[N - 1 - i];
      storeVector(to, made);
    } else {
      const int count = static_cast<int>(x + N < width ? N : width - x);
#pragma unroll 1
      for (int i = 0; i < count; ++i) storeBytes(to + i, loadBytes(last - i));
    }
  }
}

// --- transpose

/// How much of a tile can be moved in words: all of it, where rows are aligned some, or nothing.
enum class Tile { whole, part, unaligned };

/// The word of a row from element x on, or what of it is part of the plane.
template <class T>
__device__ Items<T, kWordElements<T>> loadWord(const View<const T>& in, std::int64_t x,
                                               std::int64_t y, Tile tile) {
  constexpr int kWord = kWordElements<T>;
  if (tile == Tile::whole || (tile == Tile::part && y < in.height && x + kWord <= in.width)) {
    return loadVector<kWord>(rowOf(in, y) + x);
  }
  Items<T, kWord> items;
  items.word[0] = 0;
#pragma unroll
  for (int i = 0; i < kWord; ++i) {
    if (y < in.height && x + i < in.width) items.item[i] = loadBytes(rowOf(in, y) + x + i);
  }
  return items;
}

template <class T>
__device__ void storeWord(const View<T>& out, std::int64_t x, std::int64_t y, Tile tile,
                          const Items<T, kWordElements<T>>& items) {
  constexpr int kWord = kWordElements<T>;
  if (tile == Tile::whole || (tile == Tile::part && y < out.height && x + kWord <= out.width)) {
    storeVector(rowOf(out, y) + x, items);
    return;
  }
#pragma unroll
  for (int i = 0; i < kWord; ++i) {
    if (y < out.height && x + i < out.width) storeBytes(rowOf(out, y) + x + i, items.item[i]);
  }
}

/// The pixels of a tile's side. Those of one element are as many as fill a word of each thread in a
/// row.
template <class T, int C>
constexpr int sideOf() {
  if (C == 1) return kBlockX * kWordElements<T>;
  return sizeof(T) == 1 ? 64 : 32;
}
template <class T, int C>
inline constexpr int kSide = sideOf<T, C>();

/// Words of a tile's row, and of a row in shared memory, so that rows next to each other start in
/// other banks.
template <class T, int C>
inline constexpr int kRowWords = kSide<T, C>* C / kWordElements<T>;
template <class T, int C>
inline constexpr int kPitchWords = kRowWords<T, C> + C;

/// Pixels of one element. A thread takes as many rows of a word as that has elements, and turns them
/// in its registers.
template <Tile kind, int C, class T>
requires(C == 1) __device__
    void transposeTile(const View<T>& out, const View<const T>& in, std::int64_t left,
                       std::int64_t top, Shared<unsigned> tile) {
  constexpr int kWord = kWordElements<T>, kPitch = kPitchWords<T, C>;
  [[maybe_unused]] constexpr int kAtOnce = kind == Tile::whole ? kBlockX / kBlockY : 1;
  const int tx = static_cast<int>(threadIdx.x), ty = static_cast<int>(threadIdx.y);
#pragma unroll kAtOnce
  for (int y = ty; y < kBlockX; y += kBlockY) {
    Items<T, kWord> read[kWord];
#pragma unroll
    for (int i = 0; i < kWord; ++i) {
      read[i] = loadWord(in, left + tx * kWord, top + y * kWord + i, kind);
    }
#pragma unroll
    for (int column = 0; column < kWord; ++column) {
      Items<T, kWord> turned;
#pragma unroll
      for (int i = 0; i < kWord; ++i) turned.item[i] = read[i].item[column];
      tile[(column * kBlockX + tx) * kPitch + y] = turned.word[0];
    }
  }
  __syncthreads();
#pragma unroll kAtOnce
  for (int y = ty; y < kBlockX * kWord; y += kBlockY) {
    Items<T, kWord> made;
    made.word[0] = tile[(y % kWord * kBlockX + y / kWord) * kPitch + tx];
    storeWord(out, top + tx * kWord, left + y, kind, made);
  }
}

/// Pixels of several elements, which are gathered one by one.
template <Tile kind, int C, class T>
__device__ void transposeTile(const View<T>& out, const View<const T>& in, std::int64_t left,
                              std::int64_t top, Shared<unsigned> tile) {
  constexpr int kWord = kWordElements<T>, kWords = kRowWords<T, C>, kPitch = kPitchWords<T, C>;
  constexpr int kAll = kWords * kSide<T, C>, kThreads = kBlockX * kBlockY;
  [[maybe_unused]] constexpr int kAtOnce = kind == Tile::whole ? 4 : 1;
  const int thread = static_cast<int>(threadIdx.y * kBlockX + threadIdx.x);
#pragma unroll kAtOnce
  for (int i = thread; i < kAll; i += kThreads) {
    const int x = i % kWords, y = i / kWords;
    tile[y * kPitch + x] = loadWord(in, left * C + x * kWord, top + y, kind).word[0];
  }
  __syncthreads();
  const auto elements = tile.template as<T>();
#pragma unroll kAtOnce
  for (int i = thread; i < kAll; i += kThreads) {
    const int x = i % kWords, y = i / kWords;
    Items<T, kWord> made;
#pragma unroll
    for (int e = 0; e < kWord; ++e) {
      const int row = (x * kWord + e) / C, channel = (x * kWord + e) % C;
      made.item[e] = elements[row * kPitch * kWord + y * C + channel];
    }
    storeWord(out, top * C + x * kWord, left + y, kind, made);
  }
}

/// The planes of elements of images with C channels.
template <int C, class T>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    transposeKernel(const View<T> out, const View<const T> in, bool aligned) {
  constexpr int kStep = kSide<T, C>;
  MIRL_SHARED(unsigned, tile, (kPitchWords<T, C> * kStep));
  const std::int64_t left = std::int64_t{blockIdx.x} * kStep;
  for (std::int64_t top = std::int64_t{blockIdx.y} * kStep; top < in.height;
       top += std::int64_t{gridDim.y} * kStep) {
    if (!aligned) {
      transposeTile<Tile::unaligned, C>(out, in, left, top, tile);
    } else if (left + kStep > out.height || top + kStep > in.height) {
      transposeTile<Tile::part, C>(out, in, left, top, tile);
    } else {
      transposeTile<Tile::whole, C>(out, in, left, top, tile);
    }
    __syncthreads();
  }
}

}  // namespace permuting

template <class Item>
void mirror(const runtime::Queue& queue, const View<Item>& out, const View<const Item>& in) {
  using namespace permuting;
  const auto run = [&]<int N>(std::integral_constant<int, N>, bool alike) {
    launch(queue, covering(out.width, out.height, {kBlockX, kBlockY}, N), mirrorKernel<N, Item>,
           out, in, alike);
  };
  // So many items that they are words of 16 bytes, or of 4.
  constexpr int kOdd = static_cast<int>(sizeof(Item) & -sizeof(Item));
  constexpr int kItems = 16 / kOdd, kFew = 4 / kOdd;
  const bool rowsAreWords = in.pitch % 4 == 0 && reinterpret_cast<std::uintptr_t>(in.data) % 4 == 0;
  const auto begin = static_cast<std::size_t>(out.width) * sizeof(Item);
  if (rowsAreWords && isVectorAligned<kItems>(out)) {
    run(std::integral_constant<int, kItems>{}, begin % 16 == 0 && isVectorAligned<kItems>(in));
  } else if (kFew > 1 && rowsAreWords && isVectorAligned<kFew>(out)) {
    run(std::integral_constant<int, kFew>{}, begin % 4 == 0);
  } else {
    run(std::integral_constant<int, 1>{}, false);
  }
}

template <class T, int C>
void transpose(const runtime::Queue& queue, const View<Pixel<T, C>>& out,
               const View<const Pixel<T, C>>& in) {
  using namespace permuting;
  constexpr int kColumns = kSide<T, C> / kBlockX, kRows = kSide<T, C> / kBlockY;
  const View<T> to{reinterpret_cast<T*>(out.data), out.pitch, out.width * C, out.height};
  const View<const T> from{reinterpret_cast<const T*>(in.data), in.pitch, in.width * C, in.height};
  launch(queue, covering(in.width, in.height, {kBlockX, kBlockY}, kColumns, kRows),
         transposeKernel<C, T>, to, from, hasAlignedRows(to) && hasAlignedRows(from));
}

}  // namespace mirl::engine::cuda
