#include "bench.h"
#include "open_cv.h"

#if MIRL_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

#include <cmath>
#include <vector>

namespace mirl::bench {
namespace {

using namespace colorOperations;

#if MIRL_BENCH_OPENCV

namespace open_cv {

using Images = std::vector<cv::Mat>;

void gamma(const Images& in, Images& out) {
  cv::Mat table(1, 256, CV_8U);
  for (int i = 0; i < 256; ++i) {
    table.at<uchar>(i) = cv::saturate_cast<uchar>(std::pow(i / 255.0, 1 / 2.2) * 255);
  }
  cv::LUT(in[0], table, out[0]);
}
void table(const Images& in, Images& out) {
  const cv::Mat entries(1, 256, CV_8U, in[0].data);
  cv::LUT(in[0], entries, out[0]);
}
void tables(const Images& in, Images& out) {
  const cv::Mat entries(1, 256, CV_8UC3, in[0].data);
  cv::LUT(in[0], entries, out[0]);
}
void logarithm(const Images& in, Images& out) {
  in[0].convertTo(out[0], CV_32F, 1, 1);
  cv::log(out[0], out[0]);
  cv::multiply(out[0], 2.0, out[0]);
}
void binary(const Images& in, Images& out) {
  if (in[0].channels() == 1) {
    cv::threshold(in[0], out[0], 126, 255, cv::THRESH_BINARY);
  } else {
    cv::Mat gray;
    cv::cvtColor(in[0], gray, cv::COLOR_BGR2GRAY);
    cv::threshold(gray, out[0], 126, 255, cv::THRESH_BINARY);
  }
}
void split(const Images& in, Images& out) {
  cv::split(in[0], out);
}
void merge(const Images& in, Images& out) {
  cv::merge(in, out[0]);
}
void mix(const Images& in, Images& out) {
  static const cv::Mat matrix =
      (cv::Mat_<float>(3, 4) << 0.9, 0.2, -0.1, 3, 0.1, 0.8, 0.1, -5, 0, 0.3, 0.7, 0);
  cv::transform(in[0], out[0], matrix);
}
constexpr std::nullptr_t none = nullptr;

}  // namespace open_cv

using OpenCv = void (*)(const open_cv::Images&, open_cv::Images&);

Prepare openCvOf(OpenCv peer, const MirlSize& size, MirlType in, int inputs, MirlType out,
                 std::size_t outputs) {
  if (peer == nullptr) return nullptr;
  return [=]() -> Run {
    open_cv::Images from, to(outputs);
    for (int i = 0; i < inputs; ++i) from.push_back(cvNoise(size, in, static_cast<unsigned>(i)));
    for (cv::Mat& mat : to) mat.create(size.height, size.width, cvTypeOf(out));
    return [=]() mutable { peer(from, to); };
  };
}

#else

namespace open_cv {
constexpr std::nullptr_t gamma = {}, table = {}, tables = {}, logarithm = {}, binary = {},
                         split = {}, merge = {}, mix = {}, none = {};
}
using OpenCv = std::nullptr_t;
Prepare openCvOf(OpenCv, const MirlSize&, MirlType, int, MirlType, std::size_t) {
  return nullptr;
}

#endif

using Images = std::vector<MirlImage>;

namespace ours {

void gamma(const Images& in, Images& out) {
  gammaCorrect(in[0], out[0], 2.2f);
}
/// The last input is the table.
void table(const Images& in, Images& out) {
  LUT(in[0], in[1], out[0]);
}
void hostTables(const Images& in, Images& out) {
  static std::vector<unsigned short> entries(1 << 16, 100);
  blackGammaLUT(in[0], out[0], entries.data(), entries.data(), entries.data());
}
void logarithm(const Images& in, Images& out) {
  logTransform(in[0], out[0], 2);
}
void binary(const Images& in, Images& out) {
  imageBinary(in[0], out[0], 0.5f);
}
void split(const Images& in, Images& out) {
  channelSplit(in[0], out[2], out[1], out[0]);
}
void merge(const Images& in, Images& out) {
  channelMerge(in[2], in[1], in[0], out[0]);
}
void mix(const Images& in, Images& out) {
  float matrix[] = {0.9f, 0.2f, -0.1f, 3, 0.1f, 0.8f, 0.1f, -5, 0, 0.3f, 0.7f, 0};
  channelMix(in[0], out[0], matrix);
}
void pick(const Images& in, Images& out) {
  colorPick(in[0], out[0], MIRL_COLOR_RED, 20);
}

}  // namespace ours

struct Entry {
  const char* name;
  void (*run)(const Images&, Images&);
  OpenCv openCv;
  MirlType in;
  MirlType out;
  int inputs = 1;
  int outputs = 1;
  MirlSize table = {};  ///< of a further input
};

const bool registered = [] {
  const Entry entries[] = {
      {"gammaCorrect", ours::gamma, open_cv::gamma, MIRL_8U_C1, MIRL_8U_C1},
      {"gammaCorrect", ours::gamma, open_cv::gamma, MIRL_8U_C3, MIRL_8U_C3},
      {"LUT", ours::table, open_cv::table, MIRL_8U_C1, MIRL_8U_C1, 1, 1, {256, 1}},
      {"LUT", ours::table, open_cv::tables, MIRL_8U_C3, MIRL_8U_C3, 1, 1, {768, 1}},
      {"blackGammaLUT", ours::hostTables, open_cv::tables, MIRL_8U_C3, MIRL_8U_C3},
      {"blackGammaLUT", ours::hostTables, open_cv::none, MIRL_16U_C3, MIRL_16U_C3},
      {"logTransform", ours::logarithm, open_cv::logarithm, MIRL_8U_C1, MIRL_32F_C1},
      {"logTransform", ours::logarithm, open_cv::logarithm, MIRL_16U_C1, MIRL_32F_C1},
      {"logTransform", ours::logarithm, open_cv::logarithm, MIRL_32F_C1, MIRL_32F_C1},
      {"imageBinary", ours::binary, open_cv::binary, MIRL_8U_C1, MIRL_8U_C1},
      {"imageBinary", ours::binary, open_cv::binary, MIRL_8U_C3, MIRL_8U_C1},
      {"channelSplit", ours::split, open_cv::split, MIRL_8U_C3, MIRL_8U_C1, 1, 3},
      {"channelSplit", ours::split, open_cv::split, MIRL_16U_C3, MIRL_16U_C1, 1, 3},
      {"channelSplit", ours::split, open_cv::split, MIRL_32F_C3, MIRL_32F_C1, 1, 3},
      {"channelMerge", ours::merge, open_cv::merge, MIRL_8U_C1, MIRL_8U_C3, 3},
      {"channelMerge", ours::merge, open_cv::merge, MIRL_16U_C1, MIRL_16U_C3, 3},
      {"channelMerge", ours::merge, open_cv::merge, MIRL_32F_C1, MIRL_32F_C3, 3},
      {"channelMix", ours::mix, open_cv::mix, MIRL_8U_C3, MIRL_8U_C3},
      {"channelMix", ours::mix, open_cv::mix, MIRL_16U_C3, MIRL_16U_C3},
      {"channelMix", ours::mix, open_cv::mix, MIRL_32F_C3, MIRL_32F_C3},
      {"colorPick", ours::pick, open_cv::none, MIRL_8U_C3, MIRL_8U_C3},
  };
  for (const Entry& e : entries) {
    for (const auto& [width, height] : kSizes) {
      const MirlSize size(width, height);
      const auto prepare = [=]() -> Run {
        Images in, out;
        for (int i = 0; i < e.inputs; ++i) {
          in.push_back(noise(size, e.in, static_cast<unsigned>(i)));
        }
        if (e.table.width > 0) in.push_back(noise(e.table, e.in));
        for (int i = 0; i < e.outputs; ++i) out.emplace_back(size, e.out);
        return [=]() mutable { e.run(in, out); };
      };
      add({std::string(e.name) + " " + typeName(e.in), size,
           e.inputs * bytesOf(e.in) + e.outputs * bytesOf(e.out), prepare,
           openCvOf(e.openCv, size, e.in, e.inputs, e.out, static_cast<std::size_t>(e.outputs))});
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
