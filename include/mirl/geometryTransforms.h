#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/records.h>
#include <mirl/status.h>
#include <mirl/stream.h>
#include <mirl/types.h>

/// Images in another size or position. Unless they say otherwise, the operations here take unsigned
/// 8-bit, unsigned 16-bit and float images of 1 or 3 channels; where they compute it is in single
/// precision. They give the same bits on every device, except those of a NaN. `dataBits` and
/// `channelSeq` of the input aren't looked at unless an operation says so, and the sign of a live
/// destination's elements isn't either: it gets elements of the source's type. The work is queued
/// on the stream and no call waits for it.
namespace mirl::geometryTransforms {

/// Scales `source` to the size of `destination`, each axis by itself. Destination pixel x is
/// sampled at (x + 0.5) * source width / destination width - 0.5, the pixels' centres being at the
/// whole numbers; the floor of that is exact for every size, its fraction f is rounded to float
/// once. What is read outside the source is the edge pixel.
///
/// - `MIRL_INTERPOLATION_NN`: pixel floor((x + 0.5) * source width / destination width).
/// - `MIRL_INTERPOLATION_LINEAR`: a + f * (b - a) of the two neighbours, the product not rounded
///   before the sum; along the row first, then the two results down the column.
/// - `MIRL_INTERPOLATION_CUBIC`: the cubic through the four neighbours at offsets -1 to 2
///   (Lagrange), likewise along the row and then down the column.
///
/// Integers are rounded to nearest, halves up, and clamped; floats are stored as they are. An
/// infinity makes NaN of blended pixels that it takes part in. Enlarging by whole numbers and
/// halving give what one expects: the linear half is the rounded mean of 2x2. Shrinking further
/// leaves pixels out; nothing is averaged over them. Images of one size are copied, whatever the
/// interpolation.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if either image is empty;
/// `MIRL_IN_PLACE_NOT_SUPPORTED` if they are one object; `MIRL_MISMATCH` if they differ in channels
/// or depth, or in device, or the stream belongs to another one; `MIRL_INVALID_ARGUMENT` for a dead
/// stream; `MIRL_TYPE_NOT_SUPPORTED` for other types of source; for images of one size
/// `MIRL_COPY_D2D_FAILED`, for others `MIRL_NPP_FAILED` if `interpolation` is none of the three and
/// `MIRL_DEVICE_ALLOC_FAILED` without memory for tables. The destination is written on success
/// only.
MIRL_API MirlStatus resize(const MirlImage& source, MirlImage& destination,
                           MirlInterpolationType interpolation,
                           const MirlStream& stream = MirlStream());

/// Turns an image by `angle` degrees about the pixel `center`, counterclockwise as one sees it. The
/// map from source to destination is, with the radians r = angle * 0.017453292 and c = cos r,
/// s = sin r, all in float on the host:
///
///     x' =  c * x + s * y + (1 - c) * cx - cy * s
///     y' = -s * x + c * y + cx * s + (1 - c) * cy
///
/// A destination pixel is sampled half a pixel up and left of the point that is mapped to it. A
/// turn by 0 is therefore no copy: each pixel becomes the mean of itself and its three neighbours
/// above and to the left, those outside the image being 0.
///
/// The sample at (X, Y), that half pixel taken off, is the blend of the four pixels around it with
/// the fractions f = X - floor X and g = Y - floor Y: a + f * (b - a) in the upper row and in the
/// lower one, then the same of these two with g; each product not rounded before its sum. Pixels
/// outside the source count as 0. Integer elements are blended as element / 255 or / 65535 in float
/// and stored as the result times 255 or 65535, that product exact, truncated toward zero; so an
/// element may drop by one even among equals. Floats are stored as they are.
///
/// An empty destination is created with the source's size and type; a live one may have any size:
/// pixels are mapped by its coordinates, with no scaling. It can't be the source.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty; `MIRL_INVALID_ARGUMENT` if
/// the centre lies outside the source or the angle is infinite or NaN;
/// `MIRL_IN_PLACE_NOT_SUPPORTED` if both images are one object; `MIRL_MISMATCH` if a live
/// destination differs in depth or channels, or in device, or the stream belongs to another one;
/// `MIRL_INVALID_ARGUMENT` for a dead stream; what `create` returns for an empty destination;
/// `MIRL_MISMATCH` for other types, an empty destination having been created by then.
MIRL_API MirlStatus rotate(const MirlImage& source, MirlImage& destination, float angle,
                           MirlPoint2D<int> center, const MirlStream& stream = MirlStream());

/// Turns a rectangle of an image inside its own bounds, as `rotate` turns an image that holds the
/// rectangle alone: `center` is relative to the rectangle, what leaves it is cut off, and what
/// nothing comes to is 0. Around the rectangle the destination equals the source.
///
/// The destination becomes a copy of the source first, with its `channelSeq` and `dataBits`; a live
/// one of another size is replaced. It may be the source itself, which then keeps all pixels
/// outside the rectangle.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty; `MIRL_MISMATCH` if a live
/// destination differs in depth or channels, or in device, or the stream belongs to another one;
/// `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_DEVICE_ALLOC_FAILED` without memory for the
/// copy; `MIRL_COPY_D2D_FAILED`; `MIRL_DEVICE_FREE_FAILED` if the device won't take back what a
/// live destination held. With any of these the destination is as it was. From here on it is the
/// copy: `MIRL_INVALID_ARGUMENT` if the rectangle has no pixels, a negative number or leaves the
/// source, if the centre lies outside the rectangle, or if the angle is infinite or NaN;
/// `MIRL_MISMATCH` for other types; if source and destination are one, `MIRL_DEVICE_ALLOC_FAILED`
/// and `MIRL_COPY_D2D_FAILED` for the turned rectangle.
MIRL_API MirlStatus rotate(const MirlImage& source, MirlImage& destination, float angle,
                           MirlPoint2D<int> center, const MirlRect& region,
                           const MirlStream& stream = MirlStream());

/// Turns an image about its middle, as `rotate` does, into a destination that holds all of it. The
/// centre is (trunc(width / 2), trunc(height / 2)), and the result is moved by half of what the
/// destination is larger.
///
/// The new size comes of the corners of the turned rectangle, computed in float about (0, 0): from
/// the floor of the smallest coordinate to the ceiling of the largest one, and one more. Examples
/// for 100 by 50: 0 degrees give 101 by 51; 90 degrees 53 by 101, because the cosine isn't quite 0;
/// 45 degrees 109 by 109.
///
/// The destination gets that size and the source's type, whatever it held before, with the
/// `channelSeq` and `dataBits` of a new image. It can't be the source.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty; `MIRL_INVALID_ARGUMENT` if
/// the angle is infinite or NaN or a side of the result is longer than 2147483647;
/// `MIRL_IN_PLACE_NOT_SUPPORTED` if both images are one object; `MIRL_MISMATCH` for images or a
/// stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead stream; what `create` returns for
/// the new destination; `MIRL_DEVICE_FREE_FAILED` if the device won't take back what a live one
/// held; `MIRL_MISMATCH` for other types, the destination having its new size and type by then.
/// With any of the others the destination is as it was.
MIRL_API MirlStatus rotateNoCrop(const MirlImage& source, MirlImage& destination, float angle,
                                 const MirlStream& stream = MirlStream());

/// Maps an image by a matrix of two rows of three numbers. A pixel (x, y), whose centre is at its
/// whole coordinates, of the source comes to
///
///     x' = m[0][0] * x + m[0][1] * y + m[0][2]
///     y' = m[1][0] * x + m[1][1] * y + m[1][2]
///
/// of the destination. Every destination pixel is sampled where the inverse of that takes it, in
/// double precision: it is the blend of the four pixels around that place if the place lies within
/// the centres of the first and the last column and row, and 0 elsewhere. With the fractions f and
/// g of the place, in float, it is a + f * (b - a) in the upper row and in the lower one, then the
/// same of these two with g; each product not rounded before its sum. Integers are rounded to
/// nearest, halves up; floats are stored as they are.
///
/// An empty destination is created with the source's size and type; a live one may have any size.
/// It can't be the source. Nothing waits, and the matrix may be forgotten at once.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty; `MIRL_NULL_POINTER` without
/// a matrix; `MIRL_IN_PLACE_NOT_SUPPORTED` if both images are one object; `MIRL_MISMATCH` if a live
/// destination differs in depth or channels, or in device, or the stream belongs to another one;
/// `MIRL_INVALID_ARGUMENT` for a dead stream; what `create` returns for an empty destination;
/// `MIRL_MISMATCH` for other types, an empty destination having been created by then;
/// `MIRL_NPP_FAILED` if the matrix has no inverse or a coefficient is infinite or NaN, every pixel
/// of the destination being 0 then. If nothing of the source comes into the destination, all of it
/// is 0 and the status `MIRL_SUCCESS`.
MIRL_API MirlStatus warpAffine(const MirlImage& source, MirlImage& destination,
                               double (*const coefficients)[3],
                               const MirlStream& stream = MirlStream());

/// The same by the matrix of the way back: destination pixel (x, y) is sampled at
/// (m[0][0] * x + (m[0][1] * y + m[0][2]), m[1][0] * x + (m[1][1] * y + m[1][2])), each step rounded
/// to double. A matrix that has no inverse is refused here too.
MIRL_API MirlStatus warpAffineBack(const MirlImage& source, MirlImage& destination,
                                   double (*const coefficients)[3],
                                   const MirlStream& stream = MirlStream());

/// The same as `warpAffine` by a matrix of three rows, whose multiples are all one map: the first
/// two rows' results are divided by the third one's. It takes straight lines to straight lines, as
/// photos of a plane from two sides do. Places on the horizon, where that divisor is 0, are nowhere.
MIRL_API MirlStatus warpPerspective(const MirlImage& source, MirlImage& destination,
                                    double (*const coefficients)[3],
                                    const MirlStream& stream = MirlStream());

/// The same as `warpPerspective` by the matrix of the way back, from destination to source.
MIRL_API MirlStatus warpPerspectiveBack(const MirlImage& source, MirlImage& destination,
                                        double (*const coefficients)[3],
                                        const MirlStream& stream = MirlStream());

/// Cuts margins of so many rows and columns off. What is left is copied to the destination's first
/// pixels; the others of a larger destination stay. Any type of 8, 16 or 32 bits.
///
/// An empty destination is created with the size of what is left and the source's type.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty;
/// `MIRL_IN_PLACE_NOT_SUPPORTED` if both images are one object; `MIRL_MISMATCH` for images or a
/// stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_MISMATCH` if a live
/// destination differs in depth or channels, and what `create` returns for an empty one, which isn't
/// tried if no pixel is left; `MIRL_TYPE_NOT_SUPPORTED` for other types, an empty destination
/// having been created by then; `MIRL_INVALID_ARGUMENT` if a margin is negative or no pixel is left;
/// `MIRL_MISMATCH` if a live destination has fewer columns or rows than are left;
/// `MIRL_COPY_D2D_FAILED`, with which an empty destination stays so.
MIRL_API MirlStatus crop(const MirlImage& source, MirlImage& destination, int top, int bottom,
                         int left, int right, const MirlStream& stream = MirlStream());

/// Mirrors an image: top to bottom, left to right, or both, which is a turn by 180 degrees. The
/// channels of a pixel keep their order.
///
/// An empty destination is created with the source's size and type. It can't be the source.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty;
/// `MIRL_IN_PLACE_NOT_SUPPORTED` if both images are one object; `MIRL_MISMATCH` for images or a
/// stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_MISMATCH` if a live
/// destination differs in size, depth or channels; what `create` returns for an empty one;
/// `MIRL_TYPE_NOT_SUPPORTED` for other types and `MIRL_MISMATCH` if `flip` is none of the three, an
/// empty destination having been created by then.
MIRL_API MirlStatus flipImage(const MirlImage& source, MirlImage& destination, MirlFlipType flip,
                              const MirlStream& stream = MirlStream());

/// Swaps rows and columns: destination pixel (x, y) is source pixel (y, x).
///
/// An empty destination is created with the source's height as width, its width as height, and its
/// type. It can't be the source.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty;
/// `MIRL_IN_PLACE_NOT_SUPPORTED` if both images are one object; `MIRL_MISMATCH` for images or a
/// stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_INVALID_ARGUMENT` if a
/// live destination has another size than that, and `MIRL_MISMATCH` if it differs in depth or
/// channels; what `create` returns for an empty one; `MIRL_MISMATCH` for other types, an empty
/// destination having been created by then.
MIRL_API MirlStatus transpose(const MirlImage& source, MirlImage& destination,
                              const MirlStream& stream = MirlStream());

/// Surrounds an 8-bit image of 1 or 3 channels with margins in which it fades to its mean, channel
/// by channel. With R = source width / 2, truncated, a pixel at distance d from the image becomes
///
///     v - sqrt(d * d / (R * R)) * (v - mean)
///
/// in double, truncated, of the source pixel v that is nearest to it; at distances beyond R it is
/// the mean, truncated. The distance counts along one axis only, on all four sides up to the same R:
/// 1, 2, ... to the left of the image and above it, but 0, 1, ... to the right and below.
///
/// Of the corners the upper left one is the left margin's, the upper right one the upper margin's,
/// the lower right one the right margin's, and the lower left one the lower margin's, which has the
/// column next to the lower right corner of the image as well. At distance 0 a pixel is v even where
/// R is 0.
///
/// An empty destination is created with the source's size, larger by the margins, and its type. It
/// can't be the source. The margins stand in another order than those of `crop`.
///
/// In this order: `MIRL_IMAGE_NOT_INITIALIZED` if the source is empty;
/// `MIRL_IN_PLACE_NOT_SUPPORTED` if both images are one object; `MIRL_INVALID_ARGUMENT` if a margin
/// is wider than 32767 or a side of the result longer than 2147483647; `MIRL_MISMATCH` for images or
/// a stream of two devices and `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_MISMATCH` if a live
/// destination differs in size, depth or channels; what `create` returns for an empty one;
/// `MIRL_MISMATCH` for types that have no mean and `MIRL_TYPE_NOT_SUPPORTED` for others but 8 bits,
/// an empty destination having been created by then; `MIRL_DEVICE_ALLOC_FAILED` without memory for
/// the means, with which it stays empty.
MIRL_API MirlStatus taper(const MirlImage& source, MirlImage& destination, unsigned int left,
                          unsigned int right, unsigned int top, unsigned int bottom,
                          const MirlStream& stream = MirlStream());

}  // namespace mirl::geometryTransforms
