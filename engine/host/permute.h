#pragma once

// The host path of the permute pattern, where nothing counts of pixels but how many bytes they have.

#include "engine/view.h"

#include <cstdint>
#include <type_traits>

namespace mirl::engine::host {

/// Views items as their bytes.
template <class T>
auto asBytes(const View<T>& view) {
  using Bytes = Pixel<std::uint8_t, static_cast<int>(sizeof(T))>;
  using Item = std::conditional_t<std::is_const_v<T>, const Bytes, Bytes>;
  return View<Item>{reinterpret_cast<Item*>(view.data), view.pitch, view.width, view.height};
}

template <int kBytes>
using BytesOut = View<Pixel<std::uint8_t, kBytes>>;
template <int kBytes>
using BytesIn = View<const Pixel<std::uint8_t, kBytes>>;

/// Rows of bytes, which may stand in any order.
void copyRows(const View<std::uint8_t>& out, const View<const std::uint8_t>& in);

/// out(x, y) = in(width - 1 - x, y) and out(x, y) = in(y, x), of 1, 2, 3, 4, 6 and 12 bytes.
template <int kBytes>
void mirror(const BytesOut<kBytes>& out, const BytesIn<kBytes>& in);
template <int kBytes>
void transpose(const BytesOut<kBytes>& out, const BytesIn<kBytes>& in);

}  // namespace mirl::engine::host
