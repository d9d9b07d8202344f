#pragma once

// The reduce pattern: one pass over an image, any number of reducers, one result of each for
// every channel, on the host.
//
// The image is cut into units, each some rows of a column of it. The elements of a unit are dealt
// out to lanes in turn, every row starting at a lane that is a multiple of 12, so that a lane has
// elements of one channel only. A lane gathers its elements one after another; then lanes are
// merged in halves, lane i with lane i + n/2, down to twelve, these in their order for each
// channel, and the units' results in theirs. Where the order counts, in floating-point sums, a GPU
// and the host have the same units and lanes, whatever the number of threads, and so the same bits.
//
// A GPU reads the image in one kernel that writes a result for each unit; the few kilobytes of
// those are copied to the host, which merges them. That is faster than a second kernel.

#include <mirl/status.h>

#include "engine/device_code.h"
#include "engine/functor.h"
#include "engine/host/reduce.h"
#include "engine/numbers/reduce_units.h"
#include "engine/view.h"
#include "runtime/pinned_pool.h"
#include "runtime/runtime.h"
#include "runtime/scratch.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <type_traits>
#include <utility>

#if MIRL_KERNELS
#include "engine/cuda/reduce.h"
#endif

namespace mirl::engine {

/// A reducer of images with C channels, and what it finds in each channel.
template <int C, class R>
struct Reduction {
  R reducer;
  std::array<typename R::Total, C> result{};
};

namespace reduction {

template <int C, class T, class... R>
void run([[maybe_unused]] const runtime::Queue& queue, const View<const T>& in, const Cut& cut,
         const Task<R>&... tasks) {
  static_assert(kServesAllDevices<T>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    cuda::reduce<C>(queue, in, cut, tasks...);
    return;
  }
#endif
  host::reduce<C>(in, cut, tasks...);
}

/// Page-locked memory, so that the copy to it is queued like everything else.
class Pinned {
 public:
  explicit Pinned(std::size_t bytes)
      : bytes_(bytes), data_(static_cast<std::byte*>(runtime::allocatePinned(bytes))) {}
  ~Pinned() { runtime::freePinned(data_, bytes_); }
  Pinned(const Pinned&) = delete;
  Pinned& operator=(const Pinned&) = delete;

  std::byte* data() const { return data_; }

 private:
  std::size_t bytes_;
  std::byte* data_;
};

}  // namespace reduction

/// What one reducer has found in the units of an image with C channels, in the device's memory.
template <int C, class R>
struct Gathered {
  R reducer;
  int units;
  const typename R::Total* results;

  /// The result of a channel.
  MIRL_HD typename R::Total merged(int channel) const {
    typename R::Total result = results[channel];
    for (int i = 1; i < units; ++i) result = reducer.merge(result, results[i * C + channel]);
    return result;
  }
};

/// The units of a `gather`, at most: enough to fill a GPU, and few enough for a thread to merge.
inline constexpr int kGatheredUnits = 256;

/// Queues a reduction for kernels that are queued behind it and merge its results, for which there
/// is room for C from each unit in the device's memory. Nothing waits.
template <int C, class T, class R>
Gathered<C, R> gather(const runtime::Queue& queue, const View<const T>& in, const R& reducer,
                      typename R::Total* results) {
  static_assert(C == 1 || C == 3);
  checkReducer<R>();
  const View<const T> rows = std::is_floating_point_v<T> ? in : inOneRow(in);
  const reduction::Cut cut = reduction::cutOf(rows.width, rows.height, kGatheredUnits);
  reduction::run<C>(queue, rows, cut, reduction::Task<R>{reducer, results});
  return {reducer, cut.units, results};
}

/// Reduces an image of C channels, seen as single elements, and waits for the results.
///
/// `MIRL_DEVICE_ALLOC_FAILED`, `MIRL_COPY_D2H_FAILED`, `MIRL_KERNEL_FAILED`; the results are then
/// as they were.
template <int C, class T, class... R>
MirlStatus reduce(const runtime::Queue& queue, const View<const T>& in,
                  Reduction<C, R>&... reductions) {
  static_assert(C == 1 || C == 3);
  (checkReducer<R>(), ...);
  static_assert((std::is_same_v<T, typename R::Element> && ...));
  constexpr std::size_t kUnitBytes = C * (sizeof(typename R::Total) + ...);
  constexpr std::size_t kPooledBytes = 32 * 1024;  // larger page-locked blocks are slow to get
  constexpr int kMaxUnits =
      static_cast<int>(std::min<std::size_t>(1024, kPooledBytes / kUnitBytes));
  // Sums of floats depend on the rows, but may not on the padding.
  const View<const T> rows = std::is_floating_point_v<T> ? in : inOneRow(in);
  const reduction::Cut cut = reduction::cutOf(rows.width, rows.height, kMaxUnits);

  // The results of each reducer stand together, at a multiple of 8 bytes.
  const auto bytesOf = [&](std::size_t totalBytes) {
    return (C * totalBytes * static_cast<std::size_t>(cut.units) + 7) / 8 * 8;
  };
  const std::size_t bytes = (bytesOf(sizeof(typename R::Total)) + ...);
  const runtime::Scratch scratch(queue, bytes);
  const reduction::Pinned gathered(bytes);
  if (!scratch.ok() || gathered.data() == nullptr) return MIRL_DEVICE_ALLOC_FAILED;

  // Braces keep the order, in which each one takes its place behind the one before.
  std::size_t at = 0;
  const auto taskOf = [&]<class Reducer>(const Reduction<C, Reducer>& reduction) {
    const std::size_t its = std::exchange(at, at + bytesOf(sizeof(typename Reducer::Total)));
    return reduction::Task<Reducer>{
        reduction.reducer,
        reinterpret_cast<typename Reducer::Total*>(static_cast<std::byte*>(scratch.data()) + its)};
  };
  const std::tuple<reduction::Task<R>...> tasks{taskOf(reductions)...};
  std::apply([&](const auto&... task) { reduction::run<C>(queue, rows, cut, task...); }, tasks);

  if (!queue.device->copyAsync({gathered.data(), bytes, scratch.data(), bytes, bytes, 1,
                                runtime::Direction::deviceToHost},
                               queue.stream)) {
    return MIRL_COPY_D2H_FAILED;
  }
  if (!queue.device->synchronize(queue.stream)) return MIRL_KERNEL_FAILED;

  at = 0;
  const auto merge = [&]<class Reducer>(Reduction<C, Reducer>& reduction) {
    using Total = typename Reducer::Total;
    const std::size_t its = std::exchange(at, at + bytesOf(sizeof(Total)));
    const auto* units = reinterpret_cast<const Total*>(gathered.data() + its);
    std::copy_n(units, C, reduction.result.begin());
    for (int i = C; i < cut.units * C; ++i) {
      Total& result = reduction.result[static_cast<std::size_t>(i % C)];
      result = reduction.reducer.merge(result, units[i]);
    }
  };
  (merge(reductions), ...);
  return MIRL_SUCCESS;
}

}  // namespace mirl::engine
