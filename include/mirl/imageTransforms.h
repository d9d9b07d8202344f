#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/status.h>
#include <mirl/stream.h>

/// Images as sums of patterns.
namespace mirl::imageTransforms {

/// One level of the two-dimensional Haar wavelet transform, for unsigned 8-bit images of 1 or 3
/// channels of even width and height. A block of 2x2 elements a, b above c, d of a channel becomes
/// one element in each of four bands of half the width and half the height:
///
///     band1 = (a + b + c + d) / 4    what the block is
///     band2 = (a - b + c - d) / 4    how it changes from left to right
///     band3 = (a + b - c - d) / 4    from top to bottom
///     band4 = (a - b - c + d) / 4    and across
///
/// Quotients are truncated, and those below 0 are 0: the bands hold bytes without an offset, and
/// what gets darker to the right or downwards is kept, the opposite isn't.
///
/// Empty bands are created with half the source's size and its type; in live ones that are larger
/// the upper left part is written. The work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty; `MIRL_MISMATCH` if its width
/// or height is odd; `MIRL_MISMATCH` for images or a stream of two devices and
/// `MIRL_INVALID_ARGUMENT` for a dead stream; band by band `MIRL_MISMATCH` if a live one has other
/// channels, and what `create` returns for an empty one; `MIRL_TYPE_NOT_SUPPORTED` for other types;
/// `MIRL_IN_PLACE_NOT_SUPPORTED` if an image has two of the five roles; `MIRL_MISMATCH` for a band
/// of another depth or size than the first one, or bands that are too small. Empty bands have been
/// created by the last three.
MIRL_API MirlStatus haarFwd(const MirlImage& source, MirlImage& band1, MirlImage& band2,
                            MirlImage& band3, MirlImage& band4,
                            const MirlStream& stream = MirlStream());

/// The way back: from the elements p, q, r, s of the four bands at one place
///
///     p + q + r + s    p - q + r - s
///     p + q - r - s    p - q - r + s
///
/// Results below 0 are 0, and of those above 255 the low 8 bits are kept. It gives back the image
/// that the bands were made of where no quotient was truncated nor below 0.
///
/// An empty destination is created with twice the first band's size and its type; of a higher one
/// the upper rows are written. Bands may be one image. The work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if a band is empty; `MIRL_INVALID_ARGUMENT` if a live
/// destination hasn't twice the first band's width, or a new one would be wider or higher than
/// 2147483647; `MIRL_MISMATCH` if a live one is of another type; `MIRL_MISMATCH` for images or a
/// stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead stream; what `create` returns for an
/// empty one; `MIRL_MISMATCH` for other types; `MIRL_IN_PLACE_NOT_SUPPORTED` if the destination is a
/// band; `MIRL_MISMATCH` if a band differs from the first one in size or type, or the destination
/// has fewer rows than twice theirs. An empty destination has been created by the last three.
MIRL_API MirlStatus haarInv(const MirlImage& band1, const MirlImage& band2, const MirlImage& band3,
                            const MirlImage& band4, MirlImage& destination,
                            const MirlStream& stream = MirlStream());

}  // namespace mirl::imageTransforms
