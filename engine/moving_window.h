#pragma once

// A window of a byte image whose place is a float: what iterations look through that follow a
// pixel into another image.

#include "engine/device_code.h"
#include "engine/functor.h"
#include "engine/host/lanes.h"
#include "engine/sampling.h"
#include "engine/view.h"

#include <algorithm>
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
/// movement, `startRow(dy)` comes before the samples of a row, rows and samples in their order.
template <class N, class Codec>
class MovingWindow {
  using Bytes = View<const std::uint8_t>;

 public:
  MIRL_HD MovingWindow(const Bytes& image, const Place& at, const Halo&) : image_(image), at_(at) {}

  MIRL_HD void open(float u, float v) {
    u_ = u;
    v_ = v;
  }
  MIRL_HD void startRow(int dy) { y_ = static_cast<float>(at_.y + dy) + v_ - 0.5f; }
  MIRL_HD float sample(int dx) const {
    const Point point{static_cast<float>(at_.x + dx) + u_ - 0.5f, y_};
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
  float u_ = 0, v_ = 0, y_ = 0;
};

#if MIRL_HAS_LANES

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
  static constexpr int kWordBytes = 4;
  static constexpr int kMostWords = (kMostSide + 1) / kWordBytes;

 public:
  MovingWindow(const Bytes& image, const Place& at, const Halo& reach)
      : image_(image),
        at_(at),
        reach_(reach),
        isSmall_(reach.across <= kMostReach && reach.down <= kMostReach),
        columns_(2 * reach.across + 1),
        rows_(2 * reach.down + 1) {}

  void open(const N& u, const N& v) {
    u_ = u;
    v_ = v;
    isTogether_ = isSmall_ && placeLines(columns_, -reach_.across, u, at_.x, 1, across_, left_) &&
                  placeLines(rows_, -reach_.down, v, at_.y, 0, down_, top_);
    if (isTogether_) stage();
  }

  void startRow(int dy) {
    row_ = dy + reach_.down;
    dy_ = dy;
    if (!isTogether_) return;
    if (row_ == 0) blendLine(0);
    blendLine(row_ + 1);
  }

  N sample(int dx) const {
    if (!isTogether_) return apart(dx);
    const int column = dx + reach_.across;
    const N lines[2] = {lines_[row_ % 2][column], lines_[(row_ + 1) % 2][column]};
    const N weights[1] = {down_[row_]};
    return Bilinear::blend(lines, weights);
  }

 private:
  /// The fractions of a window's columns or rows, and each lane's first pixel. False if not each is
  /// the neighbour of the one before, or they are so far out that floats have no fractions.
  static bool placeLines(int count, int first, const N& movement, int at, int step, N* fractions,
                         int* begins) {
    const N half(0.5f);
    const auto placeOf = [&](int i) {
      const N centre = fill(static_cast<N*>(nullptr), [&](int lane) {
        return static_cast<float>(at + step * lane + first + i);
      });
      return centre + movement - half;
    };
    const N begin = floor(placeOf(0));
    for (int i = 0; i < count; ++i) {
      const N place = placeOf(i), whole = floor(place);
      if (any(whole != begin + N(static_cast<float>(i)))) return false;
      fractions[i] = place - whole;
    }
    constexpr float kFar = 0x1p22f;
    float wholes[kLanes];
    store(begin, wholes);
    for (int lane = 0; lane < kLanes; ++lane) {
      if (!(wholes[lane] > -kFar && wholes[lane] < kFar)) return false;
      begins[lane] = static_cast<int>(wholes[lane]);
    }
    return true;
  }

  /// Fetches the bytes of all windows.
  void stage() {
    words_ = (columns_ + 1 + kWordBytes - 1) / kWordBytes;
    for (int lane = 0; lane < kLanes; ++lane) {
      const int left = left_[lane];
      const bool inside = left >= 0 && left + words_ * kWordBytes <= image_.width;
      for (int r = 0; r <= rows_; ++r) {
        const std::uint8_t* const row =
            rowOf(image_, EdgeBorder::limit(top_[lane] + r, image_.height));
        for (int k = 0; k < words_; ++k) {
          std::uint8_t word[kWordBytes];
          if (inside) {
            std::memcpy(word, row + left + k * kWordBytes, sizeof word);
          } else {
            for (int b = 0; b < kWordBytes; ++b) {
              word[b] = row[EdgeBorder::limit(left + k * kWordBytes + b, image_.width)];
            }
          }
          std::memcpy(&bytes_[r][k][lane], word, sizeof word);
        }
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

  N apart(int dx) const {
    float u[kLanes], v[kLanes];
    store(u_, u);
    store(v_, v);
    return fill(static_cast<N*>(nullptr), [&](int lane) {
      One one(image_, {at_.x + lane, at_.y}, reach_);
      one.open(u[lane], v[lane]);
      one.startRow(dy_);
      return one.sample(dx);
    });
  }

  const Bytes& image_;
  Place at_;
  Halo reach_;
  bool isSmall_, isTogether_ = false;
  int columns_, rows_, words_ = 0;
  int row_ = 0, dy_ = 0;
  N u_, v_;
  int left_[kLanes], top_[kLanes];
  N across_[kMostSide], down_[kMostSide];
  N lines_[2][kMostSide];
  alignas(64) std::uint32_t bytes_[kMostSide + 1][kMostWords][kLanes];
};

#endif

}  // namespace mirl::engine
