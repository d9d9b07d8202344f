#include "engine/host/rank.h"

#include "engine/borders.h"
#include "engine/host/rows.h"
#include "engine/numbers/median_networks.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#if MIRL_WITH_HIGHWAY
#include <hwy/highway.h>
#endif

namespace mirl::engine::host {
namespace {

using Bytes = View<std::uint8_t>;
using ConstBytes = View<const std::uint8_t>;

#if MIRL_WITH_HIGHWAY && HWY_TARGET != HWY_SCALAR

namespace hn = hwy::HWY_NAMESPACE;

constexpr hn::ScalableTag<std::uint8_t> kTag;
using Vector = hn::Vec<decltype(kTag)>;
constexpr std::ptrdiff_t kLanes = hn::MaxLanes(kTag);

Vector load(const std::uint8_t* at) {
  return hn::LoadU(kTag, at);
}
void store(const Vector& vector, std::uint8_t* at) {
  hn::StoreU(vector, kTag, at);
}

struct Order {
  static Vector lesser(const Vector& a, const Vector& b) { return hn::Min(a, b); }
  static Vector greater(const Vector& a, const Vector& b) { return hn::Max(a, b); }
};

#else

// What compilers have of their own.
constexpr std::ptrdiff_t kLanes = 16;
using Vector [[gnu::vector_size(kLanes)]] = std::uint8_t;

Vector load(const std::uint8_t* at) {
  Vector vector;
  std::memcpy(&vector, at, sizeof vector);
  return vector;
}
void store(const Vector& vector, std::uint8_t* at) {
  std::memcpy(at, &vector, sizeof vector);
}

struct Order {
  static Vector lesser(const Vector& a, const Vector& b) { return a < b ? a : b; }
  static Vector greater(const Vector& a, const Vector& b) { return a > b ? a : b; }
};

#endif

Vector of(Least, const Vector& a, const Vector& b) {
  return Order::lesser(a, b);
}
Vector of(Greatest, const Vector& a, const Vector& b) {
  return Order::greater(a, b);
}

/// The first `count` bytes, if there are fewer than a vector has.
Vector loadSome(const std::uint8_t* at, std::ptrdiff_t count) {
  if (count >= kLanes) return load(at);
  std::uint8_t some[kLanes] = {};
  std::memcpy(some, at, static_cast<std::size_t>(count));
  return load(some);
}

/// Continues elements `first` to `last` - 1 of a line to both sides.
void continueLine(std::uint8_t* line, std::ptrdiff_t begin, std::ptrdiff_t first,
                  std::ptrdiff_t last, std::ptrdiff_t end) {
  std::memset(line + begin, line[first], static_cast<std::size_t>(first - begin));
  std::memset(line + last, line[last - 1], static_cast<std::size_t>(end - last));
}

const std::uint8_t* rowNear(const ConstBytes& in, std::int64_t y) {
  return rowOf(in, NearestElement::limit<1>(y, in.height));
}

/// Two rows of medians at a time.
template <int N>
class MedianRows {
  static constexpr int kReach = N / 2;
  static constexpr int kCore = N - 1;  // rows that both windows have
  /// So that the lines of a piece stay in the nearest cache.
  static constexpr std::ptrdiff_t kPiece = N == 3 ? 4096 : N == 5 ? 2048 : 1024;
  static constexpr std::ptrdiff_t kMostMargin = 3 * kReach;

 public:
  MedianRows(const Bytes& out, const ConstBytes& in, int step)
      : out_(out), in_(in), step_(step), margin_(step * kReach) {}

  void rows(int y, const Rows& how) {
    for (std::ptrdiff_t x = 0; x < in_.width; x += kPiece) {
      const std::ptrdiff_t count = std::min<std::ptrdiff_t>(kPiece, in_.width - x);
      prepare(y, x, count);
      for (std::ptrdiff_t i = 0; i < count; i += kLanes) medians(i);
      for (int r = 0; r < 2 && y + r < out_.height; ++r) {
        putBytes(how, rowOf(out_, y + r) + x, made_[r], static_cast<std::size_t>(count));
      }
    }
  }

