// The calls of the CUDA runtime on simulated GPUs.

#include "runtime/simulated/include/cuda_runtime_api.h"

#include "runtime/simulated/block.h"
#include "runtime/simulated/machine.h"
#include "runtime/simulated/modes.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

using namespace mirl::simulated;

namespace {

constexpr std::size_t kPitchAlignment = 512;
constexpr int kMultiProcessors = 2;  // few, so that kernels which fill a GPU loop over the rest

thread_local int current = 0;
thread_local cudaError_t lastError = cudaSuccess;

cudaError_t done(cudaError_t error) {
  if (error != cudaSuccess) lastError = error;
  return error;
}

/// A call of the runtime: under the lock, its error remembered.
template <class Call>
cudaError_t call(const Call& body) {
  Machine& m = machine();
  const std::lock_guard lock(m.mutex);
  return done(body(m));
}

struct Rectangle {
  char* dst;
  std::size_t dstPitch;
  const char* src;
  std::size_t srcPitch;
  std::size_t width;
  std::size_t height;

  void copy() const {
    for (std::size_t y = 0; y < height; ++y) {
      std::memmove(dst + y * dstPitch, src + y * srcPitch, width);
    }
  }
};

/// From the first byte to the last.
std::size_t extent(std::size_t pitch, std::size_t width, std::size_t height) {
  return (height - 1) * pitch + width;
}

/// Queues a copy. What is read from pageable memory is read at once, what is written there has been
/// written when the call returns; page-locked memory is touched when the stream comes to the copy.
cudaError_t queueCopy(Machine& m, Rectangle job, cudaMemcpyKind kind, cudaStream_t stream) {
  if (job.width > job.dstPitch || job.width > job.srcPitch) return cudaErrorInvalidValue;
  if (job.width == 0 || job.height == 0) return cudaSuccess;
  const std::size_t from = extent(job.srcPitch, job.width, job.height);
  const std::size_t to = extent(job.dstPitch, job.width, job.height);
  const bool fromHost = kind == cudaMemcpyHostToDevice, toHost = kind == cudaMemcpyDeviceToHost;
  if (m.memory.holds(job.src, from) == fromHost || m.memory.holds(job.dst, to) == toHost) {
    return cudaErrorInvalidValue;
  }
  Gpu& gpu = m.gpuOf(stream);
  if (fromHost && !m.isLocked(job.src, from)) {
    const auto staged = std::make_shared<std::string>(job.src, from);
    gpu.queue(stream, [job, staged]() mutable {
      job.src = staged->data();
      job.copy();
    });
  } else {
    gpu.queue(stream, [job] { job.copy(); });
  }
  if (toHost && !m.isLocked(job.dst, to)) gpu.finish(stream);
  return cudaSuccess;
}

/// A copy that the caller waits for, as far as the runtime does: a copy between the host and a GPU
/// has read and written the host's memory, a copy inside a GPU may still go on.
cudaError_t copyNow(Machine& m, const Rectangle& job, cudaMemcpyKind kind) {
  const cudaError_t error = queueCopy(m, job, kind, nullptr);
  if (error == cudaSuccess && kind != cudaMemcpyDeviceToDevice) m.gpuOf(nullptr).finish(nullptr);
  return error;
}

Rectangle rectangle(void* dst, std::size_t dstPitch, const void* src, std::size_t srcPitch,
                    std::size_t width, std::size_t height) {
  return {
      static_cast<char*>(dst), dstPitch, static_cast<const char*>(src), srcPitch, width, height};
}

cudaError_t queueFill(Machine& m, void* dst, std::size_t pitch, int value, std::size_t width,
                      std::size_t height, cudaStream_t stream) {
  if (width == 0 || height == 0) return cudaSuccess;
  if (width > pitch || !m.memory.holds(dst, extent(pitch, width, height))) {
    return cudaErrorInvalidValue;
  }
  m.gpuOf(stream).queue(stream, [=] {
    for (std::size_t y = 0; y < height; ++y) {
      std::memset(static_cast<char*>(dst) + y * pitch, value, width);
    }
  });
  return cudaSuccess;
}

int capabilityOf(int device) {
  return device == modes().oldGpu ? 5 : 9;
}

bool exists(int device) {
  return device >= 0 && device < modes().gpus;
}

}  // namespace

int mirl::simulated::currentDevice() {
  return current;
}

cudaError_t mirl::simulated::queueKernel(const Launch& launch, cudaStream_t stream,
                                         std::function<void()> thread) {
  return call([&](Machine& m) {
    m.gpuOf(stream).queue(stream,
                          [launch, thread = std::move(thread)] { runGrid(launch, thread); });
    return cudaSuccess;
  });
}

