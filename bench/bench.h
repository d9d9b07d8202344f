#pragma once

#include <mirl/mirl.h>

#include <array>
#include <functional>
#include <string>

namespace mirl::bench {

/// Does the work once, or queues it on the default stream of a GPU.
using Run = std::function<void()>;
/// Prepares the work: makes images on the current device and returns what is to be timed. It is
/// called when its turn comes, so that not all images are held at once.
using Prepare = std::function<Run()>;

/// One operation to be timed: on every device, beside a copy that moves as many bytes, and through
/// the peers, which are left out where they are null or not built in.
struct Case {
  std::string operation;
  MirlSize size;
  double bytesPerPixel;  ///< read and written
  Prepare ours;
  Prepare openCv = nullptr;  ///< beside the host device
  Prepare npp = nullptr;     ///< beside the first GPU
};
void add(const Case& benchCase);

/// The sizes at which every operation is timed.
inline constexpr std::array<std::array<int, 2>, 2> kSizes = {{{1920, 1080}, {3840, 2160}}};

/// An image of noise on the current device: bytes as they come, floats from 0 to 255.
MirlImage noise(const MirlSize& size, MirlType type, unsigned seed = 1);

/// "8u C3" and the like.
std::string typeName(MirlType type);

}  // namespace mirl::bench
