#include <mirl/dataExchange.h>

#include "core/elements.h"
#include "core/regions.h"
#include "engine/paint.h"

namespace mirl::dataExchange {

MirlStatus rectangle(MirlImage& image, const MirlRect& region, const MirlScalar& value,
                     const MirlStream& stream) {
  if (!core::isLive(image)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (image.depth() != 8 || (image.channels() != 1 && image.channels() != 3)) return MIRL_MISMATCH;
  if (!core::contains(image.size(), region)) return MIRL_INVALID_ARGUMENT;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, image, {}, queue);
  if (found != MIRL_SUCCESS) return found;

  const auto pattern = engine::patternOf(
      1, image.channels(), [&](int c) { return core::limitedTo(value[c], core::maximumOf(8)); });
  engine::fill(queue, engine::bytesOf<unsigned char>(core::Part(image)[region]), pattern);
  return MIRL_SUCCESS;
}

}  // namespace mirl::dataExchange
