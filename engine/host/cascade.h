#pragma once

// The host path of the cascade pattern: strips of columns, down which each thread goes with a ring
// of lines for every plane.

#include "engine/functor.h"
#include "engine/host/map.h"
#include "engine/host/rows.h"
#include "engine/host/stencil.h"
#include "engine/view.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

namespace mirl::engine::host {

/// How many rows above the one that is made stages look at a plane, which they all see.
template <class F, class... Rest>
constexpr int rowsAbove() {
  constexpr int kAbove = F::halo.down - kSumOfHalos<Rest...>.down;
  if constexpr (sizeof...(Rest) == 0) {
    return kAbove;
  } else {
    return std::max(kAbove, rowsAbove<Rest...>());
  }
}

/// The lines of a plane that stages still look at while they make a row, `Count` items of it, and
/// what they see beyond these.
template <std::ptrdiff_t Count, class T, class... Stages>
class Ring {
 public:
  static constexpr Halo kMargin = kSumOfHalos<Stages...>;
  static constexpr int kAbove = rowsAbove<Stages...>();

  Ring() {}  // nobody clears it

  /// Where line y begins, the margin before its first item.
  T* line(std::ptrdiff_t y) {
    const std::ptrdiff_t at = y % kLines;
    return lines_[at < 0 ? at + kLines : at];
  }
  template <int Down>
  Lines<T, 1, Down> around(std::ptrdiff_t y, int before) {
    Lines<T, 1, Down> lines;
    for (int j = 0; j <= 2 * Down; ++j) {
      lines.line[j] = reinterpret_cast<const char*>(line(y + j - Down) + kMargin.across - before);
    }
    return lines;
  }

 private:
  static constexpr std::ptrdiff_t kLines = kAbove + kMargin.down + 1;

  alignas(64) T lines_[kLines][Count + 2 * kMargin.across];
};

/// The rings of a plane that all stages see, and of those that they make.
template <std::ptrdiff_t Count, class T, class F, class... Rest>
auto ringsOf() {
  using First = std::tuple<Ring<Count, T, F, Rest...>>;
  if constexpr (sizeof...(Rest) == 0) {
    return std::type_identity<First>{};
  } else {
    using Others = typename decltype(ringsOf<Count, typename F::Element, Rest...>())::type;
    return std::type_identity<decltype(std::tuple_cat(First(), Others()))>{};
  }
}

template <class Border, class Out, class T, class... F>
class CascadeStrips {
  static constexpr int kLast = sizeof...(F) - 1;

 public:
  /// Columns of a strip. All rings of a thread must fit its own cache, and its stack.
  static constexpr std::ptrdiff_t kStrip = 2048 / static_cast<std::ptrdiff_t>(sizeof(T));

  CascadeStrips(bool pastCaches, const Out& out, const View<const T>& in, const F&... stages)
      : out_(out), in_(in), stages_(stages...), output_(pastCaches) {}

  /// Items x to x + count - 1 of some rows.
  void strip(std::ptrdiff_t x, std::ptrdiff_t count, const Rows& rows) {
    constexpr int kMargin = kSumOfHalos<F...>.down;
    for (std::ptrdiff_t y = rows.begin - 2 * kMargin; y < rows.end; ++y) {
      planes(x, count, y, rows.begin, std::make_index_sequence<sizeof...(F)>{});
      if (y < rows.begin) continue;
      const auto to = addressIn(out_, static_cast<int>(y), x);
      const auto at = output_.open(to);
      const auto cursor = output_.cursor(at);
      run<kLast>(cursor, x, count, y, 0);
      output_.join(cursor, at, count);
      output_.close(to, count);
    }
  }

 private:
  /// Makes the last line of each plane that row y needs: the others are there from the rows before.
  /// No row from `begin` on needs those so far above that what they are made of isn't there.
  template <std::size_t... P>
  void planes(std::ptrdiff_t x, std::ptrdiff_t count, std::ptrdiff_t y, std::ptrdiff_t begin,
              std::index_sequence<P...>) {
    const auto plane = [&]<std::size_t I>(std::integral_constant<std::size_t, I>) {
      auto& ring = std::get<I>(rings_);
      const Halo margin = ring.kMargin;
      const std::ptrdiff_t last = y + margin.down;
      if (last >= begin - margin.down) line<I>(ring.line(last), x, count, last, margin.across);
    };
    (plane(std::integral_constant<std::size_t, P>{}), ...);
  }

  /// Line y of a plane, with a margin of so many elements.
  template <std::size_t P, class Element>
  void line(Element* to, std::ptrdiff_t x, std::ptrdiff_t count, std::ptrdiff_t y, int margin) {
    if constexpr (P == 0) {
      const std::int64_t row = Border::template limit<1>(y, in_.height);
      if (row < 0) {
        std::fill(to, to + count + 2 * margin, T{});
      } else {
        copyLine<1, Border>(addressIn(in_, static_cast<int>(row), 0), in_.width, x - margin,
                            x + count + margin, to);
      }
    } else {
      run<P - 1>(Cursor<Element>{reinterpret_cast<char*>(to)}, x - margin, count + 2 * margin, y,
                 margin);
    }
  }

  /// A stage's items from column x on, which is `before` a strip.
  template <std::size_t Stage, class At>
  void run(const At& at, std::ptrdiff_t x, std::ptrdiff_t count, std::ptrdiff_t y, int before) {
    const auto& f = std::get<Stage>(stages_);
    const auto on = [&]<std::size_t... P>(std::index_sequence<P...>) {
      constexpr int kDown = std::remove_cvref_t<decltype(f)>::halo.down;
      stencilPiece(f, {static_cast<int>(x), static_cast<int>(y)}, static_cast<int>(count), at,
                   std::get<P>(rings_).template around<kDown>(y, before)...);
    };
    on(std::make_index_sequence<Stage + 1>{});
  }

  const Out& out_;
  const View<const T>& in_;
  const std::tuple<const F&...> stages_;
  typename decltype(ringsOf<kStrip, T, F...>())::type rings_;
  Output<Out, kStrip> output_;
};

template <class Border, class Out, class T, class... F>
void cascade(const Out& out, const View<const T>& in, const F&... stages) {
  using Strips = CascadeStrips<Border, Out, T, F...>;
  constexpr std::size_t kStages = sizeof...(F);
  const auto width = static_cast<std::size_t>(out.width);
  const std::size_t moved = width * (sizeof(T) + sizeof(ItemOf<Out>));
  const std::size_t setUp = moved * kSumOfHalos<F...>.down;
  forRows(out.height, {moved, kStages * moved, setUp}, [&](const Rows& rows) {
    Strips strips(rows.pastCaches, out, in, stages...);
    for (std::ptrdiff_t x = 0; x < out.width; x += Strips::kStrip) {
      strips.strip(x, std::min<std::ptrdiff_t>(Strips::kStrip, out.width - x), rows);
    }
  });
}

}  // namespace mirl::engine::host
