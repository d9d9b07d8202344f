#pragma once

#include <cstddef>
#include <cstdint>

namespace mirl::engine {

/// An image as a kernel sees it: rows of `width` items, `pitch` bytes apart. An item is a single
/// element, or a pixel of several.
template <class T>
struct View {
  T* data;
  std::ptrdiff_t pitch;
  int width;
  int height;
};

/// A pixel of N interleaved elements.
template <class T, int N>
struct Pixel {
  T v[N];
};

/// Views an image's rows as single elements; `MirlImage` is a parameter so that engines need no
/// header of the core.
template <class T, class Image>
View<T> elementsOf(const Image& image) {
  return {static_cast<T*>(image.ptr()), image.pitch(), image.width() * image.channels(),
          image.height()};
}

/// Views an image's rows as pixels of N channels.
template <class T, int N, class Image>
View<Pixel<T, N>> pixelsOf(const Image& image) {
  return {static_cast<Pixel<T, N>*>(image.ptr()), image.pitch(), image.width(), image.height()};
}

}  // namespace mirl::engine
