#pragma once

// What the CUDA compiler adds to the runtime's calls, for builds with the simulated GPU: the words
// of device code, and launches.

#include "cuda_runtime_api.h"

#include "runtime/simulated/block.h"
#include "runtime/simulated/device_functions.h"

#include <tuple>
#include <type_traits>
#include <utility>

#define __global__
#define __device__
#define __host__
#define __forceinline__ inline
#define __grid_constant__
#define __launch_bounds__(...)

struct cudaLaunchConfig_t {
  dim3 gridDim;
  dim3 blockDim;
  std::size_t dynamicSmemBytes;
  cudaStream_t stream;
  void* attrs;
  unsigned numAttrs;
};

namespace mirl::simulated {

/// Where the parameters of a kernel end that stand one behind the other, each as its type aligns.
template <class... Parameters>
constexpr std::size_t parameterBytes() {
  std::size_t end = 0;
  ((end = (end + alignof(Parameters) - 1) / alignof(Parameters) * alignof(Parameters) +
          sizeof(Parameters)),
   ...);
  return end;
}

}  // namespace mirl::simulated

/// The parameters are copied at once, and the kernel runs when its stream comes to it.
template <class... Parameters, class... Arguments>
cudaError_t cudaLaunchKernelEx(const cudaLaunchConfig_t* config, void (*kernel)(Parameters...),
                               Arguments&&... arguments) {
  using mirl::simulated::Launch;
  const Launch launch{config->gridDim, config->blockDim, config->dynamicSmemBytes,
                      mirl::simulated::parameterBytes<Parameters...>(), __PRETTY_FUNCTION__};
  return mirl::simulated::queueKernel(
      launch, config->stream,
      [kernel, held = std::tuple<Parameters...>(std::forward<Arguments>(arguments)...)] {
        std::apply(kernel, held);
      });
}
