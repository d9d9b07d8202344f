#include "bench.h"
#include "open_cv.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/video/tracking.hpp>
#endif

#include <utility>
#include <vector>

namespace mirl::bench {
namespace {

using namespace computerVision;

/// A scene of soft noise, and the same a few pixels further.
std::pair<MirlImage, MirlImage> frames(const MirlSize& size) {
  MirlImage small = noise({size.width / 6, size.height / 6}, MIRL_8U_C1), a(size, MIRL_8U_C1);
  MirlImage b(size, MIRL_8U_C1);
  double motion[3][3] = {{1.01, 0.01, 3}, {-0.01, 0.99, 2}, {0, 0, 1}};
  geometryTransforms::resize(small, a, MIRL_INTERPOLATION_CUBIC);
  geometryTransforms::warpAffine(a, b, motion);
  return {a, b};
}

using Feature = MirlPointValue2D<float, float>;

/// 1,000 points on a grid.
std::vector<Feature> points1000(const MirlSize& size) {
  std::vector<Feature> points(1000);
  for (std::size_t i = 0; i < points.size(); ++i) {
    points[i].x = (static_cast<float>(i % 40) + 0.5f) * static_cast<float>(size.width) / 40;
    points[i].y = (static_cast<float>(i / 40) + 0.5f) * static_cast<float>(size.height) / 25;
  }
  return points;
}

#if MIRL_BENCH_OPENCV

cv::Mat cvOf(const MirlImage& image) {
  cv::Mat mat(image.height(), image.width(), CV_8U);
  image.download(mat.data, static_cast<int>(mat.step[0]));
  return mat;
}

Prepare farneback(const MirlSize& size) {
  return [=]() -> Run {
    const auto [a, b] = frames(size);
    const cv::Mat first = cvOf(a), second = cvOf(b);
    cv::Mat flow;
    return [=]() mutable {
      cv::calcOpticalFlowFarneback(first, second, flow, 0.5, 4, 7, 3, 5, 1.1, 0);
    };
  };
}

std::vector<cv::Point2f> cvPoints(const MirlSize& size) {
  std::vector<cv::Point2f> points;
  for (const Feature& feature : points1000(size)) points.emplace_back(feature.x, feature.y);
  return points;
}

Prepare cvTracker(const MirlSize& size) {
  return [=]() -> Run {
    const auto [a, b] = frames(size);
    const cv::Mat first = cvOf(a), second = cvOf(b);
    const std::vector<cv::Point2f> points = cvPoints(size);
    std::vector<cv::Point2f> moved;
    std::vector<unsigned char> status;
    return [=]() mutable {
      cv::calcOpticalFlowPyrLK(first, second, points, moved, status, cv::noArray(), {21, 21}, 3,
                               {cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 10, 0.01});
    };
  };
}

#else

Prepare cvTracker(const MirlSize&) {
  return nullptr;
}
Prepare farneback(const MirlSize&) {
  return nullptr;
}

#endif

const bool registered = [] {
  for (const auto& [width, height] : kSizes) {
    const MirlSize size(width, height);
    add({"trackFeatures 1000 of 21x21", size, 2,
         [=]() -> Run {
           const auto [a, b] = frames(size);
           std::vector<Feature> points = points1000(size);
           return [=]() mutable {
             Feature* moved = nullptr;
             trackFeatures(a, b, points.data(), moved, 1000, {3, {21, 21}});
             delete[] moved;
           };
         },
         cvTracker(size)});
    add({"opticalFlowHS 100 steps", size, 10, [=]() -> Run {
           const MirlImage a = noise(size, MIRL_8U_C1, 1), b = noise(size, MIRL_8U_C1, 2);
           std::vector<float> x(static_cast<std::size_t>(size.width) *
                                static_cast<std::size_t>(size.height)),
               y = x;
           return [=]() mutable { opticalFlowHS(a, b, x.data(), y.data(), false, 15.0f, 100); };
         }});
    add({"opticalFlowPyrLKDense", size, 10,
         [=]() -> Run {
           const auto [a, b] = frames(size);
           std::vector<float> x(static_cast<std::size_t>(size.width) *
                                static_cast<std::size_t>(size.height)),
               y = x;
           return [=]() mutable { opticalFlowPyrLKDense(a, b, x.data(), y.data(), {}); };
         },
         farneback(size)});
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
