#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/scalar.h>
#include <mirl/status.h>
#include <mirl/stream.h>

/// Conversions between colour spaces, pixel by pixel.
///
/// Which channel is red and which is blue is told by an image's `channelSeq`: red is the first of
/// the three for `MIRL_CHANNELSEQ_RGB` and `MIRL_CHANNELSEQ_RGBA`, blue for `MIRL_CHANNELSEQ_BGR`
/// and `MIRL_CHANNELSEQ_BGRA`; the names with three letters belong to images of 3 channels, the
/// others to images of 4. Each function says whose sequence counts. Under a sequence that doesn't
/// belong to the channels nothing is computed: the result is `MIRL_SUCCESS`, and an empty
/// destination has been created without being filled. No other function changes a live
/// destination's sequence than those that say so. `dataBits` isn't looked at: 16 bits span 0 to
/// 65535.
///
/// "Clamped and truncated" is what happens to a number that becomes an integer element: below 0 and
/// NaN give 0, above the type's greatest value gives that value, and the fraction is cut off. A
/// float element takes the number as it is. Sums of products are computed in single precision
/// with fused multiply-adds in the order of memory 1, 0, 2: the channel in the middle, the first,
/// the last; an offset is added at the end.
///
/// An empty destination is created with the source's size, blue first if it has 3 channels; a live
/// one keeps its format, of which only the depth is compared, so that a signed destination gets
/// the bits of the unsigned result. Except where it is refused, the destination may be the source.
/// The work is queued on the stream; no function waits.
///
/// All conversions check in this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty;
/// `MIRL_IN_PLACE_NOT_SUPPORTED` if the destination is the source and that is refused;
/// `MIRL_CHANNELS_NOT_SUPPORTED` for a source of other channels; `MIRL_MISMATCH` for images or a
/// stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_MISMATCH` if a live
/// destination has another size, depth or number of channels than an empty one would get; what
/// `create` returns, the destination then being empty as before; and for a type that isn't served
/// the status that the function names, an empty destination having been created by then.
namespace mirl::colorOperations {

/// Luma: 0.299 red + 0.587 green + 0.114 blue (ITU-R BT.601), integers truncated. 8U and 16U with 3
/// or 4 channels, alpha being ignored, and 32F with 3, into 1 channel of the same depth. The
/// source's sequence counts. White stays white.
///
/// Not in place. A live destination of other than 1 channel is `MIRL_CHANNELS_NOT_SUPPORTED`; types
/// that aren't served are `MIRL_MISMATCH`.
MIRL_API MirlStatus rgb2gray(const MirlImage& source, MirlImage& destination,
                             const MirlStream& stream = MirlStream());

/// The same with the caller's weights, narrowed to float: entries 0, 1 and 2 of `weights` are those
/// of red, green and blue whatever the sequence. Clamped and truncated, so any weights will do.
/// 8U, 16U and 32F with 3 channels.
MIRL_API MirlStatus rgb2gray(const MirlImage& source, MirlImage& destination,
                             const MirlScalar& weights, const MirlStream& stream = MirlStream());

/// The gray value in the first three channels, and 0 in the fourth if there is one. 8U, 16U and 32F
/// with 1 channel, into 3 channels of the same type; a live destination may have 4.
///
/// Not in place, see below for that. The channels of a live destination aren't compared: types
/// and channels that aren't served are `MIRL_TYPE_NOT_SUPPORTED`.
MIRL_API MirlStatus gray2rgb(const MirlImage& source, MirlImage& destination,
                             const MirlStream& stream = MirlStream());

/// The same in place: the image becomes one of 3 channels, blue first, with a buffer of its own and
/// `dataBits` equal to its depth. After any failure the image is as it was, with
/// `MIRL_DEVICE_FREE_FAILED` if its old buffer can't be given back.
MIRL_API MirlStatus gray2rgb(MirlImage& image, const MirlStream& stream = MirlStream());

/// Y, U and V in channels 0, 1 and 2, for 3 channels of 8 or 16 bits; the source's sequence counts.
///
/// 8 bits, in integers with shifts that round down (ITU-R BT.601, Y from 16 to 235):
/// Y = ((66 R + 129 G + 25 B + 128) >> 8) + 16, U = ((-38 R - 74 G + 112 B + 128) >> 8) + 128,
/// V = ((112 R - 94 G - 18 B + 128) >> 8) + 128. White is (235, 128, 128).
///
/// 16 bits, over the full range and without offsets: Y = 0.299 R + 0.587 G + 0.114 B,
/// U = -0.168736 R - 0.331264 G + 0.5 B, V = 0.5 R - 0.418688 G - 0.081312 B (the latter in double
/// precision, narrowed to single), clamped and truncated, so that negative U and V are lost.
///
/// Other depths are `MIRL_DEPTH_NOT_SUPPORTED`; signed elements are read as unsigned.
MIRL_API MirlStatus rgb2yuv(const MirlImage& source, MirlImage& destination,
                            const MirlStream& stream = MirlStream());

/// Colour from Y, U and V, for 3 channels of 8 or 16 bits; the destination's sequence counts. With
/// D = U - 128 and E = V - 128 in both depths, 8 bits: R = (W + 409 E) >> 8,
/// G = (W - 100 D - 208 E) >> 8 and B = (W + 516 D) >> 8, W being 298 (Y - 16) + 128, clamped;
/// 16 bits: R = Y + 1.4075 E, G = Y - 0.3455 D - 0.7169 E, B = Y + 1.779 D, clamped and truncated.
/// (As 16-bit `rgb2yuv` adds no offset, the two don't undo each other.)
///
/// Other depths are `MIRL_DEPTH_NOT_SUPPORTED`; signed elements are read as unsigned.
MIRL_API MirlStatus yuv2rgb(const MirlImage& source, MirlImage& destination,
                            const MirlStream& stream = MirlStream());

/// UYVY video: 8U with 3 channels into 2 channels of 8 bits, Y in the second and in the first U on
/// even columns and V on odd ones, so that a row reads U0 Y0 V1 Y1 U2 Y2 and so on. The formulas
/// are those of 8-bit `rgb2yuv`; each pixel's chroma is its own, nothing is averaged. The
/// source is read blue first whatever its sequence, and any width will do.
///
/// A live destination of other than 2 channels, such as the source itself, is `MIRL_MISMATCH`
/// together with one of another size or depth. Other types are `MIRL_TYPE_NOT_SUPPORTED`.
MIRL_API MirlStatus rgb2yuv422(const MirlImage& source, MirlImage& destination,
                               const MirlStream& stream = MirlStream());

/// Y, Cb and Cr (ITU-R BT.601, with head and foot room: Y from 16 to 235 of 255) in channels 0, 1
/// and 2, for 8U, 16U and 32F with 3 channels:
///
///     Y  =  65.481 R + 128.553 G +  24.966 B +  16
///     Cb = -37.797 R -  74.203 G + 112     B + 128
///     Cr = 112     R -  93.786 G -  18.214 B + 128
///
/// with factors times 1/255 and offsets times 1 in 8 bits, 257 in 16 bits and 1/255 in float, whose
/// range is 0 to 1. Clamped and truncated: 8-bit white is (235, 127, 128).
///
/// The destination's sequence becomes `MIRL_CHANNELSEQ_RGB`, before the source's is read: one and
/// the same image is therefore taken as red first. The source's sequence counts; in 8 and 16 bits
/// those of four channels are understood as well. Other types are `MIRL_TYPE_NOT_SUPPORTED`, the
/// destination's sequence having been set by then.
MIRL_API MirlStatus rgb2ycbcr(const MirlImage& source, MirlImage& destination,
                              const MirlStream& stream = MirlStream());

/// Colour from Y, Cb and Cr, for 8U, 16U and 32F with 3 channels; the destination's sequence
/// counts:
///
///     R = 0.0045662 Y                + 0.0062589 Cr - 0.8742024
///     G = 0.0045662 Y - 0.0015363 Cb - 0.0031881 Cr + 0.5316682
///     B = 0.0045662 Y + 0.0079107 Cb                - 1.0856326
///
/// with factors times 255 and offsets times the greatest value, which is 1 in float. Clamped and
/// truncated: 8-bit (235, 128, 128) is 254, 255 and 254 in red, green and blue. Other types are
/// `MIRL_TYPE_NOT_SUPPORTED`.
MIRL_API MirlStatus ycbcr2rgb(const MirlImage& source, MirlImage& destination,
                              const MirlStream& stream = MirlStream());

/// Hue, saturation and value in channels 0, 1 and 2, for 8U and 32F with 3 channels; the source's
/// sequence counts. 8-bit channels are divided by 255 first. Value is the greatest channel,
/// saturation the spread of the channels over it, and hue a sixth of the way round for each of
/// red, yellow, green and so on, all from 0 to 1 in float; in 8 bits they are times 255, clamped
/// and truncated, the hue too. Gray has hue and saturation 0. (A. R. Smith, "Color gamut
/// transform pairs", 1978.) Of equal channels red is the greatest before green, green before blue.
///
/// Source or destination of other types, or of two: `MIRL_DEPTH_NOT_SUPPORTED`; the depth of a live
/// destination isn't compared before.
MIRL_API MirlStatus rgb2hsv(const MirlImage& source, MirlImage& destination,
                            const MirlStream& stream = MirlStream());

/// Colour from hue, saturation and value, always blue first, for 8U and 32F with 3 channels. The
/// computation is one of bytes with shifts and six regions of hue 43 wide; a float channel is
/// multiplied by 255, truncated and kept to its low 8 bits first (those of infinity and NaN are 0),
/// and each result divided by 255.
///
/// Source or destination of other types, or of two: `MIRL_DEPTH_NOT_SUPPORTED`; the depth of a live
/// destination isn't compared before.
MIRL_API MirlStatus hsv2rgb(const MirlImage& source, MirlImage& destination,
                            const MirlStream& stream = MirlStream());

/// CIE L*a*b* from sRGB under D65, in channels 0, 1 and 2, for 8U and 32F with 3 channels; the
/// source's sequence counts. Channels are divided by 255 in 8 bits; in float they are 0 to 1. In
/// float L is 0 to 100 and a and b lie around 0; in 8 bits L is times 2.55, and a and b are
/// shifted by 128, clamped and truncated. Power and cube root are within 4 units in the last
/// place, the same on every device. (IEC 61966-2-1; CIE 15.)
///
/// Not in place. The destination's sequence becomes `MIRL_CHANNELSEQ_RGB`. Other types are
/// `MIRL_DEPTH_NOT_SUPPORTED`.
MIRL_API MirlStatus rgb2Lab(const MirlImage& source, MirlImage& destination,
                            const MirlStream& stream = MirlStream());

/// sRGB from CIE L*a*b*, the reverse of `rgb2Lab`, for 8U and 32F with 3 channels; the
/// destination's sequence counts. 8-bit results are clamped and truncated, float results nominally
/// 0 to 1. Other types are `MIRL_DEPTH_NOT_SUPPORTED`.
MIRL_API MirlStatus Lab2rgb(const MirlImage& source, MirlImage& destination,
                            const MirlStream& stream = MirlStream());

}  // namespace mirl::colorOperations

