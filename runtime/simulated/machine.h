#pragma once

// The simulated GPUs: their memory and their queues. Everything below happens under one lock, so
// that what runs on them runs one after another.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

#include "runtime/simulated/include/cuda_runtime_api.h"

struct CUstream_st {
  int device;
  bool alive = true;
};

namespace mirl::simulated {

/// Blocks of the size asked for, with the address sanitizer's red zones around them. The host can't
/// touch them: they are open only while work runs.
class Memory {
 public:
  /// Null if the device hasn't as much left. A block that isn't open yet will be by `open`.
  void* allocate(int device, std::size_t bytes, bool openNow);
  void open(void* data);
  bool free(void* data);
  void freeAll(int device);
  bool isBlock(const void* data) const { return blocks_.contains(addressOf(data)); }
  /// Whether all of a range lies in a block, of whatever device.
  bool holds(const void* data, std::size_t bytes) const;

  /// Opens and closes all blocks, for the time that work runs.
  void setRunning(bool running);

 private:
  struct Block {
    int device;
    std::size_t bytes;
    bool open;
  };
  static std::uintptr_t addressOf(const void* data) {
    return reinterpret_cast<std::uintptr_t>(data);
  }
  void setAccess(std::uintptr_t address, const Block& block) const;

  std::map<std::uintptr_t, Block> blocks_;
  std::vector<std::size_t> used_;  // by device
  bool running_ = false;
};

class Gpu {
 public:
  explicit Gpu(Memory& memory) : memory_(memory) {}

  /// Queues work on a stream, null being the default stream: it waits for all that was queued
  /// before on any stream, and what is queued later on any stream waits for it.
  void queue(cudaStream_t stream, std::function<void()> work);
  bool isIdle(cudaStream_t stream) const;
  /// Runs what a stream has queued and what that waits for, no more.
  void finish(cudaStream_t stream);
  void finishAll();
  /// Runs one piece of what a stream waits for.
  void runOne(cudaStream_t stream);
  void drop() { pending_.clear(); }

 private:
  struct Work {
    cudaStream_t stream;
    std::function<void()> run;
  };
  bool step(cudaStream_t stream);

  Memory& memory_;
  std::deque<Work> pending_;  // in the order of queueing
};

struct Machine {
  Machine();

  /// The queue of a stream on the current device.
  Gpu& gpuOf(cudaStream_t stream);
  /// The current device is in use from now on: a real one would set itself up, which takes memory.
  void useCurrent();
  bool isLocked(const void* data, std::size_t bytes) const;

  std::recursive_mutex mutex;
  Memory memory;
  std::vector<Gpu> gpus;
  std::map<std::uintptr_t, std::pair<std::size_t, int>> lockedHost;  // bytes, and who locked them
  std::vector<CUstream_st*> streams;                                 // the dead ones too
  std::vector<bool> used;                                            // by device
};
Machine& machine();

int currentDevice();

}  // namespace mirl::simulated
