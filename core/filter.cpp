#include <mirl/filter.h>

#include "runtime/pinned_pool.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace {

std::size_t entriesOf(int width, int height) {
  return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

std::size_t bytesOf(int width, int height) {
  return entriesOf(width, height) * sizeof(float);
}

MirlPoint2D<int> middle(int width, int height) {
  return {(1 - width) / 2, (1 - height) / 2};
}

/// What stands in for an entry that isn't there. One for each thread, so that threads don't race.
float& spare() {
  thread_local float value;
  value = 0.0f;
  return value;
}

MirlFilter matrix3x3(const std::array<float, 9>& values) {
  return {3, 3, values.data()};
}

}  // namespace

MirlFilter::MirlFilter(const MirlSize& size) {
  create(size);
}
MirlFilter::MirlFilter(const MirlSize& size, const MirlPoint2D<int>& anchor) {
  create(size, anchor);
}
MirlFilter::MirlFilter(const MirlSize& size, const MirlPoint2D<int>& anchor, const float* values) {
  create(size, anchor, values);
}
MirlFilter::MirlFilter(const MirlSize& size, const float* values) {
  create(size, values);
}
MirlFilter::MirlFilter(int width, int height) {
  create(width, height);
}
MirlFilter::MirlFilter(int width, int height, const MirlPoint2D<int>& anchor) {
  create(width, height, anchor);
}
MirlFilter::MirlFilter(int width, int height, const MirlPoint2D<int>& anchor, const float* values) {
  create(width, height, anchor, values);
}
MirlFilter::MirlFilter(int width, int height, const float* values) {
  create(width, height, values);
}

MirlFilter::MirlFilter(const MirlFilter& other) : anchor_(other.anchor_) {
  if (other.initialized_) create(other.width_, other.height_, other.anchor_, other.coefficients_);
}

MirlFilter::MirlFilter(MirlFilter&& other) noexcept
    : width_(std::exchange(other.width_, 0)),
      height_(std::exchange(other.height_, 0)),
      coefficients_(std::exchange(other.coefficients_, nullptr)),
      anchor_(other.anchor_),
      initialized_(std::exchange(other.initialized_, false)) {}

MirlFilter& MirlFilter::operator=(const MirlFilter& other) {
  if (this != &other) *this = MirlFilter(other);
  return *this;
}

MirlFilter& MirlFilter::operator=(MirlFilter&& other) noexcept {
  MirlFilter taken(std::move(other));
  std::swap(width_, taken.width_);
  std::swap(height_, taken.height_);
  std::swap(coefficients_, taken.coefficients_);
  std::swap(anchor_, taken.anchor_);
  std::swap(initialized_, taken.initialized_);
  return *this;
}

MirlFilter::~MirlFilter() {
  release();
}

bool MirlFilter::create(const MirlSize& size) {
  return create(size.width, size.height);
}

bool MirlFilter::create(const MirlSize& size, const MirlPoint2D<int>& anchor) {
  return create(size.width, size.height, anchor);
}

bool MirlFilter::create(const MirlSize& size, const MirlPoint2D<int>& anchor, const float* values) {
  return create(size.width, size.height, anchor, values);
}

bool MirlFilter::create(const MirlSize& size, const float* values) {
  return create(size.width, size.height, values);
}

bool MirlFilter::create(int width, int height) {
  return create(width, height, nullptr);
}

bool MirlFilter::create(int width, int height, const MirlPoint2D<int>& anchor) {
  return create(width, height, anchor, nullptr);
}

bool MirlFilter::create(int width, int height, const float* values) {
  if (width < 1 || height < 1) return false;
  return create(width, height, middle(width, height), values);
}

