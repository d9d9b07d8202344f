#include "cu/ColorOperations/v210.h"

namespace mirl::colorOperations {

MirlStatus YUV422TOV210(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.depth() != 16) return MIRL_DEPTH_NOT_SUPPORTED;
  if (!core::isLive(destination)) return MIRL_IMAGE_NOT_INITIALIZED;
  const int groups = groupsWithoutPadding<Yuv422Group>(source);
  if (groups == 0 || core::rowBytes(source) != static_cast<std::size_t>(source.pitch()) ||
      groups != groupsWithoutPadding<V210Group>(destination) ||
      destination.height() < source.height()) {
    return MIRL_INVALID_ARGUMENT;
  }
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, source, {&destination}, queue);
  if (found != MIRL_SUCCESS) return found;

  const int rows = source.height();
  engine::mapBlocks(queue, k422_v210{}, viewOf<V210Group>(destination, groups, rows),
                    viewOf<const Yuv422Group>(source, groups, rows));
  return queue.device->synchronize(queue.stream) ? MIRL_SUCCESS : MIRL_KERNEL_FAILED;
}

}  // namespace mirl::colorOperations
