#pragma once

// The GPU path of the rank pattern: tiles of 128 columns in shared memory, of which a thread makes a
// word of four at a time.

#include "engine/borders.h"
#include "engine/cuda/launch.h"
#include "engine/cuda/shared.h"
#include "engine/cuda/tile.h"
#include "engine/cuda/words.h"
#include "engine/numbers/extremes.h"
#include "engine/numbers/median_networks.h"
#include "engine/numbers/packed_bytes.h"
#include "engine/view.h"
#include "runtime/scratch.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace mirl::engine::cuda {
namespace ranks {

using Bytes = View<std::uint8_t>;
using ConstBytes = View<const std::uint8_t>;

inline constexpr int kBlockX = 32;
inline constexpr int kBlockY = 8;
inline constexpr int kWord = kWordElements<std::uint8_t>;
inline constexpr int kTileX = kBlockX * kWord;

MIRL_HD constexpr int wholeWords(int bytes) {
  return (bytes + kWord - 1) / kWord * kWord;
}

struct Order {
  __device__ static unsigned lesser(unsigned a, unsigned b) { return minBytes(a, b); }
  __device__ static unsigned greater(unsigned a, unsigned b) { return maxBytes(a, b); }
};

/// The four bytes from any one on.
template <class Words>
__device__ unsigned bytesAt(const Words& words, int byte) {
  const int word = byte >> 2, shift = (byte & 3) * 8;
  const unsigned low = words[word];
  if (shift == 0) return low;
  return __funnelshift_r(low, words[word + 1], static_cast<unsigned>(shift));
}

/// Stores as many of four elements as the row has, whose first one it has.
template <bool Aligned>
__device__ void storeWord(const Bytes& out, std::int64_t x, std::int64_t y, unsigned bytes) {
  std::uint8_t* const at = rowOf(out, y) + x;
  if (Aligned && x + kWord <= out.width) {
    Items<std::uint8_t, kWord> items;
    items.word[0] = bytes;
    storeVector(at, items);
    return;
  }
#pragma unroll
  for (int i = 0; i < kWord; ++i) {
    if (x + i < out.width) at[i] = static_cast<std::uint8_t>(bytes >> i * 8);
  }
}

template <bool Aligned, int N, int Step>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    medianKernel(const Bytes out, const ConstBytes in, bool alignedIn) {
  constexpr int kReach = N / 2;
  constexpr int kCore = N - 1;  // rows that two windows below each other have in common
  constexpr int kTileY = 2 * kBlockY;
  constexpr int kMargin = wholeWords(kReach * Step);
  constexpr int kPitch = kTileX + 2 * kMargin;
  constexpr int kWords = kPitch / kWord;
  constexpr int kStaged = kTileY + kCore;
  MIRL_SHARED(std::uint8_t, tile, kPitch * kStaged);
  MIRL_SHARED(unsigned, columns, kBlockY* kCore* kWords);
  const auto staged = tile.template as<unsigned>();
  const int tx = static_cast<int>(threadIdx.x), ty = static_cast<int>(threadIdx.y);
  const std::int64_t left = std::int64_t{blockIdx.x} * kTileX;
  for (std::int64_t top = std::int64_t{blockIdx.y} * kTileY; top < out.height;
       top += std::int64_t{gridDim.y} * kTileY) {
    stage<NearestElement, Step>(tile, kPitch, kPitch, kStaged, in, left - kMargin, top - kReach,
                                alignedIn, [](std::uint8_t element) { return element; });
    __syncthreads();
    const auto sorted = columns + ty * kCore * kWords;
    for (int w = tx; w < kWords; w += kBlockX) {
      unsigned column[kCore], made[kCore];
#pragma unroll
      for (int j = 0; j < kCore; ++j) column[j] = staged[(2 * ty + 1 + j) * kWords + w];
      networks::run<networks::Sorting<kCore>, Order>(column, made);
#pragma unroll
      for (int j = 0; j < kCore; ++j) sorted[j * kWords + w] = made[j];
    }
    __syncthreads();

    const std::int64_t x = left + tx * kWord, y = top + 2 * ty;
    if (x < out.width && y < out.height) {
      // Of a window's columns the first one's bytes.
      constexpr int kFirst = kMargin - kReach * Step;
      unsigned wires[N * kCore], middle[N + 1];
#pragma unroll
      for (int c = 0; c < N; ++c) {
#pragma unroll
        for (int j = 0; j < kCore; ++j) {
          wires[c * kCore + j] = bytesAt(sorted + (j * kWords + tx), kFirst + c * Step);
        }
      }
      networks::run<networks::Middle<N>, Order>(wires, middle);
#pragma unroll
      for (int r = 0; r < 2; ++r) {
        const auto outer = staged + ((2 * ty + r * N) * kWords + tx);
        unsigned row[N], made[N];
#pragma unroll
        for (int c = 0; c < N; ++c) row[c] = bytesAt(outer, kFirst + c * Step);
        networks::run<networks::Sorting<N>, Order>(row, made);
        if (y + r < out.height) {
          storeWord<Aligned>(out, x, y + r, networks::medianOf<N, Order>(middle, made));
        }
      }
    }
    __syncthreads();
  }
}

inline constexpr int kRows = 4;  // of a thread
inline constexpr int kExtremeTileY = kBlockY * kRows;
/// How far the windows of a tile reach. Larger ones are merged from them.
inline constexpr int kMostReach = 15;

struct TileOfExtremes {
  int marginLeft;  ///< in whole words
  int words;       ///< of a row
  int rows;

