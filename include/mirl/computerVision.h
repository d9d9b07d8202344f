#pragma once

#include <mirl/export.h>
#include <mirl/image.h>
#include <mirl/records.h>
#include <mirl/status.h>
#include <mirl/stream.h>

/// What moves, and where to, between images.
namespace mirl::computerVision {

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
