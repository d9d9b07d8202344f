#include "cu/ColorOperations/colorConvert.h"

namespace mirl::colorOperations {
namespace {

/// An output as a plane of single elements, whatever its channels.
template <class T>
engine::View<T> planeOf(const MirlImage& image) {
  return {static_cast<T*>(image.ptr()), image.pitch(), image.width(), image.height()};
}

}  // namespace

MirlStatus channelSplit(const MirlImage& source, MirlImage& red, MirlImage& green, MirlImage& blue,
                        const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&red, &green, &blue},
                    core::like(source, {.depth = source.depth(), .channels = 1}), queue,
                    {core::kSize, core::kDepth});
  if (ready != MIRL_SUCCESS) return ready;

  const bool inPlace = &source == &red || &source == &green || &source == &blue;
  const bool served = engine::visitElements<3>(
      engine::AllElements{}, engine::typesOf(source), [&]<class T>(Combination<T>) {
        if (inPlace) return;
        visitOrder(source.channelSeq(), 3, [&]<class Order>(Order) {
          const engine::View<T> planes[] = {planeOf<T>(red), planeOf<T>(green), planeOf<T>(blue)};
          engine::map(queue, engine::Same{},
                      engine::planarOf(planes[Order::kRed], planes[1], planes[Order::kBlue]),
                      engine::pixelsOf<const T, 3>(source));
        });
      });
  if (!served) return MIRL_DEPTH_NOT_SUPPORTED;
  return inPlace ? MIRL_IN_PLACE_NOT_SUPPORTED : MIRL_SUCCESS;
}

}  // namespace mirl::colorOperations
