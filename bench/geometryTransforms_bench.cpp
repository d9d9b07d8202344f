#include "bench.h"
#include "open_cv.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace mirl::bench {
namespace {

using geometryTransforms::resize;
using geometryTransforms::rotate;
using geometryTransforms::rotateNoCrop;
using geometryTransforms::warpAffine;
using geometryTransforms::warpPerspective;

struct Mode {
  const char* name;
  MirlInterpolationType type;
};
constexpr Mode kModes[] = {{"NN", MIRL_INTERPOLATION_NN},
                           {"linear", MIRL_INTERPOLATION_LINEAR},
                           {"cubic", MIRL_INTERPOLATION_CUBIC}};

MirlSize scaled(const MirlSize& size, double scale) {
  return {static_cast<int>(size.width * scale), static_cast<int>(size.height * scale)};
}

#if MIRL_BENCH_OPENCV

Prepare openCvResize(const MirlSize& from, const MirlSize& to, MirlType type, const Mode& mode) {
  const int flag = mode.type == MIRL_INTERPOLATION_NN       ? cv::INTER_NEAREST
                   : mode.type == MIRL_INTERPOLATION_LINEAR ? cv::INTER_LINEAR
                                                            : cv::INTER_CUBIC;
  return [=]() -> Run {
    const cv::Mat in = cvNoise(from, type);
    cv::Mat out(to.height, to.width, cvTypeOf(type));
    return [=]() mutable { cv::resize(in, out, out.size(), 0, 0, flag); };
  };
}

Prepare openCvRotate(const MirlSize& size, MirlType type, float angle) {
  return [=]() -> Run {
    const cv::Mat in = cvNoise(size, type);
    cv::Mat out(size.height, size.width, cvTypeOf(type));
    const cv::Point2f center(static_cast<float>(size.width / 2),
                             static_cast<float>(size.height / 2));
    const cv::Mat matrix = cv::getRotationMatrix2D(center, angle, 1.0);
    return [=]() mutable {
      cv::warpAffine(in, out, matrix, out.size(), cv::INTER_LINEAR, cv::BORDER_CONSTANT);
    };
  };
}

Prepare openCvWarp(const MirlSize& size, MirlType type, double (*lens)[3], bool perspective) {
  return [=]() -> Run {
    const cv::Mat in = cvNoise(size, type), matrix(perspective ? 3 : 2, 3, CV_64F, lens);
    cv::Mat out(size.height, size.width, cvTypeOf(type));
    return [=]() mutable {
      if (perspective) {
        cv::warpPerspective(in, out, matrix, out.size());
      } else {
        cv::warpAffine(in, out, matrix, out.size());
      }
    };
  };
}

#else

Prepare openCvWarp(const MirlSize&, MirlType, double (*)[3], bool) {
  return nullptr;
}
Prepare openCvResize(const MirlSize&, const MirlSize&, MirlType, const Mode&) {
  return nullptr;
}
Prepare openCvRotate(const MirlSize&, MirlType, float) {
  return nullptr;
}

#endif

void addResize(const MirlSize& from, double scale, MirlType type, const Mode& mode) {
  const MirlSize to = scaled(from, scale);
  char name[64];
  std::snprintf(name, sizeof name, "resize %s %s x%.2g", mode.name, typeName(type).c_str(), scale);
  // Shrinking reads no more rows and columns than take part.
  const double area = static_cast<double>(to.width) * to.height / from.width / from.height;
  const double taps = mode.type == MIRL_INTERPOLATION_NN ? 1 : 4;
  add({name, from, bytesOf(type) * (area + std::min(1.0, area * taps)),
       [=]() -> Run {
         const MirlImage in = noise(from, type);
         MirlImage out(to, type);
         return [=]() mutable { resize(in, out, mode.type); };
       },
       openCvResize(from, to, type, mode)});
}

void addRotate(const MirlSize& size, float angle, MirlType type) {
  const std::string what = typeName(type) + " " + std::to_string(static_cast<int>(angle)) + " deg";
  const MirlPoint2D<int> center(size.width / 2, size.height / 2);
  add({"rotate " + what, size, 2 * bytesOf(type),
       [=]() -> Run {
         const MirlImage in = noise(size, type);
         MirlImage out(size, type);
         return [=]() mutable { rotate(in, out, angle, center); };
       },
       openCvRotate(size, type, angle)});
}

void addWarps(const MirlSize& size, MirlType type) {
  const auto row = [&](const char* name, auto* warp, double(*lens)[3], bool perspective) {
    add({std::string(name) + " " + typeName(type), size, 2 * bytesOf(type),
         [=]() -> Run {
           const MirlImage in = noise(size, type);
           MirlImage out(size, type);
           return [=]() mutable { warp(in, out, lens, MirlStream()); };
         },
         openCvWarp(size, type, lens, perspective)});
  };
  row("warpAffine", warpAffine, kTurn, false);
  row("warpPerspective", warpPerspective, kPage, true);
}

const bool registered = [] {
  constexpr MirlType kTypes[] = {MIRL_8U_C1,  MIRL_8U_C3,  MIRL_16U_C1,
                                 MIRL_16U_C3, MIRL_32F_C1, MIRL_32F_C3};
  for (const auto& [width, height] : kSizes) {
    const MirlSize size(width, height);
    for (const MirlType type : kTypes) {
      for (const Mode& mode : kModes) {
        for (const double scale : {0.5, 0.7, 1.5}) addResize(size, scale, type, mode);
      }
      for (const float angle : {0.0f, 10.0f, 45.0f, 90.0f}) addRotate(size, angle, type);
      addWarps(size, type);
    }
    const MirlRect middle(width / 4, height / 4, width / 2, height / 2);
    add({"rotate rectangle 8u C3", size, 6.0, [=]() -> Run {
           const MirlImage in = noise(size, MIRL_8U_C3);
           MirlImage out(size, MIRL_8U_C3);
           const MirlPoint2D<int> center(middle.width / 2, middle.height / 2);
           return [=]() mutable { rotate(in, out, 10, center, middle); };
         }});
    add({"rotateNoCrop 8u C3", size, 6.0, [=]() -> Run {
           const MirlImage in = noise(size, MIRL_8U_C3);
           return [in, out = MirlImage()]() mutable { rotateNoCrop(in, out, 10); };
         }});
  }
  // Time by pixels, from small images to large ones.
  for (const int side : {64, 640, 2048, 8192, 16384}) {
    addResize({side, side}, 0.7, MIRL_8U_C1, kModes[1]);
    addRotate({side, side}, 10, MIRL_8U_C1);
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
