#pragma once

#include "runtime/runtime.h"
#include "runtime/scratch.h"

#include <cstddef>
#include <memory>
#include <optional>

namespace mirl::runtime::cuda {

/// Rows of complex numbers, `pitch` bytes apart, a multiple of their size.
struct SpectrumShape {
  int width;
  int height;
  std::ptrdiff_t pitch;

  bool operator==(const SpectrumShape&) const = default;
};

class FourierPlan;

/// The transform of `width` by `height` floats, in place: of the results columns 0 to `width` / 2.
/// The plans of the last few shapes are kept for the next call, from any thread.
class RealTransform {
 public:
  RealTransform(const Queue& queue, const SpectrumShape& shape);

  /// False without memory for a plan or for its work.
  bool ok() const { return work_.has_value() && work_->ok(); }
  void run(void* data) const;

 private:
  const Queue& queue_;
  std::shared_ptr<FourierPlan> plan_;
  std::optional<Scratch> work_;
};

/// What is kept for a GPU dies with its reset: to be called before.
void dropFourierPlans(const Device& device);

}  // namespace mirl::runtime::cuda
