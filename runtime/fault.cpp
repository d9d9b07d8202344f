#include "runtime/fault.h"

#include "runtime/live_counts.h"

#include <array>
#include <atomic>

namespace mirl::runtime {
namespace {

std::array<std::atomic<int>, kCallKinds>& countdowns() {
  static std::array<std::atomic<int>, kCallKinds> counts{};
  return counts;
}

}  // namespace

void failNth(Call kind, int n) {
  countdowns()[static_cast<std::size_t>(kind)] = n;
}

bool shouldFail(Call kind) {
  std::atomic<int>& countdown = countdowns()[static_cast<std::size_t>(kind)];
  if (countdown.load(std::memory_order_relaxed) == 0) return false;
  return countdown.fetch_sub(1) == 1;
}

LiveCounts& liveCounts() {
  static LiveCounts counts;
  return counts;
}

Live live() {
  const LiveCounts& counts = liveCounts();
  return {counts.deviceBlocks, counts.scratchBlocks, counts.streams, counts.pinnedBlocks,
          counts.registrations};
}

}  // namespace mirl::runtime
