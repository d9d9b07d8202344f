#include <mirl/dataExchange.h>

#include "core/access.h"
#include "engine/random.h"

namespace mirl::dataExchange {

MirlStatus generateRandomImage(MirlImage& image, const MirlStream& stream) {
  if (!core::isLive(image)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (image.depth() != 32) return MIRL_DEPTH_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, image, {}, queue);
  if (found != MIRL_SUCCESS) return found;

  engine::fillUniform(queue, engine::elementsOf<float>(image));
  return MIRL_SUCCESS;
}

}  // namespace mirl::dataExchange
