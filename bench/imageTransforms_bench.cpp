#include "bench.h"

namespace mirl::bench {
namespace {

using imageTransforms::haarFwd;
using imageTransforms::haarInv;

const bool registered = [] {
  for (const auto& [width, height] : kSizes) {
    const MirlSize size(width, height), half(width / 2, height / 2);
    for (const MirlType type : {MIRL_8U_C1, MIRL_8U_C3}) {
      add({"haarFwd " + typeName(type), size, 2 * bytesOf(type), [=]() -> Run {
             const MirlImage in = noise(size, type);
             MirlImage a(half, type), b(half, type), c(half, type), d(half, type);
             return [=]() mutable { haarFwd(in, a, b, c, d); };
           }});
      add({"haarInv " + typeName(type), size, 2 * bytesOf(type), [=]() -> Run {
             const MirlImage a = noise(half, type), b = noise(half, type);
             MirlImage out(size, type);
             return [=]() mutable { haarInv(a, b, a, b, out); };
           }});
    }
  }
  return true;
}();

}  // namespace
}  // namespace mirl::bench
