#include <mirl/colorOperations.h>

#include "core/outputs.h"
#include "engine/dispatch.h"
#include "engine/numbers/bits.h"
#include "engine/numbers/conversions.h"
#include "engine/numbers/elementary.h"
#include "engine/tables.h"

namespace mirl::colorOperations {
namespace {

using engine::bitsOf;
using engine::Combination;
using engine::floatOf;
using engine::fusedMultiplyAdd;
using engine::select;

/// Within 1 unit in the last place for any x but -0: -infinity for 0, NaN below, and infinity for
/// itself.
MIRL_HD inline float naturalLogarithm(float x) {
  constexpr float kLn2 = 0.693147182f;
  constexpr float kLn2Rest = -1.904654299e-9f;
  const engine::TwoFloats binary = engine::logarithm(x);
  const float rest = fusedMultiplyAdd(binary.high, kLn2Rest, binary.low * kLn2);
  const float result = fusedMultiplyAdd(binary.high, kLn2, rest);

  constexpr unsigned kInfinity = 0x7F800000u;
  constexpr unsigned kNegative = 0x80000000u;
  const float unusual = select(bitsOf(x) >= kNegative, floatOf(0x7FC00000u), x);
  const float positive = select(bitsOf(x) >= kInfinity, unusual, result);
  return select(bitsOf(x) == 0, floatOf(kInfinity | kNegative), positive);
}

template <class T>
struct kernel_log {
  float scale;

  MIRL_HD float operator()(T sample) const {
    return scale * naturalLogarithm(engine::toFloat(sample) + 1.0f);
  }
};

}  // namespace

MirlStatus logTransform(const MirlImage& source, MirlImage& destination, float scale,
                        const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  const core::Format real = core::like(source, {.depth = 32});
  const MirlStatus fits =
      core::compare(destination, real, {{core::kDepth, MIRL_DEPTH_NOT_SUPPORTED}});
  if (fits != MIRL_SUCCESS) return fits;
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination}, real, queue);
  if (ready != MIRL_SUCCESS) return ready;

  const bool served = engine::visitElements<1, 3>(
      engine::AllElements{}, engine::typesOf(source), [&]<class T>(Combination<T>) {
        engine::mapFunction(queue, kernel_log<T>{scale}, engine::elementsOf<float>(destination),
                            engine::elementsOf<const T>(source));
      });
  return served ? MIRL_SUCCESS : MIRL_DEPTH_NOT_SUPPORTED;
}

}  // namespace mirl::colorOperations
