#include <mirl/colorEnhancement.h>
#include <mirl/colorOperations.h>
#include <mirl/imageStatistics.h>

#include "core/outputs.h"

namespace mirl::colorOperations {
namespace {

float strength(float difference) {
  return difference / 255.0f * 1.2f;
}

/// Writes what `m`, three rows of four, adds to the identity.
void balance(float m0, float m1, float m2, float* m) {
  float& toFirst = m[1];
  float& toLast = m[9];
  if (m1 >= m0 && m1 >= m2) {
    toLast = strength(m1 - m2);
    toFirst = m0 == 0 ? 0 : strength(m1 / m0);
  } else if (m2 >= m1 && m2 >= m0) {
    toFirst = strength(m2 - m0);
  } else if (m0 >= m1 && m0 >= m2) {
    toLast = strength(m0 - m2);
  }
}

}  // namespace

MirlStatus autoColor(const MirlImage& source, MirlImage& destination, const MirlStream&) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  const MirlStream stream;
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&destination}, core::like(source), queue);
  if (ready != MIRL_SUCCESS) return ready;

  // A mean that fails leaves its zeros, which balance nothing.
  MirlScalar means;
  imageStatistics::mean(source, means, stream);
  float matrix[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};
  balance(static_cast<float>(means[0]), static_cast<float>(means[1]), static_cast<float>(means[2]),
          matrix);
  return channelMix(source, destination, matrix, stream);
}

}  // namespace mirl::colorOperations
