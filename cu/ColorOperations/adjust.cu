#include <mirl/colorEnhancement.h>
#include <mirl/imageStatistics.h>

#include "core/access.h"
#include "core/elements.h"
#include "engine/numbers/conversions.h"
#include "engine/tables.h"

namespace mirl::colorOperations {
namespace {

using Byte = std::uint8_t;

/// A number from 0 to 1 as a byte; others are limited, and NaN is 0.
float byteOf(double number) {
  return static_cast<float>(core::limitedTo(number * 255.0, core::maximumOf(8)));
}

/// What the samples of a channel become. All but `operator()` are bytes as floats.
struct Stretch {
  float least, greatest;
  float lowOut, highOut;
  float lowThreshold, highThreshold;

  Byte operator()(Byte sample) const {
    const float value = sample;
    if (value <= lowThreshold || value >= highThreshold) return sample;
    return static_cast<Byte>(stretched(value));
  }
  float stretched(float value) const {
    const float span = highOut - lowOut;
    if (span == 0) return lowOut;  // which a channel of one value would multiply by infinity
    const float share = (value - least + 1e-12f) / (greatest - least);
    const float result = engine::fusedMultiplyAdd(span, share, lowOut);
    if (result < lowOut) return lowOut;
    return result > highOut ? highOut : result;
  }
};

}  // namespace

MirlStatus adjust(MirlImage& image, const MirlScalar& lowThreshold, const MirlScalar& highThreshold,
                  const MirlScalar& lowOut, const MirlScalar& highOut, const MirlStream& stream) {
  if (!core::isLive(image)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (image.type() != MIRL_8U_C1 && image.type() != MIRL_8U_C3) return MIRL_MISMATCH;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, image, {}, queue);
  if (found != MIRL_SUCCESS) return found;
  MirlScalar minimum;
  MirlScalar maximum;
  if (minimum.vals() == nullptr || maximum.vals() == nullptr) return MIRL_DEVICE_ALLOC_FAILED;
  const MirlStatus known = imageStatistics::minMax(image, minimum, maximum, stream);
  if (known != MIRL_SUCCESS) return known;

  const auto stretchOf = [&](int channel) {
    return Stretch{static_cast<float>(minimum[channel]),
                   static_cast<float>(maximum[channel]),
                   byteOf(lowOut[channel]),
                   byteOf(highOut[channel]),
                   byteOf(lowThreshold[channel]),
                   byteOf(highThreshold[channel])};
  };
  if (image.channels() == 1) {
    engine::mapFunction(queue, stretchOf(0), engine::elementsOf<Byte>(image),
                        engine::elementsOf<const Byte>(image));
  } else {
    const Stretch stretch[] = {stretchOf(0), stretchOf(1), stretchOf(2)};
    engine::mapFunction(
        queue, [&](int channel, Byte sample) { return stretch[channel](sample); },
        engine::pixelsOf<Byte, 3>(image), engine::pixelsOf<const Byte, 3>(image));
  }
  return MIRL_SUCCESS;
}

}  // namespace mirl::colorOperations
