#include <mirl/device.h>

#include "core/cores.h"
#include "runtime/runtime.h"

#include <cstring>
#include <new>

namespace mirl::device {
namespace {

/// False also without memory for what the device tells.
bool describe(int device, runtime::DeviceInfo& info) {
  runtime::Device* chosen = runtime::device(device);
  try {
    return chosen != nullptr && chosen->describe(info);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace

int getCurentDevice() {
  return runtime::currentDevice();
}

int getDeviceCount() {
  return runtime::deviceCount();
}

MirlStatus getDeviceProperties(int device, MirlDeviceProperties& properties) {
  runtime::DeviceInfo info;
  if (!describe(device, info)) return MIRL_INVALID_ARGUMENT;

  std::strncpy(properties.name, info.name.c_str(), sizeof properties.name - 1);
  properties.name[sizeof properties.name - 1] = '\0';
  properties.multiProcessorCount = info.multiProcessors;
  const int cores =
      runtime::device(device)->isHost() ? 1 : core::coresPerMultiProcessor(info.major, info.minor);
  if (cores != 0) properties.coresPerMultiProcessor = cores;
  // The field may hold anything if the capability is unknown, so the product may not overflow.
  properties.coreCount = static_cast<int>(static_cast<unsigned>(properties.multiProcessorCount) *
                                          static_cast<unsigned>(properties.coresPerMultiProcessor));
  properties.computeCapability =
      static_cast<float>(info.major) + static_cast<float>(info.minor) / 10.0f;
  properties.asyncEngineCount = info.copyEngines;
  properties.totalGlobalMemory = info.globalMemory;
  properties.totalConstantMemory = info.constantMemory;
  properties.textureAlignment = info.rowAlignment;
  properties.clockRate = info.clockKHz;
  return MIRL_SUCCESS;
}

MirlStatus setCurrentDevice(int device) {
  return runtime::setCurrentDevice(device) ? MIRL_SUCCESS : MIRL_SET_DEVICE_FAILED;
}

MirlStatus syncCurrentDevice() {
  runtime::Device* current = runtime::device(runtime::currentDevice());
  return current != nullptr && current->synchronizeAll() ? MIRL_SUCCESS : MIRL_OPERATION_FAILED;
}

MirlStatus resetCurrentDevice() {
  runtime::Device* current = runtime::device(runtime::currentDevice());
  if (current != nullptr) current->reset();
  return MIRL_SUCCESS;
}

}  // namespace mirl::device
