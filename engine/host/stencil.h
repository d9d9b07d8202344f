#pragma once

// The host path of the stencil pattern, along rows like the map pattern's.

#include "engine/functor.h"
#include "engine/host/ivdep.h"
#include "engine/host/map.h"
#include "engine/host/rows.h"
#include "engine/view.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace mirl::engine::host {

/// The lines above each other that a stencil sees. `line` is where each of them has element 0 of the
/// piece, at any address.
template <class T, int Step, int Down>
struct Lines {
  const char* line[2 * Down + 1];

  struct Neighbours {
    const Lines& lines;
    std::ptrdiff_t at;

    /// Of the host, but what calls it is of all devices.
    MIRL_HD T operator()(int dx, int dy) const {
      T element;
      std::memcpy(&element, lines.line[dy + Down] + (at + dx * Step) * std::ptrdiff_t{sizeof(T)},
                  sizeof element);
      return element;
    }
  };
};

template <class F, class Out, class... Seen>
void stencilPiece(const F f, Place first, int count, const Out out, const Seen... lines) {
  MIRL_IVDEP
  for (int i = 0; i < count; ++i) {
    out.put(
        i, call(f, Nothing{}, Place{first.x + i, first.y}, typename Seen::Neighbours{lines, i}...));
  }
}

/// Copies elements `begin` to `end` of a row of `width`, which may lie outside of it.
template <int Step, class Border, class T>
void copyLine(const char* row, int width, std::ptrdiff_t begin, std::ptrdiff_t end, T* to) {
  const std::ptrdiff_t first = std::clamp<std::ptrdiff_t>(0, begin, end);
  const std::ptrdiff_t last = std::clamp<std::ptrdiff_t>(width, first, end);
  const auto outside = [&](std::ptrdiff_t x) {
    const std::int64_t column = Border::template limit<Step>(x, width);
    to[x - begin] = column < 0 ? T{} : Cursor<T>{const_cast<char*>(row)}.get(column);
  };
  for (std::ptrdiff_t x = begin; x < first; ++x) outside(x);
  std::memcpy(to + (first - begin), row + first * std::ptrdiff_t{sizeof(T)},
              static_cast<std::size_t>(last - first) * sizeof(T));
  for (std::ptrdiff_t x = last; x < end; ++x) outside(x);
}

template <int Step, class Border, class F, class Out, class T>
class StencilRows {
  static constexpr int kDown = F::halo.down;
  static constexpr int kAcross = F::halo.across * Step;
  static constexpr std::ptrdiff_t kPiece = pieceFor<F, ItemOf<Out>, T>();
  using AllLines = Lines<T, Step, kDown>;
  using At = Cursor<ItemOf<Out>>;

 public:
  StencilRows(const F& f, bool pastCaches, const Out& out, const View<const T>& in)
      : f_(f), out_(out), in_(in), output_(pastCaches) {}

  void row(int y) {
    for (int j = 0; j <= 2 * kDown; ++j) {
      const std::int64_t at = Border::template limit<1>(std::int64_t{y} + j - kDown, in_.height);
      row_[j] = at < 0 ? nullptr : addressIn(in_, static_cast<int>(at), 0);
    }
    for (std::ptrdiff_t x = 0; x < out_.width; x += kPiece) {
      const std::ptrdiff_t count = std::min<std::ptrdiff_t>(kPiece, out_.width - x);
      const auto to = addressIn(out_, y, x);
      const auto at = output_.open(to);
      const At cursor = output_.cursor(at);
      piece(cursor, y, x, x + count);
      output_.join(cursor, at, count);
      output_.close(to, count);
    }
  }

 private:
  static constexpr std::ptrdiff_t kBytes = sizeof(T);

  /// Items `begin` to `end` of a row, from lines where they are or, at the ends of the row, from
  /// copies that go on beyond them.
  void piece(const At& cursor, int y, std::ptrdiff_t begin, std::ptrdiff_t end) {
    const bool inside = begin >= kAcross && end + kAcross <= in_.width;
    AllLines lines;
    for (int j = 0; j <= 2 * kDown; ++j) {
      if (row_[j] == nullptr) {
        lines.line[j] = zeros();
      } else if (inside) {
        lines.line[j] = row_[j] + begin * kBytes;
      } else {
        copyLine<Step, Border>(row_[j], in_.width, begin - kAcross, end + kAcross, copies_[j]);
        lines.line[j] = reinterpret_cast<const char*>(copies_[j] + kAcross);
      }
    }
    stencilPiece(f_, {static_cast<int>(begin), y}, static_cast<int>(end - begin), cursor, lines);
  }

  static const char* zeros() {
    static constexpr T kZeros[kPiece + 2 * kAcross] = {};
    return reinterpret_cast<const char*>(kZeros + kAcross);
  }

  const F& f_;
  const Out& out_;
  const View<const T>& in_;
  const char* row_[2 * kDown + 1];  ///< null where there is none
  T copies_[2 * kDown + 1][kPiece + 2 * kAcross];
  Output<Out, kPiece> output_;
};

template <int Step, class Border, class F, class Out, class T>
void stencil(const F& f, const Out& out, const View<const T>& in) {
  const auto width = static_cast<std::size_t>(out.width);
  forRows(out.height, width * (sizeof(T) + sizeof(ItemOf<Out>)), [&](const Rows& rows) {
    StencilRows<Step, Border, F, Out, T> all(f, rows.pastCaches, out, in);
    for (int y = rows.begin; y < rows.end; ++y) all.row(y);
  });
}

}  // namespace mirl::engine::host
