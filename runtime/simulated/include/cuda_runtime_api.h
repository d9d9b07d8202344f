#pragma once

// The calls of the CUDA runtime that the library makes, for builds with the simulated GPU: this
// header then stands for the toolkit's. Names and meanings are the toolkit's own.

#include <cstddef>

enum cudaError_t : int {
  cudaSuccess = 0,
  cudaErrorInvalidValue = 1,
  cudaErrorMemoryAllocation = 2,
  cudaErrorInvalidConfiguration = 9,
  cudaErrorNoDevice = 100,
  cudaErrorInvalidDevice = 101,
  cudaErrorInvalidResourceHandle = 400,
  cudaErrorNotReady = 600,
  cudaErrorHostMemoryAlreadyRegistered = 712,
  cudaErrorHostMemoryNotRegistered = 713,
};
cudaError_t cudaGetLastError();
cudaError_t cudaPeekAtLastError();
const char* cudaGetErrorString(cudaError_t error);

// --- devices --------------------------------------------------------------------------------------

enum cudaDeviceAttr {
  cudaDevAttrClockRate = 13,
  cudaDevAttrMultiProcessorCount = 16,
  cudaDevAttrComputeCapabilityMajor = 75,
  cudaDevAttrComputeCapabilityMinor = 76,
  cudaDevAttrMemoryPoolsSupported = 115,
};
struct cudaDeviceProp {
  char name[256];
  int multiProcessorCount;
  int major;
  int minor;
  int asyncEngineCount;
  std::size_t totalGlobalMem;
  std::size_t totalConstMem;
  std::size_t textureAlignment;
};
cudaError_t cudaGetDeviceCount(int* count);
cudaError_t cudaGetDevice(int* device);
cudaError_t cudaSetDevice(int device);
cudaError_t cudaGetDeviceProperties(cudaDeviceProp* properties, int device);
cudaError_t cudaDeviceGetAttribute(int* value, cudaDeviceAttr attribute, int device);
cudaError_t cudaDeviceSynchronize();
cudaError_t cudaDeviceReset();

// --- streams --------------------------------------------------------------------------------------

using cudaStream_t = struct CUstream_st*;
cudaError_t cudaStreamCreate(cudaStream_t* stream);
cudaError_t cudaStreamDestroy(cudaStream_t stream);
cudaError_t cudaStreamQuery(cudaStream_t stream);
cudaError_t cudaStreamSynchronize(cudaStream_t stream);

// --- memory ---------------------------------------------------------------------------------------

enum cudaMemcpyKind {
  cudaMemcpyHostToDevice = 1,
  cudaMemcpyDeviceToHost = 2,
  cudaMemcpyDeviceToDevice = 3,
};
cudaError_t cudaMalloc(void** data, std::size_t bytes);
cudaError_t cudaMallocPitch(void** data, std::size_t* pitch, std::size_t width, std::size_t height);
cudaError_t cudaFree(void* data);
cudaError_t cudaMemcpy(void* dst, const void* src, std::size_t bytes, cudaMemcpyKind kind);
cudaError_t cudaMemcpyAsync(void* dst, const void* src, std::size_t bytes, cudaMemcpyKind kind,
                            cudaStream_t stream);
cudaError_t cudaMemcpy2D(void* dst, std::size_t dstPitch, const void* src, std::size_t srcPitch,
                         std::size_t width, std::size_t height, cudaMemcpyKind kind);
cudaError_t cudaMemcpy2DAsync(void* dst, std::size_t dstPitch, const void* src,
                              std::size_t srcPitch, std::size_t width, std::size_t height,
                              cudaMemcpyKind kind, cudaStream_t stream);
cudaError_t cudaMemset2D(void* dst, std::size_t pitch, int value, std::size_t width,
                         std::size_t height);
cudaError_t cudaMemset2DAsync(void* dst, std::size_t pitch, int value, std::size_t width,
                              std::size_t height, cudaStream_t stream);

inline constexpr unsigned cudaHostRegisterPortable = 1;
cudaError_t cudaHostRegister(void* data, std::size_t bytes, unsigned flags);
cudaError_t cudaHostUnregister(void* data);

// --- memory in the order of a stream --------------------------------------------------------------

using cudaMemPool_t = struct CUmemPoolHandle_st*;
enum cudaMemPoolAttr { cudaMemPoolAttrReleaseThreshold = 4 };
enum cudaMemAllocationType { cudaMemAllocationTypePinned = 1 };
enum cudaMemLocationType { cudaMemLocationTypeDevice = 1 };
struct cudaMemPoolProps {
  cudaMemAllocationType allocType;
  struct {
    cudaMemLocationType type;
    int id;
  } location;
};
cudaError_t cudaMemPoolCreate(cudaMemPool_t* pool, const cudaMemPoolProps* properties);
cudaError_t cudaMemPoolSetAttribute(cudaMemPool_t pool, cudaMemPoolAttr attribute, void* value);
cudaError_t cudaMemPoolTrimTo(cudaMemPool_t pool, std::size_t bytesToKeep);
cudaError_t cudaMallocFromPoolAsync(void** data, std::size_t bytes, cudaMemPool_t pool,
                                    cudaStream_t stream);
cudaError_t cudaFreeAsync(void* data, cudaStream_t stream);
