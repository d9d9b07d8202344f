// cuFFT's stand-in: real transforms in two dimensions, by the definition, in double precision.

#include "runtime/simulated/block.h"
#include "runtime/simulated/include/cufft.h"
#include "runtime/simulated/machine.h"

#include <complex>
#include <cstring>
#include <map>
#include <new>
#include <numbers>
#include <vector>

namespace mirl::simulated {
namespace {

using Number = std::complex<double>;

struct Plan {
  int device;
  std::ptrdiff_t height = 0, width = 0, realPitch = 0, complexPitch = 0;
  cudaStream_t stream = nullptr;
  void* work = nullptr;

  std::ptrdiff_t columns() const { return width / 2 + 1; }
  std::size_t workBytes() const {
    return static_cast<std::size_t>(height * columns()) * sizeof(std::complex<float>);
  }
  std::size_t dataBytes() const {
    return static_cast<std::size_t>((height - 1) * complexPitch + columns()) * sizeof(cufftComplex);
  }
};

std::map<cufftHandle, Plan>& plans() {
  static auto& all = *new std::map<cufftHandle, Plan>;
  return all;
}

/// Of every `step`th number, as many as `length`, as transforms of every `factor`th of these.
std::vector<Number> transform(const Number* from, std::ptrdiff_t step, std::ptrdiff_t length) {
  if (length == 1) return {*from};
  std::ptrdiff_t factor = 2;
  while (length % factor != 0) ++factor;
  const std::ptrdiff_t part = length / factor;
  std::vector<Number> made(static_cast<std::size_t>(length));
  for (std::ptrdiff_t j = 0; j < factor; ++j) {
    const std::vector<Number> some = transform(from + j * step, step * factor, part);
    for (std::ptrdiff_t k = 0; k < length; ++k) {
      const double turns = static_cast<double>(j * k % length) / static_cast<double>(length);
      made[static_cast<std::size_t>(k)] +=
          some[static_cast<std::size_t>(k % part)] * std::polar(1.0, -2 * std::numbers::pi * turns);
    }
  }
  return made;
}

/// Rows go through the work area, like the vendor's, which nobody else may use meanwhile.
void run(const Plan& plan, const char* in, char* out) {
  auto* const work = static_cast<std::complex<float>*>(plan.work);
  std::vector<Number> line;
  for (std::ptrdiff_t y = 0; y < plan.height; ++y) {
    const auto* const row = reinterpret_cast<const cufftReal*>(in) + y * plan.realPitch;
    line.assign(row, row + plan.width);
    const std::vector<Number> made = transform(line.data(), 1, plan.width);
    for (std::ptrdiff_t x = 0; x < plan.columns(); ++x) {
      work[y * plan.columns() + x] = std::complex<float>(made[static_cast<std::size_t>(x)]);
    }
  }
  for (std::ptrdiff_t x = 0; x < plan.columns(); ++x) {
    line.clear();
    for (std::ptrdiff_t y = 0; y < plan.height; ++y) line.push_back(work[y * plan.columns() + x]);
    const std::vector<Number> made = transform(line.data(), 1, plan.height);
    for (std::ptrdiff_t y = 0; y < plan.height; ++y) {
      const Number& number = made[static_cast<std::size_t>(y)];
      reinterpret_cast<cufftComplex*>(out)[y * plan.complexPitch + x] = {
          static_cast<float>(number.real()), static_cast<float>(number.imag())};
    }
  }
}

template <class Call>
cufftResult withPlan(cufftHandle handle, const Call& call) {
  Machine& m = machine();
  const std::lock_guard lock(m.mutex);
  const auto found = plans().find(handle);
  if (found == plans().end()) fault("a plan of cuFFT's that was destroyed");
  if (found->second.device != currentDevice()) fault("a plan of cuFFT's for another device");
  try {
    return call(m, found->second);
  } catch (const std::bad_alloc&) {
    return CUFFT_ALLOC_FAILED;
  }
}

}  // namespace

std::size_t cufftPlans() {
  const std::lock_guard lock(machine().mutex);
  return plans().size();
}

}  // namespace mirl::simulated

using namespace mirl::simulated;

cufftResult cufftCreate(cufftHandle* plan) {
  const std::lock_guard lock(machine().mutex);
  static cufftHandle last = 0;
  try {
    plans()[++last] = {.device = currentDevice()};
  } catch (const std::bad_alloc&) {
    return CUFFT_ALLOC_FAILED;
  }
  *plan = last;
  return CUFFT_SUCCESS;
}

cufftResult cufftDestroy(cufftHandle plan) {
  const auto destroyed = withPlan(plan, [](Machine&, Plan&) { return CUFFT_SUCCESS; });
  const std::lock_guard lock(machine().mutex);
  plans().erase(plan);
  return destroyed;
}

cufftResult cufftSetAutoAllocation(cufftHandle plan, int allocates) {
  return withPlan(
      plan, [&](Machine&, Plan&) { return allocates == 0 ? CUFFT_SUCCESS : CUFFT_INVALID_VALUE; });
}

cufftResult cufftMakePlanMany64(cufftHandle plan, int rank, long long* size, long long* inSize,
                                long long inStride, long long, long long* outSize,
                                long long outStride, long long, cufftType type, long long batch,
                                std::size_t* workBytes) {
  return withPlan(plan, [&](Machine&, Plan& made) {
    const bool served = rank == 2 && inStride == 1 && outStride == 1 && batch == 1 &&
                        type == CUFFT_R2C && inSize[1] == 2 * outSize[1] &&
                        outSize[1] > size[1] / 2;
    if (!served) return CUFFT_INVALID_VALUE;
    made.height = size[0];
    made.width = size[1];
    made.realPitch = inSize[1];
    made.complexPitch = outSize[1];
    *workBytes = made.workBytes();
    return CUFFT_SUCCESS;
  });
}

cufftResult cufftSetStream(cufftHandle plan, cudaStream_t stream) {
  return withPlan(plan, [&](Machine&, Plan& of) {
    of.stream = stream;
    return CUFFT_SUCCESS;
  });
}

cufftResult cufftSetWorkArea(cufftHandle plan, void* work) {
  return withPlan(plan, [&](Machine&, Plan& of) {
    of.work = work;
    return CUFFT_SUCCESS;
  });
}

cufftResult cufftExecR2C(cufftHandle plan, cufftReal* in, cufftComplex* out) {
  return withPlan(plan, [&](Machine& m, const Plan& of) {
    const bool aligned = reinterpret_cast<std::uintptr_t>(out) % sizeof(cufftComplex) == 0;
    if (static_cast<void*>(in) != out || !aligned) fault("cuFFT is given data that it can't serve");
    if (!m.memory.holds(out, of.dataBytes()) || !m.memory.holds(of.work, of.workBytes())) {
      fault("cuFFT is given memory that isn't a GPU's");
    }
    m.gpuOf(of.stream).queue(of.stream, [of, in, out] {
      run(of, reinterpret_cast<const char*>(in), reinterpret_cast<char*>(out));
    });
    return CUFFT_SUCCESS;
  });
}
