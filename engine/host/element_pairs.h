#pragma once

// Two neighbouring elements moved as one word: compilers make vector code of words that are taken
// apart, where they don't of elements with gaps between them.

#include <bit>
#include <cstddef>
#include <cstdint>

namespace mirl::engine {

template <std::size_t Bytes>
struct WordOfBytes;
template <>
struct WordOfBytes<1> {
  using type = std::uint8_t;
};
template <>
struct WordOfBytes<2> {
  using type = std::uint16_t;
};
template <>
struct WordOfBytes<4> {
  using type = std::uint32_t;
};
template <>
struct WordOfBytes<8> {
  using type = std::uint64_t;
};

template <class T>
using Pair = typename WordOfBytes<2 * sizeof(T)>::type;

/// The element at the lower address, on a machine that stores low bytes first.
template <class T>
T firstOf(Pair<T> pair) {
  return std::bit_cast<T>(static_cast<typename WordOfBytes<sizeof(T)>::type>(pair));
}

template <class T>
T secondOf(Pair<T> pair) {
  return std::bit_cast<T>(
      static_cast<typename WordOfBytes<sizeof(T)>::type>(pair >> 8 * sizeof(T)));
}

static_assert(std::endian::native == std::endian::little, "see firstOf");

}  // namespace mirl::engine
