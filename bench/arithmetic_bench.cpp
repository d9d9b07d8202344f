#include "bench.h"
#include "open_cv.h"

namespace mirl::bench {
namespace {

using Operation = MirlStatus (*)(const MirlImage&, const MirlImage&, MirlImage&, const MirlStream&);

struct Entry {
  const char* name;
  Operation ours;
  OpenCvArithmetic openCv;
};

struct Types {
  MirlType in;
  MirlType out;
};

Prepare oursOf(Operation operation, const MirlSize& size, const Types& types) {
  return [=]() -> Run {
    const MirlImage a = noise(size, types.in, 1);
    const MirlImage b = noise(size, types.in, 2);
    MirlImage out(size, types.out);
    return [=]() mutable { operation(a, b, out, MirlStream()); };
  };
}

const bool registered = [] {
  const Entry entries[] = {
      {"add", arithmeticLogical::add, openCvAdd},
      {"subtract", arithmeticLogical::subtract, openCvSubtract},
      {"multiply", arithmeticLogical::multiply, openCvMultiply},
      {"divide", arithmeticLogical::divide, openCvDivide},
      {"absDiff", arithmeticLogical::absDiff, openCvAbsDiff},
  };
  const Types typesOf[] = {{MIRL_8U_C1, MIRL_8U_C1},   {MIRL_8U_C3, MIRL_8U_C3},
                           {MIRL_8U_C1, MIRL_32F_C1},  {MIRL_16U_C1, MIRL_16U_C1},
                           {MIRL_16U_C1, MIRL_32F_C1}, {MIRL_32F_C1, MIRL_32F_C1}};
  for (const Entry& entry : entries) {
    for (const Types& types : typesOf) {
      for (const auto& [width, height] : kSizes) {
        const MirlSize size(width, height);
        const std::string name = std::string(entry.name) + " " + typeName(types.in) +
                                 (types.out == types.in ? "" : " to " + depthName(types.out));
        add({name, size, 2.0 * bytesOf(types.in) + bytesOf(types.out),
             oursOf(entry.ours, size, types), openCvPeer(entry.openCv, size, types.in, types.out)});
      }
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
