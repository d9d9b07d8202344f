#include <mirl/image.h>

#include "core/outputs.h"
#include "core/regions.h"

#include <utility>

using mirl::core::contains;
using mirl::core::intersection;
using mirl::core::isEmpty;
using mirl::core::Part;
using mirl::runtime::Copy;
using mirl::runtime::Device;
using mirl::runtime::Direction;
using mirl::runtime::Queue;

namespace {

std::size_t bytes(int value) {
  return static_cast<std::size_t>(value);
}

/// Host memory seen as an image: where its first byte is, and what of it takes part.
struct HostSide {
  const void* data;
  int pitch;
  MirlPoint2D<int> origin;
};

/// What part of the image moves. Whole blocks are the image's rows with their padding.
struct Moved {
  MirlRect rect;
  bool wholeBlock = false;
};

/// Runs a transfer of `part` of an image from or to the host. Without a stream it blocks.
MirlStatus transfer(const MirlImage& image, const HostSide& host, const Moved& part,
                    Direction direction, const MirlStream* stream) {
  Device* device = ImageAccess::device(image);
  if (device == nullptr) return MIRL_IMAGE_NOT_INITIALIZED;
  if (host.data == nullptr) return MIRL_NULL_POINTER;

  const std::size_t pixel = mirl::core::pixelBytes(image);
  const std::size_t moved = part.wholeBlock ? bytes(image.pitch()) * bytes(image.height())
                                            : bytes(part.rect.width) * pixel;
  if (!part.wholeBlock) {
    if (!contains(image.size(), part.rect) || host.origin.x < 0 || host.origin.y < 0) {
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

  void* const inImage = Part(image)[part.rect].ptr();
  char* const onHost = static_cast<char*>(const_cast<void*>(host.data)) +
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

MirlStatus moveBlock(const MirlImage& image, const void* host, Direction direction,
                     const MirlStream* stream) {
  return transfer(image, {host, 0, {}}, {mirl::core::allOf(image), true}, direction, stream);
}

MirlStatus moveRows(const MirlImage& image, const void* host, int hostPitch, Direction direction,
                    const MirlStream* stream) {
  return transfer(image, {host, hostPitch, {}}, {mirl::core::allOf(image)}, direction, stream);
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
  if (!contains(size(), srcRect)) return MIRL_INVALID_ARGUMENT;

  MirlImage made;  // what an empty `dst` becomes if all goes well
  MirlImage& out = dst.isInitialized() ? dst : made;
  if (&out == &made) {
    if (dstOrigin.x != 0 || dstOrigin.y != 0) return MIRL_INVALID_ARGUMENT;
    const MirlSize size(srcRect.width, srcRect.height);
    const MirlStatus created =
        mirl::core::create(*queue.device, out, {size, mirl::core::signedDepth(*this), channels_});
    if (created != MIRL_SUCCESS) return created;
  }
  const MirlRect place(dstOrigin.x, dstOrigin.y, srcRect.width, srcRect.height);
  const Part room = Part(out).as(depth_, channels_);  // whatever pixels the other image has
  if (!contains(room.size(), place)) return MIRL_INVALID_ARGUMENT;
  if (&dst == this && !isEmpty(intersection(srcRect, place))) return MIRL_IN_PLACE_NOT_SUPPORTED;

  const MirlStatus copied = copy(queue, Part(*this)[srcRect], room[place]);
  if (copied != MIRL_SUCCESS) return copied;
  if (&out == &made) dst = std::move(made);
  return MIRL_SUCCESS;
}
