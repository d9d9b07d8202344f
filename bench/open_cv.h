#pragma once

// The same work through OpenCV. Where it isn't built in, its peers are null and the table goes
// without them.

#include "bench.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace mirl::bench {

#if MIRL_BENCH_OPENCV

inline int cvTypeOf(MirlType type) {
  int depth = 0;
  int channels = 0;
  typeToDepthAndChannels(type, depth, channels);
  return CV_MAKETYPE(depth == 8 ? CV_8U : depth == 16 ? CV_16U : CV_32F, channels);
}

inline cv::Mat cvNoise(const MirlSize& size, MirlType type, unsigned seed = 1) {
  const MirlImage image = noise(size, type, seed);
  cv::Mat mat(size.height, size.width, cvTypeOf(type));
  image.download(mat.data, static_cast<int>(mat.step[0]));
  return mat;
}

using OpenCvArithmetic = void (*)(const cv::Mat&, const cv::Mat&, cv::Mat&, int depth);

inline void openCvAdd(const cv::Mat& a, const cv::Mat& b, cv::Mat& out, int depth) {
  cv::add(a, b, out, cv::noArray(), depth);
}
inline void openCvSubtract(const cv::Mat& a, const cv::Mat& b, cv::Mat& out, int depth) {
  cv::subtract(a, b, out, cv::noArray(), depth);
}
inline void openCvMultiply(const cv::Mat& a, const cv::Mat& b, cv::Mat& out, int depth) {
  cv::multiply(a, b, out, 1.0, depth);
}
inline void openCvDivide(const cv::Mat& a, const cv::Mat& b, cv::Mat& out, int depth) {
  cv::divide(a, b, out, 1.0, depth);
}
inline void openCvAbsDiff(const cv::Mat& a, const cv::Mat& b, cv::Mat& out, int) {
  cv::absdiff(a, b, out);
}

inline Prepare openCvPeer(OpenCvArithmetic operation, const MirlSize& size, MirlType in,
                          MirlType out) {
  if (operation == openCvAbsDiff && in != out) return nullptr;  // it has no mixed form
  return [=]() -> Run {
    const cv::Mat a = cvNoise(size, in, 1);
    const cv::Mat b = cvNoise(size, in, 2);
    cv::Mat result(size.height, size.width, cvTypeOf(out));
    return [=]() mutable { operation(a, b, result, result.depth()); };
  };
}

inline Prepare openCvConvertPeer(const MirlSize& size, MirlType in, MirlType out) {
  return [=]() -> Run {
    const cv::Mat from = cvNoise(size, in);
    cv::Mat to(size.height, size.width, cvTypeOf(out));
    return [=]() mutable { from.convertTo(to, to.type(), 0.75, 3.0); };
  };
}

#else

using OpenCvArithmetic = std::nullptr_t;
inline constexpr OpenCvArithmetic openCvAdd = nullptr, openCvSubtract = nullptr,
                                  openCvMultiply = nullptr, openCvDivide = nullptr,
                                  openCvAbsDiff = nullptr;
inline Prepare openCvPeer(OpenCvArithmetic, const MirlSize&, MirlType, MirlType) {
  return nullptr;
}
inline Prepare openCvConvertPeer(const MirlSize&, MirlType, MirlType) {
  return nullptr;
}

#endif

}  // namespace mirl::bench
