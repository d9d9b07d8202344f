#include <mirl/geometryTransforms.h>

#include "core/outputs.h"
#include "engine/dispatch.h"
#include "engine/permute.h"

namespace mirl::geometryTransforms {
namespace {

using engine::Channels;
using engine::Combination;

template <class T, int C>
MirlStatus run(const runtime::Queue& queue, const MirlImage& source, MirlImage& destination,
               MirlFlipType flip) {
  const auto out = engine::pixelsOf<T, C>(destination);
  const auto in = engine::pixelsOf<const T, C>(source);
  switch (flip) {
    case MIRL_FLIP_UD:
      engine::copyRows(queue, out, engine::upsideDown(in));
      return MIRL_SUCCESS;
    case MIRL_FLIP_LR:
      engine::mirror(queue, out, in);
      return MIRL_SUCCESS;
    case MIRL_FLIP_BOTH:
      engine::mirror(queue, out, engine::upsideDown(in));
      return MIRL_SUCCESS;
  }
  return MIRL_MISMATCH;
}

}  // namespace

MirlStatus flipImage(const MirlImage& source, MirlImage& destination, MirlFlipType flip,
                     const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (&source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&destination}, core::like(source), queue);
  if (ready != MIRL_SUCCESS) return ready;

  MirlStatus status = MIRL_TYPE_NOT_SUPPORTED;
  const auto visit = [&]<class T, int C>(Combination<T>, Channels<C>) {
    status = run<T, C>(queue, source, destination, flip);
  };
  engine::visitPixels<1, 3>(engine::AllElements{}, engine::typesOf(source), visit);
  return status;
}

}  // namespace mirl::geometryTransforms
