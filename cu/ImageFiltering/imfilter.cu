#include <mirl/imageFiltering.h>

#include "core/outputs.h"
#include "engine/correlate.h"
#include "engine/dispatch.h"

#include <algorithm>
#include <climits>
#include <cstdint>

namespace mirl::imageFiltering {
namespace {

using engine::Combination;

/// Image types, with 1 and with 3 channels.
using Served =
    engine::Combinations<Combination<std::uint8_t>, Combination<std::uint16_t>, Combination<float>>;

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

/// The part of a rectangle that lies in the image, in pixels; empty as all zeros.
engine::Window inside(const MirlRect& rect, const MirlImage& image) {
  const auto cut = [](std::int64_t value, int extent) {
    return static_cast<int>(std::clamp<std::int64_t>(value, 0, extent));
  };
  const engine::Window window{cut(rect.x, image.width()), cut(rect.y, image.height()),
                              cut(std::int64_t{rect.x} + rect.width, image.width()),
                              cut(std::int64_t{rect.y} + rect.height, image.height())};
  return window.x0 < window.x1 && window.y0 < window.y1 ? window : engine::Window{0, 0, 0, 0};
}

/// Copies what lies outside a window: above it, left and right of it, below it.
bool copyAround(const runtime::Queue& queue, const MirlImage& from, const MirlImage& to,
                const engine::Window& window) {
  const engine::Window parts[] = {{0, 0, from.width(), window.y0},
                                  {0, window.y0, window.x0, window.y1},
                                  {window.x1, window.y0, from.width(), window.y1},
                                  {0, window.y1, from.width(), from.height()}};
  const auto at = [](const MirlImage& image, const engine::Window& part) {
    return static_cast<char*>(image.ptr()) + static_cast<std::ptrdiff_t>(part.y0) * image.pitch() +
           static_cast<std::size_t>(part.x0) * core::pixelBytes(image);
  };
  for (const engine::Window& part : parts) {
    if (part.x0 >= part.x1 || part.y0 >= part.y1) continue;
    if (!queue.device->copyAsync(
            {at(to, part), static_cast<std::size_t>(to.pitch()), at(from, part),
             static_cast<std::size_t>(from.pitch()),
             static_cast<std::size_t>(part.x1 - part.x0) * core::pixelBytes(from),
             static_cast<std::size_t>(part.y1 - part.y0), runtime::Direction::deviceToDevice},
            queue.stream)) {
      return false;
    }
  }
  return true;
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

  if (source.channels() != 1 && source.channels() != 3) return MIRL_TYPE_NOT_SUPPORTED;
  const engine::Taps taps = tapsOf(filter, source);
  engine::Window window = region == nullptr ? engine::Window{0, 0, source.width(), source.height()}
                                            : inside(*region, source);
  const int bits = core::significantBits(source);
  const float limit = bits > 16 ? 0.0f : static_cast<float>((1u << bits) - 1u);
  MirlStatus status = MIRL_SUCCESS;
  const bool served = engine::visitCombination(
      Served{}, source.channels(), std::array{source.type()}, [&]<class T>(Combination<T>) {
        const engine::Window elements{window.x0 * taps.step, window.y0, window.x1 * taps.step,
                                      window.y1};
        if (!engine::correlate(queue, engine::elementsOf<T>(destination),
                               engine::elementsOf<const T>(source), taps, elements, limit)) {
          status = MIRL_DEVICE_ALLOC_FAILED;
        }
      });
  if (!served) return MIRL_TYPE_NOT_SUPPORTED;
  if (status == MIRL_SUCCESS && copyOutside && !copyAround(queue, source, destination, window)) {
    status = MIRL_COPY_D2D_FAILED;
  }
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
