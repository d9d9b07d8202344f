#pragma once

// The histogram engine: counts the bytes of an image, 256 bins for each of C channels.
//
// Counters are kept in several copies that take turns. On a GPU threads next to each other then
// don't wait for one counter or one bank of shared memory, and on the host an addition needn't wait
// for the one before where neighbours are alike.

#include "engine/device_code.h"
#include "engine/host/rows.h"
#include "engine/map.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

#if MIRL_KERNELS
#include "engine/cuda/launch.h"
#include "engine/cuda/shared.h"
#include "engine/cuda/words.h"
#include "runtime/cuda/cuda_device.h"
#endif

namespace mirl::engine {
namespace histogram {

inline constexpr int kBins = 256;

template <int C>
void addOnHost(const View<const std::uint8_t>& in, std::uint32_t* bins) {
  constexpr int kAtOnce = 24;  // elements: whole pixels, and words of 8 bytes
  constexpr int kCopies = 2;
  constexpr int kTables = C == 1 ? 4 : C * kCopies;
  static_assert(kAtOnce % kTables == 0 && kTables % C == 0);
  constexpr std::size_t kSetUp = kTables * kBins * sizeof(std::uint32_t);
  const auto rowBytes = static_cast<std::size_t>(in.width);
  host::forRows(in.height, {rowBytes, rowBytes, kSetUp}, [&](const host::Rows& rows) {
    std::uint32_t counts[kTables][kBins] = {};
    for (int y = rows.begin; y < rows.end; ++y) {
      const std::uint8_t* row = in.data + y * in.pitch;
      int x = 0;
      for (; in.width - x >= kAtOnce; x += kAtOnce) {
        std::uint64_t words[kAtOnce / 8];
        std::memcpy(words, row + x, kAtOnce);
        [&]<std::size_t... I>(std::index_sequence<I...>) {
          (++counts[I % kTables][words[I / 8] >> (8 * (I % 8)) & 255u], ...);
        }
        (std::make_index_sequence<kAtOnce>{});
      }
      for (; x < in.width; ++x) ++counts[x % C][row[x]];
    }
    // Other threads, and other calls, may be adding to the same bins.
    for (int bin = 0; bin < kBins * C; ++bin) {
      std::uint32_t count = 0;
      for (int table = bin / kBins; table < kTables; table += C)
        count += counts[table][bin % kBins];
      if (count != 0) {
        std::atomic_ref(bins[bin]).fetch_add(count, std::memory_order_relaxed);
      }
    }
  });
}

#if MIRL_KERNELS

inline constexpr unsigned kThreads = 768;  // a multiple of 3, so that a thread keeps its channels
template <int C>
inline constexpr unsigned kSharedCopies = C == 1 ? 16 : 8;

template <bool Aligned, int C>
__global__ void __launch_bounds__(kThreads)
    histogramKernel(const View<const std::uint8_t> in, std::uint32_t* bins) {
  constexpr unsigned kCopies = kSharedCopies<C>;
  constexpr unsigned kElements = 16;
  constexpr unsigned kCounters = kBins * C * kCopies;
  // The copies of a bin stand side by side, in different banks.
  MIRL_SHARED(std::uint32_t, counts, kCounters);
  const unsigned t = threadIdx.x;
  for (unsigned i = t; i < kCounters; i += kThreads) counts[i] = 0;
  __syncthreads();

  const unsigned width = static_cast<unsigned>(in.width);
  const unsigned height = static_cast<unsigned>(in.height);
  const unsigned words = (width + 3 * kElements - 1) / (3 * kElements) * 3;
  const unsigned step = gridDim.x * kThreads;
  const unsigned rowStep = step / words;
  const unsigned columnStep = step % words;
  const unsigned first = blockIdx.x * kThreads + t;
  unsigned row = first / words;
  unsigned column = first % words;

  cuda::Shared<std::uint32_t> channels[C];
#pragma unroll
  for (unsigned c = 0; c < C; ++c) {
    channels[c] = counts + (first * kElements + c) % C * kBins * kCopies + t % kCopies;
  }
  while (row < height) {
    const unsigned x = column * kElements;
    const std::uint8_t* at = in.data + row * in.pitch + x;
    if (Aligned && x + kElements <= width) {
      const Items<std::uint8_t, kElements> word = loadVector<kElements>(at);
#pragma unroll
      for (unsigned i = 0; i < kElements; ++i) {
        channels[i % C].add(word.item[i] * kCopies, 1u);
      }
    } else {
#pragma unroll
      for (unsigned i = 0; i < kElements; ++i) {
        if (x + i < width) channels[i % C].add(at[i] * kCopies, 1u);
      }
    }
    row += rowStep;
    column += columnStep;
    if (column >= words) {
      column -= words;
      ++row;
    }
  }
  __syncthreads();

  for (unsigned bin = t; bin < kBins * C; bin += kThreads) {
    std::uint32_t count = 0;
#pragma unroll
    for (unsigned i = 0; i < kCopies; ++i) count += counts[bin * kCopies + (i + t) % kCopies];
    if (count != 0) atomicAdd(bins + bin, count);
  }
}

template <int C>
void addOnGpu(const runtime::Queue& queue, const View<const std::uint8_t>& in,
              std::uint32_t* bins) {
  // Two blocks fill a multiprocessor, and each costs clearing and merging its counters.
  const int processors = queue.device->multiProcessors();
  const std::int64_t words = (std::int64_t{in.width} + 47) / 48 * 3 * in.height;
  const auto blocks = static_cast<unsigned>(
      std::min<std::int64_t>(2 * processors, (words - 1) / (4 * kThreads) + 1));
  cuda::launch(queue, {blocks, kThreads},
               isVectorAligned<16>(in) ? histogramKernel<true, C> : histogramKernel<false, C>, in,
               bins);
}

#endif

}  // namespace histogram

/// Queues adding the counts of an image of C channels, seen as single elements, to `bins` in the
/// memory of the queue's device. Value v of channel c is counted in bin c * 256 + v.
template <int C>
void addHistogram([[maybe_unused]] const runtime::Queue& queue, const View<const std::uint8_t>& in,
                  std::uint32_t* bins) {
  static_assert(kServesAllDevices<std::integral_constant<int, C>>, "compile this unit as CUDA");
  const auto add = [&](const View<const std::uint8_t>& rows) {
#if MIRL_KERNELS
    if (!queue.device->isHost()) {
      histogram::addOnGpu<C>(queue, rows, bins);
      return;
    }
#endif
    histogram::addOnHost<C>(rows, bins);
  };
  inLongRows(add, in);
}

/// What an equalisation keeps in device memory for the length of a call.
struct Equalisation {
  std::uint32_t bins[histogram::kBins];
  std::uint8_t table[histogram::kBins];
};

/// Some entries of the table. Each run of them sums up the bins before it for itself: the additions
/// are the same ones in the same order as in one sum that runs along.
struct kernel_equalize {
  static constexpr Asks asks{.place = true};
  static constexpr int kEntries = 16;
  struct Entries {
    std::uint8_t of[kEntries];
  };

