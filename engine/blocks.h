#pragma once

// The blocks pattern: out(x, y) = f(in(x, y)) over blocks of pixels, for formats that pack a few of
// them into something that only makes sense as a whole.

#include "engine/device_code.h"
#include "engine/functor.h"
#include "engine/host/blocks.h"
#include "engine/host/v210_vectors.h"  // of blocks that have explicit vectors
#include "engine/view.h"
#include "runtime/runtime.h"

#if MIRL_KERNELS
#include "engine/cuda/blocks.h"
#endif

namespace mirl::engine {

/// Queues out = f(in), block by block. Blocks are plain structs of whole words or half words, which
/// may stand at any address; the views have the output's size at least, and don't overlap. A functor
/// may ask for vectors, see engine/functor.h.
template <class F, class Out, class In>
void mapBlocks([[maybe_unused]] const runtime::Queue& queue, const F& f, const View<Out>& out,
               const View<const In>& in) {
  static_assert(kServesAllDevices<F>, "compile this unit as CUDA");
  checkContract<F, In>();
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    cuda::mapBlocks(queue, f, out, in);
    return;
  }
#endif
  host::mapBlocks(f, out, in);
}

}  // namespace mirl::engine
