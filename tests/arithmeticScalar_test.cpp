// Images with constants and scalars: add, subtract, multiply, divide.

#include <cmath>

#include "pointwise_support.h"

namespace mirl::test {
namespace {

using namespace arithmeticLogical;

MIRL_DEVICE_TESTS(ArithmeticScalar);

template <class Number>
using Operation = MirlStatus (*)(const MirlImage&, Number, MirlImage&, const MirlStream&);

/// An operation that takes the number first.
template <class Number, MirlStatus (*run)(Number, const MirlImage&, MirlImage&, const MirlStream&)>
MirlStatus turned(const MirlImage& in, Number number, MirlImage& out, const MirlStream& stream) {
  return run(number, in, out, stream);
}

/// Double is wide enough that rounding its result to float gives what single precision gives.
struct Op {
  const char* name;
  Operation<double> constant;
  Operation<const MirlScalar&> scalar;
  double (*formula)(double element, double number);
};
constexpr Op kOps[] = {
    {"add", add, add, [](double x, double c) { return x + c; }},
    {"subtract", turned<double, subtract>, turned<const MirlScalar&, subtract>,
     [](double x, double c) { return c - x; }},
    {"multiply", multiply, multiply, [](double x, double c) { return x * c; }},
    {"divide", turned<double, divide>, turned<const MirlScalar&, divide>,
     [](double x, double c) { return c / x; }},
};

/// A formula for the pixel whose channels meet these numbers.
template <class D, class S>
auto pixelFormula(const Op& op, int channels, const std::array<double, 3>& numbers) {
  return [=](const S* in, D* out) {
    for (int c = 0; c < channels; ++c) {
      const double number = static_cast<float>(numbers[static_cast<std::size_t>(c)]);
      out[c] = stored<D>(static_cast<float>(op.formula(in[c], number)));
    }
  };
}

auto applying(const Op& op, double constant) {
  return [=](const MirlImage& in, MirlImage& out) {
    return op.constant(in, constant, out, MirlStream());
  };
}
auto applying(const Op& op, const std::array<double, 3>& s) {
  return [=](const MirlImage& in, MirlImage& out) {
    return op.scalar(in, MirlScalar(s[0], s[1], s[2]), out, MirlStream());
  };
}

TEST_P(ArithmeticScalar, LiteralExamples) {
  const Pixels<Byte> bytes(1, {30, 3, 255, 0});
  const Op &plus = kOps[0], &minus = kOps[1], &times = kOps[2], &over = kOps[3];
  expectInto(applying(plus, 1e10), bytes, Pixels<Byte>(1, {255, 255, 255, 255}));
  expectInto(applying(plus, 1e10), bytes, Pixels<Word>(1, {65535, 65535, 65535, 65535}));
  expectInto(applying(plus, -3.5), bytes, Pixels<Byte>(1, {26, 0, 251, 0}));
  expectInto(applying(minus, 10.0), bytes, Pixels<Byte>(1, {0, 7, 0, 10}));
  expectInto(applying(minus, 10.0), bytes, Pixels<float>(1, {-20, 7, -245, 10}));
  expectInto(applying(times, 0.5), bytes, Pixels<Byte>(1, {15, 1, 127, 0}));
  expectInto(applying(over, 1.0), bytes, Pixels<Byte>(1, {0, 0, 0, 255}));
  expectInto(applying(over, 90.0), bytes, Pixels<Word>(1, {3, 30, 0, 65535}));
  expectInto(applying(over, 1.0), Pixels<float>(1, {0, -0.0f, 4}),
             Pixels<float>(1, {INFINITY, -INFINITY, 0.25f}));
  expectInto(applying(plus, {1, 2, 3}), Pixels<Byte>(3, {10, 10, 10, 0, 254, 255}),
             Pixels<Byte>(3, {11, 12, 13, 1, 255, 255}));
  expectInto(applying(plus, {1, 2, 3}), bytes, Pixels<Byte>(1, {31, 4, 255, 1}));
}

TEST_P(ArithmeticScalar, AwkwardNumbers) {
  const double numbers[] = {0,    -0.0, 1,   -1,    0.5,   0.99999999, 3,        255,     -254.99,
                            1e10, 7e-9, NAN, 65535, 1e300, -1e300,     INFINITY, 1.0 / 3, -65535.5};
  forEachFormat([&]<class S>(S, int channels) {
    Pixels<S> in(channels, {});
    for (const S value : awkwardValues<S>()) {
      in.values.insert(in.values.end(), static_cast<std::size_t>(channels), value);
    }
    in.width = static_cast<int>(in.values.size()) / channels;
    forEachElement([&]<class D>(D) {
      if constexpr (sizeof(D) >= sizeof(S)) {
        for (const Op& op : kOps) {
          for (std::size_t i = 0; i + 2 < std::size(numbers); ++i) {
            const double n = numbers[i];
            SCOPED_TRACE(testing::Message() << op.name << " " << n);
            const std::array one = {n, n, n}, three = {n, numbers[i + 1], numbers[i + 2]};
            const auto want = [&](const auto& by) {
              return mapped<D>(in, channels, pixelFormula<D, S>(op, channels, by));
            };
            expectInto(applying(op, n), in, want(one));
            expectInto(applying(op, three), in, want(three));
          }
        }
      }
    });
  });
}

}  // namespace
}  // namespace mirl::test
