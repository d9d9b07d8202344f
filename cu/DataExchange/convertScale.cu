#include <mirl/dataExchange.h>

#include "core/outputs.h"
#include "engine/dispatch.h"
#include "engine/map.h"
#include "engine/numbers/conversions.h"

#include <climits>
#include <cstdlib>

namespace mirl::dataExchange {
namespace {

using engine::Combination;

template <class S, class D>
struct kernel_convert_scale {
  float scale;
  float shift;

  MIRL_HD D operator()(S element) const {
    return engine::fromFloat<D>(engine::fusedMultiplyAdd(engine::toFloat(element), scale, shift));
  }
};

}  // namespace

MirlStatus convertScale(const MirlImage& source, MirlImage& destination, float scale, float shift,
                        const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  const core::Format format = core::like(source);
  const MirlStatus fits = core::compare(destination, format, {core::kSize, core::kChannels});
  if (fits != MIRL_SUCCESS) return fits;
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination}, format, queue, {});
  if (ready != MIRL_SUCCESS) return ready;

  const bool served = engine::visitElements<1, 3>(
      engine::Pairs<engine::AllElements, engine::AllElements>{},
      engine::typesOf(source, destination), [&]<class S, class D>(Combination<S, D>) {
        engine::map(queue, kernel_convert_scale<S, D>{scale, shift},
                    engine::elementsOf<D>(destination), engine::elementsOf<const S>(source));
      });
  return served ? MIRL_SUCCESS : MIRL_TYPE_NOT_SUPPORTED;
}

}  // namespace mirl::dataExchange

MirlStatus MirlImage::convertTo(MirlImage& dst, MirlType type, float scale, float shift,
                                const MirlStream& stream) const {
  using mirl::dataExchange::convertScale;
  if (!mirl::core::isLive(*this)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (dst.isInitialized() && dst.type() == type) {
    return convertScale(*this, dst, scale, shift, stream);
  }

  int depth = 0;
  int channels = 0;
  mirl::typeToDepthAndChannels(type, depth, channels);
  if (channels != channels_) return MIRL_CHANNELS_NOT_SUPPORTED;
  mirl::runtime::Queue queue;
  const MirlStatus found = mirl::core::findQueue(stream, *this, {&dst}, queue);
  if (found != MIRL_SUCCESS) return found;

  const bool inPlace = &dst == this;
  if (dst.isInitialized() && !inPlace) {
    const MirlStatus released = dst.release();
    if (released != MIRL_SUCCESS) return released;
  }
  MirlImage made;
  const MirlStatus status = mirl::core::create(*queue.device, made, {size(), depth, channels});
  if (status != MIRL_SUCCESS) return status;
  const MirlStatus converted = convertScale(*this, made, scale, shift, stream);
  if (inPlace) ImageAccess::copyMetadata(*this, made);
  const MirlStatus replaced = mirl::core::replace(dst, made);
  return replaced == MIRL_SUCCESS ? converted : replaced;
}

MirlStatus MirlImage::convertTo(MirlImage& dst, int depth, float scale, float shift,
                                const MirlStream& stream) const {
  const MirlType type = depth == INT_MIN
                            ? static_cast<MirlType>(-1)
                            : mirl::depthAndChannelsToType(std::abs(depth), channels_, depth < 0);
  if (type == -1) return MIRL_DEPTH_NOT_SUPPORTED;
  return convertTo(dst, type, scale, shift, stream);
}
