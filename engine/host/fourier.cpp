#include "engine/host/fourier.h"

#include "engine/host/rows.h"
#include "runtime/scratch.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <numbers>
#include <utility>

// Lines are transformed as many at a time as a vector has lanes, one in each, so that no step of a
// transform moves anything between lanes. First go the columns, whose bytes stand side by side as
// they are needed: two blocks of them, as the real and the imaginary part of one transform, which
// real columns can be told apart in again. Of their results only rows 0 to height / 2 are kept, in
// the output. Then those rows are transformed, and the others are what they are, conjugate.

namespace mirl::engine::host {
namespace {

#if defined(__AVX512F__)
constexpr int kLanes = 16;
#elif defined(__AVX__)
constexpr int kLanes = 8;
#else
constexpr int kLanes = 4;
#endif
using Lanes [[gnu::vector_size(kLanes * sizeof(float))]] = float;
using Bytes [[gnu::vector_size(kLanes)]] = std::uint8_t;
using Item = Pixel<float, 2>;

struct Complex {
  Lanes re;
  Lanes im;
};

Complex operator+(const Complex& a, const Complex& b) {
  return {a.re + b.re, a.im + b.im};
}
Complex operator-(const Complex& a, const Complex& b) {
  return {a.re - b.re, a.im - b.im};
}
Complex operator*(const Complex& a, float factor) {
  return {a.re * factor, a.im * factor};
}
Complex operator*(const Complex& a, const Item& b) {
  return {a.re * b.v[0] - a.im * b.v[1], a.re * b.v[1] + a.im * b.v[0]};
}
Complex conjugate(const Complex& a) {
  return {a.re, -a.im};
}
/// a - i * b and a + i * b
Complex minusTurned(const Complex& a, const Complex& b) {
  return {a.re + b.im, a.im - b.re};
}
Complex plusTurned(const Complex& a, const Complex& b) {
  return {a.re - b.im, a.im + b.re};
}

/// e^(-2 pi i * k / n)
Item rootOfOne(std::ptrdiff_t k, std::ptrdiff_t n) {
  const double angle = -2 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(n);
  return {{static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle))}};
}

// --- transforms of a few numbers, in place ---------------------------------------------------------

template <int kCount>
void transformFew(Complex (&v)[kCount]) {
  static_assert(kCount >= 1 && kCount <= 5);
  if constexpr (kCount == 2) {
    const Complex sum = v[0] + v[1];
    v[1] = v[0] - v[1];
    v[0] = sum;
  } else if constexpr (kCount == 3) {
    const Complex sum = v[1] + v[2];
    const Complex middle = v[0] - sum * 0.5f;
    const Complex turned = (v[1] - v[2]) * 0.866025404f;  // sin(2 pi / 3)
    v[0] = v[0] + sum;
    v[1] = minusTurned(middle, turned);
    v[2] = plusTurned(middle, turned);
  } else if constexpr (kCount == 4) {
    const Complex even = v[0] + v[2], evenRest = v[0] - v[2];
    const Complex odd = v[1] + v[3], oddRest = v[1] - v[3];
    v[0] = even + odd;
    v[1] = minusTurned(evenRest, oddRest);
    v[2] = even - odd;
    v[3] = plusTurned(evenRest, oddRest);
  } else if constexpr (kCount == 5) {
    constexpr float kCos1 = 0.309016994f, kCos2 = -0.809016994f;  // cos(2 pi / 5), cos(4 pi / 5)
    constexpr float kSin1 = 0.951056516f, kSin2 = 0.587785252f;
    const Complex outer = v[1] + v[4], outerRest = v[1] - v[4];
    const Complex inner = v[2] + v[3], innerRest = v[2] - v[3];
    const Complex middle1 = v[0] + outer * kCos1 + inner * kCos2;
    const Complex middle2 = v[0] + outer * kCos2 + inner * kCos1;
    const Complex turned1 = outerRest * kSin1 + innerRest * kSin2;
    const Complex turned2 = outerRest * kSin2 - innerRest * kSin1;
    v[0] = v[0] + outer + inner;
    v[1] = minusTurned(middle1, turned1);
    v[2] = minusTurned(middle2, turned2);
    v[3] = plusTurned(middle2, turned2);
    v[4] = plusTurned(middle1, turned1);
  }
}

/// Primes up to this have a transform by the formula, longer ones are a convolution.
constexpr int kMostFormula = 31;

