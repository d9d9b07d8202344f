#include <mirl/geometryTransforms.h>

#include "core/outputs.h"
#include "core/regions.h"

#include <cstdint>

namespace mirl::geometryTransforms {

MirlStatus crop(const MirlImage& source, MirlImage& destination, int top, int bottom, int left,
                int right, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (&source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, source, {&destination}, queue);
  if (found != MIRL_SUCCESS) return found;

  const std::int64_t width = std::int64_t{source.width()} - left - right;
  const std::int64_t height = std::int64_t{source.height()} - top - bottom;
  const bool leavesPixels =
      top >= 0 && bottom >= 0 && left >= 0 && right >= 0 && width > 0 && height > 0;
  const MirlRect rest = leavesPixels
                            ? MirlRect(left, top, static_cast<int>(width), static_cast<int>(height))
                            : MirlRect();
  const core::NewOutput isNew(destination);
  if (isNew && leavesPixels) {
    const core::Format format = core::like(source, {.size = {rest.width, rest.height}});
    const MirlStatus created = core::create(*queue.device, destination, format);
    if (created != MIRL_SUCCESS) return created;
  }
  if (!isNew && !core::sameFormat(source, destination)) return MIRL_MISMATCH;

  const int depth = source.depth();
  if (depth != 8 && depth != 16 && depth != 32) return MIRL_TYPE_NOT_SUPPORTED;
  if (!leavesPixels) return MIRL_INVALID_ARGUMENT;
  const MirlRect place(0, 0, rest.width, rest.height);
  if (!core::contains(destination.size(), place)) return MIRL_MISMATCH;
  return isNew.keptIf(core::copy(queue, core::Part(source)[rest], core::Part(destination)[place]));
}

}  // namespace mirl::geometryTransforms
