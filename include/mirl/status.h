#pragma once

#include <mirl/export.h>

/// The result of every operation: zero is success, every failure is negative.
///
/// An operation tests its arguments in a fixed order and returns the first failing status at once;
/// its output is then as it was, unless the operation's own comment says that it was created.
enum MirlStatus : int {
  MIRL_SUCCESS = 0,                   ///< carried out, or queued on the stream
  MIRL_DEVICE_ALLOC_FAILED = -1,      ///< no device memory for an image or scratch
  MIRL_ARRAY_ALLOC_FAILED = -2,       ///< reserved for callers, returned by no operation
  MIRL_MEMSET_FAILED = -3,            ///< a fill of device memory failed
  MIRL_COPY_H2D_FAILED = -4,          ///< an upload failed
  MIRL_COPY_D2H_FAILED = -5,          ///< a download failed
  MIRL_COPY_D2D_FAILED = -6,          ///< a copy inside the device failed
  MIRL_COPY_D2ARRAY_FAILED = -7,      ///< reserved for callers, returned by no operation
  MIRL_COPY_H2SYMBOL_FAILED = -8,     ///< reserved for callers, returned by no operation
  MIRL_COPY_FAILED = -9,              ///< a copy of no more particular kind failed
  MIRL_DEVICE_FREE_FAILED = -10,      ///< device memory could not be given back
  MIRL_ARRAY_FREE_FAILED = -11,       ///< reserved for callers, returned by no operation
  MIRL_TEXTURE_BIND_FAILED = -12,     ///< reserved for callers, returned by no operation
  MIRL_TEXTURE_UNBIND_FAILED = -13,   ///< reserved for callers, returned by no operation
  MIRL_IMAGE_NOT_INITIALIZED = -14,   ///< an image that must hold pixels is empty
  MIRL_NULL_POINTER = -15,            ///< a required pointer is null
  MIRL_INVALID_ARGUMENT = -16,        ///< a value out of range, or a geometry that does not fit
  MIRL_MISMATCH = -17,                ///< images that do not agree in size, type or device
  MIRL_MATRIX_SIZE_MISMATCH = -18,    ///< matrix shapes that do not conform
  MIRL_ROI_OUT_OF_BOUNDS = -19,       ///< a region of interest leaves the image
  MIRL_KERNEL_FAILED = -20,           ///< a device kernel reported an error
  MIRL_INTERNAL_CALL_FAILED = -21,    ///< a routine called from within an operation failed
  MIRL_NPP_FAILED = -22,              ///< an image primitive refused its arguments
  MIRL_CHANNELS_NOT_SUPPORTED = -23,  ///< the number of channels is not served
  MIRL_DEPTH_NOT_SUPPORTED = -25,     ///< the depth is not served
  MIRL_HOST_REGISTER_FAILED = -26,    ///< host memory could not be page-locked
  MIRL_HOST_UNREGISTER_FAILED = -27,  ///< page-locked host memory could not be unlocked
  MIRL_SET_DEVICE_FAILED = -33,       ///< there is no such device, or it can't be used
  MIRL_OPERATION_FAILED = -36,        ///< a whole operation failed, such as writing a file
  MIRL_TYPE_NOT_SUPPORTED = -37,      ///< the image's type has no implementation here
  MIRL_IN_PLACE_NOT_SUPPORTED = -38,  ///< input and output may not be one image here
  MIRL_MATRIX_SINGULAR = -39,         ///< the matrix to invert is singular
};

namespace mirl {

/// The text for a status. A status without a text of its own, and any other number, gives
/// "MIRL: Unknown Error". The text is constant and never null.
MIRL_API const char* statusMessage(int status);

}  // namespace mirl
