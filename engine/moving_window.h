#pragma once

// A window of a byte image whose place is a float: what iterations look through that follow a
// pixel into another image.

#include "engine/device_code.h"
#include "engine/functor.h"
#include "engine/host/lanes.h"
#include "engine/sampling.h"
#include "engine/view.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace mirl::engine {

/// Bytes as they are.
struct PlainBytes {
  template <class N>
  MIRL_HD static N load(const N& value) {
    return value;
  }
};

/// Bytes as 0 to 1, the quotient rounded once, as in NormalizedElements.
struct NormalizedBytes {
  template <class N>
  MIRL_HD static N load(const N& value) {
    constexpr double kReciprocal = 1.0 / 255.0;
    constexpr auto kHigh = static_cast<float>(kReciprocal);
    constexpr auto kLow = static_cast<float>(kReciprocal - static_cast<double>(kHigh));
    return fusedMultiplyAdd(value, N(kHigh), value * N(kLow));
  }
};

/// The samples of one window, or of neighbouring ones in lanes. Sample (dx, dy) of that around pixel
/// (x, y), moved by (u, v), is the bilinear blend of `Bilinear`, the edge going on for ever, at
/// (x + dx + u - 0.5, y + dy + v - 0.5), sums from the left and rounded one by one: `open` sets the
/// movement, and `row` calls `use(dx, sample)` for a row of samples, from the left. Rows come in
/// their order.
template <class N, class Codec>
class MovingWindow {
  using Bytes = View<const std::uint8_t>;

 public:
  MIRL_HD MovingWindow(const Bytes& image, const Place& at, const Halo& reach)
      : image_(image), at_(at), reach_(reach) {}

  MIRL_HD void open(float u, float v) {
    u_ = u;
    v_ = v;
  }
  template <class Use>
  MIRL_HD void row(int dy, const Use& use) const {
    for (int dx = -reach_.across; dx <= reach_.across; ++dx) use(dx, sample(dx, dy));
  }
  MIRL_HD float sample(int dx, int dy) const {
    const Point point{static_cast<float>(at_.x + dx) + u_ - 0.5f,
                      static_cast<float>(at_.y + dy) + v_ - 0.5f};
    const Position across = positionOf(point.x), down = positionOf(point.y);
    const auto tap = [&](int x, int y) {
      return Codec::load(toFloat(rowOf(
          image_,
          EdgeBorder::limit(down.index + y,
                            image_.height))[EdgeBorder::limit(across.index + x, image_.width)]));
    };
    const float along[1] = {across.fraction}, downwards[1] = {down.fraction};
    const float above[2] = {tap(0, 0), tap(1, 0)}, below[2] = {tap(0, 1), tap(1, 1)};
    const float lines[2] = {Bilinear::blend(above, along), Bilinear::blend(below, along)};
    return Bilinear::blend(lines, downwards);
  }

 private:
  const Bytes& image_;
  Place at_;
  const Halo& reach_;
  float u_ = 0, v_ = 0;
};

#if MIRL_HAS_LANES

namespace host {

/// Whole numbers from here on may not all be floats.
inline constexpr int kFarOut = 1 << 22;

/// The fractions of a window's columns or rows, and each lane's first pixel. False if not each is
/// the neighbour of the one before, or they are so far out that floats have no fractions.
inline bool placeLines(int count, const Lanes<1>& first, const Lanes<1>& movement,
                       Lanes<1>* fractions, int* begins) {
  using N = Lanes<1>;
  const N half(0.5f);
  const auto placeOf = [&](int i) { return first + N(static_cast<float>(i)) + movement - half; };
  const N begin = floor(placeOf(0));
  for (int i = 0; i < count; ++i) {
    const N place = placeOf(i), whole = floor(place);
    if (any(whole != begin + N(static_cast<float>(i)))) return false;
    fractions[i] = place - whole;
  }
  if (any(N(static_cast<float>(kFarOut)) < magnitude(begin))) return false;
  float wholes[N::kCount];
  store(begin, wholes);
  for (int lane = 0; lane < N::kCount; ++lane) {
    begins[lane] = static_cast<int>(wholes[lane]);
  }
  return true;
}

}  // namespace host

/// Windows in lanes read their bytes once for each movement, several at a time, and blend each line
/// of them along the row once for both rows of samples that it takes part in. Where roundings drive
/// neighbouring samples apart, or windows are large, each lane goes by itself.
template <class Codec>
class MovingWindow<host::Lanes<1>, Codec> {
  using N = host::Lanes<1>;
  using Bytes = View<const std::uint8_t>;
  using One = MovingWindow<float, Codec>;
  static constexpr int kLanes = N::kCount;
  static constexpr int kMostReach = 15;
  static constexpr int kMostSide = 2 * kMostReach + 1;
  static constexpr int kWordBytes = 8;
  static constexpr int kMostWords = (kMostSide + kWordBytes) / kWordBytes;

