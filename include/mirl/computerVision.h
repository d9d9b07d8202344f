#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/records.h>
#include <mirl/status.h>
#include <mirl/stream.h>

/// What moves, and where to, between images.
namespace mirl::computerVision {

/// Follows points from one image into another one by the method of Lucas and Kanade ("An Iterative
/// Image Registration Technique", 1981) on pyramids, with the slopes of both images.
///
/// Both are unsigned 8-bit images of 1 channel and one size, `features1` a host array of `count`
/// points in pixels of the full size. `features2` becomes a new array of as many, in their order,
/// made by `new[]`, which the caller releases by `delete[]`; what it was before isn't looked at. A
/// count of 0 or less gives an empty array. A feature's value says what became of it:
///
///      0   tracked: the position is the new one
///     -2   lost: too little structure in the window; the position is that of the level before
///     -3   no step was made, `maxIterations` being 0 or less
///     -4   lost: the position left the image; the position is that of the level before
///     -5   the images differ by more than `maxResidual` there; the position is the new one
///
/// Features that come with -2 or -4 are returned as they are; all other values are tracked.
///
/// Level l, from `levels` down to 0, is both images resized linearly from the full size, to the
/// truncated products of its sides with s, the `levels`-fold product of `scale` with itself and so
/// on up to 1, in float; what positions are multiplied with is that of the coarsest level, divided by
/// `scale` from level to level. The window has the half extents hw and hh, half of the criteria's
/// `window` rounded down. On each level, with A the feature, B where it is believed to be, (x1, y1)
/// and (x2, y2) their products with s, and sums that begin with 0, dx from -hw to hw outside, dy from
/// -hh to hh inside, in float and each operation rounded by itself:
///
///     gx = gx1 + gx2,  gy = gy1 + gy2,  d = I1 - I2
///     Gxx, Gyy, Gxy, ex, ey, r = the sums of gx * gx, gy * gy, gx * gy, d * gx, d * gy, abs(d)
///     det = Gxx * Gyy - Gxy * Gxy
///     x2 += (Gyy * ex - Gxy * ey) / det,  y2 += (Gxx * ey - Gxy * ex) / det
///
/// until both steps are below `minDisplacement`, or `maxIterations` times; B becomes (x2, y2)
/// divided by s. It ends with -4 before a step where one of the four coordinates is below 0 or not
/// below the level's size, with -2 where abs(det) is at most 0.01, and with -5 in the end where the
/// last r, before its step, divided by the window's width * height is above `maxResidual`.
///
/// I1, gx1 and gy1 are what the first image and its slopes are at (X, Y) = (x1 + dx - 0.5,
/// y1 + dy - 0.5), I2, gx2 and gy2 the second one's at x2, y2 likewise. A slope is
/// (I(x + 1, y) - I(x - 1, y)) * 0.5, downwards likewise; between pixels all are bilinear, the edge
/// going on for ever: of the neighbours a, b above c, d and the fractions f, g of X and Y
///
///     above = a + f * (b - a),  below = c + f * (d - c),  value = above + g * (below - above)
///
/// each product not rounded before its sum. Both images are sampled half a pixel to the upper left,
/// so identical images leave a feature where it is.
///
/// The call waits for its stream. In this order: `MIRL_IMAGE_NOT_INITIALIZED` if an image is empty;
/// `MIRL_DEPTH_NOT_SUPPORTED` and `MIRL_CHANNELS_NOT_SUPPORTED` if the first one hasn't 8 bits or 1
/// channel; `MIRL_MISMATCH` if they differ in width, height, depth or channels;
/// `MIRL_INVALID_ARGUMENT` unless `scale` is above 0 and below 1, for fewer than 0 or more than 1000
/// levels, and for window sides beyond 32767 or below -32767; `MIRL_NPP_FAILED` for a level without a
/// pixel; `MIRL_NULL_POINTER` for a null `features1` with a count above 0; `MIRL_TYPE_NOT_SUPPORTED`
/// for signed images; `MIRL_MISMATCH` for images or a stream of two devices, `MIRL_INVALID_ARGUMENT`
/// for a dead stream; `MIRL_DEVICE_ALLOC_FAILED` without memory; `MIRL_COPY_H2D_FAILED`;
/// `MIRL_COPY_D2H_FAILED`, with `features2` a new array of zeros; `MIRL_KERNEL_FAILED` if the work
/// fails. With all others `features2` stays as it is.
MIRL_API MirlStatus trackFeatures(const MirlImage& image1, const MirlImage& image2,
                                  MirlPointValue2D<float, float>* features1,
                                  MirlPointValue2D<float, float>*& features2, int count,
                                  MirlTrackingCriteria criteria,
                                  const MirlStream& stream = MirlStream());

/// Dense flow between two images by the iteration of Horn and Schunck ("Determining Optical Flow",
/// 1981), each pixel by itself: what smooths is the weight `alpha` alone, no neighbour's flow.
///
/// Both are unsigned 8-bit images of 1 channel and one size. The flow arrays are host memory of
/// width * height floats, rows without a gap. `flowFirst` becomes the motion along y, downwards, and
/// `flowSecond` that along x, to the right.
///
/// Of a pixel and its neighbours to the right, below and below right, a0 to a3 in the first image and
/// b0 to b3 in the second, the derivatives are
///
///     Iy = (a2 + b2 + a3 + b3 - a0 - b0 - a1 - b1) / 4
///     Ix = (a1 + b1 + a3 + b3 - a0 - b0 - a2 - b2) / 4
///     It = (b0 + b1 + b2 + b3 - a0 - a1 - a2 - a3) / 4
///
/// in integers, quotients truncated toward zero. Rows run on: the right neighbour of a row's last
/// pixel is the next row's first one, and behind the last row there is 0. Then, in float, each
/// operation rounded by itself, from the left, from p = q = 0 on and `iterations` times,
///
///     D = Iy * Iy + alpha * alpha + Ix * Ix,  t = Ix * q
///     p = p - Iy * (Iy * p + t + It) / D
///     q = q - Ix * (Iy * p + t + It) / D      with the new p and the old t
///
/// p is the first result, q the second. Identical images give a flow of 0. With an `alpha` of 0 a
/// pixel without any derivative becomes NaN. `iterations` of 0 or less give 0. `flag` has no effect.
///
/// The call waits for its stream. In this order: `MIRL_IMAGE_NOT_INITIALIZED` if an image is empty;
/// `MIRL_DEPTH_NOT_SUPPORTED` and `MIRL_CHANNELS_NOT_SUPPORTED` if the first one hasn't 8 bits or 1
/// channel; `MIRL_MISMATCH` if they differ in width, height, depth or channels;
/// `MIRL_MATRIX_SIZE_MISMATCH` for fewer than 256 pixels; `MIRL_NULL_POINTER` for a null array;
/// `MIRL_TYPE_NOT_SUPPORTED` for signed images; `MIRL_MISMATCH` for images or a stream of two
/// devices, `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_DEVICE_ALLOC_FAILED` without scratch;
/// `MIRL_COPY_D2H_FAILED` and `MIRL_KERNEL_FAILED` if the work fails, which may leave the arrays
/// written in part.
MIRL_API MirlStatus opticalFlowHS(const MirlImage& image1, const MirlImage& image2,
                                  float* flowFirst, float* flowSecond, bool flag, float alpha,
                                  int iterations, const MirlStream& stream = MirlStream());

/// Dense flow between two images by the method of Lucas and Kanade ("An Iterative Image Registration
/// Technique", 1981) on pyramids, with a window around each pixel.
///
/// Both are unsigned 8-bit images of 1 channel and one size. The flow arrays are host memory of
/// width * height floats, rows without a gap: `flowX` to the right, `flowY` downwards. Of the
/// criteria `window` has the half extents hw and hh, so that 3x3 means 7x7 samples; `levels` are
/// those below the full size, level l being the images resized to width >> l by height >> l,
/// linearly and from the full size; `maxIterations` and `minDisplacement` end the iteration of a
/// pixel. `maxResidual` and `scale` aren't read.
///
/// From the coarsest level to the full size each pixel (x, y) begins with twice the flow of pixel
/// (x / 2, y / 2) of the coarser one, the nearest that it has, or with 0. Pixels less than hw or hh
/// from an edge keep that. For the others, in float, each operation rounded by itself, from the
/// left, with I the first image and J the second:
///
///     gx = I(x + 1, y) - I(x - 1, y),  gy = I(x, y + 1) - I(x, y - 1), the edge going on for ever
///     Gxx, Gyy, Gxy = the sums of gx * gx, gy * gy, gx * gy over the window
///     det = (Gxx * Gyy - Gxy * Gxy) + 1e-12
///
/// and until both steps are below `minDisplacement`, or `maxIterations` times,
///
///     bx, by = the sums of gx * d, gy * d with d = I(x + wx, y + wy) - 255 * j
///     u += (bx * Gyy - by * Gxy) / det,  v += (by * Gxx - bx * Gxy) / det
///
/// Sums begin with 0 and go along the rows, from the upper left on. j is the second image, its
/// bytes divided by 255, at (X, Y) = (x + wx + u - 0.5, y + wy + v - 0.5), bilinear with the edge
/// going on for ever: of the neighbours a, b above c, d and the fractions f, g of X and Y
///
///     above = a + f * (b - a),  below = c + f * (d - c),  j = above + g * (below - above)
///
/// each product not rounded before its sum. A component with which a pixel would leave the level, u
/// with x + u below 0 or above its width - 1, v likewise, becomes 0.
///
/// The half pixel is in the second image alone: where there is texture, identical images give a flow
/// near (0.5, 0.5), and a flow of (u, v) means a motion of (u - 0.5, v - 0.5) on the full size.
/// Where there is none the flow is that of the level before.
///
/// The call waits for its stream. In this order: `MIRL_IMAGE_NOT_INITIALIZED` if an image is empty;
/// `MIRL_MISMATCH` if they differ in width, height or type; `MIRL_TYPE_NOT_SUPPORTED` for other
/// types; `MIRL_NULL_POINTER` for a null array; `MIRL_INVALID_ARGUMENT` for a negative number of
/// levels or of iterations, and for levels without a pixel; `MIRL_MISMATCH` for images or a stream of
/// two devices, `MIRL_INVALID_ARGUMENT` for a dead stream; `MIRL_DEVICE_ALLOC_FAILED` without scratch;
/// `MIRL_COPY_D2H_FAILED` and `MIRL_KERNEL_FAILED` if the work fails, which may leave the arrays
/// written in part.
MIRL_API MirlStatus opticalFlowPyrLKDense(const MirlImage& image1, const MirlImage& image2,
                                          float* flowX, float* flowY, MirlTrackingCriteria criteria,
                                          const MirlStream& stream = MirlStream());

}  // namespace mirl::computerVision