 private:
  /// Sorts the columns around `count` elements from x on, and fetches the rows above and below.
  void prepare(int y, std::ptrdiff_t x, std::ptrdiff_t count) {
    const std::ptrdiff_t begin = x - margin_, end = x + count + margin_;
    const std::ptrdiff_t first = std::max<std::ptrdiff_t>(begin, 0);
    const std::ptrdiff_t last = std::min<std::ptrdiff_t>(end, in_.width);
    const std::uint8_t* row[kCore];
    for (int j = 0; j < kCore; ++j) row[j] = rowNear(in_, std::int64_t{y} + j + 1 - kReach);
    for (std::ptrdiff_t i = first; i < last; i += kLanes) {
      Vector column[kCore], sorted[kCore];
      for (int j = 0; j < kCore; ++j) column[j] = loadSome(row[j] + i, last - i);
      networks::run<networks::Sorting<kCore>, Order>(column, sorted);
      for (int j = 0; j < kCore; ++j) store(sorted[j], sorted_[j] + (i - begin));
    }
    const auto staged = static_cast<std::size_t>(last - first);
    std::memcpy(outer_[0] + (first - begin), rowNear(in_, std::int64_t{y} - kReach) + first,
                staged);
    std::memcpy(outer_[1] + (first - begin), rowNear(in_, std::int64_t{y} + 1 + kReach) + first,
                staged);
    if (first == begin && last == end) return;
    const auto continued = [&](std::uint8_t* line) {
      continueLine(line, 0, first - begin, last - begin, end - begin);
    };
    for (auto& line : sorted_) continued(line);
    for (auto& line : outer_) continued(line);
  }

  void medians(std::ptrdiff_t i) {
    Vector wires[N * kCore], middle[N + 1];
    for (int c = 0; c < N; ++c) {
      for (int j = 0; j < kCore; ++j) wires[c * kCore + j] = load(sorted_[j] + i + c * step_);
    }
    networks::run<networks::Middle<N>, Order>(wires, middle);
    for (int r = 0; r < 2; ++r) {
      Vector row[N], sorted[N];
      for (int c = 0; c < N; ++c) row[c] = load(outer_[r] + i + c * step_);
      networks::run<networks::Sorting<N>, Order>(row, sorted);
      store(networks::medianOf<N, Order>(middle, sorted), made_[r] + i);
    }
  }

  const Bytes& out_;
  const ConstBytes& in_;
  std::ptrdiff_t step_;
  std::ptrdiff_t margin_;
  // What vectors read and write behind the end isn't used.
  alignas(64) std::uint8_t sorted_[kCore][kPiece + 2 * kMostMargin + 2 * kLanes] = {};
  alignas(64) std::uint8_t outer_[2][kPiece + 2 * kMostMargin + 2 * kLanes] = {};
  alignas(64) std::uint8_t made_[2][kPiece + kLanes];
};

}  // namespace

template <int N>
void median(const Bytes& out, const ConstBytes& in, int step) {
  const std::size_t moved = 4 * static_cast<std::size_t>(in.width);
  const std::size_t work = moved * (1 + N * N / 10);
  forRows((in.height + 1) / 2, {moved, work}, [&](const Rows& rows) {
    MedianRows<N> medians(out, in, step);
    for (int pair = rows.begin; pair < rows.end; ++pair) medians.rows(2 * pair, rows);
  });
}

template void median<3>(const Bytes&, const ConstBytes&, int);
template void median<5>(const Bytes&, const ConstBytes&, int);
template void median<7>(const Bytes&, const ConstBytes&, int);
template void median<9>(const Bytes&, const ConstBytes&, int);

namespace {

/// The extremes of some rows. Those of columns come of blocks of rows whose windows have a row in
/// common (van Herk): from there up each row's is kept, and from there down a running one goes on.
/// Those of rows come of windows that double.
template <class Extreme>
class ExtremeRows {
 public:
  ExtremeRows(const Bytes& out, const ConstBytes& in, int step, const Reach& reach)
      : out_(out),
        in_(in),
        step_(step),
        reach_(reach),
        left_(std::ptrdiff_t{reach.left} * step),
        right_(std::ptrdiff_t{reach.right} * step) {
    const std::ptrdiff_t most = std::max<std::ptrdiff_t>(kMostKept / in.width, 1);
    block_ = static_cast<int>(
        std::min<std::ptrdiff_t>({std::ptrdiff_t{reach.up} + reach.down + 1, in.height, most}));
  }

  std::size_t scratchBytes() const {
    return static_cast<std::size_t>(lineBytes() + (block_ + 1) * keptBytes());
  }

  void rows(const Rows& rows, std::byte* scratch) {
    line_ = reinterpret_cast<std::uint8_t*>(scratch);
    below_ = line_ + lineBytes();
    for (int y = rows.begin; y < rows.end; y += block_) {
      block(y, std::min(block_, rows.end - y), rows);
    }
  }

 private:
  /// Of the rows that are kept, so that they stay in a near cache.
  static constexpr std::ptrdiff_t kMostKept = 1 << 21;

