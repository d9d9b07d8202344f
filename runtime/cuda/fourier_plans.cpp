#include "runtime/cuda/fourier_plans.h"

#include "runtime/cuda/cuda_device.h"
#include "runtime/fault.h"
#include "runtime/scratch.h"

#include <cuda_runtime_api.h>
#include <cufft.h>

#include <algorithm>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace mirl::runtime::cuda {

/// A plan of cuFFT's. Its work area is each call's own, so calls on several streams share a plan.
class FourierPlan {
 public:
  explicit FourierPlan(const SpectrumShape& shape) : shape_(shape) {
    if (cufftCreate(&handle_) != CUFFT_SUCCESS) return;
    made_ = true;
    long long size[] = {shape.height, shape.width};
    long long complexRows[] = {shape.height, static_cast<long long>(shape.pitch / 8)};
    long long realRows[] = {shape.height, static_cast<long long>(shape.pitch / 4)};
    ok_ = cufftSetAutoAllocation(handle_, 0) == CUFFT_SUCCESS &&
          cufftMakePlanMany64(handle_, 2, size, realRows, 1, realRows[0] * realRows[1], complexRows,
                              1, complexRows[0] * complexRows[1], CUFFT_R2C, 1,
                              &workBytes_) == CUFFT_SUCCESS;
  }
  /// cuFFT frees tables that work still under way may read.
  ~FourierPlan() {
    if (!made_) return;
    cudaDeviceSynchronize();
    cufftDestroy(handle_);
  }
  FourierPlan(const FourierPlan&) = delete;
  FourierPlan& operator=(const FourierPlan&) = delete;

  bool ok() const { return ok_; }
  const SpectrumShape& shape() const { return shape_; }
  std::size_t workBytes() const { return workBytes_; }

  bool run(void* stream, void* data, void* work) {
    const std::lock_guard lock(mutex_);
    return cufftSetStream(handle_, static_cast<cudaStream_t>(stream)) == CUFFT_SUCCESS &&
           cufftSetWorkArea(handle_, work) == CUFFT_SUCCESS &&
           cufftExecR2C(handle_, static_cast<cufftReal*>(data), static_cast<cufftComplex*>(data)) ==
               CUFFT_SUCCESS;
  }

 private:
  const SpectrumShape shape_;
  std::mutex mutex_;
  cufftHandle handle_{};
  std::size_t workBytes_ = 0;
  bool made_ = false;
  bool ok_ = false;
};

namespace {

/// The plans of a GPU, the one used last first.
struct Kept {
  std::mutex mutex;
  std::list<std::shared_ptr<FourierPlan>> plans;
};

constexpr std::size_t kMostKept = 8;

/// By number. Never destroyed: at the program's end cuFFT may be gone before.
Kept& keptFor(const Device& device) {
  static auto& all = *new std::vector<Kept>(static_cast<std::size_t>(deviceCount()));
  return all[static_cast<std::size_t>(device.id())];
}

std::shared_ptr<FourierPlan> planFor(const Device& device, const SpectrumShape& shape) {
  Kept& kept = keptFor(device);
  const std::lock_guard lock(kept.mutex);
  auto& plans = kept.plans;
  const auto found = std::find_if(plans.begin(), plans.end(),
                                  [&](const auto& plan) { return plan->shape() == shape; });
  if (found != plans.end()) {
    plans.splice(plans.begin(), plans, found);
    return plans.front();
  }
  auto made = std::make_shared<FourierPlan>(shape);
  if (!made->ok() && !plans.empty()) {
    // What the others hold may be what it lacks.
    plans.clear();
    made = std::make_shared<FourierPlan>(shape);
  }
  if (!made->ok()) return nullptr;
  plans.push_front(made);
  if (plans.size() > kMostKept) plans.pop_back();
  return made;
}

}  // namespace

RealTransform::RealTransform(const Queue& queue, const SpectrumShape& shape) : queue_(queue) {
  const Current current(queue.device->nativeId());
  if (!current.ok()) return;
  try {
    plan_ = planFor(*queue.device, shape);
  } catch (const std::bad_alloc&) {
    return;
  }
  if (plan_ != nullptr) work_.emplace(queue, std::max<std::size_t>(plan_->workBytes(), 1));
}

void RealTransform::run(void* data) const {
  if (queue_.lost) return;
  const Current current(queue_.device->nativeId());
  const bool queued =
      current.ok() && !shouldFail(Call::launch) && plan_->run(queue_.stream, data, work_->data());
  if (queued) return;
  queue_.lost = true;
  queue_.device->rememberFailure();
}

void dropFourierPlans(const Device& device) {
  const Current current(device.nativeId());
  Kept& kept = keptFor(device);
  const std::lock_guard lock(kept.mutex);
  kept.plans.clear();
}

}  // namespace mirl::runtime::cuda
