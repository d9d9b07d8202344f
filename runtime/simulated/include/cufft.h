#pragma once

// The calls of cuFFT that the library makes, on simulated GPUs. Names and meanings are cuFFT's own.

#include "runtime/simulated/include/cuda_runtime_api.h"

#include <cstddef>

enum cufftResult {
  CUFFT_SUCCESS = 0,
  CUFFT_INVALID_PLAN = 1,
  CUFFT_ALLOC_FAILED = 2,
  CUFFT_INVALID_VALUE = 4,
};
enum cufftType { CUFFT_R2C = 0x2a };

using cufftHandle = int;
using cufftReal = float;
struct cufftComplex {
  float x;
  float y;
};

cufftResult cufftCreate(cufftHandle* plan);
cufftResult cufftDestroy(cufftHandle plan);
cufftResult cufftSetAutoAllocation(cufftHandle plan, int allocates);
cufftResult cufftMakePlanMany64(cufftHandle plan, int rank, long long* size, long long* inSize,
                                long long inStride, long long inDistance, long long* outSize,
                                long long outStride, long long outDistance, cufftType type,
                                long long batch, std::size_t* workBytes);
cufftResult cufftSetStream(cufftHandle plan, cudaStream_t stream);
cufftResult cufftSetWorkArea(cufftHandle plan, void* work);
cufftResult cufftExecR2C(cufftHandle plan, cufftReal* in, cufftComplex* out);

namespace mirl::simulated {

/// How many plans there are at the moment.
std::size_t cufftPlans();

}  // namespace mirl::simulated
