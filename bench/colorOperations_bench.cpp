#include "bench.h"
#include "open_cv.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace mirl::bench {
namespace {

using namespace colorOperations;

#if MIRL_BENCH_OPENCV

using Code = cv::ColorConversionCodes;
using namespace cv;  // for the codes

Prepare openCvOf(const MirlSize& size, MirlType in, MirlType out, Code code) {
  return [=]() -> Run {
    cv::Mat from = cvNoise(size, in);
    if (from.depth() == CV_32F) from /= 255;
    cv::Mat to(size.height, size.width, cvTypeOf(out));
    return [=]() mutable { cv::cvtColor(from, to, code); };
  };
}

#else

enum Code {
  COLOR_BGR2GRAY,
  COLOR_BGRA2GRAY,
  COLOR_GRAY2BGR,
  COLOR_BGR2YUV,
  COLOR_YUV2BGR,
  COLOR_BGR2YCrCb,
  COLOR_YCrCb2BGR,
  COLOR_BGR2HSV_FULL,
  COLOR_HSV2BGR_FULL,
  COLOR_BGR2Lab,
  COLOR_Lab2BGR,
  COLOR_COLORCVT_MAX
};
Prepare openCvOf(const MirlSize&, MirlType, MirlType, Code) {
  return nullptr;
}

#endif

/// For conversions that OpenCV doesn't have.
constexpr Code kNoCode = COLOR_COLORCVT_MAX;

MirlStatus weightedGray(const MirlImage& source, MirlImage& out, const MirlStream& stream) {
  return rgb2gray(source, out, MirlScalar(0.2126, 0.7152, 0.0722), stream);
}

struct Entry {
  const char* name;
  MirlStatus (*ours)(const MirlImage&, MirlImage&, const MirlStream&);
  MirlType in;
  MirlType out;
  Code openCv;
};

const bool registered = [] {
  const Entry entries[] = {
      {"rgb2gray", rgb2gray, MIRL_8U_C3, MIRL_8U_C1, COLOR_BGR2GRAY},
      {"rgb2gray", rgb2gray, MIRL_8U_C4, MIRL_8U_C1, COLOR_BGRA2GRAY},
      {"rgb2gray", rgb2gray, MIRL_16U_C3, MIRL_16U_C1, COLOR_BGR2GRAY},
      {"rgb2gray", rgb2gray, MIRL_32F_C3, MIRL_32F_C1, COLOR_BGR2GRAY},
      {"rgb2gray by weights", weightedGray, MIRL_8U_C3, MIRL_8U_C1, kNoCode},
      {"gray2rgb", gray2rgb, MIRL_8U_C1, MIRL_8U_C3, COLOR_GRAY2BGR},
      {"gray2rgb", gray2rgb, MIRL_32F_C1, MIRL_32F_C3, COLOR_GRAY2BGR},
      {"rgb2yuv", rgb2yuv, MIRL_8U_C3, MIRL_8U_C3, COLOR_BGR2YUV},
      {"rgb2yuv", rgb2yuv, MIRL_16U_C3, MIRL_16U_C3, COLOR_BGR2YUV},
      {"yuv2rgb", yuv2rgb, MIRL_8U_C3, MIRL_8U_C3, COLOR_YUV2BGR},
      {"yuv2rgb", yuv2rgb, MIRL_16U_C3, MIRL_16U_C3, COLOR_YUV2BGR},
      {"rgb2yuv422", rgb2yuv422, MIRL_8U_C3, MIRL_8U_C2, kNoCode},
      {"rgb2ycbcr", rgb2ycbcr, MIRL_8U_C3, MIRL_8U_C3, COLOR_BGR2YCrCb},
      {"rgb2ycbcr", rgb2ycbcr, MIRL_16U_C3, MIRL_16U_C3, COLOR_BGR2YCrCb},
      {"rgb2ycbcr", rgb2ycbcr, MIRL_32F_C3, MIRL_32F_C3, COLOR_BGR2YCrCb},
      {"ycbcr2rgb", ycbcr2rgb, MIRL_8U_C3, MIRL_8U_C3, COLOR_YCrCb2BGR},
      {"ycbcr2rgb", ycbcr2rgb, MIRL_32F_C3, MIRL_32F_C3, COLOR_YCrCb2BGR},
      {"rgb2hsv", rgb2hsv, MIRL_8U_C3, MIRL_8U_C3, COLOR_BGR2HSV_FULL},
      {"rgb2hsv", rgb2hsv, MIRL_32F_C3, MIRL_32F_C3, COLOR_BGR2HSV_FULL},
      {"hsv2rgb", hsv2rgb, MIRL_8U_C3, MIRL_8U_C3, COLOR_HSV2BGR_FULL},
      {"hsv2rgb", hsv2rgb, MIRL_32F_C3, MIRL_32F_C3, COLOR_HSV2BGR_FULL},
      {"rgb2Lab", rgb2Lab, MIRL_8U_C3, MIRL_8U_C3, COLOR_BGR2Lab},
      {"rgb2Lab", rgb2Lab, MIRL_32F_C3, MIRL_32F_C3, COLOR_BGR2Lab},
      {"Lab2rgb", Lab2rgb, MIRL_8U_C3, MIRL_8U_C3, COLOR_Lab2BGR},
      {"Lab2rgb", Lab2rgb, MIRL_32F_C3, MIRL_32F_C3, COLOR_Lab2BGR},
  };
  for (const Entry& e : entries) {
    for (const auto& [width, height] : kSizes) {
      const MirlSize size(width, height);
      const Prepare ours = [=]() -> Run {
        MirlImage in = noise(size, e.in);
        // Floats from 0 to 1, which is what the conversions take.
        if (in.depth() == 32) dataExchange::convertScale(in, in, 1.0f / 255, 0.0f);
        MirlImage out(size, e.out);
        return [=]() mutable { e.ours(in, out, MirlStream()); };
      };
      add({std::string(e.name) + " " + typeName(e.in), size, bytesOf(e.in) + bytesOf(e.out), ours,
           e.openCv == kNoCode ? nullptr : openCvOf(size, e.in, e.out, e.openCv)});
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
