#include "bench.h"
#include "open_cv.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

#include <array>
#include <cstddef>

namespace mirl::bench {
namespace {

namespace ours {

void min(const MirlImage& in) {
  MirlScalar result;
  imageStatistics::min(in, result);
}
void max(const MirlImage& in) {
  MirlScalar result;
  imageStatistics::max(in, result);
}
void minMax(const MirlImage& in) {
  MirlScalar minimum, maximum;
  imageStatistics::minMax(in, minimum, maximum);
}
void sum(const MirlImage& in) {
  MirlScalar result;
  imageStatistics::sum(in, result);
}
void mean(const MirlImage& in) {
  MirlScalar result;
  imageStatistics::mean(in, result);
}
void meanStdDev(const MirlImage& in) {
  MirlScalar mean, deviation;
  imageStatistics::meanStdDev(in, mean, deviation);
}
void countInRange(const MirlImage& in) {
  MirlScalar counts;
  imageStatistics::countInRange(in, counts, 50.0, 200.0);
}
void calcHist(const MirlImage& in) {
  MirlHistogram histogram;
  imageStatistics::calcHist(in, histogram);
}

}  // namespace ours

#if MIRL_BENCH_OPENCV

namespace open_cv {

/// The extremes of each channel: by rows and then of those, as there is no call for several.
void reduceTwice(const cv::Mat& in, int what) {
  cv::Mat row, pixel;
  cv::reduce(in, row, 0, what);
  cv::reduce(row, pixel, 1, what);
}
void minMax(const cv::Mat& in) {
  if (in.channels() == 1) {
    double minimum = 0;
    double maximum = 0;
    cv::minMaxIdx(in, &minimum, &maximum);
  } else {
    reduceTwice(in, cv::REDUCE_MIN);
    reduceTwice(in, cv::REDUCE_MAX);
  }
}
void min(const cv::Mat& in) {
  in.channels() == 1 ? minMax(in) : reduceTwice(in, cv::REDUCE_MIN);
}
void max(const cv::Mat& in) {
  in.channels() == 1 ? minMax(in) : reduceTwice(in, cv::REDUCE_MAX);
}
void sum(const cv::Mat& in) {
  cv::sum(in);
}
void mean(const cv::Mat& in) {
  cv::mean(in);
}
void meanStdDev(const cv::Mat& in) {
  cv::Scalar mean, deviation;
  cv::meanStdDev(in, mean, deviation);
}
/// It counts pixels of which all channels are in range.
void countInRange(const cv::Mat& in) {
  cv::Mat mask;
  cv::inRange(in, cv::Scalar::all(50), cv::Scalar::all(200), mask);
  cv::countNonZero(mask);
}
void calcHist(const cv::Mat& in) {
  const int bins = 256;
  const float range[] = {0, 256};
  const float* ranges = range;
  for (int c = 0; c < in.channels(); ++c) {
    cv::Mat histogram;
    cv::calcHist(&in, 1, &c, cv::Mat(), histogram, 1, &bins, &ranges);
  }
}

}  // namespace open_cv

using OpenCv = void (*)(const cv::Mat&);
Prepare openCvOf(OpenCv peer, const MirlSize& size, MirlType type) {
  return [=]() -> Run {
    const cv::Mat in = cvNoise(size, type);
    return [=] { peer(in); };
  };
}

#else

namespace open_cv {
constexpr std::nullptr_t min = {}, max = {}, minMax = {}, sum = {}, mean = {}, meanStdDev = {},
                         countInRange = {}, calcHist = {};
}
using OpenCv = std::nullptr_t;
Prepare openCvOf(OpenCv, const MirlSize&, MirlType) {
  return nullptr;
}

#endif

struct Entry {
  const char* name;
  void (*run)(const MirlImage&);
  OpenCv openCv;
  bool word;  // whether it serves 16-bit
  bool floats;
};

const bool registered = [] {
  const Entry entries[] = {
      {"min", ours::min, open_cv::min, true, true},
      {"max", ours::max, open_cv::max, true, true},
      {"minMax", ours::minMax, open_cv::minMax, true, true},
      {"sum", ours::sum, open_cv::sum, true, true},
      {"mean", ours::mean, open_cv::mean, true, true},
      {"meanStdDev", ours::meanStdDev, open_cv::meanStdDev, false, false},
      {"countInRange", ours::countInRange, open_cv::countInRange, false, true},
      {"calcHist", ours::calcHist, open_cv::calcHist, false, false},
  };
  for (const Entry& entry : entries) {
    for (const MirlType type : {MIRL_8U_C1, MIRL_8U_C3, MIRL_16U_C1, MIRL_32F_C1, MIRL_32F_C3}) {
      if (type == MIRL_16U_C1 && !entry.word) continue;
      if (type >= MIRL_32F_C1 && !entry.floats) continue;
      for (const auto& [width, height] : kSizes) {
        const MirlSize size(width, height);
        const auto prepare = [run = entry.run, size, type]() -> Run {
          const MirlImage in = noise(size, type);
          return [=] { run(in); };
        };
        add({std::string(entry.name) + " " + typeName(type), size, bytesOf(type), prepare,
             openCvOf(entry.openCv, size, type)});
      }
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
