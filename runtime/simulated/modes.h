#pragma once

// How the simulated GPUs go about what the rules leave open, from the environment:
//
//   MIRL_SIMULATED_GPUS     how many there are (2)
//   MIRL_SIMULATED_ORDER    of threads, blocks and streams: forward, backward or shuffled (forward)
//   MIRL_SIMULATED_SEED     of the shuffling (1)
//   MIRL_SIMULATED_OLD_GPU  the number of one that the library has no code for (none)
//   MIRL_SIMULATED_STREAMS  late: work waits until somebody waits for it; eager: it runs at once

#include <cstddef>
#include <vector>

namespace mirl::simulated {

struct Modes {
  enum class Order { forward, backward, shuffled };
  int gpus = 2;
  int oldGpu = -1;
  Order order = Order::forward;
  unsigned seed = 1;
  bool eager = false;
};

/// Read once.
const Modes& modes();

/// The numbers below `count` in the order of the mode.
void arrange(std::vector<unsigned>& numbers, std::size_t count);
/// The same for what has been in the order of the mode once: only shuffling does it again.
void rearrange(std::vector<unsigned>& numbers, std::size_t count);

}  // namespace mirl::simulated
