// Times every operation and prints one table with ratios. `--help` lists the options.

#include "bench.h"
#include "contest.h"
#include "identity.h"
#include "load.h"
#include "table.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#if MIRL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

#include "runtime/host/threads.h"

namespace mirl::bench {
namespace {

constexpr const char* kHelp = R"(usage: mirl_bench [option ...]

  --all              every size; without it one, 3840x2160 on GPUs and 1920x1080 on the host device
  --filter=REGEX     rows whose operation, size and device match, such as 'add.*host', 'resize.*gpu0'
  --list             print the rows, time nothing
  --rounds=N         the best of N rounds counts, 5 without it, fewer of what takes long
  --load=N           beside N processes that keep processors busy: the median and the worst call
                     of the host device and its peers, in rounds of 60 ms each
  --csv=FILE         write all times to a file
  --times=WHO:FILE   another peer's, beside the first GPU: lines of such a file
)";

struct Options {
  bool all = false;
  bool list = false;
  int rounds = 5;
  int load = 0;
  std::regex filter{""};
  std::string csv;
  std::string who;
  std::string times;
};

std::vector<Case>& cases() {
  static std::vector<Case> list;
  return list;
}

struct Device {
  int id;
  bool host;
  std::string name;
};

std::vector<Device> devices() {
  std::vector<Device> found;
  const int count = device::getDeviceCount();
  for (int id = 0; id < count; ++id) {
    const bool host = id == count - 1;
    found.push_back({id, host, host ? "host" : "gpu" + std::to_string(id)});
  }
  return found;
}

/// What reads and writes as many bytes as the case does.
Prepare mover(const Case& c, void (*move)(const MirlImage& from, MirlImage& to)) {
  const MirlSize size(static_cast<int>(c.bytesPerPixel / 2 * c.size.width), c.size.height);
  return [=]() -> Run {
    const MirlImage from = noise(size, MIRL_8U_C1);
    MirlImage to(size, MIRL_8U_C1);
    return [=]() mutable { move(from, to); };
  };
}

void copy(const MirlImage& from, MirlImage& to) {
  from.copyTo(to, {0, 0}, {0, 0, from.width(), from.height()});
}

/// Ours first. Under load nobody asks how far we are from the memory's speed.
std::vector<Contestant> contestantsOf(const Case& c, const Device& device, bool loaded) {
  std::vector<Contestant> list = {{"", c.ours}};
  if (!loaded) {
    list.push_back({kCopy, mover(c, copy)});
    list.push_back({kIdentity, mover(c, identity)});
  }
  if (device.host && c.openCv) list.push_back({"OpenCV", c.openCv});
#if MIRL_BENCH_NPP
  if (!device.host && device.id == 0) {
    if (const Prepare peer = nppPeer(c)) list.push_back({"NPP", peer});
  }
#endif
  return list;
}

bool isWanted(const Options& options, const Case& c, const Device& device) {
  if (options.load > 0 && !device.host) return false;
  const auto& [width, height] = kSizes[device.host ? 0 : 1];
  if (!options.all && (c.size.width != width || c.size.height != height)) return false;
  return std::regex_search(c.operation + " " + sizeName(c.size) + " " + device.name,
                           options.filter);
}

/// Names of operations are what peers are found by.
void checkNames() {
  std::set<std::string> rows;
  std::set<std::string> operations;
  for (const Case& c : cases()) {
    operations.insert(c.operation);
    if (!rows.insert(c.operation + " " + sizeName(c.size)).second) {
      throw std::runtime_error("two rows have the name " + c.operation);
    }
  }
#if MIRL_BENCH_NPP
  for (const std::string& name : nppOperations()) {
    if (operations.erase(name) == 0) {
      throw std::runtime_error("an NPP peer's name is no row's, or another's too: " + name);
    }
  }
#endif
}

void list(const Options& options) {
  for (const Case& c : cases()) {
    for (const Device& device : devices()) {
      if (!isWanted(options, c, device)) continue;
      std::printf("%s %s %s", c.operation.c_str(), sizeName(c.size).c_str(), device.name.c_str());
      for (const Contestant& contestant : contestantsOf(c, device, options.load > 0)) {
        std::printf("%s%s", contestant.who.empty() ? "" : ", ", contestant.who.c_str());
      }
      std::printf("\n");
    }
  }
#if MIRL_BENCH_NPP
  std::printf("operations with an NPP peer: %zu\n", nppOperations().size());
#endif
}

/// Times by operation and size.
std::map<std::string, double> readTimes(const std::string& path) {
  std::map<std::string, double> times;
  if (path.empty()) return times;
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  for (std::string line; std::getline(file, line);) {
    const std::size_t first = line.find(','), last = line.rfind(',');
    const std::size_t device = line.rfind(',', last - 1);
    if (first == std::string::npos || first >= device) {
      throw std::runtime_error(path + " has a line that isn't one of times: " + line);
    }
    times[line.substr(first + 1, device - first - 1)] = std::atof(line.c_str() + last + 1);
  }
  return times;
}

void run(const Options& options, Table& table) {
  const std::map<std::string, double> given = readTimes(options.times);
  for (const Device& device : devices()) {
    MirlDeviceProperties properties{};
    device::getDeviceProperties(device.id, properties);
    std::printf("%s: %s, %d multiprocessors or threads\n", device.name.c_str(), properties.name,
                properties.multiProcessorCount);
  }
  table.printHeader();
  for (const Case& c : cases()) {
    for (const Device& device : devices()) {
      if (!isWanted(options, c, device)) continue;
      device::setCurrentDevice(device.id);
      const std::vector<Contestant> contestants = contestantsOf(c, device, options.load > 0);
      std::vector<Result> results = options.load > 0
                                        ? contestUnderLoad(contestants, options.rounds)
                                        : contest(contestants, device.host, options.rounds);
      const auto found = given.find(c.operation + "," + sizeName(c.size));
      if (!device.host && device.id == 0 && found != given.end()) {
        results.push_back({options.who, found->second, ""});
      }
      table.printRow(c, device.name, results);
    }
  }
  table.printSummary();
}

Options parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const std::size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    const bool hasValue = equals != std::string::npos && equals + 1 < argument.size();
    const std::string value = hasValue ? argument.substr(equals + 1) : "";
    if (argument == "--all") {
      options.all = true;
    } else if (argument == "--list") {
      options.list = true;
    } else if (name == "--filter" && hasValue) {
      options.filter = std::regex(value, std::regex::ECMAScript | std::regex::optimize);
    } else if (name == "--rounds" && std::atoi(value.c_str()) > 0) {
      options.rounds = std::atoi(value.c_str());
    } else if (name == "--load" && std::atoi(value.c_str()) > 0) {
      options.load = std::atoi(value.c_str());
    } else if (name == "--csv" && hasValue) {
      options.csv = value;
    } else if (name == "--times" && value.find(':') != std::string::npos) {
      options.who = value.substr(0, value.find(':'));
      options.times = value.substr(value.find(':') + 1);
    } else if (argument == "--help") {
      std::fputs(kHelp, stdout);
      std::exit(0);
    } else {
      throw std::runtime_error("what is " + argument + "? --help lists the options");
    }
  }
  return options;
}

}  // namespace

void add(const Case& benchCase) {
  cases().push_back(benchCase);
}

/// Whether all rows have all their times.
bool main(int argc, char** argv) {
  const Options options = parse(argc, argv);
  checkNames();
  const Load load(options.list ? 0 : options.load);
#if MIRL_BENCH_OPENCV
  cv::setNumThreads(runtime::hostThreads());
#endif
  if (options.list) {
    list(options);
    return true;
  }
  std::FILE* const csv = options.csv.empty() ? nullptr : std::fopen(options.csv.c_str(), "w");
  if (csv == nullptr && !options.csv.empty()) {
    throw std::runtime_error("cannot write " + options.csv);
  }
  Table table(csv, options.load > 0);
  run(options, table);
  if (csv != nullptr && std::fclose(csv) != 0) {
    throw std::runtime_error("cannot write " + options.csv);
  }
  return !table.failed();
}

}  // namespace mirl::bench

int main(int argc, char** argv) {
  try {
    return mirl::bench::main(argc, argv) ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "mirl_bench: %s\n", error.what());
    return 2;
  }
}
