#pragma once

// Weighted sums of the channels of a pixel, as functors of the map pattern.

#include "engine/functor.h"
#include "engine/host/ivdep.h"
#include "engine/host/mix.h"
#include "engine/numbers/conversions.h"
#include "engine/numbers/mix.h"
#include "engine/view.h"

#include <cmath>
#include <cstdint>
#include <type_traits>

namespace mirl::engine {

/// What distinguishes weighted sums beside their numbers.
struct Mixing {
  Products products = Products::fused;
  bool offsets = true;  ///< or there are none to add
  bool limits = true;   ///< or no sum leaves an integer's range
};

/// Leaves an element as it is.
struct Kept {
  template <class T>
  MIRL_HD T operator()(T element) const {
    return element;
  }
};

/// M sums of pixels of N channels: row i gives channel i. What comes out of an integer's range is
/// limited to it, and then becomes what `finish` makes of it.
template <class T, int N, int M, Mixing mixing = Mixing{}, class Finish = Kept>
struct kernel_mix {
  using Out = std::conditional_t<M == 1, T, Pixel<T, M>>;
  static constexpr bool kBytes = std::is_same_v<T, std::uint8_t>;
  static constexpr Asks asks{.vectors = kBytes};

  MixRows<M> rows;
  Finish finish{};

  MIRL_HD Out operator()(const Pixel<T, N>& in) const {
    if constexpr (M == 1) {
      return mixed(rows.row[0], in);
    } else {
      static_assert(M == 3);
      return {mixed(rows.row[0], in), mixed(rows.row[1], in), mixed(rows.row[2], in)};
    }
  }

  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char* in) const requires(kBytes) {
    if (!fitsVectors()) return 0;
    const std::ptrdiff_t done = host::mixBytes<N, M, mixing.products>(rows.row, in, count, out);
    if constexpr (!std::is_same_v<Finish, Kept>) {
      auto* const bytes = reinterpret_cast<T*>(out);
      const Finish local = finish;  // which no store to a byte can change
      MIRL_IVDEP
      for (std::ptrdiff_t i = 0; i < M * done; ++i) bytes[i] = local(bytes[i]);
    }
    return done;
  }

 private:
  MIRL_HD T mixed(const MixRow& weights, const Pixel<T, N>& in) const {
    const float sum = weightedSum<mixing.products>(in, weights);
    const float value = mixing.offsets ? sum + weights.offset : sum;
    if constexpr (mixing.limits || std::is_same_v<T, float>) {
      return finish(fromFloat<T>(value));
    } else {
      return finish(static_cast<T>(truncateInRange(value)));
    }
  }

  /// Whether no sum of bytes can leave what explicit vectors convert; NaN does.
  bool fitsVectors() const {
    constexpr float kEnough = 1e9f;
    bool fits = true;
    for (const MixRow& weights : rows.row) {
      float greatest = std::fabs(weights.offset);
      for (const float factor : weights.factor) greatest += 255 * std::fabs(factor);
      fits = fits && greatest < kEnough;
    }
    return fits;
  }
};

}  // namespace mirl::engine
