#include "cu/ColorOperations/colorConvert.h"
#include "engine/numbers/bits.h"

#include <algorithm>

namespace mirl::colorOperations {
namespace {

using Byte = std::uint8_t;

/// Keeps a pixel whose channel `wanted` leads both others by more than `lead`.
template <int wanted>
struct kernel_colorpick_bgr_8u {
  int lead;

  MIRL_HD Pixel<Byte, 3> operator()(const Pixel<Byte, 3>& in) const {
    const int a = in.v[(wanted + 1) % 3];
    const int b = in.v[(wanted + 2) % 3];
    const bool stays = in.v[wanted] - (a > b ? a : b) > lead;
    const float gray = engine::weightedSum<engine::Products::rounded>(in.v[2], in.v[1], in.v[0],
                                                                      {{0.59f, 0.3f, 0.11f}, 0});
    const unsigned dull = engine::truncateInRange(gray);
    Pixel<Byte, 3> out;
    for (int c = 0; c < 3; ++c) {
      out.v[c] = static_cast<Byte>(engine::select<unsigned>(stays, in.v[c], dull));
    }
    return out;
  }
};

/// Which whole number a difference of bytes must exceed to exceed both 0 and the threshold: 255
/// where none can, as for NaN.
int leadOf(float threshold) {
  if (!(threshold < 255.0f)) return 255;
  return threshold > 0.0f ? static_cast<int>(threshold) : 0;
}

}  // namespace

MirlStatus colorPick(const MirlImage& source, MirlImage& destination, MirlColor color,
                     float threshold, const MirlStream& stream) {
  runtime::Queue queue;
  const MirlStatus ready = prepareColours(source, destination, stream, queue);
  if (ready != MIRL_SUCCESS) return ready;
  if (source.depth() != 8) return MIRL_DEPTH_NOT_SUPPORTED;
  if (source.channelSeq() != MIRL_CHANNELSEQ_BGR) return MIRL_MISMATCH;

  const auto run = [&]<int wanted>(int lead) {
    mapColours<Byte>(queue, kernel_colorpick_bgr_8u<wanted>{lead}, source, destination);
  };
  switch (color) {
    case MIRL_COLOR_RED:
      run.template operator()<2>(leadOf(threshold));
      break;
    case MIRL_COLOR_GREEN:
      run.template operator()<1>(leadOf(threshold));
      break;
    case MIRL_COLOR_BLUE:
      run.template operator()<0>(leadOf(threshold));
      break;
    default:
      run.template operator()<0>(255);
  }
  return MIRL_SUCCESS;
}

}  // namespace mirl::colorOperations
