#pragma once

// The paint pattern: bytes of one image surrounded by a repeated pixel in another. A fill is a frame
// around nothing.

#include "engine/view.h"
#include "runtime/runtime.h"

#include <cstdint>
#include <cstring>

namespace mirl::engine {

/// A pixel over and over: its 1 to 4 elements of up to 4 bytes each go into the length without
/// rest.
struct Pattern {
  static constexpr int kBytes = 48;
  alignas(16) unsigned char byte[kBytes];
};

/// The pattern of a pixel of `bitsOf(channel)`, of which the elements take the low bytes.
template <class BitsOf>
Pattern patternOf(int elementBytes, int channels, const BitsOf& bitsOf) {
  Pattern pattern;
  for (int at = 0; at < Pattern::kBytes; at += elementBytes) {
    const std::uint32_t bits = bitsOf(at / elementBytes % channels);
    std::memcpy(pattern.byte + at, &bits, static_cast<std::size_t>(elementBytes));
  }
  return pattern;
}

/// Views an image's rows as bytes.
template <class Byte, class Image>
View<Byte> bytesOf(const Image& image) {
  const int pixel = image.channels() * image.depth() / 8;
  return {static_cast<Byte*>(image.ptr()), image.pitch(), image.width() * pixel, image.height()};
}

/// What is to be written: `inner` with its corner at column `left` and row `top` of `out`, where it
/// fits in, and the pattern around it, starting at every row's first byte. `inner` may be the same
/// bytes of the output, which then stay.
struct Frame {
  View<unsigned char> out;
  View<const unsigned char> inner;
  int left;
  int top;
  Pattern pattern;
};

void drawFrame(const runtime::Queue& queue, const Frame& frame);

/// Queues a fill of a view with a pattern.
inline void fill(const runtime::Queue& queue, const View<unsigned char>& out,
                 const Pattern& pattern) {
  if (out.width < 1 || out.height < 1) return;
  inLongRows(
      [&](const View<unsigned char>& rows) {
        drawFrame(queue, {rows, {nullptr, 0, 0, 0}, 0, 0, pattern});
      },
      out);
}

}  // namespace mirl::engine
