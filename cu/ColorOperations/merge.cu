#include "cu/ColorOperations/colorConvert.h"
#include "cu/ColorOperations/sameSize.h"

namespace mirl::colorOperations {
namespace {

using Elements =
    Combinations<Combination<std::uint8_t>, Combination<std::uint16_t>, Combination<float>>;

}  // namespace

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
  const MirlStatus found = core::findQueue(stream, red, {&green, &blue, &destination}, queue);
  if (found != MIRL_SUCCESS) return found;
  if (destination.isInitialized() && destination.channels() != 3) {
    return MIRL_CHANNELS_NOT_SUPPORTED;
  }
  const MirlStatus created = createOrCompareSize(red, destination, *queue.device, red.depth(), 3);
  if (created != MIRL_SUCCESS) return created;
  if (red.depth() != destination.depth()) return MIRL_MISMATCH;

  const bool served =
      engine::visitCombination(Elements{}, 1, std::array{red.type()}, [&]<class T>(Combination<T>) {
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
