#pragma once

// The matrix pattern: products of matrices of floats, in which every result is one chain of fused
// multiply-adds from 0 on, in the order of the elements that meet. Nothing is added up in another
// order; what makes products fast is that many chains go on at once.

#include "engine/device_code.h"
#include "engine/host/matrix.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#if MIRL_KERNELS
#include "engine/cuda/matrix.h"
#endif

namespace mirl::engine {

/// Queues out = a * b. `Transposed` operands stand in memory as their transposes. The output is no
/// operand. False without memory for scratch.
template <bool ATransposed, bool BTransposed>
bool multiplyMatrices([[maybe_unused]] const runtime::Queue& queue, const View<float>& out,
                      const View<const float>& a, const View<const float>& b) {
  static_assert(kServesAllDevices<>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    cuda::multiplyMatrices<ATransposed, BTransposed>(queue, out, a, b);
    return true;
  }
#endif
  return host::multiplyMatrices(queue, out, {a, ATransposed}, {b, BTransposed});
}

}  // namespace mirl::engine
