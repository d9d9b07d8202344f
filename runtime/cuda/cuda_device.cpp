#include "runtime/cuda/cuda_device.h"

#include "runtime/cuda/fourier_plans.h"
#include "runtime/pinned_pool.h"

#include <cuda_runtime_api.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <vector>

namespace mirl::runtime::cuda {
namespace {

/// Whether a call succeeds. A failure that is reported as a result must not come back later as the
/// runtime's last error, but an error that the program left there stays.
template <class Call>
bool ok(const Call& call) {
  const bool theirs = cudaPeekAtLastError() != cudaSuccess;
  if (call() == cudaSuccess) return true;
  if (!theirs) cudaGetLastError();
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

int attributeOf(int gpu, cudaDeviceAttr attribute) {
  int value = 0;
  return ok([&] { return cudaDeviceGetAttribute(&value, attribute, gpu); }) ? value : 0;
}

/// Whether the library has code for a GPU: machine code runs within a major capability, the code
/// that the driver translates on all newer ones.
bool runsOn(int gpu) {
  constexpr int kMachineCode[] = {MIRL_CUDA_MACHINE_CODE},
                kVirtualCode[] = {MIRL_CUDA_VIRTUAL_CODE};
  const int capability = 10 * attributeOf(gpu, cudaDevAttrComputeCapabilityMajor) +
                         attributeOf(gpu, cudaDevAttrComputeCapabilityMinor);
  return std::any_of(
             std::begin(kMachineCode), std::end(kMachineCode),
             [&](int code) { return code / 10 == capability / 10 && code <= capability; }) ||
         std::any_of(std::begin(kVirtualCode), std::end(kVirtualCode),
                     [&](int code) { return code <= capability; });
}

/// The GPUs that the library runs on, by the runtime's numbers. On another one every operation
/// would seem to succeed and do nothing.
const std::vector<int>& gpus() {
  static const auto& list = *[] {
    auto* found = new std::vector<int>;
    int count = 0;
    if (!ok([&] { return cudaGetDeviceCount(&count); })) return found;
    for (int gpu = 0; gpu < count; ++gpu) {
      if (runsOn(gpu)) found->push_back(gpu);
    }
    return found;
  }();
  return list;
}

class CudaDevice final : public Device {
 public:
  CudaDevice(int id, int gpu)
      : Device(id, gpu),
        multiProcessors_(attributeOf(gpu, cudaDevAttrMultiProcessorCount)),
        hasPools_(attributeOf(gpu, cudaDevAttrMemoryPoolsSupported) != 0) {}

  bool isHost() const override { return false; }
  int multiProcessors() override { return multiProcessors_; }

  bool describe(DeviceInfo& info) override {
    cudaDeviceProp properties;
    if (!ok([&] { return cudaGetDeviceProperties(&properties, nativeId()); })) return false;
    info.name = properties.name;
    info.multiProcessors = properties.multiProcessorCount;
    info.major = properties.major;
    info.minor = properties.minor;
    info.copyEngines = properties.asyncEngineCount;
    info.globalMemory = properties.totalGlobalMem;
    info.constantMemory = properties.totalConstMem;
    info.rowAlignment = properties.textureAlignment;
    info.clockKHz = attributeOf(nativeId(), cudaDevAttrClockRate);
    return true;
  }

  HeldError heldError() override {
    const cudaError_t error = cudaPeekAtLastError();
    return {static_cast<int>(error), cudaGetErrorString(error)};
  }

  bool streamFinished(void* stream) override {
    return here([&] { return cudaStreamQuery(native(stream)); });
  }

  bool wait(void* stream) override {
    return here([&] { return cudaStreamSynchronize(native(stream)); });
  }

  bool waitForAll() override {
    return here([] { return cudaDeviceSynchronize(); });
  }

  bool lockHost(void* data, std::size_t bytes) override {
    return here([&] { return cudaHostRegister(data, bytes, cudaHostRegisterPortable); });
  }

  bool unlockHost(void* data) override {
    return here([&] { return cudaHostUnregister(data); });
  }

 protected:
  bool doAllocatePitched(std::size_t rowBytes, std::size_t rows, void*& data,
                         std::size_t& pitch) override {
    // What the runtime pads the rows to must not wrap either.
    constexpr std::size_t kMostPadding = 4096;
    if (rowBytes > SIZE_MAX - kMostPadding || rows > SIZE_MAX / (rowBytes + kMostPadding)) {
      return false;
    }
    return allocateHere([&] { return cudaMallocPitch(&data, &pitch, rowBytes, rows); });
  }

  bool doAllocate(std::size_t bytes, void*& data) override {
    return allocateHere([&] { return cudaMalloc(&data, bytes); });
  }

  bool doFree(void* data) override {
    return here([&] { return cudaFree(data); });
  }

  bool doAllocateScratch(std::size_t bytes, void* stream, void*& data) override {
    if (!hasPools_) return doAllocate(bytes, data);
    return allocateHere([&] {
      const cudaMemPool_t from = pool();
      return from == nullptr ? cudaErrorMemoryAllocation
                             : cudaMallocFromPoolAsync(&data, bytes, from, native(stream));
    });
  }

  bool doFreeScratch(void* data, void* stream) override {
    if (!hasPools_) return doFree(data);
    return here([&] { return cudaFreeAsync(data, native(stream)); });
  }

  bool doCopy(const Copy& job) override {
    return here([&] {
             return job.rows == 1
                        ? cudaMemcpy(job.dst, job.src, job.rowBytes, kindOf(job.direction))
                        : cudaMemcpy2D(job.dst, job.dstPitch, job.src, job.srcPitch, job.rowBytes,
                                       job.rows, kindOf(job.direction));
           }) &&
           // A copy inside the device returns before it is done.
           (job.direction != Direction::deviceToDevice || wait(nullptr));
  }

  bool doCopyAsync(const Copy& job, void* stream) override {
    return here([&] {
      return job.rows == 1
                 ? cudaMemcpyAsync(job.dst, job.src, job.rowBytes, kindOf(job.direction),
                                   native(stream))
                 : cudaMemcpy2DAsync(job.dst, job.dstPitch, job.src, job.srcPitch, job.rowBytes,
                                     job.rows, kindOf(job.direction), native(stream));
    });
  }

  bool doFill(const Fill& job) override { return doFillAsync(job, nullptr) && wait(nullptr); }

  bool doFillAsync(const Fill& job, void* stream) override {
    return here([&] {
      return cudaMemset2DAsync(job.dst, job.pitch, job.value, job.rowBytes, job.rows,
                               native(stream));
    });
  }

  bool doCreateStream(void*& stream) override {
    cudaStream_t made = nullptr;
    lockPinnedOnce();
    if (!here([&] { return cudaStreamCreate(&made); })) return false;
    stream = made;
    return true;
  }

  bool doDestroyStream(void* stream) override {
    return here([&] { return cudaStreamDestroy(native(stream)); });
  }

  void doReset() override {
    dropFourierPlans(*this);
    const std::lock_guard lock(poolMutex_);
    if (!here([] { return cudaDeviceReset(); })) return;
    pool_ = nullptr;
    usedEpoch_ = 0;
    pinnedUnlocked(*this);
  }

 private:
  /// Makes a call while this GPU is current.
  template <class Call>
  bool here(const Call& call) {
    const Current current(nativeId());
    return current.ok() && ok(call);
  }

  /// The same for an allocation: without memory it tries once more with what the pool holds back.
  template <class Call>
  bool allocateHere(const Call& call) {
    lockPinnedOnce();
    if (here(call)) return true;
    return trimPool() && here(call);
  }

  bool trimPool() {
    const std::lock_guard lock(poolMutex_);
    return pool_ != nullptr && waitForAll() && here([&] { return cudaMemPoolTrimTo(pool_, 0); });
  }

  void lockPinnedOnce() {
    if (usedEpoch_.exchange(epoch()) != epoch()) lockPinned(*this);
  }

  /// Scratch comes from a pool of our own, which keeps some for the next call instead of giving it
  /// back to the driver at every wait. The device's default pool is the program's.
  cudaMemPool_t pool() {
    constexpr std::uint64_t kMostKept = std::uint64_t{256} << 20;
    const std::lock_guard lock(poolMutex_);
    if (pool_ != nullptr) return pool_;
    cudaMemPoolProps properties{};
    properties.allocType = cudaMemAllocationTypePinned;
    properties.location.type = cudaMemLocationTypeDevice;
    properties.location.id = nativeId();
    cudaMemPool_t made = nullptr;
    std::uint64_t kept = kMostKept;
    if (!ok([&] { return cudaMemPoolCreate(&made, &properties); })) return nullptr;
    ok([&] { return cudaMemPoolSetAttribute(made, cudaMemPoolAttrReleaseThreshold, &kept); });
    return pool_ = made;
  }

  const int multiProcessors_;
  const bool hasPools_;
  std::atomic<unsigned> usedEpoch_{0};  // the epoch in which the GPU was used
  std::mutex poolMutex_;
  cudaMemPool_t pool_ = nullptr;
};

}  // namespace

int deviceCount() {
  return static_cast<int>(gpus().size());
}

int currentDevice() {
  int gpu = -1;
  if (!ok([&] { return cudaGetDevice(&gpu); })) return -1;
  // A program may have made a GPU current that the library can't use.
  const auto found = std::find(gpus().begin(), gpus().end(), gpu);
  return found == gpus().end() ? 0 : static_cast<int>(found - gpus().begin());
}

bool setCurrentDevice(int id) {
  return ok([&] { return cudaSetDevice(gpus()[static_cast<std::size_t>(id)]); });
}

std::unique_ptr<Device> makeDevice(int id) {
  return std::make_unique<CudaDevice>(id, gpus()[static_cast<std::size_t>(id)]);
}

Current::Current(int gpu) {
  if (!cuda::ok([&] { return cudaGetDevice(&before_); })) return;
  if (before_ == gpu) {
    ok_ = true;
  } else {
    ok_ = changed_ = cuda::ok([&] { return cudaSetDevice(gpu); });
  }
}

Current::~Current() {
  if (changed_) cuda::ok([&] { return cudaSetDevice(before_); });
}

}  // namespace mirl::runtime::cuda
