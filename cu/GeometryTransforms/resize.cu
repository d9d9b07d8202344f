#include <mirl/geometryTransforms.h>

#include "core/regions.h"
#include "engine/dispatch.h"
#include "engine/resample.h"

namespace mirl::geometryTransforms {
namespace {

using engine::Combination;

/// All for 1 and for 3 channels.
using Served =
    engine::Combinations<Combination<std::uint8_t>, Combination<std::uint16_t>, Combination<float>>;

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

  if (source.channels() != 1 && source.channels() != 3) return MIRL_TYPE_NOT_SUPPORTED;
  MirlStatus status = MIRL_TYPE_NOT_SUPPORTED;
  engine::visitCombination(Served{}, source.channels(), std::array{source.type()},
                           [&]<class T>(Combination<T>) {
                             if (core::sameSize(source, destination)) {
                               status = core::copy(queue, source, destination);
                             } else if (source.channels() == 1) {
                               status = run<T, 1>(queue, source, destination, interpolation);
                             } else {
                               status = run<T, 3>(queue, source, destination, interpolation);
                             }
                           });
  return status;
}

}  // namespace mirl::geometryTransforms
