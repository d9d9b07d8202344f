#include <mirl/types.h>

#include <array>

namespace mirl {
namespace {

/// The signed depth of each block of four types.
constexpr std::array<int, 7> kDepths = {8, -8, 16, -16, 32, -32, 64};

}  // namespace

void typeToDepthAndChannels(int type, int& depth, int& channels) {
  if (type < MIRL_8U_C1 || type > MIRL_64F_C4) {
    depth = 0;
    channels = 0;
    return;
  }
  depth = kDepths[static_cast<std::size_t>(type / 4)];
  channels = type % 4 + 1;
}

MirlType depthAndChannelsToType(int depth, int channels, bool isSigned) {
  if (depth > 0 && channels >= 1 && channels <= 4) {
    const int wanted = isSigned ? -depth : depth;
    for (std::size_t block = 0; block < kDepths.size(); ++block) {
      if (kDepths[block] == wanted) {
        return static_cast<MirlType>(static_cast<int>(block) * 4 + channels - 1);
      }
    }
  }
  return static_cast<MirlType>(-1);
}

}  // namespace mirl
