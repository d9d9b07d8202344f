#include <mirl/geometryTransforms.h>

#include "core/outputs.h"
#include "core/regions.h"
#include "engine/dispatch.h"
#include "engine/resample.h"
#include "runtime/scratch.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace mirl::geometryTransforms {
namespace {

using core::Part;
using engine::Channels;
using engine::Combination;

/// From a destination pixel to the sample's place in the source.
struct kernel_rotate {
  static constexpr bool kKeepsOrder = true;
  float a;
  float b;
  float tx;
  float ty;

  MIRL_HD engine::Point operator()(int x, int y) const {
    const float u = static_cast<float>(x) - tx;
    const float v = static_cast<float>(y) - ty;
    return {u * a - v * b - 0.5f, u * b + v * a - 0.5f};
  }
};

struct Rotation {
  float cosine;
  float sine;

  explicit Rotation(float angle) {
    const float radians = angle * 0.017453292f;
    cosine = std::cos(radians);
    sine = std::sin(radians);
  }

  /// The map back of the turn about a centre, its result moved by an offset.
  kernel_rotate about(const MirlPoint2D<float>& center, const MirlPoint2D<float>& offset) const {
    const float m2 = (1.0f - cosine) * center.x - center.y * sine;
    const float m5 = center.x * sine + (1.0f - cosine) * center.y;
    const float d = 1.0f / (cosine * cosine + sine * sine);
    return {cosine * d, sine * d, m2 + offset.x, m5 + offset.y};
  }

  kernel_rotate about(const MirlPoint2D<int>& center) const {
    return about({static_cast<float>(center.x), static_cast<float>(center.y)}, {0.0f, 0.0f});
  }
};

bool isServed(const MirlImage& image) {
  return engine::visitElements<1, 3>(engine::AllElements{}, engine::typesOf(image), [](auto) {});
}

/// Queues the turn of elements of a served image's type.
void run(const runtime::Queue& queue, const kernel_rotate& map, const MirlImage& like,
         const Part& source, const Part& destination) {
  const auto turn = [&]<class T, int C>(Combination<T>, Channels<C>) {
    engine::resampleMap<engine::Bilinear, engine::ZeroBorder>(
        queue, map, engine::NormalizedElements<T>{}, engine::pixelsOf<T, C>(destination),
        engine::pixelsOf<const T, C>(source));
  };
  engine::visitPixels<1, 3>(engine::AllElements{}, engine::typesOf(like), turn);
}

bool contains(const MirlSize& size, const MirlPoint2D<int>& point) {
  return point.x >= 0 && point.x < size.width && point.y >= 0 && point.y < size.height;
}

/// Makes a destination a copy of its source; a failure leaves it as it was.
MirlStatus becomeCopy(const runtime::Queue& queue, const MirlImage& source,
                      MirlImage& destination) {
  MirlImage made;
  const core::Format format = core::like(source);
  const bool fits = destination.isInitialized() &&
                    core::compare(destination, format, {core::kSize, core::kType}) == MIRL_SUCCESS;
  if (!fits) {
    const MirlStatus created = core::create(*queue.device, made, format);
    if (created != MIRL_SUCCESS) return created;
  }
  MirlImage& target = fits ? destination : made;
  const MirlStatus copied = core::copy(queue, source, target);
  if (copied != MIRL_SUCCESS) return copied;
  ImageAccess::copyMetadata(source, target);
  return fits ? MIRL_SUCCESS : core::replace(destination, made);
}

/// Turns a rectangle of an image where it is.
MirlStatus rotateInPlace(const runtime::Queue& queue, const kernel_rotate& map,
                         const MirlImage& image, const MirlRect& region) {
  const Part part = Part(image)[region];
  const runtime::Scratch scratch(queue, part.bytes());
  if (!scratch.ok()) return MIRL_DEVICE_ALLOC_FAILED;
  const Part turned = part.in(scratch.data());
  run(queue, map, image, part, turned);
  return core::copy(queue, turned, part);
}

}  // namespace

