#include <mirl/imageTransforms.h>

#include "core/outputs.h"
#include "engine/fourier.h"
#include "engine/map.h"
#include "engine/numbers/arctangent.h"
#include "engine/permute.h"

#include <cmath>
#include <cstdint>

namespace mirl::imageTransforms {
namespace {

using engine::View;
using Complex = engine::Pixel<float, 2>;

struct kernel_get_magnitude {
  MIRL_HD float operator()(const Complex& value) const {
    const float re = value.v[0], im = value.v[1];
    return std::sqrt(engine::fusedMultiplyAdd(re, re, im * im));
  }
};

struct kernel_get_phase {
  MIRL_HD float operator()(const Complex& value) const {
    return engine::angleOf(value.v[1], value.v[0]);
  }
};

/// One of the two parts.
template <int kPart>
struct kernel_get_part {
  MIRL_HD float operator()(const Complex& value) const { return value.v[kPart]; }
};

template <class Property>
struct kernel_get_scaled {
  Property property;
  float height;

  MIRL_HD float operator()(const Complex& value) const { return property(value) / height; }
};

/// Queues a property or, for every second one, its scaled form.
template <class Property>
void read(const runtime::Queue& queue, bool scaled, const MirlImage& source,
          const MirlImage& destination) {
  const auto out = engine::elementsOf<float>(destination);
  const auto in = engine::pixelsOf<const float, 2>(source);
  if (scaled) {
    const auto height = static_cast<float>(source.height());
    engine::map(queue, kernel_get_scaled<Property>{{}, height}, out, in);
  } else {
    engine::map(queue, Property{}, out, in);
  }
}

/// A quadrant in single elements, from a column and a row on.
template <class T>
View<T> quadrant(const MirlImage& image, int column, int row) {
  const View<T> all = engine::elementsOf<T>(image);
  const int left = column * image.channels(), width = image.width() / 2 * image.channels();
  return {engine::rowOf(all, row) + left, all.pitch, width, image.height() / 2};
}

}  // namespace

MirlStatus fft2(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  if (!source.isInitialized()) return MIRL_MISMATCH;
  if (source.channels() != 1) return MIRL_CHANNELS_NOT_SUPPORTED;
  const core::NewOutput isNew(destination);
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination},
                                         core::like(source, {.depth = 32, .channels = 2}), queue,
                                         {core::kSize,
                                          {core::kDepth, MIRL_DEPTH_NOT_SUPPORTED},
                                          {core::kChannels, MIRL_CHANNELS_NOT_SUPPORTED}});
  if (ready != MIRL_SUCCESS) return ready;

  if (source.depth() != 8) return MIRL_DEPTH_NOT_SUPPORTED;
  const bool done = engine::transformFourier(queue, engine::pixelsOf<float, 2>(destination),
                                             engine::elementsOf<const std::uint8_t>(source));
  return isNew.keptIf(done ? MIRL_SUCCESS : MIRL_DEVICE_ALLOC_FAILED);
}

MirlStatus fftShift(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.depth() != 32) return MIRL_DEPTH_NOT_SUPPORTED;
  if (&source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&destination}, core::like(source), queue);
  if (ready != MIRL_SUCCESS) return ready;

  const int halfWidth = source.width() / 2, halfHeight = source.height() / 2;
  if (halfWidth == 0 || halfHeight == 0) return MIRL_SUCCESS;
  for (const int column : {0, halfWidth}) {
    for (const int row : {0, halfHeight}) {
      engine::copyRows(queue, quadrant<float>(destination, column, row),
                       quadrant<const float>(source, halfWidth - column, halfHeight - row));
    }
  }
  return MIRL_SUCCESS;
}

MirlStatus fftGetProperty(const MirlImage& source, MirlImage& destination, MirlFFTProp property,
                          const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.depth() != 32) return MIRL_DEPTH_NOT_SUPPORTED;
  if (source.channels() != 2) return MIRL_CHANNELS_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination},
                                         core::like(source, {.depth = 32, .channels = 1}), queue);
  if (ready != MIRL_SUCCESS) return ready;

  switch (property) {
    case MIRL_FFT_MAGNITUDE:
    case MIRL_FFT_MAGNITUDE_SCALED:
      read<kernel_get_magnitude>(queue, property == MIRL_FFT_MAGNITUDE_SCALED, source, destination);
      break;
    case MIRL_FFT_PHASE:
    case MIRL_FFT_PHASE_SCALED:
      read<kernel_get_phase>(queue, property == MIRL_FFT_PHASE_SCALED, source, destination);
      break;
    case MIRL_FFT_REAL:
    case MIRL_FFT_REAL_SCALED:
      read<kernel_get_part<0>>(queue, property == MIRL_FFT_REAL_SCALED, source, destination);
      break;
    case MIRL_FFT_IMAG:
    case MIRL_FFT_IMAG_SCALED:
      read<kernel_get_part<1>>(queue, property == MIRL_FFT_IMAG_SCALED, source, destination);
      break;
  }
  return MIRL_SUCCESS;
}

}  // namespace mirl::imageTransforms
