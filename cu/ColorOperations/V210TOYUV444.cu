#include "cu/ColorOperations/v210.h"

namespace mirl::colorOperations {

MirlStatus V210TOYUV444(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (destination.depth() != 16) return MIRL_DEPTH_NOT_SUPPORTED;
  if (destination.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  const int groups = groupsOf444(destination);
  if (groups == 0 || groups != groupsWithoutPadding<V210Group>(source) ||
      source.height() < destination.height()) {
    return MIRL_INVALID_ARGUMENT;
  }
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, source, {&destination}, queue);
  if (found != MIRL_SUCCESS) return found;

  const int rows = destination.height();
  engine::mapBlocks(
      queue, Chain<v210_to_yuv422_unpack_kernel, yuv422_to_444_16u_c2_kernel, engine::v210To444>{},
      viewOf<Yuv444Group>(destination, groups, rows),
      viewOf<const V210Group>(source, groups, rows));
  return queue.device->synchronize(queue.stream) ? MIRL_SUCCESS : MIRL_KERNEL_FAILED;
}

}  // namespace mirl::colorOperations
