#pragma once

// Arrays in the memory that the threads of a block share. Kernels reach them through `Shared`, a
// pointer that the simulated GPU watches: what no thread has written isn't read, and no two threads
// touch a byte without a barrier between them.
//
//   MIRL_SHARED(float, tile, 32 * 8);   a `Shared<float> tile` for 256 floats
//   MIRL_DYNAMIC_SHARED(float, tile);   for as many as the launch has room for

#include "engine/device_code.h"

#include <cstddef>

namespace mirl::engine::cuda {

#if MIRL_CUDA_SIMULATED

using simulated::Touch;

template <class T>
class SharedElement {
 public:
  explicit SharedElement(T* at) : at_(at) {}
  SharedElement(const SharedElement&) = default;

  operator T() const {
    simulated::touchShared(at_, sizeof(T), Touch::read);
    return *at_;
  }
  const SharedElement& operator=(const T& value) const {
    simulated::touchShared(at_, sizeof(T), Touch::write);
    *at_ = value;
    return *this;
  }
  const SharedElement& operator=(const SharedElement& other) const {
    return *this = static_cast<T>(other);
  }

 private:
  T* at_;
};

#define MIRL_SHARED(Type, name, count)                                   \
  static const char name##Place = 0;                                     \
  const ::mirl::engine::cuda::Shared<Type> name(reinterpret_cast<Type*>( \
      ::mirl::simulated::sharedArray(&name##Place, sizeof(Type) * (count), 16)))
#define MIRL_DYNAMIC_SHARED(Type, name)          \
  const ::mirl::engine::cuda::Shared<Type> name( \
      reinterpret_cast<Type*>(::mirl::simulated::sharedArray(nullptr, 0, 16)))

#else

// Bytes, because shared memory has no constructors.
#define MIRL_SHARED(Type, name, count)                                      \
  __shared__ alignas(16) unsigned char name##Bytes[sizeof(Type) * (count)]; \
  const ::mirl::engine::cuda::Shared<Type> name(reinterpret_cast<Type*>(name##Bytes))
#define MIRL_DYNAMIC_SHARED(Type, name)        \
  extern __shared__ uint4 mirlDynamicShared[]; \
  const ::mirl::engine::cuda::Shared<Type> name(reinterpret_cast<Type*>(mirlDynamicShared))

#endif

template <class T>
class Shared {
 public:
  __device__ Shared() : at_(nullptr) {}
  __device__ explicit Shared(T* at) : at_(at) {}

#if MIRL_CUDA_SIMULATED
  template <class Index>
  SharedElement<T> operator[](Index i) const {
    return SharedElement<T>(at_ + i);
  }
  void add(unsigned i, T value) const {
    simulated::touchShared(at_ + i, sizeof(T), Touch::atomic);
    at_[i] += value;
  }
  const T& readable(std::size_t count = 1) const {
    simulated::touchShared(at_, sizeof(T) * count, Touch::read);
    return *at_;
  }
#else
  template <class Index>
  __device__ T& operator[](Index i) const {
    return at_[i];
  }
  /// Adds to an element that other threads add to at the same time.
  __device__ void add(unsigned i, T value) const {
    atomicAdd(at_ + i, value);
  }
  /// The first element, as what this thread will only read, it and the `count` - 1 behind it.
  __device__ const T& readable(std::size_t = 1) const {
    return *at_;
  }
#endif

  template <class Index>
  __device__ Shared operator+(Index i) const {
    return Shared(at_ + i);
  }
  /// The same memory as elements of another type.
  template <class Other>
  __device__ Shared<Other> as() const {
    return Shared<Other>(reinterpret_cast<Other*>(at_));
  }

 private:
  T* at_;
};

}  // namespace mirl::engine::cuda