 public:
  MovingWindow(const Bytes& image, const Place& at, const Halo& reach)
      : image_(image),
        at_(at),
        reach_(reach),
        isSmall_(reach.across <= kMostReach && reach.down <= kMostReach && at.x < host::kFarOut &&
                 at.y < host::kFarOut),
        columns_(2 * reach.across + 1),
        rows_(2 * reach.down + 1),
        words_((columns_ + kWordBytes) / kWordBytes),
        firstColumn_(
            fill(static_cast<N*>(nullptr),
                 [&](int lane) { return static_cast<float>(at.x + lane - reach.across); })),
        firstRow_(static_cast<float>(at.y - reach.down)) {
    std::fill_n(stagedLeft_, kLanes, INT_MIN);
  }

  void open(const N& u, const N& v) {
    u_ = u;
    v_ = v;
    isTogether_ = isSmall_ && host::placeLines(columns_, firstColumn_, u, across_, left_) &&
                  host::placeLines(rows_, firstRow_, v, down_, top_);
    if (isTogether_) stage();
  }

  template <class Use>
  void row(int dy, const Use& use) {
    if (!isTogether_) {
      for (int dx = -reach_.across; dx <= reach_.across; ++dx) use(dx, apart(dx, dy));
      return;
    }
    const int r = dy + reach_.down;
    if (r == 0) blendLine(0);
    blendLine(r + 1);
    const N* const above = lines_[r % 2];
    const N* const below = lines_[(r + 1) % 2];
    const N weights[1] = {down_[r]};
    for (int c = 0; c < columns_; ++c) {
      const N lines[2] = {above[c], below[c]};
      use(c - reach_.across, Bilinear::blend(lines, weights));
    }
  }

 private:
  /// Fetches the bytes of the windows that look at other pixels than before.
  void stage() {
    for (int lane = 0; lane < kLanes; ++lane) {
      const int left = left_[lane], top = top_[lane];
      if (left == stagedLeft_[lane] && top == stagedTop_[lane]) continue;
      stagedLeft_[lane] = left;
      stagedTop_[lane] = top;
      const bool inside = left >= 0 && left + words_ * kWordBytes <= image_.width && top >= 0 &&
                          top + rows_ < image_.height;
      if (inside) {
        const std::uint8_t* row = rowOf(image_, top) + left;
        for (int r = 0; r <= rows_; ++r, row += image_.pitch) {
          for (int k = 0; k < words_; ++k) {
            std::memcpy(&bytes_[r][k][lane], row + k * kWordBytes, kWordBytes);
          }
        }
      } else {
        stageAtEdge(left, top, lane);
      }
    }
  }

  void stageAtEdge(int left, int top, int lane) {
    for (int r = 0; r <= rows_; ++r) {
      const std::uint8_t* const row = rowOf(image_, EdgeBorder::limit(top + r, image_.height));
      for (int k = 0; k < words_; ++k) {
        std::uint8_t word[kWordBytes];
        for (int b = 0; b < kWordBytes; ++b) {
          word[b] = row[EdgeBorder::limit(left + k * kWordBytes + b, image_.width)];
        }
        std::memcpy(&bytes_[r][k][lane], word, sizeof word);
      }
    }
  }

  /// Blends a line of the windows' pixels along itself.
  void blendLine(int r) {
    N* const line = lines_[r % 2];
    N taps[2] = {tap(r, 0), N()};
    for (int c = 0; c < columns_; ++c) {
      taps[1] = tap(r, c + 1);
      const N weights[1] = {across_[c]};
      line[c] = Bilinear::blend(taps, weights);
      taps[0] = taps[1];
    }
  }

  N tap(int r, int c) const {
    return Codec::load(byteOf(static_cast<N*>(nullptr), bytes_[r][c / kWordBytes], c % kWordBytes));
  }

  [[gnu::noinline]] N apart(int dx, int dy) const {
    float u[kLanes], v[kLanes];
    store(u_, u);
    store(v_, v);
    return fill(static_cast<N*>(nullptr), [&](int lane) {
      One one(image_, {at_.x + lane, at_.y}, reach_);
      one.open(u[lane], v[lane]);
      return one.sample(dx, dy);
    });
  }

  const Bytes& image_;
  Place at_;
  Halo reach_;
  bool isSmall_, isTogether_ = false;
  int columns_, rows_, words_;
  N firstColumn_, firstRow_;
  N u_, v_;
  int left_[kLanes], top_[kLanes], stagedLeft_[kLanes], stagedTop_[kLanes];
  N across_[kMostSide], down_[kMostSide];
  N lines_[2][kMostSide];
  alignas(64) std::uint64_t bytes_[kMostSide + 1][kMostWords][kLanes];
};

#endif

}  // namespace mirl::engine