  MIRL_HD TileOfExtremes(const Reach& reach, int step)
      : marginLeft(wholeWords(reach.left * step)),
        words((marginLeft + kTileX + wholeWords(reach.right * step)) / kWord),
        rows(kExtremeTileY + reach.up + reach.down) {}

  std::size_t bytes() const {
    return sizeof(unsigned) * static_cast<std::size_t>((words + kBlockX) * rows);
  }
};

/// The extremes of rows first, and then of columns of those.
template <class Extreme, int Step, bool Aligned>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    extremeKernel(const Bytes out, const ConstBytes in, const Reach reach, bool alignedIn) {
  MIRL_DYNAMIC_SHARED(unsigned, staged);
  const TileOfExtremes tile(reach, Step);
  const auto ofRows = staged + tile.words * tile.rows;
  const int tx = static_cast<int>(threadIdx.x), ty = static_cast<int>(threadIdx.y);
  const std::int64_t left = std::int64_t{blockIdx.x} * kTileX;
  const int across = reach.left + reach.right + 1, down = reach.up + reach.down + 1;
  for (std::int64_t top = std::int64_t{blockIdx.y} * kExtremeTileY; top < out.height;
       top += std::int64_t{gridDim.y} * kExtremeTileY) {
    stage<NearestElement, Step>(staged.template as<std::uint8_t>(), tile.words * kWord,
                                tile.words * kWord, tile.rows, in, left - tile.marginLeft,
                                top - reach.up, alignedIn,
                                [](std::uint8_t element) { return element; });
    __syncthreads();
    for (int y = ty; y < tile.rows; y += kBlockY) {
      const auto row = staged + (y * tile.words + tx);
      unsigned extreme = fourTimes(Extreme::kNone);
      int byte = tile.marginLeft - reach.left * Step;
      for (int c = 0; c < across; ++c, byte += Step) {
        extreme = Extreme::of(extreme, bytesAt(row, byte));
      }
      ofRows[y * kBlockX + tx] = extreme;
    }
    __syncthreads();

    // A thread's rows are below each other and share what is in the windows of all.
    const auto column = ofRows + (ty * kRows * kBlockX + tx);
    unsigned shared = fourTimes(Extreme::kNone), own[kRows];
#pragma unroll
    for (int r = 0; r < kRows; ++r) own[r] = shared;
    for (int j = 0; j < down + kRows - 1; ++j) {
      const unsigned bytes = column[j * kBlockX];
      if (j >= kRows - 1 && j < down) {
        shared = Extreme::of(shared, bytes);
      } else {
#pragma unroll
        for (int r = 0; r < kRows; ++r) {
          if (j >= r && j < r + down) own[r] = Extreme::of(own[r], bytes);
        }
      }
    }
    const std::int64_t x = left + tx * kWord, y = top + ty * kRows;
#pragma unroll
    for (int r = 0; r < kRows; ++r) {
      if (x < out.width && y + r < out.height) {
        storeWord<Aligned>(out, x, y + r, Extreme::of(own[r], shared));
      }
    }
    __syncthreads();
  }
}

/// The extremes of windows from those of smaller ones: each of four, `left`, `right`, `up` and `down`
/// of where it is, or at the nearest pixel to that. What these have seen of the outside the larger
/// one sees as well.
template <class Extreme, int Step, bool Aligned>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    mergeKernel(const Bytes out, const ConstBytes in, const Reach shift) {
  const std::int64_t x =
      (std::int64_t{blockIdx.x} * kBlockX + static_cast<int>(threadIdx.x)) * kWord;
  if (x >= out.width) return;
  const std::int64_t columns[] = {x - std::int64_t{shift.left} * Step,
                                  x + std::int64_t{shift.right} * Step};
  for (std::int64_t y = std::int64_t{blockIdx.y} * kBlockY + threadIdx.y; y < out.height;
       y += std::int64_t{gridDim.y} * kBlockY) {
    const std::uint8_t* const rows[] = {
        rowOf(in, NearestElement::limit<1>(y - shift.up, in.height)),
        rowOf(in, NearestElement::limit<1>(y + shift.down, in.height))};
    unsigned extreme = fourTimes(Extreme::kNone);
#pragma unroll
    for (int c = 0; c < 2; ++c) {
      std::int64_t at[kWord];
#pragma unroll
      for (int i = 0; i < kWord; ++i) {
        at[i] = NearestPixel::limit<Step>(columns[c] + i, in.width);
      }
#pragma unroll
      for (int r = 0; r < 2; ++r) {
        unsigned bytes = 0;
#pragma unroll
        for (int i = 0; i < kWord; ++i) bytes |= unsigned{rows[r][at[i]]} << i * 8;
        extreme = Extreme::of(extreme, bytes);
      }
    }
    storeWord<Aligned>(out, x, y, extreme);
  }
}

/// How far windows that have reached `before` and `after` their place are to be moved to both sides,
/// so that two of them without a gap reach as far as is wanted, or else as far as they can.
inline std::pair<int, int> shiftsTo(int wantedBefore, int wantedAfter, int before, int after) {
  const std::int64_t most = std::int64_t{before} + after + 1;
  const std::int64_t left = wantedBefore - before, right = wantedAfter - after;
  const std::int64_t back = std::min(left, std::max(most / 2, most - right));
  return {static_cast<int>(back), static_cast<int>(std::min(right, most - back))};
}

template <class Extreme, int Step>
void tiled(const runtime::Queue& queue, const Bytes& out, const ConstBytes& in,
           const Reach& reach) {
  Shape shape = covering(out.width, out.height, {kBlockX, kBlockY}, kWord, kRows);
  shape.sharedBytes = TileOfExtremes(reach, Step).bytes();
  launch(queue, shape,
         hasAlignedRows(out) ? extremeKernel<Extreme, Step, true>
                             : extremeKernel<Extreme, Step, false>,
         out, in, reach, hasAlignedRows(in));
}

}  // namespace ranks

