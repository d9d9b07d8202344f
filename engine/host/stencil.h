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

    T operator()(int dx, int dy) const {
      T element;
      std::memcpy(&element, lines.line[dy + Down] + (at + dx * Step) * std::ptrdiff_t{sizeof(T)},
                  sizeof element);
      return element;
    }
  };
};

template <class F, class Out, class T, int Step, int Down>
void stencilPiece(const F f, Place first, int count, const Out out,
                  const Lines<T, Step, Down> lines) {
  MIRL_IVDEP
  for (int i = 0; i < count; ++i) {
    out.put(i, call(f, Nothing{}, Place{first.x + i, first.y},
                    typename Lines<T, Step, Down>::Neighbours{lines, i}));
  }
}

template <int Step, class Border, class F, class Out, class T>
class StencilRows {
  static constexpr int kDown = F::halo.down;
  static constexpr int kAcross = F::halo.across * Step;
  static constexpr std::ptrdiff_t kPiece = pieceFor<F, ItemOf<Out>, T>();
  using AllLines = Lines<T, Step, kDown>;

 public:
  StencilRows(const F& f, bool pastCaches, const Out& out, const View<const T>& in)
      : f_(f), out_(out), in_(in), output_(pastCaches) {}

  void row(int y) {
    const std::ptrdiff_t width = out_.width;
    const std::ptrdiff_t left = std::min<std::ptrdiff_t>(kAcross, width);
    const std::ptrdiff_t right = std::max<std::ptrdiff_t>(in_.width - kAcross, left);
    edge(y, 0, left);
    AllLines lines;
    for (int j = -kDown; j <= kDown; ++j) {
      const std::int64_t at = Border::template limit<1>(std::int64_t{y} + j, in_.height);
      lines.line[j + kDown] = at < 0 ? nullptr : addressIn(in_, static_cast<int>(at), 0);
    }
    const std::ptrdiff_t end = std::min(right, width);
    for (std::ptrdiff_t x = left; x < end; x += kPiece) {
      const std::ptrdiff_t count = std::min(kPiece, end - x);
      AllLines here = lines;
      for (int j = 0; j <= 2 * kDown; ++j) {
        here.line[j] = here.line[j] == nullptr ? zeros() : here.line[j] + x * kBytes;
      }
      piece(y, x, count, here);
    }
    for (std::ptrdiff_t x = std::max(left, end); x < width; x += kEdge) {
      edge(y, x, std::min(kEdge, width - x));
    }
  }

 private:
  static constexpr std::ptrdiff_t kBytes = sizeof(T);
  static constexpr std::ptrdiff_t kEdge = std::max(kAcross, 1);

  /// Elements whose neighbours are not all there, from copies of their lines.
  void edge(int y, std::ptrdiff_t x, std::ptrdiff_t count) {
    if (count < 1) return;
    T copies[2 * kDown + 1][3 * kEdge];
    AllLines lines;
    for (int j = 0; j <= 2 * kDown; ++j) {
      const std::int64_t row = Border::template limit<1>(std::int64_t{y} + j - kDown, in_.height);
      for (std::ptrdiff_t i = 0; i < count + 2 * kAcross; ++i) {
        const std::int64_t column = Border::template limit<Step>(x + i - kAcross, in_.width);
        const Cursor<T> from{row < 0 ? nullptr : addressIn(in_, static_cast<int>(row), 0)};
        copies[j][i] = row < 0 || column < 0 ? T{} : from.get(column);
      }
      lines.line[j] = reinterpret_cast<const char*>(copies[j] + kAcross);
    }
    piece(y, x, count, lines);
  }

  void piece(int y, std::ptrdiff_t x, std::ptrdiff_t count, const AllLines& lines) {
    const auto to = addressIn(out_, y, x);
    const auto at = output_.open(to);
    const auto cursor = output_.cursor(at);
    stencilPiece(f_, {static_cast<int>(x), y}, static_cast<int>(count), cursor, lines);
    output_.join(cursor, at, count);
    output_.close(to, count);
  }

  static const char* zeros() {
    static constexpr T kZeros[kPiece + 2 * kAcross] = {};
    return reinterpret_cast<const char*>(kZeros + kAcross);
  }

  const F& f_;
  const Out& out_;
  const View<const T>& in_;
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
