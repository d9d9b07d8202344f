#include "runtime/pinned_pool.h"

#include "runtime/fault.h"
#include "runtime/host/host_device.h"
#include "runtime/live_counts.h"
#include "runtime/runtime.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

namespace mirl::runtime {
namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kSlab = 64 * 1024;
constexpr std::size_t kSmallest = 32;
constexpr std::size_t kLargestPooled = 32 * 1024;

/// Locks are asked of the first GPU and hold for all of them. Without a GPU memory needs none.
Device* locker() {
  Device* first = device(0);
  return first->isHost() ? nullptr : first;
}

void* allocateLocked(std::size_t bytes) {
  if (bytes > physicalMemory()) return nullptr;
  void* memory = std::aligned_alloc(kPage, bytes);
  if (memory == nullptr) return nullptr;
  Device* gpu = locker();
  if (gpu != nullptr && !gpu->lockHost(memory, bytes)) {
    std::free(memory);
    return nullptr;
  }
  return memory;
}

void freeLocked(void* memory) {
  Device* gpu = locker();
  // A reset of the GPU has unlocked it already, which is as good.
  if (gpu != nullptr) gpu->unlockHost(memory);
  std::free(memory);
}

class Pool {
 public:
  void* take(std::size_t bytes) {
    const std::size_t size = std::bit_ceil(bytes < kSmallest ? kSmallest : bytes);
    const std::lock_guard lock(mutex_);
    std::vector<void*>& list = freeList(size);
    if (list.empty() && !cutSlab(size, list)) return nullptr;
    void* block = list.back();
    list.pop_back();
    return block;
  }

  void giveBack(void* block, std::size_t bytes) {
    const std::lock_guard lock(mutex_);
    freeList(std::bit_ceil(bytes < kSmallest ? kSmallest : bytes)).push_back(block);
  }

  void relock(Device& gpu) {
    const std::lock_guard lock(mutex_);
    for (void* slab : slabs_) gpu.lockHost(slab, kSlab);
  }

 private:
  std::vector<void*>& freeList(std::size_t size) {
    return lists_[static_cast<std::size_t>(std::countr_zero(size))];
  }

  bool cutSlab(std::size_t size, std::vector<void*>& list) {
    auto* slab = static_cast<char*>(allocateLocked(kSlab));
    if (slab == nullptr) return false;
    try {
      // Room for all blocks that there are, so that none finds the list full when it comes back.
      list.reserve(list.capacity() + kSlab / size);
      slabs_.push_back(slab);
    } catch (const std::bad_alloc&) {
      freeLocked(slab);
      return false;
    }
    for (std::size_t at = kSlab; at != 0; at -= size) list.push_back(slab + at - size);
    return true;
  }

  std::mutex mutex_;
  std::vector<void*> slabs_;
  std::array<std::vector<void*>, 16> lists_;  // by the logarithm of the block's size
};

/// Scalars of static lifetime give their blocks back at the very end, so the pool stays.
Pool& pool() {
  alignas(Pool) static std::byte room[sizeof(Pool)];
  static Pool& made = *new (room) Pool;
  return made;
}

}  // namespace

void* allocatePinned(std::size_t bytes) {
  if (shouldFail(Call::pinned)) return nullptr;
  void* block = nullptr;
  if (bytes <= kLargestPooled) {
    block = pool().take(bytes);
  } else {
    const std::size_t rounded = (bytes + kPage - 1) / kPage * kPage;
    if (rounded >= bytes) block = allocateLocked(rounded);
  }
  if (block != nullptr) ++liveCounts().pinnedBlocks;
  return block;
}

bool freePinned(void* block, std::size_t bytes) {
  if (block == nullptr) return true;
  if (shouldFail(Call::pinned)) return false;
  if (bytes <= kLargestPooled) {
    pool().giveBack(block, bytes);
  } else {
    freeLocked(block);
  }
  --liveCounts().pinnedBlocks;
  return true;
}

void relockPinned(int id) {
  Device* gpu = locker();
  if (gpu != nullptr && gpu->id() == id) pool().relock(*gpu);
}

}  // namespace mirl::runtime
