#include <mirl/imageFiltering.h>

#include "core/outputs.h"
#include "core/regions.h"
#include "engine/dispatch.h"
#include "engine/paint.h"
#include "engine/rank.h"
#include "runtime/scratch.h"

#include <cstdint>

namespace mirl::imageFiltering {
namespace {

using core::Part;
using engine::Channels;
using engine::Combination;

using Bytes = engine::View<std::uint8_t>;
using ConstBytes = engine::View<const std::uint8_t>;

template <class Extreme, int C>
MirlStatus filter(const runtime::Queue& queue, const Part& source, const Part& destination,
                  const MirlSize& window) {
  const Bytes out = engine::elementsOf<std::uint8_t>(destination);
  const ConstBytes in = engine::elementsOf<const std::uint8_t>(source);
  return engine::extreme<Extreme, C>(queue, out, in, window) ? MIRL_SUCCESS
                                                             : MIRL_DEVICE_ALLOC_FAILED;
}

/// Of an image that is its own destination the windows see a copy.
template <class Extreme, int C>
MirlStatus filterInPlace(const runtime::Queue& queue, const Part& part, const MirlSize& window) {
  const runtime::Scratch scratch(queue, part.bytes());
  if (!scratch.ok()) return MIRL_DEVICE_ALLOC_FAILED;
  const Part before = part.in(scratch.data());
  if (core::copy(queue, part, before) != MIRL_SUCCESS) return MIRL_COPY_D2ARRAY_FAILED;
  return filter<Extreme, C>(queue, before, part, window);
}

/// What is in a window without area.
template <class Extreme>
MirlStatus fill(const runtime::Queue& queue, const Part& part) {
  engine::fill(queue, engine::bytesOf<unsigned char>(part),
               engine::patternOf(1, 1, [](int) { return Extreme::kNone; }));
  return MIRL_SUCCESS;
}

template <class Extreme, int C>
MirlStatus run(const runtime::Queue& queue, const MirlImage& source, const MirlImage& destination,
               const MirlRect& region, const MirlSize& window) {
  const bool inPlace = &source == &destination;
  const Part from = Part(source)[region], to = Part(destination)[region];
  const MirlStatus filtered = core::isEmpty(region)                   ? MIRL_SUCCESS
                              : window.width < 1 || window.height < 1 ? fill<Extreme>(queue, to)
                              : inPlace ? filterInPlace<Extreme, C>(queue, to, window)
                                        : filter<Extreme, C>(queue, from, to, window);
  if (filtered != MIRL_SUCCESS || inPlace) return filtered;
  const MirlStatus copied = core::copyAround(queue, source, destination, region);
  return copied == MIRL_SUCCESS ? MIRL_SUCCESS : MIRL_COPY_FAILED;
}

template <class Extreme>
MirlStatus run(const MirlImage& source, MirlImage& destination, const MirlRect& region,
               const MirlSize& window, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  const core::NewOutput isNew(destination);
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&destination}, core::like(source), queue);
  if (ready != MIRL_SUCCESS) return ready;

  const bool inside = core::contains(source.size(), region) && region.x < source.width() &&
                      region.y < source.height();
  MirlStatus status = MIRL_MISMATCH;
  engine::visitPixels<1, 3>(
      engine::Elements<std::uint8_t>{}, engine::typesOf(source),
      [&]<int C>(Combination<std::uint8_t>, Channels<C>) {
        status = inside ? isNew.keptIf(run<Extreme, C>(queue, source, destination, region, window))
                        : MIRL_ROI_OUT_OF_BOUNDS;
      });
  return status;
}

}  // namespace

MirlStatus minFilter(const MirlImage& source, MirlImage& destination, const MirlRect& region,
                     const MirlSize& window, const MirlStream& stream) {
  return run<engine::Least>(source, destination, region, window, stream);
}

MirlStatus maxFilter(const MirlImage& source, MirlImage& destination, const MirlRect& region,
                     const MirlSize& window, const MirlStream& stream) {
  return run<engine::Greatest>(source, destination, region, window, stream);
}

}  // namespace mirl::imageFiltering
