#pragma once

// Wide loads and stores on GPUs: several items at once, in the largest words that their size
// allows.

#include "engine/view.h"

#include <cstdint>

namespace mirl::engine {

/// The largest word, up to 16 bytes, that `Bytes` is a multiple of.
template <std::size_t Bytes>
inline constexpr std::size_t kWordBytes = Bytes % 16 == 0  ? 16
                                          : Bytes % 8 == 0 ? 8
                                          : Bytes % 4 == 0 ? 4
                                          : Bytes % 2 == 0 ? 2
                                                           : 1;

template <std::size_t Bytes>
struct WordOf;
template <>
struct WordOf<16> {
  using type = uint4;
};
template <>
struct WordOf<8> {
  using type = uint2;
};
template <>
struct WordOf<4> {
  using type = unsigned;
};
template <>
struct WordOf<2> {
  using type = unsigned short;
};
template <>
struct WordOf<1> {
  using type = unsigned char;
};

/// N neighbouring items, and the words that move them.
template <class T, int N>
union Items {
  static constexpr std::size_t kWord = kWordBytes<sizeof(T) * N>;
  static constexpr int kWords = static_cast<int>(sizeof(T) * N / kWord);
  T item[N];
  typename WordOf<kWord>::type word[kWords];

  __device__ Items() {}
};

template <int N, class T>
__device__ Items<T, N> loadVector(const T* at) {
  Items<T, N> items;
  const auto* words = reinterpret_cast<const typename WordOf<Items<T, N>::kWord>::type*>(at);
#pragma unroll
  for (int i = 0; i < Items<T, N>::kWords; ++i) items.word[i] = words[i];
  return items;
}

template <class T, int N>
__device__ void storeVector(T* at, const Items<T, N>& items) {
  auto* words = reinterpret_cast<typename WordOf<Items<T, N>::kWord>::type*>(at);
#pragma unroll
  for (int i = 0; i < Items<T, N>::kWords; ++i) words[i] = items.word[i];
}

/// One item at any address: GPUs can't read an element across its alignment.
template <class T>
__device__ T loadBytes(const T* at) {
  if (reinterpret_cast<std::uintptr_t>(at) % alignof(T) == 0) return *at;
  T item;
  for (std::size_t i = 0; i < sizeof(T); ++i) {
    reinterpret_cast<unsigned char*>(&item)[i] = reinterpret_cast<const unsigned char*>(at)[i];
  }
  return item;
}

template <class T>
__device__ void storeBytes(T* at, const T& item) {
  if (reinterpret_cast<std::uintptr_t>(at) % alignof(T) == 0) {
    *at = item;
    return;
  }
  for (std::size_t i = 0; i < sizeof(T); ++i) {
    reinterpret_cast<unsigned char*>(at)[i] = reinterpret_cast<const unsigned char*>(&item)[i];
  }
}

/// Whether every N items of every row start at a word that can be moved at once.
template <int N, class T>
bool isVectorAligned(const View<T>& view) {
  constexpr auto kWord = static_cast<std::ptrdiff_t>(kWordBytes<sizeof(T) * N>);
  return reinterpret_cast<std::uintptr_t>(view.data) % kWord == 0 && view.pitch % kWord == 0;
}

}  // namespace mirl::engine
