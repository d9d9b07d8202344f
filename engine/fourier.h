#pragma once

// The Fourier pattern: the two-dimensional transform of bytes, all frequencies of it, as raw sums.
// On a GPU cuFFT does it, on the host a transform of our own; the two agree within rounding only.

#include "engine/device_code.h"
#include "engine/host/fourier.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#include <cstdint>

#if MIRL_KERNELS
#include "engine/cuda/fourier.h"
#endif

namespace mirl::engine {

/// Queues out(x, y) = the sum of in(j, k) * e^(-2 pi i (x j / width + y k / height)) over all j and
/// k, as real and imaginary part. The views don't overlap. False without memory for scratch.
inline bool transformFourier([[maybe_unused]] const runtime::Queue& queue,
                             const View<Pixel<float, 2>>& out, const View<const std::uint8_t>& in) {
  static_assert(kServesAllDevices<>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) return cuda::transformFourier(queue, out, in);
#endif
  return host::transformFourier(queue, out, in);
}

}  // namespace mirl::engine
