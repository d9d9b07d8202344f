#pragma once

#include "contest.h"

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace mirl::bench {

/// Beside what every row stands, to see how far from the memory's speed it is. The faster counts.
inline constexpr const char* kCopy = "copy";
inline constexpr const char* kIdentity = "map";

/// Prints a line for each operation, size and device as soon as it is timed, and at the end how we
/// do beside the peers.
class Table {
 public:
  /// Each time also goes to a file, unless it is null: who, operation, size, device, milliseconds.
  /// On a loaded machine a row has the median and the worst time of a call.
  Table(std::FILE* file, bool loaded) : file_(file), loaded_(loaded) {}

  void printHeader() const;
  /// `results` begin with ours.
  void printRow(const Case& benchCase, const std::string& device,
                const std::vector<Result>& results);
  void printSummary() const;

  bool failed() const { return failed_; }

 private:
  struct Standing {
    double logSum = 0;
    int rows = 0;
    std::vector<std::string> lost;  ///< where the peer is faster
  };

  std::FILE* file_;
  bool loaded_;
  std::map<std::string, Standing> peers_;
  bool failed_ = false;
};

std::string sizeName(const MirlSize& size);

}  // namespace mirl::bench
