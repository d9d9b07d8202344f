#include <mirl/image.h>

#include "core/outputs.h"

#include <cstdint>
#include <utility>

using mirl::runtime::Copy;
using mirl::runtime::Device;
using mirl::runtime::Direction;
using mirl::runtime::Queue;

namespace {

std::size_t bytes(int value) {
  return static_cast<std::size_t>(value);
}

/// Whether a rectangle has no negative number and ends inside `extent`, all in the same unit.
bool fits(const MirlRect& rect, std::int64_t extentX, std::int64_t extentY) {
  return rect.x >= 0 && rect.y >= 0 && rect.width >= 0 && rect.height >= 0 &&
         std::int64_t{rect.x} + rect.width <= extentX &&
         std::int64_t{rect.y} + rect.height <= extentY;
}

/// Host memory seen as an image: where its first byte is, and what of it takes part.
struct HostSide {
  const void* data;
  int pitch;
  MirlPoint2D<int> origin;
};

/// What part of the image moves. Whole blocks are the image's rows with their padding.
struct Part {
  MirlRect rect;
  bool wholeBlock = false;
};

/// Runs a transfer of `part` of an image from or to the host. Without a stream it blocks.
MirlStatus transfer(const MirlImage& image, const HostSide& host, const Part& part,
                    Direction direction, const MirlStream* stream) {
  Device* device = ImageAccess::device(image);
  if (device == nullptr) return MIRL_IMAGE_NOT_INITIALIZED;
  if (host.data == nullptr) return MIRL_NULL_POINTER;

  const std::size_t pixel = mirl::core::pixelBytes(image);
  const std::size_t moved = part.wholeBlock ? bytes(image.pitch()) * bytes(image.height())
                                            : bytes(part.rect.width) * pixel;
  if (!part.wholeBlock) {
    if (!fits(part.rect, image.width(), image.height()) || host.origin.x < 0 || host.origin.y < 0) {
      return MIRL_INVALID_ARGUMENT;
    }
    const std::size_t hostRow = bytes(host.origin.x) * pixel + moved;
    if (host.pitch < 0 || bytes(host.pitch) < hostRow) return MIRL_INVALID_ARGUMENT;
  }
  Queue queue{device, nullptr};
  if (stream != nullptr) {
    const MirlStatus status = StreamAccess::queue(*stream, *device, queue);
    if (status != MIRL_SUCCESS) return status;
  }
  if (part.rect.width == 0 || part.rect.height == 0) return MIRL_SUCCESS;

  char* inImage = static_cast<char*>(image.ptr()) + bytes(part.rect.y) * bytes(image.pitch()) +
                  bytes(part.rect.x) * pixel;
  char* onHost = static_cast<char*>(const_cast<void*>(host.data)) +
                 bytes(host.origin.y) * bytes(host.pitch) + bytes(host.origin.x) * pixel;
  const std::size_t rows = part.wholeBlock ? 1 : bytes(part.rect.height);
  const bool up = direction == Direction::hostToDevice;
  Copy job{up ? inImage : onHost,
           up ? bytes(image.pitch()) : bytes(host.pitch),
           up ? onHost : inImage,
           up ? bytes(host.pitch) : bytes(image.pitch()),
           moved,
           rows,
           direction};
  const bool done = stream == nullptr ? device->copy(job) : device->copyAsync(job, queue.stream);
  if (done) return MIRL_SUCCESS;
  return up ? MIRL_COPY_H2D_FAILED : MIRL_COPY_D2H_FAILED;
}

MirlRect whole(const MirlImage& image) {
  return {0, 0, image.width(), image.height()};
}

MirlStatus moveBlock(const MirlImage& image, const void* host, Direction direction,
                     const MirlStream* stream) {
  return transfer(image, {host, 0, {}}, {whole(image), true}, direction, stream);
}

MirlStatus moveRows(const MirlImage& image, const void* host, int hostPitch, Direction direction,
                    const MirlStream* stream) {
  return transfer(image, {host, hostPitch, {}}, {whole(image)}, direction, stream);
}

/// In `upload` the rectangle lies on the host and the point in the image; `download` has it the
/// other way round.
MirlStatus uploadRect(const MirlImage& image, const void* src, const MirlRect& srcRect,
                      int hostPitch, const MirlPoint2D<int>& dstOrigin, const MirlStream* stream) {
  const MirlRect inImage(dstOrigin.x, dstOrigin.y, srcRect.width, srcRect.height);
  return transfer(image, {src, hostPitch, srcRect.origin()}, {inImage}, Direction::hostToDevice,
                  stream);
}

}  // namespace

MirlStatus MirlImage::upload(const void* src) {
  return moveBlock(*this, src, Direction::hostToDevice, nullptr);
}

MirlStatus MirlImage::upload(const void* src, const MirlStream& stream) {
  return moveBlock(*this, src, Direction::hostToDevice, &stream);
}

