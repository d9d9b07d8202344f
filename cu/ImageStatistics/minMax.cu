#include <mirl/imageStatistics.h>

#include "engine/numbers/conversions.h"
#include "engine/numbers/float_order.h"
#include "engine/numbers/packed_bytes.h"
#include "statistics.h"

#include <cstdint>

namespace mirl::imageStatistics {
namespace {

/// The least element.
template <class T>
struct kernel_min {
  using Element = T;
  using Lane = T;
  using Total = T;
  static constexpr int kLaneElements = engine::kGreatest<int>;
  static constexpr engine::Reduces reduces{.mergesBytes = sizeof(T) == 1};

  MIRL_HD T none() const { return engine::kGreatest<T>; }
  MIRL_HD T add(T least, T element) const { return merge(least, element); }
  MIRL_HD T merge(T a, T b) const { return a < b ? a : b; }
  MIRL_HD unsigned mergeBytes(unsigned a, unsigned b) const requires(sizeof(T) == 1) {
    return engine::minBytes(a, b);
  }
  static double value(T least) { return least; }
};

/// The greatest element.
template <class T>
struct kernel_max {
  using Element = T;
  using Lane = T;
  using Total = T;
  static constexpr int kLaneElements = engine::kGreatest<int>;
  static constexpr engine::Reduces reduces{.mergesBytes = sizeof(T) == 1};

  MIRL_HD T none() const { return 0; }
  MIRL_HD T add(T greatest, T element) const { return merge(greatest, element); }
  MIRL_HD T merge(T a, T b) const { return a > b ? a : b; }
  MIRL_HD unsigned mergeBytes(unsigned a, unsigned b) const requires(sizeof(T) == 1) {
    return engine::maxBytes(a, b);
  }
  static double value(T greatest) { return greatest; }
};

/// Floats by their rank, NaNs being last.
template <>
struct kernel_min<float> {
  using Element = float;
  using Lane = std::uint32_t;
  using Total = std::uint32_t;
  static constexpr int kLaneElements = engine::kGreatest<int>;

  MIRL_HD Lane none() const { return engine::kLastRank; }
  MIRL_HD Lane add(Lane least, float element) const {
    return merge(least, engine::rankOf(element));
  }
  MIRL_HD Lane merge(Lane a, Lane b) const { return a < b ? a : b; }
  static double value(Total least) { return engine::atRank(least); }
};

/// The greatest float is the least one of the negatives, among which NaNs are last as well.
template <>
struct kernel_max<float> : kernel_min<float> {
  MIRL_HD Lane add(Lane least, float element) const {
    return merge(least, engine::rankOf(-element));
  }
  static double value(Total least) {
    const double negative = engine::atRank(least);
    return negative != negative ? negative : -negative;
  }
};

template <int C, class R>
void storeValues(const engine::Reduction<C, R>& reduction, MirlScalar& scalar) {
  std::array<double, C> values;
  std::transform(reduction.result.begin(), reduction.result.end(), values.begin(), R::value);
  store(values, scalar);
}

template <template <class> class Extreme>
MirlStatus extremeOf(const MirlImage& in, MirlScalar& result, const MirlStream& stream) {
  if (!core::isLive(in)) return MIRL_IMAGE_NOT_INITIALIZED;
  return dispatch<engine::AllElements>(
      in, stream, MIRL_MISMATCH, [&]<class T, int C>(const runtime::Queue& queue) {
        engine::Reduction<C, Extreme<T>> extreme;
        const MirlStatus status = engine::reduce(queue, engine::elementsOf<const T>(in), extreme);
        if (status == MIRL_SUCCESS) storeValues(extreme, result);
        return status;
      });
}

}  // namespace

MirlStatus min(const MirlImage& in, MirlScalar& result, const MirlStream& stream) {
  return extremeOf<kernel_min>(in, result, stream);
}

MirlStatus max(const MirlImage& in, MirlScalar& result, const MirlStream& stream) {
  return extremeOf<kernel_max>(in, result, stream);
}

MirlStatus minMax(const MirlImage& in, MirlScalar& minimum, MirlScalar& maximum,
                  const MirlStream& stream) {
  if (!core::isLive(in)) return MIRL_MISMATCH;
  return dispatch<engine::AllElements>(
      in, stream, MIRL_MISMATCH, [&]<class T, int C>(const runtime::Queue& queue) {
        engine::Reduction<C, kernel_min<T>> least;
        engine::Reduction<C, kernel_max<T>> greatest;
        const MirlStatus status =
            engine::reduce(queue, engine::elementsOf<const T>(in), least, greatest);
        if (status == MIRL_SUCCESS) {
          storeValues(least, minimum);
          storeValues(greatest, maximum);
        }
        return status;
      });
}

}  // namespace mirl::imageStatistics
