#include "cu/ArithmeticLogical/arithmetic.h"

#include "core/regions.h"
#include "engine/numbers/elementary.h"
#include "engine/tables.h"

namespace mirl::arithmeticLogical {
namespace {

struct Exp {
  MIRL_HD float operator()(float x) const { return engine::exponential(x); }
};
struct Sqrt {
  MIRL_HD float operator()(float x) const { return std::sqrt(x); }
};
struct Cbrt {
  MIRL_HD float operator()(float x) const { return engine::signedCubeRoot(x); }
};
struct Abs {
  MIRL_HD float operator()(float x) const { return std::fabs(x); }
};
struct Floor {
  MIRL_HD float operator()(float x) const { return engine::wholeBelow(x); }
};
struct Ceil {
  MIRL_HD float operator()(float x) const { return -engine::wholeBelow(-x); }
};
struct Round {
  MIRL_HD float operator()(float x) const { return std::nearbyint(x); }
};

/// f(element), computed in single precision, where f is a function of a float. Integers that stay
/// integers are absolute values already.
template <class T, class U, class Function>
struct kernel_arithmetic_siso {
  Function f;

  MIRL_HD U operator()(T element) const {
    if constexpr (std::is_same_v<U, float>) {
      return f(engine::toFloat(element));
    } else {
      static_assert(std::is_same_v<T, U> && std::is_same_v<Function, Abs>);
      return element;
    }
  }
};

using OnlyFloat = Combinations<Combination<float, float>>;
using ToFloat = engine::Pairs<engine::AllElements, engine::Elements<float>>;
using Same = engine::Alike<engine::AllElements>;

/// What a live output of the functions to float is told: it may be larger than the input.
MirlStatus fitsFloat(const MirlImage& in, const MirlImage& out) {
  if (!out.isInitialized()) return MIRL_SUCCESS;
  if (in.channels() != out.channels()) return MIRL_MISMATCH;
  if (out.type() != MIRL_32F_C1 && out.type() != MIRL_32F_C3) return MIRL_DEPTH_NOT_SUPPORTED;
  return mismatchUnless(out.width() >= in.width() && out.height() >= in.height());
}

MirlStatus fitsSame(const MirlImage& in, const MirlImage& out) {
  return core::compare(out, core::like(in), {core::kSize, core::kType});
}

/// An empty output is made with the given depth, or with the input's for 0.
template <class Served, class Function>
MirlStatus run(const Function& function, const MirlImage& in, MirlImage& out, int depth,
               MirlStatus (*fits)(const MirlImage& in, const MirlImage& out),
               const MirlStream& stream) {
  if (!core::isLive(in)) return MIRL_IMAGE_NOT_INITIALIZED;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, in, {&out}, queue);
  if (found != MIRL_SUCCESS) return found;
  const MirlStatus fitting = fits(in, out);
  if (fitting != MIRL_SUCCESS) return fitting;
  const MirlStatus created = core::create(*queue.device, out, core::like(in, {.depth = depth}));
  if (created != MIRL_SUCCESS) return created;

  const bool served = engine::visitElements<1, 3>(
      Served{}, engine::typesOf(in, out), [&]<class T, class U>(Combination<T, U>) {
        const auto from = engine::elementsOf<const T>(in);
        const auto to = engine::elementsOf<U>(core::Part(out)[core::allOf(in)]);
        const kernel_arithmetic_siso<T, U, Function> kernel{function};
        if constexpr (std::is_same_v<U, float>) {
          engine::mapFunction(queue, kernel, to, from);
        } else {
          engine::map(queue, kernel, to, from);
        }
      });
  return mismatchUnless(served);
}

}  // namespace

MirlStatus pow(const MirlImage& in, double e, MirlImage& out, const MirlStream& stream) {
  return engine::visitPower(static_cast<float>(e), [&](const auto& power) {
    return run<ToFloat>(power, in, out, 32, fitsFloat, stream);
  });
}

MirlStatus exp(const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return run<ToFloat>(Exp{}, in, out, 32, fitsFloat, stream);
}

MirlStatus sqrt(const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return run<ToFloat>(Sqrt{}, in, out, 32, fitsFloat, stream);
}

MirlStatus cbrt(const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return run<ToFloat>(Cbrt{}, in, out, 32, fitsFloat, stream);
}

MirlStatus abs(const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return run<Same>(Abs{}, in, out, 0, fitsSame, stream);
}

MirlStatus floor(const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return run<OnlyFloat>(Floor{}, in, out, 0, fitsFloat, stream);
}

MirlStatus ceil(const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return run<OnlyFloat>(Ceil{}, in, out, 0, fitsFloat, stream);
}

MirlStatus round(const MirlImage& in, MirlImage& out, const MirlStream& stream) {
  return run<OnlyFloat>(Round{}, in, out, 0, fitsFloat, stream);
}

}  // namespace mirl::arithmeticLogical