/// The same of an odd number of them. `roots` has every `step`th root of one.
void transformByFormula(Complex (&v)[kMostFormula], int count, const Item* roots,
                        std::ptrdiff_t step) {
  const int half = count / 2;
  Complex sum[kMostFormula / 2 + 1], rest[kMostFormula / 2 + 1];
  Complex total = v[0];
  for (int j = 1; j <= half; ++j) {
    sum[j] = v[j] + v[count - j];
    rest[j] = v[j] - v[count - j];
    total = total + sum[j];
  }
  for (int k = 1; k <= half; ++k) {
    Complex middle = v[0], turned{};
    for (int j = 1; j <= half; ++j) {
      const Item& root = roots[j * k % count * step];
      middle = middle + sum[j] * root.v[0];
      turned = turned - rest[j] * root.v[1];
    }
    v[k] = minusTurned(middle, turned);
    v[count - k] = plusTurned(middle, turned);
  }
  v[0] = total;
}

// --- transforms of lines ---------------------------------------------------------------------------

/// A length as a product of 4, 2, 3, 5 and greater primes, in this order. What is left of it, more
/// than 1, has no factors that the formula serves.
struct Factors {
  explicit Factors(std::ptrdiff_t length) : rest(length) {
    take(4);
    take(2);
    for (int factor = 3; factor <= kMostFormula; factor += 2) take(factor);
    if (count == 0) of[count++] = 1;
  }

  int of[64];
  int count = 0;
  std::ptrdiff_t rest;

 private:
  void take(int factor) {
    for (; rest % factor == 0; rest /= factor) of[count++] = factor;
  }
};

/// A length that is quick to transform, from `least` on.
std::ptrdiff_t quickLength(std::ptrdiff_t least) {
  const auto isQuick = [](std::ptrdiff_t length) {
    for (const int factor : {2, 3, 5}) {
      while (length % factor == 0) length /= factor;
    }
    return length == 1;
  };
  while (!isQuick(least)) ++least;
  return least;
}

/// How lines of a length are transformed. One with a prime factor that is too great for the formula
/// is a convolution with a chirp, which takes two transforms of another length.
class LineTransform {
 public:
  explicit LineTransform(std::ptrdiff_t length)
      : length_(length),
        isConvolution_(Factors(length).rest != 1),
        inner_(isConvolution_ ? quickLength(2 * length - 1) : length),
        factors_(inner_) {}

  /// Items of the tables that `setUp` fills, and numbers of the buffers that a transform takes.
  std::size_t tableItems() const {
    return static_cast<std::size_t>(isConvolution_ ? 2 * inner_ + length_ : inner_);
  }
  std::size_t buffers() const { return 2 * static_cast<std::size_t>(inner_); }

  void setUp(Item* tables, Complex* buffers) {
    roots_ = tables;
    for (std::ptrdiff_t k = 0; k < inner_; ++k) tables[k] = rootOfOne(k, inner_);
    if (!isConvolution_) return;
    Item* const chirp = tables + inner_;
    for (std::ptrdiff_t k = 0; k < length_; ++k) {
      const auto square = static_cast<std::uint64_t>(k) * static_cast<std::uint64_t>(k);
      const auto period = static_cast<std::uint64_t>(2 * length_);
      chirp[k] = rootOfOne(static_cast<std::ptrdiff_t>(square % period), 2 * length_);
    }
    chirp_ = chirp;
    Item* const spectrum = tables + inner_ + length_;
    const auto mirrored = [&](std::ptrdiff_t i) {
      const std::ptrdiff_t k = std::min(i, inner_ - i);
      const Lanes zero{};
      return k < length_ ? Complex{zero + chirp[k].v[0], zero - chirp[k].v[1]} : Complex{};
    };
    const Complex* const made = passes(mirrored, buffers, buffers + inner_);
    const float scale = 1 / static_cast<float>(inner_);
    for (std::ptrdiff_t k = 0; k < inner_; ++k) {
      spectrum[k] = {{made[k].re[0] * scale, made[k].im[0] * scale}};
    }
    spectrum_ = spectrum;
  }

  /// Where in the buffers there may be what is to be loaded: nothing is written there before.
  Complex* staging(Complex* buffers) const { return buffers + inner_; }

