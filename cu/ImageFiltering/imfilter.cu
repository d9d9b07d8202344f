#include <mirl/imageFiltering.h>

#include "core/outputs.h"
#include "core/regions.h"
#include "engine/correlate.h"
#include "engine/dispatch.h"

#include <algorithm>
#include <climits>
#include <cstdint>

namespace mirl::imageFiltering {
namespace {

using engine::Combination;

bool fitsTaps(const MirlFilter& filter) {
  return !filter.isInitialized() ||
         (filter.coeffs() != nullptr &&
          std::int64_t{filter.width()} * filter.height() <= engine::kMostTaps);
}

/// An anchor so far off that all taps lie beyond one edge does the same as a nearer one.
int originOf(int anchor, int extent, int taps, int step) {
  const std::int64_t nearest = -(std::int64_t{extent} + taps);
  const std::int64_t origin = std::clamp<std::int64_t>(anchor, nearest, extent) * step;
  return static_cast<int>(std::clamp<std::int64_t>(origin, INT_MIN, INT_MAX));
}

engine::Taps tapsOf(const MirlFilter& filter, const MirlImage& image) {
  engine::Taps taps{};
  taps.width = filter.width();
  taps.height = filter.height();
  taps.step = image.channels();
  taps.originX = originOf(filter.anchor().x, image.width(), taps.width, taps.step);
  taps.originY = originOf(filter.anchor().y, image.height(), taps.height, 1);
  std::copy_n(filter.coeffs(), filter.width() * filter.height(), taps.weight);
  return taps;
}

MirlStatus run(const MirlImage& source, MirlImage& destination, const MirlFilter& filter,
               const MirlRect* region, bool copyOutside, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (&source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  const core::Format format = core::like(source);
  const MirlStatus fits = core::compare(destination, format);
  if (fits != MIRL_SUCCESS) return fits;
  if (!fitsTaps(filter)) return MIRL_INVALID_ARGUMENT;
  const core::NewOutput isNew(destination);
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination}, format, queue);
  if (ready != MIRL_SUCCESS) return ready;

  const engine::Taps taps = tapsOf(filter, source);
  const MirlRect all = core::allOf(source);
  const MirlRect part = region == nullptr ? all : core::intersection(*region, all);
  const int bits = core::significantBits(source);
  const float limit = bits > 16 ? 0.0f : static_cast<float>((1u << bits) - 1u);
  MirlStatus status = MIRL_SUCCESS;
  const bool served = engine::visitElements<1, 3>(
      engine::AllElements{}, engine::typesOf(source), [&]<class T>(Combination<T>) {
        const engine::Window elements{part.x * taps.step, part.y, (part.x + part.width) * taps.step,
                                      part.y + part.height};
        if (!engine::correlate(queue, engine::elementsOf<T>(destination),
                               engine::elementsOf<const T>(source), taps, elements, limit)) {
          status = MIRL_DEVICE_ALLOC_FAILED;
        }
      });
  if (!served) return MIRL_TYPE_NOT_SUPPORTED;
  if (status == MIRL_SUCCESS && copyOutside)
    status = core::copyAround(queue, source, destination, part);
  return isNew.keptIf(status);
}

}  // namespace

MirlStatus imageFilter(const MirlImage& source, MirlImage& destination, const MirlFilter& filter,
                       const MirlStream& stream) {
  return run(source, destination, filter, nullptr, false, stream);
}

MirlStatus imageFilter(const MirlImage& source, MirlImage& destination, const MirlRect& region,
                       const MirlFilter& filter, bool copyOutside, const MirlStream& stream) {
  return run(source, destination, filter, &region, copyOutside, stream);
}

}  // namespace mirl::imageFiltering
