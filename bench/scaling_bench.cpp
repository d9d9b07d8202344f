// One operation of each access pattern from small images, where the call itself counts, to huge
// ones: the time of a pixel must not grow with their number.

#include "bench.h"
#include "open_cv.h"

namespace mirl::bench {
namespace {

struct Entry {
  const char* name;
  MirlType in;
  MirlType out;
  MirlStatus (*run)(const MirlImage& in, MirlImage& out);
};

const Entry kEntries[] = {
    {"scaling: add 8u C1", MIRL_8U_C1, MIRL_8U_C1,
     [](const MirlImage& in, MirlImage& out) { return arithmeticLogical::add(in, in, out); }},
    {"scaling: rgb2gray 8u C3", MIRL_8U_C3, MIRL_8U_C1,
     [](const MirlImage& in, MirlImage& out) { return colorOperations::rgb2gray(in, out); }},
    {"scaling: imageFilter 3x3", MIRL_8U_C1, MIRL_8U_C1,
     [](const MirlImage& in, MirlImage& out) {
       static const MirlFilter filter = MirlSpecialFilters::gaussian(MirlSize(3, 3), 1.0f);
       return imageFiltering::imageFilter(in, out, filter);
     }},
    {"scaling: rotate 8u C1", MIRL_8U_C1, MIRL_8U_C1,
     [](const MirlImage& in, MirlImage& out) {
       return geometryTransforms::rotate(in, out, 10.0f, {in.width() / 2, in.height() / 2});
     }},
    {"scaling: mean 8u C1", MIRL_8U_C1, MIRL_8U_C1,
     [](const MirlImage& in, MirlImage&) {
       MirlScalar mean;
       return imageStatistics::mean(in, mean);
     }},
};

const bool registered = [] {
  const int sizes[][2] = {{64, 64}, {640, 480}, {2048, 2048}, {16384, 16384}};
  for (const Entry& entry : kEntries) {
    for (const auto& [width, height] : sizes) {
      const MirlSize size(width, height);
      const Prepare ours = [=]() -> Run {
        const MirlImage in = noise(size, entry.in);
        MirlImage out(size, entry.out);
        return [=]() mutable { entry.run(in, out); };
      };
      add({entry.name, size, bytesOf(entry.in) + bytesOf(entry.out), ours});
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
