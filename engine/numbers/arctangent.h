#pragma once

// The angle of a point, the same bits on every device.

#include "engine/device_code.h"
#include "engine/numbers/bits.h"
#include "engine/numbers/conversions.h"
#include "engine/numbers/elementary.h"

namespace mirl::engine {

/// The angle of the point (x, y) in radians, from -pi to pi, within 2 units in the last place. Zeros
/// and infinities of either sign give what the standard's atan2 does, and a NaN gives NaN.
MIRL_HD inline float angleOf(float y, float x) {
  const unsigned across = bitsOf(x) & ~kSignBit, up = bitsOf(y) & ~kSignBit;
  const bool steep = up > across;
  const float smaller = floatOf(select(steep, across, up));
  const float greater = floatOf(select(steep, up, across));

  // Between 0 and 1, and at the ends too where the quotient is of two zeros or infinities.
  float t = smaller / greater;
  t = select(bitsOf(greater) == kInfinityBits, 0.0f, t);
  t = select(across == up, 1.0f, t);
  t = select(bitsOf(smaller) == 0, 0.0f, t);

  // atan(t) = t + t * z * p(z)
  const float z = t * t;
  float p = -0.0017936215735971928f;
  p = fusedMultiplyAdd(p, z, 0.010914605110883713f);
  p = fusedMultiplyAdd(p, z, -0.03117784485220909f);
  p = fusedMultiplyAdd(p, z, 0.057957593351602554f);
  p = fusedMultiplyAdd(p, z, -0.0840345025062561f);
  p = fusedMultiplyAdd(p, z, 0.10952185839414597f);
  p = fusedMultiplyAdd(p, z, -0.14264242351055145f);
  p = fusedMultiplyAdd(p, z, 0.19998548924922943f);
  p = fusedMultiplyAdd(p, z, -0.33333298563957214f);
  const float angle = fusedMultiplyAdd(t * z, p, t);

  // From pi / 2 or pi, which are in two parts, or from 0: up or down.
  const bool behind = (bitsOf(x) & kSignBit) != 0;
  const float turned = floatOf(bitsOf(angle) ^ select(steep != behind, kSignBit, 0u));
  const float base = select(steep, 1.57079637f, select(behind, 3.14159274f, 0.0f));
  const float baseRest = select(steep, -4.37113883e-8f, select(behind, -8.74227766e-8f, 0.0f));
  const float sum = base + (turned + baseRest);
  const float result = floatOf(bitsOf(sum) | (bitsOf(y) & kSignBit));
  const bool isNumber = across <= kInfinityBits && up <= kInfinityBits;
  return select(isNumber, result, floatOf(kNanBits));
}

}  // namespace mirl::engine
