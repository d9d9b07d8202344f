#include "cu/ArithmeticLogical/arithmetic.h"

#include <algorithm>

namespace mirl::arithmeticLogical {
namespace {

/// First input, second input, output.
using Served = Combinations<
    Combination<std::uint8_t, std::uint8_t, std::uint8_t>,
    Combination<std::uint16_t, std::uint16_t, std::uint16_t>, Combination<float, float, float>,
    Combination<std::uint8_t, std::uint8_t, std::uint16_t>,
    Combination<std::uint8_t, std::uint8_t, float>,
    Combination<std::uint16_t, std::uint16_t, float>,
    Combination<std::uint8_t, std::uint16_t, std::uint16_t>,
    Combination<std::uint16_t, std::uint8_t, std::uint16_t>,
    Combination<std::uint8_t, std::uint16_t, float>,
    Combination<std::uint16_t, std::uint8_t, float>, Combination<std::uint8_t, float, float>,
    Combination<float, std::uint8_t, float>, Combination<std::uint16_t, float, float>,
    Combination<float, std::uint16_t, float>>;

/// a op b on single elements.
template <class T, class U, class V, Op op>
struct kernel_arithmetic_dt {
  MIRL_HD V operator()(T a, U b) const {
    if constexpr (op == Op::divide || std::is_same_v<V, float>) {
      return engine::fromFloat<V>(compute<op>(engine::toFloat(a), engine::toFloat(b)));
    } else {
      return computeSaturated(a, b);
    }
  }

  /// The same on integers without leaving the output's type, so that vectors hold as many elements
  /// as they can. Results within the type's range are exact in float as well, and the others are
  /// clamped either way.
  MIRL_HD static V computeSaturated(V a, V b) {
    constexpr V kLimit = engine::kGreatest<V>;
    const V larger = a > b ? a : b;
    const V smaller = a > b ? b : a;
    if constexpr (op == Op::add) {
      const V room = static_cast<V>(kLimit - b);
      return static_cast<V>((a < room ? a : room) + b);
    }
    if constexpr (op == Op::subtract) return static_cast<V>(larger - b);
    if constexpr (op == Op::absDiff) return static_cast<V>(larger - smaller);
    if constexpr (op == Op::multiply) {
      const unsigned product = static_cast<unsigned>(a) * b;
      return static_cast<V>(product < kLimit ? product : kLimit);
    }
  }
};

template <Op op>
MirlStatus run(const MirlImage& a, const MirlImage& b, MirlImage& out, const MirlStream& stream) {
  if (!core::isLive(a) || !core::isLive(b)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (!core::sameSize(a, b) || a.channels() != b.channels()) return MIRL_MISMATCH;
  runtime::Queue queue;
  const core::Format deeper = core::like(a, {.depth = std::max(a.depth(), b.depth())});
  const MirlStatus ready =
      core::prepare(stream, {&a, &b}, {&out}, deeper, queue, {core::kSize, core::kChannels});
  if (ready != MIRL_SUCCESS) return ready;

  const bool served = engine::visitElements<1, 3>(
      Served{}, engine::typesOf(a, b, out), [&]<class T, class U, class V>(Combination<T, U, V>) {
        engine::map(queue, kernel_arithmetic_dt<T, U, V, op>{}, engine::elementsOf<V>(out),
                    engine::elementsOf<const T>(a), engine::elementsOf<const U>(b));
      });
  return mismatchUnless(served);
}

}  // namespace

MirlStatus add(const MirlImage& a, const MirlImage& b, MirlImage& out, const MirlStream& stream) {
  return run<Op::add>(a, b, out, stream);
}

MirlStatus subtract(const MirlImage& a, const MirlImage& b, MirlImage& out,
                    const MirlStream& stream) {
  return run<Op::subtract>(a, b, out, stream);
}

MirlStatus multiply(const MirlImage& a, const MirlImage& b, MirlImage& out,
                    const MirlStream& stream) {
  return run<Op::multiply>(a, b, out, stream);
}

MirlStatus divide(const MirlImage& a, const MirlImage& b, MirlImage& out,
                  const MirlStream& stream) {
  return run<Op::divide>(a, b, out, stream);
}

MirlStatus absDiff(const MirlImage& a, const MirlImage& b, MirlImage& out,
                   const MirlStream& stream) {
  return run<Op::absDiff>(a, b, out, stream);
}

}  // namespace mirl::arithmeticLogical