  /// Transforms load(0) to load(length - 1); where in the buffers the results are.
  template <class Load>
  const Complex* operator()(const Load& load, Complex* buffers) const {
    Complex* const other = buffers + inner_;
    if (!isConvolution_) return passes(load, buffers, other);
    const auto chirped = [&](std::ptrdiff_t i) {
      return i < length_ ? load(i) * chirp_[i] : Complex{};
    };
    Complex* const spectrum = passes(chirped, buffers, other);
    const auto product = [&](std::ptrdiff_t k) { return conjugate(spectrum[k] * spectrum_[k]); };
    Complex* const made =
        spectrum == buffers ? passes(product, other, buffers) : passes(product, buffers, other);
    for (std::ptrdiff_t k = 0; k < length_; ++k) made[k] = conjugate(made[k]) * chirp_[k];
    return made;
  }

 private:
  /// Pass after pass, each into the buffer that the one before it isn't in; the first into `to`.
  template <class Load>
  Complex* passes(const Load& load, Complex* to, Complex* other) const {
    pass(factors_.of[0], load, to, 1);
    std::ptrdiff_t done = factors_.of[0];
    for (int i = 1; i < factors_.count; done *= factors_.of[i++]) {
      pass(
          factors_.of[i], [from = to](std::ptrdiff_t k) { return from[k]; }, other, done);
      std::swap(to, other);
    }
    return to;
  }

  template <class Load>
  void pass(int factor, const Load& load, Complex* to, std::ptrdiff_t done) const {
    switch (factor) {
      case 1:
        return pass<1>(1, load, to, done);
      case 2:
        return pass<2>(2, load, to, done);
      case 3:
        return pass<3>(3, load, to, done);
      case 4:
        return pass<4>(4, load, to, done);
      case 5:
        return pass<5>(5, load, to, done);
      default:
        return pass<kMostFormula>(factor, load, to, done);
    }
  }

  /// One factor of the length, after those whose product is `done`. The results stand in the order
  /// in which the next pass, or the caller, wants them.
  template <int kMost, class Load>
  void pass(int factor, const Load& load, Complex* to, std::ptrdiff_t done) const {
    const int count = kMost == kMostFormula ? factor : kMost;
    const std::ptrdiff_t groups = inner_ / (count * done);
    for (std::ptrdiff_t group = 0; group < groups; ++group) {
      for (std::ptrdiff_t i = 0; i < done; ++i) {
        Complex v[kMost];
        for (int j = 0; j < count; ++j) v[j] = load(i + done * (group + groups * j));
        if constexpr (kMost == kMostFormula) {
          transformByFormula(v, count, roots_, inner_ / count);
        } else {
          transformFew(v);
        }
        Complex* const out = to + i + done * group * count;
        out[0] = v[0];
        for (int k = 1; k < count; ++k) {
          out[k * done] = group == 0 ? v[k] : v[k] * roots_[group * k * done];
        }
      }
    }
  }

  std::ptrdiff_t length_;
  bool isConvolution_;
  std::ptrdiff_t inner_;
  Factors factors_;
  const Item* roots_ = nullptr;
  const Item* chirp_ = nullptr;
  const Item* spectrum_ = nullptr;
};

// --- between lanes and rows ------------------------------------------------------------------------

/// Lanes of two vectors: lane i is lane pick(i) of both one behind the other.
template <class Pick>
Lanes picked(const Lanes& a, const Lanes& b, const Pick&) {
  return [&]<int... i>(std::integer_sequence<int, i...>) {
    return __builtin_shufflevector(a, b, Pick{}(i)...);
  }
  (std::make_integer_sequence<int, kLanes>{});
}

/// Of both in turn, from their first or their second halves.
template <bool kSecond>
Lanes zipped(const Lanes& a, const Lanes& b) {
  return picked(a, b, [](int i) { return (kSecond ? kLanes / 2 : 0) + i / 2 + i % 2 * kLanes; });
}

void swapRowsAndLanes(Lanes (&v)[kLanes]) {
  for (int round = 1; round < kLanes; round *= 2) {
    Lanes zips[kLanes];
    for (int i = 0; i < kLanes / 2; ++i) {
      zips[2 * i] = zipped<false>(v[i], v[i + kLanes / 2]);
      zips[2 * i + 1] = zipped<true>(v[i], v[i + kLanes / 2]);
    }
    std::copy_n(zips, kLanes, v);
  }
}

