#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/scalar.h>
#include <mirl/status.h>
#include <mirl/stream.h>

/// Enhancements that first learn something about the whole image.
namespace mirl::colorOperations {

/// Colour balance: mixes some of channel 1 into the two others, by the means of the channels. The
/// result is that of `channelMix`, the source's `dataBits` included, with the identity and two
/// further factors in single precision. With m0, m1 and m2 the means as floats, the first that
/// holds of
///
///     m1 >= m0, m1 >= m2:  channel 2 gets (m1 - m2) / 255 * 1.2,
///                          channel 0 gets m1 / m0 / 255 * 1.2
///     m2 >= m1, m2 >= m0:  channel 0 gets (m2 - m0) / 255 * 1.2
///     m0 >= m1, m0 >= m2:  channel 2 gets (m0 - m2) / 255 * 1.2
///
/// of channel 1 added; of means with a NaN none holds. The ratio counts as 0 if m0 is 0, so that a
/// channel 0 without any colour stays as it is. Channels count as they stand in memory, and the
/// divisor is 255 in all depths.
///
/// 8U, 16U and 32F with 3 channels; an empty destination is created with the source's size and
/// type. The destination may be the source. All work is done on the default stream, whatever the
/// stream that is given: the call waits there for the means, and queues the rest. If the means
/// can't be had they count as 0, and the result is the source.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` for an empty source; `MIRL_CHANNELS_NOT_SUPPORTED`
/// for one of other than 3 channels; `MIRL_MISMATCH` for images of two devices, and for a live
/// destination that differs from the source in size, channels or depth; what `create` returns;
/// `MIRL_DEPTH_NOT_SUPPORTED` for other types, an empty destination having been created by then.
MIRL_API MirlStatus autoColor(const MirlImage& source, MirlImage& destination,
                              const MirlStream& stream = MirlStream());

/// Histogram equalisation: each value becomes 255 times the share of pixels that aren't brighter,
/// rounded to nearest with halves away from zero. A share is the single-precision sum, from value 0
/// on, of counts times the reciprocal of the number of pixels. Value 0 counts like any other: an
/// image of nothing but black turns white.
///
/// 8U with 1 channel; an empty destination is created with the source's size and type. The
/// destination may be the source. Everything is queued on the stream: no value goes to the host.
/// Any number of calls may run at once.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` for an empty source; `MIRL_TYPE_NOT_SUPPORTED` for
/// one of another type; `MIRL_MISMATCH` for images or a stream of two devices and
/// `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_MISMATCH` for a live destination that differs
/// in size, depth or channels; `MIRL_DEVICE_ALLOC_FAILED` and `MIRL_MEMSET_FAILED` without memory
/// for the histogram; what `create` returns. A failure leaves the destination as it was.
MIRL_API MirlStatus histEq(const MirlImage& source, MirlImage& destination,
                           const MirlStream& stream = MirlStream());

/// Stretches each channel in place from its own least and greatest value, mn and mx, to `lowOut`
/// and `highOut`, leaving samples at or below `lowThreshold` and at or above `highThreshold` alone.
/// The four are numbers from 0 to 1 for each channel; times 255, limited to 0 to 255 (NaN is 0) and
/// truncated they are the bytes a, b for the thresholds and o, p for the range. A sample v with
/// a < v < b becomes o + (p - o) * ((v - mn + 1e-12) / (mx - mn)), in single precision with a fused
/// multiply-add; what is below o becomes o, else what is above p becomes p, and the fraction is cut
/// off. The thresholds choose what changes and have no part in the formula.
///
/// A channel of one value v becomes p if p > o, else o, which is also the result for p equal to o.
/// With p < o, samples become o, but where there are several values those equal to mn become p.
///
/// 8U with 1 or 3 channels. The call waits for its stream to have the extremes, and queues the
/// rest.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` for an empty image; `MIRL_MISMATCH` for another
/// type, and for a stream of another device; `MIRL_INVALID_ARGUMENT` for a dead stream;
/// `MIRL_DEVICE_ALLOC_FAILED`, `MIRL_COPY_D2H_FAILED` and `MIRL_KERNEL_FAILED` as in `minMax`. A
/// failure leaves the image as it was.
MIRL_API MirlStatus adjust(MirlImage& image, const MirlScalar& lowThreshold,
                           const MirlScalar& highThreshold, const MirlScalar& lowOut,
                           const MirlScalar& highOut, const MirlStream& stream = MirlStream());

/// Removes haze. The light a of each channel, on the scale of the samples c, is that of haze itself: a
/// pixel's dark value d is the least of c / a over its channels, and the less of the scene comes
/// through, the brighter the darkest channels are around a pixel:
///
///     t = min(1 - 0.8 * (d < mean ? least : mean), 1)
///     result = (c - a) / t + a, cut off to a whole number within the type's range
///
/// with the mean and the least of the 3x3 dark values around it, all in single precision but for
/// c - a; the mean is their sum, column by column from the left, over 9. The greatest sample of the
/// type stands in for a greater least value. Pixels at the edge of the image lack neighbours: those
/// of the destination are left alone, and are unset where it was created.
///
/// Nothing keeps t above 0, where the light is much darker than the samples, nor a light from being
/// 0: divisions are those of floats, c - a wraps around, a NaN is less than nothing and becomes 0 as
/// a result, infinities the end of the range.
///
/// 8U and 16U with 3 channels; an empty destination is created with the source's size and type. The
/// destination may be the source, which takes a copy of it. The work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` for an empty source; `MIRL_CHANNELS_NOT_SUPPORTED`
/// for one of other than 3 channels; `MIRL_MISMATCH` for images or a stream of two devices and
/// `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_MISMATCH` for a live destination that differs in
/// size, depth or channels; what `create` returns; `MIRL_TYPE_NOT_SUPPORTED` for other types, an
/// empty destination having been created by then; in place `MIRL_DEVICE_ALLOC_FAILED` and
/// `MIRL_COPY_D2D_FAILED`, with nothing written.
MIRL_API MirlStatus dehaze(const MirlImage& source, MirlImage& destination, int a0, int a1, int a2,
                           const MirlStream& stream = MirlStream());

/// Brightens what is dark: the negative of a dark image looks like one full of haze, so this is the
/// negative of what `dehaze` makes of the negative, with the type's greatest value for all lights. At
/// the edge of the image the negative of the source is left.
///
/// Types, roles and statuses are those of `dehaze`.
MIRL_API MirlStatus lowlight(const MirlImage& source, MirlImage& destination,
                             const MirlStream& stream = MirlStream());

}  // namespace mirl::colorOperations
