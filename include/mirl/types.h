#pragma once

#include <mirl/export.h>

/// Element type and channel count of an image, channels 1 to 4 inside each block of four.
/// The value -1 (no enumerator) stands for a depth and channel count that have no type.
enum MirlType : int {
  MIRL_8U_C1 = 0,
  MIRL_8U_C2 = 1,
  MIRL_8U_C3 = 2,
  MIRL_8U_C4 = 3,
  MIRL_8S_C1 = 4,
  MIRL_8S_C2 = 5,
  MIRL_8S_C3 = 6,
  MIRL_8S_C4 = 7,
  MIRL_16U_C1 = 8,
  MIRL_16U_C2 = 9,
  MIRL_16U_C3 = 10,
  MIRL_16U_C4 = 11,
  MIRL_16S_C1 = 12,
  MIRL_16S_C2 = 13,
  MIRL_16S_C3 = 14,
  MIRL_16S_C4 = 15,
  MIRL_32F_C1 = 16,
  MIRL_32F_C2 = 17,
  MIRL_32F_C3 = 18,
  MIRL_32F_C4 = 19,
  MIRL_32S_C1 = 20,
  MIRL_32S_C2 = 21,
  MIRL_32S_C3 = 22,
  MIRL_32S_C4 = 23,
  MIRL_64F_C1 = 24,
  MIRL_64F_C2 = 25,
  MIRL_64F_C3 = 26,
  MIRL_64F_C4 = 27,
};

/// Order of the colour components at increasing addresses.
enum MirlChannelSeq : int {
  MIRL_CHANNELSEQ_RGB = 0,
  MIRL_CHANNELSEQ_BGR = 1,   ///< what a new 3-channel image has
  MIRL_CHANNELSEQ_BGRA = 2,  ///< what a new 4-channel image has
  MIRL_CHANNELSEQ_RGBA = 3,
  MIRL_CHANNELSEQ_NONE = 4,   ///< what a new image of 1 or 2 channels has
  MIRL_CHANNELSEQ_UNSET = 5,  ///< what an empty image has
};

/// How an image file is read. Any other value reads the file as it is stored.
enum MirlLoadType : int {
  MIRL_LOAD_GRAYSCALE = 0,          ///< 8-bit, 1 channel
  MIRL_LOAD_COLOR = 1,              ///< 8-bit, 3 channels, blue first
  MIRL_LOAD_ANYDEPTH = 2,           ///< 1 channel at the file's depth
  MIRL_LOAD_ANYDEPTH_ANYCOLOR = 3,  ///< the file's depth, 1 or 3 channels, blue first
};

/// Where the bins of a histogram live.
enum MirlPointerType : int {
  MIRL_POINTER_DEVICE = 0,
  MIRL_POINTER_HOST = 1,
  MIRL_POINTER_PINNED = 2,  ///< page-locked host memory
};

/// How a resized image is sampled.
enum MirlInterpolationType : int {
  MIRL_INTERPOLATION_NN = 1,
  MIRL_INTERPOLATION_LINEAR = 2,
  MIRL_INTERPOLATION_CUBIC = 3,
};

/// The first 2x2 cell of a Bayer mosaic, first row then second row. The high-quality values stand
/// in another order than the plain ones.
enum MirlBayerSeq : int {
  MIRL_BAYER_BGGR = 1,
  MIRL_BAYER_GBRG = 2,
  MIRL_BAYER_GRBG = 3,
  MIRL_BAYER_RGGB = 4,
  MIRL_BAYER_BGGR_HQ = 5,
  MIRL_BAYER_GRBG_HQ = 6,
  MIRL_BAYER_RGGB_HQ = 7,
  MIRL_BAYER_GBRG_HQ = 8,
};

/// Axis of a mirrored copy.
enum MirlFlipType : int {
  MIRL_FLIP_UD = 0,  ///< top to bottom
  MIRL_FLIP_LR = 1,  ///< left to right
  MIRL_FLIP_BOTH = 2,
};

/// The colour that is kept when one is picked out.
enum MirlColor : int {
  MIRL_COLOR_RED = 0,
  MIRL_COLOR_GREEN = 1,
  MIRL_COLOR_BLUE = 2,
};

/// What is read from a complex spectrum, plain or scaled.
enum MirlFFTProp : int {
  MIRL_FFT_MAGNITUDE = 0,
  MIRL_FFT_MAGNITUDE_SCALED = 1,
  MIRL_FFT_PHASE = 2,
  MIRL_FFT_PHASE_SCALED = 3,
  MIRL_FFT_REAL = 4,
  MIRL_FFT_REAL_SCALED = 5,
  MIRL_FFT_IMAG = 6,
  MIRL_FFT_IMAG_SCALED = 7,
};

/// The derivative filter of a gradient pair.
enum MirlGradientKernelType : int {
  MIRL_GRADIENT_CENTRAL = 0,
  MIRL_GRADIENT_SOBEL = 1,
  MIRL_GRADIENT_SCHARR = 2,
  MIRL_GRADIENT_PREWITT = 3,
};

/// The corner measure of feature detection.
enum MirlFeaturesAlgorithm : int {
  MIRL_FEATURES_KLT = 0,                ///< smaller eigenvalue of the structure tensor
  MIRL_FEATURES_HARRIS = 1,             ///< Harris response
  MIRL_FEATURES_HARRIS_NORMALIZED = 2,  ///< Harris response divided by the tensor's trace
};

namespace mirl {

/// Splits a `MirlType` into the signed depth (8, -8, 16, -16, 32, -32 or 64; negative for signed
/// integers) and the channel count. A number outside 0 to 27 gives depth 0 and channels 0.
MIRL_API void typeToDepthAndChannels(int type, int& depth, int& channels);

/// Joins a depth (8, 16, 32 or 64 bits), a channel count (1 to 4) and a sign to a `MirlType`.
/// Depth 32 without sign and depth 64 are float. A triple that has no type gives -1.
MIRL_API MirlType depthAndChannelsToType(int depth, int channels, bool isSigned);

}  // namespace mirl
