#include <mirl/imageFiltering.h>

#include "core/outputs.h"
#include "engine/dispatch.h"
#include "engine/rank.h"

#include <cstdint>

namespace mirl::imageFiltering {
namespace {

using engine::Channels;
using engine::Combination;

template <int C>
void run(const runtime::Queue& queue, const MirlImage& source, const MirlImage& destination,
         int window) {
  const auto median = window == 3   ? engine::median<3, C>
                      : window == 5 ? engine::median<5, C>
                      : window == 7 ? engine::median<7, C>
                                    : engine::median<9, C>;
  median(queue, engine::elementsOf<std::uint8_t>(destination),
         engine::elementsOf<const std::uint8_t>(source));
}

bool isServed(const MirlSize& window) {
  const int side = window.width;
  return side == window.height && (side == 3 || side == 5 || side == 7 || side == 9);
}

}  // namespace

MirlStatus medianFilter(const MirlImage& source, MirlImage& destination, const MirlRect&,
                        const MirlSize& window, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  const core::NewOutput isNew(destination);
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&destination}, core::like(source), queue);
  if (ready != MIRL_SUCCESS) return ready;
  if (isNew) destination.setChannelSequence(source.channelSeq());

  MirlStatus status = MIRL_TYPE_NOT_SUPPORTED;
  engine::visitPixels<1, 3>(engine::Elements<std::uint8_t>{}, engine::typesOf(source),
                            [&]<int C>(Combination<std::uint8_t>, Channels<C>) {
                              status = !isServed(window)         ? MIRL_MISMATCH
                                       : &source == &destination ? MIRL_IN_PLACE_NOT_SUPPORTED
                                                                 : MIRL_SUCCESS;
                              if (status == MIRL_SUCCESS)
                                run<C>(queue, source, destination, window.width);
                            });
  return status;
}

}  // namespace mirl::imageFiltering
