#include "engine/host/planes.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#if MIRL_WITH_HIGHWAY
#include <hwy/highway.h>
#endif

namespace mirl::engine {
namespace {

template <class T>
T* elementAt(const void* pixels, std::ptrdiff_t element) {
  auto* bytes = static_cast<char*>(const_cast<void*>(pixels));
  return reinterpret_cast<T*>(bytes + element * std::ptrdiff_t{sizeof(T)});
}

#if MIRL_WITH_HIGHWAY

namespace hn = hwy::HWY_NAMESPACE;

/// The vectors that pixels are taken apart in: for small elements no longer than 32 bytes, beyond
/// which shuffles cost more than they do.
template <class T>
using Vectors = std::conditional_t<sizeof(T) == sizeof(float), hn::ScalableTag<T>,
                                   hn::CappedTag<T, 32 / sizeof(T)>>;

/// Does as many pixels as fill whole vectors, and returns how many those are.
template <class T, int N>
std::ptrdiff_t splitVectors(const void* pixels, std::ptrdiff_t count, T* const (&planes)[N]) {
  const Vectors<T> d;
  const auto lanes = static_cast<std::ptrdiff_t>(hn::Lanes(d));
  std::ptrdiff_t i = 0;
  for (; i + lanes <= count; i += lanes) {
    const T* at = elementAt<T>(pixels, i * N);
    hn::Vec<decltype(d)> a, b, c, e;
    if constexpr (N == 2) hn::LoadInterleaved2(d, at, a, b);
    if constexpr (N == 3) hn::LoadInterleaved3(d, at, a, b, c);
    if constexpr (N == 4) hn::LoadInterleaved4(d, at, a, b, c, e);
    hn::StoreU(a, d, planes[0] + i);
    hn::StoreU(b, d, planes[1] + i);
    if constexpr (N > 2) hn::StoreU(c, d, planes[2] + i);
    if constexpr (N > 3) hn::StoreU(e, d, planes[3] + i);
  }
  return i;
}

template <class T, int N>
std::ptrdiff_t joinVectors(const T* const (&planes)[N], std::ptrdiff_t count, void* pixels) {
  const Vectors<T> d;
  const auto lanes = static_cast<std::ptrdiff_t>(hn::Lanes(d));
  std::ptrdiff_t i = 0;
  for (; i + lanes <= count; i += lanes) {
    T* const at = elementAt<T>(pixels, i * N);
    const auto a = hn::LoadU(d, planes[0] + i);
    const auto b = hn::LoadU(d, planes[1] + i);
    if constexpr (N == 2) hn::StoreInterleaved2(a, b, d, at);
    if constexpr (N == 3) hn::StoreInterleaved3(a, b, hn::LoadU(d, planes[2] + i), d, at);
    if constexpr (N == 4) {
      hn::StoreInterleaved4(a, b, hn::LoadU(d, planes[2] + i), hn::LoadU(d, planes[3] + i), d, at);
    }
  }
  return i;
}

/// Six channels are pairs of pixels of three. Two rows of them are read by turns, which is no
/// stream that the processor would recognise by itself.
template <class T>
std::ptrdiff_t splitVectors(const void* pixels, std::ptrdiff_t count, T* const (&planes)[6]) {
  constexpr std::ptrdiff_t kBytes = sizeof(T), kAhead = 3072;
  const Vectors<T> d;
  const auto lanes = static_cast<std::ptrdiff_t>(hn::Lanes(d));
  std::ptrdiff_t i = 0;
  for (; i + lanes <= count; i += lanes) {
    hn::Vec<decltype(d)> first[3], second[3];
    for (std::ptrdiff_t k = 0; k < 6 * lanes * kBytes; k += 64) {
      __builtin_prefetch(elementAt<char>(pixels, i * 6 * kBytes + k + kAhead));
    }
    hn::LoadInterleaved3(d, elementAt<T>(pixels, i * 6), first[0], first[1], first[2]);
    hn::LoadInterleaved3(d, elementAt<T>(pixels, i * 6 + 3 * lanes), second[0], second[1],
                         second[2]);
    for (int c = 0; c < 3; ++c) {
      hn::StoreU(hn::ConcatEven(d, second[c], first[c]), d, planes[c] + i);
      hn::StoreU(hn::ConcatOdd(d, second[c], first[c]), d, planes[c + 3] + i);
    }
  }
  return i;
}

template <class T>
std::ptrdiff_t joinVectors(const T* const (&planes)[6], std::ptrdiff_t count, void* pixels) {
  const Vectors<T> d;
  const auto lanes = static_cast<std::ptrdiff_t>(hn::Lanes(d));
  std::ptrdiff_t i = 0;
  for (; i + lanes <= count; i += lanes) {
    alignas(64) T both[3][2 * hn::MaxLanes(d)];
    for (int c = 0; c < 3; ++c) {
      hn::StoreInterleaved2(hn::LoadU(d, planes[c] + i), hn::LoadU(d, planes[c + 3] + i), d,
                            both[c]);
    }
    for (std::ptrdiff_t half = 0; half < 2 * lanes; half += lanes) {
      hn::StoreInterleaved3(hn::Load(d, both[0] + half), hn::Load(d, both[1] + half),
                            hn::Load(d, both[2] + half), d, elementAt<T>(pixels, i * 6 + half * 3));
    }
  }
  return i;
}

#else

template <class T, int N>
std::ptrdiff_t splitVectors(const void*, std::ptrdiff_t, T* const (&)[N]) {
  return 0;
}

template <class T, int N>
std::ptrdiff_t joinVectors(const T* const (&)[N], std::ptrdiff_t, void*) {
  return 0;
}

#endif

}  // namespace

template <class T, int N>
void splitPlanes(const void* pixels, std::ptrdiff_t count, T* const (&planes)[N]) {
  for (std::ptrdiff_t i = splitVectors(pixels, count, planes); i < count; ++i) {
    for (int c = 0; c < N; ++c) {
      std::memcpy(&planes[c][i], elementAt<char>(pixels, (i * N + c) * std::ptrdiff_t{sizeof(T)}),
                  sizeof(T));
    }
  }
}

template <class T, int N>
void joinPlanes(const T* const (&planes)[N], std::ptrdiff_t count, void* pixels) {
  for (std::ptrdiff_t i = joinVectors(planes, count, pixels); i < count; ++i) {
    for (int c = 0; c < N; ++c) {
      std::memcpy(elementAt<char>(pixels, (i * N + c) * std::ptrdiff_t{sizeof(T)}), &planes[c][i],
                  sizeof(T));
    }
  }
}

#define MIRL_PLANES(T, N)                                                       \
  template void splitPlanes<T, N>(const void*, std::ptrdiff_t, T* const(&)[N]); \
  template void joinPlanes<T, N>(const T* const(&)[N], std::ptrdiff_t, void*);
#define MIRL_PLANES_OF(T) MIRL_PLANES(T, 2) MIRL_PLANES(T, 3) MIRL_PLANES(T, 4) MIRL_PLANES(T, 6)
MIRL_PLANES_OF(std::uint8_t)
MIRL_PLANES_OF(std::uint16_t)
MIRL_PLANES_OF(float)

}  // namespace mirl::engine
