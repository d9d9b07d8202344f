#pragma once

// How an operation comes to its outputs: a live one is compared, an empty one created.

#include "core/access.h"

#include <initializer_list>

namespace mirl::core {

/// What images are created as: a negative depth is that of signed elements.
struct Format {
  MirlSize size;
  int depth;
  int channels;
};

/// What is to be other than an image has it; 0 is nothing.
struct Changes {
  MirlSize size = {};
  int depth = 0;
  int channels = 0;
};

/// An image's own format, but for the changes.
Format like(const MirlImage& image, const Changes& changes = {});

enum Trait { kSize, kDepth, kChannels, kType };

/// What of a live output must agree with a format, and the status if it doesn't.
struct Demand {
  Trait trait;
  MirlStatus otherwise;

  Demand(Trait trait_, MirlStatus otherwise_ = MIRL_MISMATCH)
      : trait(trait_), otherwise(otherwise_) {}
};
using Demands = std::initializer_list<Demand>;

/// The status of the first demand that a live output doesn't meet; an empty one meets all.
MirlStatus compare(const MirlImage& output, const Format& format,
                   Demands demands = {kSize, kDepth, kChannels});

/// Makes an empty output an image of this format; a live one stays as it is.
MirlStatus create(runtime::Device& device, MirlImage& output, const Format& format);

/// The usual way to where a call runs and to its outputs: finds the queue, then compares or creates
/// one output after the other. If an output can't be created those before it don't stay.
MirlStatus prepare(const MirlStream& stream, std::initializer_list<const MirlImage*> inputs,
                   std::initializer_list<MirlImage*> outputs, const Format& format,
                   runtime::Queue& queue, Demands demands = {kSize, kDepth, kChannels});

/// Gives an output what was made for it.
MirlStatus replace(MirlImage& output, MirlImage& made);

/// Makes an output that a call has created an empty image again.
void takeBack(MirlImage& output);

/// Tells, before a call creates its output, that it will, and takes the output back if a later step
/// fails.
class NewOutput {
 public:
  explicit NewOutput(MirlImage& output) : output_(output), isNew_(!output.isInitialized()) {}

  explicit operator bool() const { return isNew_; }
  /// The status of that step.
  MirlStatus keptIf(MirlStatus status) const {
    if (isNew_ && status != MIRL_SUCCESS) takeBack(output_);
    return status;
  }

 private:
  MirlImage& output_;
  bool isNew_;
};

}  // namespace mirl::core
