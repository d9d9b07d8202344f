#pragma once

// From the types of a call's images to the element types of a kernel: an operation names the
// combinations that it serves, and visits the one at hand.

#include <mirl/types.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace mirl::engine {

/// One combination of element types.
template <class... Elements>
struct Combination {};

/// The combinations that an operation serves.
template <class... Served>
struct Combinations {};

/// Of single element types.
template <class... Ts>
using Elements = Combinations<Combination<Ts>...>;

using Integers = Elements<std::uint8_t, std::uint16_t>;
using AllElements = Elements<std::uint8_t, std::uint16_t, float>;

template <class... A, class... B>
Combinations<A..., B...> operator+(Combinations<A...>, Combinations<B...>);
template <class A, class... Bs>
Combinations<Combination<A, Bs>...> pairsOf(Elements<Bs...>);
template <class... As, class B>
auto allPairs(Elements<As...>, B b) -> decltype((pairsOf<As>(b) + ...));
template <class... Ts>
Combinations<Combination<Ts, Ts>...> alike(Elements<Ts...>);

/// Each type of one list with each of another.
template <class As, class Bs>
using Pairs = decltype(allPairs(As{}, Bs{}));
/// Each type of a list with itself.
template <class Ts>
using Alike = decltype(alike(Ts{}));

/// The type of an image with one channel of this element.
template <class T>
inline constexpr int kFirstType = -1;
template <>
inline constexpr int kFirstType<std::uint8_t> = MIRL_8U_C1;
template <>
inline constexpr int kFirstType<std::uint16_t> = MIRL_16U_C1;
template <>
inline constexpr int kFirstType<float> = MIRL_32F_C1;

/// A number of channels as a constant.
template <int N>
struct Channels {};

template <class... Images>
std::array<MirlType, sizeof...(Images)> typesOf(const Images&... images) {
  return {images.type()...};
}
/// As if the images had one channel, of unsigned elements.
template <class... Images>
std::array<MirlType, sizeof...(Images)> elementTypesOf(const Images&... images) {
  return {depthAndChannelsToType(images.depth(), 1, false)...};
}

template <class... Ts>
constexpr bool matches(Combination<Ts...>, int channels,
                       const std::array<MirlType, sizeof...(Ts)>& types) {
  std::size_t at = 0;
  return ((kFirstType<Ts> + channels - 1 == types[at++]) && ...);
}

/// Calls `visit(Combination<Ts...>, Channels<C>)` for images of these types, which all have the
/// same of the given numbers of channels. False if none of the combinations is theirs.
template <int... C, class... Served, std::size_t N, class Visit>
bool visitPixels(Combinations<Served...>, const std::array<MirlType, N>& types,
                 const Visit& visit) {
  const auto visited = [&]<class Ts>(Ts combination) {
    return ((matches(combination, C, types) && (visit(combination, Channels<C>{}), true)) || ...);
  };
  return (visited(Served{}) || ...);
}

/// The same for kernels that take elements as they come: calls `visit(Combination<Ts...>)`.
template <int... C, class... Served, std::size_t N, class Visit>
bool visitElements(Combinations<Served...>, const std::array<MirlType, N>& types,
                   const Visit& visit) {
  const auto matched = [&](auto combination) { return (matches(combination, C, types) || ...); };
  return ((matched(Served{}) && (visit(Served{}), true)) || ...);
}

}  // namespace mirl::engine
