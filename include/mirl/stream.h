#pragma once

#include <mirl/export.h>

#include <memory>

namespace mirl::runtime {
struct StreamState;
}

/// An ordered queue of work on a device: operations queued on one stream run one after another.
///
/// A created stream belongs to the device that was current when it was created. The default stream
/// is the default stream of whatever device the images of a call live on. On the host device work
/// is done by the time a call returns, so its streams are always finished.
///
/// Copies share the queue, and either of them may destroy it: the other is then dead, and an
/// operation that is given it returns `MIRL_INVALID_ARGUMENT`.
class MIRL_API MirlStream {
 public:
  /// The default stream, or with `create` a new stream of the current device. If that can't be had
  /// the object works as the default stream, which `isDefault` tells.
  explicit MirlStream(bool create = false);
  MirlStream(const MirlStream& other) = default;
  MirlStream& operator=(const MirlStream& other) = default;
  /// The other object becomes a default stream.
  MirlStream(MirlStream&& other) noexcept;
  MirlStream& operator=(MirlStream&& other) noexcept;
  /// Calls `destroy`.
  ~MirlStream();

  /// Makes a queue if there was a failed attempt or a `destroy` before; else does nothing, so a
  /// default stream stays one.
  void create();

  /// Gives the queue back after its work is done. Does nothing on a default stream.
  void destroy();

  /// The runtime's handle (`cudaStream_t` on a GPU), null for the default stream.
  void* ptr() const { return defaultStream_ ? nullptr : handle_; }

  /// 0 for the default stream, else a number from a process-wide counter that starts at 1. Each
  /// `destroy` of a created stream, the destructor's too, takes the counter one back.
  int id() const { return streamId_; }

  bool isDefault() const { return defaultStream_; }

  /// Whether all queued work has ended. A dead stream has none.
  bool finished() const;

  /// Waits until all queued work has ended.
  void sync() const;

 private:
  friend struct StreamAccess;

  void* handle_ = nullptr;
  bool created_ = true;
  bool defaultStream_ = true;
  int streamId_ = 0;
  std::shared_ptr<mirl::runtime::StreamState> state_;
};
