#pragma once

#include <mirl/export.h>
#include <mirl/filter.h>
#include <mirl/image.h>
#include <mirl/records.h>
#include <mirl/status.h>
#include <mirl/stream.h>

/// Filters over a neighbourhood.
namespace mirl::imageFiltering {

/// Correlates an image with a filter of up to 512 coefficients, for unsigned 8-bit, unsigned 16-bit
/// and float images of 1 or 3 channels.
///
/// The result at (x, y) is the sum over i and j of the element at (x + anchor.x + i,
/// y + anchor.y + j) times coefficient `i * height + j`, accumulated in float with fused
/// multiply-adds, i outside and j inside. The coefficients are thus taken in the buffer's order
/// with y running fastest: a square matrix acts transposed. Nothing is mirrored.
///
/// Beyond the image the rows of elements are continued by their nearest element: in a 1-channel
/// image that replicates the edge, in a 3-channel image every channel sees the first element
/// (channel 0) of the row to the left of it, and the last (channel 2) to the right. Integer results
/// are limited to 0 to 2^dataBits - 1, the source's, and truncated toward zero, a NaN becoming 0;
/// float results are stored as they are. A filter that isn't initialised gives zeros.
///
/// An empty destination is created with the source's size and type. The work is queued on the
/// stream; the filter may be changed or destroyed as soon as the call returns.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_IN_PLACE_NOT_SUPPORTED` if source and
/// destination are one image; `MIRL_MISMATCH` if a live destination differs in width, height, depth
/// or channels; `MIRL_INVALID_ARGUMENT` for a filter of more than 512 coefficients or without a
/// buffer; `MIRL_MISMATCH` for images or a stream of two devices and `MIRL_INVALID_ARGUMENT` for a
/// dead stream; what `create` returns for an empty destination; `MIRL_TYPE_NOT_SUPPORTED` for other
/// types, an empty destination having been created by then; `MIRL_DEVICE_ALLOC_FAILED` without
/// memory for scratch, an empty destination being empty again.
MIRL_API MirlStatus imageFilter(const MirlImage& source, MirlImage& destination,
                                const MirlFilter& filter, const MirlStream& stream = MirlStream());

/// The same inside a rectangle, whose filter windows read the whole source. Outside it the source's
/// pixels are copied if `copyOutside` is true, else the destination keeps what it held, or stays
/// unset where it was created. The rectangle is cut to the image; without pixels in the image all
/// of it is outside. Further status: `MIRL_COPY_D2D_FAILED` if copying failed.
MIRL_API MirlStatus imageFilter(const MirlImage& source, MirlImage& destination,
                                const MirlRect& region, const MirlFilter& filter, bool copyOutside,
                                const MirlStream& stream = MirlStream());

/// Two derivatives of an image, for unsigned 8-bit and float images of 1 or 3 channels, as floats;
/// signed elements are read as unsigned or float ones.
///
/// `MIRL_GRADIENT_CENTRAL` gives the element to the right minus that to the left first, and the
/// lower minus the upper one second. The others give the row above minus the row below first, and
/// the column to the right minus that to the left second, with weights 1, 2, 1 (Sobel), 3, 10, 3
/// (Scharr) or 1, 1, 1 (Prewitt) along it. Nothing is scaled down. Sums are in single precision: the
/// positive row or column from its first element on, the negative one likewise, and then both.
/// Other kernels leave the outputs as they are, or unset where they were created.
///
/// Beyond the image the rows of elements are continued by their nearest element, as for
/// `imageFilter`. An empty output is created as float of the source's size and channels. The work is
/// queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_MISMATCH` for images or a stream of two
/// devices and `MIRL_INVALID_ARGUMENT` for a dead stream; then for the first and the second output
/// `MIRL_MISMATCH` if a live one differs in width, height or channels, and what `create` returns for
/// an empty one, neither then being created; with the outputs created, `MIRL_MISMATCH` for a source
/// that is neither 8 bits nor float and for outputs that aren't float, `MIRL_CHANNELS_NOT_SUPPORTED`
/// for other channels, and `MIRL_IN_PLACE_NOT_SUPPORTED` if two of the images are one.
MIRL_API MirlStatus imageGradients(const MirlImage& source, MirlImage& first, MirlImage& second,
                                   MirlGradientKernelType kernel,
                                   const MirlStream& stream = MirlStream());

/// Replaces each byte by the median of those around it, channel by channel, in a window of 3x3, 5x5,
/// 7x7 or 9x9 pixels: for unsigned 8-bit images of 1 or 3 channels. The region is of no effect: all
/// of the image is filtered.
///
/// Beyond the image the rows of elements are continued by their nearest element, as for
/// `imageFilter`. An empty destination is created with the source's size, type and `channelSeq`. The
/// work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_MISMATCH` for images or a stream of two devices
/// and `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_MISMATCH` if a live destination differs in
/// width, height, depth or channels; what `create` returns for an empty one; and with that created
/// `MIRL_TYPE_NOT_SUPPORTED` for other types, `MIRL_MISMATCH` for other windows and
/// `MIRL_IN_PLACE_NOT_SUPPORTED` if both images are one.
MIRL_API MirlStatus medianFilter(const MirlImage& source, MirlImage& destination,
                                 const MirlRect& region, const MirlSize& window,
                                 const MirlStream& stream = MirlStream());

/// Replaces each byte of a rectangle by the least one of those around it (an erosion), channel by
/// channel, for unsigned 8-bit images of 1 or 3 channels. Outside the rectangle the destination
/// becomes equal to the source.
///
/// The window of the pixel at (x, y) has columns x - (width - 1) / 2 to x + width / 2 and rows
/// likewise, the quotients truncated: with an even side it reaches further to the right or down. It
/// may have any size; without area all is 255 for the least and 0 for the greatest. It sees the
/// rectangle alone, whose rows of elements are continued by their nearest element: beyond a rectangle
/// of 3 channels every channel sees the first element (channel 0) of the row to the left of it, and
/// the last (channel 2) to the right.
///
/// The destination may be the source. An empty one is created with the source's size and type. The
/// work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_MISMATCH` for images or a stream of two devices
/// and `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_MISMATCH` if a live destination differs in
/// width, height, depth or channels; what `create` returns for an empty one; and with that created
/// `MIRL_MISMATCH` for other types, `MIRL_ROI_OUT_OF_BOUNDS` for a rectangle that begins or ends
/// outside the image or has a negative side, `MIRL_DEVICE_ALLOC_FAILED` without memory for scratch
/// and `MIRL_COPY_D2ARRAY_FAILED` if an image can't be copied that is both source and destination,
/// all of these with nothing written; `MIRL_COPY_FAILED` if what is outside can't be copied. With the
/// last three an empty destination is empty again. A rectangle without pixels leaves all of the image
/// outside.
MIRL_API MirlStatus minFilter(const MirlImage& source, MirlImage& destination,
                              const MirlRect& region, const MirlSize& window,
                              const MirlStream& stream = MirlStream());

/// The same with the greatest one (a dilation).
MIRL_API MirlStatus maxFilter(const MirlImage& source, MirlImage& destination,
                              const MirlRect& region, const MirlSize& window,
                              const MirlStream& stream = MirlStream());

}  // namespace mirl::imageFiltering
