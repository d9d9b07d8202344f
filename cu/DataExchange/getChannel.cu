#include <mirl/dataExchange.h>

#include "core/outputs.h"
#include "core/regions.h"
#include "engine/dispatch.h"
#include "engine/map.h"
#include "engine/numbers/bits.h"

namespace mirl::dataExchange {
namespace {

using engine::Channels;
using engine::Combination;

template <class T, int ch>
struct kernel_get_channel {
  int channel;

  MIRL_HD T operator()(const engine::Pixel<T, ch>& in) const {
    T element = in.v[0];
    for (int c = 1; c < ch; ++c) element = engine::select(channel == c, in.v[c], element);
    return element;
  }
};

}  // namespace

MirlStatus getChannel(const MirlImage& source, MirlImage& destination, int channel,
                      const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (channel < 0 || channel >= source.channels()) return MIRL_INVALID_ARGUMENT;
  const core::Format gray = core::like(source, {.depth = source.depth(), .channels = 1});
  const MirlStatus single =
      core::compare(destination, gray, {{core::kChannels, MIRL_CHANNELS_NOT_SUPPORTED}});
  if (single != MIRL_SUCCESS) return single;
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination}, gray, queue, {});
  if (ready != MIRL_SUCCESS) return ready;

  const MirlRect all = core::allOf(source);
  const core::Part room = core::Part(destination).as(source.depth(), 1);
  const bool fits = core::contains(room.size(), all);
  const auto run = [&]<class T, int N>(Combination<T>, Channels<N>) {
    if (!fits) return;
    engine::map(queue, kernel_get_channel<T, N>{channel}, engine::elementsOf<T>(room[all]),
                engine::pixelsOf<const T, N>(source));
  };
  const bool served =
      engine::visitPixels<3, 4>(engine::AllElements{}, engine::typesOf(source), run);
  if (!served) return MIRL_TYPE_NOT_SUPPORTED;
  return fits ? MIRL_SUCCESS : MIRL_MISMATCH;
}

}  // namespace mirl::dataExchange

MirlImage MirlImage::operator[](int channel) const {
  MirlImage made;
  if (mirl::dataExchange::getChannel(*this, made, channel) != MIRL_SUCCESS) return {};
  return made;
}
