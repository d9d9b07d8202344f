#include "cu/ColorOperations/colorConvert.h"

namespace mirl::colorOperations {

MirlStatus channelMerge(const MirlImage& red, const MirlImage& green, const MirlImage& blue,
                        MirlImage& destination, const MirlStream& stream) {
  if (!core::isLive(red) || !core::isLive(green) || !core::isLive(blue)) {
    return MIRL_IMAGE_NOT_INITIALIZED;
  }
  if (red.channels() != 1) return MIRL_CHANNELS_NOT_SUPPORTED;
  for (const MirlImage* const other : {&green, &blue}) {
    if (!core::sameSizeAndFormat(red, *other)) return MIRL_MISMATCH;
  }
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&red, &green, &blue}, {&destination},
                    core::like(red, {.depth = red.depth(), .channels = 3}), queue,
                    {{core::kChannels, MIRL_CHANNELS_NOT_SUPPORTED}, core::kSize, core::kDepth});
  if (ready != MIRL_SUCCESS) return ready;

  const bool served = engine::visitElements<1>(
      engine::AllElements{}, engine::typesOf(red), [&]<class T>(Combination<T>) {
        visitOrder(destination.channelSeq(), 3, [&]<class Order>(Order) {
          const engine::View<const T> planes[] = {engine::elementsOf<const T>(red),
                                                  engine::elementsOf<const T>(green),
                                                  engine::elementsOf<const T>(blue)};
          engine::map(queue, engine::Same{}, engine::pixelsOf<T, 3>(destination),
                      engine::planarOf(planes[Order::kRed], planes[1], planes[Order::kBlue]));
        });
      });
  return served ? MIRL_SUCCESS : MIRL_DEPTH_NOT_SUPPORTED;
}

}  // namespace mirl::colorOperations
