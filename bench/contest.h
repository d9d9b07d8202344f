#pragma once

#include "bench.h"

namespace mirl::bench {

struct Contestant {
  std::string who;
  Prepare prepare;
};

struct Result {
  std::string who;
  double milliseconds = 0;   ///< of one call
  std::string failure = {};  ///< why there is no time
  double worst = 0;          ///< of one call, under load
};

/// Times those that do the same work on the current device. They take turns, so that what else the
/// machine does meets all of them, and of each the best round counts: others make times longer,
/// never shorter.
std::vector<Result> contest(const std::vector<Contestant>& contestants, bool host, int rounds);

/// The same on a busy machine's host device, where it is the others that are of interest: the
/// median of all calls of all rounds, and the worst.
std::vector<Result> contestUnderLoad(const std::vector<Contestant>& contestants, int rounds);

}  // namespace mirl::bench
