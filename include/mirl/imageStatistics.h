#pragma once

#include <mirl/export.h>
#include <mirl/histogram.h>
#include <mirl/image.h>
#include <mirl/scalar.h>
#include <mirl/status.h>
#include <mirl/stream.h>

/// Statistics of whole images.
///
/// The reductions read the image once and write one number for each channel to the leading entries
/// of a `MirlScalar`; entries beyond the channels keep their values, and so do all of them if the
/// call fails. They wait for their own stream, so the numbers are there on return. A scalar without
/// a block gets no numbers. Every device and every number of threads gives the same bits, except
/// those of a NaN: integer sums are exact, and sums of floats are accumulated in double in an order
/// that depends on nothing but the image's size.
///
/// All take images of 1 and 3 channels, integers being unsigned. Unless an operation says
/// otherwise, in this order: `MIRL_IMAGE_NOT_INITIALIZED` for an empty image; `MIRL_MISMATCH` for a
/// stream of another device and `MIRL_INVALID_ARGUMENT` for a dead one; `MIRL_MISMATCH` for a type
/// that isn't served; `MIRL_DEVICE_ALLOC_FAILED` without memory for the partial results;
/// `MIRL_COPY_D2H_FAILED`; `MIRL_KERNEL_FAILED` if the work on the stream failed.
namespace mirl::imageStatistics {

/// The least element of each channel, of 8-bit, 16-bit and float images. A NaN counts as no
/// element: a channel of nothing else gives NaN. Of the two zeros -0 is the lesser.
MIRL_API MirlStatus min(const MirlImage& in, MirlScalar& result,
                        const MirlStream& stream = MirlStream());

/// The greatest element of each channel, of 8-bit, 16-bit and float images, NaN and zeros as in
/// `min`.
MIRL_API MirlStatus max(const MirlImage& in, MirlScalar& result,
                        const MirlStream& stream = MirlStream());

/// Both extremes in one pass, each as by `min` and `max`. The two scalars may be one, which then
/// holds the maximum. An empty image gives `MIRL_MISMATCH`.
MIRL_API MirlStatus minMax(const MirlImage& in, MirlScalar& minimum, MirlScalar& maximum,
                           const MirlStream& stream = MirlStream());

/// The sum of each channel, of 8-bit, 16-bit and float images. Integer sums are exact, and rounded
/// once if they exceed 2^53. A NaN in a channel makes its sum NaN.
MIRL_API MirlStatus sum(const MirlImage& in, MirlScalar& result,
                        const MirlStream& stream = MirlStream());

/// The mean of each channel, of 8-bit, 16-bit and float images: `sum` divided by the number of
/// pixels.
MIRL_API MirlStatus mean(const MirlImage& in, MirlScalar& result,
                         const MirlStream& stream = MirlStream());

/// The mean of each channel and the population's standard deviation from it, of 8-bit images.
/// With the n elements of a channel summed in integers, the deviation is
/// `sqrt(n * (sum of squares) - (sum)^2) / n`, so a channel of one value gives exactly 0. The two
/// scalars may be one, which then holds the deviation.
MIRL_API MirlStatus meanStdDev(const MirlImage& in, MirlScalar& mean, MirlScalar& deviation,
                               const MirlStream& stream = MirlStream());

/// The number of elements from `lower` to `upper`, both included, in each channel of 8-bit and
/// float images; each channel has the bounds of its own entry. For an 8-bit image a bound is
/// clamped to 0 to 255 and truncated: 10.9 is 10, NaN is 0. For a float image it is rounded to
/// float, and a NaN, as element or as bound, is in no range. A lower bound above the upper one
/// counts nothing. `counts` may be one of the bounds.
///
/// An empty image gives `MIRL_MISMATCH`, a type that isn't served `MIRL_DEPTH_NOT_SUPPORTED`.
MIRL_API MirlStatus countInRange(const MirlImage& in, MirlScalar& counts, const MirlScalar& lower,
                                 const MirlScalar& upper, const MirlStream& stream = MirlStream());

/// Counts the values of an 8-bit image of 1 or 3 channels, 256 bins a channel; signed elements are
/// read as unsigned. Counts wrap at 2^32.
///
/// An empty histogram is created in host memory for the image's type. Bins in host and page-locked
/// memory are replaced, and the call waits for its stream; a histogram of 768 bins keeps the last
/// 512 of them for an image of 1 channel. Bins in device memory, which must be the image's device,
/// are added to: the work is queued on the stream, and calls on several streams sum up.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` for an empty image or a dead histogram;
/// `MIRL_DEPTH_NOT_SUPPORTED` for other depths; `MIRL_MISMATCH` for a histogram or a stream of
/// another device and `MIRL_INVALID_ARGUMENT` for a dead stream; what `create` returns for an empty
/// histogram, but `MIRL_MISMATCH` for a type that it doesn't serve; `MIRL_MISMATCH` unless there
/// are 256 or 768 bins; `MIRL_CHANNELS_NOT_SUPPORTED` for 2 and 4 channels; `MIRL_MISMATCH` for 3
/// channels and 256 bins; `MIRL_DEVICE_ALLOC_FAILED`, `MIRL_MEMSET_FAILED`, `MIRL_COPY_D2H_FAILED`
/// and `MIRL_KERNEL_FAILED` with bins outside device memory. A failure leaves an empty histogram
/// empty.
MIRL_API MirlStatus calcHist(const MirlImage& in, MirlHistogram& histogram,
                             const MirlStream& stream = MirlStream());

}  // namespace mirl::imageStatistics
