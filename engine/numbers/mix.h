#pragma once

// Weighted sums of the channels of a pixel, in one order of summation for the whole library: the
// channel in the middle, the first, the last, then the offset.

#include "engine/device_code.h"
#include "engine/numbers/conversions.h"
#include "engine/view.h"

#include <cstddef>

namespace mirl::engine {

/// Factors of three channels in their order in memory, and what is added.
struct MixRow {
  float factor[3];
  float offset;
};

/// Whether a product is rounded together with the sum that it is added to, or by itself before.
enum class Products { fused, rounded };

/// The sum without the offset.
template <Products products = Products::fused>
MIRL_HD float weightedSum(float c0, float c1, float c2, const MixRow& row) {
  const float sum = c1 * row.factor[1];
  if constexpr (products == Products::rounded) {
    return sum + c0 * row.factor[0] + c2 * row.factor[2];
  } else {
    return fusedMultiplyAdd(c2, row.factor[2], fusedMultiplyAdd(c0, row.factor[0], sum));
  }
}
template <Products products = Products::fused, class T, int N>
MIRL_HD float weightedSum(const Pixel<T, N>& pixel, const MixRow& row) {
  return weightedSum<products>(toFloat(pixel.v[0]), toFloat(pixel.v[1]), toFloat(pixel.v[2]), row);
}

/// On the host, for pixels of N bytes, 3 or 4 with one sum: M sums with their offsets, clamped to a
/// byte and truncated, for as many pixels as explicit vectors can do, which may be none. Returns
/// how many those were. Results must stay below 2^31. The output may be the input.
template <int N, int M, Products products = Products::fused>
std::ptrdiff_t mixBytes(const MixRow (&rows)[M], const void* in, std::ptrdiff_t count, void* out);

}  // namespace mirl::engine
