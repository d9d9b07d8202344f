#include "bench.h"
#include "open_cv.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

// Gradients and mosaics.

namespace mirl::bench {
namespace {

struct Gradient {
  const char* name;
  MirlGradientKernelType kernel;
  int cvSize;  ///< as cv::Sobel takes it
};
constexpr Gradient kGradients[] = {{"central", MIRL_GRADIENT_CENTRAL, 0},
                                   {"Sobel", MIRL_GRADIENT_SOBEL, 3},
                                   {"Scharr", MIRL_GRADIENT_SCHARR, -1}};

#if MIRL_BENCH_OPENCV

Prepare openCvGradients(const MirlSize& size, MirlType type, int cvSize) {
  if (cvSize == 0) return nullptr;
  return [=]() -> Run {
    const cv::Mat in = cvNoise(size, type);
    const int made = CV_MAKETYPE(CV_32F, in.channels());
    cv::Mat across(size.height, size.width, made), down(size.height, size.width, made);
    return [=]() mutable {
      cv::Sobel(in, across, CV_32F, 1, 0, cvSize, 1, 0, cv::BORDER_REPLICATE);
      cv::Sobel(in, down, CV_32F, 0, 1, cvSize, 1, 0, cv::BORDER_REPLICATE);
    };
  };
}

Prepare openCvDemosaic(const MirlSize& size, MirlType type, int code) {
  return [=]() -> Run {
    const cv::Mat in = cvNoise(size, type);
    cv::Mat out(size.height, size.width, CV_MAKETYPE(in.depth(), 3));
    return [=]() mutable { cv::cvtColor(in, out, code); };
  };
}
Prepare openCvDemosaic(const MirlSize& size, MirlType type) {
  return openCvDemosaic(size, type, cv::COLOR_BayerBG2BGR);
}
/// The nearest in kind that it has: one looks at gradients in eight directions, for bytes, and the
/// other at which of two is less.
Prepare openCvDirected(const MirlSize& size, MirlType type) {
  return openCvDemosaic(size, type,
                        type == MIRL_8U_C1 ? cv::COLOR_BayerBG2BGR_VNG : cv::COLOR_BayerBG2BGR_EA);
}

#else

Prepare openCvGradients(const MirlSize&, MirlType, int) {
  return nullptr;
}
Prepare openCvDemosaic(const MirlSize&, MirlType) {
  return nullptr;
}
Prepare openCvDirected(const MirlSize&, MirlType) {
  return nullptr;
}

#endif

const bool registered = [] {
  for (const auto& [width, height] : kSizes) {
    const MirlSize size(width, height);
    for (const MirlType type : {MIRL_8U_C1, MIRL_8U_C3, MIRL_32F_C1, MIRL_32F_C3}) {
      for (const Gradient& gradient : kGradients) {
        const double made = type == MIRL_8U_C3 || type == MIRL_32F_C3 ? 24 : 8;
        const Prepare ours = [=]() -> Run {
          const MirlImage in = noise(size, type);
          MirlImage first, second;
          return
              [=]() mutable { imageFiltering::imageGradients(in, first, second, gradient.kernel); };
        };
        add({std::string("imageGradients ") + gradient.name + " " + typeName(type), size,
             bytesOf(type) + made, ours, openCvGradients(size, type, gradient.cvSize)});
      }
    }
    for (const MirlType type : {MIRL_8U_C1, MIRL_16U_C1}) {
      for (const MirlBayerSeq sequence : {MIRL_BAYER_RGGB, MIRL_BAYER_RGGB_HQ}) {
        const Prepare ours = [=]() -> Run {
          const MirlImage in = noise(size, type);
          MirlImage out;
          return [=]() mutable { colorOperations::demosaic(in, out, sequence); };
        };
        const char* const name = sequence == MIRL_BAYER_RGGB ? "demosaic " : "demosaic HQ ";
        add({name + typeName(type), size, 4 * bytesOf(type), ours, openCvDemosaic(size, type)});
      }
      const Prepare directed = [=]() -> Run {
        const MirlImage in = noise(size, type);
        MirlImage out;
        return [=]() mutable { colorOperations::demosaicDFPD(in, out, MIRL_BAYER_RGGB, true); };
      };
      add({"demosaicDFPD " + typeName(type), size, 4 * bytesOf(type), directed,
           openCvDirected(size, type)});
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
