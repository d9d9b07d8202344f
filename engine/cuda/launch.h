#pragma once

// The one place that launches kernels.

#include "engine/device_code.h"
#include "runtime/cuda/cuda_device.h"
#include "runtime/fault.h"
#include "runtime/runtime.h"

#include <cuda_runtime.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace mirl::engine::cuda {

/// How many blocks of threads a kernel is given, and of how many threads.
struct Shape {
  dim3 grid;
  dim3 block;
  std::size_t sharedBytes = 0;  ///< of the array whose size is not known at compile time
};

/// Blocks in a grid's second dimension, at most: kernels turn to further rows `gridDim.y` blocks
/// down. On the simulated GPU few, so that the tests' images are high enough for that.
inline constexpr std::int64_t kMostBlocksDown = MIRL_CUDA_SIMULATED ? 3 : 65535;

/// Threads side by side and below each other in a block.
struct Threads {
  int x;
  int y;
};

/// Blocks that cover a plane, each thread making `columns` by `rows` items of it. Where the plane
/// is higher than a grid reaches, the kernel's threads have to take turns.
inline Shape covering(std::int64_t width, std::int64_t height, Threads threads, int columns = 1,
                      int rows = 1) {
  const std::int64_t across = std::int64_t{threads.x} * columns;
  const std::int64_t down = std::int64_t{threads.y} * rows;
  return {{static_cast<unsigned>((width - 1) / across + 1),
           static_cast<unsigned>(std::min((height - 1) / down + 1, kMostBlocksDown))},
          {static_cast<unsigned>(threads.x), static_cast<unsigned>(threads.y)}};
}

/// Queues a kernel. If that fails the device remembers it for the next wait that can tell, and the
/// call queues no more. The runtime's last error is left as the launch leaves it.
template <class... Parameters, class... Arguments>
void launch(const runtime::Queue& queue, const Shape& shape, void (*kernel)(Parameters...),
            const Arguments&... arguments) {
  if (queue.lost) return;
  const runtime::cuda::Current current(queue.device->nativeId());
  cudaLaunchConfig_t config{};
  config.gridDim = shape.grid;
  config.blockDim = shape.block;
  config.dynamicSmemBytes = shape.sharedBytes;
  config.stream = static_cast<cudaStream_t>(queue.stream);
  const bool queued = current.ok() && !runtime::shouldFail(runtime::Call::launch) &&
                      cudaLaunchKernelEx(&config, kernel, arguments...) == cudaSuccess;
  if (queued) return;
  queue.lost = true;
  queue.device->rememberFailure();
}

}  // namespace mirl::engine::cuda
