#include "bench.h"
#include "peers.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif
#if MIRL_BENCH_NPP
#include <nppi_color_conversion.h>
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

#if MIRL_BENCH_NPP

using Npp = NppStatus (*)(const Npp8u*, int, Npp8u*, int, NppiSize, NppStreamContext);
constexpr Npp kNppGray = nppiRGBToGray_8u_C3C1R_Ctx, kNppYuv = nppiRGBToYUV_8u_C3R_Ctx,
              kNppFromYuv = nppiYUVToRGB_8u_C3R_Ctx, kNppUyvy = nppiRGBToCbYCr422_8u_C3C2R_Ctx,
              kNppYcbcr = nppiRGBToYCbCr_8u_C3R_Ctx, kNppFromYcbcr = nppiYCbCrToRGB_8u_C3R_Ctx,
              kNppHsv = nppiRGBToHSV_8u_C3R_Ctx, kNppFromHsv = nppiHSVToRGB_8u_C3R_Ctx,
              kNppLab = nppiBGRToLab_8u_C3R_Ctx, kNppFromLab = nppiLabToBGR_8u_C3R_Ctx;

Prepare nppOf(const MirlSize& size, MirlType in, MirlType out, Npp call) {
  if (call == nullptr) return nullptr;
  return [=]() -> Run {
    const MirlImage from = noise(size, in);
    const MirlImage to(size, out);
    const NppStreamContext context = nppContext();
    return [=] {
      call(static_cast<const Npp8u*>(from.ptr()), from.pitch(), static_cast<Npp8u*>(to.ptr()),
           to.pitch(), {size.width, size.height}, context);
    };
  };
}

#else

using Npp = std::nullptr_t;
constexpr Npp kNppGray = nullptr, kNppYuv = nullptr, kNppFromYuv = nullptr, kNppUyvy = nullptr,
              kNppYcbcr = nullptr, kNppFromYcbcr = nullptr, kNppHsv = nullptr,
              kNppFromHsv = nullptr, kNppLab = nullptr, kNppFromLab = nullptr;
Prepare nppOf(const MirlSize&, MirlType, MirlType, Npp) {
  return nullptr;
}

#endif

MirlStatus weightedGray(const MirlImage& source, MirlImage& out, const MirlStream& stream) {
  return rgb2gray(source, out, MirlScalar(0.2126, 0.7152, 0.0722), stream);
}

struct Entry {
  const char* name;
  MirlStatus (*ours)(const MirlImage&, MirlImage&, const MirlStream&);
  MirlType in;
  MirlType out;
  Code openCv;
  Npp npp;
};

const bool registered = [] {
  const Entry entries[] = {
      {"rgb2gray", rgb2gray, MIRL_8U_C3, MIRL_8U_C1, COLOR_BGR2GRAY, kNppGray},
      {"rgb2gray", rgb2gray, MIRL_8U_C4, MIRL_8U_C1, COLOR_BGRA2GRAY, nullptr},
      {"rgb2gray", rgb2gray, MIRL_16U_C3, MIRL_16U_C1, COLOR_BGR2GRAY, nullptr},
      {"rgb2gray", rgb2gray, MIRL_32F_C3, MIRL_32F_C1, COLOR_BGR2GRAY, nullptr},
      {"rgb2gray by weights", weightedGray, MIRL_8U_C3, MIRL_8U_C1, kNoCode, nullptr},
      {"gray2rgb", gray2rgb, MIRL_8U_C1, MIRL_8U_C3, COLOR_GRAY2BGR, nullptr},
      {"gray2rgb", gray2rgb, MIRL_32F_C1, MIRL_32F_C3, COLOR_GRAY2BGR, nullptr},
      {"rgb2yuv", rgb2yuv, MIRL_8U_C3, MIRL_8U_C3, COLOR_BGR2YUV, kNppYuv},
      {"rgb2yuv", rgb2yuv, MIRL_16U_C3, MIRL_16U_C3, COLOR_BGR2YUV, nullptr},
      {"yuv2rgb", yuv2rgb, MIRL_8U_C3, MIRL_8U_C3, COLOR_YUV2BGR, kNppFromYuv},
      {"yuv2rgb", yuv2rgb, MIRL_16U_C3, MIRL_16U_C3, COLOR_YUV2BGR, nullptr},
      {"rgb2yuv422", rgb2yuv422, MIRL_8U_C3, MIRL_8U_C2, kNoCode, kNppUyvy},
      {"rgb2ycbcr", rgb2ycbcr, MIRL_8U_C3, MIRL_8U_C3, COLOR_BGR2YCrCb, kNppYcbcr},
      {"rgb2ycbcr", rgb2ycbcr, MIRL_16U_C3, MIRL_16U_C3, COLOR_BGR2YCrCb, nullptr},
      {"rgb2ycbcr", rgb2ycbcr, MIRL_32F_C3, MIRL_32F_C3, COLOR_BGR2YCrCb, nullptr},
      {"ycbcr2rgb", ycbcr2rgb, MIRL_8U_C3, MIRL_8U_C3, COLOR_YCrCb2BGR, kNppFromYcbcr},
      {"ycbcr2rgb", ycbcr2rgb, MIRL_32F_C3, MIRL_32F_C3, COLOR_YCrCb2BGR, nullptr},
      {"rgb2hsv", rgb2hsv, MIRL_8U_C3, MIRL_8U_C3, COLOR_BGR2HSV_FULL, kNppHsv},
      {"rgb2hsv", rgb2hsv, MIRL_32F_C3, MIRL_32F_C3, COLOR_BGR2HSV_FULL, nullptr},
      {"hsv2rgb", hsv2rgb, MIRL_8U_C3, MIRL_8U_C3, COLOR_HSV2BGR_FULL, kNppFromHsv},
      {"hsv2rgb", hsv2rgb, MIRL_32F_C3, MIRL_32F_C3, COLOR_HSV2BGR_FULL, nullptr},
      {"rgb2Lab", rgb2Lab, MIRL_8U_C3, MIRL_8U_C3, COLOR_BGR2Lab, kNppLab},
      {"rgb2Lab", rgb2Lab, MIRL_32F_C3, MIRL_32F_C3, COLOR_BGR2Lab, nullptr},
      {"Lab2rgb", Lab2rgb, MIRL_8U_C3, MIRL_8U_C3, COLOR_Lab2BGR, kNppFromLab},
      {"Lab2rgb", Lab2rgb, MIRL_32F_C3, MIRL_32F_C3, COLOR_Lab2BGR, nullptr},
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
           e.openCv == kNoCode ? nullptr : openCvOf(size, e.in, e.out, e.openCv),
           nppOf(size, e.in, e.out, e.npp)});
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
