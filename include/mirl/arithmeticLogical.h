#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/scalar.h>
#include <mirl/status.h>
#include <mirl/stream.h>

/// Arithmetic and logic on images, element by element.
///
/// Images are float, or unsigned of 8 or 16 bits, with 1 or 3 channels. Arithmetic computes each
/// element in single precision from exact operands. An integer result is clamped to the whole range
/// of its type (`dataBits` isn't looked at) and truncated toward zero, a NaN becoming 0; a float
/// result is stored as it is. The output may be an input wherever their types are the same. The
/// work is queued on the stream.
///
/// Every function checks in this order: `MIRL_IMAGE_NOT_INITIALIZED` if an input is empty;
/// `MIRL_MISMATCH` if two inputs differ, for arithmetic in width, height or channels, for logic in
/// depth as well; `MIRL_MISMATCH` if the images or the stream belong to different devices;
/// `MIRL_INVALID_ARGUMENT` for a dead stream; for a live output that doesn't fit, what its group
/// says; what `create` returns for an empty one; for types that aren't served what its group says,
/// an empty output having been created by then. A failure leaves images alone otherwise.
namespace mirl::arithmeticLogical {

/// The next five take any mix of types into an output that is at least as deep as either input. An
/// empty output is created with the size and channels of `a` and the greater of the two depths.
/// `MIRL_MISMATCH` for a live one that differs from `a` in width, height or channels, and for types
/// that aren't served.

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

/// The next eight take a number, narrowed to float, for all channels, or the first numbers of a
/// scalar, one for each channel. The output has the input's type or is deeper. An empty one is
/// created with the input's size and type. `MIRL_MISMATCH` for a live one that differs in width,
/// height or channels, and for types that aren't served.

/// in + c. Example: 255 + 1 is 255 in 8 bits, 256 in 16.
MIRL_API MirlStatus add(const MirlImage& in, double c, MirlImage& out,
                        const MirlStream& stream = MirlStream());
MIRL_API MirlStatus add(const MirlImage& in, const MirlScalar& s, MirlImage& out,
                        const MirlStream& stream = MirlStream());

/// c - in. Example: 10 - 30 is 0 in an integer image.
MIRL_API MirlStatus subtract(double c, const MirlImage& in, MirlImage& out,
                             const MirlStream& stream = MirlStream());
MIRL_API MirlStatus subtract(const MirlScalar& s, const MirlImage& in, MirlImage& out,
                             const MirlStream& stream = MirlStream());

/// in * c. Example: 255 * 0.5 is 127 in an integer image.
MIRL_API MirlStatus multiply(const MirlImage& in, double c, MirlImage& out,
                             const MirlStream& stream = MirlStream());
MIRL_API MirlStatus multiply(const MirlImage& in, const MirlScalar& s, MirlImage& out,
                             const MirlStream& stream = MirlStream());

/// c / in by IEEE division. Example: 1 / 0 is 255 in 8 bits and infinity in float.
MIRL_API MirlStatus divide(double c, const MirlImage& in, MirlImage& out,
                           const MirlStream& stream = MirlStream());
MIRL_API MirlStatus divide(const MirlScalar& s, const MirlImage& in, MirlImage& out,
                           const MirlStream& stream = MirlStream());

/// The next four take any of the types into float. An empty output is created as float. A live one
/// may be larger than the input, and keeps what is outside. `MIRL_MISMATCH` for one of other
/// channels; `MIRL_DEPTH_NOT_SUPPORTED` for one that isn't float with 1 or 3 channels;
/// `MIRL_MISMATCH` for a smaller one, and for input types that aren't served.
///
/// The bits are the same on every device, except those of a NaN.

/// in to the power e, narrowed to float, within 3 units in the last place. The special cases are
/// those of IEEE 754: 1 for e = 0 and for an element of 1, else NaN for a NaN; NaN for a negative
/// element if e isn't whole; zeros and infinities by the sign of e.
MIRL_API MirlStatus pow(const MirlImage& in, double e, MirlImage& out,
                        const MirlStream& stream = MirlStream());

/// e to the power in, within 2 units in the last place. Infinity above 105, 0 below -105.
MIRL_API MirlStatus exp(const MirlImage& in, MirlImage& out,
                        const MirlStream& stream = MirlStream());

/// The square root, rounded to nearest. NaN for negative elements.
MIRL_API MirlStatus sqrt(const MirlImage& in, MirlImage& out,
                         const MirlStream& stream = MirlStream());

/// The cube root with the sign of the element, within 1 unit in the last place. Zeros and
/// infinities give themselves.
MIRL_API MirlStatus cbrt(const MirlImage& in, MirlImage& out,
                         const MirlStream& stream = MirlStream());

/// |in|, which leaves unsigned elements as they are. An empty output is created with the input's
/// size and type, and `MIRL_MISMATCH` returned for a live one that differs in them, and for types
/// that aren't served.
MIRL_API MirlStatus abs(const MirlImage& in, MirlImage& out,
                        const MirlStream& stream = MirlStream());

/// The next three take float to float, and check a live output as `pow` does. An empty one is
/// created with the input's type. `MIRL_MISMATCH` for types that aren't served.

/// The nearest whole number at or below the element. Example: -0.5 gives -1.
MIRL_API MirlStatus floor(const MirlImage& in, MirlImage& out,
                          const MirlStream& stream = MirlStream());
/// The nearest whole number at or above the element.
MIRL_API MirlStatus ceil(const MirlImage& in, MirlImage& out,
                         const MirlStream& stream = MirlStream());
/// The nearest whole number, of two the even one. Examples: 2.5 gives 2, 3.5 gives 4.
MIRL_API MirlStatus round(const MirlImage& in, MirlImage& out,
                          const MirlStream& stream = MirlStream());

/// Logic serves unsigned images of 8 and 16 bits. An empty output is created with the input's
/// format (of two images the unsigned one). `MIRL_MISMATCH` for a live one that differs in width,
/// height, depth or channels. Types that aren't served give `MIRL_MISMATCH`, with a constant and
/// for shifts `MIRL_TYPE_NOT_SUPPORTED`.

/// a & b, a | b, a ^ b.
MIRL_API MirlStatus AND(const MirlImage& a, const MirlImage& b, MirlImage& out,
                        const MirlStream& stream = MirlStream());
MIRL_API MirlStatus OR(const MirlImage& a, const MirlImage& b, MirlImage& out,
                       const MirlStream& stream = MirlStream());
MIRL_API MirlStatus XOR(const MirlImage& a, const MirlImage& b, MirlImage& out,
                        const MirlStream& stream = MirlStream());

/// in & c, in | c, in ^ c, where the bits of `c` above the element's have no effect.
MIRL_API MirlStatus AND(const MirlImage& in, int c, MirlImage& out,
                        const MirlStream& stream = MirlStream());
MIRL_API MirlStatus OR(const MirlImage& in, int c, MirlImage& out,
                       const MirlStream& stream = MirlStream());
MIRL_API MirlStatus XOR(const MirlImage& in, int c, MirlImage& out,
                        const MirlStream& stream = MirlStream());

/// The element, shifted left by n as a signed number of 32 bits and limited to the range of its
/// type. Examples in 8 bits: 200 << 1 is 255; 200 << 24 is 0, being negative. A count outside 0 to
/// 31 shifts every bit out and gives 0.
MIRL_API MirlStatus SHL(const MirlImage& in, int n, MirlImage& out,
                        const MirlStream& stream = MirlStream());
/// The element shifted right by n. A count outside 0 to 31 gives 0.
MIRL_API MirlStatus SHR(const MirlImage& in, int n, MirlImage& out,
                        const MirlStream& stream = MirlStream());

/// ~in. A live output must have the input's type, signs and all, else `MIRL_MISMATCH`.
MIRL_API MirlStatus NOT(const MirlImage& in, MirlImage& out,
                        const MirlStream& stream = MirlStream());

/// Matrices are float images of 1 channel: element (row r, column c) is the pixel at x = c, y = r.
/// Each element of a product is one sum from 0 on in single precision, with a fused multiply-add for
/// each k in ascending order, the same bits on every device. The output can't be an operand. The
/// work is queued on the stream.

/// out(r, c) = the sum of a(r, k) * b(k, c).
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if `a` or `b` is empty; `MIRL_MATRIX_SIZE_MISMATCH`
/// if `a` hasn't as many columns as `b` has rows; `MIRL_TYPE_NOT_SUPPORTED` if `a` is no float image
/// of 1 channel, `MIRL_MISMATCH` if `b` is of another type; `MIRL_MISMATCH` for images or a stream of
/// two devices and `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_MATRIX_SIZE_MISMATCH` if a live
/// output hasn't the rows of `a` and the columns of `b`, `MIRL_MISMATCH` if it is of another type;
/// what `create` returns for an empty one; `MIRL_IN_PLACE_NOT_SUPPORTED` if the output is `a` or
/// `b`; `MIRL_DEVICE_ALLOC_FAILED` without memory for scratch, an empty output staying empty.
MIRL_API MirlStatus matMul(const MirlImage& a, const MirlImage& b, MirlImage& out,
                           const MirlStream& stream = MirlStream());

/// The product of a matrix and its own transpose: with `transposeFirst` out(r, c) = the sum of
/// a(k, r) * a(k, c), else that of a(r, k) * a(c, k).
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_TYPE_NOT_SUPPORTED`; `MIRL_MISMATCH` for
/// images or a stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_MISMATCH`
/// if a live output is of another type, `MIRL_MATRIX_SIZE_MISMATCH` if it isn't a square of as many
/// columns as `a` has, or rows; the rest as for `matMul`.
MIRL_API MirlStatus matMulTrans(const MirlImage& a, MirlImage& out, bool transposeFirst,
                                const MirlStream& stream = MirlStream());

}  // namespace mirl::arithmeticLogical
