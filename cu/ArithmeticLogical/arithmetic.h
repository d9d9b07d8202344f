#pragma once

// What the operations on elements share: the formulas of the binary ones, and the way to an output.

#include <mirl/arithmeticLogical.h>

#include "core/access.h"
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

inline bool sameShape(const MirlImage& a, const MirlImage& b) {
  return core::sameSize(a, b) && a.channels() == b.channels();
}

/// The checks behind those of the inputs, in the order that the header promises: finds the queue,
/// then creates an empty output of the first input's size, with this signed depth, or asks `fits`
/// for the status of a live one.
template <class Fits>
MirlStatus prepare(const MirlImage& in, std::initializer_list<const MirlImage*> others,
                   MirlImage& out, int signedDepth, const MirlStream& stream, runtime::Queue& queue,
                   const Fits& fits) {
  const MirlStatus found = core::findQueue(stream, in, others, queue);
  if (found != MIRL_SUCCESS) return found;
  if (out.isInitialized()) return fits();
  return ImageAccess::create(out, *queue.device, in.width(), in.height(), signedDepth,
                             in.channels());
}

/// Calls `visit` with the served element types of images of 1 or of 3 channels. False for others.
template <class Served, std::size_t N, class Visit>
bool visitElements(Served served, int channels, const std::array<MirlType, N>& types,
                   const Visit& visit) {
  return (channels == 1 || channels == 3) &&
         engine::visitCombination(served, channels, types, visit);
}

}  // namespace mirl::arithmeticLogical
