#pragma once

// Images as kernels see them.

#include "engine/device_code.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace mirl::engine {

/// Rows of `width` items, `pitch` bytes apart. An item is a single element, or a pixel of several.
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

/// N planes of elements of one size, whose items are the pixels of N channels that they make up. The
/// planes may be images of pixels themselves; an item then has their channels plane by plane.
template <class T, int N>
struct Planar {
  View<T> plane[N];
  int width;
  int height;
};

/// The size is the first plane's; the others are as large at least.
template <class T, class... Others>
Planar<T, 1 + sizeof...(Others)> planarOf(const View<T>& first, const Others&... others) {
  return {{first, others...}, first.width, first.height};
}

/// What stands in a view, const or not.
template <class V>
struct ItemIn;
template <class T>
struct ItemIn<View<T>> {
  using type = T;
};
template <class T, int N>
struct ItemIn<Planar<T, N>> {
  using type = Pixel<std::remove_const_t<T>, N>;
};
template <class T, int C, int N>
struct ItemIn<Planar<Pixel<T, C>, N>> {
  using type = Pixel<T, C * N>;
};
template <class T, int C, int N>
struct ItemIn<Planar<const Pixel<T, C>, N>> : ItemIn<Planar<Pixel<T, C>, N>> {};
template <class V>
using ItemOf = std::remove_const_t<typename ItemIn<V>::type>;

/// The bytes of one element of an item.
template <class T>
inline constexpr std::size_t kElementBytes = sizeof(T);
template <class T, int N>
inline constexpr std::size_t kElementBytes<Pixel<T, N>> = sizeof(T);

template <class T>
MIRL_HD T* rowOf(const View<T>& view, std::int64_t y) {
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(view.data) + y * view.pitch);
}

/// Views an image's rows as single elements; an image is whatever has the accessors of one, so that
/// engines need no header of the core.
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

// Every row costs something of its own, which narrow rows don't earn. Where they stand one behind
// the other without padding, any other rows do as well: long ones, and one for what is left over.

/// Rows from this many items on are long enough.
inline constexpr int kNarrow = 256;
/// Without a rest elements of all pixels go into it, patterns, and the widest vectors.
inline constexpr int kLongRow = 12288;

template <class T>
bool isPacked(const View<T>& view, int width) {
  return view.pitch == width * static_cast<std::ptrdiff_t>(sizeof(T));
}
template <class T, int N>
bool isPacked(const Planar<T, N>& view, int width) {
  bool all = true;
  for (const View<T>& plane : view.plane) all = all && isPacked(plane, width);
  return all;
}

/// Items of a packed view from the nth on, as rows of another length.
template <class T>
View<T> rowsFrom(const View<T>& view, std::int64_t n, int width, int height) {
  return {view.data + n, width * static_cast<std::ptrdiff_t>(sizeof(T)), width, height};
}
template <class T, int N>
Planar<T, N> rowsFrom(Planar<T, N> view, std::int64_t n, int width, int height) {
  for (View<T>& plane : view.plane) plane = rowsFrom(plane, n, width, height);
  view.width = width;
  view.height = height;
  return view;
}

/// Calls `run` with the views, which all have the first one's size at least, or with their parts
/// in long rows one after the other.
template <class Run, class First, class... Views>
void inLongRows(const Run& run, const First& first, const Views&... others) {
  const int width = first.width;
  if (width >= kNarrow || !isPacked(first, width) || !(isPacked(others, width) && ...)) {
    run(first, others...);
    return;
  }
  const std::int64_t items = std::int64_t{width} * first.height;
  const auto rows = static_cast<int>(items / kLongRow), rest = static_cast<int>(items % kLongRow);
  const auto part = [&](std::int64_t n, int length, int height) {
    if (length > 0 && height > 0) {
      run(rowsFrom(first, n, length, height), rowsFrom(others, n, length, height)...);
    }
  };
  part(0, kLongRow, rows);
  part(items - rest, rest, 1);
}

/// All of a packed narrow view in one row, if it can be that long.
template <class T>
View<T> inOneRow(const View<T>& view) {
  const std::int64_t items = std::int64_t{view.width} * view.height;
  if (view.width >= kNarrow || !isPacked(view, view.width) || items > INT_MAX) return view;
  return rowsFrom(view, 0, static_cast<int>(items), 1);
}

}  // namespace mirl::engine
