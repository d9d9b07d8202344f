#pragma once

// Where an operation is shown: it runs the operation, keeps the time, and makes its result fit to
// be looked at.

#include "photos.h"

#include <mirl/mirl.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace gallery {

/// Throws what went wrong as one line.
void check(MirlStatus status, const std::string& what);

/// One row of the table of times.
struct Timing {
  std::string types;  ///< of the inputs and the output
  MirlSize size;
  double milliseconds;
  double megabytesPerSecond;  ///< of elements read and written
};

class Stage {
 public:
  Stage(const Subject& subject, const MirlStream& stream, std::filesystem::path folder);

  const MirlImage& photo;   ///< 8-bit, 3 channels
  const MirlImage& gray;    ///< 8-bit, 1 channel
  const MirlImage& first;   ///< a pair of photos of one size, 8-bit, 3 channels
  const MirlImage& second;  ///< the other one
  const MirlStream& stream;
  std::vector<Timing> timings;

  /// Runs `operation(inputs..., output, stream)` into an empty output and keeps its time.
  template <class Operation, class... In>
  MirlImage run(const Operation& operation, const In&... in) {
    return runInto(MirlImage(), operation, in...);
  }

  /// The same into a live output.
  template <class Operation, class... In>
  MirlImage runInto(MirlImage out, const Operation& operation, const In&... in) {
    const double seconds = measure([&] { return operation(in..., out, stream); });
    keep({&in..., &out}, seconds);
    return out;
  }

  /// Writes an image to a file of that name, the result being its path, and keeps the time unless
  /// told not to.
  std::string save(const MirlImage& image, const std::string& name, bool timed = true);
  /// Reads it back, likewise.
  MirlImage load(const std::string& file, MirlLoadType type, bool timed = true);

  /// An empty image of another one's size.
  static MirlImage like(const MirlImage& image, MirlType type);
  /// An image in another type. No time is kept of what only prepares or shows something.
  MirlImage in(MirlType type, const MirlImage& image, float scale, float shift = 0) const;
  /// The difference of two 8-bit images, so many times as strong.
  MirlImage difference(const MirlImage& a, const MirlImage& b, float gain) const;

 private:
  /// The median of several runs after one that warms up.
  double measure(const std::function<MirlStatus()>& operation) const;
  void keep(const std::vector<const MirlImage*>& images, double seconds);

  std::filesystem::path folder_;
};

}  // namespace gallery