MirlStatus rotate(const MirlImage& source, MirlImage& destination, float angle,
                  MirlPoint2D<int> center, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (!contains(source.size(), center) || !std::isfinite(angle)) return MIRL_INVALID_ARGUMENT;
  if (&source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  const core::Format format = core::like(source);
  const MirlStatus fits = core::compare(destination, format, {core::kDepth, core::kChannels});
  if (fits != MIRL_SUCCESS) return fits;
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination}, format, queue, {});
  if (ready != MIRL_SUCCESS) return ready;

  if (!isServed(source)) return MIRL_MISMATCH;
  run(queue, Rotation(angle).about(center), source, source, destination);
  return MIRL_SUCCESS;
}

MirlStatus rotate(const MirlImage& source, MirlImage& destination, float angle,
                  MirlPoint2D<int> center, const MirlRect& region, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  const MirlStatus fits =
      core::compare(destination, core::like(source), {core::kDepth, core::kChannels});
  if (fits != MIRL_SUCCESS) return fits;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, source, {&destination}, queue);
  if (found != MIRL_SUCCESS) return found;
  const bool inPlace = &source == &destination;
  const MirlStatus copied = inPlace ? MIRL_SUCCESS : becomeCopy(queue, source, destination);
  if (copied != MIRL_SUCCESS) return copied;

  if (core::isEmpty(region) || !core::contains(source.size(), region) ||
      !contains({region.width, region.height}, center) || !std::isfinite(angle)) {
    return MIRL_INVALID_ARGUMENT;
  }
  if (!isServed(source)) return MIRL_MISMATCH;
  const kernel_rotate map = Rotation(angle).about(center);
  if (inPlace) return rotateInPlace(queue, map, source, region);
  run(queue, map, source, Part(source)[region], Part(destination)[region]);
  return MIRL_SUCCESS;
}

MirlStatus rotateNoCrop(const MirlImage& source, MirlImage& destination, float angle,
                        const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (!std::isfinite(angle)) return MIRL_INVALID_ARGUMENT;
  const Rotation rotation(angle);
  const auto width = static_cast<float>(source.width());
  const auto height = static_cast<float>(source.height());
  // Two corners of the turned rectangle about (0, 0); the other two are opposite to them.
  const float hc = rotation.cosine * 0.5f;
  const float hs = rotation.sine * 0.5f;
  const auto extent = [](float one, float other) {
    const double reach = std::ceil(std::max(std::fabs(one), std::fabs(other)));
    return 2.0 * reach + 1.0;
  };
  const double newWidth = extent(-height * hs - width * hc, height * hs - width * hc);
  const double newHeight = extent(height * hc - width * hs, -height * hc - width * hs);
  if (newWidth > INT_MAX || newHeight > INT_MAX) return MIRL_INVALID_ARGUMENT;
  if (&source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, source, {&destination}, queue);
  if (found != MIRL_SUCCESS) return found;

  const MirlSize size(static_cast<int>(newWidth), static_cast<int>(newHeight));
  MirlImage made;
  const MirlStatus created = core::create(*queue.device, made, core::like(source, {.size = size}));
  if (created != MIRL_SUCCESS) return created;
  const bool served = isServed(source);
  if (served) {
    const MirlPoint2D<float> center(std::trunc(width / 2.0f), std::trunc(height / 2.0f));
    const MirlPoint2D<float> offset(static_cast<float>(size.width - source.width()) / 2.0f,
                                    static_cast<float>(size.height - source.height()) / 2.0f);
    run(queue, rotation.about(center, offset), source, source, made);
  }
  const MirlStatus replaced = core::replace(destination, made);
  if (replaced != MIRL_SUCCESS) return replaced;
  return served ? MIRL_SUCCESS : MIRL_MISMATCH;
}

}  // namespace mirl::geometryTransforms
