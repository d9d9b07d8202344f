#pragma once

// Tiles of a plane of elements in shared memory.

#include "engine/cuda/shared.h"
#include "engine/cuda/words.h"
#include "engine/view.h"

#include <cstdint>

namespace mirl::engine::cuda {

/// Elements of a word of 4 bytes.
template <class T>
inline constexpr int kWordElements = static_cast<int>(4 / sizeof(T));

/// What the staging of tiles wants: every row starts at a word.
template <class T>
bool hasAlignedRows(const View<T>& view) {
  return isVectorAligned<kWordElements<T>>(view);
}

/// Stages `columns` by `rows` elements from (left, top) on, wherever that is, as `convert` makes them,
/// with all threads of the block. Tiles inside of a plane with aligned rows are read as words, if
/// `left`, `pitch` and `columns` are multiples of their elements. A barrier is for the caller.
template <class Border, int Step, class To, class T, class Convert>
__device__ void stage(Shared<To> tile, int pitch, int columns, int rows, const View<const T>& in,
                      std::int64_t left, std::int64_t top, bool aligned, const Convert& convert) {
  constexpr int kWord = kWordElements<T>;
  const int tx = static_cast<int>(threadIdx.x), ty = static_cast<int>(threadIdx.y);
  const int stepX = static_cast<int>(blockDim.x), stepY = static_cast<int>(blockDim.y);
  const bool inside =
      left >= 0 && top >= 0 && left + columns <= in.width && top + rows <= in.height;
  if (aligned && inside) {
    using Made = Items<To, kWord>;
    const auto words = tile.template as<typename WordOf<Made::kWord>::type>();
    for (int y = ty; y < rows; y += stepY) {
      const T* const row = rowOf(in, top + y) + left;
      for (int x = tx; x < columns / kWord; x += stepX) {
        const Items<T, kWord> read = loadVector<kWord>(row + x * kWord);
        Made made;
#pragma unroll
        for (int i = 0; i < kWord; ++i) made.item[i] = convert(read.item[i]);
        static_assert(Made::kWords == 1);
        words[y * (pitch / kWord) + x] = made.word[0];
      }
    }
    return;
  }
  for (int y = ty; y < rows; y += stepY) {
    const std::int64_t row = Border::template limit<1>(top + y, in.height);
    for (int x = tx; x < columns; x += stepX) {
      const std::int64_t column = Border::template limit<Step>(left + x, in.width);
      tile[y * pitch + x] =
          convert(row < 0 || column < 0 ? T{} : loadBytes(rowOf(in, row) + column));
    }
  }
}

}  // namespace mirl::engine::cuda
