#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/status.h>
#include <mirl/stream.h>
#include <mirl/types.h>

/// Images as sums of patterns.
namespace mirl::imageTransforms {

/// The two-dimensional discrete Fourier transform of a gray image of 8 bits: its spectrum,
///
///     destination(x, y) = the sum of source(j, k) * e^(-2 pi i (x j / width + y k / height))
///
/// over all j and k, as floats: the real part in channel 0, the imaginary part in channel 1. It has
/// the source's size, any size, all frequencies, the zero frequency at (0, 0), and isn't normalised.
///
/// An element is off by 2e-6 of the largest magnitude of a spectrum at most. Host and GPUs agree
/// within that, not to the last bit; so do GPUs of different kinds.
///
/// An empty destination is created with the source's size and two channels of floats. The work is
/// queued on the stream. On GPUs plans are made once for each of the last few sizes and kept.
///
/// In this order: `MIRL_MISMATCH` if the source is empty; `MIRL_CHANNELS_NOT_SUPPORTED` if it hasn't
/// one channel; `MIRL_MISMATCH` for images or a stream of two devices and `MIRL_INVALID_ARGUMENT` for
/// a dead stream; of a live destination `MIRL_MISMATCH` for another size,
/// `MIRL_DEPTH_NOT_SUPPORTED` if it hasn't 32 bits and `MIRL_CHANNELS_NOT_SUPPORTED` if it hasn't two
/// channels, and what `create` returns for an empty one; `MIRL_DEPTH_NOT_SUPPORTED` if the source
/// hasn't 8 bits, when an empty destination has been created; `MIRL_DEVICE_ALLOC_FAILED` without
/// memory for the work or a plan, with the destination as it was.
MIRL_API MirlStatus fft2(const MirlImage& source, MirlImage& destination,
                         const MirlStream& stream = MirlStream());

/// Moves the zero frequency of a spectrum, or of what `fftGetProperty` read from one, from the corner
/// to the middle: quadrants of width / 2 by height / 2 elements, both truncated, change places with
/// those across, upper left with lower right and upper right with lower left. Twice in a row that
/// changes nothing. Of an odd width or height the last column or row isn't part of it: the
/// destination keeps what it has there, of an empty one what is undefined. For images of 32 bits and
/// any channels.
///
/// An empty destination is created like the source. The work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty; `MIRL_DEPTH_NOT_SUPPORTED` if
/// it hasn't 32 bits; `MIRL_IN_PLACE_NOT_SUPPORTED` if the destination is the source;
/// `MIRL_MISMATCH` for images or a stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead
/// stream; `MIRL_MISMATCH` if a live destination has another size, depth or channels, and what
/// `create` returns for an empty one.
MIRL_API MirlStatus fftShift(const MirlImage& source, MirlImage& destination,
                             const MirlStream& stream = MirlStream());

/// Reads a property of a spectrum's elements re + i * im, as floats:
///
///     MIRL_FFT_MAGNITUDE    sqrt(fma(re, re, im * im))
///     MIRL_FFT_PHASE        atan2(im, re) in radians, within 2 units in the last place
///     MIRL_FFT_REAL         re
///     MIRL_FFT_IMAG         im
///
/// and the same divided by the spectrum's height for their `_SCALED` forms. The phase of zeros and
/// infinities is what the standard's function gives. All devices give the same bits. Another property
/// writes nothing.
///
/// An empty destination is created with the source's size and one channel of floats. The work is
/// queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty; `MIRL_DEPTH_NOT_SUPPORTED` if
/// it hasn't 32 bits; `MIRL_CHANNELS_NOT_SUPPORTED` if it hasn't two channels; `MIRL_MISMATCH` for
/// images or a stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_MISMATCH`
/// if a live destination has another size, hasn't 32 bits or hasn't one channel, and what `create`
/// returns for an empty one.
MIRL_API MirlStatus fftGetProperty(const MirlImage& source, MirlImage& destination,
                                   MirlFFTProp property, const MirlStream& stream = MirlStream());

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
