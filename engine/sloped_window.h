#pragma once

// A window of a byte image around a place between pixels, and of the image's slopes.

#include "engine/moving_window.h"

namespace mirl::engine {

/// What an image is at a place, and how it rises to the right and downwards.
template <class N>
struct Sloped {
  N of[3];
};

/// Samples of windows, one around each lane's place, which is in the image. Sample (dx, dy) of that around (x, y) is the
/// bilinear blend of `Bilinear` at (x + dx - 0.5, y + dy - 0.5), sums from the left and rounded one
/// by one, the edge going on for ever: of the image's pixels, and of their slopes, half of the
/// difference of the pixels to either side.
template <class N>
class SlopedWindow {
  using Bytes = View<const std::uint8_t>;

 public:
  MIRL_HD SlopedWindow(const Bytes& image, const Halo&) : image_(image) {}

  MIRL_HD void open(float x, float y) {
    x_ = x;
    y_ = y;
  }

  MIRL_HD Sloped<float> sample(int dx, int dy) const {
    const Position across = positionOf(x_ + static_cast<float>(dx) - 0.5f);
    const Position down = positionOf(y_ + static_cast<float>(dy) - 0.5f);
    const int column[2] = {EdgeBorder::limit(across.index, image_.width),
                           EdgeBorder::limit(across.index + 1, image_.width)};
    const int row[2] = {EdgeBorder::limit(down.index, image_.height),
                        EdgeBorder::limit(down.index + 1, image_.height)};
    Sloped<float> above[2], below[2], blended;
    for (int i = 0; i < 2; ++i) {
      above[i] = at(image_, column[i], row[0]);
      below[i] = at(image_, column[i], row[1]);
    }
    const float along[1] = {across.fraction}, downwards[1] = {down.fraction};
    for (int k = 0; k < 3; ++k) {
      const float upper[2] = {above[0].of[k], above[1].of[k]};
      const float lower[2] = {below[0].of[k], below[1].of[k]};
      const float lines[2] = {Bilinear::blend(upper, along), Bilinear::blend(lower, along)};
      blended.of[k] = Bilinear::blend(lines, downwards);
    }
    return blended;
  }

  /// A pixel that there is.
  MIRL_HD static Sloped<float> at(const Bytes& image, int x, int y) {
    const std::uint8_t* const row = rowOf(image, y);
    const std::uint8_t* const above = rowOf(image, y > 0 ? y - 1 : 0);
    const std::uint8_t* const below = rowOf(image, y < image.height - 1 ? y + 1 : y);
    const int before = row[x > 0 ? x - 1 : 0], after = row[x < image.width - 1 ? x + 1 : x];
    return {static_cast<float>(row[x]), static_cast<float>(after - before) * 0.5f,
            static_cast<float>(below[x] - above[x]) * 0.5f};
  }

 private:
  const Bytes& image_;
  float x_ = 0, y_ = 0;
};

/// Calls `use(of the first window, of the second one)` for all samples, columns outside.
template <class Use>
MIRL_HD void forSamples(const Halo& reach, const SlopedWindow<float>& a,
                        const SlopedWindow<float>& b, const Use& use) {
  for (int dx = -reach.across; dx <= reach.across; ++dx) {
    for (int dy = -reach.down; dy <= reach.down; ++dy) use(a.sample(dx, dy), b.sample(dx, dy));
  }
}

#if MIRL_HAS_LANES

/// Each lane's pixels and slopes are fetched when its window comes to others, and lie beside the
/// other lanes' then. Where roundings drive neighbouring samples apart, or windows are large, each
/// lane goes by itself.
template <>
class SlopedWindow<host::Lanes<1>> {
  using N = host::Lanes<1>;
  using Bytes = View<const std::uint8_t>;
  static constexpr int kLanes = N::kCount;
  static constexpr int kMostReach = 15;
  static constexpr int kMostSide = 2 * kMostReach + 1;

 public:
  SlopedWindow(const Bytes& image, const Halo& reach)
      : image_(image),
        reach_(reach),
        isSmall_(reach.across >= 0 && reach.down >= 0 && reach.across <= kMostReach &&
                 reach.down <= kMostReach),
        columns_(2 * reach.across + 1),
        rows_(2 * reach.down + 1) {
    std::fill_n(stagedLeft_, kLanes, INT_MIN);
  }

  void open(const N& x, const N& y) {
    x_ = x;
    y_ = y;
    isTogether_ =
        isSmall_ &&
        host::placeLines(columns_, N(static_cast<float>(-reach_.across)), x, across_, left_) &&
        host::placeLines(rows_, N(static_cast<float>(-reach_.down)), y, down_, top_);
    if (isTogether_) stage();
  }

  template <class Use>
  friend void forSamples(const Halo& reach, const SlopedWindow& a, const SlopedWindow& b,
                         const Use& use) {
    if (a.isTogether_ && b.isTogether_) {
      for (int c = 0; c < a.columns_; ++c) {
        Sloped<N> lineA = a.line(c, 0), lineB = b.line(c, 0);
        for (int r = 0; r < a.rows_; ++r) {
          const Sloped<N> nextA = a.line(c, r + 1), nextB = b.line(c, r + 1);
          use(between(lineA, nextA, a.down_[r]), between(lineB, nextB, b.down_[r]));
          lineA = nextA;
          lineB = nextB;
        }
      }
      return;
    }
    for (int dx = -reach.across; dx <= reach.across; ++dx) {
      for (int dy = -reach.down; dy <= reach.down; ++dy) use(a.apart(dx, dy), b.apart(dx, dy));
    }
  }

