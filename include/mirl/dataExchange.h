#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/status.h>
#include <mirl/stream.h>

/// Values between element types, channels and regions.
namespace mirl::dataExchange {

/// `element * scale + shift`, the product not rounded before the sum, between any two of 8-bit,
/// 16-bit and float, with 1 or 3 channels. An integer result is clamped to the whole range of its
/// type (`dataBits` isn't looked at) and truncated toward zero: 2.9 gives 2, NaN gives 0. A float
/// result is stored as it is.
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

}  // namespace mirl::dataExchange
