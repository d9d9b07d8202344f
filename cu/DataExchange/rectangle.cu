#include <mirl/dataExchange.h>

#include "core/access.h"
#include "core/elements.h"
#include "engine/paint.h"

namespace mirl::dataExchange {
namespace {

bool contains(const MirlImage& image, const MirlRect& region) {
  return region.x >= 0 && region.y >= 0 && region.width >= 0 && region.height >= 0 &&
         region.x <= image.width() && region.width <= image.width() - region.x &&
         region.y <= image.height() && region.height <= image.height() - region.y;
}

}  // namespace

MirlStatus rectangle(MirlImage& image, const MirlRect& region, const MirlScalar& value,
                     const MirlStream& stream) {
  if (!core::isLive(image)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (image.depth() != 8 || (image.channels() != 1 && image.channels() != 3)) return MIRL_MISMATCH;
  if (!contains(image, region)) return MIRL_INVALID_ARGUMENT;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, image, {}, queue);
  if (found != MIRL_SUCCESS) return found;

  const auto pattern = engine::patternOf(
      1, image.channels(), [&](int c) { return core::limitedTo(value[c], core::maximumOf(8)); });
  engine::fill(
      queue, engine::bytesOf<unsigned char>(image, region.x, region.y, region.width, region.height),
      pattern);
  return MIRL_SUCCESS;
}

}  // namespace mirl::dataExchange
