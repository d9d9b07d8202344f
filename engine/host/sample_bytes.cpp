#include "engine/host/sample_bytes.h"

#include "engine/sampling.h"

#if MIRL_WITH_HIGHWAY
#include <hwy/highway.h>
#endif

#include <algorithm>
#include <cstddef>
#include <cstring>

// Compilers turn shuffles of words in vectors of this length into single instructions.
#if MIRL_WITH_HIGHWAY && defined(__AVX512BW__) && defined(__GNUC__) && !defined(__clang__)
#define MIRL_WORD_PERMUTES 1
#else
#define MIRL_WORD_PERMUTES 0
#endif

namespace mirl::engine::resample {

#if MIRL_WORD_PERMUTES

namespace {

using Words = std::uint16_t __attribute__((vector_size(2 * kBlock)));

/// Columns that two vectors of bytes have pairs of, those that begin at even bytes and at odd ones.
constexpr int kColumns = 2 * kBlock;
constexpr int kMostRows = kBlock + 1;

Words load(const char* from) {
  Words words;
  std::memcpy(&words, from, sizeof words);
  return words;
}

/// x[i] - first.
Words offsets(const int* x, int first) {
  Words words;
  for (int i = 0; i < kBlock; ++i) words[i] = static_cast<std::uint16_t>(x[i] - first);
  return words;
}

/// Each pixel with its right neighbour as the high byte, and the pairs below them.
struct Pairs {
  Words above{};
  Words below{};
};

Pairs gather(const char* from, std::ptrdiff_t pitch, const BlockPositions& at, const Box& box,
             int left) {
  const Words column = offsets(at.x, left);
  const Words pair = column >> 1 | (column & 1) << 5;
  const Words isAbove = offsets(at.y, box.top), isBelow = isAbove + 1;
  Pairs pairs;
  Words row{};
  for (int y = box.top; y <= box.bottom + 1; ++y, from += pitch, row += 1) {
    const Words picked = __builtin_shuffle(load(from), load(from + 1), pair);
    pairs.above = isAbove == row ? picked : pairs.above;
    pairs.below = isBelow == row ? picked : pairs.below;
  }
  return pairs;
}

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
bool sampleBytes(const View<const std::uint8_t>& in, const BlockPositions& at, const Box& box,
                 std::uint8_t* out) {
  // The columns begin early where a row ends too soon for as many as are read.
  const int left = std::min(box.left, in.width - (kColumns + 1));
  if (left < 0 || box.right - left >= kColumns || box.bottom - box.top >= kMostRows) return false;
  const Pairs pairs =
      gather(reinterpret_cast<const char*>(rowOf(in, box.top)) + left, in.pitch, at, box, left);
  alignas(64) std::uint16_t above[kBlock], below[kBlock];
  std::memcpy(above, &pairs.above, sizeof above);
  std::memcpy(below, &pairs.below, sizeof below);
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
    const Lanes lines[2] = {line(above, across), line(below, across)};
    const Ints made = toBytes<Normalized>(Bilinear::blend(lines, down).v);
    hn::StoreU(hn::DemoteTo(kBytes, hn::And(made, lowByte)), kBytes, out + half);
  }
  return true;
}

#else

template <bool Normalized>
bool sampleBytes(const View<const std::uint8_t>&, const BlockPositions&, const Box&,
                 std::uint8_t*) {
  return false;
}

#endif

template bool sampleBytes<false>(const View<const std::uint8_t>&, const BlockPositions&, const Box&,
                                 std::uint8_t*);
template bool sampleBytes<true>(const View<const std::uint8_t>&, const BlockPositions&, const Box&,
                                std::uint8_t*);

}  // namespace mirl::engine::resample
