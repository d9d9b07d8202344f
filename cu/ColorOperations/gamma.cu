#include <mirl/colorOperations.h>

#include "core/outputs.h"
#include "engine/numbers/conversions.h"
#include "engine/tables.h"

#include <cmath>

namespace mirl::colorOperations {
namespace {

/// In double precision, so that what is rounded to single is right to the last bit.
float power(float base, float exponent) {
  return static_cast<float>(std::pow(double{base}, double{exponent}));
}

}  // namespace

MirlStatus gammaCorrect(const MirlImage& source, MirlImage& destination, float gamma,
                        const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination},
                                         core::like(source, {.depth = source.depth()}), queue);
  if (ready != MIRL_SUCCESS) return ready;
  if (source.type() != MIRL_8U_C1 && source.type() != MIRL_8U_C3) return MIRL_MISMATCH;

  const float exponent = 1.0f / gamma;
  const auto curve = [&](std::uint8_t sample) {
    const float raised = power(static_cast<float>(sample) / 255.0f, exponent);
    return engine::fromFloat<std::uint8_t>(raised * 255.0f);
  };
  engine::mapFunction(queue, curve, engine::elementsOf<std::uint8_t>(destination),
                      engine::elementsOf<const std::uint8_t>(source));
  return MIRL_SUCCESS;
}

}  // namespace mirl::colorOperations
