#include "bench.h"
#include "peers.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif
#if MIRL_BENCH_NPP
#include <nppi_filtering_functions.h>
#endif

namespace mirl::bench {
namespace {

Prepare openCvOf(const MirlSize& size, MirlType type, int taps) {
#if MIRL_BENCH_OPENCV
  return [=]() -> Run {
    const cv::Mat in = cvNoise(size, type);
    const MirlFilter filter = MirlSpecialFilters::gaussian(MirlSize(taps, taps), 1.5f);
    const cv::Mat kernel = cv::Mat(taps, taps, CV_32F, filter.coeffs()).clone();
    cv::Mat out(size.height, size.width, cvTypeOf(type));
    return [=]() mutable {
      cv::filter2D(in, out, -1, kernel, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    };
  };
#else
  static_cast<void>(size), static_cast<void>(type), static_cast<void>(taps);
  return nullptr;
#endif
}

Prepare nppOf(const MirlSize& size, MirlType type, int taps) {
#if MIRL_BENCH_NPP
  if (type != MIRL_8U_C1 && type != MIRL_8U_C3) return nullptr;
  return [=]() -> Run {
    const MirlImage in = noise(size, type);
    const MirlImage out(size, type);
    const MirlFilter filter = MirlSpecialFilters::gaussian(MirlSize(taps, taps), 1.5f);
    // The vendor takes the weights from device memory.
    const MirlImage weights(taps * taps, 1, MIRL_32F_C1);
    MirlImage filled = weights;
    filled.upload(filter.coeffs(), taps * taps * 4);
    const NppStreamContext context = nppContext();
    const auto call =
        type == MIRL_8U_C1 ? nppiFilterBorder32f_8u_C1R_Ctx : nppiFilterBorder32f_8u_C3R_Ctx;
    return [=] {
      call(static_cast<const Npp8u*>(in.ptr()), in.pitch(), {size.width, size.height}, {0, 0},
           static_cast<Npp8u*>(out.ptr()), out.pitch(), {size.width, size.height},
           static_cast<const Npp32f*>(filled.ptr()), {taps, taps}, {taps / 2, taps / 2},
           NPP_BORDER_REPLICATE, context);
    };
  };
#else
  static_cast<void>(size), static_cast<void>(type), static_cast<void>(taps);
  return nullptr;
#endif
}

const bool registered = [] {
  for (const int taps : {3, 5, 7, 11}) {
    for (const MirlType type : {MIRL_8U_C1, MIRL_8U_C3, MIRL_16U_C1, MIRL_32F_C1, MIRL_32F_C3}) {
      for (const auto& [width, height] : kSizes) {
        const MirlSize size(width, height);
        const Prepare ours = [=]() -> Run {
          const MirlImage in = noise(size, type);
          MirlImage out(size, type);
          const MirlFilter filter = MirlSpecialFilters::gaussian(MirlSize(taps, taps), 1.5f);
          return [=]() mutable { imageFiltering::imageFilter(in, out, filter); };
        };
        const std::string window = std::to_string(taps) + "x" + std::to_string(taps);
        add({"imageFilter " + window + " " + typeName(type), size, 2.0 * bytesOf(type), ours,
             openCvOf(size, type, taps), nppOf(size, type, taps)});
      }
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
