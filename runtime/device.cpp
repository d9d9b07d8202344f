#include "runtime/fault.h"
#include "runtime/live_counts.h"
#include "runtime/runtime.h"

namespace mirl::runtime {
namespace {

/// The device on which this thread has lost work. Another thread may have been told of it first,
/// whose business it was not.
thread_local Device* failedHere = nullptr;

}  // namespace

void Device::rememberFailure() {
  failed_ = true;
  failedHere = this;
}

bool Device::takeFailure() {
  const bool here = failedHere == this;
  if (here) failedHere = nullptr;
  return failed_.exchange(false) || here;
}

bool Device::synchronize(void* stream) {
  const bool waited = wait(stream);
  return !takeFailure() && waited;
}

bool Device::synchronizeAll() {
  const bool waited = waitForAll();
  return !takeFailure() && waited;
}

bool Device::allocatePitched(std::size_t rowBytes, std::size_t rows, void*& data,
                             std::size_t& pitch) {
  if (rowBytes == 0 || rows == 0 || shouldFail(Call::allocate) ||
      !doAllocatePitched(rowBytes, rows, data, pitch)) {
    return false;
  }
  ++blocks_;
  ++liveCounts().deviceBlocks;
  return true;
}

bool Device::allocate(std::size_t bytes, void*& data) {
  if (bytes == 0 || shouldFail(Call::allocate) || !doAllocate(bytes, data)) return false;
  ++blocks_;
  ++liveCounts().deviceBlocks;
  return true;
}

bool Device::free(void* data) {
  if (data == nullptr || shouldFail(Call::free) || !doFree(data)) return false;
  --blocks_;
  --liveCounts().deviceBlocks;
  return true;
}

bool Device::allocateScratch(std::size_t bytes, void* stream, void*& data) {
  if (bytes == 0 || shouldFail(Call::allocate) || !doAllocateScratch(bytes, stream, data)) {
    return false;
  }
  ++liveCounts().scratchBlocks;
  return true;
}

bool Device::freeScratch(void* data, void* stream) {
  if (!doFreeScratch(data, stream)) return false;
  --liveCounts().scratchBlocks;
  return true;
}

bool Device::copy(const Copy& job) {
  if (shouldFail(Call::copy) || !doCopy(job)) return false;
  return job.direction != Direction::deviceToHost || !takeFailure();
}

bool Device::copyAsync(const Copy& job, void* stream) {
  return !shouldFail(Call::copy) && doCopyAsync(job, stream);
}

bool Device::fill(const Fill& job) {
  return !shouldFail(Call::fill) && doFill(job);
}

bool Device::fillAsync(const Fill& job, void* stream) {
  return !shouldFail(Call::fill) && doFillAsync(job, stream);
}

bool Device::createStream(void*& stream) {
  if (shouldFail(Call::stream) || !doCreateStream(stream)) return false;
  ++streams_;
  ++liveCounts().streams;
  return true;
}

bool Device::destroyStream(void* stream) {
  if (shouldFail(Call::stream) || !doDestroyStream(stream)) return false;
  --streams_;
  --liveCounts().streams;
  return true;
}

void Device::reset() {
  doReset();
  takeFailure();
  epoch_.fetch_add(1, std::memory_order_acq_rel);
  liveCounts().deviceBlocks -= blocks_.exchange(0);
  liveCounts().streams -= streams_.exchange(0);
}

bool Device::registerHost(void* data, std::size_t bytes) {
  if (shouldFail(Call::pinned) || !lockHost(data, bytes)) return false;
  ++liveCounts().registrations;
  return true;
}

bool Device::unregisterHost(void* data) {
  if (shouldFail(Call::pinned) || !unlockHost(data)) return false;
  --liveCounts().registrations;
  return true;
}

}  // namespace mirl::runtime