  const std::uint32_t* bins;
  float scale;

  MIRL_HD Entries operator()(Place at) const {
    const int first = at.x * kEntries;
    float share = 0;
#if MIRL_DEVICE_PASS
    // A constant number of turns lets loads be made ahead, and adding 0 changes nothing.
    for (int i = 0; i < histogram::kBins - kEntries; ++i) share += i < first ? density(i) : 0.0f;
#else
    for (int i = 0; i < first; ++i) share += density(i);
#endif
    Entries entries;
    for (int i = 0; i < kEntries; ++i) {
      share += density(first + i);
      entries.of[i] = static_cast<std::uint8_t>(static_cast<int>(::roundf(share * 255.0f)));
    }
    return entries;
  }

 private:
  MIRL_HD float density(int value) const {
    return static_cast<float>(bins[value]) * scale;
  }
};

/// Queues making the table from the bins of an image of so many pixels.
inline void equalize(const runtime::Queue& queue, Equalisation* at, std::int64_t pixels) {
  using Entries = kernel_equalize::Entries;
  const float scale = 1.0f / static_cast<float>(pixels);
  const View<Entries> table{reinterpret_cast<Entries*>(at->table), sizeof at->table,
                            histogram::kBins / kernel_equalize::kEntries, 1};
  map(queue, kernel_equalize{at->bins, scale}, table);
}

}  // namespace mirl::engine
