#include "table.h"

#include <algorithm>
#include <cmath>

namespace mirl::bench {

std::string sizeName(const MirlSize& size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

void Table::printHeader() const {
  if (loaded_) {
    std::printf("\n%-28s %11s %5s %9s %9s   %s\n", "operation", "size", "dev", "median", "worst",
                "peer: its median and worst, times as fast as it");
    return;
  }
  std::printf("\n%-28s %11s %5s %9s %8s %8s %7s   %s\n", "operation", "size", "dev", "ms", "ns/px",
              "GB/s", "of copy", "peer: its ms, times as fast as it");
}

void Table::printRow(const Case& benchCase, const std::string& device,
                     const std::vector<Result>& results) {
  const std::string size = sizeName(benchCase.size);
  const Result& ours = results.front();
  std::printf("%-28s %11s %5s", benchCase.operation.c_str(), size.c_str(), device.c_str());
  if (ours.failure.empty() && loaded_) {
    std::printf(" %9.4f %9.4f", ours.milliseconds, ours.worst);
  } else if (ours.failure.empty()) {
    const double pixels = static_cast<double>(benchCase.size.width) * benchCase.size.height;
    std::printf(" %9.4f %8.4f %8.1f", ours.milliseconds, 1e6 * ours.milliseconds / pixels,
                benchCase.bytesPerPixel * pixels / ours.milliseconds / 1e6);
  } else {
    std::printf(" %s", ours.failure.c_str());
  }
  double yardstick = 0;
  for (const Result& result : results) {
    if (!result.failure.empty()) {
      failed_ = true;
    } else if (result.who == kCopy || result.who == kIdentity) {
      yardstick = yardstick == 0 ? result.milliseconds : std::min(yardstick, result.milliseconds);
    }
  }
  if (yardstick > 0 && ours.failure.empty()) {
    std::printf(" %6.0f%%", 100 * yardstick / ours.milliseconds);
  }
  for (const Result& result : results) {
    if (file_ != nullptr && result.failure.empty()) {
      std::fprintf(file_, "%s,%s,%s,%s,%.6f\n", result.who.c_str(), benchCase.operation.c_str(),
                   size.c_str(), device.c_str(), result.milliseconds);
    }
    if (&result == &ours || result.who == kCopy || result.who == kIdentity) continue;
    if (!result.failure.empty()) {
      std::printf("   %s: %s", result.who.c_str(), result.failure.c_str());
    } else if (ours.failure.empty()) {
      const double ratio = result.milliseconds / ours.milliseconds;
      std::printf("   %s %.4f", result.who.c_str(), result.milliseconds);
      if (loaded_) std::printf(" %.4f", result.worst);
      std::printf(", %.2fx", ratio);
      Standing& standing = peers_[result.who];
      standing.logSum += std::log(ratio);
      ++standing.rows;
      if (ratio < 1) standing.lost.push_back(benchCase.operation + " " + size + " " + device);
    }
  }
  std::printf("\n");
  std::fflush(stdout);
}

void Table::printSummary() const {
  for (const auto& [who, standing] : peers_) {
    std::printf("\n%s: in %d rows %.2f times as fast as it, geometric mean; it is faster in %zu\n",
                who.c_str(), standing.rows, std::exp(standing.logSum / standing.rows),
                standing.lost.size());
    for (const std::string& row : standing.lost) std::printf("  %s\n", row.c_str());
  }
}

}  // namespace mirl::bench
