#include "cu/ArithmeticLogical/arithmetic.h"
#include "engine/tables.h"

namespace mirl::arithmeticLogical {
namespace {

/// Input, output.
using Served =
    Combinations<Combination<std::uint8_t, std::uint8_t>, Combination<std::uint16_t, std::uint16_t>,
                 Combination<float, float>, Combination<std::uint8_t, std::uint16_t>,
                 Combination<std::uint8_t, float>, Combination<std::uint16_t, float>>;

/// number op element. The number stands first in all of them: add and multiply don't mind, and
/// there is no image minus number and no image over number.
template <class T, class U, Op op>
struct kernel_arithmetic_constant_dt {
  float number;

  MIRL_HD U operator()(T element) const {
    return engine::fromFloat<U>(compute<op>(number, engine::toFloat(element)));
  }
};

template <class T, class U, Op op>
struct kernel_arithmetic_scalar_dt {
  static constexpr engine::Asks asks{.channels = true};
  engine::PerChannel<float, 3> channels;

  MIRL_HD U operator()(float number, T element) const {
    return kernel_arithmetic_constant_dt<T, U, op>{number}(element);
  }
};

using Numbers = engine::PerChannel<float, 3>;

/// A constant serves any channels as if they were one.
Numbers numbersOf(double constant) {
  const auto number = static_cast<float>(constant);
  return {{number, number, number}};
}
Numbers numbersOf(const MirlScalar& scalar) {
  return {{static_cast<float>(scalar[0]), static_cast<float>(scalar[1]),
           static_cast<float>(scalar[2])}};
}

/// `Operand` is a constant or a scalar.
template <Op op, class Operand>
MirlStatus run(const Operand& operand, const MirlImage& in, MirlImage& out,
               const MirlStream& stream) {
  if (!core::isLive(in)) return MIRL_IMAGE_NOT_INITIALIZED;
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&in}, {&out}, core::like(in), queue, {core::kSize, core::kChannels});
  if (ready != MIRL_SUCCESS) return ready;

  const bool served = engine::visitElements<1, 3>(
      Served{}, engine::typesOf(in, out), [&]<class T, class U>(Combination<T, U>) {
        const Numbers numbers = numbersOf(operand);
        const auto to = engine::elementsOf<U>(out);
        const auto from = engine::elementsOf<const T>(in);
        if (std::is_same_v<Operand, double> || in.channels() == 1) {
          engine::mapFunction<engine::Cost::few>(
              queue, kernel_arithmetic_constant_dt<T, U, op>{numbers.of[0]}, to, from);
        } else {
          engine::map(queue, kernel_arithmetic_scalar_dt<T, U, op>{numbers}, to, from);
        }
      });
  return mismatchUnless(served);
}

}  // namespace

MirlStatus add(const MirlImage& in, double c, MirlImage& out, const MirlStream& stream) {
  return run<Op::add>(c, in, out, stream);
}
MirlStatus add(const MirlImage& in, const MirlScalar& s, MirlImage& out, const MirlStream& stream) {
  return run<Op::add>(s, in, out, stream);
}

MirlStatus subtract(double c, const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return run<Op::subtract>(c, in, out, stream);
}
MirlStatus subtract(const MirlScalar& s, const MirlImage& in, MirlImage& out,
                    const MirlStream& stream) {
  return run<Op::subtract>(s, in, out, stream);
}

MirlStatus multiply(const MirlImage& in, double c, MirlImage& out, const MirlStream& stream) {
  return run<Op::multiply>(c, in, out, stream);
}
MirlStatus multiply(const MirlImage& in, const MirlScalar& s, MirlImage& out,
                    const MirlStream& stream) {
  return run<Op::multiply>(s, in, out, stream);
}

MirlStatus divide(double c, const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return run<Op::divide>(c, in, out, stream);
}
MirlStatus divide(const MirlScalar& s, const MirlImage& in, MirlImage& out,
                  const MirlStream& stream) {
  return run<Op::divide>(s, in, out, stream);
}

}  // namespace mirl::arithmeticLogical
