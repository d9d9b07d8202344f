#include <mirl/geometryTransforms.h>

#include "core/outputs.h"
#include "engine/dispatch.h"
#include "engine/permute.h"

namespace mirl::geometryTransforms {

MirlStatus transpose(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (&source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  runtime::Queue queue;
  const core::Format turned = core::like(source, {.size = {source.height(), source.width()}});
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&destination}, turned, queue,
                    {{core::kSize, MIRL_INVALID_ARGUMENT}, core::kDepth, core::kChannels});
  if (ready != MIRL_SUCCESS) return ready;

  const auto run = [&]<class T, int C>(engine::Combination<T>, engine::Channels<C>) {
    engine::transpose(queue, engine::pixelsOf<T, C>(destination),
                      engine::pixelsOf<const T, C>(source));
  };
  const bool served =
      engine::visitPixels<1, 3>(engine::AllElements{}, engine::typesOf(source), run);
  return served ? MIRL_SUCCESS : MIRL_MISMATCH;
}

}  // namespace mirl::geometryTransforms
