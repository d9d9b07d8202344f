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

}  // namespace mirl::computerVision
