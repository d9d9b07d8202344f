#include <mirl/dataExchange.h>

#include "core/access.h"
#include "core/elements.h"
#include "engine/dispatch.h"
#include "engine/map.h"
#include "engine/numbers/conversions.h"

#include <cstdint>

namespace mirl::dataExchange {
namespace {

using engine::Combination;

template <class S, class D>
struct kernel_bitConversion {
  S sourceMaximum;
  float ratio;
  float destinationMaximum;

  MIRL_HD D operator()(S element) const {
    const S value = element < sourceMaximum ? element : sourceMaximum;
    return static_cast<D>(engine::truncateTo(engine::toFloat(value) * ratio, destinationMaximum));
  }
};

std::int64_t rowElements(const MirlImage& image) {
  return std::int64_t{image.width()} * image.channels();
}

bool hasServedDepth(const MirlImage& image) {
  return image.depth() == 8 || image.depth() == 16;
}

}  // namespace

MirlStatus bitConversion(const MirlImage& source, const MirlImage& destination,
                         const MirlStream& stream) {
  if (!core::isLive(source) || !core::isLive(destination)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (!hasServedDepth(source) || !hasServedDepth(destination)) return MIRL_DEPTH_NOT_SUPPORTED;
  if (source.dataBits() > source.depth() || destination.dataBits() > destination.depth()) {
    return MIRL_INVALID_ARGUMENT;
  }
  if (rowElements(destination) < rowElements(source) || destination.height() < source.height()) {
    return MIRL_MISMATCH;
  }
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, source, {&destination}, queue);
  if (found != MIRL_SUCCESS) return found;

  const unsigned sourceMaximum = core::maximumOf(source.dataBits());
  const auto destinationMaximum = static_cast<float>(core::maximumOf(destination.dataBits()));
  const float ratio = destinationMaximum / static_cast<float>(sourceMaximum);
  engine::visitElements<1>(
      engine::Pairs<engine::Integers, engine::Integers>{},
      engine::elementTypesOf(source, destination), [&]<class S, class D>(Combination<S, D>) {
        engine::View<D> out = engine::elementsOf<D>(destination);
        const engine::View<const S> in = engine::elementsOf<const S>(source);
        out.width = in.width;
        out.height = in.height;
        engine::map(
            queue,
            kernel_bitConversion<S, D>{static_cast<S>(sourceMaximum), ratio, destinationMaximum},
            out, in);
      });
  return MIRL_SUCCESS;
}

}  // namespace mirl::dataExchange