Lanes reversed(const Lanes& v) {
  return picked(v, v, [](int i) { return kLanes - 1 - i; });
}

/// As many numbers side by side as there are lanes.
void store(const Complex& numbers, Item* to) {
  const Lanes halves[] = {zipped<false>(numbers.re, numbers.im),
                          zipped<true>(numbers.re, numbers.im)};
  std::memcpy(to, halves, sizeof halves);
}

Complex load(const char* from) {
  Lanes halves[2];
  std::memcpy(halves, from, sizeof halves);
  return {picked(halves[0], halves[1], [](int i) { return 2 * i; }),
          picked(halves[0], halves[1], [](int i) { return 2 * i + 1; })};
}

char* place(const View<Item>& view, std::ptrdiff_t x, std::ptrdiff_t y) {
  return reinterpret_cast<char*>(view.data) + y * view.pitch + x * std::ptrdiff_t{sizeof(Item)};
}

std::size_t bytesOf(std::ptrdiff_t items) {
  return static_cast<std::size_t>(items) * sizeof(Item);
}

// --- columns ---------------------------------------------------------------------------------------

constexpr int kColumns = 2 * kLanes;

/// Transforms columns, from column `left` on, of which there may be fewer than `kColumns`.
void transformColumns(const LineTransform& transform, const View<Item>& out,
                      const View<const std::uint8_t>& in, std::ptrdiff_t left, const Rows& rows,
                      Complex* buffers) {
  const auto count = std::min<std::ptrdiff_t>(kColumns, in.width - left);
  const auto* const first = reinterpret_cast<const char*>(in.data) + left;
  const auto converted = [&](std::ptrdiff_t y) {
    Bytes halves[2]{};
    if (count == kColumns) {
      std::memcpy(halves, first + y * in.pitch, kColumns);
    } else {
      std::memcpy(halves, first + y * in.pitch, static_cast<std::size_t>(count));
    }
    return Complex{__builtin_convertvector(halves[0], Lanes),
                   __builtin_convertvector(halves[1], Lanes)};
  };
  const Complex* const made = transform(converted, buffers);

  const std::ptrdiff_t height = in.height;
  for (std::ptrdiff_t k = 0; k <= height / 2; ++k) {
    // The transform of real columns is conjugate to its own mirror image.
    const Complex here = made[k] * 0.5f, there = made[k == 0 ? 0 : height - k] * 0.5f;
    Item piece[kColumns];
    store({here.re + there.re, here.im - there.im}, piece);
    store({here.im + there.im, there.re - here.re}, piece + kLanes);
    putBytes(rows, place(out, left, k), piece, bytesOf(count));
  }
}

// --- rows ------------------------------------------------------------------------------------------

/// Columns of a row that are gathered before they go out, so that rows aren't left too often.
constexpr int kGathered = 4 * kLanes;

struct Piece {
  alignas(64) Item of[kLanes][kGathered];
};

/// Transforms rows, from row `top` on, of those that the columns' transforms have left.
class RowBlock {
 public:
  RowBlock(const View<Item>& out, std::ptrdiff_t top)
      : out_(out), top_(top), count_(std::min<std::ptrdiff_t>(kLanes, out.height / 2 + 1 - top)) {}

  void load(Complex* to) const {
    for (std::ptrdiff_t x = 0; x < out_.width; x += kLanes) {
      const auto columns = std::min<std::ptrdiff_t>(kLanes, out_.width - x);
      Lanes re[kLanes]{}, im[kLanes]{};
      for (std::ptrdiff_t r = 0; r < count_; ++r) {
        Complex numbers;
        if (columns == kLanes) {
          numbers = host::load(place(out_, x, top_ + r));
        } else {
          char some[2 * sizeof(Lanes)]{};
          std::memcpy(some, place(out_, x, top_ + r), bytesOf(columns));
          numbers = host::load(some);
        }
        re[r] = numbers.re;
        im[r] = numbers.im;
      }
      swapRowsAndLanes(re);
      swapRowsAndLanes(im);
      for (std::ptrdiff_t i = 0; i < columns; ++i) to[x + i] = {re[i], im[i]};
    }
  }

