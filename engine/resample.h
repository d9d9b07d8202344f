#pragma once

// The resample pattern: destination pixels sampled from the source, by the parts in sampling.h, on
// the device of the queue. All devices do the same arithmetic.

#include "engine/device_code.h"
#include "engine/host/resample_map.h"
#include "engine/host/resample_zoom.h"
#include "engine/sampling.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#if MIRL_KERNELS
#include "engine/cuda/resample.h"
#endif

namespace mirl::engine {

/// Queues out(x, y) = the source at map(x, y). The views don't overlap.
template <class Sampler, class Border, class Map, class Codec, class T, int C>
void resampleMap([[maybe_unused]] const runtime::Queue& queue, const Map& map, const Codec& codec,
                 const View<Pixel<T, C>>& out, const View<const Pixel<T, C>>& in) {
  static_assert(kServesAllDevices<T>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    resample::mapOnGpu<Sampler, Border>(queue, map, codec, out, in);
    return;
  }
#endif
  resample::mapOnHost<Sampler, Border>(map, codec, out, in);
}

/// Queues the zoom that makes `out` of `in`, the edge pixels going on for ever. The views don't
/// overlap. False without memory for the host's tables.
template <class Sampler, class Codec, class T, int C>
bool resampleZoom(const runtime::Queue& queue, const Codec& codec, const View<Pixel<T, C>>& out,
                  const View<const Pixel<T, C>>& in) {
  static_assert(kServesAllDevices<T>, "compile this unit as CUDA");
  const Zoom zoom{{in.width, out.width}, {in.height, out.height}};
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    resample::zoomOnGpu<Sampler>(queue, zoom, codec, out, in);
    return true;
  }
#endif
  return resample::zoomOnHost<Sampler>(queue, zoom, codec, out, in);
}

}  // namespace mirl::engine
