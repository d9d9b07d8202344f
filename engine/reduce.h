#pragma once

// The reduction engine: one pass over an image, any number of reducers, one result of each for
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
#include "engine/host/ivdep.h"
#include "engine/host/rows.h"
#include "engine/view.h"
#include "runtime/pinned_pool.h"
#include "runtime/runtime.h"
#include "runtime/scratch.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

namespace mirl::engine {

// A reducer R is a small struct with
//
//   using Element, Lane, Total
//   static constexpr int kLaneElements    how many elements a Lane can take
//   Lane none() const                     what a lane is before its first element
//   A add(A, Element) const               one element more, A being Lane or Total
//   Total merge(Total, Total) const       of the elements of both
//
// A narrow Lane lets vectors hold more of them. A reducer may have bounds for each channel: then
// `using Bound`, arrays `lower` and `upper` of them, and `add(A, Element, Bound lower, Bound
// upper)`.
//
// Reducers of bytes do four at once on GPUs: extremes with `unsigned mergeBytes(unsigned,
// unsigned)`, sums with `unsigned addBytes(unsigned sum, unsigned bytes, unsigned chosen)`, where
// the chosen bytes have a 1, and the bounds of all four behind it if there are any.

/// A reducer of images with C channels, and what it finds in each channel.
template <int C, class R>
struct Reduction {
  R reducer;
  std::array<typename R::Total, C> result{};
};

namespace reduction {

inline constexpr int kThreads = 192;  // of a GPU's block: a multiple of 3 times a power of two
template <class T>
inline constexpr int kWordElements = static_cast<int>(16 / sizeof(T));

/// Lanes, rows of a unit and words of 16 bytes, all fit in with pieces of 48 elements.
inline constexpr int kGrain = 48;

template <class R>
inline constexpr bool kHasBounds = requires {
  typename R::Bound;
};

struct NoBound {};
template <class R>
struct BoundOf {
  using type = NoBound;
};
template <class R>
requires kHasBounds<R>
struct BoundOf<R> {
  using type = typename R::Bound;
};

/// How an image is cut into units. It depends on nothing but the image's size and the reducers.
struct Cut {
  int elements;  // of a row of the image
  int height;
  int segment;   // elements of a row in a unit
  int segments;  // in a row of the image
  int rows;      // of a unit
  int units;
};

inline Cut cutOf(int elements, int height, int maxUnits) {
  constexpr int kSegment = 24576;
  constexpr int kUnitElements = 8192;  // fewer aren't worth a block of threads
  const auto ceilDiv = [](std::int64_t a, std::int64_t b) { return (a + b - 1) / b; };
  const std::int64_t wanted = std::min<std::int64_t>(ceilDiv(elements, kSegment), maxUnits);
  const std::int64_t segment = ceilDiv(ceilDiv(elements, wanted), kGrain) * kGrain;
  const std::int64_t segments = ceilDiv(elements, segment);
  const std::int64_t rows = std::min<std::int64_t>(
      height, std::max(ceilDiv(height, maxUnits / segments), ceilDiv(kUnitElements, segment)));
  return {elements,
          height,
          static_cast<int>(segment),
          static_cast<int>(segments),
          static_cast<int>(rows),
          static_cast<int>(ceilDiv(height, rows) * segments)};
}

struct Unit {
  int x;  // the first element of each of its rows
  int y;
  int elements;
  int rows;
};

MIRL_HD inline Unit unitOf(const Cut& cut, int index) {
  const int x = index % cut.segments * cut.segment;
  const int y = index / cut.segments * cut.rows;
  return {x, y, cut.elements - x < cut.segment ? cut.elements - x : cut.segment,
          cut.height - y < cut.rows ? cut.height - y : cut.rows};
}

/// A reducer with the place for its results: C for each unit.
template <class R>
struct Task {
  R reducer;
  typename R::Total* results;
};

template <int C, class R>
class HostLanes {
 public:
  using Element = typename R::Element;
  using Total = typename R::Total;
  /// The order of sums in a GPU's block, where it matters; else what vectors like.
  static constexpr bool kOrdered = std::is_floating_point_v<Total>;
  static constexpr int kLanes = kOrdered ? kThreads * kWordElements<Element> : kThreads;

  explicit HostLanes(const R& reducer) : reducer_(reducer) {
    std::fill_n(lanes_, kLanes, reducer_.none());
    std::fill_n(totals_, kLanes, static_cast<Total>(reducer_.none()));
    if constexpr (kHasBounds<R>) {
      for (int i = 0; i < kLanes; ++i) {
        lower_[i] = reducer_.lower[i % C];
        upper_[i] = reducer_.upper[i % C];
      }
    }
  }

  /// A run of a row, which starts `position` elements behind the unit's first one. Without an
  /// order each run may start at the first lane.
  void addRun(const char* run, int count, std::int64_t position) {
    int lane = kOrdered ? static_cast<int>(position % kLanes) : 0;
    while (count > 0) {
      if (taken_ == R::kLaneElements) flush();
      const int whole = lane == 0 ? std::min(count / kLanes, R::kLaneElements - taken_) : 0;
      int done = whole * kLanes;
      if (whole > 0) {
        addWhole(run, whole);
        taken_ += whole;
      } else {
        done = std::min(kLanes - lane, count);
        addPart(run, done, lane);
        ++taken_;
      }
      run += static_cast<std::size_t>(done) * sizeof(Element);
      count -= done;
      lane = (lane + done) % kLanes;
    }
  }

