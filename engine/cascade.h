#pragma once

// The cascade pattern: stencils one behind the other, of which only the last one's results are kept.
// Each stage makes a plane of elements from those around the same place in the input and in the
// planes of all stages before it, and the last one makes the output.
//
//   struct kernel_f {
//     static constexpr engine::Halo halo{.across = 1, .down = 1};
//     using Element = short;  // of its plane; the last stage needs none
//     template <class In, class First, class Second>
//     MIRL_HD short operator()(const In& in, const First& first, const Second& second) const;
//   };
//
// A stage looks no further than its halo in any of them, and may ask for its place, which then comes
// first, see engine/functor.h. Places beyond the image are made as well, as far as later stages look:
// the border rule is the input's alone.
//
// A stage of which later ones look at every other column only, as on a chessboard, may tell where in
// a row those begin, with `int firstColumn(int y) const`, 0 or 1. GPUs make no others.
//
// Nothing but the output goes to memory. On a GPU a block keeps tiles of all planes in the memory
// that its threads share; on the host a thread keeps the last few lines of each, of strips narrow
// enough to stay in its cache.

#include "engine/borders.h"
#include "engine/device_code.h"
#include "engine/functor.h"
#include "engine/host/cascade.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#if MIRL_KERNELS
#include "engine/cuda/cascade.h"
#endif

namespace mirl::engine {

/// Queues the stages. Out is a view or planes; the input is another image, has its size at least,
/// and is continued by the border rule.
template <class Border, class Out, class T, class... F>
void cascade([[maybe_unused]] const runtime::Queue& queue, const Out& out, const View<const T>& in,
             const F&... stages) {
  static_assert(kServesAllDevices<F...>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    cuda::cascade<Border>(queue, out, in, stages...);
    return;
  }
#endif
  host::cascade<Border>(out, in, stages...);
}

}  // namespace mirl::engine
