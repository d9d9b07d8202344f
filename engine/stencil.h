#pragma once

// The stencil pattern: out(x, y) = f(the elements around (x, y)), over a plane of elements. Pixels of
// several channels are such a plane too, with neighbours `Step` elements apart.
//
//   struct kernel_f {
//     static constexpr engine::Halo halo{.across = 1, .down = 1};
//     template <class Neighbours>
//     MIRL_HD Out operator()(const Neighbours& n) const;    // n(dx, dy), as an element
//   };
//
// How far neighbours are looked for is known at compile time. A functor may ask for its place, which
// then comes first, see engine/functor.h; several outputs are planes.
//
// On a GPU a block stages a tile in shared memory, with word loads where it lies inside. On the host
// the rows are read where they are, but for the first and the last few elements of each.

#include "engine/borders.h"
#include "engine/device_code.h"
#include "engine/functor.h"
#include "engine/host/stencil.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#if MIRL_KERNELS
#include "engine/cuda/stencil.h"
#endif

namespace mirl::engine {

/// Queues out = f(around in). Out is a view or planes; the input is another image, has its size at
/// least, and is continued by the border rule.
template <int Step, class Border, class F, class Out, class T>
void stencil([[maybe_unused]] const runtime::Queue& queue, const F& f, const Out& out,
             const View<const T>& in) {
  static_assert(kServesAllDevices<F>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    cuda::stencil<Step, Border>(queue, f, out, in);
    return;
  }
#endif
  host::stencil<Step, Border>(f, out, in);
}

}  // namespace mirl::engine
