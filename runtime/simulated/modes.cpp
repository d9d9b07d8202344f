#include "runtime/simulated/modes.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <random>
#include <string>

#include "runtime/simulated/block.h"

namespace mirl::simulated {
namespace {

std::string variable(const char* name, const char* otherwise) {
  const char* value = std::getenv(name);
  return value == nullptr ? otherwise : value;
}

Modes readModes() {
  Modes read;
  read.gpus = std::atoi(variable("MIRL_SIMULATED_GPUS", "2").c_str());
  read.oldGpu = std::atoi(variable("MIRL_SIMULATED_OLD_GPU", "-1").c_str());
  read.seed =
      static_cast<unsigned>(std::strtoul(variable("MIRL_SIMULATED_SEED", "1").c_str(), nullptr, 0));
  const std::string order = variable("MIRL_SIMULATED_ORDER", "forward");
  const std::string streams = variable("MIRL_SIMULATED_STREAMS", "late");
  if (order == "backward") read.order = Modes::Order::backward;
  if (order == "shuffled") read.order = Modes::Order::shuffled;
  read.eager = streams == "eager";
  if (order != "forward" && read.order == Modes::Order::forward) {
    fault("MIRL_SIMULATED_ORDER is " + order + ": set it to forward, backward or shuffled");
  }
  if (streams != "late" && !read.eager) {
    fault("MIRL_SIMULATED_STREAMS is " + streams + ": set it to late or eager");
  }
  return read;
}

}  // namespace

const Modes& modes() {
  static const Modes read = readModes();
  return read;
}

void rearrange(std::vector<unsigned>& numbers, std::size_t count) {
  static std::minstd_rand generator(modes().seed);
  numbers.resize(count);
  std::iota(numbers.begin(), numbers.end(), 0u);
  if (modes().order == Modes::Order::shuffled) {
    std::shuffle(numbers.begin(), numbers.end(), generator);
  }
}

void arrange(std::vector<unsigned>& numbers, std::size_t count) {
  rearrange(numbers, count);
  if (modes().order == Modes::Order::backward) std::reverse(numbers.begin(), numbers.end());
}

}  // namespace mirl::simulated
