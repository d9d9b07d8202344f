#include <mirl/imageStatistics.h>

#include "statistics.h"
#include "sums.h"

#include <cstdint>
#include <limits>

namespace mirl::imageStatistics {
namespace {

/// The sums divided by `divisor`. All NaNs are made the same one, which they aren't by themselves
/// on all devices.
MirlStatus sumOf(const MirlImage& in, double divisor, MirlScalar& result,
                 const MirlStream& stream) {
  return dispatch<engine::AllElements>(
      in, stream, MIRL_MISMATCH, [&]<class T, int C>(const runtime::Queue& queue) {
        engine::Reduction<C, kernel_sum<T>> sums;
        const MirlStatus status = engine::reduce(queue, engine::elementsOf<const T>(in), sums);
        if (status != MIRL_SUCCESS) return status;
        std::array<double, C> values;
        std::transform(sums.result.begin(), sums.result.end(), values.begin(), [&](auto total) {
          const double value = static_cast<double>(total) / divisor;
          return value != value ? std::numeric_limits<double>::quiet_NaN() : value;
        });
        store(values, result);
        return status;
      });
}

}  // namespace

MirlStatus sum(const MirlImage& in, MirlScalar& result, const MirlStream& stream) {
  if (!core::isLive(in)) return MIRL_IMAGE_NOT_INITIALIZED;
  return sumOf(in, 1.0, result, stream);
}

MirlStatus mean(const MirlImage& in, MirlScalar& result, const MirlStream& stream) {
  if (!core::isLive(in)) return MIRL_IMAGE_NOT_INITIALIZED;
  return sumOf(in, static_cast<double>(in.width()) * in.height(), result, stream);
}

}  // namespace mirl::imageStatistics
