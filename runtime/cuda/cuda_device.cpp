#include "runtime/cuda/cuda_device.h"

#include "runtime/pinned_pool.h"

#include <cuda_runtime_api.h>

#include <cstdint>

namespace mirl::runtime::cuda {
namespace {

/// A failure that was reported as a result must not come back later as the runtime's last error.
bool ok(cudaError_t error) {
  if (error == cudaSuccess) return true;
  cudaGetLastError();
  return false;
}

cudaStream_t native(void* stream) {
  return static_cast<cudaStream_t>(stream);
}

cudaMemcpyKind kindOf(Direction direction) {
  switch (direction) {
    case Direction::hostToDevice:
      return cudaMemcpyHostToDevice;
    case Direction::deviceToHost:
      return cudaMemcpyDeviceToHost;
    case Direction::deviceToDevice:
      break;
  }
  return cudaMemcpyDeviceToDevice;
}

class CudaDevice final : public Device {
 public:
  explicit CudaDevice(int id) : Device(id) {}

  bool isHost() const override { return false; }

  bool describe(DeviceInfo& info) override {
    cudaDeviceProp properties;
    if (!ok(cudaGetDeviceProperties(&properties, id()))) return false;
    info.name = properties.name;
    info.multiProcessors = properties.multiProcessorCount;
    info.major = properties.major;
    info.minor = properties.minor;
    info.copyEngines = properties.asyncEngineCount;
    info.globalMemory = properties.totalGlobalMem;
    info.constantMemory = properties.totalConstMem;
    info.rowAlignment = properties.textureAlignment;
    int clock = 0;
    if (ok(cudaDeviceGetAttribute(&clock, cudaDevAttrClockRate, id()))) info.clockKHz = clock;
    return true;
  }

  bool streamFinished(void* stream) override {
    const Current current(id());
    return current.ok() && ok(cudaStreamQuery(native(stream)));
  }

  bool synchronize(void* stream) override {
    const Current current(id());
    return current.ok() && ok(cudaStreamSynchronize(native(stream)));
  }

  bool synchronizeAll() override {
    const Current current(id());
    return current.ok() && ok(cudaDeviceSynchronize());
  }

  bool lockHost(void* data, std::size_t bytes) override {
    const Current current(id());
    return current.ok() && ok(cudaHostRegister(data, bytes, cudaHostRegisterPortable));
  }

  bool unlockHost(void* data) override {
    const Current current(id());
    return current.ok() && ok(cudaHostUnregister(data));
  }

 protected:
  bool doAllocatePitched(std::size_t rowBytes, std::size_t rows, void*& data,
                         std::size_t& pitch) override {
    const Current current(id());
    return current.ok() && ok(cudaMallocPitch(&data, &pitch, rowBytes, rows));
  }

  bool doAllocate(std::size_t bytes, void*& data) override {
    const Current current(id());
    return current.ok() && ok(cudaMalloc(&data, bytes));
  }

  bool doFree(void* data) override {
    const Current current(id());
    return current.ok() && ok(cudaFree(data));
  }

  bool doAllocateScratch(std::size_t bytes, void* stream, void*& data) override {
    const Current current(id());
    return current.ok() && retainPool() && ok(cudaMallocAsync(&data, bytes, native(stream)));
  }

  bool doFreeScratch(void* data, void* stream) override {
    const Current current(id());
    return current.ok() && ok(cudaFreeAsync(data, native(stream)));
  }

  bool doCopy(const Copy& job) override {
    const Current current(id());
    if (!current.ok()) return false;
    return ok(job.rows == 1 ? cudaMemcpy(job.dst, job.src, job.rowBytes, kindOf(job.direction))
                            : cudaMemcpy2D(job.dst, job.dstPitch, job.src, job.srcPitch,
                                           job.rowBytes, job.rows, kindOf(job.direction))) &&
           // A copy inside the device returns before it is done.
           (job.direction != Direction::deviceToDevice || ok(cudaStreamSynchronize(nullptr)));
  }

  bool doCopyAsync(const Copy& job, void* stream) override {
    const Current current(id());
    if (!current.ok()) return false;
    return ok(
        job.rows == 1
            ? cudaMemcpyAsync(job.dst, job.src, job.rowBytes, kindOf(job.direction), native(stream))
            : cudaMemcpy2DAsync(job.dst, job.dstPitch, job.src, job.srcPitch, job.rowBytes,
                                job.rows, kindOf(job.direction), native(stream)));
  }

  bool doFill(const Fill& job) override {
    const Current current(id());
    return current.ok() &&
           ok(cudaMemset2D(job.dst, job.pitch, job.value, job.rowBytes, job.rows)) &&
           ok(cudaStreamSynchronize(nullptr));
  }

  bool doFillAsync(const Fill& job, void* stream) override {
    const Current current(id());
    return current.ok() && ok(cudaMemset2DAsync(job.dst, job.pitch, job.value, job.rowBytes,
                                                job.rows, native(stream)));
  }

  bool doCreateStream(void*& stream) override {
    const Current current(id());
    cudaStream_t made = nullptr;
    if (!current.ok() || !ok(cudaStreamCreate(&made))) return false;
    stream = made;
    return true;
  }

  bool doDestroyStream(void* stream) override {
    const Current current(id());
    return current.ok() && ok(cudaStreamDestroy(native(stream)));
  }

  void doReset() override {
    const Current current(id());
    if (!current.ok()) return;
    ok(cudaDeviceReset());
    poolEpoch_ = 0;
    relockPinned(id());
  }

 private:
  /// Scratch stays with the pool for the next call instead of going back to the driver.
  bool retainPool() {
    if (poolEpoch_.load(std::memory_order_acquire) == epoch()) return true;
    cudaMemPool_t pool = nullptr;
    std::uint64_t threshold = UINT64_MAX;
    if (!ok(cudaDeviceGetDefaultMemPool(&pool, id())) ||
        !ok(cudaMemPoolSetAttribute(pool, cudaMemPoolAttrReleaseThreshold, &threshold))) {
      return false;
    }
    poolEpoch_.store(epoch(), std::memory_order_release);
    return true;
  }

  std::atomic<unsigned> poolEpoch_{0};  // the epoch in which the pool was set up
};

}  // namespace

int deviceCount() {
  int count = 0;
  return ok(cudaGetDeviceCount(&count)) ? count : 0;
}

int currentDevice() {
  int id = -1;
  return ok(cudaGetDevice(&id)) ? id : -1;
}

bool setCurrentDevice(int id) {
  return ok(cudaSetDevice(id));
}

std::unique_ptr<Device> makeDevice(int id) {
  return std::make_unique<CudaDevice>(id);
}

Current::Current(int id) {
  if (!cuda::ok(cudaGetDevice(&before_))) return;
  if (before_ == id) {
    ok_ = true;
  } else {
    ok_ = changed_ = cuda::ok(cudaSetDevice(id));
  }
}

Current::~Current() {
  if (changed_) cuda::ok(cudaSetDevice(before_));
}

}  // namespace mirl::runtime::cuda
