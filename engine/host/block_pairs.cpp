#include "engine/host/block_pairs.h"

#include "engine/sampling.h"

#if MIRL_WITH_HIGHWAY
#include <hwy/highway.h>
#endif

#include <algorithm>
#include <cstddef>
#include <cstring>

// Compilers turn shuffles in vectors of this length into single instructions.
#if MIRL_WITH_HIGHWAY && HWY_TARGET <= HWY_AVX3 && defined(__GNUC__) && !defined(__clang__)
#define MIRL_PAIR_PERMUTES 1
#else
#define MIRL_PAIR_PERMUTES 0
#endif

namespace mirl::engine::resample {

#if MIRL_PAIR_PERMUTES

namespace {

/// Pairs of elements.
template <class T>
constexpr int kLanes = 64 / sizeof(Pair<T>);
template <class T>
using Pairs [[gnu::vector_size(64)]] = Pair<T>;

/// Columns that two vectors have pairs of, those that begin at even elements and at odd ones.
template <class T>
constexpr int kColumns = 2 * kLanes<T>;

/// Of more rows, pixels are fetched faster one by one.
template <class T>
constexpr int kMostRows = kLanes<T> * 3 / 8;

template <class T>
Pairs<T> load(const char* from) {
  Pairs<T> pairs;
  std::memcpy(&pairs, from, sizeof pairs);
  return pairs;
}

/// places[i] - first.
template <class T>
Pairs<T> offsets(const int* places, int first) {
  Pairs<T> made;
  for (int i = 0; i < kLanes<T>; ++i) made[i] = static_cast<Pair<T>>(places[i] - first);
  return made;
}

}  // namespace

template <bool InOrder, class T>
bool pickPairs(const View<const T>& in, const BlockPositions& at, const Box& whole,
               BlockPairs<T>& pairs) {
  for (int first = 0; first < kBlock; first += kLanes<T>) {
    const Box box = kLanes<T> == kBlock ? whole : Box::of<InOrder>(at, first, kLanes<T>);
    // The columns begin early where a row ends too soon for as many as are read.
    const int left = std::min(box.left, in.width - (kColumns<T> + 1));
    if (left < 0 || box.right - left >= kColumns<T> || box.bottom - box.top > kMostRows<T>) {
      return false;
    }
    const Pairs<T> column = offsets<T>(at.x + first, left);
    const Pairs<T> lane = column >> 1 | (column & 1) * kLanes<T>;
    const Pairs<T> isAbove = offsets<T>(at.y + first, box.top), isBelow = isAbove + 1;
    Pairs<T> above{}, below{}, row{};
    for (int y = box.top; y <= box.bottom + 1; ++y, row += 1) {
      const char* const from = rowBytes(in, y) + left * std::ptrdiff_t{sizeof(T)};
      const Pairs<T> picked = __builtin_shuffle(load<T>(from), load<T>(from + sizeof(T)), lane);
      above = isAbove == row ? picked : above;
      below = isBelow == row ? picked : below;
    }
    std::memcpy(pairs.above + first, &above, sizeof above);
    std::memcpy(pairs.below + first, &below, sizeof below);
  }
  return true;
}

namespace {

namespace hn = hwy::HWY_NAMESPACE;
constexpr hn::CappedTag<float, kBlock / 2> kFloats;
constexpr hn::CappedTag<int, kBlock / 2> kInts;
constexpr hn::Rebind<std::uint16_t, decltype(kInts)> kHalfWords;
constexpr hn::Rebind<std::uint8_t, decltype(kInts)> kBytes;
using Floats = hn::Vec<decltype(kFloats)>;
using Ints = hn::Vec<decltype(kInts)>;

/// Floats with the operators that samplers blend with.
struct Lanes {
  Floats v;

  friend Lanes operator-(Lanes a, Lanes b) { return {hn::Sub(a.v, b.v)}; }
  friend Lanes fusedMultiplyAdd(Lanes a, Lanes b, Lanes c) { return {hn::MulAdd(a.v, b.v, c.v)}; }
};

/// What PlainElements and NormalizedElements do.
template <bool Normalized>
Lanes toLanes(Ints bytes) {
  const Floats value = hn::ConvertTo(kFloats, bytes);
  if (!Normalized) return {value};
  constexpr double kReciprocal = 1.0 / 255;
  constexpr auto kHigh = static_cast<float>(kReciprocal);
  constexpr auto kLow = static_cast<float>(kReciprocal - static_cast<double>(kHigh));
  return {hn::MulAdd(value, hn::Set(kFloats, kHigh), hn::Mul(value, hn::Set(kFloats, kLow)))};
}

template <bool Normalized>
Ints toBytes(Floats value) {
  if (!Normalized) return hn::ConvertTo(kInts, hn::Add(value, hn::Set(kFloats, 0.49999997f)));
  const Floats greatest = hn::Set(kFloats, 255.0f);
  const Ints product = hn::ConvertTo(kInts, hn::Mul(value, greatest));
  const Floats beyond = hn::MulSub(value, greatest, hn::ConvertTo(kFloats, product));
  return hn::Add(product, hn::ShiftRight<31>(hn::BitCast(kInts, beyond)));
}

}  // namespace

template <bool Normalized>
bool blendBytes(const BlockPairs<std::uint8_t>& pairs, const BlockPositions& at,
                std::uint8_t* out) {
  const Ints lowByte = hn::Set(kInts, 255);
  for (int half = 0; half < kBlock; half += kBlock / 2) {
    const auto line = [&](const std::uint16_t* words, const Lanes(&weights)[1]) {
      const Ints pair = hn::PromoteTo(kInts, hn::Load(kHalfWords, words + half));
      const Lanes taps[2] = {toLanes<Normalized>(hn::And(pair, lowByte)),
                             toLanes<Normalized>(hn::ShiftRight<8>(pair))};
      return Bilinear::blend(taps, weights);
    };
    const Lanes across[1] = {{hn::Load(kFloats, at.acrossFraction + half)}};
    const Lanes down[1] = {{hn::Load(kFloats, at.downFraction + half)}};
    const Lanes lines[2] = {line(pairs.above, across), line(pairs.below, across)};
    const Ints made = toBytes<Normalized>(Bilinear::blend(lines, down).v);
    hn::StoreU(hn::DemoteTo(kBytes, hn::And(made, lowByte)), kBytes, out + half);
  }
  return true;
}

#else

template <bool InOrder, class T>
bool pickPairs(const View<const T>&, const BlockPositions&, const Box&, BlockPairs<T>&) {
  return false;
}

template <bool Normalized>
bool blendBytes(const BlockPairs<std::uint8_t>&, const BlockPositions&, std::uint8_t*) {
  return false;
}

#endif

#define MIRL_PICK_PAIRS(InOrder, T)                                                         \
  template bool pickPairs<InOrder>(const View<const T>&, const BlockPositions&, const Box&, \
                                   BlockPairs<T>&)
MIRL_PICK_PAIRS(false, std::uint8_t);
MIRL_PICK_PAIRS(true, std::uint8_t);
MIRL_PICK_PAIRS(false, std::uint16_t);
MIRL_PICK_PAIRS(true, std::uint16_t);

template bool blendBytes<false>(const BlockPairs<std::uint8_t>&, const BlockPositions&,
                                std::uint8_t*);
template bool blendBytes<true>(const BlockPairs<std::uint8_t>&, const BlockPositions&,
                               std::uint8_t*);

}  // namespace mirl::engine::resample
