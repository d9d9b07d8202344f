#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

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

/// Views an image's rows as pixels of N channels, for reading if T is const.
template <class T, int N, class Image>
auto pixelsOf(const Image& image) {
  using Item = Pixel<std::remove_const_t<T>, N>;
  using Viewed = std::conditional_t<std::is_const_v<T>, const Item, Item>;
  return View<Viewed>{static_cast<Viewed*>(image.ptr()), image.pitch(), image.width(),
                      image.height()};
}

}  // namespace mirl::engine
