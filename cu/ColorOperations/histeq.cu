#include <mirl/colorEnhancement.h>

#include "core/outputs.h"
#include "engine/histogram.h"
#include "engine/tables.h"
#include "runtime/scratch.h"

namespace mirl::colorOperations {

MirlStatus histEq(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.type() != MIRL_8U_C1) return MIRL_TYPE_NOT_SUPPORTED;
  runtime::Queue queue;
  const core::NewOutput isNew(destination);
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&destination}, core::like(source), queue);
  if (ready != MIRL_SUCCESS) return ready;

  const runtime::Scratch scratch(queue, sizeof(engine::Equalisation));
  if (!scratch.ok()) return isNew.keptIf(MIRL_DEVICE_ALLOC_FAILED);
  auto* const equalisation = scratch.as<engine::Equalisation>();
  constexpr std::size_t kBytes = sizeof equalisation->bins;
  if (!queue.device->fillAsync({equalisation->bins, kBytes, 0, kBytes, 1}, queue.stream)) {
    return isNew.keptIf(MIRL_MEMSET_FAILED);
  }
  const auto in = engine::elementsOf<const std::uint8_t>(source);
  engine::addHistogram<1>(queue, in, equalisation->bins);
  engine::equalize(queue, equalisation, std::int64_t{source.width()} * source.height());
  engine::mapThroughTable(queue, equalisation->table, engine::elementsOf<std::uint8_t>(destination),
                          in);
  return MIRL_SUCCESS;
}

}  // namespace mirl::colorOperations
