#pragma once

// The permute pattern: pixels go to other places, as they are.

#include "engine/device_code.h"
#include "engine/host/permute.h"
#include "engine/map.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#include <cstdint>
#include <type_traits>

#if MIRL_KERNELS
#include "engine/cuda/permute.h"
#endif

namespace mirl::engine {

/// A view from its last row to its first one.
template <class T>
View<T> upsideDown(const View<T>& view) {
  return {rowOf(view, std::int64_t{view.height} - 1), -view.pitch, view.width, view.height};
}

/// Queues a copy of rows, which may stand in any order. The views don't overlap.
template <class T>
void copyRows([[maybe_unused]] const runtime::Queue& queue, const View<T>& out,
              const View<const T>& in) {
  static_assert(kServesAllDevices<T>, "compile this unit as CUDA");
  const auto bytes = []<class Item>(const View<Item>& view) {
    using Byte = std::conditional_t<std::is_const_v<Item>, const std::uint8_t, std::uint8_t>;
    return View<Byte>{reinterpret_cast<Byte*>(view.data), view.pitch,
                      view.width * static_cast<int>(sizeof(Item)), view.height};
  };
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    cuda::map(queue, Same{}, bytes(out), bytes(in));
    return;
  }
#endif
  host::copyRows(bytes(out), bytes(in));
}

/// Queues out(x, y) = in(width - 1 - x, y). The views don't overlap.
template <class T, int C>
void mirror([[maybe_unused]] const runtime::Queue& queue, const View<Pixel<T, C>>& out,
            const View<const Pixel<T, C>>& in) {
  static_assert(kServesAllDevices<T>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    cuda::mirror(queue, out, in);
    return;
  }
#endif
  host::mirror(host::asBytes(out), host::asBytes(in));
}

/// Queues out(x, y) = in(y, x). The input has the output's columns as rows; the views don't overlap.
template <class T, int C>
void transpose([[maybe_unused]] const runtime::Queue& queue, const View<Pixel<T, C>>& out,
               const View<const Pixel<T, C>>& in) {
  static_assert(kServesAllDevices<T>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    cuda::transpose(queue, out, in);
    return;
  }
#endif
  host::transpose(host::asBytes(out), host::asBytes(in));
}

}  // namespace mirl::engine
