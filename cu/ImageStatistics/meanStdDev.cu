#include <mirl/imageStatistics.h>

#include "statistics.h"
#include "sums.h"

#include <cmath>
#include <cstdint>

namespace mirl::imageStatistics {
namespace {

struct kernel_sumOfSquares {
  using Element = std::uint8_t;
  using Lane = std::uint32_t;
  using Total = std::uint64_t;
  static constexpr int kLaneElements = 65536;
  static constexpr engine::Reduces reduces{.addsBytes = true};

  MIRL_HD Lane none() const { return 0; }
  template <class Sum>
  MIRL_HD Sum add(Sum sum, std::uint8_t element) const {
    return sum + static_cast<std::uint16_t>(element * element);
  }
  MIRL_HD Total merge(Total a, Total b) const { return a + b; }
  MIRL_HD unsigned addBytes(unsigned sum, unsigned bytes, unsigned chosen) const {
    return engine::dotBytes(bytes, bytes & (chosen * 255u), sum);
  }
};

/// n * squares - sum^2 without rounding: beyond 64 bits for large images, and it may be a small
/// difference of large numbers.
double deviationOf(std::uint64_t n, std::uint64_t sum, std::uint64_t squares) {
  __extension__ using Wide = unsigned __int128;
  const Wide spread = Wide{n} * squares - Wide{sum} * sum;
  return std::sqrt(static_cast<double>(spread)) / static_cast<double>(n);
}

}  // namespace

MirlStatus meanStdDev(const MirlImage& in, MirlScalar& mean, MirlScalar& deviation,
                      const MirlStream& stream) {
  if (!core::isLive(in)) return MIRL_IMAGE_NOT_INITIALIZED;
  return dispatch<engine::Elements<std::uint8_t>>(
      in, stream, MIRL_MISMATCH, [&]<class T, int C>(const runtime::Queue& queue) {
        engine::Reduction<C, kernel_sum<T>> sums;
        engine::Reduction<C, kernel_sumOfSquares> squares;
        const MirlStatus status =
            engine::reduce(queue, engine::elementsOf<const T>(in), sums, squares);
        if (status != MIRL_SUCCESS) return status;
        const auto n =
            static_cast<std::uint64_t>(in.width()) * static_cast<std::uint64_t>(in.height());
        std::array<double, C> means;
        std::array<double, C> deviations;
        for (std::size_t c = 0; c < C; ++c) {
          means[c] = static_cast<double>(sums.result[c]) / static_cast<double>(n);
          deviations[c] = deviationOf(n, sums.result[c], squares.result[c]);
        }
        store(means, mean);
        store(deviations, deviation);
        return status;
      });
}

}  // namespace mirl::imageStatistics
