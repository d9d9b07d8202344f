#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/status.h>
#include <mirl/stream.h>

/// Arithmetic on images, element by element.
///
/// The five operations take 8-bit, 16-bit and float images of 1 or 3 channels, in any mix of the
/// two inputs, into an output that is at least as deep as either of them. Each element is computed
/// in single precision from exact operands. An integer result is clamped to the whole range of its
/// type (`dataBits` isn't looked at) and truncated toward zero, a NaN becoming 0; a float result is
/// stored as it is.
///
/// An empty output is created with the size and channels of `a` and the greater depth of the two
/// inputs. The output may be `a` or `b`. The work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if an input is empty; `MIRL_MISMATCH` if the inputs
/// differ in width, height, channels or device, or the stream belongs to another device;
/// `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_MISMATCH` if a live output differs from `a` in
/// width, height, channels or device; what `create` returns for an empty one; `MIRL_MISMATCH` for a
/// combination of types that isn't served, an empty output having been created by then.
namespace mirl::arithmeticLogical {

/// a + b. Example: 200 + 100 is 255 in 8 bits, 300 in 16.
MIRL_API MirlStatus add(const MirlImage& a, const MirlImage& b, MirlImage& out,
                        const MirlStream& stream = MirlStream());

/// a - b. Example: 100 - 200 is 0 in an integer image.
MIRL_API MirlStatus subtract(const MirlImage& a, const MirlImage& b, MirlImage& out,
                             const MirlStream& stream = MirlStream());

/// a * b.
MIRL_API MirlStatus multiply(const MirlImage& a, const MirlImage& b, MirlImage& out,
                             const MirlStream& stream = MirlStream());

/// a / b by IEEE division. Examples: 7 / 2 is 3 in an integer image; 5 / 0 is the type's greatest
/// value and 0 / 0 is 0 there, infinity and NaN in a float image.
MIRL_API MirlStatus divide(const MirlImage& a, const MirlImage& b, MirlImage& out,
                           const MirlStream& stream = MirlStream());

/// |a - b|.
MIRL_API MirlStatus absDiff(const MirlImage& a, const MirlImage& b, MirlImage& out,
                            const MirlStream& stream = MirlStream());

}  // namespace mirl::arithmeticLogical
