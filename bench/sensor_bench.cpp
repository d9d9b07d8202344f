#include "bench.h"
#include "open_cv.h"

#include <memory>

// Sensor corrections and packed video.

namespace mirl::bench {
namespace {

using namespace colorOperations;

constexpr int kMargin = 16;
constexpr float kColour[] = {10, 20, 30};

using Correction = void (*)(const MirlImage& in, MirlImage& out, const MirlImage& a,
                            const MirlImage& b);
constexpr Correction kFlatField = [](const MirlImage& in, MirlImage& out, const MirlImage& flat,
                                     const MirlImage& dark) {
  FPNCorrection(in, out, flat, dark, 200);
};
constexpr Correction kOffsets = [](const MirlImage& in, MirlImage& out, const MirlImage& offsets,
                                   const MirlImage&) { fpn(out, in, offsets); };
constexpr Correction kMask = [](const MirlImage& in, MirlImage& out, const MirlImage&,
                                const MirlImage&) {
  borderMask(in, out, kMargin, kMargin, kMargin, kMargin, kColour);
};

#if MIRL_BENCH_OPENCV

using OpenCv = void (*)(const cv::Mat& in, cv::Mat& out, const cv::Mat& a, const cv::Mat& b);
constexpr OpenCv kCvFlatField = [](const cv::Mat& in, cv::Mat& out, const cv::Mat& flat,
                                   const cv::Mat& dark) {
  static cv::Mat signal, range;
  cv::subtract(in, dark, signal, cv::noArray(), CV_32F);
  cv::subtract(flat, dark, range, cv::noArray(), CV_32F);
  cv::divide(signal, range, out, 200, out.depth());
};
constexpr OpenCv kCvOffsets = [](const cv::Mat& in, cv::Mat& out, const cv::Mat& offsets,
                                 const cv::Mat&) {
  const cv::Mat view(offsets.rows, offsets.cols, CV_8S, offsets.data, offsets.step[0]);
  cv::subtract(in, view, out, cv::noArray(), CV_8U);
};
constexpr OpenCv kCvMask = [](const cv::Mat& in, cv::Mat& out, const cv::Mat&, const cv::Mat&) {
  const cv::Rect inner(kMargin, kMargin, in.cols - 2 * kMargin, in.rows - 2 * kMargin);
  cv::copyMakeBorder(in(inner), out, kMargin, kMargin, kMargin, kMargin,
                     cv::BORDER_CONSTANT | cv::BORDER_ISOLATED, cv::Scalar(10, 20, 30));
};

Prepare openCvOf(const MirlSize& size, MirlType type, OpenCv call) {
  return [=]() -> Run {
    const cv::Mat in = cvNoise(size, type, 1), a = cvNoise(size, type, 2),
                  b = cvNoise(size, type, 3);
    cv::Mat out(size.height, size.width, cvTypeOf(type));
    return [=]() mutable { call(in, out, a, b); };
  };
}

#else

using OpenCv = std::nullptr_t;
constexpr OpenCv kCvFlatField = nullptr, kCvOffsets = nullptr, kCvMask = nullptr;
Prepare openCvOf(const MirlSize&, MirlType, OpenCv) {
  return nullptr;
}

#endif

/// A flat 4:2:2 or V210 image of some video, without padding.
MirlImage videoImage(const MirlSize& size, double bytesPerPixel) {
  const int pitch = static_cast<int>(size.width * bytesPerPixel);
  MirlImage image;
  image.create(pitch / 2, size.height, pitch, 16, 1);
  noise({pitch / 2, size.height}, MIRL_16U_C1)
      .copyTo(image, {0, 0}, {0, 0, pitch / 2, size.height});
  return image;
}

const bool registered = [] {
  const struct {
    const char* name;
    Correction ours;
    OpenCv openCv;
    MirlType type;
    int images;
  } corrections[] = {
      {"FPNCorrection", kFlatField, kCvFlatField, MIRL_8U_C1, 4},
      {"FPNCorrection", kFlatField, kCvFlatField, MIRL_16U_C1, 4},
      {"FPNCorrection", kFlatField, kCvFlatField, MIRL_16U_C3, 4},
      {"fpn", kOffsets, kCvOffsets, MIRL_8U_C1, 3},
      {"borderMask", kMask, kCvMask, MIRL_8U_C1, 2},
      {"borderMask", kMask, kCvMask, MIRL_8U_C3, 2},
      {"borderMask", kMask, kCvMask, MIRL_16U_C3, 2},
  };
  constexpr double kV210 = 8.0 / 3, kFlat = 4, kFull = 6;
  const struct {
    const char* name;
    MirlStatus (*ours)(const MirlImage&, MirlImage&, const MirlStream&);
    double in;
    double out;
  } videos[] = {{"V210TOYUV444", V210TOYUV444, kV210, kFull},
                {"YUV444TOV210", YUV444TOV210, kFull, kV210},
                {"YUV422TOV210", YUV422TOV210, kFlat, kV210}};
  for (const auto& [width, height] : kSizes) {
    const MirlSize size(width, height);
    for (const auto& c : corrections) {
      const Prepare ours = [=]() -> Run {
        const MirlImage in = noise(size, c.type, 1), a = noise(size, c.type, 2),
                        b = noise(size, c.type, 3);
        MirlImage out(size, c.type);
        return [=]() mutable { c.ours(in, out, a, b); };
      };
      add({std::string(c.name) + " " + typeName(c.type), size, c.images * bytesOf(c.type), ours,
           openCvOf(size, c.type, c.openCv)});
    }
    for (const auto& v : videos) {
      const auto image = [=](double bytes) {
        return bytes == kFull ? noise(size, MIRL_16U_C3) : videoImage(size, bytes);
      };
      const Prepare ours = [=]() -> Run {
        // Shared, since a copy of an image would have the device's pitch.
        const auto in = std::make_shared<MirlImage>(image(v.in));
        const auto out = std::make_shared<MirlImage>(image(v.out));
        return [=] { v.ours(*in, *out, MirlStream()); };
      };
      add({v.name, size, v.in + v.out, ours});
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
