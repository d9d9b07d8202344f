#include "bench.h"
#include "open_cv.h"

namespace mirl::bench {
namespace {

struct Types {
  MirlType in;
  MirlType out;
};

const bool registered = [] {
  const Types scaled[] = {{MIRL_8U_C1, MIRL_8U_C1},   {MIRL_8U_C1, MIRL_16U_C1},
                          {MIRL_8U_C1, MIRL_32F_C1},  {MIRL_8U_C3, MIRL_32F_C3},
                          {MIRL_16U_C1, MIRL_8U_C1},  {MIRL_16U_C1, MIRL_32F_C1},
                          {MIRL_32F_C1, MIRL_8U_C1},  {MIRL_32F_C3, MIRL_8U_C3},
                          {MIRL_32F_C1, MIRL_16U_C1}, {MIRL_32F_C1, MIRL_32F_C1}};
  const Types rescaled[] = {{MIRL_8U_C1, MIRL_8U_C1},
                            {MIRL_8U_C1, MIRL_16U_C1},
                            {MIRL_16U_C1, MIRL_8U_C1},
                            {MIRL_16U_C1, MIRL_16U_C1}};
  for (const auto& [width, height] : kSizes) {
    const MirlSize size(width, height);
    for (const Types& types : scaled) {
      const Prepare ours = [=]() -> Run {
        const MirlImage in = noise(size, types.in);
        MirlImage out(size, types.out);
        return [=]() mutable { dataExchange::convertScale(in, out, 0.75f, 3.0f); };
      };
      add({"convertScale " + typeName(types.in) + " to " + depthName(types.out), size,
           bytesOf(types.in) + bytesOf(types.out), ours,
           openCvConvertPeer(size, types.in, types.out)});
    }
    for (const Types& types : rescaled) {
      const Prepare ours = [=]() -> Run {
        MirlImage in = noise(size, types.in);
        in.setDataBits(in.depth() == 16 ? 10 : 8);
        MirlImage out(size, types.out);
        return [=] { dataExchange::bitConversion(in, out); };
      };
      add({"bitConversion " + typeName(types.in) + " to " + depthName(types.out), size,
           bytesOf(types.in) + bytesOf(types.out), ours});
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
