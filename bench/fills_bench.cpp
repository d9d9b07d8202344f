#include "bench.h"
#include "open_cv.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace mirl::bench {
namespace {

using namespace dataExchange;

constexpr int kPad = 16;
constexpr float kColour[] = {10, 20, 30};

using Operation = void (*)(const MirlImage& in, MirlImage& out);

/// Fills work in place and leave the input alone.
constexpr Operation kSet = [](const MirlImage&, MirlImage& out) {
  out.set(MirlScalar(10, 20, 30));
};
constexpr Operation kSetChannel = [](const MirlImage&, MirlImage& out) { out.set(1, 20.0); };
constexpr Operation kRectangle = [](const MirlImage&, MirlImage& out) {
  rectangle(out, {1, 1, out.width() - 2, out.height() - 2}, MirlScalar(10, 20, 30));
};
constexpr Operation kRandom = [](const MirlImage&, MirlImage& out) { generateRandomImage(out); };
constexpr Operation kGet = [](const MirlImage& in, MirlImage& out) { getChannel(in, out, 1); };
constexpr Operation kPadding = [](const MirlImage& in, MirlImage& out) {
  padImage(in, out, kPad, kPad, kPad, kPad, kColour);
};
constexpr Operation kThreshold = [](const MirlImage& in, MirlImage& out) {
  threshold(in, out, 50, 200);
};

#if MIRL_BENCH_OPENCV

using OpenCv = void (*)(const cv::Mat& in, cv::Mat& out);
constexpr OpenCv kCvSet = [](const cv::Mat&, cv::Mat& out) { out.setTo(cv::Scalar(10, 20, 30)); };
constexpr OpenCv kCvSetChannel = [](const cv::Mat& in, cv::Mat& out) {
  cv::insertChannel(in, out, 1);
};
constexpr OpenCv kCvRectangle = [](const cv::Mat&, cv::Mat& out) {
  cv::rectangle(out, {1, 1, out.cols - 2, out.rows - 2}, cv::Scalar(10, 20, 30), cv::FILLED);
};
constexpr OpenCv kCvRandom = [](const cv::Mat&, cv::Mat& out) { cv::randu(out, 0, 1); };
constexpr OpenCv kCvGet = [](const cv::Mat& in, cv::Mat& out) { cv::extractChannel(in, out, 1); };
constexpr OpenCv kCvPadding = [](const cv::Mat& in, cv::Mat& out) {
  cv::copyMakeBorder(in, out, kPad, kPad, kPad, kPad, cv::BORDER_CONSTANT, cv::Scalar(10, 20, 30));
};
constexpr OpenCv kCvThreshold = [](const cv::Mat& in, cv::Mat& out) {
  cv::max(in, cv::Scalar::all(50), out);
  cv::min(out, cv::Scalar::all(200), out);
};

Prepare openCvOf(const MirlSize& size, MirlType in, const MirlSize& outSize, MirlType out,
                 OpenCv call) {
  return [=]() -> Run {
    const cv::Mat from = cvNoise(size, in);
    cv::Mat to = cvNoise(outSize, out);
    return [=]() mutable { call(from, to); };
  };
}

#else

using OpenCv = std::nullptr_t;
constexpr OpenCv kCvSet = nullptr, kCvSetChannel = nullptr, kCvRectangle = nullptr,
                 kCvRandom = nullptr, kCvGet = nullptr, kCvPadding = nullptr,
                 kCvThreshold = nullptr;
Prepare openCvOf(const MirlSize&, MirlType, const MirlSize&, MirlType, OpenCv) {
  return nullptr;
}

#endif

struct Entry {
  const char* name;
  Operation ours;
  OpenCv openCv;
  MirlType in;
  MirlType out;
  double bytesPerPixel;
  int pad = 0;
};

const bool registered = [] {
  constexpr MirlType k8 = MIRL_8U_C1, k8c = MIRL_8U_C3, k16 = MIRL_16U_C1, k16c = MIRL_16U_C3,
                     k32 = MIRL_32F_C1, k32c = MIRL_32F_C3;
  const Entry entries[] = {
      {"set", kSet, kCvSet, k8, k8, 1},
      {"set", kSet, kCvSet, k8c, k8c, 3},
      {"set", kSet, kCvSet, k16, k16, 2},
      {"set", kSet, kCvSet, k32, k32, 4},
      {"set", kSet, kCvSet, k32c, k32c, 12},
      {"set a channel", kSetChannel, kCvSetChannel, k8, k8c, 6},
      {"set a channel", kSetChannel, kCvSetChannel, k32, k32c, 24},
      {"rectangle", kRectangle, kCvRectangle, k8, k8, 1},
      {"rectangle", kRectangle, kCvRectangle, k8c, k8c, 3},
      {"generateRandomImage", kRandom, kCvRandom, k32, k32, 4},
      {"getChannel", kGet, kCvGet, k8c, k8, 4},
      {"getChannel", kGet, kCvGet, MIRL_8U_C4, k8, 5},
      {"getChannel", kGet, kCvGet, k32c, k32, 16},
      {"padImage", kPadding, kCvPadding, k8, k8, 2, kPad},
      {"padImage", kPadding, kCvPadding, k8c, k8c, 6, kPad},
      {"padImage", kPadding, kCvPadding, k16c, k16c, 12, kPad},
      {"threshold", kThreshold, kCvThreshold, k8, k8, 2},
      {"threshold", kThreshold, kCvThreshold, k8c, k8c, 6},
      {"threshold", kThreshold, kCvThreshold, k16, k16, 4},
  };
  for (const Entry& e : entries) {
    for (const auto& [width, height] : kSizes) {
      const MirlSize size(width, height), outSize(width + 2 * e.pad, height + 2 * e.pad);
      const Prepare ours = [=]() -> Run {
        const MirlImage in = noise(size, e.in);
        MirlImage out = noise(outSize, e.out);
        return [=]() mutable { e.ours(in, out); };
      };
      add({std::string(e.name) + " " + typeName(e.name == std::string("getChannel") ? e.in : e.out),
           size, e.bytesPerPixel, ours, openCvOf(size, e.in, outSize, e.out, e.openCv)});
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