/// Tone curves and tables, and operations on whole channels. No pixel looks at another one.
///
/// "Clamped and truncated", the channel sequence, new destinations and the queue are as above. A
/// destination may be the source except where another status is named. No function waits.
///
/// All functions check in this order: `MIRL_IMAGE_NOT_INITIALIZED` if an input is empty;
/// `MIRL_NULL_POINTER` for a null array; what the function's own "first" names; `MIRL_MISMATCH`
/// for images or a stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead stream;
/// `MIRL_MISMATCH` if a live destination has another size, depth or number of channels than an
/// empty one would get; what `create` returns, the destinations then being as they were; and at
/// last, empty destinations having been created by then, what the function names for types.
namespace mirl::colorOperations {

/// The power curve (sample / 255)^(1 / gamma) times 255, clamped and truncated, for 8U with 1 or 3
/// channels. Computed in single precision: division, power, product, each correctly rounded. Gamma
/// 1 changes nothing, a greater one brightens. Gamma 0 leaves 255 alone and makes the rest 0, as a
/// NaN does; a negative one gives 255.
///
/// Other types are `MIRL_MISMATCH`.
MIRL_API MirlStatus gammaCorrect(const MirlImage& source, MirlImage& destination, float gamma,
                                 const MirlStream& stream = MirlStream());

/// scale * ln(sample + 1) into float, for 8U, 16U and 32F with 1 or 3 channels. Samples aren't
/// normalised: 65535 gives 11.09 times the scale. The logarithm is within 1 unit in the last place
/// of that of the sum in single precision, the same on every device; for -1 it is -infinity, and
/// NaN below.
///
/// First `MIRL_DEPTH_NOT_SUPPORTED` for a live destination of another depth than 32. Other types
/// are `MIRL_DEPTH_NOT_SUPPORTED`.
MIRL_API MirlStatus logTransform(const MirlImage& source, MirlImage& destination, float scale,
                                 const MirlStream& stream = MirlStream());

/// Every sample through a table, for 8U with 1 or 3 channels. The table is an image of height 1
/// and type `MIRL_8U_C1` and width 256, one curve for all channels, or `MIRL_8U_C3` and width 768.
/// Of the latter the first 768 bytes count: 256 entries of three bytes, one for each channel of
/// the source; for a source of 1 channel the first 256 bytes.
///
/// First `MIRL_INVALID_ARGUMENT` for any other table (`MIRL_16U_C1` of width 65536 and
/// `MIRL_16U_C3` of width 196608 pass, though no source can use them) and `MIRL_MISMATCH` if its
/// depth isn't the source's. Destinations of another type are `MIRL_MISMATCH`, other types
/// `MIRL_TYPE_NOT_SUPPORTED`, and the table as destination is `MIRL_IN_PLACE_NOT_SUPPORTED`.
MIRL_API MirlStatus LUT(const MirlImage& source, const MirlImage& table, MirlImage& destination,
                        const MirlStream& stream = MirlStream());

/// Each of three channels through a host table of its own with 2^`dataBits` entries, `dataBits`
/// being the source's, for 8 and 16 bits; signed elements are read as unsigned. Entries above
/// 2^`dataBits` - 1 count as that, and samples beyond the tables get the last entry. The tables may
/// be changed or freed when the call returns. A new destination gets the source's `dataBits`.
///
/// Other depths are `MIRL_DEPTH_NOT_SUPPORTED`, other channels `MIRL_CHANNELS_NOT_SUPPORTED`, and
/// only then a live destination of another depth or number of channels is `MIRL_MISMATCH`. At last
/// `MIRL_DEVICE_ALLOC_FAILED` or `MIRL_COPY_H2D_FAILED` if 16-bit tables can't be put on the
/// device, which leaves the destination as it was.
MIRL_API MirlStatus blackGammaLUT(const MirlImage& source, MirlImage& destination,
                                  unsigned short* table0, unsigned short* table1,
                                  unsigned short* table2, const MirlStream& stream = MirlStream());

/// 255 where a pixel is at or above a threshold and 0 elsewhere, for 8U with 1 or 3 channels, into
/// 1 channel. The threshold is `level`, limited to 0 to 1 (NaN counts as 0), times 255, truncated.
/// Of 3 channels it is compared with 0.3 red + 0.59 green + 0.11 blue, truncated, each product and
/// each sum being rounded, in the order of memory 1, 0, 2; the source's sequence counts. Level 0
/// makes everything 255.
///
/// First `MIRL_CHANNELS_NOT_SUPPORTED` for a live destination of other than 1 channel, so that 3
/// channels can't work in place. Other types are `MIRL_MISMATCH`.
MIRL_API MirlStatus imageBinary(const MirlImage& source, MirlImage& destination, float level,
                                const MirlStream& stream = MirlStream());

/// The three channels of an 8U, 16U or 32F image by colour, as the source's sequence tells, into an
/// image of 1 channel each. The channels of a live destination aren't compared: the leading
/// elements of each row are written. Where two destinations are one image, it gets the channel that
/// comes later in the source's memory.
///
/// First `MIRL_CHANNELS_NOT_SUPPORTED` for a source of other than 3 channels. The destinations are
/// compared or created one after the other, red, green, blue: those before one that doesn't fit
/// have been created. Other types are `MIRL_DEPTH_NOT_SUPPORTED`, and at last a destination that is
/// the source is `MIRL_IN_PLACE_NOT_SUPPORTED`.
MIRL_API MirlStatus channelSplit(const MirlImage& source, MirlImage& red, MirlImage& green,
                                 MirlImage& blue, const MirlStream& stream = MirlStream());

/// One image of 3 channels from three of 1, for 8U, 16U and 32F; the destination's sequence tells
/// where the colours go.
///
/// First `MIRL_CHANNELS_NOT_SUPPORTED` for a red image of other than 1 channel, and `MIRL_MISMATCH`
/// if the others differ from it in size, depth or channels. A live destination of other than 3
/// channels is `MIRL_CHANNELS_NOT_SUPPORTED`, red images of other types `MIRL_DEPTH_NOT_SUPPORTED`.
MIRL_API MirlStatus channelMerge(const MirlImage& red, const MirlImage& green,
                                 const MirlImage& blue, MirlImage& destination,
                                 const MirlStream& stream = MirlStream());

/// A colour matrix of three rows of four host floats, for 8U, 16U and 32F with 3 channels: output
/// channel r is m[4 r] c0 + m[4 r + 1] c1 + m[4 r + 2] c2 + m[4 r + 3], in the order of summation
/// above. Channels count as they stand in memory. Integers are truncated and clamped to 0 to
/// 2^`dataBits` - 1, `dataBits` being the source's; NaN becomes 0. The matrix may be changed or
/// freed when the call returns.
///
/// First `MIRL_CHANNELS_NOT_SUPPORTED` for a source of other than 3 channels. Other types are
/// `MIRL_DEPTH_NOT_SUPPORTED`.
MIRL_API MirlStatus channelMix(const MirlImage& source, MirlImage& destination, float* matrix,
                               const MirlStream& stream = MirlStream());

/// Leaves the pixels in which one channel is greater than both others by more than `threshold`,
/// and by anything at all, and turns the rest gray: 0.3 green + 0.59 red + 0.11 blue in all three
/// channels, in single precision, each product and each sum rounded, in this order, and truncated:
/// an even gray of 7 becomes 6. For 8 bits with 3 channels, blue first; signed elements are read as
/// unsigned. A `color` that is none, or a threshold of NaN, turns all pixels gray.
///
/// First `MIRL_CHANNELS_NOT_SUPPORTED` for a source of other than 3 channels. Other depths are
/// `MIRL_DEPTH_NOT_SUPPORTED`, and sources of another sequence than `MIRL_CHANNELSEQ_BGR` are
/// `MIRL_MISMATCH`.
MIRL_API MirlStatus colorPick(const MirlImage& source, MirlImage& destination, MirlColor color,
                              float threshold, const MirlStream& stream = MirlStream());

/// Colours from a Bayer mosaic of 1 channel, for 8 and 16 bits: always blue, green, red in memory,
/// whatever the destination's sequence is. `sequence` names the first 2x2 cell of the mosaic.
///
/// The plain values: a colour that a pixel has no sample of is the mean of the two or four nearest
/// ones; green at a red or blue sample is the mean of all four neighbours, but of only the upper and
/// the lower one where the sample two columns to the right is less than that two to the left. The
/// high-quality values: the linear filters over 5x5 of Malvar, He and Cutler, "High-quality linear
/// interpolation for demosaicing of Bayer-patterned color images" (2004).
///
/// Beyond the image its nearest sample stands. Results are truncated, and limited to 0 to 255, or
/// for 16 bits to 2^`dataBits` - 1, the source's; the samples of the mosaic are limited so as well.
/// Signed elements are read as unsigned. An empty destination is created with the source's size and
/// depth. The work is queued on the stream.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED`; `MIRL_CHANNELS_NOT_SUPPORTED` for a source of other
/// than 1 channel; `MIRL_MISMATCH` for images or a stream of two devices and `MIRL_INVALID_ARGUMENT`
/// for a dead stream; `MIRL_CHANNELS_NOT_SUPPORTED` for a live destination of other than 3 channels,
/// `MIRL_MISMATCH` for one of another size or depth; what `create` returns for an empty one;
/// `MIRL_DEPTH_NOT_SUPPORTED` for other depths, and `MIRL_MISMATCH` for a sequence that is none, an
/// empty destination having been created by then.
MIRL_API MirlStatus demosaic(const MirlImage& source, MirlImage& destination, MirlBayerSeq sequence,
                             const MirlStream& stream = MirlStream());

/// The same by directional filtering with a posteriori decision, after Menon, Andriani and Calvagno
/// (IEEE Transactions on Image Processing, 2007). At a red or blue sample green is estimated along
/// the row and along the column, and the estimate is taken around which the difference between
/// colour and green changes less, along its own direction; the row's where they are equal. A green
/// sample then gets, of each colour, the mean difference from green of its two neighbours of that
/// colour, and a red or blue one the colour that it still lacks from its two green neighbours in the
/// direction that was decided on.
///
/// The outermost columns and rows stay without the last two steps: green samples are gray there, and
/// of the other ones blue and red are both the sample. Images of less than 3 columns or rows are
/// nothing else. Beyond the image samples are 0. Every step truncates its results and limits them to
/// 0 to 2^`dataBits` - 1, the source's, for 8 bits too; so are samples of the mosaic where they are
/// results. `flag` has no effect. The work is queued on the stream.
///
/// `sequence` is one of the four plain ones. Types, the order of colours and statuses are those of
/// `demosaic` but for the last: any other sequence is `MIRL_INVALID_ARGUMENT`.
MIRL_API MirlStatus demosaicDFPD(const MirlImage& source, MirlImage& destination,
                                 MirlBayerSeq sequence, bool flag,
                                 const MirlStream& stream = MirlStream());

}  // namespace mirl::colorOperations
