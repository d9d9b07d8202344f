#pragma once

// A block of threads on the simulated GPU. Its threads are fibers of the thread that runs the
// kernel: one runs until it ends or meets a barrier, then comes the next. Shared memory knows for
// each byte who has touched it since the last barrier.

#include "runtime/simulated/include/cuda_runtime_api.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <source_location>
#include <string>

struct dim3 {
  unsigned x = 1, y = 1, z = 1;
  constexpr dim3(unsigned x_ = 1, unsigned y_ = 1, unsigned z_ = 1) : x(x_), y(y_), z(z_) {}
};

// Of the thread that runs at the moment. There is one: kernels run one after another.
extern dim3 gridDim, blockDim, blockIdx, threadIdx;

void __syncthreads(const std::source_location& here = std::source_location::current());

namespace mirl::simulated {

struct Launch {
  dim3 grid;
  dim3 block;
  std::size_t dynamicBytes;
  std::size_t parameterBytes;
  const char* kernel;  ///< the types of its parameters
};

/// Queues a kernel, after the checks that a GPU makes and some that it doesn't.
cudaError_t queueKernel(const Launch& launch, cudaStream_t stream, std::function<void()> thread);

/// Runs all blocks of a grid.
void runGrid(const Launch& launch, const std::function<void()>& thread);

/// Ends the program with one line that says what is wrong, and where if a kernel is running.
[[noreturn]] void fault(const std::string& what);

/// The block's array of that name, which the first thread to ask for it makes: `name` is an address
/// of the declaration's own. Null is the array whose size the launch gives.
std::byte* sharedArray(const void* name, std::size_t bytes, std::size_t alignment);

enum class Touch : unsigned char { read = 1, write = 2, atomic = 4 };
/// Says that the running thread touches bytes of shared memory.
void touchShared(const void* at, std::size_t bytes, Touch how);

}  // namespace mirl::simulated
