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

  /// Milliseconds of a single call on the host device.
  double once() const { return millisecondsOnHost(run_, 1); }

  /// Milliseconds of one call.
  double round() const {
#if MIRL_WITH_CUDA
    if (!host_) return millisecondsOnGpu(run_, calls_, lead_) / calls_;
#endif
    return millisecondsOnHost(run_, calls_) / calls_;
  }

 private:
  Run run_;
  [[maybe_unused]] bool host_;
  int calls_ = 1;
  double lead_ = 0;
};

}  // namespace

namespace {

using Runners = std::vector<std::pair<std::size_t, Runner>>;  // with their results

/// Those who can be timed; the others' results say why not.
Runners start(const std::vector<Contestant>& contestants, bool host, std::vector<Result>& results) {
  Runners runners;
  for (const Contestant& contestant : contestants) {
    results.push_back({contestant.who});
    try {
      runners.emplace_back(results.size() - 1, Runner(contestant.prepare, host));
    } catch (const std::exception& error) {
      results.back().failure = error.what();
    }
  }
  return runners;
}

}  // namespace

std::vector<Result> contest(const std::vector<Contestant>& contestants, bool host, int rounds) {
  std::vector<Result> results;
  const Runners runners = start(contestants, host, results);
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

std::vector<Result> contestUnderLoad(const std::vector<Contestant>& contestants, int rounds) {
  std::vector<Result> results;
  const Runners runners = start(contestants, true, results);
  std::vector<std::vector<double>> times(results.size());
  // A round is long beside the turns that a scheduler gives.
  constexpr double kRound = 60;
  for (int round = 0; round < rounds; ++round) {
    for (const auto& [at, runner] : runners) {
      const HostClock clock;
      while (clock.milliseconds() < kRound) times[at].push_back(runner.once());
    }
  }
  for (const auto& [at, runner] : runners) {
    std::vector<double>& all = times[at];
    std::sort(all.begin(), all.end());
    results[at].milliseconds = all[all.size() / 2];
    results[at].worst = all.back();
  }
  return results;
}

}  // namespace mirl::bench
