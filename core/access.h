#pragma once

// What operations need to know of images and streams beyond their public face.

#include <mirl/image.h>
#include <mirl/stream.h>

#include "runtime/runtime.h"

#include <algorithm>
#include <initializer_list>

struct ImageAccess {
  /// The device of a live image, null for an empty image and for one that a reset has killed.
  static mirl::runtime::Device* device(const MirlImage& image);

  /// Creates an empty image on a device, as `MirlImage::create` does on the current one.
  static MirlStatus create(MirlImage& image, mirl::runtime::Device& device, int width, int height,
                           int depth, int channels);

  /// The same with rows `*pitch` bytes apart, or as the device likes them with null.
  static MirlStatus createPitched(MirlImage& image, mirl::runtime::Device& device, int width,
                                  int height, const int* pitch, int depth, int channels);

  /// Makes an empty image of memory on a device. The image frees it, unless it is cleared before.
  static void lend(MirlImage& image, mirl::runtime::Device& device, void* data, int pitch,
                   int width, int height, int depth, int channels);

  /// Copies the format fields that a deep copy carries over.
  static void copyMetadata(const MirlImage& from, MirlImage& to);

  /// Makes an image empty without freeing its buffer.
  static void clear(MirlImage& image);
  /// Moves the buffer and the format to an empty image.
  static void steal(MirlImage& from, MirlImage& to) noexcept;
};

struct StreamAccess {
  /// The queue of a stream on a device. `MIRL_MISMATCH` for a stream of another device,
  /// `MIRL_INVALID_ARGUMENT` for a dead one.
  static MirlStatus queue(const MirlStream& stream, mirl::runtime::Device& device,
                          mirl::runtime::Queue& queue);
};

namespace mirl::core {

/// Whether an image holds pixels that can be worked on.
inline bool isLive(const MirlImage& image) {
  return ImageAccess::device(image) != nullptr;
}

/// A live image's signed depth, as `create` takes it.
inline int signedDepth(const MirlImage& image) {
  return image.isSigned() ? -image.depth() : image.depth();
}

/// The bits of an image's elements that count. A conversion in place to fewer bits leaves more
/// `dataBits` behind than an element has.
inline int significantBits(const MirlImage& image) {
  return std::min(image.dataBits(), image.depth());
}

/// The greatest number of those bits; floats have none.
inline unsigned greatestElement(const MirlImage& image) {
  return image.depth() > 16 ? 0 : (1u << significantBits(image)) - 1u;
}

inline std::size_t pixelBytes(const MirlImage& image) {
  return static_cast<std::size_t>(image.channels()) * static_cast<std::size_t>(image.depth()) / 8;
}

inline std::size_t rowBytes(const MirlImage& image) {
  return static_cast<std::size_t>(image.width()) * pixelBytes(image);
}

inline bool sameSize(const MirlImage& a, const MirlImage& b) {
  return a.width() == b.width() && a.height() == b.height();
}

/// Whether the pixels of two images are alike but for their sign.
inline bool sameFormat(const MirlImage& a, const MirlImage& b) {
  return a.depth() == b.depth() && a.channels() == b.channels();
}

inline bool sameSizeAndFormat(const MirlImage& a, const MirlImage& b) {
  return sameSize(a, b) && sameFormat(a, b);
}

/// Where a call runs: on the device of its first image, in line on the stream there. The other
/// images are empty, to be created by the call, or must live on that device too
/// (`MIRL_MISMATCH`, for the stream see `StreamAccess::queue`).
MirlStatus findQueue(const MirlStream& stream, const MirlImage& first,
                     std::initializer_list<const MirlImage*> others, runtime::Queue& queue);

}  // namespace mirl::core
