#pragma once

// Four bytes in a word, worked on at once: on GPUs an instruction or a few for all of them.

#include "engine/device_code.h"

#include <cstdint>

namespace mirl::engine {

namespace packed_bytes {

/// f(byte of a, byte of b) for each of the four.
template <class F>
MIRL_HD unsigned each(unsigned a, unsigned b, const F& f) {
  unsigned result = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    result |= static_cast<unsigned>(f(a >> shift & 255u, b >> shift & 255u)) << shift;
  }
  return result;
}

}  // namespace packed_bytes

/// The same byte four times.
MIRL_HD inline unsigned fourTimes(std::uint8_t byte) {
  return byte * 0x01010101u;
}

/// The smaller ones of each two bytes.
MIRL_HD inline unsigned minBytes(unsigned a, unsigned b) {
#if MIRL_DEVICE_PASS
  return __vminu4(a, b);
#else
  return packed_bytes::each(a, b, [](unsigned x, unsigned y) { return x < y ? x : y; });
#endif
}

MIRL_HD inline unsigned maxBytes(unsigned a, unsigned b) {
#if MIRL_DEVICE_PASS
  return __vmaxu4(a, b);
#else
  return packed_bytes::each(a, b, [](unsigned x, unsigned y) { return x > y ? x : y; });
#endif
}

/// 1 in each byte that isn't below its lower and isn't above its upper bound, else 0.
MIRL_HD inline unsigned bytesInRange(unsigned bytes, unsigned lower, unsigned upper) {
#if MIRL_DEVICE_PASS
  return __vcmpgeu4(bytes, lower) & __vcmpleu4(bytes, upper) & 0x01010101u;
#else
  return packed_bytes::each(bytes, lower, [](unsigned x, unsigned y) { return x >= y; }) &
         packed_bytes::each(bytes, upper, [](unsigned x, unsigned y) { return x <= y; });
#endif
}

/// The sum of the four products, and of `sum`.
MIRL_HD inline unsigned dotBytes(unsigned a, unsigned b, unsigned sum) {
#if MIRL_DEVICE_PASS
  return __dp4a(a, b, sum);
#else
  for (int shift = 0; shift < 32; shift += 8) sum += (a >> shift & 255u) * (b >> shift & 255u);
  return sum;
#endif
}

}  // namespace mirl::engine
