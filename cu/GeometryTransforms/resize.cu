#include <mirl/geometryTransforms.h>

#include "core/regions.h"
#include "engine/dispatch.h"
#include "engine/resample.h"

namespace mirl::geometryTransforms {
namespace {

using engine::Channels;
using engine::Combination;

template <class T, int C>
MirlStatus run(const runtime::Queue& queue, const MirlImage& source, MirlImage& destination,
               MirlInterpolationType interpolation) {
  const auto zoom = [&]<class Sampler>(Sampler) {
    const bool done = engine::resampleZoom<Sampler>(queue, engine::PlainElements<T>{},
                                                    engine::pixelsOf<T, C>(destination),
                                                    engine::pixelsOf<const T, C>(source));
    return done ? MIRL_SUCCESS : MIRL_DEVICE_ALLOC_FAILED;
  };
  switch (interpolation) {
    case MIRL_INTERPOLATION_NN:
      return zoom(engine::Nearest{});
    case MIRL_INTERPOLATION_LINEAR:
      return zoom(engine::Bilinear{});
    case MIRL_INTERPOLATION_CUBIC:
      return zoom(engine::Cubic{});
  }
  return MIRL_NPP_FAILED;
}

}  // namespace

MirlStatus resize(const MirlImage& source, MirlImage& destination,
                  MirlInterpolationType interpolation, const MirlStream& stream) {
  if (!core::isLive(source) || !core::isLive(destination)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (&source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  if (!core::sameFormat(source, destination)) return MIRL_MISMATCH;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, source, {&destination}, queue);
  if (found != MIRL_SUCCESS) return found;

  MirlStatus status = MIRL_TYPE_NOT_SUPPORTED;
  const auto zoom = [&]<class T, int C>(Combination<T>, Channels<C>) {
    status = core::sameSize(source, destination)
                 ? core::copy(queue, source, destination)
                 : run<T, C>(queue, source, destination, interpolation);
  };
  engine::visitPixels<1, 3>(engine::AllElements{}, engine::typesOf(source), zoom);
  return status;
}

}  // namespace mirl::geometryTransforms
