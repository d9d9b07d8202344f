#include "engine/random.h"

#include "engine/device_code.h"
#include "engine/host/planes.h"
#include "engine/host/rows.h"

#include <algorithm>
#include <cstdint>

#if MIRL_KERNELS
#include "engine/cuda/launch.h"
#include "engine/cuda/words.h"
#endif

// Philox 4x32-10 of Salmon, Moraes, Dror and Shaw, "Parallel random numbers: as easy as 1, 2, 3"
// (2011), with a key of zeros. It scrambles a counter, so any number of the sequence can be had
// without those before it. The four numbers of a counter follow one another.

namespace mirl::engine {
namespace {

struct Four {
  std::uint32_t v[4];
};

MIRL_HD inline Four philox(std::uint32_t low, std::uint32_t high) {
  Four c{{low, high, 0, 0}};
  std::uint32_t key[2] = {0, 0};
  for (int round = 0; round < 10; ++round) {
    const std::uint64_t product0 = std::uint64_t{0xD2511F53u} * c.v[0];
    const std::uint64_t product1 = std::uint64_t{0xCD9E8D57u} * c.v[2];
    c = {{static_cast<std::uint32_t>(product1 >> 32) ^ c.v[1] ^ key[0],
          static_cast<std::uint32_t>(product1),
          static_cast<std::uint32_t>(product0 >> 32) ^ c.v[3] ^ key[1],
          static_cast<std::uint32_t>(product0)}};
    key[0] += 0x9E3779B9u;
    key[1] += 0xBB67AE85u;
  }
  return c;
}

/// The upper 24 bits as a multiple of 2^-24, exactly.
MIRL_HD inline float uniform(std::uint32_t bits) {
  return static_cast<float>(static_cast<std::int32_t>((bits >> 8) + 1)) * 0x1p-24f;
}

/// The sequence on the host, a run of it at a time.
class Runs {
 public:
  /// Number n; `available` are those of the run from there on.
  const float* at(std::uint64_t n, std::ptrdiff_t& available) {
    if (!made_ || n / kRun != run_) make(n / kRun);
    const auto within = static_cast<std::ptrdiff_t>(n % kRun);
    available = static_cast<std::ptrdiff_t>(kRun) - within;
    return numbers_ + within;
  }

 private:
  static constexpr std::uint64_t kRun = 1024;
  static constexpr int kCounters = kRun / 4;

  void make(std::uint64_t run) {
    made_ = true;
    run_ = run;
    // The lower half doesn't overflow within a run.
    const std::uint64_t first = run * kCounters;
    const auto low = static_cast<std::uint32_t>(first),
               high = static_cast<std::uint32_t>(first >> 32);
    alignas(64) float lane[4][kCounters];
    for (int i = 0; i < kCounters; ++i) {
      const Four bits = philox(low + static_cast<std::uint32_t>(i), high);
      for (int k = 0; k < 4; ++k) lane[k][i] = uniform(bits.v[k]);
    }
    const float* const lanes[4] = {lane[0], lane[1], lane[2], lane[3]};
    joinPlanes<float, 4>(lanes, kCounters, numbers_);
  }

  bool made_ = false;
  std::uint64_t run_ = 0;
  alignas(64) float numbers_[kRun];
};

void fillOnHost(const View<float>& out) {
  const auto rowBytes = static_cast<std::size_t>(out.width) * sizeof(float);
  host::forRows(out.height, rowBytes, [&](const host::Rows& rows) {
    Runs runs;
    for (int y = rows.begin; y < rows.end; ++y) {
      char* const row = reinterpret_cast<char*>(out.data) + y * out.pitch;
      const auto first = static_cast<std::uint64_t>(y) * static_cast<std::uint64_t>(out.width);
      for (std::ptrdiff_t x = 0; x < out.width;) {
        std::ptrdiff_t available = 0;
        const float* const from = runs.at(first + static_cast<std::uint64_t>(x), available);
        const std::ptrdiff_t count = std::min(available, out.width - x);
        host::putBytes(rows, row + x * std::ptrdiff_t{sizeof(float)}, from,
                       static_cast<std::size_t>(count) * sizeof(float));
        x += count;
      }
    }
  });
}

#if MIRL_KERNELS

constexpr int kBlockX = 32;
constexpr int kBlockY = 8;

/// A thread for each counter of a row; at its ends two rows may share one.
__global__ void __launch_bounds__(kBlockX* kBlockY) uniformKernel(const View<float> out) {
  const unsigned height = static_cast<unsigned>(out.height);
  for (unsigned y = blockIdx.y * kBlockY + threadIdx.y; y < height; y += gridDim.y * kBlockY) {
    const std::uint64_t first = static_cast<std::uint64_t>(y) * static_cast<unsigned>(out.width);
    const std::uint64_t counter = first / 4 + blockIdx.x * kBlockX + threadIdx.x;
    const std::int64_t x = static_cast<std::int64_t>(counter * 4 - first);
    if (x >= out.width) continue;
    const Four bits =
        philox(static_cast<std::uint32_t>(counter), static_cast<std::uint32_t>(counter >> 32));
    float* const row =
        reinterpret_cast<float*>(reinterpret_cast<char*>(out.data) + std::int64_t{y} * out.pitch);
    const bool whole = x >= 0 && x + 4 <= out.width;
    if (whole && reinterpret_cast<std::uintptr_t>(row + x) % 16 == 0) {
      *reinterpret_cast<float4*>(row + x) = {uniform(bits.v[0]), uniform(bits.v[1]),
                                             uniform(bits.v[2]), uniform(bits.v[3])};
    } else {
      for (int k = 0; k < 4; ++k) {
        if (x + k >= 0 && x + k < out.width) storeBytes(row + x + k, uniform(bits.v[k]));
      }
    }
  }
}

void fillOnGpu(const runtime::Queue& queue, const View<float>& out) {
  // A row that begins within a counter may meet one more.
  const int counters = out.width / 4 + 2;
  cuda::launch(queue, cuda::covering(counters, out.height, {kBlockX, kBlockY}), uniformKernel, out);
}

#endif

}  // namespace

void fillUniform([[maybe_unused]] const runtime::Queue& queue, const View<float>& out) {
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    fillOnGpu(queue, out);
    return;
  }
#endif
  fillOnHost(out);
}

}  // namespace mirl::engine
