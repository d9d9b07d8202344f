#pragma once

// Several numbers at once, in explicit vectors, with the operators of one: what is written for any
// number type N computes one item with `float`, and many with `host::Lanes`. Each lane has the bits
// that it would have alone.

#include "engine/device_code.h"
#include "engine/numbers/conversions.h"

#include <cstddef>
#include <cstdint>

// GPUs have no such vectors, and their pass needn't see any.
#if defined(__CUDA_ARCH__)
#define MIRL_SEES_LANES 0
#else
#define MIRL_SEES_LANES MIRL_WITH_HIGHWAY
#endif

#if MIRL_SEES_LANES
#include <hwy/highway.h>
#endif

#if MIRL_SEES_LANES && !HWY_HAVE_SCALABLE && HWY_TARGET != HWY_SCALAR && \
    (defined(__FMA__) || defined(__aarch64__))
#define MIRL_HAS_LANES 1
#else
#define MIRL_HAS_LANES 0
#endif

namespace mirl::engine {

// The same for one number.

MIRL_HD inline bool any(bool a) {
  return a;
}
MIRL_HD inline float select(bool which, float a, float b) {
  return which ? a : b;
}
MIRL_HD inline float magnitude(float a) {
  return a < 0.0f ? -a : a;
}
MIRL_HD inline bool except(bool a, bool b) {
  return a && !b;
}
MIRL_HD inline float load(float*, const float* from) {
  return *from;
}
template <class Make>
MIRL_HD float fill(float*, const Make& make) {
  return make(0);
}
MIRL_HD inline void store(float value, float* to) {
  *to = value;
}
/// How many numbers there are in one.
template <class N>
inline constexpr int kLanesOf = 1;

#if MIRL_HAS_LANES

namespace host {

namespace hn = hwy::HWY_NAMESPACE;

inline constexpr hn::ScalableTag<float> kFloats;
using FloatVector = hn::Vec<decltype(kFloats)>;
inline constexpr int kVectorLanes = HWY_MAX_BYTES / sizeof(float);

/// Which of the lanes of several vectors.
template <int V>
struct Choice {
  hn::Mask<decltype(kFloats)> of[V];

  friend Choice operator|(const Choice& a, const Choice& b) {
    Choice c;
    for (int i = 0; i < V; ++i) c.of[i] = hn::Or(a.of[i], b.of[i]);
    return c;
  }
  friend Choice operator&(const Choice& a, const Choice& b) {
    Choice c;
    for (int i = 0; i < V; ++i) c.of[i] = hn::And(a.of[i], b.of[i]);
    return c;
  }
  /// Those of `a` that aren't in `b`.
  friend Choice except(const Choice& a, const Choice& b) {
    Choice c;
    for (int i = 0; i < V; ++i) c.of[i] = hn::AndNot(b.of[i], a.of[i]);
    return c;
  }
  friend bool any(const Choice& a) {
    for (int i = 0; i < V; ++i) {
      if (!hn::AllFalse(kFloats, a.of[i])) return true;
    }
    return false;
  }
};

/// V vectors: chains of dependent operations that go on beside each other.
template <int V>
struct Lanes {
  static constexpr int kCount = V * kVectorLanes;

  FloatVector of[V];

  Lanes() = default;
  Lanes(float value) {
    for (auto& vector : of) vector = hn::Set(kFloats, value);
  }

