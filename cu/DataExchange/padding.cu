#include <mirl/dataExchange.h>

#include "core/access.h"
#include "core/elements.h"
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
  if (destination.isInitialized()) {
    if (destination.width() != width || destination.height() != height) {
      return MIRL_INVALID_ARGUMENT;
    }
    if (destination.channels() != channels || destination.depth() != source.depth()) {
      return MIRL_MISMATCH;
    }
  }
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, source, {&destination}, queue);
  if (found != MIRL_SUCCESS) return found;
  const bool isNew = !destination.isInitialized();
  const MirlStatus created =
      ImageAccess::create(destination, *queue.device, static_cast<int>(width),
                          static_cast<int>(height), source.depth(), channels);
  if (created != MIRL_SUCCESS) return created;

  if (source.depth() != 8 && source.depth() != 16) return MIRL_DEPTH_NOT_SUPPORTED;
  if (channels != 1 && channels != 3) {
    const MirlRect all(0, 0, source.width(), source.height());
    const MirlStatus copied = source.copyTo(destination, {left, top}, all, stream);
    if (copied != MIRL_COPY_D2D_FAILED) return MIRL_CHANNELS_NOT_SUPPORTED;
    if (isNew) destination.release();
    return copied;
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
