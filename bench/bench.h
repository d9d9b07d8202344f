#pragma once

#include <mirl/mirl.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace mirl::bench {

/// Does the work once, or queues it on the default stream of a GPU. What can't be done is thrown.
using Run = std::function<void()>;
/// Prepares the work: makes images on the current device and returns what is to be timed. It is
/// called when its turn comes, so that not all images are held at once.
using Prepare = std::function<Run()>;

/// One operation to be timed: on every device, beside what moves as many bytes and the peers.
struct Case {
  std::string operation;
  MirlSize size;
  double bytesPerPixel;  ///< read and written
  Prepare ours;
  Prepare openCv = nullptr;  ///< beside the host device, null where there is none
};
void add(const Case& benchCase);

/// The sizes at which every operation is timed: unless all are asked for the host device has the
/// first, and GPUs, which it would not fill, the second.
inline constexpr std::array<std::array<int, 2>, 2> kSizes = {{{1920, 1080}, {3840, 2160}}};

/// An image of noise on the current device: bytes as they come, floats from 0 to 255.
MirlImage noise(const MirlSize& size, MirlType type, unsigned seed = 1);

/// "8u C3" and the like.
std::string typeName(MirlType type);
/// "8u" and the like.
std::string depthName(MirlType type);
/// Bytes of a pixel.
double bytesOf(MirlType type);

#if MIRL_BENCH_NPP
/// The same work through the GPU vendor's primitives, null where they don't have it.
Prepare nppPeer(const Case& benchCase);
/// The operations that have such a peer.
std::vector<std::string> nppOperations();
#endif

/// What images are warped by: a turn with a shift, and a page seen from its side. No constants,
/// because warps take any.
inline double kTurn[3][3] = {{0.985, -0.174, 90}, {0.174, 0.985, -60}, {0, 0, 1}};
inline double kPage[3][3] = {{0.9, 0.1, 40}, {-0.05, 0.95, 60}, {3e-5, -2e-5, 1}};

}  // namespace mirl::bench
