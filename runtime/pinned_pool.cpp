#include "runtime/pinned_pool.h"

#include "runtime/fault.h"
#include "runtime/host/host_device.h"
#include "runtime/live_counts.h"
#include "runtime/runtime.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <map>
#include <mutex>
#include <new>
#include <vector>

namespace mirl::runtime {
namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kSlab = 64 * 1024;
constexpr std::size_t kSmallest = 32;
constexpr std::size_t kLargestPooled = 32 * 1024;

class Pool {
 public:
  void* take(std::size_t bytes) {
    const std::lock_guard lock(mutex_);
    if (bytes > kLargestPooled) return allocateLocked(bytes);
    const std::size_t size = std::bit_ceil(bytes < kSmallest ? kSmallest : bytes);
    std::vector<void*>& list = freeList(size);
    if (list.empty() && !cutSlab(size, list)) return nullptr;
    void* block = list.back();
    list.pop_back();
    return block;
  }

  void giveBack(void* block, std::size_t bytes) {
    const std::lock_guard lock(mutex_);
    if (bytes > kLargestPooled) {
      freeLocked(block);
    } else {
      freeList(std::bit_ceil(bytes < kSmallest ? kSmallest : bytes)).push_back(block);
    }
  }

  void lock(Device& gpu) {
    const std::lock_guard lock(mutex_);
    if (locker_ != nullptr) return;
    locker_ = &gpu;
    for (const auto& [memory, bytes] : memory_) gpu.lockHost(memory, bytes);
  }

  void unlocked(Device& gpu) {
    const std::lock_guard lock(mutex_);
    if (locker_ == &gpu) locker_ = nullptr;
  }

 private:
  std::vector<void*>& freeList(std::size_t size) {
    return lists_[static_cast<std::size_t>(std::countr_zero(size))];
  }

  void* allocateLocked(std::size_t bytes) {
    if (bytes > physicalMemory()) return nullptr;
    const std::size_t rounded = (bytes + kPage - 1) / kPage * kPage;
    void* memory = std::aligned_alloc(kPage, rounded);
    if (memory == nullptr) return nullptr;
    try {
      memory_.emplace(memory, rounded);
    } catch (const std::bad_alloc&) {
      std::free(memory);
      return nullptr;
    }
    if (locker_ == nullptr || locker_->lockHost(memory, rounded)) return memory;
    memory_.erase(memory);
    std::free(memory);
    return nullptr;
  }

  void freeLocked(void* memory) {
    if (locker_ != nullptr) locker_->unlockHost(memory);
    memory_.erase(memory);
    std::free(memory);
  }

  bool cutSlab(std::size_t size, std::vector<void*>& list) {
    auto* slab = static_cast<char*>(allocateLocked(kSlab));
    if (slab == nullptr) return false;
    try {
      // Room for all blocks that there are, so that none finds the list full when it comes back.
      list.reserve(list.capacity() + kSlab / size);
    } catch (const std::bad_alloc&) {
      freeLocked(slab);
      return false;
    }
    for (std::size_t at = kSlab; at != 0; at -= size) list.push_back(slab + at - size);
    return true;
  }

  std::mutex mutex_;
  Device* locker_ = nullptr;                  // the GPU that holds the locks
  std::map<void*, std::size_t> memory_;       // slabs and larger blocks
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
  void* block = pool().take(bytes);
  if (block != nullptr) ++liveCounts().pinnedBlocks;
  return block;
}

bool freePinned(void* block, std::size_t bytes) {
  if (block == nullptr) return true;
  if (shouldFail(Call::pinned)) return false;
  pool().giveBack(block, bytes);
  --liveCounts().pinnedBlocks;
  return true;
}

void lockPinned(Device& gpu) {
  pool().lock(gpu);
}

void pinnedUnlocked(Device& gpu) {
  pool().unlocked(gpu);
}

}  // namespace mirl::runtime
