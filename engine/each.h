#pragma once

// The pattern of items that are solved each for itself, over many steps: pixels or records that
// read what they like and write their own results.
//
//   struct kernel_f {
//     static constexpr int kVectors = 4;
//     template <class N> MIRL_HD void operator()(Place) const;
//   };
//
// With a `float` for N the functor does the item at the place, and with lanes that one and its
// neighbours to the right, `kLanesOf<N>` of them, in as many vectors as it asks for: chains of steps
// that depend on each other take their time, and several at once no more. An item may be done
// twice, so what it reads is no result.

#include "engine/device_code.h"
#include "engine/functor.h"
#include "engine/host/lanes.h"
#include "engine/host/rows.h"
#include "runtime/runtime.h"

#if MIRL_KERNELS
#include "engine/cuda/each.h"
#endif

namespace mirl::engine {

namespace host {

template <class F>
void eachInRow(const F& f, int width, int y) {
  int x = 0;
#if MIRL_HAS_LANES
  using Many = Lanes<F::kVectors>;
  constexpr int kMany = Many::kCount;
  for (; width - x >= kMany; x += kMany) f.template operator()<Many>(Place{x, y});
  if (x > 0 && x < width) f.template operator()<Many>(Place{width - kMany, y});
  if (x > 0) return;
  // Fewer than those go one vector at a time.
  using Few = Lanes<1>;
  for (; width - x >= Few::kCount; x += Few::kCount) f.template operator()<Few>(Place{x, y});
  if (x > 0 && x < width) f.template operator()<Few>(Place{width - Few::kCount, y});
  if (x > 0) return;
#endif
  for (; x < width; ++x) f.template operator()<float>(Place{x, y});
}

}  // namespace host

/// Queues `f` for all items of a plane. `work` is about how many bytes could be moved while one is
/// done.
template <class F>
void each([[maybe_unused]] const runtime::Queue& queue, const F& f, int width, int height,
          std::size_t work) {
  static_assert(kServesAllDevices<F>, "compile this unit as CUDA");
  static_assert(F::kVectors > 0);
  if (width < 1 || height < 1) return;
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    cuda::each(queue, f, width, height);
    return;
  }
#endif
  const auto items = static_cast<std::size_t>(width);
  host::forRows(height, {items, items * work}, [&](const host::Rows& rows) {
    for (int y = rows.begin; y < rows.end; ++y) host::eachInRow(f, width, y);
  });
}

}  // namespace mirl::engine
