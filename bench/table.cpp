#include "table.h"

#include <cmath>
#include <cstdio>

namespace mirl::bench {
namespace {

std::vector<std::string> split(const std::string& text, char at) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == at) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

}  // namespace

bool TableReporter::ReportContext(const Context&) {
  return true;
}

TableReporter::Row& TableReporter::rowOf(const std::string& operation, const std::string& size,
                                         const std::string& device) {
  for (Row& row : rows_) {
    if (row.operation == operation && row.size == size && row.device == device) return row;
  }
  rows_.push_back({operation, size, device, 0, 0, {}});
  return rows_.back();
}

void TableReporter::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.run_type != Run::RT_Iteration) continue;
    const std::vector<std::string> parts = split(run.run_name.function_name, '|');
    const std::vector<std::string> who = split(parts[2], ' ');
    Row& row = rowOf(parts[0], parts[1], who[0]);
    row.pixels = run.counters.at("pixels");
    row.bytes = run.counters.at("bytes");
    const std::string what = who.size() > 1 ? who[1] : "";
    double& best = row.milliseconds[what];
    const double now = run.GetAdjustedRealTime();
    if (best == 0 || now < best) best = now;
    std::fprintf(stderr, "\r\033[K%s", run.run_name.function_name.c_str());
  }
}

void TableReporter::printTable() const {
  std::fprintf(stderr, "\r\033[K");
  std::printf("\n%-28s %10s %5s %9s %8s %8s %7s   %s\n", "operation", "size", "dev", "ms", "ns/px",
              "GB/s", "of copy", "peer: its ms, times as fast as it");
  double logSum = 0;
  int peers = 0;
  for (const Row& row : rows_) {
    const auto ours = row.milliseconds.find("");
    if (ours == row.milliseconds.end()) continue;
    std::printf("%-28s %10s %5s %9.4f %8.4f %8.1f", row.operation.c_str(), row.size.c_str(),
                row.device.c_str(), ours->second, 1e6 * ours->second / row.pixels,
                row.bytes / ours->second / 1e6);
    for (const auto& [what, time] : row.milliseconds) {
      if (what == "copy") std::printf(" %6.0f%%", 100.0 * time / ours->second);
    }
    for (const auto& [what, time] : row.milliseconds) {
      if (what.empty() || what == "copy") continue;
      std::printf("   %s %.4f, %.2fx", what.c_str(), time, time / ours->second);
      logSum += std::log(time / ours->second);
      ++peers;
    }
    std::printf("\n");
  }
  if (peers > 0) {
    std::printf("\ntimes as fast as the peers, geometric mean of %d: %.2f\n", peers,
                std::exp(logSum / peers));
  }
}

}  // namespace mirl::bench
