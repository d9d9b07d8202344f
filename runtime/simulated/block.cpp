#include "runtime/simulated/block.h"

#include "runtime/simulated/fiber.h"
#include "runtime/simulated/modes.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

dim3 gridDim, blockDim, blockIdx, threadIdx;

namespace mirl::simulated {
namespace {

constexpr std::size_t kSharedLimit = 48 * 1024;
constexpr unsigned kMostThreads = 1024;
constexpr unsigned char kGarbage = 0xCB;

/// Who has touched a byte of shared memory since the last barrier, and whether it was ever written.
struct Touches {
  std::uint32_t period = 0;  // between barriers; they are counted over all blocks
  std::uint32_t writtenIn = 0;
  short thread = 0;  // or that there were several
  unsigned char how = 0;
};
constexpr short kSeveral = -1;

struct Array {
  const void* name;
  std::size_t offset;
};

/// A place to run threads in, and the thread that waits there.
struct Seat {
  std::unique_ptr<Fiber> fiber;
  unsigned thread = 0;
  std::source_location at;
};

/// The block that runs at the moment. Seats are kept for the next one.
struct Block {
  const Launch* launch = nullptr;
  const std::function<void()>* body = nullptr;
  unsigned thread = 0;
  unsigned threads = 0;

  std::vector<unsigned> order;
  unsigned started = 0;
  std::vector<std::unique_ptr<Seat>> seats;
  std::vector<Seat*> idle;
  std::vector<Seat*> waiting;  // at a barrier, in the order of arrival
  Seat* seat = nullptr;

