#include "engine/host/resample_windows.h"

#if MIRL_WITH_HIGHWAY
#include <hwy/highway.h>
#endif

#if MIRL_WITH_HIGHWAY && !HWY_HAVE_SCALABLE && (defined(__FMA__) || defined(__aarch64__))
#define MIRL_HAS_WINDOWS 1
#else
#define MIRL_HAS_WINDOWS 0
#endif

namespace mirl::engine::resample {

#if MIRL_HAS_WINDOWS

namespace {

namespace hn = hwy::HWY_NAMESPACE;
using Floats = hn::ScalableTag<float>;
using Ints = hn::ScalableTag<int>;

/// A vector with the operators that samplers blend with.
struct Lanes {
  hn::Vec<Floats> v;

  friend Lanes operator-(Lanes a, Lanes b) { return {hn::Sub(a.v, b.v)}; }
  friend Lanes operator*(Lanes a, Lanes b) { return {hn::Mul(a.v, b.v)}; }
  friend Lanes fusedMultiplyAdd(Lanes a, Lanes b, Lanes c) { return {hn::MulAdd(a.v, b.v, c.v)}; }
};

template <class Sampler, bool OneVector>
void blendAll(const WindowTable& table, int channels, const float* source, float* line) {
  const Floats floats;
  const Ints ints;
  const std::size_t lanes = hn::Lanes(floats);
  const auto lanesAsInt = static_cast<int>(lanes);
  const int* base = table.base;
  for (std::size_t e = 0; e < table.stride; e += lanes, ++base) {
    const float* window = source + *base;
    const auto pick = hn::LoadU(ints, table.pick + e);
    const auto inSecond = hn::RebindMask(floats, hn::Gt(pick, hn::Set(ints, lanesAsInt - 1)));
    const auto lane = hn::IndicesFromVec(floats, hn::And(pick, hn::Set(ints, lanesAsInt - 1)));
    Lanes taps[Sampler::kTaps];
    for (int k = 0; k < Sampler::kTaps; ++k) {
      const float* from = window + k * channels;
      taps[k].v = hn::TableLookupLanes(hn::LoadU(floats, from), lane);
      if (!OneVector) {
        const auto second = hn::TableLookupLanes(hn::LoadU(floats, from + lanes), lane);
        taps[k].v = hn::IfThenElse(inSecond, second, taps[k].v);
      }
    }
    Lanes weights[Sampler::kWeights];
    for (int k = 0; k < Sampler::kWeights; ++k) {
      weights[k].v =
          hn::LoadU(floats, table.weights + static_cast<std::size_t>(k) * table.stride + e);
    }
    hn::StoreU(Sampler::blend(taps, weights).v, floats, line + e);
  }
}

}  // namespace

std::size_t windowLanes() {
  return hn::Lanes(Floats());
}

template <class Sampler>
void blendWindows(const WindowTable& table, int channels, const float* source, float* line) {
  if (table.oneVector) {
    blendAll<Sampler, true>(table, channels, source, line);
  } else {
    blendAll<Sampler, false>(table, channels, source, line);
  }
}

#else

std::size_t windowLanes() {
  return 0;
}

template <class Sampler>
void blendWindows(const WindowTable&, int, const float*, float*) {}

#endif

template void blendWindows<Bilinear>(const WindowTable&, int, const float*, float*);
template void blendWindows<Cubic>(const WindowTable&, int, const float*, float*);

}  // namespace mirl::engine::resample
