#pragma once

#include <mirl/export.h>

#include <cstdint>

/// A host stopwatch that adds up the intervals between `Start` and `Stop`.
///
/// It measures host time and doesn't wait for devices: call `sync` on the stream first to time
/// device work.
class MIRL_API MirlTimer {
 public:
  MirlTimer();

  void Start();
  /// Adds the time since `Start`; without a `Start` before it, the whole counter.
  void Stop();
  /// Forgets the intervals so far; a running one goes on.
  void Reset();
  /// The sum of the finished intervals, in seconds.
  double GetElapsedTime();

 private:
  std::int64_t frequency_;
  std::int64_t elapsed_;
  std::int64_t start_;
};
