#pragma once

// From the types of a call's images to the element types of a kernel: an operation lists the
// combinations that it serves, and visits the one at hand.

#include <mirl/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace mirl::engine {

/// One combination of element types.
template <class... Elements>
struct Combination {};

/// The combinations that an operation serves.
template <class... Served>
struct Combinations {};

/// The type of an image with one channel of this element.
template <class T>
inline constexpr int kFirstType = -1;
template <>
inline constexpr int kFirstType<std::uint8_t> = MIRL_8U_C1;
template <>
inline constexpr int kFirstType<std::uint16_t> = MIRL_16U_C1;
template <>
inline constexpr int kFirstType<float> = MIRL_32F_C1;

template <class... Elements>
constexpr bool matches(Combination<Elements...>, int channels,
                       const std::array<MirlType, sizeof...(Elements)>& types) {
  std::size_t at = 0;
  return ((kFirstType<Elements> + channels - 1 == types[at++]) && ...);
}

/// Calls `visit` with the combination that the types name, all images having `channels` channels.
/// False if it isn't in the list.
template <class... Served, std::size_t N, class Visitor>
bool visitCombination(Combinations<Served...>, int channels, const std::array<MirlType, N>& types,
                      const Visitor& visit) {
  return ((matches(Served{}, channels, types) && (visit(Served{}), true)) || ...);
}

}  // namespace mirl::engine