  alignas(256) std::byte shared[kSharedLimit];
  Touches touches[kSharedLimit];
  std::vector<Array> arrays;
  std::size_t sharedBytes = 0;
  std::uint32_t period = 1;
  std::uint32_t firstPeriod = 1;
};
Block& block() {
  static Block& made = *new Block;
  return made;
}

void setThread(unsigned thread) {
  block().thread = thread;
  threadIdx = {thread % blockDim.x, thread / blockDim.x % blockDim.y,
               thread / blockDim.x / blockDim.y};
}

/// A fiber runs threads for as long as none waits, so that kernels without barriers are one loop.
void runThreads(void* argument) {
  auto& seat = *static_cast<Seat*>(argument);
  Block& b = block();
  for (;;) {
    while (b.started < b.threads) {
      setThread(b.order[b.started++]);
      (*b.body)();
    }
    b.idle.push_back(&seat);
    seat.fiber->comeBack();
  }
}

Seat& takeSeat() {
  Block& b = block();
  if (b.idle.empty()) {
    Seat& seat = *b.seats.emplace_back(std::make_unique<Seat>());
    seat.fiber = std::make_unique<Fiber>(runThreads, &seat);
    return seat;
  }
  Seat& seat = *b.idle.back();
  b.idle.pop_back();
  return seat;
}

void resume(Seat& seat) {
  block().seat = &seat;
  seat.fiber->run();
}

std::string placeOf(const std::source_location& at) {
  return std::string(at.file_name()) + ":" + std::to_string(at.line());
}

/// Lets the threads that wait at a barrier go on: those that have ended count as arrived.
void passBarrier() {
  const std::vector<Seat*> waiting = std::exchange(block().waiting, {});
  for (const Seat* seat : waiting) {
    if (seat->at.line() != waiting[0]->at.line()) {
      fault("threads wait at different barriers, " + placeOf(waiting[0]->at) + " and " +
            placeOf(seat->at));
    }
  }
  ++block().period;
  std::vector<unsigned> order;
  rearrange(order, waiting.size());
  for (const unsigned i : order) {
    setThread(waiting[i]->thread);
    resume(*waiting[i]);
  }
}

void runBlock() {
  Block& b = block();
  b.arrays.clear();
  b.sharedBytes = 0;
  b.firstPeriod = ++b.period;
  sharedArray(nullptr, b.launch->dynamicBytes, 16);
  arrange(b.order, b.threads);
  b.started = 0;
  while (b.started < b.threads) resume(takeSeat());
  while (!b.waiting.empty()) passBarrier();
}

std::string text(const dim3& at) {
  return "(" + std::to_string(at.x) + ", " + std::to_string(at.y) + ", " + std::to_string(at.z) +
         ")";
}

void check(const Launch& launch) {
  const dim3 &grid = launch.grid, &threads = launch.block;
  const bool empty = grid.x == 0 || grid.y == 0 || grid.z == 0 || threads.x == 0 ||
                     threads.y == 0 || threads.z == 0;
  if (empty || grid.x > 2147483647u || grid.y > 65535u || grid.z > 65535u) {
    fault("a grid of " + text(grid) + " blocks is out of range");
  }
  const std::uint64_t count = std::uint64_t{threads.x} * threads.y * threads.z;
  if (empty || threads.x > 1024 || threads.y > 1024 || threads.z > 64 || count > kMostThreads) {
    fault("a block of " + text(threads) + " threads is out of range");
  }
  constexpr std::size_t kParameterLimit = 32764;
  if (launch.parameterBytes > kParameterLimit) {
    fault("a kernel's parameters take " + std::to_string(launch.parameterBytes) + " bytes, " +
          std::to_string(kParameterLimit) + " are allowed");
  }
}

}  // namespace

void runGrid(const Launch& launch, const std::function<void()>& thread) {
  Block& b = block();
  b.launch = &launch;
  b.body = &thread;
  check(launch);
  gridDim = launch.grid;
  blockDim = launch.block;
  b.threads = launch.block.x * launch.block.y * launch.block.z;
  std::vector<unsigned> order;
  arrange(order, std::size_t{gridDim.x} * gridDim.y * gridDim.z);
  for (const unsigned i : order) {
    blockIdx = {i % gridDim.x, i / gridDim.x % gridDim.y, i / gridDim.x / gridDim.y};
    runBlock();
  }
  b.launch = nullptr;
}

void fault(const std::string& what) {
  const Block& b = block();
  if (b.launch == nullptr) {
    std::fprintf(stderr, "simulated GPU: %s\n", what.c_str());
  } else {
    // What the compiler says of the launch ends in the types of the kernel's parameters.
    const char* const types = std::strchr(b.launch->kernel, '[');
    std::fprintf(stderr, "simulated GPU: %s; thread %s of block %s of the kernel %s\n",
                 what.c_str(), text(threadIdx).c_str(), text(blockIdx).c_str(),
                 types == nullptr ? b.launch->kernel : types);
  }
  std::fflush(stderr);
  std::abort();
}

std::byte* sharedArray(const void* name, std::size_t bytes, std::size_t alignment) {
  Block& b = block();
  for (const Array& array : b.arrays) {
    if (array.name == name) return b.shared + array.offset;
  }
  const std::size_t offset = (b.sharedBytes + alignment - 1) / alignment * alignment;
  if (bytes > kSharedLimit || offset + bytes > kSharedLimit) {
    fault("a block's shared memory takes " + std::to_string(offset + bytes) + " bytes, " +
          std::to_string(kSharedLimit) + " are allowed");
  }
  std::memset(b.shared + offset, kGarbage, bytes);
  b.sharedBytes = offset + bytes;
  b.arrays.push_back({name, offset});
  return b.shared + offset;
}

void touchShared(const void* at, std::size_t bytes, Touch how) {
  Block& b = block();
  const auto offset = static_cast<std::size_t>(static_cast<const std::byte*>(at) - b.shared);
  if (offset >= b.sharedBytes || bytes > b.sharedBytes - offset) {
    fault("an access outside shared memory, at byte " +
          std::to_string(static_cast<std::ptrdiff_t>(offset)) + " of " +
          std::to_string(b.sharedBytes));
  }
  const auto mine = static_cast<short>(b.thread);
  const auto bit = static_cast<unsigned char>(how);
  constexpr auto kRead = static_cast<unsigned char>(Touch::read);
  constexpr auto kWrite = static_cast<unsigned char>(Touch::write);
  constexpr auto kAtomic = static_cast<unsigned char>(Touch::atomic);
  for (Touches* t = b.touches + offset; t != b.touches + offset + bytes; ++t) {
    if (how != Touch::write && t->writtenIn < b.firstPeriod) {
      fault("a read of shared memory that no thread of the block wrote, byte " +
            std::to_string(t - b.touches));
    }
    if (t->period != b.period) {
      t->period = b.period;
      t->thread = mine;
      t->how = 0;
    } else if (t->thread != mine) {
      const unsigned all = t->how | bit;
      const bool mixed = (all & kAtomic) != 0 && (all & kRead) != 0;
      if ((all & kWrite) != 0 || mixed) {
        fault("threads touch byte " + std::to_string(t - b.touches) +
              " of shared memory without a barrier between them");
      }
      t->thread = kSeveral;
    }
    t->how |= bit;
    if (how != Touch::read) t->writtenIn = b.period;
  }
}

}  // namespace mirl::simulated

void __syncthreads(const std::source_location& here) {
  using namespace mirl::simulated;
  Seat& seat = *block().seat;
  seat.thread = block().thread;
  seat.at = here;
  block().waiting.push_back(&seat);
  seat.fiber->comeBack();
}
