#pragma once

// The host path of the digest pattern: strips of columns, down which each thread goes.

#include "engine/device_code.h"
#include "engine/functor.h"
#include "engine/host/ivdep.h"
#include "engine/host/map.h"
#include "engine/host/rows.h"
#include "engine/host/stencil.h"
#include "engine/view.h"

#include <algorithm>
#include <cstddef>
#include <tuple>

namespace mirl::engine::host {

template <class F>
inline constexpr bool hasEdge = requires {
  &F::atEdge;
};

// Parts of a functor as functors of their own, which no GPU calls.

template <class F>
struct Digesting {
  F f;
  template <class P>
  MIRL_HD float operator()(const P& pixel) const {
    return f.digest(pixel);
  }
};
template <class F>
struct AtEdge {
  F f;
  template <class P>
  MIRL_HD P operator()(const P& pixel) const {
    return f.atEdge(pixel);
  }
};

template <class F, class P, class Seen>
void digestPiece(const F f, int count, const Cursor<P> out, const Cursor<P> in, const Seen lines) {
  MIRL_IVDEP
  for (int i = 0; i < count; ++i) {
    out.put(i, f(in.get(i), typename Seen::Neighbours{lines, i}));
  }
}

template <class F, class P>
class DigestStrips {
  static constexpr int kAcross = F::halo.across, kDown = F::halo.down;
  static constexpr int kLines = 2 * kDown + 1;

 public:
  static constexpr std::ptrdiff_t kStrip = 512;

  DigestStrips(const F& f, bool pastCaches, const View<P>& out, const View<const P>& in)
      : f_(f), out_(out), in_(in), output_(pastCaches) {}

  /// Columns x to x + count - 1 of some rows.
  void strip(std::ptrdiff_t x, std::ptrdiff_t count, const Rows& rows) {
    const std::ptrdiff_t left = std::max<std::ptrdiff_t>(x - kAcross, 0);
    const std::ptrdiff_t right = std::min<std::ptrdiff_t>(x + count + kAcross, in_.width);
    // Columns with all neighbours.
    const std::ptrdiff_t begin = std::max<std::ptrdiff_t>(x, kAcross);
    const std::ptrdiff_t end = std::max(std::min(x + count, right - kAcross), begin);
    int next = std::max(rows.begin - kDown, 0);
    for (int y = rows.begin; y < rows.end; ++y) {
      for (; next <= std::min(y + kDown, in_.height - 1); ++next) read(next, left, right - left);
      const bool inside = y >= kDown && y < in_.height - kDown && begin < end;
      if (!inside) {
        edge(y, left, x, x + count);
        continue;
      }
      if constexpr (hasEdge<F>) {
        put(y, x, x + count, [&](const Cursor<P>& to) {
          edgePiece(to, y, left, x, begin, x);
          piece(to, y, left, begin, end, x);
          edgePiece(to, y, left, end, x + count, x);
        });
      } else {
        put(y, begin, end, [&](const Cursor<P>& to) { piece(to, y, left, begin, end, begin); });
      }
    }
  }

 private:
  /// Takes a row apart and digests it.
  void read(int y, std::ptrdiff_t left, std::ptrdiff_t count) {
    const Cursor<P> pixels = fetch(rooms_[y % kLines], in_, y, left, count);
    mapPiece(Digesting<F>{f_}, Place{}, static_cast<int>(count),
             Cursor<float>{reinterpret_cast<char*>(digests_[y % kLines])}, pixels);
  }

  static Cursor<P> at(Cursor<P> cursor, std::ptrdiff_t n) {
    for (char*& plane : cursor.plane) plane += n * static_cast<std::ptrdiff_t>(kElementBytes<P>);
    return cursor;
  }

  /// Makes columns `begin` to `end` where `make` says how.
  template <class Make>
  void put(int y, std::ptrdiff_t begin, std::ptrdiff_t end, const Make& make) {
    char* const to = addressIn(out_, y, begin);
    char* const open = output_.open(to);
    const Cursor<P> cursor = output_.cursor(open);
    make(cursor);
    output_.join(cursor, open, end - begin);
    output_.close(to, end - begin);
  }

  void piece(const Cursor<P>& to, int y, std::ptrdiff_t left, std::ptrdiff_t begin,
             std::ptrdiff_t end, std::ptrdiff_t origin) {
    Lines<float, 1, kDown> lines;
    for (int j = 0; j < kLines; ++j) {
      lines.line[j] =
          reinterpret_cast<const char*>(digests_[(y + j - kDown) % kLines] + (begin - left));
    }
    digestPiece(f_, static_cast<int>(end - begin), at(to, begin - origin),
                at(rooms_[y % kLines].cursor(), begin - left), lines);
  }

  void edgePiece(const Cursor<P>& to, int y, std::ptrdiff_t left, std::ptrdiff_t begin,
                 std::ptrdiff_t end, std::ptrdiff_t origin) {
    mapPiece(AtEdge<F>{f_}, Place{}, static_cast<int>(end - begin), at(to, begin - origin),
             at(rooms_[y % kLines].cursor(), begin - left));
  }

  void edge([[maybe_unused]] int y, [[maybe_unused]] std::ptrdiff_t left,
            [[maybe_unused]] std::ptrdiff_t begin, [[maybe_unused]] std::ptrdiff_t end) {
    if constexpr (hasEdge<F>) {
      put(y, begin, end, [&](const Cursor<P>& to) { edgePiece(to, y, left, begin, end, begin); });
    }
  }

  const F& f_;
  const View<P>& out_;
  const View<const P>& in_;
  Room<P, kStrip + 2 * kAcross> rooms_[kLines];
  float digests_[kLines][kStrip + 2 * kAcross];
  Output<View<P>, kStrip> output_;
};

template <class F, class P>
void digest(const F& f, const View<P>& out, const View<const P>& in) {
  using Strips = DigestStrips<F, P>;
  const std::size_t moved = 2 * sizeof(P) * static_cast<std::size_t>(out.width);
  forRows(out.height, {moved, 2 * moved, F::halo.down * moved}, [&](const Rows& rows) {
    Strips strips(f, rows.pastCaches, out, in);
    for (std::ptrdiff_t x = 0; x < out.width; x += Strips::kStrip) {
      strips.strip(x, std::min<std::ptrdiff_t>(Strips::kStrip, out.width - x), rows);
    }
  });
}

}  // namespace mirl::engine::host
