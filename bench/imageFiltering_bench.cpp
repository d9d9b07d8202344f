#include "bench.h"
#include "open_cv.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
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
             openCvOf(size, type, taps)});
      }
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
