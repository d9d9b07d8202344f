#include <mirl/computerVision.h>

#include "core/access.h"
#include "engine/each.h"
#include "engine/resample.h"
#include "engine/sloped_window.h"
#include "engine/view.h"
#include "runtime/scratch.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>

namespace mirl::computerVision {
namespace {

using engine::any, engine::except, engine::fill, engine::magnitude, engine::select, engine::store;
using engine::Halo, engine::Place, engine::Sloped, engine::View;
using Bytes = View<const std::uint8_t>;
using Feature = MirlPointValue2D<float, float>;

// What becomes of a feature.
constexpr float kTracked = 0.0f, kFlat = -2.0f, kNoStep = -3.0f, kOutside = -4.0f,
                kTooDifferent = -5.0f;

/// A level's step of all features, which are counted off in rows.
struct kernel_track {
  static constexpr int kVectors = 1;
  static constexpr int kRow = 64;

  Bytes first, second;
  const Feature* features;
  const Feature* from;  ///< where they are in the second image, from the coarser level
  Feature* to;
  int count;
  Halo reach;
  int maxIterations;
  float area, scale, minDisplacement, maxResidual;

  template <class N>
  MIRL_HD void operator()(Place at) const {
    // What lies behind the last one is done as that one.
    const auto index = [&](int lane) {
      const std::int64_t i = std::int64_t{at.y} * kRow + at.x + lane;
      return i < count ? i : std::int64_t{count} - 1;
    };
    const auto read = [&](const Feature* list, float Feature::*field) {
      return fill(static_cast<N*>(nullptr), [&](int lane) { return list[index(lane)].*field; });
    };
    Tracked<N> tracked{read(from, &Feature::x), read(from, &Feature::y),
                       read(from, &Feature::value)};
    track(read(features, &Feature::x), read(features, &Feature::y), tracked);
    constexpr int kLanes = engine::kLanesOf<N>;
    float x[kLanes], y[kLanes], value[kLanes];
    store(tracked.x, x);
    store(tracked.y, y);
    store(tracked.value, value);
    for (int lane = 0; lane < kLanes; ++lane) {
      Feature& feature = to[index(lane)];
      feature.x = x[lane];
      feature.y = y[lane];
      feature.value = value[lane];
    }
  }

 private:
  template <class N>
  struct Tracked {
    N x, y, value;
  };

