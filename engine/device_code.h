#pragma once

// What a unit is compiled to. In a CUDA build the units that the CUDA compiler compiles have
// kernels, which it compiles once more for GPUs; in a build with the simulated GPU all units have
// them, and they are host code.
//
//   MIRL_KERNELS      the unit has kernels and can launch them
//   MIRL_DEVICE_PASS  what is compiled at the moment is what GPUs run
//   MIRL_HD           marks code that kernels run, on GPUs and on the host

#if MIRL_CUDA_SIMULATED
#include <cuda_runtime.h>
#define MIRL_KERNELS 1
#define MIRL_DEVICE_PASS 1
#define MIRL_HD
#elif defined(__CUDACC__)
#define MIRL_KERNELS 1
#define MIRL_HD __host__ __device__
#if defined(__CUDA_ARCH__)
#define MIRL_DEVICE_PASS 1
#else
#define MIRL_DEVICE_PASS 0
#endif
#else
#define MIRL_KERNELS 0
#define MIRL_DEVICE_PASS 0
#define MIRL_HD
#endif

namespace mirl::engine {

/// Whether work for GPUs can be queued from here. A unit of a CUDA build that isn't compiled with
/// kernels would run a loop of the host's over a GPU's memory: patterns assert this instead.
template <class...>
inline constexpr bool kServesAllDevices = MIRL_KERNELS || !MIRL_WITH_CUDA;

}  // namespace mirl::engine
