#pragma once

// What all colour conversions share: the checks and the order of the channels.

#include "core/outputs.h"
#include "engine/dispatch.h"
#include "engine/map.h"
#include "engine/mix.h"
#include "engine/numbers/conversions.h"

#include <mirl/colorOperations.h>

namespace mirl::colorOperations {

using engine::Channels;
using engine::Combination;
using engine::Combinations;
using engine::MixRow;
using engine::Pixel;
using engine::weightedSum;

/// The checks of a conversion from 3 channels to 3 of the same depth but that of the types. An empty
/// destination is created, with unsigned elements.
inline MirlStatus prepareColours(const MirlImage& source, MirlImage& destination,
                                 const MirlStream& stream, runtime::Queue& queue) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  return core::prepare(stream, {&source}, {&destination},
                       core::like(source, {.depth = source.depth()}), queue);
}

/// Where the colours stand in memory.
template <int red>
struct Order {
  static constexpr int kRed = red;
  static constexpr int kBlue = 2 - red;
};
using RedFirst = Order<0>;
using BlueFirst = Order<2>;

/// Calls `visit` with the order that a sequence means for 3 or 4 channels, if it means any.
template <class Visit>
void visitOrder(MirlChannelSeq sequence, int channels, const Visit& visit) {
  if (sequence == (channels == 3 ? MIRL_CHANNELSEQ_RGB : MIRL_CHANNELSEQ_RGBA)) visit(RedFirst{});
  if (sequence == (channels == 3 ? MIRL_CHANNELSEQ_BGR : MIRL_CHANNELSEQ_BGRA)) visit(BlueFirst{});
}

/// Queues a kernel from pixels of 3 channels to the same.
template <class T, class Kernel>
void mapColours(const runtime::Queue& queue, const Kernel& kernel, const MirlImage& source,
                MirlImage& destination) {
  engine::map(queue, kernel, engine::pixelsOf<T, 3>(destination),
              engine::pixelsOf<const T, 3>(source));
}

/// From factors of red, green and blue.
template <class Order>
MIRL_HD constexpr MixRow inMemoryOrder(const MixRow& row) {
  return {{row.factor[Order::kRed], row.factor[1], row.factor[Order::kBlue]}, row.offset};
}

}  // namespace mirl::colorOperations
