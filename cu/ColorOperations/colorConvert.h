#pragma once

// What all colour conversions share: the checks, the output, the order of the channels.

#include "core/access.h"
#include "engine/dispatch.h"
#include "engine/map.h"
#include "engine/mix.h"
#include "engine/numbers/conversions.h"

#include <mirl/colorOperations.h>

namespace mirl::colorOperations {

using engine::Combination;
using engine::Combinations;
using engine::MixRow;
using engine::Pixel;
using engine::weightedSum;

/// What a conversion asks of its images.
struct Contract {
  bool inPlace = true;
  int sourceChannels = 3;
  int orSourceChannels = sourceChannels;
  int channels = 3;  ///< of a new destination
  int depth = 0;     ///< of a new destination, signed; 0 is the source's, unsigned
  bool comparesChannels = true;
  bool comparesDepth = true;
  MirlStatus wrongChannels = MIRL_MISMATCH;  ///< of a live destination
};

/// Makes all checks but that of the types, and creates an empty destination.
inline MirlStatus prepare(const MirlImage& source, MirlImage& destination, const MirlStream& stream,
                          const Contract& contract, runtime::Queue& queue) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (!contract.inPlace && &source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  if (source.channels() != contract.sourceChannels &&
      source.channels() != contract.orSourceChannels) {
    return MIRL_CHANNELS_NOT_SUPPORTED;
  }
  const MirlStatus found = core::findQueue(stream, source, {&destination}, queue);
  if (found != MIRL_SUCCESS) return found;

  if (!destination.isInitialized()) {
    return ImageAccess::create(destination, *queue.device, source.width(), source.height(),
                               contract.depth == 0 ? source.depth() : contract.depth,
                               contract.channels);
  }
  if (contract.comparesChannels && destination.channels() != contract.channels) {
    return contract.wrongChannels;
  }
  if (!core::sameSize(source, destination)) return MIRL_MISMATCH;
  if (contract.comparesDepth && source.depth() != destination.depth()) return MIRL_MISMATCH;
  return MIRL_SUCCESS;
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
