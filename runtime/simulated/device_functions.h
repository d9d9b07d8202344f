#pragma once

// Vector types and the functions of device code that kernels call, with the results of a GPU.

#include <bit>
#include <cmath>
#include <cstdint>

struct alignas(8) uint2 {
  unsigned x, y;
};
struct alignas(16) uint4 {
  unsigned x, y, z, w;
};
struct alignas(16) float4 {
  float x, y, z, w;
};

inline float __uint_as_float(unsigned bits) {
  return std::bit_cast<float>(bits);
}
inline unsigned __float_as_uint(float value) {
  return std::bit_cast<unsigned>(value);
}

namespace mirl::simulated {

/// The float next to an exact number on the side of zero; `below` tells of a rest with the sign of
/// the number that a double had no room for: -1 if the true number is nearer to zero, else 0 or 1.
inline float towardZero(double exact, int rest = 0) {
  const auto nearest = static_cast<float>(exact);
  const bool tooFar = std::fabs(static_cast<double>(nearest)) > std::fabs(exact) ||
                      (static_cast<double>(nearest) == exact && rest < 0);
  return tooFar ? std::nextafterf(nearest, 0.0f) : nearest;
}

}  // namespace mirl::simulated

inline float __fadd_rz(float a, float b) {
  const double x = a, y = b, sum = x + y;
  const double part = sum - x;
  const double rest = (x - (sum - part)) + (y - part);
  const int sign = rest == 0 || sum == 0 ? 0 : (rest > 0) == (sum > 0) ? 1 : -1;
  return mirl::simulated::towardZero(sum, sign);
}
inline float __fmul_rz(float a, float b) {
  return mirl::simulated::towardZero(static_cast<double>(a) * static_cast<double>(b));
}
inline float __fmaf_rn(float a, float b, float c) {
  return __builtin_fmaf(a, b, c);
}
inline double __fma_rn(double a, double b, double c) {
  return __builtin_fma(a, b, c);
}
inline int __float2int_rd(float value) {
  const float whole = std::floor(value);
  if (!(whole >= -2147483648.0f)) return whole != whole ? 0 : INT32_MIN;
  return whole >= 2147483648.0f ? INT32_MAX : static_cast<int>(whole);
}

namespace mirl {

// Of a number and a NaN of either kind GPUs take the number.
inline float fmaxf(float a, float b) {
  return a != a ? b : b != b ? a : a < b ? b : a;
}
inline float fminf(float a, float b) {
  return a != a ? b : b != b ? a : b < a ? b : a;
}

}  // namespace mirl

inline std::uint64_t __umul64hi(std::uint64_t a, std::uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  return static_cast<std::uint64_t>((static_cast<Wide>(a) * b) >> 64);
}
inline unsigned __funnelshift_r(unsigned low, unsigned high, unsigned shift) {
  return static_cast<unsigned>(((std::uint64_t{high} << 32) | low) >> (shift & 31));
}

namespace mirl::simulated {

template <class F>
unsigned eachByte(unsigned a, unsigned b, const F& f) {
  unsigned result = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    result |= (f(a >> shift & 255u, b >> shift & 255u) & 255u) << shift;
  }
  return result;
}

}  // namespace mirl::simulated

inline unsigned __vminu4(unsigned a, unsigned b) {
  return mirl::simulated::eachByte(a, b, [](unsigned x, unsigned y) { return x < y ? x : y; });
}
inline unsigned __vmaxu4(unsigned a, unsigned b) {
  return mirl::simulated::eachByte(a, b, [](unsigned x, unsigned y) { return x > y ? x : y; });
}
inline unsigned __vcmpgeu4(unsigned a, unsigned b) {
  return mirl::simulated::eachByte(a, b, [](unsigned x, unsigned y) { return x >= y ? 255u : 0u; });
}
inline unsigned __vcmpleu4(unsigned a, unsigned b) {
  return mirl::simulated::eachByte(a, b, [](unsigned x, unsigned y) { return x <= y ? 255u : 0u; });
}
inline unsigned __dp4a(unsigned a, unsigned b, unsigned sum) {
  for (int shift = 0; shift < 32; shift += 8) sum += (a >> shift & 255u) * (b >> shift & 255u);
  return sum;
}

template <class T>
T __ldg(const T* at) {
  return *at;
}

/// Kernels run one after another, so nothing can come between. For shared memory see
/// engine/cuda/shared.h.
template <class T>
T atomicAdd(T* at, T value) {
  const T before = *at;
  *at = before + value;
  return before;
}
