#pragma once

#include <atomic>

namespace mirl::runtime {

/// Where the runtime keeps the numbers that `live` reports.
struct LiveCounts {
  std::atomic<long> deviceBlocks{0};
  std::atomic<long> scratchBlocks{0};
  std::atomic<long> streams{0};
  std::atomic<long> pinnedBlocks{0};
  std::atomic<long> registrations{0};
};
LiveCounts& liveCounts();

}  // namespace mirl::runtime
