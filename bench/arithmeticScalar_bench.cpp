// Images with numbers, functions of one image, logic.

#include "bench.h"
#include "open_cv.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace mirl::bench {
namespace {

namespace ops = arithmeticLogical;

const MirlScalar kThree(10.0, -20.0, 30.5);

struct Types {
  MirlType in;
  MirlType out;
};

/// An operation on an image, and on itself where it takes two.
struct Entry {
  std::string name;
  std::function<void(const MirlImage&, MirlImage&)> run;
  std::vector<Types> types;
};

const std::vector<Types> kArithmetic = {{MIRL_8U_C1, MIRL_8U_C1},
                                        {MIRL_8U_C3, MIRL_8U_C3},
                                        {MIRL_8U_C1, MIRL_32F_C1},
                                        {MIRL_16U_C1, MIRL_16U_C1},
                                        {MIRL_32F_C1, MIRL_32F_C1}};
const std::vector<Types> kColour = {{MIRL_8U_C3, MIRL_8U_C3},
                                    {MIRL_16U_C3, MIRL_16U_C3},
                                    {MIRL_8U_C3, MIRL_32F_C3},
                                    {MIRL_32F_C3, MIRL_32F_C3}};
const std::vector<Types> kToFloat = {{MIRL_32F_C1, MIRL_32F_C1}, {MIRL_8U_C1, MIRL_32F_C1}};
const std::vector<Types> kFloat = {{MIRL_32F_C1, MIRL_32F_C1}};
const std::vector<Types> kLogic = {{MIRL_8U_C1, MIRL_8U_C1}, {MIRL_16U_C1, MIRL_16U_C1}};

std::vector<Entry> entries() {
  return {
      {"add constant", [](auto& in, auto& out) { ops::add(in, 30.0, out); }, kArithmetic},
      {"add scalar", [](auto& in, auto& out) { ops::add(in, kThree, out); }, kColour},
      {"subtract from constant", [](auto& in, auto& out) { ops::subtract(255.0, in, out); },
       kArithmetic},
      {"multiply constant", [](auto& in, auto& out) { ops::multiply(in, 0.7, out); }, kArithmetic},
      {"multiply scalar", [](auto& in, auto& out) { ops::multiply(in, kThree, out); }, kColour},
      {"divide constant", [](auto& in, auto& out) { ops::divide(1000.0, in, out); }, kArithmetic},
      {"pow 2", [](auto& in, auto& out) { ops::pow(in, 2.0, out); }, kToFloat},
      {"pow 2.2", [](auto& in, auto& out) { ops::pow(in, 2.2, out); }, kToFloat},
      {"exp", [](auto& in, auto& out) { ops::exp(in, out); }, kToFloat},
      {"sqrt", [](auto& in, auto& out) { ops::sqrt(in, out); }, kToFloat},
      {"cbrt", [](auto& in, auto& out) { ops::cbrt(in, out); }, kToFloat},
      {"abs", [](auto& in, auto& out) { ops::abs(in, out); }, kFloat},
      {"round", [](auto& in, auto& out) { ops::round(in, out); }, kFloat},
      {"AND", [](auto& in, auto& out) { ops::AND(in, in, out); }, kLogic},
      {"XOR constant", [](auto& in, auto& out) { ops::XOR(in, 0x55, out); }, kLogic},
      {"SHL", [](auto& in, auto& out) { ops::SHL(in, 1, out); }, kLogic},
      {"NOT", [](auto& in, auto& out) { ops::NOT(in, out); }, kLogic},
  };
}

#if MIRL_BENCH_OPENCV

using OpenCv = std::function<void(const cv::Mat&, cv::Mat&)>;

/// Exponentials and powers it has of floats alone.
Prepare openCvOf(const std::string& name, const MirlSize& size, const Types& types) {
  static const cv::Scalar three(kThree[0], kThree[1], kThree[2]);
  static const std::map<std::string, OpenCv> mixed = {
      {"add constant",
       [](auto& in, auto& out) { cv::add(in, cv::Scalar::all(30), out, {}, out.depth()); }},
      {"add scalar", [](auto& in, auto& out) { cv::add(in, three, out, {}, out.depth()); }},
      {"subtract from constant",
       [](auto& in, auto& out) { cv::subtract(cv::Scalar::all(255), in, out, {}, out.depth()); }},
      {"multiply constant", [](auto& in, auto& out) { in.convertTo(out, out.type(), 0.7); }},
      {"multiply scalar",
       [](auto& in, auto& out) { cv::multiply(in, three, out, 1, out.depth()); }},
      {"divide constant", [](auto& in, auto& out) { cv::divide(1000.0, in, out, out.depth()); }},
      {"AND", [](auto& in, auto& out) { cv::bitwise_and(in, in, out); }},
      {"XOR constant",
       [](auto& in, auto& out) { cv::bitwise_xor(in, cv::Scalar::all(0x55), out); }},
      {"NOT", [](auto& in, auto& out) { cv::bitwise_not(in, out); }}};
  static const std::map<std::string, OpenCv> ofFloat = {
      {"pow 2", [](auto& in, auto& out) { cv::pow(in, 2, out); }},
      {"pow 2.2", [](auto& in, auto& out) { cv::pow(in, 2.2, out); }},
      {"exp", [](auto& in, auto& out) { cv::exp(in, out); }},
      {"sqrt", [](auto& in, auto& out) { cv::sqrt(in, out); }},
      {"abs", [](auto& in, auto& out) { cv::absdiff(in, cv::Scalar::all(0), out); }}};
  auto found = mixed.find(name);
  if (found == mixed.end()) {
    found = ofFloat.find(name);
    if (found == ofFloat.end() || types.in != types.out) return nullptr;
  }
  return [peer = found->second, size, types]() -> Run {
    const cv::Mat in = cvNoise(size, types.in);
    cv::Mat out(size.height, size.width, cvTypeOf(types.out));
    return [=]() mutable { peer(in, out); };
  };
}

#else

Prepare openCvOf(const std::string&, const MirlSize&, const Types&) {
  return nullptr;
}

#endif

const bool registered = [] {
  for (const Entry& entry : entries()) {
    for (const Types& types : entry.types) {
      for (const auto& [width, height] : kSizes) {
        const MirlSize size(width, height);
        const std::string name = entry.name + " " + typeName(types.in) +
                                 (types.out == types.in ? "" : " to " + depthName(types.out));
        const auto ours = [run = entry.run, size, types]() -> Run {
          const MirlImage in = noise(size, types.in);
          MirlImage out(size, types.out);
          return [=]() mutable { run(in, out); };
        };
        add({name, size, bytesOf(types.in) + bytesOf(types.out), ours,
             openCvOf(entry.name, size, types)});
      }
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