  template <class F>
  static Lanes each(const F& f) {
    Lanes made;
    for (int i = 0; i < V; ++i) made.of[i] = f(i);
    return made;
  }
  friend Lanes operator+(const Lanes& a, const Lanes& b) {
    return each([&](int i) { return hn::Add(a.of[i], b.of[i]); });
  }
  friend Lanes operator-(const Lanes& a, const Lanes& b) {
    return each([&](int i) { return hn::Sub(a.of[i], b.of[i]); });
  }
  friend Lanes operator*(const Lanes& a, const Lanes& b) {
    return each([&](int i) { return hn::Mul(a.of[i], b.of[i]); });
  }
  friend Lanes operator/(const Lanes& a, const Lanes& b) {
    return each([&](int i) { return hn::Div(a.of[i], b.of[i]); });
  }
  friend Lanes operator-(const Lanes& a) {
    return each([&](int i) { return hn::Neg(a.of[i]); });
  }
  friend Lanes fusedMultiplyAdd(const Lanes& a, const Lanes& b, const Lanes& c) {
    return each([&](int i) { return hn::MulAdd(a.of[i], b.of[i], c.of[i]); });
  }
  /// As that of one number, see engine/numbers/conversions.h.
  friend Lanes dividedBy(const Lanes& value, const Lanes& divisor, const Lanes& reciprocal) {
    return each([&](int i) {
      const FloatVector quotient = hn::Mul(value.of[i], reciprocal.of[i]);
      const FloatVector residue = hn::NegMulAdd(quotient, divisor.of[i], value.of[i]);
      return hn::MulAdd(residue, reciprocal.of[i], quotient);
    });
  }
  friend Choice<V> operator<(const Lanes& a, const Lanes& b) {
    Choice<V> c;
    for (int i = 0; i < V; ++i) c.of[i] = hn::Lt(a.of[i], b.of[i]);
    return c;
  }
  friend Choice<V> operator!=(const Lanes& a, const Lanes& b) {
    Choice<V> c;
    for (int i = 0; i < V; ++i) c.of[i] = hn::Ne(a.of[i], b.of[i]);
    return c;
  }
  friend Lanes select(const Choice<V>& which, const Lanes& a, const Lanes& b) {
    return each([&](int i) { return hn::IfThenElse(which.of[i], a.of[i], b.of[i]); });
  }
  friend Lanes magnitude(const Lanes& a) {
    return each([&](int i) { return hn::Abs(a.of[i]); });
  }
  friend Lanes floor(const Lanes& a) {
    return each([&](int i) { return hn::Floor(a.of[i]); });
  }
  friend Lanes load(Lanes*, const float* from) {
    return each([&](int i) { return hn::LoadU(kFloats, from + i * kVectorLanes); });
  }
  /// Byte `b` of each word.
  friend Lanes byteOf(Lanes*, const std::uint64_t* words, int b) {
    constexpr hn::RebindToUnsigned<decltype(kFloats)> kHalves;
    constexpr hn::RebindToSigned<decltype(kFloats)> kInts;
    return each([&](int i) {
      const auto* const from = reinterpret_cast<const std::uint32_t*>(words + i * kVectorLanes);
      const auto first = hn::LoadU(kHalves, from), second = hn::LoadU(kHalves, from + kVectorLanes);
      const auto half =
          b < 4 ? hn::ConcatEven(kHalves, second, first) : hn::ConcatOdd(kHalves, second, first);
      const auto byte = hn::And(hn::ShiftRightSame(half, 8 * (b % 4)), hn::Set(kHalves, 255));
      return hn::ConvertTo(kFloats, hn::BitCast(kInts, byte));
    });
  }
  friend Lanes load(Lanes*, const std::uint8_t* from) {
    constexpr hn::Rebind<std::uint8_t, decltype(kFloats)> kBytes;
    constexpr hn::RebindToSigned<decltype(kFloats)> kInts;
    return each([&](int i) {
      const auto bytes = hn::LoadU(kBytes, from + i * kVectorLanes);
      return hn::ConvertTo(kFloats, hn::PromoteTo(kInts, bytes));
    });
  }
  /// Of `make(0)`, `make(1)` and so on.
  template <class Make>
  friend Lanes fill(Lanes*, const Make& make) {
    alignas(64) float values[kCount];
    for (int i = 0; i < kCount; ++i) values[i] = make(i);
    return each([&](int i) { return hn::Load(kFloats, values + i * kVectorLanes); });
  }
  friend void store(const Lanes& value, float* to) {
    for (int i = 0; i < V; ++i) hn::StoreU(value.of[i], kFloats, to + i * kVectorLanes);
  }
};

}  // namespace host

template <int V>
inline constexpr int kLanesOf<host::Lanes<V>> = host::Lanes<V>::kCount;

#endif

}  // namespace mirl::engine
