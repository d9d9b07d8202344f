#include "bench.h"
#include "open_cv.h"

#include <vector>

namespace mirl::bench {
namespace {

using namespace computerVision;

const bool registered = [] {
  for (const auto& [width, height] : kSizes) {
    const MirlSize size(width, height);
    add({"opticalFlowHS 100 steps", size, 10, [=]() -> Run {
           const MirlImage a = noise(size, MIRL_8U_C1, 1), b = noise(size, MIRL_8U_C1, 2);
           std::vector<float> x(static_cast<std::size_t>(size.width) *
                                static_cast<std::size_t>(size.height)),
               y = x;
           return [=]() mutable { opticalFlowHS(a, b, x.data(), y.data(), false, 15.0f, 100); };
         }});
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
