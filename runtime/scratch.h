#pragma once

#include "runtime/runtime.h"

#include <utility>

namespace mirl::runtime {

/// Device memory for the length of one call, in the order of its stream: it may go out of scope as
/// soon as the work that uses it is queued. Check `ok` before use.
class Scratch {
 public:
  Scratch(const Queue& queue, std::size_t bytes) : queue_(queue) {
    if (!queue.device->allocateScratch(bytes, queue.stream, data_)) data_ = nullptr;
  }
  ~Scratch() {
    if (data_ != nullptr) queue_.device->freeScratch(data_, queue_.stream);
  }
  Scratch(Scratch&& other) noexcept
      : queue_(other.queue_), data_(std::exchange(other.data_, nullptr)) {}
  Scratch& operator=(Scratch&&) = delete;

  bool ok() const { return data_ != nullptr; }
  void* data() const { return data_; }
  template <class T>
  T* as() const {
    return static_cast<T*>(data_);
  }

 private:
  Queue queue_;
  void* data_ = nullptr;
};

}  // namespace mirl::runtime
