#include "engine/host/planes.h"

#include "engine/host/stream_planes.h"

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

template <class T>
bool isAligned(const T* at) {
  const Vectors<T> d;
  return reinterpret_cast<std::uintptr_t>(at) % (hn::Lanes(d) * sizeof(T)) == 0;
}

/// Does as many pixels as fill whole vectors, and returns how many those are.
template <bool PastCaches, class T, int N>
std::ptrdiff_t splitVectors(const void* pixels, std::ptrdiff_t count, T* const (&planes)[N]) {
  const Vectors<T> d;
  const auto store = [&](hn::Vec<decltype(d)> v, T* to) {
    if constexpr (PastCaches) {
      hn::Stream(v, d, to);
    } else {
      hn::StoreU(v, d, to);
    }
  };
  const auto lanes = static_cast<std::ptrdiff_t>(hn::Lanes(d));
  std::ptrdiff_t i = 0;
  for (; i + lanes <= count; i += lanes) {
    const T* at = elementAt<T>(pixels, i * N);
    hn::Vec<decltype(d)> a, b, c, e;
    if constexpr (N == 2) hn::LoadInterleaved2(d, at, a, b);
    if constexpr (N == 3) hn::LoadInterleaved3(d, at, a, b, c);
    if constexpr (N == 4) hn::LoadInterleaved4(d, at, a, b, c, e);
    store(a, planes[0] + i);
    store(b, planes[1] + i);
    if constexpr (N > 2) store(c, planes[2] + i);
    if constexpr (N > 3) store(e, planes[3] + i);
  }
  return i;
}

template <bool PastCaches, class T, int N>
std::ptrdiff_t joinVectors(const T* const (&planes)[N], std::ptrdiff_t count, void* pixels) {
  const Vectors<T> d;
  const auto lanes = static_cast<std::ptrdiff_t>(hn::Lanes(d));
  alignas(64) T joined[N * hn::MaxLanes(d)];
  std::ptrdiff_t i = 0;
  for (; i + lanes <= count; i += lanes) {
    T* const target = elementAt<T>(pixels, i * N);
    T* const at = PastCaches ? joined : target;
    const auto a = hn::LoadU(d, planes[0] + i);
    const auto b = hn::LoadU(d, planes[1] + i);
    if constexpr (N == 2) hn::StoreInterleaved2(a, b, d, at);
    if constexpr (N == 3) hn::StoreInterleaved3(a, b, hn::LoadU(d, planes[2] + i), d, at);
    if constexpr (N == 4) {
      hn::StoreInterleaved4(a, b, hn::LoadU(d, planes[2] + i), hn::LoadU(d, planes[3] + i), d, at);
    }
    for (int c = 0; PastCaches && c < N; ++c) {
      hn::Stream(hn::Load(d, joined + c * lanes), d, target + c * lanes);
    }
  }
  return i;
}

#else

template <class T>
bool isAligned(const T*) {
  return false;
}

template <bool, class T, int N>
std::ptrdiff_t splitVectors(const void*, std::ptrdiff_t, T* const (&)[N]) {
  return 0;
}

template <bool, class T, int N>
std::ptrdiff_t joinVectors(const T* const (&)[N], std::ptrdiff_t, void*) {
  return 0;
}

#endif

template <class T, int N>
void split(const void* pixels, std::ptrdiff_t count, T* const (&planes)[N], bool pastCaches) {
  const bool streams = pastCaches && std::all_of(planes, planes + N, isAligned<T>);
  std::ptrdiff_t i = streams ? splitVectors<true>(pixels, count, planes)
                             : splitVectors<false>(pixels, count, planes);
  for (; i < count; ++i) {
    for (int c = 0; c < N; ++c) {
      std::memcpy(&planes[c][i], elementAt<char>(pixels, (i * N + c) * std::ptrdiff_t{sizeof(T)}),
                  sizeof(T));
    }
  }
}

template <class T, int N>
void join(const T* const (&planes)[N], std::ptrdiff_t count, void* pixels, bool pastCaches) {
  const bool streams = pastCaches && isAligned(static_cast<const T*>(pixels));
  std::ptrdiff_t i = streams ? joinVectors<true>(planes, count, pixels)
                             : joinVectors<false>(planes, count, pixels);
  for (; i < count; ++i) {
    for (int c = 0; c < N; ++c) {
      std::memcpy(elementAt<char>(pixels, (i * N + c) * std::ptrdiff_t{sizeof(T)}), &planes[c][i],
                  sizeof(T));
    }
  }
}

}  // namespace

template <class T, int N>
void splitPlanes(const void* pixels, std::ptrdiff_t count, T* const (&planes)[N]) {
  split(pixels, count, planes, false);
}
template <class T, int N>
void streamSplitPlanes(const void* pixels, std::ptrdiff_t count, T* const (&planes)[N]) {
  split(pixels, count, planes, true);
}

template <class T, int N>
void joinPlanes(const T* const (&planes)[N], std::ptrdiff_t count, void* pixels) {
  join(planes, count, pixels, false);
}
template <class T, int N>
void streamJoinPlanes(const T* const (&planes)[N], std::ptrdiff_t count, void* pixels) {
  join(planes, count, pixels, true);
}

#define MIRL_PLANES(T, N)                                                             \
  template void splitPlanes<T, N>(const void*, std::ptrdiff_t, T* const(&)[N]);       \
  template void streamSplitPlanes<T, N>(const void*, std::ptrdiff_t, T* const(&)[N]); \
  template void joinPlanes<T, N>(const T* const(&)[N], std::ptrdiff_t, void*);        \
  template void streamJoinPlanes<T, N>(const T* const(&)[N], std::ptrdiff_t, void*);
#define MIRL_PLANES_OF(T) MIRL_PLANES(T, 2) MIRL_PLANES(T, 3) MIRL_PLANES(T, 4)
MIRL_PLANES_OF(std::uint8_t)
MIRL_PLANES_OF(std::uint16_t)
MIRL_PLANES_OF(float)

}  // namespace mirl::engine
