#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace mirl::bench {

/// Gathers the runs and prints one line for each operation, size and device: our time, bytes a
/// second, the share of a copy's, and how many times as fast as the peer we are.
class TableReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  void printTable() const;

 private:
  struct Row {
    std::string operation;
    std::string size;
    std::string device;
    double pixels = 0;
    double bytes = 0;
    std::map<std::string, double> milliseconds;  // "" is ours, else "copy", "OpenCV", "NPP"
  };
  Row& rowOf(const std::string& operation, const std::string& size, const std::string& device);

  std::vector<Row> rows_;
};

}  // namespace mirl::bench
