#include "bench.h"
#include "open_cv.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

// Pixels that go to other places, and margins.

namespace mirl::bench {
namespace {

using namespace geometryTransforms;

#if MIRL_BENCH_OPENCV

Prepare openCv(const MirlSize& size, MirlType type, void (*run)(const cv::Mat&, cv::Mat&)) {
  return [=]() -> Run {
    const cv::Mat in = cvNoise(size, type);
    cv::Mat out;
    return [=]() mutable { run(in, out); };
  };
}

Prepare openCvFlip(const MirlSize& size, MirlType type, MirlFlipType flip) {
  constexpr void (*kRuns[])(const cv::Mat&, cv::Mat&) = {
      [](const cv::Mat& in, cv::Mat& out) { cv::flip(in, out, 0); },
      [](const cv::Mat& in, cv::Mat& out) { cv::flip(in, out, 1); },
      [](const cv::Mat& in, cv::Mat& out) { cv::flip(in, out, -1); }};
  return openCv(size, type, kRuns[flip]);
}

Prepare openCvTranspose(const MirlSize& size, MirlType type) {
  return openCv(size, type, [](const cv::Mat& in, cv::Mat& out) { cv::transpose(in, out); });
}

Prepare openCvCrop(const MirlSize& size, MirlType type) {
  return openCv(size, type, [](const cv::Mat& in, cv::Mat& out) {
    in(cv::Rect(3, 3, in.cols - 6, in.rows - 6)).copyTo(out);
  });
}

#else

Prepare openCvFlip(const MirlSize&, MirlType, MirlFlipType) {
  return nullptr;
}
Prepare openCvTranspose(const MirlSize&, MirlType) {
  return nullptr;
}
Prepare openCvCrop(const MirlSize&, MirlType) {
  return nullptr;
}

#endif

struct Flip {
  const char* name;
  MirlFlipType type;
};
constexpr Flip kFlips[] = {
    {"rows", MIRL_FLIP_UD}, {"columns", MIRL_FLIP_LR}, {"both", MIRL_FLIP_BOTH}};

/// An operation from an image to one that is created by the first run.
template <class Operation>
void addCase(const std::string& name, const MirlSize& size, MirlType type,
             const Operation& operation, const Prepare& peer = nullptr) {
  const Prepare ours = [=]() -> Run {
    const MirlImage in = noise(size, type);
    MirlImage out;
    return [=]() mutable { operation(in, out); };
  };
  add({name + " " + typeName(type), size, 2 * bytesOf(type), ours, peer});
}

const bool registered = [] {
  for (const auto& [width, height] : kSizes) {
    const MirlSize size(width, height);
    for (const MirlType type :
         {MIRL_8U_C1, MIRL_8U_C3, MIRL_16U_C1, MIRL_16U_C3, MIRL_32F_C1, MIRL_32F_C3}) {
      for (const Flip& flip : kFlips) {
        addCase(
            std::string("flipImage ") + flip.name, size, type,
            [=](const MirlImage& in, MirlImage& out) { flipImage(in, out, flip.type); },
            openCvFlip(size, type, flip.type));
      }
      addCase(
          "transpose", size, type, [](const MirlImage& in, MirlImage& out) { transpose(in, out); },
          openCvTranspose(size, type));
    }
    for (const MirlType type : {MIRL_8U_C1, MIRL_8U_C3}) {
      addCase(
          "crop", size, type,
          [](const MirlImage& in, MirlImage& out) { crop(in, out, 3, 3, 3, 3); },
          openCvCrop(size, type));
      addCase("taper", size, type,
              [](const MirlImage& in, MirlImage& out) { taper(in, out, 64, 64, 64, 64); });
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