bool MirlFilter::create(int width, int height, const MirlPoint2D<int>& anchor,
                        const float* values) {
  if (initialized_ || width < 1 || height < 1) return false;
  auto* made = static_cast<float*>(mirl::runtime::allocatePinned(bytesOf(width, height)));
  if (made == nullptr) return false;
  if (values == nullptr) {
    std::fill_n(made, entriesOf(width, height), 0.0f);
  } else {
    std::copy_n(values, entriesOf(width, height), made);
  }
  width_ = width;
  height_ = height;
  coefficients_ = made;
  anchor_ = anchor;
  initialized_ = true;
  return true;
}

bool MirlFilter::release() {
  if (!initialized_) return false;
  if (!mirl::runtime::freePinned(coefficients_, bytesOf(width_, height_))) return false;
  initialized_ = false;
  width_ = 0;
  height_ = 0;
  coefficients_ = nullptr;
  return true;
}

float& MirlFilter::operator[](int k) const {
  if (!initialized_ || k < 0 || static_cast<std::size_t>(k) >= entriesOf(width_, height_)) {
    return spare();
  }
  return coefficients_[k];
}

float& MirlFilter::operator()(int i, int j) const {
  if (!initialized_ || i < 0 || j < 0 || i >= width_ || j >= height_) return spare();
  return coefficients_[entriesOf(width_, j) + static_cast<std::size_t>(i)];
}

MirlFilter MirlSpecialFilters::average(const MirlSize& size) {
  MirlFilter filter(size);
  if (!filter.isInitialized()) return filter;
  const std::size_t count = entriesOf(size.width, size.height);
  std::fill_n(filter.coeffs(), count, 1.0f / static_cast<float>(count));
  return filter;
}

MirlFilter MirlSpecialFilters::gaussian(const MirlSize& size, float sigma) {
  MirlFilter filter(size);
  if (!filter.isInitialized()) return filter;
  const float factor = -1.0f / (2.0f * sigma * sigma);
  const std::size_t count = entriesOf(size.width, size.height);
  float* entry = filter.coeffs();
  float sum = 0.0f;
  float y = static_cast<float>(1 - size.height) / 2.0f;
  for (int j = 0; j < size.height; ++j, y += 1.0f) {
    float x = static_cast<float>(1 - size.width) / 2.0f;
    for (int i = 0; i < size.width; ++i, x += 1.0f) {
      const float exponent = (x * x + y * y) * factor;
      *entry = static_cast<float>(std::exp(static_cast<double>(exponent)));
      sum += *entry++;
    }
  }
  constexpr float kEpsilon = 1.1920929e-7f;
  if (sum > kEpsilon || sum < -kEpsilon) {
    std::for_each_n(filter.coeffs(), count, [sum](float& value) { value /= sum; });
  }
  return filter;
}

namespace {

struct LaplacianEntries {
  float corner;
  float edge;
  float centre;
};

LaplacianEntries laplacianEntries(float alpha) {
  if (0.0f > alpha) alpha = 0.0f;
  if (alpha > 1.0f) alpha = 1.0f;
  return {alpha / (alpha + 1.0f), (1.0f - alpha) / (1.0f + alpha), -4.0f / (1.0f + alpha)};
}

}  // namespace

MirlFilter MirlSpecialFilters::laplacian(float alpha) {
  const auto [c, e, m] = laplacianEntries(alpha);
  return matrix3x3({c, e, c, e, m, e, c, e, c});
}

MirlFilter MirlSpecialFilters::unsharp(float alpha) {
  const auto [c, e, m] = laplacianEntries(alpha);
  const auto centre = static_cast<float>(1.0 - static_cast<double>(m));
  return matrix3x3({-c, -e, -c, -e, centre, -e, -c, -e, -c});
}

MirlFilter MirlSpecialFilters::prewitt() {
  return matrix3x3({1, 1, 1, 0, 0, 0, -1, -1, -1});
}

MirlFilter MirlSpecialFilters::scharr() {
  return matrix3x3({3, 10, 3, 0, 0, 0, -3, -10, -3});
}

MirlFilter MirlSpecialFilters::sobel() {
  return matrix3x3({1, 2, 1, 0, 0, 0, -1, -2, -1});
}
