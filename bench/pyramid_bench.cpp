#include "bench.h"
#include "open_cv.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

// Pyramids of four levels, each half the one before it, with a window of 5 by 5. OpenCV blurs rows
// and then columns, bytes in fixed point; ours takes the whole window in float.

namespace mirl::bench {
namespace {

constexpr int kLevels = 4;
constexpr float kScale = 0.5f;
constexpr float kSigma = 1.2f;
constexpr MirlInterpolationType kLinear = MIRL_INTERPOLATION_LINEAR;

enum Filling { kPlain, kGaussian, kLaplacian };

#if MIRL_BENCH_OPENCV

Prepare openCvPyramid(Filling filling, const MirlSize& size, MirlType type) {
  return [=]() -> Run {
    const cv::Mat in = cvNoise(size, type);
    std::vector<cv::Mat> levels(kLevels);
    std::vector<cv::Mat> blurred(kLevels);
    cv::Mat half;
    return [=]() mutable {
      const auto zoom = [](const cv::Mat& from, cv::Mat& to, const cv::Size& its) {
        cv::resize(from, to, its, 0, 0, cv::INTER_LINEAR);
      };
      in.copyTo(levels[0]);
      for (std::size_t i = 0; i < kLevels; ++i) {
        const cv::Size next(in.cols >> (i + 1), in.rows >> (i + 1));
        const bool isLast = i + 1 == kLevels;
        if (isLast && filling != kLaplacian) break;
        cv::Mat& to = isLast ? half : levels[i + 1];
        if (filling == kPlain) {
          zoom(in, to, next);
          continue;
        }
        cv::GaussianBlur(levels[i], blurred[i], {5, 5}, static_cast<double>(kSigma), 0,
                         cv::BORDER_REPLICATE);
        zoom(blurred[i], to, next);
        if (filling == kGaussian) continue;
        zoom(to, blurred[i], levels[i].size());
        cv::subtract(levels[i], blurred[i], levels[i]);
      }
    };
  };
}

#else

Prepare openCvPyramid(Filling, const MirlSize&, MirlType) {
  return nullptr;
}

#endif

const bool registered = [] {
  constexpr const char* kNames[] = {"", " Gaussian", " Laplacian"};
  for (const auto& [width, height] : kSizes) {
    const MirlSize size(width, height);
    for (const MirlType type : {MIRL_8U_C1, MIRL_8U_C3, MIRL_32F_C1}) {
      for (const Filling filling : {kPlain, kGaussian, kLaplacian}) {
        const Prepare ours = [=]() -> Run {
          const MirlImage in = noise(size, type);
          MirlPyramid levels(size, type, kLevels, kScale);
          return [=]() mutable {
            if (filling == kPlain) {
              for (int i = 0; i < kLevels; ++i) geometryTransforms::resize(in, levels[i], kLinear);
            } else if (filling == kGaussian) {
              levels.createGaussian(in, kLevels, kScale, {5, 5}, kSigma, kLinear);
            } else {
              levels.createLaplacian(in, kLevels, kScale, {5, 5}, kSigma, kLinear);
            }
          };
        };
        add({std::string("MirlPyramid") + kNames[filling] + " " + typeName(type), size,
             (filling == kPlain ? 3 : 5) * bytesOf(type), ours,
             openCvPyramid(filling, size, type)});
      }
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
