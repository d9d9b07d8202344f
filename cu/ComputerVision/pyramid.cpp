#include <mirl/arithmeticLogical.h>
#include <mirl/filter.h>
#include <mirl/geometryTransforms.h>
#include <mirl/imageFiltering.h>
#include <mirl/pyramid.h>

#include "core/outputs.h"
#include "core/regions.h"
#include "core/scratch_images.h"

#include <algorithm>
#include <utility>

namespace {

using mirl::core::Format;
using mirl::core::like;
using mirl::core::ScratchImages;

constexpr int kMostLevels = 1 << 20;

/// The same side of the next level; 0 if it has none.
int nextSide(int side, float scale) {
  const float next = static_cast<float>(side) * scale;
  return next >= 1.0f && next < 2147483648.0f ? static_cast<int>(next) : 0;
}

/// Calls `visit(level, size)` in the order in which levels are made, as long as they have pixels.
template <class Visit>
void walk(int levels, float scale, MirlSize size, const Visit& visit) {
  for (int i = 0; i < levels && size.width > 0 && size.height > 0; ++i) {
    visit(scale < 1.0f ? i : levels - 1 - i, size);
    size = {nextSide(size.width, scale), nextSide(size.height, scale)};
  }
}

/// Makes a level a copy of an image. What fits is copied in line, without waiting.
void copyInto(MirlImage& level, const MirlImage& image) {
  if (&level == &image) return;
  mirl::runtime::Queue queue;
  const bool fits =
      mirl::core::isLive(level) &&
      mirl::core::findQueue(MirlStream(false), image, {&level}, queue) == MIRL_SUCCESS &&
      level.type() == image.type() && mirl::core::sameSizeAndFormat(level, image);
  if (fits && mirl::core::copy(queue, image, level) == MIRL_SUCCESS) {
    ImageAccess::copyMetadata(image, level);
  } else {
    level = image;
  }
}

/// A side doubled, 0 if that is too much.
int twice(int side) {
  return side < 1 << 30 ? 2 * side : 0;
}

/// The steps that levels are made by. A result that could not be made goes no further.
class Steps {
 public:
  Steps(const MirlSize& filterSize, float sigma, MirlInterpolationType interpolation)
      : filter_(MirlSpecialFilters::gaussian(filterSize, sigma)), interpolation_(interpolation) {}

  bool blur(const MirlImage& from, MirlImage& to) const {
    return to.isInitialized() &&
           mirl::imageFiltering::imageFilter(from, to, filter_, stream_) == MIRL_SUCCESS;
  }
  bool zoom(const MirlImage& from, MirlImage& to) const {
    return mirl::geometryTransforms::resize(from, to, interpolation_, stream_) == MIRL_SUCCESS;
  }
  void takeFrom(MirlImage& level, const MirlImage& what) const {
    mirl::arithmeticLogical::subtract(level, what, level, stream_);
  }

  /// Takes from a level its copy that was blurred and went through a smaller image, if there is one.
  void takeThrough(MirlImage& smaller, MirlImage& level, MirlImage& copy) const {
    if (!blur(level, copy)) return;
    if (zoom(copy, smaller)) zoom(smaller, copy);
    takeFrom(level, copy);
  }
  /// The same with a larger image, where it was blurred.
  void takeThrough(MirlImage& larger, MirlImage& blurred, MirlImage& level, MirlImage& copy) const {
    if (zoom(level, larger) && blur(larger, blurred) && zoom(blurred, copy)) takeFrom(level, copy);
  }

 private:
  const MirlFilter filter_;
  const MirlInterpolationType interpolation_;
  const MirlStream stream_{false};
};

/// Levels in the order in which they are made.
struct Order {
  Order(MirlImage* images_, int count_, bool shrinks_)
      : images(images_), count(count_), shrinks(shrinks_) {}

  MirlImage& operator[](int i) const { return images[shrinks ? i : count - 1 - i]; }
  /// The larger one of the `i`th and the one before it.
  const MirlImage& larger(int i) const { return (*this)[shrinks ? i - 1 : i]; }

  MirlImage* images;
  int count;
  bool shrinks;
};

/// Makes the first level a copy of the image. False if there is none to go on with.
bool begin(const Order& order, const MirlImage& image, mirl::runtime::Queue& queue) {
  if (order.count < 1) return false;
  copyInto(order[0], image);
  return mirl::core::findQueue(MirlStream(false), order[0], {}, queue) == MIRL_SUCCESS;
}

/// What is given out where there is no level, one for each thread, so that threads don't race.
MirlImage& noLevel() {
  thread_local MirlImage none;
  return none;
}

Format halved(const MirlImage& level) {
  Format format = like(level);
  format.size = {level.width() / 2, level.height() / 2};
  return format;
}

Format doubled(const MirlImage& level) {
  Format format = like(level);
  format.size = {twice(level.width()), twice(level.height())};
  return format;
}

}  // namespace

MirlPyramid::MirlPyramid(const MirlSize& size, MirlType type, int levels, float scale) {
  create(size, type, levels, scale);
}

MirlPyramid::MirlPyramid(const MirlImage& image, int levels, float scale,
                         MirlInterpolationType interpolation) {
  create(image, levels, scale, interpolation);
}

MirlPyramid::MirlPyramid(MirlPyramid&& other) noexcept
    : images_(std::move(other.images_)),
      levelCount_(std::exchange(other.levelCount_, 0)),
      scaleFactor_(std::exchange(other.scaleFactor_, 0.0f)) {}

MirlPyramid& MirlPyramid::operator=(MirlPyramid&& other) noexcept {
  MirlPyramid taken(std::move(other));
  images_.swap(taken.images_);
  levelCount_ = taken.levelCount_;
  scaleFactor_ = taken.scaleFactor_;
  return *this;
}

