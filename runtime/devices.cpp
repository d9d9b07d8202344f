#include "runtime/host/host_device.h"
#include "runtime/runtime.h"

#if MIRL_WITH_CUDA
#include "runtime/cuda/cuda_device.h"
#endif

#include <new>
#include <vector>

namespace mirl::runtime {
namespace {

#if !MIRL_WITH_CUDA
namespace cuda {
int deviceCount() {
  return 0;
}
int currentDevice() {
  return -1;
}
bool setCurrentDevice(int) {
  return false;
}
std::unique_ptr<Device> makeDevice(int) {
  return nullptr;
}
}  // namespace cuda
#endif

/// Images of static lifetime are freed when the process ends, so the devices are never destroyed.
const std::vector<std::unique_ptr<Device>>& devices() {
  static const auto& list = *[] {
    auto* made = new std::vector<std::unique_ptr<Device>>;
    const int gpus = cuda::deviceCount();
    for (int id = 0; id < gpus; ++id) made->push_back(cuda::makeDevice(id));
    made->push_back(makeHostDevice(gpus));
    return made;
  }();
  return list;
}

/// The host device is current on this thread. Which GPU is current otherwise is the GPU runtime's
/// to know, so that a program's own choice of a GPU counts here too.
thread_local bool hostIsCurrent = false;

}  // namespace

int deviceCount() {
  return static_cast<int>(devices().size());
}

Device* device(int id) {
  if (id < 0 || id >= deviceCount()) return nullptr;
  return devices()[static_cast<std::size_t>(id)].get();
}

Device& hostDevice() {
  return *devices().back();
}

int currentDevice() {
  const int host = hostDevice().id();
  return hostIsCurrent || host == 0 ? host : cuda::currentDevice();
}

bool setCurrentDevice(int id) {
  const Device* chosen = device(id);
  if (chosen == nullptr) return false;
  if (!chosen->isHost() && !cuda::setCurrentDevice(id)) return false;
  hostIsCurrent = chosen->isHost();
  return true;
}

StreamState::StreamState(Device& owner, void* handle)
    : device(owner), native(handle), epoch_(owner.epoch()) {}

StreamState::~StreamState() {
  destroy();
}

bool StreamState::alive() const {
  return alive_.load(std::memory_order_acquire) && epoch_ == device.epoch();
}

bool StreamState::destroy() {
  if (epoch_ != device.epoch()) return false;
  if (!alive_.exchange(false)) return false;
  if (device.destroyStream(native)) return true;
  alive_ = true;
  return false;
}

std::shared_ptr<StreamState> createStream(Device& device) {
  void* native = nullptr;
  if (!device.createStream(native)) return nullptr;
  try {
    return std::make_shared<StreamState>(device, native);
  } catch (const std::bad_alloc&) {
    device.destroyStream(native);
    return nullptr;
  }
}

}  // namespace mirl::runtime
