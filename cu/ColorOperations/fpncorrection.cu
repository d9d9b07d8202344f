#include <mirl/sensorCorrections.h>

#include "core/outputs.h"
#include "engine/dispatch.h"
#include "engine/map.h"
#include "engine/numbers/conversions.h"

#include <algorithm>
#include <cstdio>

namespace mirl::colorOperations {
namespace {

using engine::Combination;

template <class T>
struct kernel_fpn_correction {
  float gain;
  float maxValue;

  MIRL_HD T operator()(T source, T flat, T dark) const {
    const float d = engine::toFloat(dark);
    const float v = (engine::toFloat(source) - d) * gain / (engine::toFloat(flat) - d);
    return static_cast<T>(engine::truncateTo(v, maxValue));
  }
};

/// In 16 bits that compilers have vectors for.
struct fpnCUDA {
  MIRL_HD std::uint8_t operator()(std::uint8_t source, std::int8_t offset) const {
    const auto difference = static_cast<std::int16_t>(source - offset);
    return static_cast<std::uint8_t>(difference > 0 ? difference : 0);
  }
};

void report(const runtime::HeldError& error, const char* when) {
  if (error.number != 0) std::printf("FPN %s %d %s\n", when, error.number, error.text);
}

template <class T>
engine::View<T> wholeBuffer(const MirlImage& image) {
  return {static_cast<T*>(image.ptr()), image.pitch(), image.pitch(), image.height()};
}

}  // namespace

MirlStatus FPNCorrection(const MirlImage& source, MirlImage& destination, const MirlImage& flat,
                         const MirlImage& dark, float gain, const MirlStream& stream) {
  if (!core::isLive(source) || !core::isLive(flat) || !core::isLive(dark)) {
    return MIRL_IMAGE_NOT_INITIALIZED;
  }
  if (!core::sameSizeAndFormat(source, flat) || !core::sameSizeAndFormat(source, dark))
    return MIRL_MISMATCH;
  const core::Format format = core::like(source, {.depth = source.depth()});
  const MirlStatus fits = core::compare(destination, format);
  if (fits != MIRL_SUCCESS) return fits;
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source, &flat, &dark}, {&destination}, format, queue);
  if (ready != MIRL_SUCCESS) return ready;

  if (source.depth() != 8 && source.depth() != 16) return MIRL_DEPTH_NOT_SUPPORTED;
  if (source.channels() != 1 && source.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  const int bits = source.depth() == 8 ? 8 : core::significantBits(source);
  const auto maxValue = static_cast<float>((1 << bits) - 1);
  engine::visitElements<1>(
      engine::Integers{}, engine::elementTypesOf(source), [&]<class T>(Combination<T>) {
        engine::map(queue, kernel_fpn_correction<T>{gain, maxValue},
                    engine::elementsOf<T>(destination), engine::elementsOf<const T>(source),
                    engine::elementsOf<const T>(flat), engine::elementsOf<const T>(dark));
      });
  return MIRL_SUCCESS;
}

MirlStatus fpn(MirlImage& destination, const MirlImage& source, const MirlImage& offsets) {
  if (!core::isLive(destination) || !core::isLive(source) || !core::isLive(offsets)) {
    return MIRL_IMAGE_NOT_INITIALIZED;
  }
  const auto fits = [&](const MirlImage& image) {
    return image.pitch() == destination.pitch() && image.height() == destination.height();
  };
  if (!fits(source) || !fits(offsets)) return MIRL_MISMATCH;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(MirlStream(), destination, {&source, &offsets}, queue);
  if (found != MIRL_SUCCESS) return found;

  report(queue.device->heldError(), "before");
  engine::map(queue, fpnCUDA{}, wholeBuffer<std::uint8_t>(destination),
              wholeBuffer<const std::uint8_t>(source), wholeBuffer<const std::int8_t>(offsets));
  report(queue.device->heldError(), "kernel");
  return MIRL_SUCCESS;
}

}  // namespace mirl::colorOperations