cudaError_t cudaGetLastError() {
  return std::exchange(lastError, cudaSuccess);
}

cudaError_t cudaPeekAtLastError() {
  return lastError;
}

const char* cudaGetErrorString(cudaError_t error) {
  switch (error) {
    case cudaSuccess:
      return "no error";
    case cudaErrorMemoryAllocation:
      return "out of memory";
    case cudaErrorNotReady:
      return "device not ready";
    default:
      return "invalid argument";
  }
}

cudaError_t cudaGetDeviceCount(int* count) {
  *count = modes().gpus;
  return *count > 0 ? cudaSuccess : done(cudaErrorNoDevice);
}

cudaError_t cudaGetDevice(int* device) {
  *device = current;
  return cudaSuccess;
}

cudaError_t cudaSetDevice(int device) {
  if (!exists(device)) return done(cudaErrorInvalidDevice);
  current = device;
  return cudaSuccess;
}

cudaError_t cudaGetDeviceProperties(cudaDeviceProp* properties, int device) {
  if (!exists(device)) return done(cudaErrorInvalidDevice);
  *properties = {};
  std::snprintf(properties->name, sizeof properties->name, "Simulated GPU %d", device);
  properties->multiProcessorCount = kMultiProcessors;
  properties->major = capabilityOf(device);
  properties->asyncEngineCount = 1;
  properties->totalGlobalMem = std::size_t{6} << 30;
  properties->totalConstMem = 65536;
  properties->textureAlignment = kPitchAlignment;
  return cudaSuccess;
}

cudaError_t cudaDeviceGetAttribute(int* value, cudaDeviceAttr attribute, int device) {
  if (!exists(device)) return done(cudaErrorInvalidDevice);
  switch (attribute) {
    case cudaDevAttrClockRate:
      *value = 1000000;
      break;
    case cudaDevAttrMultiProcessorCount:
      *value = kMultiProcessors;
      break;
    case cudaDevAttrComputeCapabilityMajor:
      *value = capabilityOf(device);
      break;
    case cudaDevAttrComputeCapabilityMinor:
      *value = 0;
      break;
    case cudaDevAttrMemoryPoolsSupported:
      *value = device == 0;  // the other one has to do without
      break;
  }
  return cudaSuccess;
}

cudaError_t cudaDeviceSynchronize() {
  return call([](Machine& m) {
    m.gpuOf(nullptr).finishAll();
    return cudaSuccess;
  });
}

cudaError_t cudaDeviceReset() {
  return call([](Machine& m) {
    m.gpuOf(nullptr).drop();
    m.memory.freeAll(current);
    for (CUstream_st* stream : m.streams) stream->alive &= stream->device != current;
    std::erase_if(m.lockedHost, [](const auto& range) { return range.second.second == current; });
    return cudaSuccess;
  });
}

cudaError_t cudaStreamCreate(cudaStream_t* stream) {
  return call([&](Machine& m) {
    m.useCurrent();
    *stream = m.streams.emplace_back(new CUstream_st{current});
    return cudaSuccess;
  });
}

/// Returns at once; what is queued still runs.
cudaError_t cudaStreamDestroy(cudaStream_t stream) {
  return call([&](Machine& m) {
    m.gpuOf(stream);
    stream->alive = false;
    return cudaSuccess;
  });
}

/// Something happens between two looks, or a program that polls would never end.
cudaError_t cudaStreamQuery(cudaStream_t stream) {
  return call([&](Machine& m) {
    Gpu& gpu = m.gpuOf(stream);
    if (gpu.isIdle(stream)) return cudaSuccess;
    gpu.runOne(stream);
    return cudaErrorNotReady;
  });
}

cudaError_t cudaStreamSynchronize(cudaStream_t stream) {
  return call([&](Machine& m) {
    m.gpuOf(stream).finish(stream);
    return cudaSuccess;
  });
}

cudaError_t cudaMalloc(void** data, std::size_t bytes) {
  return call([&](Machine& m) {
    m.useCurrent();
    void* made = m.memory.allocate(current, bytes, true);
    if (made == nullptr) return cudaErrorMemoryAllocation;
    *data = made;
    return cudaSuccess;
  });
}

cudaError_t cudaMallocPitch(void** data, std::size_t* pitch, std::size_t width,
                            std::size_t height) {
  *pitch = (width + kPitchAlignment - 1) / kPitchAlignment * kPitchAlignment;
  if (*pitch < width || (height != 0 && *pitch > SIZE_MAX / height)) {
    fault("cudaMallocPitch is asked for more than there are addresses");
  }
  return cudaMalloc(data, *pitch * height);
}