  std::ptrdiff_t lineBytes() const { return rounded(left_ + in_.width + right_ + 2 * kLanes); }
  std::ptrdiff_t keptBytes() const { return rounded(in_.width + kLanes); }
  static std::ptrdiff_t rounded(std::ptrdiff_t bytes) { return (bytes + 63) / 64 * 64; }
  std::uint8_t* kept(int i) const { return below_ + (i + 1) * keptBytes(); }

  void block(int y, int count, const Rows& how) {
    const int last = in_.height - 1;
    const auto top = [&](int i) { return std::max(y + i - reach_.up, 0); };
    const int common =
        static_cast<int>(std::min<std::int64_t>(std::int64_t{y} + reach_.down, last));
    gather(top(count - 1), common, kept(count - 1));
    for (int i = count - 2; i >= 0; --i) {
      const std::uint8_t* const above = top(i) < top(i + 1) ? rowOf(in_, top(i)) : kept(i + 1);
      merge(kept(i + 1), above, kept(i));
    }
    std::memset(below_, Extreme::kNone, static_cast<std::size_t>(keptBytes()));
    for (int i = 0; i < count; ++i) {
      const bool further = i > 0 && std::int64_t{y} + i + reach_.down <= last;
      if (further) merge(below_, rowOf(in_, y + i + reach_.down), below_);
      merge(kept(i), below_, line_ + left_);
      alongRow();
      putBytes(how, rowOf(out_, y + i), line_, static_cast<std::size_t>(in_.width));
    }
  }

  /// The extremes of rows `first` to `last` of each column.
  void gather(int first, int last, std::uint8_t* to) const {
    for (std::ptrdiff_t x = 0; x < in_.width; x += kLanes) {
      Vector extreme = loadSome(rowOf(in_, first) + x, in_.width - x);
      for (int y = first + 1; y <= last; ++y) {
        extreme = of(Extreme{}, extreme, loadSome(rowOf(in_, y) + x, in_.width - x));
      }
      store(extreme, to + x);
    }
  }

  void merge(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* to) const {
    for (std::ptrdiff_t x = 0; x < in_.width; x += kLanes) {
      const std::ptrdiff_t count = in_.width - x;
      store(of(Extreme{}, loadSome(a + x, count), loadSome(b + x, count)), to + x);
    }
  }

  /// Turns the line, whose first element is the window's of the row's first, into the extremes.
  void alongRow() const {
    const std::ptrdiff_t end = left_ + in_.width;
    continueLine(line_, 0, left_, end, end + right_);
    const std::ptrdiff_t window = std::ptrdiff_t{reach_.left} + reach_.right + 1;
    std::ptrdiff_t done = 1;
    for (; done * 2 <= window; done *= 2) {
      shifted(done * step_, end + right_ - (done * 2 - 1) * step_);
    }
    if (done < window) shifted((window - done) * step_, in_.width);
  }
  /// Merges elements of the line with those further right.
  void shifted(std::ptrdiff_t by, std::ptrdiff_t count) const {
    for (std::ptrdiff_t x = 0; x < count; x += kLanes) {
      store(of(Extreme{}, load(line_ + x), load(line_ + x + by)), line_ + x);
    }
  }

  const Bytes& out_;
  const ConstBytes& in_;
  std::ptrdiff_t step_;
  Reach reach_;
  std::ptrdiff_t left_;
  std::ptrdiff_t right_;
  int block_;
  std::uint8_t* line_ = nullptr;
  std::uint8_t* below_ = nullptr;
};

}  // namespace

template <class Extreme>
bool extreme(const runtime::Queue& queue, const Bytes& out, const ConstBytes& in, int step,
             const Reach& reach) {
  const auto width = static_cast<std::size_t>(in.width);
  const std::size_t above =
      static_cast<std::size_t>(reach.up) + static_cast<std::size_t>(reach.down);
  const std::size_t scratch = ExtremeRows<Extreme>(out, in, step, reach).scratchBytes();
  return forRows(queue, in.height, {2 * width, 4 * width, width * above}, scratch,
                 [&](const Rows& rows, std::byte* memory) {
                   ExtremeRows<Extreme>(out, in, step, reach).rows(rows, memory);
                 });
}

template bool extreme<Least>(const runtime::Queue&, const Bytes&, const ConstBytes&, int,
                             const Reach&);
template bool extreme<Greatest>(const runtime::Queue&, const Bytes&, const ConstBytes&, int,
                                const Reach&);

}  // namespace mirl::engine::host
