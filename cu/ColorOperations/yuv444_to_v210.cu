#include "cu/ColorOperations/v210.h"

namespace mirl::colorOperations {

MirlStatus YUV444TOV210(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.depth() != 16) return MIRL_DEPTH_NOT_SUPPORTED;
  if (!core::isLive(destination)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  const int groups = groupsOf444(source);
  if (groups == 0 || groups != groupsWithoutPadding<V210Group>(destination) ||
      destination.height() < source.height()) {
    return MIRL_INVALID_ARGUMENT;
  }
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, source, {&destination}, queue);
  if (found != MIRL_SUCCESS) return found;

  const int rows = source.height();
  engine::mapBlocks(queue, Chain<k444_422, k422_v210, engine::v210From444>{},
                    viewOf<V210Group>(destination, groups, rows),
                    viewOf<const Yuv444Group>(source, groups, rows));
  return MIRL_SUCCESS;
}

}  // namespace mirl::colorOperations
