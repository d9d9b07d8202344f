#pragma once

// Weighted sums of the channels of a pixel, in one order of summation for the whole library: the
// channel in the middle, the first, the last, then the offset.

#include "engine/device_code.h"
#include "engine/numbers/conversions.h"
#include "engine/view.h"

namespace mirl::engine {

/// Factors of three channels in their order in memory, and what is added.
struct MixRow {
  float factor[3];
  float offset;
};

/// What the channels of a pixel become: a row for each.
template <int M>
struct MixRows {
  MixRow row[M];
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

}  // namespace mirl::engine
