#include "cu/ArithmeticLogical/arithmetic.h"

namespace mirl::arithmeticLogical {
namespace {

enum class Logic { bitAnd, bitOr, bitXor };

template <class T, Logic op>
struct kernel_logical_b {
  MIRL_HD T operator()(T a, T b) const {
    if constexpr (op == Logic::bitAnd) return static_cast<T>(a & b);
    if constexpr (op == Logic::bitOr) return static_cast<T>(a | b);
    if constexpr (op == Logic::bitXor) return static_cast<T>(a ^ b);
  }
};

/// The constant's upper bits touch nothing that is stored.
template <class T, Logic op>
struct kernel_logical_constant {
  T constant;

  explicit kernel_logical_constant(int c) : constant(static_cast<T>(c)) {}
  MIRL_HD T operator()(T element) const { return kernel_logical_b<T, op>{}(element, constant); }
};

/// A shift by 32 or more isn't defined; two by up to 16 do the same as one by up to 32.
struct Count {
  int first;
  int second;

  explicit Count(int n) {
    const int all = n < 0 || n > 32 ? 32 : n;
    first = all / 2;
    second = all - first;
  }
};

template <class T>
struct kernel_shift_left {
  Count count;

  explicit kernel_shift_left(int n) : count(n) {}
  MIRL_HD T operator()(T element) const {
    const auto shifted =
        static_cast<int>(static_cast<unsigned>(element) << count.first << count.second);
    const int positive = shifted > 0 ? shifted : 0;
    return static_cast<T>(positive < engine::kGreatest<T> ? positive : engine::kGreatest<T>);
  }
};

template <class T>
struct kernel_shift_right {
  Count count;

  explicit kernel_shift_right(int n) : count(n) {}
  MIRL_HD T operator()(T element) const {
    return static_cast<T>(static_cast<unsigned>(element) >> count.first >> count.second);
  }
};

template <class T>
struct kernel_not {
  MIRL_HD T operator()(T element) const { return static_cast<T>(~element); }
};

/// Queues the kernel that `makeKernel` returns for an element of the first input's type.
template <class MakeKernel, class... In>
bool queued(const runtime::Queue& queue, MirlImage& out, const MakeKernel& makeKernel,
            const MirlImage& first, const In&... others) {
  return engine::visitElements<1, 3>(
      engine::Integers{}, engine::typesOf(first), [&]<class T>(Combination<T>) {
        engine::map(queue, makeKernel(T{}), engine::elementsOf<T>(out),
                    engine::elementsOf<const T>(first), engine::elementsOf<const T>(others)...);
      });
}

template <Logic op>
MirlStatus run(const MirlImage& a, const MirlImage& b, MirlImage& out, const MirlStream& stream) {
  if (!core::isLive(a) || !core::isLive(b)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (!core::sameSizeAndFormat(a, b)) return MIRL_MISMATCH;
  runtime::Queue queue;
  const core::Format format = core::like(a, {.depth = a.depth()});
  const MirlStatus ready = core::prepare(stream, {&a, &b}, {&out}, format, queue);
  if (ready != MIRL_SUCCESS) return ready;
  return mismatchUnless(queued(
      queue, out, []<class T>(T) { return kernel_logical_b<T, op>{}; }, a, b));
}

/// The kernel is made from the number.
template <template <class T> class Kernel>
MirlStatus run(const MirlImage& in, int number, MirlImage& out, const MirlStream& stream) {
  if (!core::isLive(in)) return MIRL_IMAGE_NOT_INITIALIZED;
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&in}, {&out}, core::like(in), queue);
  if (ready != MIRL_SUCCESS) return ready;
  const bool served = queued(
      queue, out, [&]<class T>(T) { return Kernel<T>(number); }, in);
  return served ? MIRL_SUCCESS : MIRL_TYPE_NOT_SUPPORTED;
}

template <class T>
using AndConstant = kernel_logical_constant<T, Logic::bitAnd>;
template <class T>
using OrConstant = kernel_logical_constant<T, Logic::bitOr>;
template <class T>
using XorConstant = kernel_logical_constant<T, Logic::bitXor>;

}  // namespace

MirlStatus AND(const MirlImage& a, const MirlImage& b, MirlImage& out, const MirlStream& stream) {
  return run<Logic::bitAnd>(a, b, out, stream);
}
MirlStatus OR(const MirlImage& a, const MirlImage& b, MirlImage& out, const MirlStream& stream) {
  return run<Logic::bitOr>(a, b, out, stream);
}
MirlStatus XOR(const MirlImage& a, const MirlImage& b, MirlImage& out, const MirlStream& stream) {
  return run<Logic::bitXor>(a, b, out, stream);
}

MirlStatus AND(const MirlImage& in, int c, MirlImage& out, const MirlStream& stream) {
  return run<AndConstant>(in, c, out, stream);
}
MirlStatus OR(const MirlImage& in, int c, MirlImage& out, const MirlStream& stream) {
  return run<OrConstant>(in, c, out, stream);
}
MirlStatus XOR(const MirlImage& in, int c, MirlImage& out, const MirlStream& stream) {
  return run<XorConstant>(in, c, out, stream);
}

MirlStatus SHL(const MirlImage& in, int n, MirlImage& out, const MirlStream& stream) {
  return run<kernel_shift_left>(in, n, out, stream);
}
MirlStatus SHR(const MirlImage& in, int n, MirlImage& out, const MirlStream& stream) {
  return run<kernel_shift_right>(in, n, out, stream);
}

MirlStatus NOT(const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  if (!core::isLive(in)) return MIRL_IMAGE_NOT_INITIALIZED;
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&in}, {&out}, core::like(in), queue, {core::kSize, core::kType});
  if (ready != MIRL_SUCCESS) return ready;
  return mismatchUnless(queued(
      queue, out, []<class T>(T) { return kernel_not<T>{}; }, in));
}

}  // namespace mirl::arithmeticLogical
