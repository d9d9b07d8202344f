#include "bench.h"
#include "open_cv.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

// Products of matrices.

namespace mirl::bench {
namespace {

using arithmeticLogical::matMul;
using arithmeticLogical::matMulTrans;

#if MIRL_BENCH_OPENCV
Prepare openCvProduct(const MirlSize& size, int flags) {
  return [=]() -> Run {
    const cv::Mat a = cvNoise(size, MIRL_32F_C1), b = cvNoise(size, MIRL_32F_C1);
    cv::Mat out(size.height, size.width, CV_32F);
    return [=]() mutable { cv::gemm(a, flags == 0 ? b : a, 1, cv::noArray(), 0, out, flags); };
  };
}
constexpr int kFirst = cv::GEMM_1_T, kSecond = cv::GEMM_2_T;
#else
Prepare openCvProduct(const MirlSize&, int) {
  return nullptr;
}
constexpr int kFirst = 1, kSecond = 2;
#endif

const bool registered = [] {
  for (const int side : {64, 1024, 2048}) {
    const MirlSize size(side, side);
    add({"matMul", size, 12,
         [=]() -> Run {
           const MirlImage a = noise(size, MIRL_32F_C1), b = noise(size, MIRL_32F_C1);
           MirlImage out(size, MIRL_32F_C1);
           return [=]() mutable { matMul(a, b, out); };
         },
         openCvProduct(size, 0)});
    for (const bool first : {true, false}) {
      add({first ? "matMulTrans first" : "matMulTrans second", size, 8,
           [=]() -> Run {
             const MirlImage a = noise(size, MIRL_32F_C1);
             MirlImage out(size, MIRL_32F_C1);
             return [=]() mutable { matMulTrans(a, out, first); };
           },
           openCvProduct(size, first ? kFirst : kSecond)});
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
