#pragma once

// The host path of the histogram pattern.

#include "engine/host/rows.h"
#include "engine/view.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace mirl::engine::host {

template <int C>
void addHistogram(const View<const std::uint8_t>& in, std::uint32_t* bins) {
  constexpr int kBins = 256;
  constexpr int kAtOnce = 24;  // elements: whole pixels, and words of 8 bytes
  constexpr int kCopies = 2;
  constexpr int kTables = C == 1 ? 4 : C * kCopies;
  static_assert(kAtOnce % kTables == 0 && kTables % C == 0);
  constexpr std::size_t kSetUp = kTables * kBins * sizeof(std::uint32_t);
  const auto rowBytes = static_cast<std::size_t>(in.width);
  forRows(in.height, {rowBytes, rowBytes, kSetUp}, [&](const Rows& rows) {
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

}  // namespace mirl::engine::host
