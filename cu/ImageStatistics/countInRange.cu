#include <mirl/imageStatistics.h>

#include "core/elements.h"
#include "engine/numbers/conversions.h"
#include "engine/numbers/float_order.h"
#include "engine/numbers/packed_bytes.h"
#include "statistics.h"

#include <cstdint>

namespace mirl::imageStatistics {
namespace {

/// The number of elements from the lower to the upper bound of their channel.
template <class T, int C>
struct kernel_countInRange {
  using Element = T;
  using Lane = std::conditional_t<sizeof(T) == 1, std::uint8_t, std::uint32_t>;
  using Total = std::uint64_t;
  using Bound = Lane;  // of floats their rank
  static constexpr int kLaneElements = sizeof(T) == 1 ? 255 : engine::kGreatest<int>;

  static constexpr engine::Reduces reduces{.bounds = true, .addsBytes = sizeof(T) == 1};

  Bound lower[C];
  Bound upper[C];

  MIRL_HD Lane none() const { return 0; }
  template <class Count>
  MIRL_HD Count add(Count count, T element, Bound least, Bound greatest) const {
    const Bound value = order(element);
    return static_cast<Count>(count + (value >= least && value <= greatest ? 1 : 0));
  }
  MIRL_HD Total merge(Total a, Total b) const { return a + b; }
  MIRL_HD unsigned addBytes(unsigned count, unsigned bytes, unsigned chosen, unsigned least,
                            unsigned greatest) const requires(sizeof(T) == 1) {
    return engine::dotBytes(engine::bytesInRange(bytes, least, greatest), chosen, count);
  }

  MIRL_HD static Bound order(std::uint8_t element) { return element; }
  MIRL_HD static Bound order(float element) { return engine::rankOf(element); }
};

std::uint8_t byteBound(double bound) {
  return static_cast<std::uint8_t>(core::limitedTo(bound, core::maximumOf(8)));
}

/// Bounds of bytes, and of floats as ranks. The two zeros are one number, of two ranks; NaN as a
/// bound makes a range without ranks.
void setBounds(double lower, double upper, std::uint8_t& least, std::uint8_t& greatest) {
  least = byteBound(lower);
  greatest = byteBound(upper);
}

void setBounds(double lower, double upper, std::uint32_t& least, std::uint32_t& greatest) {
  const auto low = static_cast<float>(lower);
  const auto high = static_cast<float>(upper);
  if (low != low || high != high) {
    least = 1;
    greatest = 0;
  } else {
    least = engine::rankOf(low == 0.0f ? -0.0f : low);
    greatest = engine::rankOf(high == 0.0f ? 0.0f : high);
  }
}

}  // namespace

MirlStatus countInRange(const MirlImage& in, MirlScalar& counts, const MirlScalar& lower,
                        const MirlScalar& upper, const MirlStream& stream) {
  if (!core::isLive(in)) return MIRL_MISMATCH;
  return dispatch<engine::Elements<std::uint8_t, float>>(
      in, stream, MIRL_DEPTH_NOT_SUPPORTED, [&]<class T, int C>(const runtime::Queue& queue) {
        engine::Reduction<C, kernel_countInRange<T, C>> inRange;
        for (int c = 0; c < C; ++c) {
          setBounds(lower[c], upper[c], inRange.reducer.lower[c], inRange.reducer.upper[c]);
        }
        const MirlStatus status = engine::reduce(queue, engine::elementsOf<const T>(in), inRange);
        if (status != MIRL_SUCCESS) return status;
        std::array<double, C> values;
        std::copy(inRange.result.begin(), inRange.result.end(), values.begin());
        store(values, counts);
        return status;
      });
}

}  // namespace mirl::imageStatistics