template <int N, int Step>
void median(const runtime::Queue& queue, const View<std::uint8_t>& out,
            const View<const std::uint8_t>& in) {
  using namespace ranks;
  launch(queue, covering(out.width, out.height, {kBlockX, kBlockY}, kWord, 2),
         hasAlignedRows(out) ? medianKernel<true, N, Step> : medianKernel<false, N, Step>, out, in,
         hasAlignedRows(in));
}

template <class Extreme, int Step>
bool extreme(const runtime::Queue& queue, const View<std::uint8_t>& out,
             const View<const std::uint8_t>& in, const Reach& reach) {
  using namespace ranks;
  const auto limited = [](int far) { return std::min(far, kMostReach); };
  Reach done{limited(reach.left), limited(reach.right), limited(reach.up), limited(reach.down)};
  const auto isDone = [&] {
    return done.left == reach.left && done.right == reach.right && done.up == reach.up &&
           done.down == reach.down;
  };
  if (isDone()) {
    tiled<Extreme, Step>(queue, out, in, reach);
    return true;
  }
  const std::ptrdiff_t pitch = (std::ptrdiff_t{in.width} + 15) / 16 * 16;
  const std::size_t bytes = static_cast<std::size_t>(pitch) * static_cast<std::size_t>(in.height);
  const runtime::Scratch scratch(queue, 2 * bytes);
  if (!scratch.ok()) return false;
  Bytes from{scratch.as<std::uint8_t>(), pitch, in.width, in.height}, to = from;
  to.data += bytes;
  tiled<Extreme, Step>(queue, from, in, done);
  while (!isDone()) {
    const auto [left, right] = shiftsTo(reach.left, reach.right, done.left, done.right);
    const auto [up, down] = shiftsTo(reach.up, reach.down, done.up, done.down);
    done = {done.left + left, done.right + right, done.up + up, done.down + down};
    const Bytes& made = isDone() ? out : to;
    const ConstBytes merged{from.data, from.pitch, from.width, from.height};
    launch(
        queue, covering(out.width, out.height, {kBlockX, kBlockY}, kWord),
        hasAlignedRows(made) ? mergeKernel<Extreme, Step, true> : mergeKernel<Extreme, Step, false>,
        made, merged, Reach{left, right, up, down});
    std::swap(from, to);
  }
  return true;
}

}  // namespace mirl::engine::cuda
