#include "engine/host/tables.h"

#include "engine/host/planes.h"

#include <algorithm>
#include <cstring>

#if defined(__x86_64__) && defined(__GNUC__)
#define MIRL_BYTE_PERMUTES 1
#include <immintrin.h>
#endif

namespace mirl::engine::host {
namespace {

using Bytes = std::uint8_t*;

/// Eight bytes a step: one load and one store for eight lookups.
void lookUpWords(const std::uint8_t* table, const std::uint8_t* in, std::ptrdiff_t count,
                 Bytes out) {
  constexpr std::ptrdiff_t kStep = sizeof(std::uint64_t);
  std::ptrdiff_t i = 0;
  for (; i + kStep <= count; i += kStep) {
    std::uint64_t word;
    std::memcpy(&word, in + i, kStep);
    std::uint8_t found[kStep];
    for (int k = 0; k < kStep; ++k) found[k] = table[word >> (8 * k) & 255u];
    std::memcpy(out + i, found, kStep);
  }
  for (; i < count; ++i) out[i] = table[in[i]];
}

#if MIRL_BYTE_PERMUTES

// The instruction belongs to no level of x86-64, so the processor is asked when the program runs.
const bool hasBytePermutes =
    __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vbmi") != 0;

/// The table in four vectors: a permute of two of them looks up seven bits, the eighth bit chooses
/// between two permutes. Returns how many bytes fill whole vectors.
__attribute__((target("avx512f,avx512bw,avx512vbmi"))) std::ptrdiff_t lookUpVectors(
    const std::uint8_t* table, const std::uint8_t* in, std::ptrdiff_t count, Bytes out) {
  constexpr std::ptrdiff_t kVector = 64;
  const __m512i quarter[4] = {_mm512_loadu_si512(table), _mm512_loadu_si512(table + 64),
                              _mm512_loadu_si512(table + 128), _mm512_loadu_si512(table + 192)};
  std::ptrdiff_t i = 0;
  for (; i + kVector <= count; i += kVector) {
    const __m512i at = _mm512_loadu_si512(in + i);
    const __m512i low = _mm512_permutex2var_epi8(quarter[0], at, quarter[1]);
    const __m512i high = _mm512_permutex2var_epi8(quarter[2], at, quarter[3]);
    _mm512_storeu_si512(out + i, _mm512_mask_blend_epi8(_mm512_movepi8_mask(at), low, high));
  }
  return i;
}

#else

constexpr bool hasBytePermutes = false;

#endif

}  // namespace

bool looksUpFast() {
  return hasBytePermutes;
}

void lookUp(const std::uint8_t* table, const void* in, std::ptrdiff_t count, void* out) {
  const auto* from = static_cast<const std::uint8_t*>(in);
  auto* to = static_cast<std::uint8_t*>(out);
  std::ptrdiff_t done = 0;
#if MIRL_BYTE_PERMUTES
  if (hasBytePermutes) done = lookUpVectors(table, from, count, to);
#endif
  lookUpWords(table, from + done, count - done, to + done);
}

void lookUp(const std::uint8_t* const (&tables)[3], const void* in, std::ptrdiff_t count,
            void* out) {
  constexpr std::ptrdiff_t kPiece = 1024;
  alignas(64) std::uint8_t plane[3][kPiece];
  for (std::ptrdiff_t x = 0; x < count; x += kPiece) {
    const std::ptrdiff_t pixels = std::min(kPiece, count - x);
    splitPlanes<std::uint8_t, 3>(static_cast<const char*>(in) + 3 * x, pixels,
                                 {plane[0], plane[1], plane[2]});
    for (int c = 0; c < 3; ++c) lookUp(tables[c], plane[c], pixels, plane[c]);
    joinPlanes<std::uint8_t, 3>({plane[0], plane[1], plane[2]}, pixels,
                                static_cast<char*>(out) + 3 * x);
  }
}

void lookUpInterleaved(const std::uint8_t* entries, const void* in, std::ptrdiff_t count,
                       void* out) {
  std::uint8_t table[3][256];
  splitPlanes<std::uint8_t, 3>(entries, 256, {table[0], table[1], table[2]});
  lookUp({table[0], table[1], table[2]}, in, count, out);
}

}  // namespace mirl::engine::host
