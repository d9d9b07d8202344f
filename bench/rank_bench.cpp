#include "bench.h"
#include "open_cv.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

// Medians and extremes.

namespace mirl::bench {
namespace {

using Filter = MirlStatus (*)(const MirlImage&, MirlImage&, const MirlRect&, const MirlSize&,
                              const MirlStream&);

#if MIRL_BENCH_OPENCV

Prepare openCvOf(Filter filter, const MirlSize& size, MirlType type, int side) {
  return [=]() -> Run {
    const cv::Mat in = cvNoise(size, type);
    const cv::Mat window = cv::Mat::ones(side, side, CV_8U);
    cv::Mat out(size.height, size.width, cvTypeOf(type));
    if (filter == imageFiltering::medianFilter) {
      return [=]() mutable { cv::medianBlur(in, out, side); };
    }
    const auto extreme = filter == imageFiltering::minFilter ? cv::erode : cv::dilate;
    return [=]() mutable {
      extreme(in, out, window, {-1, -1}, 1, cv::BORDER_REPLICATE,
              cv::morphologyDefaultBorderValue());
    };
  };
}

#else

Prepare openCvOf(Filter, const MirlSize&, MirlType, int) {
  return nullptr;
}

#endif

void addFilter(const char* name, Filter filter, std::initializer_list<int> sides) {
  for (const int side : sides) {
    for (const MirlType type : {MIRL_8U_C1, MIRL_8U_C3}) {
      for (const auto& [width, height] : kSizes) {
        const MirlSize size(width, height);
        const Prepare ours = [=]() -> Run {
          const MirlImage in = noise(size, type);
          MirlImage out(size, type);
          return [=]() mutable {
            filter(in, out, {0, 0, size.width, size.height}, {side, side}, MirlStream());
          };
        };
        const std::string window = std::to_string(side) + "x" + std::to_string(side);
        add({name + (" " + window) + " " + typeName(type), size, 2.0 * bytesOf(type), ours,
             openCvOf(filter, size, type, side)});
      }
    }
  }
}

const bool registered = [] {
  addFilter("medianFilter", imageFiltering::medianFilter, {3, 5, 7, 9});
  addFilter("minFilter", imageFiltering::minFilter, {3, 5, 31, 301});
  addFilter("maxFilter", imageFiltering::maxFilter, {3, 5, 31});
  return true;
}();

}  // namespace
}  // namespace mirl::bench
