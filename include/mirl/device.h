#pragma once

#include <mirl/export.h>
#include <mirl/status.h>

#include <cstddef>

/// What a device is. The host device describes the processor: `multiProcessorCount` is the number
/// of threads that operations use, `coresPerMultiProcessor` 1, `computeCapability` 0,
/// `asyncEngineCount` 0, `totalGlobalMemory` the machine's memory, `totalConstantMemory` 0,
/// `textureAlignment` the alignment of image rows, `clockRate` the rated or current clock, 0 where
/// the system doesn't tell.
struct MirlDeviceProperties {
  char name[256];                   ///< NUL-terminated
  int multiProcessorCount;          ///< streaming multiprocessors
  int coresPerMultiProcessor;       ///< single-precision cores in each, by compute capability
  int coreCount;                    ///< product of the two
  float computeCapability;          ///< major + minor / 10
  int asyncEngineCount;             ///< copy engines
  std::size_t totalGlobalMemory;    ///< bytes
  std::size_t totalConstantMemory;  ///< bytes
  std::size_t textureAlignment;     ///< bytes
  int clockRate;                    ///< kHz
};

/// Devices are numbered 0 to n-1 for the n GPUs, and n for the host device, which is always there.
/// Each thread has its own current device, 0 at first; images and streams are created on it.
namespace mirl::device {

/// The calling thread's current device, -1 if the runtime fails.
MIRL_API int getCurentDevice();

/// The number of devices, the host device included: at least 1.
MIRL_API int getDeviceCount();

/// Describes a device. `MIRL_INVALID_ARGUMENT` for a number that names no device, and where the
/// device gives no answer, the record then being as it was. For a compute capability that is not
/// known, `coresPerMultiProcessor` keeps the value that it had in the record.
MIRL_API MirlStatus getDeviceProperties(int device, MirlDeviceProperties& properties);

/// Makes a device the calling thread's current one. `MIRL_SET_DEVICE_FAILED` if there is none of
/// that number.
MIRL_API MirlStatus setCurrentDevice(int device);

/// Waits for all work on the current device. `MIRL_OPERATION_FAILED` if any of it failed.
MIRL_API MirlStatus syncCurrentDevice();

/// Gives back all that the current device holds: its images and streams are dead from then on.
/// Operations refuse dead images with `MIRL_IMAGE_NOT_INITIALIZED` and dead streams with
/// `MIRL_INVALID_ARGUMENT`; `release` of a dead image gives `MIRL_DEVICE_FREE_FAILED`. No other
/// thread may be using the device meanwhile. Always `MIRL_SUCCESS`.
MIRL_API MirlStatus resetCurrentDevice();

}  // namespace mirl::device
