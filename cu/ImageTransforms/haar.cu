#include <mirl/imageTransforms.h>

#include "core/outputs.h"
#include "engine/map.h"

#include <algorithm>
#include <climits>
#include <cstdint>

namespace mirl::imageTransforms {
namespace {

using Byte = std::uint8_t;
using engine::Pixel;
using engine::View;

MIRL_HD Byte quarter(std::int16_t sum) {
  const auto positive = static_cast<std::uint16_t>(sum > 0 ? sum : 0);
  return static_cast<Byte>(positive >> 2);
}

MIRL_HD Byte lowByte(std::int16_t sum) {
  return static_cast<Byte>(sum > 0 ? sum : 0);
}

/// From two neighbours above two others to their element of each band.
template <int C>
struct kernel_haar_forward {
  MIRL_HD Pixel<Byte, 4 * C> operator()(const Pixel<Byte, 2 * C>& upper,
                                        const Pixel<Byte, 2 * C>& lower) const {
    Pixel<Byte, 4 * C> bands;
    for (int i = 0; i < C; ++i) {
      const std::int16_t a = upper.v[i], b = upper.v[C + i], c = lower.v[i], d = lower.v[C + i];
      const auto left = static_cast<std::int16_t>(a + c), right = static_cast<std::int16_t>(b + d);
      const auto falling = static_cast<std::int16_t>(a - c);
      const auto beside = static_cast<std::int16_t>(b - d);
      bands.v[i] = quarter(static_cast<std::int16_t>(left + right));
      bands.v[C + i] = quarter(static_cast<std::int16_t>(left - right));
      bands.v[2 * C + i] = quarter(static_cast<std::int16_t>(falling + beside));
      bands.v[3 * C + i] = quarter(static_cast<std::int16_t>(falling - beside));
    }
    return bands;
  }
};

/// Back to the two above and the two below them.
template <int C>
struct kernel_haar_inverse {
  MIRL_HD Pixel<Byte, 4 * C> operator()(const Pixel<Byte, 4 * C>& bands) const {
    Pixel<Byte, 4 * C> block;
    for (int i = 0; i < C; ++i) {
      const std::int16_t p = bands.v[i], q = bands.v[C + i];
      const std::int16_t r = bands.v[2 * C + i], s = bands.v[3 * C + i];
      const auto left = static_cast<std::int16_t>(p + q), right = static_cast<std::int16_t>(p - q);
      const auto falling = static_cast<std::int16_t>(r + s);
      const auto beside = static_cast<std::int16_t>(r - s);
      block.v[i] = lowByte(static_cast<std::int16_t>(left + falling));
      block.v[C + i] = lowByte(static_cast<std::int16_t>(right + beside));
      block.v[2 * C + i] = lowByte(static_cast<std::int16_t>(left - falling));
      block.v[3 * C + i] = lowByte(static_cast<std::int16_t>(right - beside));
    }
    return block;
  }
};

/// An image of C channels as single elements, or as pixels.
template <class T, int C>
struct ItemsOf {
  using type = Pixel<T, C>;
};
template <class T>
struct ItemsOf<T, 1> {
  using type = T;
};

/// The corner of an image that a band takes.
template <class Item>
View<Item> bandIn(const MirlImage& image, const MirlSize& size) {
  return {static_cast<Item*>(image.ptr()), image.pitch(), size.width, size.height};
}

/// Every second row of an image, from row 0 or 1 on, as pairs of pixels.
template <class Pair>
View<Pair> pairsOf(const MirlImage& image, int row) {
  auto* const first = static_cast<char*>(image.ptr()) + row * std::ptrdiff_t{image.pitch()};
  return {reinterpret_cast<Pair*>(first), 2 * std::ptrdiff_t{image.pitch()}, image.width() / 2,
          image.height() / 2};
}

template <int C>
void forward(const runtime::Queue& queue, const MirlImage& source, const MirlImage& band1,
             const MirlImage& band2, const MirlImage& band3, const MirlImage& band4) {
  using Item = typename ItemsOf<Byte, C>::type;
  using Pair = const Pixel<Byte, 2 * C>;
  const MirlSize half(source.width() / 2, source.height() / 2);
  engine::map(queue, kernel_haar_forward<C>{},
              engine::planarOf(bandIn<Item>(band1, half), bandIn<Item>(band2, half),
                               bandIn<Item>(band3, half), bandIn<Item>(band4, half)),
              pairsOf<Pair>(source, 0), pairsOf<Pair>(source, 1));
}

template <int C>
void inverse(const runtime::Queue& queue, const MirlImage& band1, const MirlImage& band2,
             const MirlImage& band3, const MirlImage& band4, const MirlImage& destination) {
  using Item = const typename ItemsOf<Byte, C>::type;
  using Pair = Pixel<Byte, 2 * C>;
  const MirlSize size = band1.size();
  auto upper = pairsOf<Pair>(destination, 0);
  upper.height = size.height;
  engine::map(queue, kernel_haar_inverse<C>{},
              engine::planarOf(upper, pairsOf<Pair>(destination, 1)),
              engine::planarOf(bandIn<Item>(band1, size), bandIn<Item>(band2, size),
                               bandIn<Item>(band3, size), bandIn<Item>(band4, size)));
}

bool isServed(const MirlImage& image) {
  return image.type() == MIRL_8U_C1 || image.type() == MIRL_8U_C3;
}

bool areAlike(const MirlImage& a, const MirlImage& b) {
  return a.width() == b.width() && a.height() == b.height() && a.depth() == b.depth();
}

}  // namespace

MirlStatus haarFwd(const MirlImage& source, MirlImage& band1, MirlImage& band2, MirlImage& band3,
                   MirlImage& band4, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.width() % 2 != 0 || source.height() % 2 != 0) return MIRL_MISMATCH;
  const MirlSize half(source.width() / 2, source.height() / 2);
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&band1, &band2, &band3, &band4},
                    core::like(source, {.size = half}), queue, {core::kChannels});
  if (ready != MIRL_SUCCESS) return ready;

  if (!isServed(source)) return MIRL_TYPE_NOT_SUPPORTED;
  const MirlImage* const roles[] = {&source, &band1, &band2, &band3, &band4};
  for (const auto* role = std::begin(roles); role != std::end(roles); ++role) {
    if (std::count(role, std::end(roles), *role) > 1) return MIRL_IN_PLACE_NOT_SUPPORTED;
  }
  const bool fits = band1.width() >= half.width && band1.height() >= half.height &&
                    band1.depth() == source.depth() && areAlike(band2, band1) &&
                    areAlike(band3, band1) && areAlike(band4, band1);
  if (!fits) return MIRL_MISMATCH;
  const auto run = source.channels() == 1 ? forward<1> : forward<3>;
  run(queue, source, band1, band2, band3, band4);
  return MIRL_SUCCESS;
}

