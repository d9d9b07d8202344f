#include "engine/host/mix.h"

#include <cstdint>

#if MIRL_WITH_HIGHWAY
#include <hwy/highway.h>
#endif

namespace mirl::engine::host {

// For x86 from AVX2 up, which has fused multiply-adds and loads of parts of a vector.
#if MIRL_WITH_HIGHWAY && HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX2

namespace {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Words = hn::RebindToSigned<Floats>;
using Bytes = hn::Repartition<std::uint8_t, Floats>;
using Vector = hn::Vec<Words>;

constexpr std::uint8_t kZero = 0x80;
/// A channel of the four pixels of N bytes in a block to four words.
template <int N, int c>
HWY_ALIGN constexpr std::uint8_t kSpread[16] = {c,         kZero, kZero, kZero,  //
                                                c + N,     kZero, kZero, kZero,  //
                                                c + 2 * N, kZero, kZero, kZero,  //
                                                c + 3 * N, kZero, kZero, kZero};
/// Four bytes of each of three channels to pixels.
HWY_ALIGN constexpr std::uint8_t kInterleave[16] = {0,  4, 8, 1,  5,     9,     2,     6,
                                                    10, 3, 7, 11, kZero, kZero, kZero, kZero};
/// Every three words of pixels to a block of four, and back together.
HWY_ALIGN constexpr std::int32_t kApart[16] = {0, 1, 2, 0, 3, 4, 5, 0, 6, 7, 8, 0, 9, 10, 11, 0};
HWY_ALIGN constexpr std::int32_t kTogether[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14};

// What Highway has only with more than is needed here: a conversion of numbers that fit, and
// saturating steps down to bytes inside each block.
#if HWY_TARGET == HWY_AVX2
HWY_INLINE Vector truncated(hn::Vec<Floats> v) {
  return Vector{_mm256_cvttps_epi32(v.raw)};
}
HWY_INLINE hn::Vec<Bytes> packed(Vector a, Vector b, Vector c) {
  const __m256i last = _mm256_packs_epi32(c.raw, c.raw);
  return hn::Vec<Bytes>{_mm256_packus_epi16(_mm256_packs_epi32(a.raw, b.raw), last)};
}
HWY_INLINE void storeBytes(Vector v, std::uint8_t* to) {
  const hn::Rebind<std::uint8_t, Words> quarter;
  hn::StoreU(hn::DemoteTo(quarter, v), quarter, to);
}
#else
HWY_INLINE Vector truncated(hn::Vec<Floats> v) {
  return Vector{_mm512_cvttps_epi32(v.raw)};
}
HWY_INLINE hn::Vec<Bytes> packed(Vector a, Vector b, Vector c) {
  const __m512i last = _mm512_packs_epi32(c.raw, c.raw);
  return hn::Vec<Bytes>{_mm512_packus_epi16(_mm512_packs_epi32(a.raw, b.raw), last)};
}
HWY_INLINE void storeBytes(Vector v, std::uint8_t* to) {
  const __m128i bytes = _mm512_cvtusepi32_epi8(_mm512_max_epi32(v.raw, _mm512_setzero_si512()));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
}
#endif

struct Factors {
  hn::Vec<Floats> first, middle, last, offset;

  explicit Factors(const MixRow& row)
      : first(hn::Set(Floats(), row.factor[0])),
        middle(hn::Set(Floats(), row.factor[1])),
        last(hn::Set(Floats(), row.factor[2])),
        offset(hn::Set(Floats(), row.offset)) {}

  template <Products products>
  HWY_INLINE Vector sum(hn::Vec<Floats> c0, hn::Vec<Floats> c1, hn::Vec<Floats> c2) const {
    const auto add = [](hn::Vec<Floats> a, hn::Vec<Floats> b, hn::Vec<Floats> to) HWY_ATTR {
      return products == Products::fused ? hn::MulAdd(a, b, to) : hn::Add(to, hn::Mul(a, b));
    };
    const auto weighted = add(c2, last, add(c0, first, hn::Mul(c1, middle)));
    return truncated(hn::Add(weighted, offset));
  }
};

}  // namespace

template <int N, int M, Products products>
std::ptrdiff_t mixBytes(const MixRow (&rows)[M], const void* in, std::ptrdiff_t count, void* out) {
  static_assert((N == 3 && M == 3) || M == 1);
  const Floats df;
  const Words dw;
  const Bytes db;
  const auto last = hn::Set(dw, static_cast<std::int32_t>(hn::Lanes(dw)) - 1);
  const auto apart = hn::IndicesFromVec(dw, hn::And(hn::Load(dw, kApart), last));
  const auto together = hn::IndicesFromVec(dw, hn::And(hn::Load(dw, kTogether), last));
  const auto interleave = hn::LoadDup128(db, kInterleave);
  const auto pixels = static_cast<std::ptrdiff_t>(hn::Lanes(dw));
  // No more than the words of these pixels are read and written: what follows may be another row,
  // or input that is still needed.
  const auto pixelWords = hn::FirstN(dw, static_cast<std::size_t>(pixels * 3 / 4));
  const auto load = [&](const std::uint8_t* at) {
    if constexpr (N == 4) return hn::LoadU(db, at);
    const auto words = hn::MaskedLoad(pixelWords, dw, reinterpret_cast<const std::int32_t*>(at));
    return hn::BitCast(db, hn::TableLookupLanes(words, apart));
  };
  const auto spread = [&](hn::Vec<Bytes> blocks, const std::uint8_t* order) {
    const auto words = hn::TableLookupBytesOr0(blocks, hn::LoadDup128(db, order));
    return hn::ConvertTo(df, hn::BitCast(dw, words));
  };
  const Factors row0(rows[0]), row1(rows[M / 2]), row2(rows[M - 1]);

  const auto* from = static_cast<const std::uint8_t*>(in);
  auto* to = static_cast<std::uint8_t*>(out);
  std::ptrdiff_t i = 0;
  for (; i + pixels <= count; i += pixels) {
    const auto blocks = load(from + i * N);
    const auto c0 = spread(blocks, kSpread<N, 0>);
    const auto c1 = spread(blocks, kSpread<N, 1>);
    const auto c2 = spread(blocks, kSpread<N, 2>);
    const auto sum = [&](const Factors& row) HWY_ATTR { return row.sum<products>(c0, c1, c2); };
    if constexpr (M == 1) {
      storeBytes(sum(row0), to + i);
    } else {
      const auto bytes = packed(sum(row0), sum(row1), sum(row2));
      const auto mixed = hn::BitCast(dw, hn::TableLookupBytesOr0(bytes, interleave));
      hn::BlendedStore(hn::TableLookupLanes(mixed, together), pixelWords, dw,
                       reinterpret_cast<std::int32_t*>(to + i * 3));
    }
  }
  return i;
}

#else

template <int N, int M, Products>
std::ptrdiff_t mixBytes(const MixRow (&)[M], const void*, std::ptrdiff_t, void*) {
  return 0;
}

#endif

template std::ptrdiff_t mixBytes<3, 1>(const MixRow (&)[1], const void*, std::ptrdiff_t, void*);
template std::ptrdiff_t mixBytes<3, 1, Products::rounded>(const MixRow (&)[1], const void*,
                                                          std::ptrdiff_t, void*);
template std::ptrdiff_t mixBytes<4, 1>(const MixRow (&)[1], const void*, std::ptrdiff_t, void*);
template std::ptrdiff_t mixBytes<3, 3>(const MixRow (&)[3], const void*, std::ptrdiff_t, void*);

}  // namespace mirl::engine::host