/// Waits for all work of the device.
cudaError_t cudaFree(void* data) {
  return call([&](Machine& m) {
    m.gpuOf(nullptr).finishAll();
    return m.memory.free(data) ? cudaSuccess : cudaErrorInvalidValue;
  });
}

cudaError_t cudaMemcpy(void* dst, const void* src, std::size_t bytes, cudaMemcpyKind kind) {
  return call(
      [&](Machine& m) { return copyNow(m, rectangle(dst, bytes, src, bytes, bytes, 1), kind); });
}

cudaError_t cudaMemcpyAsync(void* dst, const void* src, std::size_t bytes, cudaMemcpyKind kind,
                            cudaStream_t stream) {
  return call([&](Machine& m) {
    return queueCopy(m, rectangle(dst, bytes, src, bytes, bytes, 1), kind, stream);
  });
}

cudaError_t cudaMemcpy2D(void* dst, std::size_t dstPitch, const void* src, std::size_t srcPitch,
                         std::size_t width, std::size_t height, cudaMemcpyKind kind) {
  return call([&](Machine& m) {
    return copyNow(m, rectangle(dst, dstPitch, src, srcPitch, width, height), kind);
  });
}

cudaError_t cudaMemcpy2DAsync(void* dst, std::size_t dstPitch, const void* src,
                              std::size_t srcPitch, std::size_t width, std::size_t height,
                              cudaMemcpyKind kind, cudaStream_t stream) {
  return call([&](Machine& m) {
    return queueCopy(m, rectangle(dst, dstPitch, src, srcPitch, width, height), kind, stream);
  });
}

/// The host doesn't wait for a fill.
cudaError_t cudaMemset2D(void* dst, std::size_t pitch, int value, std::size_t width,
                         std::size_t height) {
  return cudaMemset2DAsync(dst, pitch, value, width, height, nullptr);
}

cudaError_t cudaMemset2DAsync(void* dst, std::size_t pitch, int value, std::size_t width,
                              std::size_t height, cudaStream_t stream) {
  return call([&](Machine& m) { return queueFill(m, dst, pitch, value, width, height, stream); });
}

cudaError_t cudaHostRegister(void* data, std::size_t bytes, unsigned) {
  return call([&](Machine& m) {
    m.useCurrent();
    if (data == nullptr || bytes == 0) return cudaErrorInvalidValue;
    if (m.isLocked(data, 1)) return cudaErrorHostMemoryAlreadyRegistered;
    m.lockedHost[reinterpret_cast<std::uintptr_t>(data)] = {bytes, current};
    return cudaSuccess;
  });
}

/// Waits for nothing.
cudaError_t cudaHostUnregister(void* data) {
  return call([&](Machine& m) {
    return m.lockedHost.erase(reinterpret_cast<std::uintptr_t>(data)) == 1
               ? cudaSuccess
               : cudaErrorHostMemoryNotRegistered;
  });
}

cudaError_t cudaMemPoolCreate(cudaMemPool_t* pool, const cudaMemPoolProps* properties) {
  if (!exists(properties->location.id)) return done(cudaErrorInvalidDevice);
  static char handle;
  *pool = reinterpret_cast<cudaMemPool_t>(&handle);
  return cudaSuccess;
}

cudaError_t cudaMemPoolSetAttribute(cudaMemPool_t, cudaMemPoolAttr, void*) {
  return cudaSuccess;
}

cudaError_t cudaMemPoolTrimTo(cudaMemPool_t, std::size_t) {
  return cudaSuccess;
}

/// The memory is there from that point of the stream on.
cudaError_t cudaMallocFromPoolAsync(void** data, std::size_t bytes, cudaMemPool_t,
                                    cudaStream_t stream) {
  return call([&](Machine& m) {
    Gpu& gpu = m.gpuOf(stream);
    void* made = m.memory.allocate(current, bytes, false);
    if (made == nullptr) return cudaErrorMemoryAllocation;
    gpu.queue(stream, [&m, made] { m.memory.open(made); });
    *data = made;
    return cudaSuccess;
  });
}

cudaError_t cudaFreeAsync(void* data, cudaStream_t stream) {
  return call([&](Machine& m) {
    if (!m.memory.isBlock(data)) return cudaErrorInvalidValue;
    m.gpuOf(stream).queue(stream, [&m, data] { m.memory.free(data); });
    return cudaSuccess;
  });
}
