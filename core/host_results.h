#pragma once

// Host memory that a call fills on a device.

#include <mirl/status.h>

#include "runtime/runtime.h"
#include "runtime/scratch.h"

#include <cstddef>
#include <optional>

namespace mirl::core {

/// Kernels of the host device write to the caller's memory itself, those of a GPU to scratch that
/// is copied when they are done.
template <class T>
class HostResult {
 public:
  HostResult(const runtime::Queue& queue, T* host, std::size_t count)
      : queue_(queue), host_(host), bytes_(count * sizeof(T)) {
    if (!queue.device->isHost()) scratch_.emplace(queue, bytes_);
  }

  bool ok() const { return !scratch_ || scratch_->ok(); }
  /// Where kernels write.
  T* data() const { return scratch_ ? scratch_->template as<T>() : host_; }
  /// Queues the copy; there is none to make of what a lost kernel hasn't written.
  bool fetch() const {
    if (!scratch_ || queue_.lost) return true;
    return queue_.device->copyAsync(
        {host_, bytes_, data(), bytes_, bytes_, 1, runtime::Direction::deviceToHost},
        queue_.stream);
  }

 private:
  const runtime::Queue& queue_;
  T* host_;
  std::size_t bytes_;
  std::optional<runtime::Scratch> scratch_;
};

/// Fetches all of them and waits for the stream. `MIRL_COPY_D2H_FAILED` if a copy can't be queued,
/// `MIRL_KERNEL_FAILED` if work was lost.
template <class... T>
MirlStatus fetch(const runtime::Queue& queue, const HostResult<T>&... results) {
  const bool queued = (results.fetch() && ...);
  const bool done = queue.device->synchronize(queue.stream);
  if (!queued) return MIRL_COPY_D2H_FAILED;
  return done ? MIRL_SUCCESS : MIRL_KERNEL_FAILED;
}

}  // namespace mirl::core