MirlStatus MirlImage::upload(const void* src, int hostPitch) {
  return moveRows(*this, src, hostPitch, Direction::hostToDevice, nullptr);
}

MirlStatus MirlImage::upload(const void* src, int hostPitch, const MirlStream& stream) {
  return moveRows(*this, src, hostPitch, Direction::hostToDevice, &stream);
}

MirlStatus MirlImage::upload(const void* src, MirlRect srcRect, int hostPitch,
                             MirlPoint2D<int> dstOrigin) {
  return uploadRect(*this, src, srcRect, hostPitch, dstOrigin, nullptr);
}

MirlStatus MirlImage::upload(const void* src, MirlRect srcRect, int hostPitch,
                             MirlPoint2D<int> dstOrigin, const MirlStream& stream) {
  return uploadRect(*this, src, srcRect, hostPitch, dstOrigin, &stream);
}

MirlStatus MirlImage::download(void* dst) const {
  return moveBlock(*this, dst, Direction::deviceToHost, nullptr);
}

MirlStatus MirlImage::download(void* dst, const MirlStream& stream) const {
  return moveBlock(*this, dst, Direction::deviceToHost, &stream);
}

MirlStatus MirlImage::download(void* dst, int hostPitch) const {
  return moveRows(*this, dst, hostPitch, Direction::deviceToHost, nullptr);
}

MirlStatus MirlImage::download(void* dst, int hostPitch, const MirlStream& stream) const {
  return moveRows(*this, dst, hostPitch, Direction::deviceToHost, &stream);
}

MirlStatus MirlImage::download(void* dst, MirlPoint2D<int> dstOrigin, int hostPitch,
                               MirlRect srcRect) {
  return transfer(*this, {dst, hostPitch, dstOrigin}, {srcRect}, Direction::deviceToHost, nullptr);
}

MirlStatus MirlImage::download(void* dst, MirlPoint2D<int> dstOrigin, int hostPitch,
                               MirlRect srcRect, const MirlStream& stream) {
  return transfer(*this, {dst, hostPitch, dstOrigin}, {srcRect}, Direction::deviceToHost, &stream);
}

MirlStatus MirlImage::copyTo(MirlImage& dst, MirlPoint2D<int> dstOrigin, MirlRect srcRect,
                             const MirlStream& stream) const {
  Queue queue;
  const MirlStatus found = mirl::core::findQueue(stream, *this, {&dst}, queue);
  if (found != MIRL_SUCCESS) return found;
  if (!fits(srcRect, width_, height_)) return MIRL_INVALID_ARGUMENT;

  MirlImage made;  // what an empty `dst` becomes if all goes well
  MirlImage& out = dst.isInitialized() ? dst : made;
  if (&out == &made) {
    if (dstOrigin.x != 0 || dstOrigin.y != 0) return MIRL_INVALID_ARGUMENT;
    const MirlSize size(srcRect.width, srcRect.height);
    const MirlStatus created =
        mirl::core::create(*queue.device, out, {size, mirl::core::signedDepth(*this), channels_});
    if (created != MIRL_SUCCESS) return created;
  }
  // The other image may have pixels of another size, so its room is counted in bytes.
  const std::size_t pixel = mirl::core::pixelBytes(*this);
  const std::size_t moved = bytes(srcRect.width) * pixel;
  if (dstOrigin.x < 0 || dstOrigin.y < 0 ||
      bytes(dstOrigin.x) * pixel + moved > mirl::core::rowBytes(out) ||
      std::int64_t{dstOrigin.y} + srcRect.height > out.height()) {
    return MIRL_INVALID_ARGUMENT;
  }
  if (moved == 0 || srcRect.height == 0) return MIRL_SUCCESS;
  if (&dst == this && srcRect.x < std::int64_t{dstOrigin.x} + srcRect.width &&
      dstOrigin.x < std::int64_t{srcRect.x} + srcRect.width &&
      srcRect.y < std::int64_t{dstOrigin.y} + srcRect.height &&
      dstOrigin.y < std::int64_t{srcRect.y} + srcRect.height) {
    return MIRL_IN_PLACE_NOT_SUPPORTED;
  }

  const auto* from =
      static_cast<const char*>(data_) + bytes(srcRect.y) * bytes(pitch_) + bytes(srcRect.x) * pixel;
  auto* to = static_cast<char*>(out.data_) + bytes(dstOrigin.y) * bytes(out.pitch_) +
             bytes(dstOrigin.x) * pixel;
  const Copy job{to,
                 bytes(out.pitch_),
                 from,
                 bytes(pitch_),
                 moved,
                 bytes(srcRect.height),
                 Direction::deviceToDevice};
  if (!queue.device->copyAsync(job, queue.stream)) return MIRL_COPY_D2D_FAILED;
  if (&out == &made) dst = std::move(made);
  return MIRL_SUCCESS;
}
