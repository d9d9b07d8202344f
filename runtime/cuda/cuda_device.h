#pragma once

#include "runtime/runtime.h"

namespace mirl::runtime::cuda {

/// 0 where there is no GPU or no driver.
int deviceCount();
int currentDevice();
bool setCurrentDevice(int id);
std::unique_ptr<Device> makeDevice(int id);

/// Makes a GPU, by the runtime's number, current for a scope. Work for a GPU is queued while it is
/// current.
class Current {
 public:
  explicit Current(int gpu);
  ~Current();
  Current(const Current&) = delete;
  Current& operator=(const Current&) = delete;

  bool ok() const { return ok_; }

 private:
  int before_ = -1;
  bool changed_ = false;
  bool ok_ = false;
};

}  // namespace mirl::runtime::cuda