  template <class N>
  MIRL_HD void track(const N& featureX, const N& featureY, Tracked<N>& tracked) const {
    const N zero(0.0f), s(scale), width(static_cast<float>(first.width)),
        height(static_cast<float>(first.height)), least(0.01f), small(minDisplacement);
    auto ended = zero < zero;
    // Lost ones stay as they are.
    auto moving = (tracked.value != N(kFlat)) & (tracked.value != N(kOutside));
    const auto going = moving;
    const N x1 = featureX * s, y1 = featureY * s;
    N x2 = tracked.x * s, y2 = tracked.y * s;
    tracked.value = select(going, N(kNoStep), tracked.value);
    N residual = zero;
    engine::SlopedWindow<N> window1(first, reach), window2(second, reach);
    for (int i = 0; i < maxIterations; ++i) {
      const auto left = (x1 < zero) | (y1 < zero) | (x2 < zero) | (y2 < zero);
      const auto inside = (x1 < width) & (x2 < width) & (y1 < height) & (y2 < height);
      const auto staying = except(inside & moving, left);
      tracked.value = select(except(moving, staying), N(kOutside), tracked.value);
      ended = ended | except(moving, staying);
      moving = staying;
      if (!any(moving)) break;
      if (i == 0) window1.open(select(moving, x1, zero), select(moving, y1, zero));
      window2.open(select(moving, x2, zero), select(moving, y2, zero));
      N gxx = zero, gyy = zero, gxy = zero, ex = zero, ey = zero, r = zero;
      forSamples(reach, window1, window2, [&](const Sloped<N>& a, const Sloped<N>& b) {
        const N d = a.of[0] - b.of[0], gx = a.of[1] + b.of[1], gy = a.of[2] + b.of[2];
        gxx = gxx + gx * gx;
        gyy = gyy + gy * gy;
        gxy = gxy + gx * gy;
        r = r + magnitude(d);
        ex = ex + d * gx;
        ey = ey + d * gy;
      });
      residual = select(moving, r, residual);
      const N det = gxx * gyy - gxy * gxy;
      const auto textured = moving & (least < magnitude(det));
      tracked.value = select(except(moving, textured), N(kFlat), tracked.value);
      ended = ended | except(moving, textured);
      const N dx = (gyy * ex - gxy * ey) / det, dy = (gxx * ey - gxy * ex) / det;
      tracked.value = select(textured, N(kTracked), tracked.value);
      x2 = select(textured, x2 + dx, x2);
      y2 = select(textured, y2 + dy, y2);
      const auto smallX = magnitude(dx) < small, smallY = magnitude(dy) < small;
      moving = except(textured, smallX & smallY);
    }
    const auto done = except(going, ended);
    const auto different = done & (N(maxResidual) < residual / N(area));
    tracked.value = select(different, N(kTooDifferent), tracked.value);
    tracked.x = select(done, x2 / s, tracked.x);
    tracked.y = select(done, y2 / s, tracked.y);
  }
};

/// The size of a level.
MirlSize sizeAt(const MirlSize& size, float scale) {
  return {static_cast<int>(static_cast<float>(size.width) * scale),
          static_cast<int>(static_cast<float>(size.height) * scale)};
}

using Plane = View<engine::Pixel<std::uint8_t, 1>>;

Bytes bytesOf(const Plane& plane) {
  return {reinterpret_cast<const std::uint8_t*>(plane.data), plane.pitch, plane.width,
          plane.height};
}

/// A level of an image in that memory, or the image itself.
bool makeLevel(const runtime::Queue& queue, const MirlImage& image, const MirlSize& size,
               std::uint8_t* memory, Bytes& level) {
  if (size.width == image.width() && size.height == image.height()) {
    level = engine::elementsOf<const std::uint8_t>(image);
    return true;
  }
  const Plane plane{reinterpret_cast<engine::Pixel<std::uint8_t, 1>*>(memory),
                    (static_cast<std::ptrdiff_t>(size.width) + 63) / 64 * 64, size.width,
                    size.height};
  level = bytesOf(plane);
  return engine::resampleZoom<engine::Bilinear>(queue, engine::PlainElements<std::uint8_t>{}, plane,
                                                engine::pixelsOf<const std::uint8_t, 1>(image));
}

constexpr int kMostLevels = 1000, kLongestSide = 32767;

MirlStatus checkCriteria(const MirlSize& size, const MirlTrackingCriteria& criteria) {
  if (!(criteria.scale > 0.0f && criteria.scale < 1.0f)) return MIRL_INVALID_ARGUMENT;
  if (criteria.levels < 0 || criteria.levels > kMostLevels) return MIRL_INVALID_ARGUMENT;
  for (const int side : {criteria.window.width, criteria.window.height}) {
    if (side < -kLongestSide || side > kLongestSide) return MIRL_INVALID_ARGUMENT;
  }
  float scale = 1.0f;
  for (int l = 0; l < criteria.levels; ++l) scale *= criteria.scale;
  const MirlSize coarsest = sizeAt(size, scale);
  return coarsest.width < 1 || coarsest.height < 1 ? MIRL_NPP_FAILED : MIRL_SUCCESS;
}

/// Queues all levels; the result is one of the two lists of estimates.
MirlStatus track(const runtime::Queue& queue, const MirlImage& image1, const MirlImage& image2,
                 const Feature* features, Feature* (&estimates)[2], int count,
                 const MirlTrackingCriteria& criteria) {
  // The coarser levels are no larger than this one.
  const MirlSize most = sizeAt(image1.size(), criteria.levels > 0 ? criteria.scale : 0.0f);
  const std::size_t levelBytes =
      (static_cast<std::size_t>(most.width) + 63) / 64 * 64 * static_cast<std::size_t>(most.height);
  const runtime::Scratch levels(queue, 2 * levelBytes + 1);
  if (!levels.ok()) return MIRL_DEVICE_ALLOC_FAILED;

  float sizes[kMostLevels + 1] = {1.0f};
  for (int l = 1; l <= criteria.levels; ++l) sizes[l] = sizes[l - 1] * criteria.scale;
  float scale = sizes[criteria.levels];
  for (int l = criteria.levels; l >= 0; --l) {
    const MirlSize size = sizeAt(image1.size(), sizes[l]);
    auto* const memory = levels.as<std::uint8_t>();
    Bytes level1, level2;
    if (!makeLevel(queue, image1, size, memory, level1) ||
        !makeLevel(queue, image2, size, memory + levelBytes, level2)) {
      return MIRL_DEVICE_ALLOC_FAILED;
    }
    const Halo reach{criteria.window.width >> 1, criteria.window.height >> 1};
    const auto area = static_cast<float>(criteria.window.width * criteria.window.height);
    const kernel_track kernel{level1,
                              level2,
                              features,
                              estimates[0],
                              estimates[1],
                              count,
                              reach,
                              criteria.maxIterations,
                              area,
                              scale,
                              criteria.minDisplacement,
                              criteria.maxResidual};
    constexpr int kRow = kernel_track::kRow;
    engine::each(queue, kernel, kRow, (count - 1) / kRow + 1, std::size_t{1} << 15);
    std::swap(estimates[0], estimates[1]);
    scale /= criteria.scale;
  }
  return MIRL_SUCCESS;
}

}  // namespace

MirlStatus trackFeatures(const MirlImage& image1, const MirlImage& image2,
                         MirlPointValue2D<float, float>* features1,
                         MirlPointValue2D<float, float>*& features2, int count,
                         MirlTrackingCriteria criteria, const MirlStream& stream) {
  if (!core::isLive(image1) || !core::isLive(image2)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (image1.depth() != 8) return MIRL_DEPTH_NOT_SUPPORTED;
  if (image1.channels() != 1) return MIRL_CHANNELS_NOT_SUPPORTED;
  if (!core::sameSizeAndFormat(image1, image2)) return MIRL_MISMATCH;
  const MirlStatus sound = checkCriteria(image1.size(), criteria);
  if (sound != MIRL_SUCCESS) return sound;
  if (count > 0 && features1 == nullptr) return MIRL_NULL_POINTER;
  if (image1.isSigned() || image2.isSigned()) return MIRL_TYPE_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, image1, {&image2}, queue);
  if (found != MIRL_SUCCESS) return found;

  const std::size_t features = count > 0 ? static_cast<std::size_t>(count) : 0;
  std::unique_ptr<Feature[]> made(new (std::nothrow) Feature[features]);
  if (!made) return MIRL_DEVICE_ALLOC_FAILED;
  if (features == 0) {
    features2 = made.release();
    return MIRL_SUCCESS;
  }
  const std::size_t bytes = features * sizeof(Feature);
  const runtime::Scratch lists(queue, 3 * bytes);
  if (!lists.ok()) return MIRL_DEVICE_ALLOC_FAILED;
  auto* const reference = lists.as<Feature>();
  Feature* estimates[2] = {reference + features, reference + 2 * features};
  for (Feature* list : {reference, estimates[0]}) {
    const runtime::Copy up{
        list, bytes, features1, bytes, bytes, 1, runtime::Direction::hostToDevice};
    if (!queue.device->copyAsync(up, queue.stream)) return MIRL_COPY_H2D_FAILED;
  }
  const MirlStatus status = track(queue, image1, image2, reference, estimates, count, criteria);
  if (status != MIRL_SUCCESS) return status;
  const runtime::Copy down{
      made.get(), bytes, estimates[0], bytes, bytes, 1, runtime::Direction::deviceToHost};
  if (!queue.device->copyAsync(down, queue.stream)) {
    features2 = made.release();
    return MIRL_COPY_D2H_FAILED;
  }
  if (!queue.device->synchronize(queue.stream)) return MIRL_KERNEL_FAILED;
  features2 = made.release();
  return MIRL_SUCCESS;
}

}  // namespace mirl::computerVision
