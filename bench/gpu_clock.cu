#include "gpu_clock.h"

#include "engine/cuda/launch.h"

#include <cuda_runtime.h>

namespace mirl::bench {
namespace {

__device__ unsigned long long nanoseconds() {
  unsigned long long now;
  asm volatile("mov.u64 %0, %%globaltimer;" : "=l"(now));
  return now;
}

__global__ void keepBusy(unsigned long long duration) {
  const unsigned long long start = nanoseconds();
  while (nanoseconds() - start < duration) {
  }
}

}  // namespace

double millisecondsOnGpu(const Run& run, int calls, double lead) {
  cudaEvent_t begin;
  cudaEvent_t end;
  cudaEventCreate(&begin);
  cudaEventCreate(&end);
  const runtime::Queue queue{runtime::device(runtime::currentDevice())};
  engine::cuda::launch(queue, {dim3(1), dim3(1)}, keepBusy,
                       static_cast<unsigned long long>(lead * 1e6));
  cudaEventRecord(begin);
  for (int i = 0; i < calls; ++i) run();
  cudaEventRecord(end);
  cudaEventSynchronize(end);
  float milliseconds = 0;
  cudaEventElapsedTime(&milliseconds, begin, end);
  cudaEventDestroy(begin);
  cudaEventDestroy(end);
  return milliseconds;
}

}  // namespace mirl::bench
