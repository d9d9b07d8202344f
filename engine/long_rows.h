#pragma once

// Every row costs something of its own, which narrow rows don't earn. Where they stand one behind
// the other without padding, any other rows do as well: long ones, and one for what is left over.

#include "engine/view.h"

#include <climits>
#include <cstdint>

namespace mirl::engine {

/// Rows from this many items on are long enough.
inline constexpr int kNarrow = 256;
/// Without a rest elements of all pixels go into it, patterns, and the widest vectors.
inline constexpr int kLongRow = 12288;

template <class T>
bool isPacked(const View<T>& view, int width) {
  return view.pitch == width * static_cast<std::ptrdiff_t>(sizeof(T));
}

/// Items of a packed view from the nth on, as rows of another length.
template <class T>
View<T> rowsFrom(const View<T>& view, std::int64_t n, int width, int height) {
  return {view.data + n, width * static_cast<std::ptrdiff_t>(sizeof(T)), width, height};
}

/// Calls `run` with the views, which all have the first one's size at least, or with their parts
/// in long rows one after the other.
template <class Run, class First, class... Views>
void inLongRows(const Run& run, const View<First>& first, const Views&... others) {
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
