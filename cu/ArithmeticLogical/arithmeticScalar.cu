#include "cu/ArithmeticLogical/arithmetic.h"
#include "engine/tables.h"

namespace mirl::arithmeticLogical {
namespace {

/// Input, output. All for 1 and for 3 channels.
using Served =
    Combinations<Combination<std::uint8_t, std::uint8_t>, Combination<std::uint16_t, std::uint16_t>,
                 Combination<float, float>, Combination<std::uint8_t, std::uint16_t>,
                 Combination<std::uint8_t, float>, Combination<std::uint16_t, float>>;

/// number op element. The number stands first in all of them: add and multiply don't mind, and
/// there is no image minus number and no image over number.
template <class T, class U, int N, Op op>
struct kernel_arithmetic_scalar_dt {
  engine::PerChannel<float, N> channels;

  MIRL_HD U operator()(float number, T element) const {
    return engine::fromFloat<U>(compute<op>(number, engine::toFloat(element)));
  }
};

/// A constant serves any channels as if they were one.
engine::PerChannel<float, 1> numbersOf(double constant) {
  return {{static_cast<float>(constant)}};
}
engine::PerChannel<float, 3> numbersOf(const MirlScalar& scalar) {
  return {{static_cast<float>(scalar[0]), static_cast<float>(scalar[1]),
           static_cast<float>(scalar[2])}};
}

template <Op op, int N>
MirlStatus run(const engine::PerChannel<float, N>& numbers, const MirlImage& in, MirlImage& out,
               const MirlStream& stream) {
  if (N > 1 && in.channels() == 1) {
    return run<op>(engine::PerChannel<float, 1>{{numbers.of[0]}}, in, out, stream);
  }
  if (!core::isLive(in)) return MIRL_IMAGE_NOT_INITIALIZED;
  runtime::Queue queue;
  const MirlStatus ready = prepare(in, {&out}, out, core::signedDepth(in), stream, queue,
                                   [&] { return mismatchUnless(sameShape(in, out)); });
  if (ready != MIRL_SUCCESS) return ready;

  const bool served = visitElements(
      Served{}, in.channels(), std::array{in.type(), out.type()},
      [&]<class T, class U>(Combination<T, U>) {
        const kernel_arithmetic_scalar_dt<T, U, N, op> kernel{numbers};
        const auto to = engine::elementsOf<U>(out);
        const auto from = engine::elementsOf<const T>(in);
        if constexpr (N == 1 && sizeof(T) == 1 && sizeof(U) == 1) {
          if (engine::looksUpFast(queue)) {
            const auto ofByte = [&](T byte) { return kernel(numbers.of[0], byte); };
            engine::map(queue, engine::kernel_lookup_bytes{engine::tabulate(ofByte)}, to, from);
            return;
          }
        }
        engine::map(queue, kernel, to, from);
      });
  return mismatchUnless(served);
}

}  // namespace

MirlStatus add(const MirlImage& in, double c, MirlImage& out, const MirlStream& stream) {
  return run<Op::add>(numbersOf(c), in, out, stream);
}
MirlStatus add(const MirlImage& in, const MirlScalar& s, MirlImage& out, const MirlStream& stream) {
  return run<Op::add>(numbersOf(s), in, out, stream);
}

MirlStatus subtract(double c, const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return run<Op::subtract>(numbersOf(c), in, out, stream);
}
MirlStatus subtract(const MirlScalar& s, const MirlImage& in, MirlImage& out,
                    const MirlStream& stream) {
  return run<Op::subtract>(numbersOf(s), in, out, stream);
}

MirlStatus multiply(const MirlImage& in, double c, MirlImage& out, const MirlStream& stream) {
  return run<Op::multiply>(numbersOf(c), in, out, stream);
}
MirlStatus multiply(const MirlImage& in, const MirlScalar& s, MirlImage& out,
                    const MirlStream& stream) {
  return run<Op::multiply>(numbersOf(s), in, out, stream);
}

MirlStatus divide(double c, const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return run<Op::divide>(numbersOf(c), in, out, stream);
}
MirlStatus divide(const MirlScalar& s, const MirlImage& in, MirlImage& out,
                  const MirlStream& stream) {
  return run<Op::divide>(numbersOf(s), in, out, stream);
}

}  // namespace mirl::arithmeticLogical
