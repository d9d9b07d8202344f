#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/status.h>
#include <mirl/stream.h>

/// Packed 10-bit video: V210, and 16-bit images with 10-bit samples in their low bits. Nothing is
/// scaled or interpolated.
///
/// A V210 image holds little-endian words of 32 bits in groups of four, each group being six pixels
/// of 4:2:2 video. A word holds three samples in its bits 0 to 9, 10 to 19 and 20 to 29; the twelve
/// samples of a group are U, Y, V, Y of one pair of pixels after another. Its type doesn't matter,
/// its pitch does: `16 * w / 6` bytes for `w` pixels, a multiple of 6, with no padding (5120 for
/// 1920). `MirlImage::create` with a pitch makes one.
///
/// A 4:4:4 image has 16 bits and 3 channels in the order Y, V, U, whatever its `channelSeq`, and
/// any pitch. A flat 4:2:2 image has 16 bits and rows of U, Y, V, Y without padding, so a pitch of
/// `4 * w`. Signed elements are read as unsigned.
///
/// The destination must be live; rows that it has beyond the ones converted stay as they are.
namespace mirl::colorOperations {

/// V210 to 4:4:4 of the destination's size; both pixels of a pair get its U and V. Bits 30 and 31
/// of the words are dropped. Waits for the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty; `MIRL_DEPTH_NOT_SUPPORTED`
/// unless the destination has 16 bits, so also if it is empty; `MIRL_CHANNELS_NOT_SUPPORTED` unless
/// it has 3 channels; `MIRL_INVALID_ARGUMENT` if its width is no multiple of 6, the source's pitch
/// isn't that of such rows or the source has fewer rows; `MIRL_MISMATCH` for images or a stream of
/// two devices and `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_KERNEL_FAILED` if the wait
/// fails.
MIRL_API MirlStatus V210TOYUV444(const MirlImage& source, MirlImage& destination,
                                 const MirlStream& stream = MirlStream());

/// 4:4:4 to V210: of each pair of pixels the first one's U and V. Samples must be below 1024, else
/// they carry into the next one. The work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty; `MIRL_DEPTH_NOT_SUPPORTED`
/// unless it has 16 bits; `MIRL_IMAGE_NOT_INITIALIZED` if the destination is empty;
/// `MIRL_CHANNELS_NOT_SUPPORTED` unless the source has 3 channels; `MIRL_INVALID_ARGUMENT` if its
/// width is no multiple of 6, the destination's pitch isn't that of such rows or the destination
/// has fewer rows; `MIRL_MISMATCH` for images or a stream of two devices and
/// `MIRL_INVALID_ARGUMENT` for a dead stream.
MIRL_API MirlStatus YUV444TOV210(const MirlImage& source, MirlImage& destination,
                                 const MirlStream& stream = MirlStream());

/// Flat 4:2:2 to V210, with samples as in `YUV444TOV210`. Waits for the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty; `MIRL_DEPTH_NOT_SUPPORTED`
/// unless it has 16 bits; `MIRL_IMAGE_NOT_INITIALIZED` if the destination is empty;
/// `MIRL_INVALID_ARGUMENT` if the source's rows have padding or are no whole groups, the
/// destination's pitch isn't that of such rows or the destination has fewer rows; `MIRL_MISMATCH`
/// for images or a stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead stream;
/// `MIRL_KERNEL_FAILED` if the wait fails.
MIRL_API MirlStatus YUV422TOV210(const MirlImage& source, MirlImage& destination,
                                 const MirlStream& stream = MirlStream());

}  // namespace mirl::colorOperations
