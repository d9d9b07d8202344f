#include "contest.h"

#include "gpu_clock.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <stdexcept>

namespace mirl::bench {
namespace {

class HostClock {
 public:
  double milliseconds() const {
    return std::chrono::duration<double, std::milli>(Clock::now() - start_).count();
  }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point start_ = Clock::now();
};

double millisecondsOnHost(const Run& run, int calls) {
  const HostClock clock;
  for (int i = 0; i < calls; ++i) run();
  return clock.milliseconds();
}

/// A contestant at the start: what it does, how often in a round, and on a GPU how long the host
/// takes to queue that.
class Runner {
 public:
  Runner(const Prepare& prepare, bool host) : run_(prepare()), host_(host) {
    run_();  // what is only done once
    if (device::syncCurrentDevice() != MIRL_SUCCESS) throw std::runtime_error("fails on the GPU");
    // A round long enough for the clocks and, on GPUs, no longer than their queue.
    const double enough = host ? 4.0 : 1.0;
    const int most = host ? 1000 : 200;
    calls_ =
        static_cast<int>(std::clamp(std::ceil(enough / round()), 1.0, static_cast<double>(most)));
    if (!host) {
      const HostClock clock;
      for (int i = 0; i < calls_; ++i) run_();
      lead_ = std::min(2 * clock.milliseconds() + 0.05, 5.0);
      device::syncCurrentDevice();
    }
  }

  /// Milliseconds of one call.
  double round() const {
#if MIRL_WITH_CUDA
    if (!host_) return millisecondsOnGpu(run_, calls_, lead_) / calls_;
#endif
    return millisecondsOnHost(run_, calls_) / calls_;
  }

 private:
  Run run_;
  bool host_;
  int calls_ = 1;
  double lead_ = 0;
};

}  // namespace

std::vector<Result> contest(const std::vector<Contestant>& contestants, bool host, int rounds) {
  std::vector<Result> results;
  std::vector<std::pair<std::size_t, Runner>> runners;  // with their results
  for (const Contestant& contestant : contestants) {
    results.push_back({contestant.who});
    try {
      runners.emplace_back(results.size() - 1, Runner(contestant.prepare, host));
    } catch (const std::exception& error) {
      results.back().failure = error.what();
    }
  }
  // The slow are measured well enough by fewer rounds.
  constexpr int kFewest = 3;
  constexpr double kLong = 60;
  const HostClock clock;
  for (int round = 0; round < rounds; ++round) {
    if (round >= kFewest && clock.milliseconds() > kLong * static_cast<double>(runners.size())) {
      break;
    }
    for (const auto& [at, runner] : runners) {
      const double now = runner.round();
      double& best = results[at].milliseconds;
      if (round == 0 || now < best) best = now;
    }
  }
  return results;
}

}  // namespace mirl::bench
