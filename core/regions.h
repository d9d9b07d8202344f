#pragma once

// Rectangles of images, and copies of them within a device.

#include "core/access.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace mirl::core {

/// Whether a rectangle has no negative number and ends inside.
inline bool contains(const MirlSize& size, const MirlRect& rect) {
  return rect.x >= 0 && rect.y >= 0 && rect.width >= 0 && rect.height >= 0 &&
         rect.width <= std::int64_t{size.width} - rect.x &&
         rect.height <= std::int64_t{size.height} - rect.y;
}

inline bool isEmpty(const MirlRect& rect) {
  return rect.width < 1 || rect.height < 1;
}

/// What two rectangles share, all zeros if that has no pixels.
inline MirlRect intersection(const MirlRect& a, const MirlRect& b) {
  const int x = std::max(a.x, b.x), y = std::max(a.y, b.y);
  const auto width = std::min(std::int64_t{a.x} + a.width, std::int64_t{b.x} + b.width) - x;
  const auto height = std::min(std::int64_t{a.y} + a.height, std::int64_t{b.y} + b.height) - y;
  if (width < 1 || height < 1) return {};
  return {x, y, static_cast<int>(width), static_cast<int>(height)};
}

inline MirlRect allOf(const MirlImage& image) {
  return {0, 0, image.width(), image.height()};
}

/// A rectangle of an image, or of memory in which pixels stand like an image's. It has the
/// accessors of images that views are made with.
class Part {
 public:
  Part(const MirlImage& image)
      : data_(image.ptr()),
        pitch_(image.pitch()),
        size_(image.size()),
        depth_(image.depth()),
        channels_(image.channels()) {}

  void* ptr() const { return data_; }
  int pitch() const { return pitch_; }
  int width() const { return size_.width; }
  int height() const { return size_.height; }
  const MirlSize& size() const { return size_; }
  int depth() const { return depth_; }
  int channels() const { return channels_; }

  std::size_t pixelBytes() const {
    return static_cast<std::size_t>(depth_) / 8 * static_cast<std::size_t>(channels_);
  }
  std::size_t rowBytes() const { return static_cast<std::size_t>(size_.width) * pixelBytes(); }
  std::size_t bytes() const { return static_cast<std::size_t>(size_.height) * rowBytes(); }

  /// A rectangle that this contains.
  Part operator[](const MirlRect& rect) const {
    Part part = *this;
    part.data_ = static_cast<char*>(data_) + std::ptrdiff_t{rect.y} * pitch_ +
                 rect.x * static_cast<std::ptrdiff_t>(pixelBytes());
    part.size_ = {rect.width, rect.height};
    return part;
  }
  /// The same bytes as pixels of another format, as many of them as go into a row.
  Part as(int depth, int channels) const {
    Part part = *this;
    part.depth_ = depth;
    part.channels_ = channels;
    part.size_.width = static_cast<int>(rowBytes() / part.pixelBytes());
    return part;
  }
  /// Pixels like these in `bytes()` bytes of memory.
  Part in(void* memory) const {
    Part part = *this;
    part.data_ = memory;
    part.pitch_ = static_cast<int>(rowBytes());
    return part;
  }

 private:
  void* data_;
  int pitch_;
  MirlSize size_;
  int depth_;
  int channels_;
};

/// The copy of a part to the first pixels of another of the same format and device.
inline runtime::Copy copyOf(const Part& from, const Part& to) {
  return {to.ptr(),
          static_cast<std::size_t>(to.pitch()),
          from.ptr(),
          static_cast<std::size_t>(from.pitch()),
          from.rowBytes(),
          static_cast<std::size_t>(from.height()),
          runtime::Direction::deviceToDevice};
}

/// Queues it. `MIRL_COPY_D2D_FAILED` if that fails.
inline MirlStatus copy(const runtime::Queue& queue, const Part& from, const Part& to) {
  if (from.width() < 1 || from.height() < 1) return MIRL_SUCCESS;
  const bool queued = queue.device->copyAsync(copyOf(from, to), queue.stream);
  return queued ? MIRL_SUCCESS : MIRL_COPY_D2D_FAILED;
}

/// Queues the copies of what lies outside a rectangle: above it, left and right of it, below it.
inline MirlStatus copyAround(const runtime::Queue& queue, const Part& from, const Part& to,
                             const MirlRect& rect) {
  const int right = rect.x + rect.width, bottom = rect.y + rect.height;
  for (const MirlRect& part :
       {MirlRect(0, 0, from.width(), rect.y), MirlRect(0, rect.y, rect.x, rect.height),
        MirlRect(right, rect.y, from.width() - right, rect.height),
        MirlRect(0, bottom, from.width(), from.height() - bottom)}) {
    const MirlStatus copied = copy(queue, from[part], to[part]);
    if (copied != MIRL_SUCCESS) return copied;
  }
  return MIRL_SUCCESS;
}

}  // namespace mirl::core
