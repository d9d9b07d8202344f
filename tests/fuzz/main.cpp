// Calls every operation with random arguments and checks what must hold after each call.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "coverage.h"
#include "rows.h"

// What the sanitizers' runtime asks for, and has where it is there.
#define MIRL_SANITIZER_OPTIONS extern "C" __attribute__((visibility("default"))) const char*
MIRL_SANITIZER_OPTIONS __asan_default_options() {
  return "allocator_may_return_null=1:detect_stack_use_after_return=1";
}
MIRL_SANITIZER_OPTIONS __ubsan_default_options() {
  return "abort_on_error=1:print_stacktrace=1";  // so that the handler of signals is asked
}
MIRL_SANITIZER_OPTIONS __lsan_default_suppressions() {
  return "leak:allocateLocked";  // what can't be unlocked can't be freed; the runtime counts these
}
MIRL_SANITIZER_OPTIONS __lsan_default_options() {
  return "print_suppressions=0";
}
extern "C" void __sanitizer_set_death_callback(void (*callback)()) __attribute__((weak));

namespace mirl::fuzz {

namespace {

struct Options {
  double seconds = -1;
  std::uint64_t seed = 1;
  long calls = -1;
  std::string only;
  std::optional<std::uint64_t> call;  ///< this one alone
};

/// What a signal's handler may look at.
char repeating[512];

std::uint64_t mixed(std::uint64_t a, std::uint64_t b) {
  std::uint64_t z = (a + 0x9E3779B97F4A7C15u) ^ (b * 0xD1B54A32D192ED03u);
  z = (z ^ z >> 32) * 0xD6E8FEB86659FD93u;
  return z ^ z >> 32;
}

std::string repeatOf(const Row& row, std::uint64_t seed) {
  return "mirl_fuzz --call " + std::to_string(seed) + " --only '" + row.name + "'";
}

/// Takes back what was lost.
void resetAll() {
  for (int id = 0; id < device::getDeviceCount(); ++id) {
    device::setCurrentDevice(id);
    device::resetCurrentDevice();
  }
}

/// Runs one call on every device; empty if all promises were kept. With `tells` the arguments are
/// printed before something can die of them.
std::string problemOf(const Row& row, std::uint64_t seed, std::string* arguments,
                      long* successes = nullptr) {
  std::uint64_t first = 0;
  for (int id = 0; id < device::getDeviceCount(); ++id) {
    runtime::Live before = runtime::live();
    std::uint64_t digest = 0;
    {
      Draw draw(seed, id, row.traits, arguments != nullptr);
      row.run(draw);
      if (arguments != nullptr) *arguments = draw.told();
      if (!draw.problem().empty()) {
        resetAll();
        return "on device " + std::to_string(id) + " " + draw.problem() + " (status " +
               std::to_string(draw.status()) + ")";
      }
      digest = draw.digest();
      if (id == 0 && successes != nullptr) *successes += draw.status() == MIRL_SUCCESS;
      if (draw.leaksBuffers()) resetAll();
      if (draw.leaksPinned()) before.pinnedBlocks = -1;
    }
    if (before.pinnedBlocks < 0) before.pinnedBlocks = runtime::live().pinnedBlocks;
    if (!(runtime::live() == before)) {
      const runtime::Live now = runtime::live();
      resetAll();
      return "on device " + std::to_string(id) + " left " +
             std::to_string(now.deviceBlocks - before.deviceBlocks) + " images, " +
             std::to_string(now.scratchBlocks - before.scratchBlocks) + " scratch blocks, " +
             std::to_string(now.streams - before.streams) + " streams, " +
             std::to_string(now.pinnedBlocks - before.pinnedBlocks) + " page-locked blocks";
    }
    if (id == 0) first = digest;
    if (digest != first) return "device " + std::to_string(id) + " gives other bits than device 0";
  }
  return "";
}

/// Prints what went wrong in one line, and how to have it again.
void report(const Row& row, std::uint64_t seed, const std::string& problem) {
  std::string arguments;
  problemOf(row, seed, &arguments);
  std::fprintf(stderr, "%s: %s:%s\n  again: %s\n", row.name.c_str(), problem.c_str(),
               arguments.c_str(), repeatOf(row, seed).c_str());
}

void printRepeating() {
  [[maybe_unused]] const auto ignored = write(STDOUT_FILENO, repeating, std::strlen(repeating));
}

void die(int signal) {
  printRepeating();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

void watch() {
  if (__sanitizer_set_death_callback != nullptr) {
    __sanitizer_set_death_callback(printRepeating);
  } else {
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) std::signal(signal, die);
  }
  for (const int signal : {SIGABRT, SIGALRM}) std::signal(signal, die);
}

int repeatOne(const Rows& rows, std::uint64_t seed) {
  const Row& row = rows.front();
  std::string arguments;
  const std::string problem = problemOf(row, seed, &arguments);
  std::printf("%s: %s:%s\n", row.name.c_str(), problem.empty() ? "fine" : problem.c_str(),
              arguments.c_str());
  return problem.empty() ? 0 : 1;
}

int run(const Rows& rows, const Options& options) {
  using Clock = std::chrono::steady_clock;
  constexpr int kRare = 16, kMostReports = 3;  // of one operation
  const auto start = Clock::now();
  const auto elapsed = [&] { return std::chrono::duration<double>(Clock::now() - start).count(); };
  std::vector<long> counts(rows.size()), successes(rows.size()), reports(rows.size());
  long calls = 0;
  int problems = 0;
  std::printf("mirl_fuzz: %zu operations on %d devices, seed %llu\n", rows.size(),
              device::getDeviceCount(), static_cast<unsigned long long>(options.seed));
  std::fflush(stdout);
  bool over = false;
  for (std::uint64_t round = 0; !over; ++round) {
    for (std::size_t i = 0; i < rows.size() && !over; ++i) {
      if (rows[i].traits.rare && rows.size() > 1 && round % kRare != 0) continue;
      const std::uint64_t seed = mixed(mixed(options.seed, round), i);
      std::snprintf(repeating, sizeof repeating, "%s died\n  again: %s\n", rows[i].name.c_str(),
                    repeatOf(rows[i], seed).c_str());
      const std::string problem = problemOf(rows[i], seed, nullptr, &successes[i]);
      if (!problem.empty()) {
        ++problems;
        if (++reports[i] <= kMostReports) report(rows[i], seed, problem);
      }
      ++counts[i];
      over = ++calls == options.calls;
    }
    alarm(120);  // ends a call that hangs
    const double most = options.seconds >= 0 ? options.seconds : options.calls < 0 ? 10 : 1e9;
    over = over || elapsed() > most;
  }
  alarm(0);
  repeating[0] = '\0';
  // A row that hardly ever gets through to the computation tests nothing.
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].traits.futile || counts[i] < 100 || successes[i] * 20 >= counts[i]) continue;
    std::fprintf(stderr, "%s: only %ld of %ld calls succeeded\n", rows[i].name.c_str(),
                 successes[i], counts[i]);
    ++problems;
  }
  const auto [least, most] = std::minmax_element(counts.begin(), counts.end());
  std::printf("%ld calls in %.1f s (%.0f a second), %ld to %ld of each operation: %d problems\n",
              calls, elapsed(), static_cast<double>(calls) / elapsed(), *least, *most, problems);
  return problems == 0 ? 0 : 1;
}

