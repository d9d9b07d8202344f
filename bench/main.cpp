// Times every operation and prints one table with ratios. Google Benchmark's flags work:
// --benchmark_filter='add.*3840' --benchmark_repetitions=20 --benchmark_out=times.json

#include "bench.h"
#include "table.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#if MIRL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

#include "runtime/host/parallel.h"
#include "runtime/runtime.h"

namespace mirl::bench {
namespace {

std::vector<Case>& cases() {
  static std::vector<Case> list;
  return list;
}

/// Work on a GPU is timed in batches, so that the wait at the end doesn't count for each call.
void time(benchmark::State& state, int device, const Prepare& prepare) {
  device::setCurrentDevice(device);
  const Run run = prepare();
  run();
  device::syncCurrentDevice();
  const bool host = device == device::getDeviceCount() - 1;
  const int batch = host ? 1 : 50;
  while (state.KeepRunningBatch(batch)) {
    for (int i = 0; i < batch; ++i) run();
    device::syncCurrentDevice();
  }
}

void registerRun(const Case& c, const std::string& who, int device, const Prepare& prepare) {
  const std::string name = c.operation + "|" + std::to_string(c.size.width) + "x" +
                           std::to_string(c.size.height) + "|" + who;
  const double bytes = c.bytesPerPixel * c.size.width * c.size.height;
  // The best of several short runs: what else the machine does makes times longer, never shorter.
  benchmark::RegisterBenchmark(name.c_str(),
                               [=](benchmark::State& state) {
                                 time(state, device, prepare);
                                 state.counters["pixels"] =
                                     static_cast<double>(c.size.width) * c.size.height;
                                 state.counters["bytes"] = bytes;
                               })
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond)
      ->MinTime(0.03)
      ->Repetitions(5);
}

/// A copy inside the device that reads and writes as many bytes as the case does.
Prepare copyOf(const Case& c) {
  const int rowBytes = static_cast<int>(c.bytesPerPixel / 2.0 * c.size.width);
  const MirlRect all(0, 0, rowBytes, c.size.height);
  return [all]() -> Run {
    const MirlImage from = noise({all.width, all.height}, MIRL_8U_C1);
    MirlImage to(all.width, all.height, MIRL_8U_C1);
    return [=]() mutable { from.copyTo(to, {0, 0}, all); };
  };
}

void registerAll() {
  const int devices = device::getDeviceCount();
  for (const Case& c : cases()) {
    for (int id = 0; id < devices; ++id) {
      const bool host = id == devices - 1;
      const std::string name = host ? "host" : "gpu" + std::to_string(id);
      registerRun(c, name, id, c.ours);
      registerRun(c, name + " copy", id, copyOf(c));
      if (host && c.openCv) registerRun(c, name + " OpenCV", id, c.openCv);
      if (id == 0 && !host && c.npp) registerRun(c, name + " NPP", id, c.npp);
    }
  }
}

}  // namespace

void add(const Case& benchCase) {
  cases().push_back(benchCase);
}

MirlImage noise(const MirlSize& size, MirlType type, unsigned seed) {
  MirlImage image(size, type);
  std::mt19937 generator(seed);
  const auto row = static_cast<std::size_t>(size.width * image.channels() * image.depth() / 8);
  std::vector<std::uint32_t> words(row / 4 * static_cast<std::size_t>(size.height) + 1);
  // Random words are slow to make, and a prime number of them repeats unnoticed.
  constexpr std::size_t kDrawn = 65537;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i >= kDrawn) {
      words[i] = words[i - kDrawn];
      continue;
    }
    words[i] = static_cast<std::uint32_t>(generator());
    if (image.depth() == 32) {
      const float value = static_cast<float>(words[i] % 25501u) / 100.0f;
      std::memcpy(&words[i], &value, sizeof value);
    }
  }
  image.upload(words.data(), static_cast<int>(row / 4 * 4));
  return image;
}

std::string typeName(MirlType type) {
  int depth = 0;
  int channels = 0;
  typeToDepthAndChannels(type, depth, channels);
  return std::to_string(depth) + (depth == 32 ? "f C" : "u C") + std::to_string(channels);
}

}  // namespace mirl::bench

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
#if MIRL_BENCH_OPENCV
  cv::setNumThreads(mirl::runtime::hostThreads());
#endif
  for (int id = 0; id < mirl::device::getDeviceCount(); ++id) {
    MirlDeviceProperties properties{};
    mirl::device::getDeviceProperties(id, properties);
    std::printf("device %d: %s, %d multiprocessors or threads\n", id, properties.name,
                properties.multiProcessorCount);
  }
  mirl::bench::registerAll();
  mirl::bench::TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.printTable();
  benchmark::Shutdown();
  return 0;
}
