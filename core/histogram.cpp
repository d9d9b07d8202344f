#include <mirl/histogram.h>

#include "core/histogram_access.h"
#include "runtime/pinned_pool.h"

#include <cstdlib>
#include <cstring>
#include <utility>

using mirl::runtime::Device;

namespace {

std::size_t bytesOf(int binCount) {
  return static_cast<std::size_t>(binCount) * sizeof(unsigned int);
}

int binsOfType(MirlType type) {
  switch (type) {
    case MIRL_8U_C1:
      return 256;
    case MIRL_8U_C3:
      return 3 * 256;
    case MIRL_16U_C1:
      return 65536;
    case MIRL_16U_C3:
      return 3 * 65536;
    default:
      return 0;
  }
}

MirlStatus allocateCleared(Device& device, std::size_t bytes, void*& bins) {
  if (!device.allocate(bytes, bins)) return MIRL_DEVICE_ALLOC_FAILED;
  if (device.fill({bins, bytes, 0, bytes, 1})) return MIRL_SUCCESS;
  device.free(bins);
  return MIRL_MEMSET_FAILED;
}

}  // namespace

MirlHistogram::MirlHistogram(int binCount, MirlPointerType location) {
  create(binCount, location);
}

MirlHistogram::MirlHistogram(MirlType type, MirlPointerType location) {
  create(type, location);
}

MirlHistogram::MirlHistogram(const MirlHistogram& other) {
  if (!other.initialized_) return;
  MirlHistogram made;
  const std::size_t bytes = bytesOf(other.binCount_);
  if (other.location_ == MIRL_POINTER_DEVICE) {
    Device* device = HistogramAccess::device(other);
    void* bins = nullptr;
    if (device == nullptr || !device->allocate(bytes, bins)) return;
    if (!device->copy({bins, bytes, other.bins_, bytes, bytes, 1,
                       mirl::runtime::Direction::deviceToDevice})) {
      device->free(bins);
      return;
    }
    made.initialized_ = true;
    made.bins_ = static_cast<unsigned int*>(bins);
    made.binCount_ = other.binCount_;
    made.location_ = other.location_;
    made.device_ = device->id();
    made.deviceEpoch_ = device->epoch();
  } else {
    if (made.create(other.binCount_, other.location_) != MIRL_SUCCESS) return;
    std::memcpy(made.bins_, other.bins_, bytes);
  }
  made.type_ = other.type_;
  steal(made);
}

MirlHistogram::MirlHistogram(MirlHistogram&& other) noexcept {
  steal(other);
}

MirlHistogram::~MirlHistogram() {
  release();
}

MirlHistogram& MirlHistogram::operator=(const MirlHistogram& other) {
  if (this == &other) return *this;
  MirlHistogram copy(other);
  if (copy.initialized_ == other.initialized_) *this = std::move(copy);
  return *this;
}

MirlHistogram& MirlHistogram::operator=(MirlHistogram&& other) noexcept {
  if (this == &other || release() != MIRL_SUCCESS) return *this;
  steal(other);
  return *this;
}

MirlStatus MirlHistogram::create(int binCount, MirlPointerType location) {
  if (binCount <= 0 || initialized_) return MIRL_INVALID_ARGUMENT;
  const std::size_t bytes = bytesOf(binCount);
  void* bins = nullptr;
  switch (location) {
    case MIRL_POINTER_DEVICE: {
      Device* device = mirl::runtime::device(mirl::runtime::currentDevice());
      if (device == nullptr) return MIRL_DEVICE_ALLOC_FAILED;
      const MirlStatus status = allocateCleared(*device, bytes, bins);
      if (status != MIRL_SUCCESS) return status;
      device_ = device->id();
      deviceEpoch_ = device->epoch();
      break;
    }
    case MIRL_POINTER_HOST:
      bins = std::calloc(bytes, 1);
      if (bins == nullptr) return MIRL_OPERATION_FAILED;
      break;
    case MIRL_POINTER_PINNED:
      bins = mirl::runtime::allocatePinned(bytes);
      if (bins == nullptr) return MIRL_HOST_REGISTER_FAILED;
      std::memset(bins, 0, bytes);
      break;
    default:
      return MIRL_INVALID_ARGUMENT;
  }
  initialized_ = true;
  bins_ = static_cast<unsigned int*>(bins);
  binCount_ = binCount;
  type_ = static_cast<MirlType>(-2);
  location_ = location;
  return MIRL_SUCCESS;
}

MirlStatus MirlHistogram::create(MirlType type, MirlPointerType location) {
  if (initialized_) return MIRL_SUCCESS;
  const int bins = binsOfType(type);
  if (bins == 0) return MIRL_TYPE_NOT_SUPPORTED;
  const MirlStatus status = create(bins, location);
  if (status == MIRL_SUCCESS) type_ = type;
  return status;
}

MirlStatus MirlHistogram::release() {
  if (!initialized_) return MIRL_SUCCESS;
  switch (location_) {
    case MIRL_POINTER_DEVICE: {
      Device* device = HistogramAccess::device(*this);
      if (device == nullptr || !device->free(bins_)) return MIRL_DEVICE_FREE_FAILED;
      break;
    }
    case MIRL_POINTER_HOST:
      std::free(bins_);
      break;
    case MIRL_POINTER_PINNED:
      if (!mirl::runtime::freePinned(bins_, bytesOf(binCount_))) {
        return MIRL_HOST_UNREGISTER_FAILED;
      }
      break;
  }
  MirlHistogram empty;
  steal(empty);
  return MIRL_SUCCESS;
}

void MirlHistogram::steal(MirlHistogram& other) noexcept {
  initialized_ = std::exchange(other.initialized_, false);
  bins_ = std::exchange(other.bins_, nullptr);
  binCount_ = std::exchange(other.binCount_, 0);
  type_ = std::exchange(other.type_, static_cast<MirlType>(-1));
  location_ = std::exchange(other.location_, static_cast<MirlPointerType>(-1));
  device_ = std::exchange(other.device_, -1);
  deviceEpoch_ = std::exchange(other.deviceEpoch_, 0u);
}

Device* HistogramAccess::device(const MirlHistogram& histogram) {
  if (!histogram.initialized_ || histogram.location_ != MIRL_POINTER_DEVICE) return nullptr;
  Device* device = mirl::runtime::device(histogram.device_);
  return device != nullptr && device->epoch() == histogram.deviceEpoch_ ? device : nullptr;
}