int usage() {
  std::fputs(
      "usage: mirl_fuzz [--seconds N] [--calls N] [--seed S] [--only OPERATION]\n"
      "       mirl_fuzz --call SEED --only OPERATION   repeats one call\n"
      "       mirl_fuzz --headers FOLDER               is there a row for each operation?\n",
      stderr);
  return 2;
}

}  // namespace

int fuzz(int count, char** words) {
  Rows rows;
  for (const auto& family :
       {rowsOfArithmetic(), rowsOfColor(), rowsOfData(), rowsOfImages(), rowsOfClasses()}) {
    rows.insert(rows.end(), family.begin(), family.end());
  }
  Options options;
  for (int i = 1; i + 1 < count; i += 2) {
    const std::string word = words[i];
    const char* const value = words[i + 1];
    if (word == "--headers") return checkHeaders(value, rows);
    if (word == "--seconds")
      options.seconds = std::atof(value);
    else if (word == "--seed")
      options.seed = std::strtoull(value, nullptr, 0);
    else if (word == "--calls")
      options.calls = std::atol(value);
    else if (word == "--call")
      options.call = std::strtoull(value, nullptr, 0);
    else if (word == "--only")
      options.only = value;
    else
      return usage();
  }
  if (count % 2 == 0 || (options.call && options.only.empty())) return usage();
  if (!options.only.empty()) {
    const bool exact = std::any_of(rows.begin(), rows.end(),
                                   [&](const Row& row) { return row.name == options.only; });
    std::erase_if(rows, [&](const Row& row) {
      return exact ? row.name != options.only : !row.name.starts_with(options.only);
    });
    if (rows.empty()) {
      std::fprintf(stderr, "mirl_fuzz: no operation begins with \"%s\"\n", options.only.c_str());
      return 2;
    }
  }
  watch();
  return options.call ? repeatOne(rows, *options.call) : run(rows, options);
}

}  // namespace mirl::fuzz

int main(int count, char** words) {
  return mirl::fuzz::fuzz(count, words);
}
