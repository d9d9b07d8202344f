#pragma once

#include "engine/view.h"
#include "runtime/runtime.h"

namespace mirl::engine::host {

/// A matrix, or the one that stands in memory as its transpose.
struct Operand {
  View<const float> stored;
  bool transposed;

  int rows() const { return transposed ? stored.width : stored.height; }
  int columns() const { return transposed ? stored.height : stored.width; }
};

bool multiplyMatrices(const runtime::Queue& queue, const View<float>& out, const Operand& a,
                      const Operand& b);

}  // namespace mirl::engine::host
