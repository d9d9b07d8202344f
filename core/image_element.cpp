#include <mirl/image.h>

#include "core/access.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

using mirl::runtime::Device;
using mirl::runtime::Direction;

namespace {

bool inside(const MirlImage& image, int x, int y) {
  return x >= 0 && y >= 0 && x < image.width() && y < image.height();
}

char* elementAt(const MirlImage& image, int x, int y, int channel) {
  const std::size_t element = static_cast<std::size_t>(image.depth()) / 8;
  return static_cast<char*>(image.ptr()) +
         static_cast<std::size_t>(y) * static_cast<std::size_t>(image.pitch()) +
         static_cast<std::size_t>(x) * mirl::core::pixelBytes(image) +
         static_cast<std::size_t>(channel) * element;
}

/// Calls `visit` with a value of the image's element type; false if its depth has none.
template <class Visitor>
bool withElement(const MirlImage& image, const Visitor& visit) {
  const bool isSigned = image.isSigned();
  switch (image.depth()) {
    case 8:
      isSigned ? visit(std::int8_t{}) : visit(std::uint8_t{});
      return true;
    case 16:
      isSigned ? visit(std::int16_t{}) : visit(std::uint16_t{});
      return true;
    case 32:
      isSigned ? visit(std::int32_t{}) : visit(float{});
      return true;
    case 64:
      visit(double{});
      return true;
    default:
      return false;
  }
}

template <class T>
T narrow(double value) {
  if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(value);
  } else {
    if (std::isnan(value)) return T{0};
    if (value <= static_cast<double>(std::numeric_limits<T>::min())) {
      return std::numeric_limits<T>::min();
    }
    if (value >= static_cast<double>(std::numeric_limits<T>::max())) {
      return std::numeric_limits<T>::max();
    }
    return static_cast<T>(value);
  }
}

}  // namespace

double MirlImage::get(int x, int y, int channel) const {
  Device* device = ImageAccess::device(*this);
  if (device == nullptr || !inside(*this, x, y) || channel < 0 || channel >= channels_) return 0.0;
  double value = 0.0;
  withElement(*this, [&](auto element) {
    device->copy({&element, sizeof element, elementAt(*this, x, y, channel), sizeof element,
                  sizeof element, 1, Direction::deviceToHost});
    value = static_cast<double>(element);
  });
  return value;
}

MirlScalar MirlImage::get(int x, int y) const {
  MirlScalar pixel;
  for (int c = 0; c < channels_; ++c) pixel[c] = get(x, y, c);
  return pixel;
}

MirlStatus MirlImage::set(int x, int y, int channel, double value) {
  if (!inside(*this, x, y) || channel < 0 || channel >= channels_) return MIRL_INVALID_ARGUMENT;
  Device* device = ImageAccess::device(*this);
  if (device == nullptr) return MIRL_IMAGE_NOT_INITIALIZED;
  bool copied = false;
  const bool known = withElement(*this, [&](auto element) {
    element = narrow<decltype(element)>(value);
    copied = device->copy({elementAt(*this, x, y, channel), sizeof element, &element,
                           sizeof element, sizeof element, 1, Direction::hostToDevice});
  });
  if (!known) return MIRL_DEPTH_NOT_SUPPORTED;
  return copied ? MIRL_SUCCESS : MIRL_COPY_H2D_FAILED;
}

MirlStatus MirlImage::set(int x, int y, const MirlScalar& value) {
  if (!inside(*this, x, y)) return MIRL_INVALID_ARGUMENT;
  for (int c = 0; c < channels_; ++c) {
    const MirlStatus status = set(x, y, c, value[c]);
    if (status != MIRL_SUCCESS) return status;
  }
  return MIRL_SUCCESS;
}
