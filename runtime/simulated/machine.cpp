#include "runtime/simulated/machine.h"

#include "runtime/simulated/block.h"
#include "runtime/simulated/modes.h"
#include "runtime/simulated/watched.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#if MIRL_WATCHED
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, bytes) ((void)(address), (void)(bytes))
#define ASAN_UNPOISON_MEMORY_REGION(address, bytes) ((void)(address), (void)(bytes))
#endif

namespace mirl::simulated {
namespace {

constexpr std::size_t kAlignment = 512;
constexpr std::size_t kDeviceBytes = std::size_t{6} << 30;
constexpr std::size_t kMostGarbage = std::size_t{64} << 20;  // of larger blocks the beginning
constexpr unsigned char kGarbage = 0xCD;

}  // namespace

void* Memory::allocate(int device, std::size_t bytes, bool openNow) {
  used_.resize(static_cast<std::size_t>(modes().gpus));
  std::size_t& used = used_[static_cast<std::size_t>(device)];
  if (bytes == 0 || bytes > kDeviceBytes - used) return nullptr;
  void* data = nullptr;
  if (posix_memalign(&data, kAlignment, bytes) != 0) return nullptr;
  std::memset(data, kGarbage, std::min(bytes, kMostGarbage));
  used += bytes;
  const Block& block = blocks_[addressOf(data)] = {device, bytes, openNow};
  setAccess(addressOf(data), block);
  return data;
}

void Memory::open(void* data) {
  const auto found = blocks_.find(addressOf(data));
  if (found == blocks_.end()) return;
  found->second.open = true;
  setAccess(found->first, found->second);
}

bool Memory::free(void* data) {
  const auto found = blocks_.find(addressOf(data));
  if (found == blocks_.end()) return false;
  ASAN_UNPOISON_MEMORY_REGION(data, found->second.bytes);
  used_[static_cast<std::size_t>(found->second.device)] -= found->second.bytes;
  blocks_.erase(found);
  std::free(data);
  return true;
}

void Memory::freeAll(int device) {
  std::vector<std::uintptr_t> its;
  for (const auto& [address, block] : blocks_) {
    if (block.device == device) its.push_back(address);
  }
  for (const std::uintptr_t address : its) free(reinterpret_cast<void*>(address));
}

bool Memory::holds(const void* data, std::size_t bytes) const {
  auto found = blocks_.upper_bound(addressOf(data));
  if (found == blocks_.begin()) return false;
  --found;
  const std::size_t offset = addressOf(data) - found->first;
  return offset < found->second.bytes && bytes <= found->second.bytes - offset;
}

void Memory::setRunning(bool running) {
  running_ = running;
  for (const auto& [address, block] : blocks_) setAccess(address, block);
}

void Memory::setAccess(std::uintptr_t address, const Block& block) const {
  if (running_ && block.open) {
    ASAN_UNPOISON_MEMORY_REGION(reinterpret_cast<void*>(address), block.bytes);
  } else {
    ASAN_POISON_MEMORY_REGION(reinterpret_cast<void*>(address), block.bytes);
  }
}

void Gpu::queue(cudaStream_t stream, std::function<void()> work) {
  pending_.push_back({stream, std::move(work)});
  if (modes().eager) finishAll();
}

bool Gpu::isIdle(cudaStream_t stream) const {
  return std::none_of(pending_.begin(), pending_.end(),
                      [&](const Work& work) { return work.stream == stream; });
}

void Gpu::finish(cudaStream_t stream) {
  if (isIdle(stream)) return;
  memory_.setRunning(true);
  while (step(stream)) continue;
  memory_.setRunning(false);
}

void Gpu::finishAll() {
  while (!pending_.empty()) finish(pending_.back().stream);
}

void Gpu::runOne(cudaStream_t stream) {
  memory_.setRunning(true);
  step(stream);
  memory_.setRunning(false);
}

bool Gpu::step(cudaStream_t stream) {
  // What must have run: everything up to the last work of the default stream that stands before the
  // last of this stream's, and of this stream all.
  std::size_t end = 0, shared = 0;
  for (std::size_t i = 0, lastDefault = 0; i < pending_.size(); ++i) {
    if (pending_[i].stream == nullptr) lastDefault = i + 1;
    if (pending_[i].stream != stream) continue;
    end = i + 1;
    shared = lastDefault;
  }
  if (end == 0) return false;
  // What may run now: of each stream the first, but nothing across work of the default stream.
  std::vector<std::size_t> ready;
  std::vector<cudaStream_t> seen;
  for (std::size_t i = 0; i < end; ++i) {
    const cudaStream_t its = pending_[i].stream;
    if (its == nullptr && i > 0) break;
    const bool first = std::find(seen.begin(), seen.end(), its) == seen.end();
    if (first && (i < shared || its == stream)) ready.push_back(i);
    seen.push_back(its);
    if (its == nullptr) break;
  }
  std::vector<unsigned> order;
  arrange(order, ready.size());
  const auto chosen = pending_.begin() + static_cast<std::ptrdiff_t>(ready[order[0]]);
  const std::function<void()> run = std::move(chosen->run);
  pending_.erase(chosen);
  run();
  return true;
}

Machine::Machine() : gpus(static_cast<std::size_t>(modes().gpus), Gpu(memory)), used(gpus.size()) {}

void Machine::useCurrent() {
  used[static_cast<std::size_t>(currentDevice())] = true;
}

Gpu& Machine::gpuOf(cudaStream_t stream) {
  const int device = currentDevice();
  useCurrent();
  if (stream != nullptr && !stream->alive) fault("work on a stream that was destroyed");
  if (stream != nullptr && stream->device != device) {
    fault("work on a stream of device " + std::to_string(stream->device) + " while device " +
          std::to_string(device) + " is current");
  }
  return gpus[static_cast<std::size_t>(device)];
}

bool Machine::isLocked(const void* data, std::size_t bytes) const {
  const auto address = reinterpret_cast<std::uintptr_t>(data);
  auto found = lockedHost.upper_bound(address);
  if (found == lockedHost.begin()) return false;
  --found;
  const std::size_t offset = address - found->first;
  return offset < found->second.first && bytes <= found->second.first - offset;
}

/// Images of static lifetime are freed when the program ends, so the machine stays.
Machine& machine() {
  static Machine& made = *new Machine;
  return made;
}

}  // namespace mirl::simulated