  /// The rows, and those below the middle that mirror them.
  void store(const Rows& rows, const Complex* from) const {
    Piece piece, mirrored;
    for (std::ptrdiff_t left = 0; left < out_.width; left += kGathered) {
      const auto columns = std::min<std::ptrdiff_t>(kGathered, out_.width - left);
      for (std::ptrdiff_t x = 0; x < columns; x += kLanes) {
        Lanes re[kLanes]{}, im[kLanes]{};
        for (std::ptrdiff_t i = 0; i < std::min<std::ptrdiff_t>(kLanes, columns - x); ++i) {
          re[i] = from[left + x + i].re;
          im[i] = from[left + x + i].im;
        }
        swapRowsAndLanes(re);
        swapRowsAndLanes(im);
        for (int r = 0; r < kLanes; ++r) {
          host::store({re[r], im[r]}, piece.of[r] + x);
          host::store({reversed(re[r]), reversed(-im[r])}, mirrored.of[r] + kGathered - kLanes - x);
        }
      }
      for (std::ptrdiff_t r = 0; r < count_; ++r) {
        putBytes(rows, place(out_, left, top_ + r), piece.of[r], bytesOf(columns));
        const std::ptrdiff_t mirror = out_.height - (top_ + r);
        if (mirror == out_.height || mirror == top_ + r) continue;
        // Column x goes to column width - x, and so the first one stays.
        const std::ptrdiff_t moved = left == 0 ? columns - 1 : columns;
        putBytes(rows, place(out_, out_.width - left - columns + 1, mirror),
                 mirrored.of[r] + kGathered - columns, bytesOf(moved));
        if (left == 0) putBytes(rows, place(out_, 0, mirror), mirrored.of[r] + kGathered - 1, 8);
      }
    }
  }

 private:
  const View<Item>& out_;
  std::ptrdiff_t top_;
  std::ptrdiff_t count_;
};

int blocksOf(std::ptrdiff_t length, std::ptrdiff_t block) {
  return static_cast<int>((length + block - 1) / block);
}

/// What a block of lines takes: its bytes, and passes over its numbers in a cache.
RowCost costOf(std::ptrdiff_t length, std::size_t movedBytes) {
  return {movedBytes, movedBytes + static_cast<std::size_t>(length) * sizeof(Complex) * 8};
}

}  // namespace

bool transformFourier(const runtime::Queue& queue, const View<Item>& out,
                      const View<const std::uint8_t>& in) {
  LineTransform down(in.height), across(in.width);
  const RowCost columnCost =
      costOf(in.height, static_cast<std::size_t>(in.height) * kColumns * (1 + sizeof(Item) / 2));
  const RowCost rowCost = costOf(in.width, bytesOf(in.width) * kLanes * 3);
  const auto columnShares = runtime::sharesOf(blocksOf(in.width, kColumns), columnCost.work);
  const auto rowShares = runtime::sharesOf(blocksOf(in.height / 2 + 1, kLanes), rowCost.work);

  // All memory first, so that without it nothing has been written.
  const std::size_t tableBytes = (down.tableItems() + across.tableItems()) * sizeof(Item);
  const std::size_t buffers = std::max(down.buffers(), across.buffers());
  const auto threads = static_cast<std::size_t>(std::max(columnShares.threads, rowShares.threads));
  const runtime::Scratch tables(queue, tableBytes);
  const runtime::Scratch scratch(queue, threads * buffers * sizeof(Complex));
  if (!tables.ok() || !scratch.ok()) return false;
  down.setUp(tables.as<Item>(), scratch.as<Complex>());
  across.setUp(tables.as<Item>() + down.tableItems(), scratch.as<Complex>());
  const auto buffersOf = [&](int thread) {
    return scratch.as<Complex>() + static_cast<std::size_t>(thread) * buffers;
  };

  forRows(columnShares, columnCost, [&](const Rows& rows, int thread) {
    for (int i = rows.begin; i < rows.end; ++i) {
      transformColumns(down, out, in, std::ptrdiff_t{i} * kColumns, rows, buffersOf(thread));
    }
  });
  forRows(rowShares, rowCost, [&](const Rows& rows, int thread) {
    Complex* const loaded = across.staging(buffersOf(thread));
    for (int i = rows.begin; i < rows.end; ++i) {
      const RowBlock block(out, std::ptrdiff_t{i} * kLanes);
      block.load(loaded);
      block.store(rows, across([&](std::ptrdiff_t x) { return loaded[x]; }, buffersOf(thread)));
    }
  });
  return true;
}

}  // namespace mirl::engine::host
