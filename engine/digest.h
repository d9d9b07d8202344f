#pragma once

// The digest pattern: each pixel is digested to a single float, and out(x, y) = f(the pixel there,
// the digests around it). The digests never reach memory.
//
//   struct kernel_f {
//     static constexpr engine::Halo halo{.across = 1, .down = 1};
//     MIRL_HD float digest(const Pixel<T, N>& pixel) const;
//     template <class Neighbours>
//     MIRL_HD Pixel<T, N> operator()(const Pixel<T, N>& pixel, const Neighbours& n) const;
//     MIRL_HD Pixel<T, N> atEdge(const Pixel<T, N>& pixel) const;    // optional
//   };
//
// There is no border rule: pixels that lack a neighbour become what `atEdge` makes of them, and
// without that function they aren't written.
//
// On a GPU a block digests a tile and what is around it into shared memory. On the host a thread keeps
// the last few lines of digests, and of pixels that were taken apart for them.

#include "engine/device_code.h"
#include "engine/functor.h"
#include "engine/host/digest.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#if MIRL_KERNELS
#include "engine/cuda/digest.h"
#endif

namespace mirl::engine {

/// Queues out = f(in). Both are images of pixels, of the same size, and not the same one.
template <class F, class P>
void digest([[maybe_unused]] const runtime::Queue& queue, const F& f, const View<P>& out,
            const View<const P>& in) {
  static_assert(kServesAllDevices<F>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    cuda::digest(queue, f, out, in);
    return;
  }
#endif
  host::digest(f, out, in);
}

}  // namespace mirl::engine
