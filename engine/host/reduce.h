#pragma once

// The host path of the reduce pattern: lanes that the compiler turns into vectors.

#include "engine/host/ivdep.h"
#include "engine/host/rows.h"
#include "engine/numbers/reduce_units.h"
#include "engine/view.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>

namespace mirl::engine::host {

using reduction::BoundOf;
using reduction::Cut;
using reduction::kGrain;
using reduction::kHasBounds;
using reduction::kThreads;
using reduction::kWordElements;
using reduction::Task;
using reduction::Unit;

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
void reduce(const View<const T>& in, const Cut& cut, const Task<R>&... tasks) {
  // Several reducers take turns over pieces that stay in the nearest cache.
  constexpr int kPiece = 64 * kGrain * 2;
  const std::size_t bytes =
      static_cast<std::size_t>(cut.elements) * sizeof(T) * static_cast<std::size_t>(cut.height);
  forRows(cut.units, bytes / static_cast<std::size_t>(cut.units), [&](const Rows& units) {
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
          [&](auto&... lanes) { (lanes.finish(tasks.results + std::ptrdiff_t{index} * C), ...); },
          all);
    }
  });
}

}  // namespace mirl::engine::host
