#pragma once

// The same work through OpenCV and through the GPU vendor's primitives. Where one isn't built in,
// its peers are null and the table goes without them.

#include "bench.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif
#if MIRL_BENCH_NPP
#include <cuda_runtime_api.h>
#include <nppi_arithmetic_and_logical_operations.h>
#endif

namespace mirl::bench {

/// Bytes of a pixel.
inline double bytesOf(MirlType type) {
  int depth = 0;
  int channels = 0;
  typeToDepthAndChannels(type, depth, channels);
  return (depth < 0 ? -depth : depth) / 8.0 * channels;
}

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

#if MIRL_BENCH_NPP

/// The default stream of the current GPU, as the vendor's calls take it.
inline NppStreamContext nppContext() {
  NppStreamContext context{};
  cudaGetDevice(&context.nCudaDeviceId);
  cudaDeviceProp properties;
  cudaGetDeviceProperties(&properties, context.nCudaDeviceId);
  context.nMultiProcessorCount = properties.multiProcessorCount;
  context.nMaxThreadsPerMultiProcessor = properties.maxThreadsPerMultiProcessor;
  context.nMaxThreadsPerBlock = properties.maxThreadsPerBlock;
  context.nSharedMemPerBlock = properties.sharedMemPerBlock;
  context.nCudaDevAttrComputeCapabilityMajor = properties.major;
  context.nCudaDevAttrComputeCapabilityMinor = properties.minor;
  return context;
}

struct NppImage {
  Npp8u* data;
  int pitch;
};
using NppArithmetic = NppStatus (*)(NppImage a, NppImage b, NppImage out, NppiSize size,
                                    const NppStreamContext& context);

// In the vendor's subtract and divide the first operand stands second.
inline NppStatus nppAdd(NppImage a, NppImage b, NppImage out, NppiSize size,
                        const NppStreamContext& context) {
  return nppiAdd_8u_C1RSfs_Ctx(a.data, a.pitch, b.data, b.pitch, out.data, out.pitch, size, 0,
                               context);
}
inline NppStatus nppSubtract(NppImage a, NppImage b, NppImage out, NppiSize size,
                             const NppStreamContext& context) {
  return nppiSub_8u_C1RSfs_Ctx(b.data, b.pitch, a.data, a.pitch, out.data, out.pitch, size, 0,
                               context);
}
inline NppStatus nppMultiply(NppImage a, NppImage b, NppImage out, NppiSize size,
                             const NppStreamContext& context) {
  return nppiMul_8u_C1RSfs_Ctx(a.data, a.pitch, b.data, b.pitch, out.data, out.pitch, size, 0,
                               context);
}
inline NppStatus nppDivide(NppImage a, NppImage b, NppImage out, NppiSize size,
                           const NppStreamContext& context) {
  return nppiDiv_8u_C1RSfs_Ctx(b.data, b.pitch, a.data, a.pitch, out.data, out.pitch, size, 0,
                               context);
}
inline NppStatus nppAbsDiff(NppImage a, NppImage b, NppImage out, NppiSize size,
                            const NppStreamContext& context) {
  return nppiAbsDiff_8u_C1R_Ctx(a.data, a.pitch, b.data, b.pitch, out.data, out.pitch, size,
                                context);
}

inline Prepare nppPeer(NppArithmetic operation, const MirlSize& size) {
  return [=]() -> Run {
    const MirlImage a = noise(size, MIRL_8U_C1, 1);
    const MirlImage b = noise(size, MIRL_8U_C1, 2);
    const MirlImage out(size, MIRL_8U_C1);
    const NppStreamContext context = nppContext();
    const auto of = [](const MirlImage& image) {
      return NppImage{static_cast<Npp8u*>(image.ptr()), image.pitch()};
    };
    return [=] { operation(of(a), of(b), of(out), {size.width, size.height}, context); };
  };
}

#else

using NppArithmetic = std::nullptr_t;
inline constexpr NppArithmetic nppAdd = nullptr, nppSubtract = nullptr, nppMultiply = nullptr,
                               nppDivide = nullptr, nppAbsDiff = nullptr;
inline Prepare nppPeer(NppArithmetic, const MirlSize&) {
  return nullptr;
}

#endif

}  // namespace mirl::bench
