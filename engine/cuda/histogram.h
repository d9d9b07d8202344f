#pragma once

// The GPU path of the histogram pattern.

#include "engine/cuda/launch.h"
#include "engine/cuda/shared.h"
#include "engine/cuda/words.h"
#include "engine/view.h"

#include <algorithm>
#include <cstdint>

namespace mirl::engine::cuda {
namespace histogram {

inline constexpr int kBins = 256;

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

  Shared<std::uint32_t> channels[C];
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

}  // namespace histogram

template <int C>
void addHistogram(const runtime::Queue& queue, const View<const std::uint8_t>& in,
                  std::uint32_t* bins) {
  using namespace histogram;
  // Two blocks fill a multiprocessor, and each costs clearing and merging its counters.
  const int processors = queue.device->multiProcessors();
  const std::int64_t words = (std::int64_t{in.width} + 47) / 48 * 3 * in.height;
  const auto blocks = static_cast<unsigned>(
      std::min<std::int64_t>(2 * processors, (words - 1) / (4 * kThreads) + 1));
  launch(queue, {blocks, kThreads},
         isVectorAligned<16>(in) ? histogramKernel<true, C> : histogramKernel<false, C>, in, bins);
}

}  // namespace mirl::engine::cuda
