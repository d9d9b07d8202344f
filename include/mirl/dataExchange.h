#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/records.h>
#include <mirl/scalar.h>
#include <mirl/status.h>
#include <mirl/stream.h>

/// Values between element types, channels and regions.
namespace mirl::dataExchange {

/// `element * scale + shift`, the product not rounded before the sum, between any two of unsigned
/// 8-bit, unsigned 16-bit and float, with 1 or 3 channels. An integer result is clamped to the
/// whole range of its type (`dataBits` isn't looked at) and truncated toward zero: 2.9 gives 2, NaN
/// gives 0. A float result is stored as it is.
///
/// A live destination says which type is wanted. An empty one is created with the source's size and
/// type. The destination may be the source. The work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_MISMATCH` if a live destination differs in
/// width, height or channels; `MIRL_MISMATCH` for images or a stream of two devices and
/// `MIRL_INVALID_ARGUMENT` for a dead stream; what `create` returns for an empty destination;
/// `MIRL_TYPE_NOT_SUPPORTED` for other types, an empty destination having been created by then.
MIRL_API MirlStatus convertScale(const MirlImage& source, MirlImage& destination, float scale,
                                 float shift, const MirlStream& stream = MirlStream());

/// Rescales between significant bits: the full range of the source's `dataBits` becomes the full
/// range of the destination's, so that 10-bit video fills 8 or 16 bits and back. Elements above the
/// source's range count as its greatest value. The result is
/// `element * (2^destinationBits - 1) / (2^sourceBits - 1)`, the ratio and the product rounded to
/// float, truncated toward zero; a source of 0 bits gives zeros.
///
/// Depths of 8 and 16 bits, any number of channels, signed elements being read as unsigned. The
/// destination must be live with its `dataBits` set, and at least as large as the source, whose
/// extent counts; it may be the source. The work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if either is empty; `MIRL_DEPTH_NOT_SUPPORTED` for
/// other depths; `MIRL_INVALID_ARGUMENT` if an image's `dataBits` are above its depth;
/// `MIRL_MISMATCH` for a destination with fewer elements in a row or fewer rows than the source;
/// `MIRL_MISMATCH` for images or a stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead
/// stream.
MIRL_API MirlStatus bitConversion(const MirlImage& source, const MirlImage& destination,
                                  const MirlStream& stream = MirlStream());

/// Copies one channel of 3 or 4 into an image of one, for unsigned 8-bit and 16-bit and for float.
///
/// An empty destination is created with the source's size and depth. A live one may be larger and
/// of any depth: the elements come to stand at the start of its rows as they are. The work is
/// queued on the stream. `MirlImage::operator[]` does it in an expression.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_INVALID_ARGUMENT` for a channel that the
/// source doesn't have; `MIRL_CHANNELS_NOT_SUPPORTED` if a live destination has more than one
/// channel; `MIRL_MISMATCH` for images or a stream of two devices and `MIRL_INVALID_ARGUMENT` for a
/// dead stream; what `create` returns for an empty destination; `MIRL_TYPE_NOT_SUPPORTED` for other
/// types, those of 1 channel too, an empty destination having been created by then;
/// `MIRL_MISMATCH` for a live destination with shorter or fewer rows.
MIRL_API MirlStatus getChannel(const MirlImage& source, MirlImage& destination, int channel,
                               const MirlStream& stream = MirlStream());

/// Surrounds an image with a border of one colour. `values` points to a number for each channel; it
/// is limited to the elements' range (in 16 bits that of the source's `dataBits`) and truncated:
/// 300 is 255 in 8 bits, NaN is 0.
///
/// Images of 8 or 16 bits with 1 or 3 channels, signed elements being treated as unsigned. An empty
/// destination is created with the padded size and the source's depth and channels. It may be the
/// source if there is nothing to pad. The work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_NULL_POINTER` for null `values`;
/// `MIRL_INVALID_ARGUMENT` for a negative pad, a padded size that no image can have, or a live
/// destination of another size; `MIRL_MISMATCH` if its channels or depth are not the source's;
/// `MIRL_MISMATCH` for images or a stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead
/// stream; what `create` returns for an empty destination; `MIRL_DEPTH_NOT_SUPPORTED` for other
/// depths, an empty destination having been created by then; for other channels
/// `MIRL_CHANNELS_NOT_SUPPORTED`, the source having been copied, or `MIRL_COPY_D2D_FAILED`.
MIRL_API MirlStatus padImage(const MirlImage& source, MirlImage& destination, int top, int bottom,
                             int left, int right, const float* values,
                             const MirlStream& stream = MirlStream());

/// Limits each element to the range of its channel: below `lower` it becomes that, otherwise above
/// `upper` that; no pixel becomes black or white. Limits are rounded to float and, once they are
/// taken over, limited to the type's range and truncated: with a lower limit of 10.7 elements of 3
/// and of 10 are 10. A limit of NaN is none.
///
/// Unsigned images of 8 and 16 bits with 1 and 3 channels. An empty destination is created with the
/// source's size and type. It may be the source. The work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_MISMATCH` if a live destination differs in
/// width, height, depth or channels; `MIRL_MISMATCH` for images or a stream of two devices and
/// `MIRL_INVALID_ARGUMENT` for a dead stream; what `create` returns for an empty destination;
/// `MIRL_MISMATCH` for other types, an empty destination having been created by then.
MIRL_API MirlStatus threshold(const MirlImage& source, MirlImage& destination,
                              const MirlScalar& lower, const MirlScalar& upper,
                              const MirlStream& stream = MirlStream());

/// Fills a rectangle of an image with a colour, limited to 0 to 255 and truncated; NaN is 0. For 8
/// bits, signed or not, with 1 or 3 channels. A region without pixels fills nothing. The work is
/// queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_MISMATCH` for another depth or other
/// channels; `MIRL_INVALID_ARGUMENT` for a region with negative numbers or one that leaves the
/// image; `MIRL_MISMATCH` for a stream of another device and `MIRL_INVALID_ARGUMENT` for a dead
/// one.
MIRL_API MirlStatus rectangle(MirlImage& image, const MirlRect& region, const MirlScalar& value,
                              const MirlStream& stream = MirlStream());

/// Fills an image of 32 bits, any channels and any sign, with uniform random floats above 0 and up
/// to 1. Every call writes the same sequence, row after row, on every device; numbers are multiples
/// of 2^-24. The generator is Philox 4x32-10 (Salmon and others, "Parallel random numbers: as easy
/// as 1, 2, 3", 2011). The work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_DEPTH_NOT_SUPPORTED` for other depths;
/// `MIRL_MISMATCH` for a stream of another device and `MIRL_INVALID_ARGUMENT` for a dead one.
MIRL_API MirlStatus generateRandomImage(MirlImage& image, const MirlStream& stream = MirlStream());

}  // namespace mirl::dataExchange
