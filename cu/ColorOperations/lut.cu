#include <mirl/colorOperations.h>

#include "core/outputs.h"
#include "engine/tables.h"

namespace mirl::colorOperations {
namespace {

using Byte = std::uint8_t;

bool isTable(const MirlImage& image) {
  const int entries = image.depth() == 8 ? 256 : 65536;
  const int width = entries * image.channels();
  switch (image.type()) {
    case MIRL_8U_C1:
    case MIRL_8U_C3:
    case MIRL_16U_C1:
    case MIRL_16U_C3:
      return image.height() == 1 && image.width() == width;
    default:
      return false;
  }
}

}  // namespace

MirlStatus LUT(const MirlImage& source, const MirlImage& table, MirlImage& destination,
               const MirlStream& stream) {
  if (!core::isLive(source) || !core::isLive(table)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (!isTable(table)) return MIRL_INVALID_ARGUMENT;
  if (source.depth() != table.depth()) return MIRL_MISMATCH;
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source, &table}, {&destination},
                                         core::like(source), queue, {core::kSize, core::kType});
  if (ready != MIRL_SUCCESS) return ready;
  if (source.type() != MIRL_8U_C1 && source.type() != MIRL_8U_C3) return MIRL_TYPE_NOT_SUPPORTED;
  // Its entries would change while they are read.
  if (&table == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;

  const auto* const entries = static_cast<const Byte*>(table.ptr());
  if (source.channels() == 3 && table.channels() == 3) {
    engine::mapThroughTable(queue, entries, engine::pixelsOf<Byte, 3>(destination),
                            engine::pixelsOf<const Byte, 3>(source));
  } else {
    engine::mapThroughTable(queue, entries, engine::elementsOf<Byte>(destination),
                            engine::elementsOf<const Byte>(source));
  }
  return MIRL_SUCCESS;
}

}  // namespace mirl::colorOperations
