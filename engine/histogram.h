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

/// The table of an equalisation. On a GPU every entry sums up for itself, on the host one sum runs
/// along: the additions are the same ones.
struct kernel_equalize {
  static constexpr Asks asks{.place = true, .vectors = true};

  const std::uint32_t* bins;
  float scale;

  MIRL_HD std::uint8_t operator()(Place at) const {
    float share = 0;
    // A constant number of turns lets loads be made ahead, and adding 0 changes nothing.
    for (int i = 0; i < kBins; ++i) share += i <= at.x ? density(i) : 0.0f;
    return entry(share);
  }
  std::ptrdiff_t vectors(Place, std::ptrdiff_t count, char* out) const {
    float share = 0;
    for (int i = 0; i < count; ++i) {
      share += density(i);
      out[i] = static_cast<char>(entry(share));
    }
    return count;
  }

 private:
  MIRL_HD float density(int value) const { return static_cast<float>(bins[value]) * scale; }
  MIRL_HD static std::uint8_t entry(float share) {
    return static_cast<std::uint8_t>(static_cast<int>(::roundf(share * 255.0f)));
  }
};

/// Queues making the table from the bins of an image of so many pixels.
inline void equalize(const runtime::Queue& queue, Equalisation* at, std::int64_t pixels) {
  const float scale = 1.0f / static_cast<float>(pixels);
  map(queue, kernel_equalize{at->bins, scale}, View<std::uint8_t>{at->table, kBins, kBins, 1});
}

}  // namespace mirl::engine
