#include <mirl/sensorCorrections.h>

#include "core/elements.h"
#include "core/outputs.h"
#include "core/regions.h"
#include "engine/paint.h"

namespace mirl::colorOperations {
namespace {

/// Whether two margins leave something of a side, or nothing.
bool fit(int margin, int other, int side) {
  return margin >= 0 && other >= 0 && margin <= side && other <= side - margin;
}

}  // namespace

MirlStatus borderMask(const MirlImage& source, MirlImage& destination, int top, int bottom,
                      int left, int right, const float* value, const MirlStream& stream) {
  if (value == nullptr) return MIRL_NULL_POINTER;
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  const core::Format format = core::like(source, {.depth = source.depth()});
  const MirlStatus fits = core::compare(destination, format);
  if (fits != MIRL_SUCCESS) return fits;
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination}, format, queue);
  if (ready != MIRL_SUCCESS) return ready;

  const int width = source.width(), height = source.height(), channels = source.channels();
  if (source.depth() != 8 && source.depth() != 16) return MIRL_DEPTH_NOT_SUPPORTED;
  if (!fit(left, right, width) || !fit(top, bottom, height)) return MIRL_INVALID_ARGUMENT;
  if (channels != 1 && channels != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  const MirlRect inside(left, top, width - left - right, height - top - bottom);
  const auto inner = engine::bytesOf<const unsigned char>(core::Part(source)[inside]);
  const int leftBytes = left * static_cast<int>(core::pixelBytes(source));
  engine::drawFrame(queue, {engine::bytesOf<unsigned char>(destination), inner, leftBytes, top,
                            engine::patternOf(source.depth() / 8, channels,
                                              [&](int c) { return core::lowBits(value[c]); })});
  return MIRL_SUCCESS;
}

}  // namespace mirl::colorOperations
