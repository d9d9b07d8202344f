#pragma once

// The rank pattern: medians and extremes of the bytes around each one, over a plane of elements.
// Pixels of several channels are such a plane too, with neighbours `Step` elements apart. Beyond the
// plane its nearest element goes on.
//
// Medians come of networks of comparisons that windows beside and below each other share, see
// engine/numbers/median_networks.h. Extremes are taken of columns and of rows by themselves, in a
// time that grows little with the window, or not at all.
//
// On a GPU a word of four bytes is worked on at once, on the host a vector.

#include "engine/device_code.h"
#include "engine/host/rank.h"
#include "engine/numbers/extremes.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#include <mirl/records.h>

#include <algorithm>
#include <cstdint>

#if MIRL_KERNELS
#include "engine/cuda/rank.h"
#endif

namespace mirl::engine {

/// Of a window of even size the greater part lies right of the pixel and below it. What lies further
/// off than the plane is large makes no difference.
inline Reach reachOf(const MirlSize& window, const MirlSize& plane) {
  return {std::min((window.width - 1) / 2, plane.width), std::min(window.width / 2, plane.width),
          std::min((window.height - 1) / 2, plane.height),
          std::min(window.height / 2, plane.height)};
}

/// Queues the median of the N by N bytes around each one, N being 3, 5, 7 or 9. The input is another
/// image.
template <int N, int Step>
void median([[maybe_unused]] const runtime::Queue& queue, const View<std::uint8_t>& out,
            const View<const std::uint8_t>& in) {
  static_assert(kServesAllDevices<View<std::uint8_t>>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) return cuda::median<N, Step>(queue, out, in);
#endif
  host::median<N>(out, in, Step);
}

/// Queues the extreme of a window, of a pixel at least, around each byte. The input is another image.
/// False, with nothing written, without memory for scratch.
template <class Extreme, int Step>
bool extreme(const runtime::Queue& queue, const View<std::uint8_t>& out,
             const View<const std::uint8_t>& in, const MirlSize& window) {
  static_assert(kServesAllDevices<Extreme>, "compile this unit as CUDA");
  const Reach reach = reachOf(window, {in.width / Step, in.height});
#if MIRL_KERNELS
  if (!queue.device->isHost()) return cuda::extreme<Extreme, Step>(queue, out, in, reach);
#endif
  return host::extreme<Extreme>(queue, out, in, Step, reach);
}

}  // namespace mirl::engine
