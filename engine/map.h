#pragma once

// The map pattern: out(x, y) = f(in0(x, y), in1(x, y), ...), with none to many inputs, over items
// that are single elements or whole pixels, interleaved or in planes. What decides the speed is
// memory traffic: every input is read once, and the output written once.

#include "engine/device_code.h"
#include "engine/functor.h"
#include "engine/host/map.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#if MIRL_KERNELS
#include "engine/cuda/map.h"
#endif

namespace mirl::engine {

/// Queues out = f(in...), item by item, see engine/functor.h. Out is a view or planes, and so are
/// the inputs, const ones, which have the output's size at least. An input may be the output.
template <class F, class Out, class... In>
void map([[maybe_unused]] const runtime::Queue& queue, const F& f, const Out& out,
         const In&... in) {
  static_assert(kServesAllDevices<F>, "compile this unit as CUDA");
  checkContract<F, ItemOf<In>...>();
  const auto run = [&](const auto& to, const auto&... from) {
#if MIRL_KERNELS
    if (!queue.device->isHost()) {
      cuda::map(queue, f, to, from...);
      return;
    }
#endif
    host::map(f, to, from...);
  };
  if constexpr (takesPlace<F>) {
    run(out, in...);
  } else {
    inLongRows(run, out, in...);
  }
}

}  // namespace mirl::engine
