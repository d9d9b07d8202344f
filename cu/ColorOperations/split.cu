#include "cu/ColorOperations/colorConvert.h"
#include "cu/ColorOperations/sameSize.h"

#include <array>

namespace mirl::colorOperations {
namespace {

/// Empty outputs that a call has created. If one of them fails the others don't stay.
MirlStatus createOutputs(const MirlImage& source, runtime::Device& device,
                         const std::array<MirlImage*, 3>& outputs) {
  std::array<bool, 3> created{};
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    MirlImage& output = *outputs[i];
    created[i] = !output.isInitialized();
    const MirlStatus status = createOrCompareSize(source, output, device, source.depth(), 1);
    if (status != MIRL_SUCCESS && created[i]) {
      for (std::size_t k = 0; k < i; ++k) {
        if (created[k]) outputs[k]->release();
      }
    }
    if (status != MIRL_SUCCESS) return status;
    if (source.depth() != output.depth()) return MIRL_MISMATCH;
  }
  return MIRL_SUCCESS;
}

/// An output as a plane of single elements, whatever its channels.
template <class T>
engine::View<T> planeOf(const MirlImage& image) {
  return {static_cast<T*>(image.ptr()), image.pitch(), image.width(), image.height()};
}

using Elements =
    Combinations<Combination<std::uint8_t>, Combination<std::uint16_t>, Combination<float>>;

}  // namespace

MirlStatus channelSplit(const MirlImage& source, MirlImage& red, MirlImage& green, MirlImage& blue,
                        const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, source, {&red, &green, &blue}, queue);
  if (found != MIRL_SUCCESS) return found;
  const MirlStatus created = createOutputs(source, *queue.device, {&red, &green, &blue});
  if (created != MIRL_SUCCESS) return created;

  const bool inPlace = &source == &red || &source == &green || &source == &blue;
  const bool served = engine::visitCombination(
      Elements{}, 3, std::array{source.type()}, [&]<class T>(Combination<T>) {
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