MirlStatus haarInv(const MirlImage& band1, const MirlImage& band2, const MirlImage& band3,
                   const MirlImage& band4, MirlImage& destination, const MirlStream& stream) {
  const MirlImage* const bands[] = {&band1, &band2, &band3, &band4};
  for (const MirlImage* band : bands) {
    if (!core::isLive(*band)) return MIRL_IMAGE_NOT_INITIALIZED;
  }
  const std::int64_t width = 2 * std::int64_t{band1.width()};
  const std::int64_t height = 2 * std::int64_t{band1.height()};
  const bool isNew = !destination.isInitialized();
  if (isNew ? width > INT_MAX || height > INT_MAX : destination.width() != width) {
    return MIRL_INVALID_ARGUMENT;
  }
  const MirlSize size(static_cast<int>(width), isNew ? static_cast<int>(height) : 0);
  const core::Format format = core::like(band1, {.size = size});
  const MirlStatus fits = core::compare(destination, format, {core::kType});
  if (fits != MIRL_SUCCESS) return fits;
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&band1, &band2, &band3, &band4}, {&destination}, format, queue, {});
  if (ready != MIRL_SUCCESS) return ready;

  if (!isServed(band1)) return MIRL_MISMATCH;
  for (const MirlImage* band : bands) {
    if (band == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
    if (!areAlike(*band, band1) || band->type() != band1.type()) return MIRL_MISMATCH;
  }
  if (destination.height() < height) return MIRL_MISMATCH;
  const auto run = band1.channels() == 1 ? inverse<1> : inverse<3>;
  run(queue, band1, band2, band3, band4, destination);
  return MIRL_SUCCESS;
}

}  // namespace mirl::imageTransforms
