#pragma once

// The table of an equalisation, made from a histogram where that is.

#include "engine/device_code.h"
#include "engine/histogram.h"
#include "engine/map.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace mirl::engine {

/// What an equalisation keeps in device memory for the length of a call.
struct Equalisation {
  std::uint32_t bins[histogram::kBins];
  std::uint8_t table[histogram::kBins];
};

/// From a row of bins to the row of the table. On a GPU every entry sums up for itself, on the host
/// one sum runs along: the additions are the same ones.
struct kernel_equalize {
  const std::uint32_t* bins;
  float scale;

  MIRL_HD std::uint8_t operator()(int value, std::uint32_t) const {
    float share = 0;
    // A constant number of turns lets loads be made ahead, and adding 0 changes nothing.
    for (int i = 0; i < histogram::kBins; ++i) share += i <= value ? density(i) : 0.0f;
    return entry(share);
  }
  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char*) const {
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
  constexpr int kBins = histogram::kBins;
  const float scale = 1.0f / static_cast<float>(pixels);
  map(queue, kernel_equalize{at->bins, scale}, View<std::uint8_t>{at->table, kBins, kBins, 1},
      View<const std::uint32_t>{at->bins, sizeof at->bins, kBins, 1});
}

}  // namespace mirl::engine