 private:
  static Sloped<N> between(const Sloped<N>& a, const Sloped<N>& b, const N& fraction) {
    Sloped<N> made;
    const N weights[1] = {fraction};
    for (int k = 0; k < 3; ++k) {
      const N taps[2] = {a.of[k], b.of[k]};
      made.of[k] = Bilinear::blend(taps, weights);
    }
    return made;
  }

  /// The pixels of a row, blended along it.
  Sloped<N> line(int c, int r) const { return between(pixel(c, r), pixel(c + 1, r), across_[c]); }
  Sloped<N> pixel(int c, int r) const {
    Sloped<N> made;
    for (int k = 0; k < 3; ++k) made.of[k] = load(static_cast<N*>(nullptr), staged_[c][r][k]);
    return made;
  }

  void stage() {
    bool changed = false;
    for (int lane = 0; lane < kLanes; ++lane) {
      const int left = left_[lane], top = top_[lane];
      if (left == stagedLeft_[lane] && top == stagedTop_[lane]) continue;
      stagedLeft_[lane] = left;
      stagedTop_[lane] = top;
      isAtEdge_[lane] = !(left > 0 && top > 0 && left + columns_ + 1 < image_.width &&
                          top + rows_ + 1 < image_.height);
      fetch(lane);
      changed = true;
    }
    if (!changed) return;
    slope();
    for (int lane = 0; lane < kLanes; ++lane) {
      if (isAtEdge_[lane]) slopeAtEdge(lane);
    }
  }

  /// The bytes of a lane's window and around it.
  void fetch(int lane) {
    const int left = left_[lane] - 1, top = top_[lane] - 1;
    for (int r = 0; r < rows_ + 3; ++r) {
      const std::uint8_t* const row = rowOf(image_, EdgeBorder::limit(top + r, image_.height));
      for (int c = 0; c < columns_ + 3; ++c) {
        const int x = isAtEdge_[lane] ? EdgeBorder::limit(left + c, image_.width) : left + c;
        bytes_[r][c][lane] = row[x];
      }
    }
  }

  /// Pixels and slopes of all lanes.
  void slope() {
    N* const type = nullptr;
    const N half(0.5f);
    for (int c = 0; c <= columns_; ++c) {
      for (int r = 0; r <= rows_; ++r) {
        const auto at = [&](int x, int y) { return load(type, bytes_[r + 1 + y][c + 1 + x]); };
        store(at(0, 0), staged_[c][r][0]);
        store((at(1, 0) - at(-1, 0)) * half, staged_[c][r][1]);
        store((at(0, 1) - at(0, -1)) * half, staged_[c][r][2]);
      }
    }
  }

  /// Outside the image slopes are those of its edge, which a window around a place within sees.
  void slopeAtEdge(int lane) {
    for (int c = 0; c <= columns_; ++c) {
      const int edge = EdgeBorder::limit(left_[lane] + c, image_.width) - left_[lane];
      if (edge == c || edge < 0 || edge > columns_) continue;
      for (int r = 0; r <= rows_; ++r) staged_[c][r][1][lane] = staged_[edge][r][1][lane];
    }
    for (int r = 0; r <= rows_; ++r) {
      const int edge = EdgeBorder::limit(top_[lane] + r, image_.height) - top_[lane];
      if (edge == r || edge < 0 || edge > rows_) continue;
      for (int c = 0; c <= columns_; ++c) staged_[c][r][2][lane] = staged_[c][edge][2][lane];
    }
  }

  [[gnu::noinline]] Sloped<N> apart(int dx, int dy) const {
    float x[kLanes], y[kLanes], values[3][kLanes];
    store(x_, x);
    store(y_, y);
    for (int lane = 0; lane < kLanes; ++lane) {
      SlopedWindow<float> one(image_, reach_);
      one.open(x[lane], y[lane]);
      const Sloped<float> sampled = one.sample(dx, dy);
      for (int k = 0; k < 3; ++k) values[k][lane] = sampled.of[k];
    }
    Sloped<N> made;
    for (int k = 0; k < 3; ++k) made.of[k] = load(static_cast<N*>(nullptr), values[k]);
    return made;
  }

  const Bytes& image_;
  Halo reach_;
  bool isSmall_, isTogether_ = false;
  int columns_, rows_;
  N x_, y_;
  int left_[kLanes], top_[kLanes], stagedLeft_[kLanes], stagedTop_[kLanes];
  bool isAtEdge_[kLanes];
  N across_[kMostSide], down_[kMostSide];
  std::uint8_t bytes_[kMostSide + 3][kMostSide + 3][kLanes];
  alignas(64) float staged_[kMostSide + 1][kMostSide + 1][3][kLanes];
};

#endif

}  // namespace mirl::engine
