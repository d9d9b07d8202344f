#pragma once

#include "runtime/runtime.h"

namespace mirl::runtime {

/// Bytes of memory in the machine.
std::size_t physicalMemory();

/// The processor as a device. Work on it is done by the time a call returns.
std::unique_ptr<Device> makeHostDevice(int id);

}  // namespace mirl::runtime
