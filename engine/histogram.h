#pragma once

// The histogram pattern: counts the bytes of an image, 256 bins for each of C channels.
//
// Counters are kept in several copies that take turns. On a GPU threads next to each other then
// don't wait for one counter or one bank of shared memory, and on the host an addition needn't wait
// for the one before where neighbours are alike.

#include "engine/device_code.h"
#include "engine/host/histogram.h"
#include "engine/map.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#include <cmath>
#include <cstdint>
#include <type_traits>

#if MIRL_KERNELS
#include "engine/cuda/histogram.h"
#endif

namespace mirl::engine {
inline constexpr int kBins = 256;

/// Queues adding the counts of an image of C channels, seen as single elements, to `bins` in the
/// memory of the queue's device. Value v of channel c is counted in bin c * 256 + v.
template <int C>
void addHistogram([[maybe_unused]] const runtime::Queue& queue, const View<const std::uint8_t>& in,
                  std::uint32_t* bins) {
  static_assert(kServesAllDevices<std::integral_constant<int, C>>, "compile this unit as CUDA");
  const auto add = [&](const View<const std::uint8_t>& rows) {
#if MIRL_KERNELS
    if (!queue.device->isHost()) {
      cuda::addHistogram<C>(queue, rows, bins);
      return;
    }
#endif
    host::addHistogram<C>(rows, bins);
  };
  inLongRows(add, in);
}

/// What an equalisation keeps in device memory for the length of a call.
struct Equalisation {
  std::uint32_t bins[kBins];
  std::uint8_t table[kBins];
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
    for (int i = 0; i < kBins - kEntries; ++i) share += i < first ? density(i) : 0.0f;
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
                            kBins / kernel_equalize::kEntries, 1};
  map(queue, kernel_equalize{at->bins, scale}, table);
}

}  // namespace mirl::engine