  /// Merges the lanes to one result for each channel, and starts anew.
  void finish(Total* results) {
    flush();
    for (int half = kLanes / 2; half >= 12; half /= 2) {
      MIRL_IVDEP
      for (int i = 0; i < half; ++i) totals_[i] = reducer_.merge(totals_[i], totals_[i + half]);
    }
    const Total none = static_cast<Total>(reducer_.none());
    std::fill_n(results, C, none);
    for (int i = 0; i < 12; ++i) results[i % C] = reducer_.merge(results[i % C], totals_[i]);
    std::fill_n(totals_, kLanes, none);
  }

 private:
  using Lane = typename R::Lane;

  static Element elementAt(const char* run, int i) {
    Element element;
    std::memcpy(&element, run + static_cast<std::size_t>(i) * sizeof element, sizeof element);
    return element;
  }

  Lane added(const R& reducer, Lane lane, Element element, [[maybe_unused]] int i) const {
    if constexpr (kHasBounds<R>) {
      return reducer.add(lane, element, lower_[i], upper_[i]);
    } else {
      return reducer.add(lane, element);
    }
  }

  /// Whole turns of all lanes. The processor doesn't look far enough ahead by itself here: with the
  /// prefetches, images beyond the caches take a third of the time.
  void addWhole(const char* run, int turns) {
    constexpr int kBlock = 64;
    constexpr std::size_t kBlockBytes = kBlock * sizeof(Element);
    constexpr std::size_t kLine = 64;
    constexpr std::size_t kAhead = 2048;
    static_assert(kLanes % kBlock == 0);
    const R reducer = reducer_;
    for (; turns > 0; --turns) {
      for (int first = 0; first < kLanes; first += kBlock, run += kBlockBytes) {
        for (std::size_t at = 0; at < kBlockBytes; at += kLine)
          __builtin_prefetch(run + kAhead + at);
        MIRL_IVDEP
        for (int i = 0; i < kBlock; ++i) {
          lanes_[first + i] = added(reducer, lanes_[first + i], elementAt(run, i), first + i);
        }
      }
    }
  }

  void addPart(const char* run, int count, int first) {
    const R reducer = reducer_;
    MIRL_IVDEP
    for (int i = 0; i < count; ++i) {
      lanes_[first + i] = added(reducer, lanes_[first + i], elementAt(run, i), first + i);
    }
  }

  void flush() {
    MIRL_IVDEP
    for (int i = 0; i < kLanes; ++i) {
      totals_[i] = reducer_.merge(totals_[i], static_cast<Total>(lanes_[i]));
      lanes_[i] = reducer_.none();
    }
    taken_ = 0;
  }

  using Bound = typename BoundOf<R>::type;

  const R reducer_;
  alignas(64) Lane lanes_[kLanes];
  alignas(64) Total totals_[kLanes];
  alignas(64) Bound lower_[kHasBounds<R> ? kLanes : 1];
  alignas(64) Bound upper_[kHasBounds<R> ? kLanes : 1];
  int taken_ = 0;  // elements in a lane, at most
};

template <int C, class T, class... R>
void reduceOnHost(const View<const T>& in, const Cut& cut, const Task<R>&... tasks) {
  // Several reducers take turns over pieces that stay in the nearest cache.
  constexpr int kPiece = 64 * kGrain * 2;
  const std::size_t bytes =
      static_cast<std::size_t>(cut.elements) * sizeof(T) * static_cast<std::size_t>(cut.height);
  host::forRows(cut.units, bytes / static_cast<std::size_t>(cut.units),
                [&](const host::Rows& units) {
                  std::tuple<HostLanes<C, R>...> all(tasks.reducer...);
                  for (int index = units.begin; index < units.end; ++index) {
                    const Unit unit = unitOf(cut, index);
                    const std::int64_t padded = (std::int64_t{unit.elements} + 11) / 12 * 12;
                    for (int row = 0; row < unit.rows; ++row) {
                      const char* start = reinterpret_cast<const char*>(in.data) +
                                          (std::ptrdiff_t{unit.y} + row) * in.pitch +
                                          std::ptrdiff_t{unit.x} * std::ptrdiff_t{sizeof(T)};
                      for (int at = 0; at < unit.elements; at += kPiece) {
                        const int count = std::min(kPiece, unit.elements - at);
                        std::apply(
                            [&](auto&... lanes) {
                              (lanes.addRun(start + static_cast<std::size_t>(at) * sizeof(T), count,
                                            row * padded + at),
                               ...);
                            },
                            all);
                      }
                    }
                    std::apply(
                        [&](auto&... lanes) {
                          (lanes.finish(tasks.results + std::ptrdiff_t{index} * C), ...);
                        },
                        all);
                  }
                });
}

}  // namespace reduction
}  // namespace mirl::engine

#if MIRL_KERNELS
#include "engine/cuda/reduce.h"
#endif

namespace mirl::engine {
namespace reduction {

template <int C, class T, class... R>
void run([[maybe_unused]] const runtime::Queue& queue, const View<const T>& in, const Cut& cut,
         const Task<R>&... tasks) {
  static_assert(kServesAllDevices<T>, "compile this unit as CUDA");
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    reduceOnGpu<C>(queue, in, cut, tasks...);
    return;
  }
#endif
  reduceOnHost<C>(in, cut, tasks...);
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

/// Reduces an image of C channels, seen as single elements, and waits for the results.
///
/// `MIRL_DEVICE_ALLOC_FAILED`, `MIRL_COPY_D2H_FAILED`, `MIRL_KERNEL_FAILED`; the results are then
/// as they were.
template <int C, class T, class... R>
MirlStatus reduce(const runtime::Queue& queue, const View<const T>& in,
                  Reduction<C, R>&... reductions) {
  static_assert(C == 1 || C == 3);
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
