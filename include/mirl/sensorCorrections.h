#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/status.h>
#include <mirl/stream.h>

/// Corrections of what a camera's sensor delivers.
namespace mirl::colorOperations {

/// Two-point flat-field correction of fixed-pattern noise: `(source - dark) * gain / (flat - dark)`
/// in single precision, in this order. `dark` is what the sensor gives without light and `flat`
/// what it gives in even light; a pixel as bright as its flat one becomes `gain`.
///
/// Images of 8 or 16 bits with 1 or 3 channels, signed elements being read as unsigned. A result
/// that is negative or NaN (0 / 0) becomes 0. Others are truncated and limited to 255 in 8 bits,
/// and in 16 bits to the range of the source's `dataBits`.
///
/// An empty destination is created with the source's size, depth and channels. It may be any of the
/// three others. The work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if one of the three inputs is empty; `MIRL_MISMATCH`
/// if `flat`, `dark` or a live destination differ from the source in width, height, depth or
/// channels; `MIRL_MISMATCH` for images or a stream of two devices and `MIRL_INVALID_ARGUMENT` for
/// a dead stream; what `create` returns for an empty destination; `MIRL_DEPTH_NOT_SUPPORTED` and
/// `MIRL_CHANNELS_NOT_SUPPORTED` for other depths and channels, an empty destination having been
/// created by then.
MIRL_API MirlStatus FPNCorrection(const MirlImage& source, MirlImage& destination,
                                  const MirlImage& flat, const MirlImage& dark, float gain,
                                  const MirlStream& stream = MirlStream());

/// One-point correction: subtracts a frame of signed bytes from a frame of bytes. A negative result
/// becomes 0; one above 255 isn't limited but keeps its low 8 bits, so 250 - (-10) is 4.
///
/// It works on the whole buffers, the padding of rows included, whatever the type; they must have
/// the same pitch and height. The destination must be live and may be either of the others. The
/// work is queued on the default stream.
///
/// If the GPU's runtime holds an error that earlier work has left, or holds one after the launch, a
/// line on the standard output tells it: "FPN before " or "FPN kernel ", its number and its text.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if an image is empty; `MIRL_MISMATCH` if pitches or
/// heights differ; `MIRL_MISMATCH` for images of two devices.
MIRL_API MirlStatus fpn(MirlImage& destination, const MirlImage& source, const MirlImage& offsets);

/// Copies an image and paints a frame over its margins, which may have four different widths and
/// may cover all of it. `value` points to a number for each channel, truncated toward zero; only
/// the low bits that an element has are used, so 300 is 44 in 8 bits. NaN and infinity give 0.
///
/// Images of 8 or 16 bits, signed or not, with 1 or 3 channels. An empty destination is created
/// with the source's size, depth and channels. It may be the source. The work is queued on the
/// stream.
///
/// In this order: `MIRL_NULL_POINTER` for a null `value`; `MIRL_IMAGE_NOT_INITIALIZED`;
/// `MIRL_MISMATCH` if a live destination differs in width, height, depth or channels;
/// `MIRL_MISMATCH` for images or a stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead
/// stream; what `create` returns for an empty destination; and with an empty destination created by
/// then `MIRL_DEPTH_NOT_SUPPORTED`, `MIRL_INVALID_ARGUMENT` for margins that are negative or
/// together larger than the image, `MIRL_CHANNELS_NOT_SUPPORTED`.
MIRL_API MirlStatus borderMask(const MirlImage& source, MirlImage& destination, int top, int bottom,
                               int left, int right, const float* value,
                               const MirlStream& stream = MirlStream());

}  // namespace mirl::colorOperations