MirlPyramid::~MirlPyramid() = default;

MirlStatus MirlPyramid::allocate(int levels, float scale) {
  if (levels < 1 || levels > kMostLevels || !(scale > 0.0f)) return MIRL_INVALID_ARGUMENT;
  images_.reset(new MirlImage[static_cast<std::size_t>(levels)]);
  levelCount_ = levels;
  scaleFactor_ = scale;
  return MIRL_SUCCESS;
}

MirlStatus MirlPyramid::create(const MirlSize& size, MirlType type, int levels, float scale) {
  if (isInitialized()) return MIRL_SUCCESS;
  const MirlStatus status = allocate(levels, scale);
  if (status != MIRL_SUCCESS) return status;
  walk(levels, scale, size,
       [&](int level, const MirlSize& its) { (*this)[level].create(its, type); });
  return MIRL_SUCCESS;
}

MirlStatus MirlPyramid::createLike(const MirlImage& image, int levels, float scale) {
  if (isInitialized()) return MIRL_SUCCESS;
  const MirlStatus status = allocate(levels, scale);
  mirl::runtime::Device* const device = ImageAccess::device(image);
  if (status != MIRL_SUCCESS || device == nullptr) return status;
  walk(levels, scale, image.size(), [&](int level, const MirlSize& size) {
    mirl::core::create(*device, (*this)[level], mirl::core::like(image, {.size = size}));
  });
  return MIRL_SUCCESS;
}

MirlStatus MirlPyramid::create(const MirlImage& image, int levels, float scale,
                               MirlInterpolationType interpolation) {
  if (isInitialized()) return MIRL_SUCCESS;
  const MirlStatus status = createLike(image, levels, scale);
  if (status != MIRL_SUCCESS) return status;
  const auto taken = scale < 1.0f ? interpolation : MIRL_INTERPOLATION_LINEAR;
  for (int i = 0; i < levels; ++i) {
    mirl::geometryTransforms::resize(image, images_[i], taken, MirlStream(false));
  }
  return MIRL_SUCCESS;
}

MirlStatus MirlPyramid::createGaussian(const MirlImage& image, int levels, float scale,
                                       const MirlSize& filterSize, float sigma,
                                       MirlInterpolationType interpolation) {
  const MirlStatus status = createLike(image, levels, scale);
  if (status != MIRL_SUCCESS) return status;
  const Order order(images_.get(), std::min(levels, levelCount_), scale < 1.0f);
  mirl::runtime::Queue queue;
  if (!begin(order, image, queue)) return MIRL_SUCCESS;
  const Steps steps(filterSize, sigma, interpolation);

  ScratchImages scratch;
  for (int i = 1; i < order.count; ++i) scratch.reserve(0, like(order.larger(i)));
  for (int i = 1; i < order.count; ++i) {
    MirlImage& blurred = scratch.get(queue, 0, like(order.larger(i)));
    if (order.shrinks) {
      if (steps.blur(order[i - 1], blurred)) steps.zoom(blurred, order[i]);
    } else {
      if (steps.zoom(order[i - 1], blurred)) steps.blur(blurred, order[i]);
    }
  }
  return MIRL_SUCCESS;
}

MirlStatus MirlPyramid::createLaplacian(const MirlImage& image, int levels, float scale,
                                        const MirlSize& filterSize, float sigma,
                                        MirlInterpolationType interpolation) {
  const MirlStatus status = createLike(image, levels, scale);
  if (status != MIRL_SUCCESS) return status;
  const Order order(images_.get(), std::min(levels, levelCount_), scale < 1.0f);
  mirl::runtime::Queue queue;
  if (!begin(order, image, queue)) return MIRL_SUCCESS;
  const Steps steps(filterSize, sigma, interpolation);
  MirlImage& last = order[order.count - 1];

  ScratchImages scratch;
  for (int i = 0; i < order.count; ++i) scratch.reserve(0, like(order[i]));
  if (order.shrinks) {
    scratch.reserve(1, halved(last));
    for (int i = 1; i < order.count; ++i) {
      MirlImage &level = order[i - 1], &blurred = scratch.get(queue, 0, like(level));
      steps.takeThrough(order[i], level, blurred);
    }
    MirlImage& half = scratch.get(queue, 1, halved(last));
    steps.takeThrough(half, last, scratch.get(queue, 0, like(last)));
    return MIRL_SUCCESS;
  }
  scratch.reserve(1, doubled(last));
  scratch.reserve(2, doubled(last));
  for (int i = 1; i < order.count; ++i) scratch.reserve(1, like(order[i]));
  for (int i = 1; i < order.count; ++i) {
    MirlImage &level = order[i - 1], &blurred = scratch.get(queue, 1, like(order[i]));
    MirlImage& back = scratch.get(queue, 0, like(level));
    steps.takeThrough(order[i], blurred, level, back);
  }
  MirlImage &large = scratch.get(queue, 1, doubled(last)),
            &blurred = scratch.get(queue, 2, doubled(last));
  steps.takeThrough(large, blurred, last, scratch.get(queue, 0, like(last)));
  return MIRL_SUCCESS;
}

MirlStatus MirlPyramid::release() {
  images_.reset();
  levelCount_ = 0;
  scaleFactor_ = 0;
  return MIRL_SUCCESS;
}

MirlImage& MirlPyramid::operator[](int index) {
  if (index >= 0 && index < levelCount_) return images_[index];
  noLevel().release();
  return noLevel();
}

const MirlImage& MirlPyramid::operator[](int index) const {
  return index >= 0 && index < levelCount_ ? images_[index] : noLevel();
}
