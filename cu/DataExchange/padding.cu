#include <mirl/dataExchange.h>

#include "core/elements.h"
#include "core/outputs.h"
#include "engine/paint.h"

#include <climits>

namespace mirl::dataExchange {

MirlStatus padImage(const MirlImage& source, MirlImage& destination, int top, int bottom, int left,
                    int right, const float* values, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (values == nullptr) return MIRL_NULL_POINTER;
  if (top < 0 || bottom < 0 || left < 0 || right < 0) return MIRL_INVALID_ARGUMENT;
  const std::int64_t width = std::int64_t{source.width()} + left + right;
  const std::int64_t height = std::int64_t{source.height()} + top + bottom;
  if (width > INT_MAX || height > INT_MAX) return MIRL_INVALID_ARGUMENT;
  const int channels = source.channels();
  const core::Format padded{
      {static_cast<int>(width), static_cast<int>(height)}, source.depth(), channels};
  const MirlStatus fits = core::compare(
      destination, padded, {{core::kSize, MIRL_INVALID_ARGUMENT}, core::kChannels, core::kDepth});
  if (fits != MIRL_SUCCESS) return fits;
  const core::NewOutput isNew(destination);
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination}, padded, queue);
  if (ready != MIRL_SUCCESS) return ready;

  if (source.depth() != 8 && source.depth() != 16) return MIRL_DEPTH_NOT_SUPPORTED;
  if (channels != 1 && channels != 3) {
    const MirlRect all(0, 0, source.width(), source.height());
    const MirlStatus copied = source.copyTo(destination, {left, top}, all, stream);
    return copied == MIRL_COPY_D2D_FAILED ? isNew.keptIf(copied) : MIRL_CHANNELS_NOT_SUPPORTED;
  }
  const unsigned maximum = core::maximumOf(source.depth() == 8 ? 8 : core::significantBits(source));
  engine::drawFrame(queue, {engine::bytesOf<unsigned char>(destination),
                            engine::bytesOf<const unsigned char>(source),
                            left * static_cast<int>(core::pixelBytes(source)), top,
                            engine::patternOf(source.depth() / 8, channels, [&](int c) {
                              return core::limitedTo(static_cast<double>(values[c]), maximum);
                            })});
  return MIRL_SUCCESS;
}

}  // namespace mirl::dataExchange
