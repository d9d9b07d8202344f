#pragma once

// What the operations on elements share: the formulas of the binary ones, and the way to a status.

#include <mirl/arithmeticLogical.h>

#include "core/outputs.h"
#include "engine/dispatch.h"
#include "engine/map.h"
#include "engine/numbers/conversions.h"

#include <cmath>

namespace mirl::arithmeticLogical {

using engine::Combination;
using engine::Combinations;

enum class Op { add, subtract, multiply, divide, absDiff };

/// a op b in single precision.
template <Op op>
MIRL_HD float compute(float a, float b) {
  if constexpr (op == Op::add) return a + b;
  if constexpr (op == Op::subtract) return a - b;
  if constexpr (op == Op::multiply) return a * b;
  if constexpr (op == Op::divide) return a / b;
  if constexpr (op == Op::absDiff) return std::fabs(a - b);
}

inline MirlStatus mismatchUnless(bool good) {
  return good ? MIRL_SUCCESS : MIRL_MISMATCH;
}

}  // namespace mirl::arithmeticLogical
