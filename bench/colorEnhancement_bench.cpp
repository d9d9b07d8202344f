#include "bench.h"
#include "open_cv.h"

#include <mirl/colorEnhancement.h>

#if MIRL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace mirl::bench {
namespace {

using namespace colorOperations;

#if MIRL_BENCH_OPENCV

using OpenCv = void (*)(const cv::Mat& in, cv::Mat& out);

namespace open_cv {

void equalise(const cv::Mat& in, cv::Mat& out) {
  cv::equalizeHist(in, out);
}
void stretch(const cv::Mat& in, cv::Mat& out) {
  cv::normalize(in, out, 20, 200, cv::NORM_MINMAX);
}
void balance(const cv::Mat& in, cv::Mat& out) {
  const cv::Scalar means = cv::mean(in);
  const double first = means[1] / means[0] / 255 * 1.2, last = (means[1] - means[2]) / 255 * 1.2;
  cv::transform(
      in, out,
      cv::Matx33f(1, static_cast<float>(first), 0, 0, 1, 0, 0, static_cast<float>(last), 1));
}
constexpr std::nullptr_t none = nullptr;

}  // namespace open_cv

Prepare openCvOf(OpenCv peer, const MirlSize& size, MirlType type) {
  if (peer == nullptr) return nullptr;
  return [=]() -> Run {
    const cv::Mat in = cvNoise(size, type);
    cv::Mat out = in.clone();
    return [=]() mutable { peer(in, out); };
  };
}

#else

namespace open_cv {
constexpr std::nullptr_t equalise = {}, stretch = {}, balance = {}, none = {};
}
using OpenCv = std::nullptr_t;
Prepare openCvOf(OpenCv, const MirlSize&, MirlType) {
  return nullptr;
}

#endif

namespace ours {

void equalise(const MirlImage& in, MirlImage& out) {
  histEq(in, out);
}
void stretch(const MirlImage&, MirlImage& image) {
  static const MirlScalar none(0.0), all(1.0), low(20 / 255.0), high(200 / 255.0);
  adjust(image, none, all, low, high);
}
void balance(const MirlImage& in, MirlImage& out) {
  autoColor(in, out);
}

void clear(const MirlImage& in, MirlImage& out) {
  dehaze(in, out, 220, 225, 230);
}
void brighten(const MirlImage& in, MirlImage& out) {
  lowlight(in, out);
}

}  // namespace ours

struct Entry {
  const char* name;
  void (*run)(const MirlImage& in, MirlImage& out);
  OpenCv openCv;
  MirlType type;
  double passes = 3;  // images read or written: once to learn from one, then to change it
};

const bool registered = [] {
  const Entry entries[] = {
      {"histEq", ours::equalise, open_cv::equalise, MIRL_8U_C1},
      {"adjust", ours::stretch, open_cv::stretch, MIRL_8U_C1},
      {"adjust", ours::stretch, open_cv::none, MIRL_8U_C3},
      {"autoColor", ours::balance, open_cv::balance, MIRL_8U_C3},
      {"autoColor", ours::balance, open_cv::balance, MIRL_16U_C3},
      {"autoColor", ours::balance, open_cv::balance, MIRL_32F_C3},
      {"dehaze", ours::clear, open_cv::none, MIRL_8U_C3, 2},
      {"dehaze", ours::clear, open_cv::none, MIRL_16U_C3, 2},
      {"lowlight", ours::brighten, open_cv::none, MIRL_8U_C3, 2},
      {"lowlight", ours::brighten, open_cv::none, MIRL_16U_C3, 2},
  };
  for (const Entry& e : entries) {
    for (const auto& [width, height] : kSizes) {
      const MirlSize size(width, height);
      const auto prepare = [=]() -> Run {
        const MirlImage in = noise(size, e.type);
        MirlImage out = noise(size, e.type);
        return [=]() mutable { e.run(in, out); };
      };
      add({std::string(e.name) + " " + typeName(e.type), size, e.passes * bytesOf(e.type), prepare,
           openCvOf(e.openCv, size, e.type)});
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
