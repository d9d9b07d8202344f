// Functions of one image: powers, roots, rounding, absolute values.

#include <bit>
#include <cmath>

#include "pointwise_support.h"

namespace mirl::test {
namespace {

using namespace arithmeticLogical;

MIRL_DEVICE_TESTS(Unary);

Function unary(MirlStatus (*run)(const MirlImage&, MirlImage&, const MirlStream&)) {
  return run;
}
Function power(double e) {
  return [=](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    return arithmeticLogical::pow(in, e, out, stream);
  };
}

template <class S>
Pixels<float> resultOf(const Function& run, const Pixels<S>& in) {
  MirlImage out;
  EXPECT_EQ(run(toImage(in), out, MirlStream()), MIRL_SUCCESS);
  return fromImage<float>(out);
}

/// Floats of every exponent and sign, denormal ones, infinities and NaNs among them.
Pixels<float> floatsOfEverySize() {
  Pixels<float> pixels(512, 512, 1);
  std::uint32_t bits = 0;
  for (float& value : pixels.values) value = std::bit_cast<float>(bits += 16411);
  const std::vector<float> awkward = awkwardValues<float>();
  std::copy(awkward.begin(), awkward.end(), pixels.values.begin());
  return pixels;
}

/// Floats around 1, where high powers don't overflow.
Pixels<float> floatsAround1() {
  Pixels<float> pixels(512, 64, 1);
  for (std::size_t i = 0; i < pixels.values.size(); ++i) {
    pixels.values[i] = static_cast<float>(std::exp2((static_cast<double>(i) - 16384) / 16384));
  }
  return pixels;
}

/// How far the float is from the number, in units in the last place; what isn't a finite float must
/// be met in all bits, NaN by a NaN.
double ulps(float value, double number) {
  const auto rounded = static_cast<float>(number);
  if (std::isnan(rounded)) return std::isnan(value) ? 0 : INFINITY;
  if (!std::isfinite(rounded) || rounded == 0 || !std::isfinite(value)) {
    return std::bit_cast<int>(rounded) == std::bit_cast<int>(value) ? 0 : INFINITY;
  }
  int exponent = 0;
  std::frexp(number, &exponent);
  return std::fabs(value - number) / std::ldexp(1.0, std::max(exponent, -125) - 24);
}

void expectWithin(double limit, const Function& run, const Pixels<float>& in,
                  const std::function<double(double)>& formula) {
  const Pixels<float> out = resultOf(run, in);
  for (std::size_t i = 0; i < in.values.size(); ++i) {
    const double want = formula(in.values[i]);
    ASSERT_LE(ulps(out.values[i], want), limit)
        << in.values[i] << " gives " << out.values[i] << ", expected " << want;
  }
}

TEST_P(Unary, ElementaryFunctions) {
  const Pixels<float> in = floatsOfEverySize();
  expectWithin(2, unary(arithmeticLogical::exp), in, [](double x) { return std::exp(x); });
  expectWithin(1, unary(arithmeticLogical::cbrt), in, [](double x) { return std::cbrt(x); });
  expectWithin(0.5, unary(arithmeticLogical::sqrt), in, [](double x) { return std::sqrt(x); });
  Pixels<float> small(400, 400, 1);  // where e^x is no more than a float can be, and no less
  for (std::size_t i = 0; i < small.values.size(); ++i) {
    small.values[i] = static_cast<float>(i) * 0.0012f - 105;
  }
  expectWithin(2, unary(arithmeticLogical::exp), small, [](double x) { return std::exp(x); });
}

TEST_P(Unary, Powers) {
  for (const double e :
       {0.0,        1.0,  2.0,        3.0,  7.0,   13.0,    -1.0,   -4.0,
        -15.0,      16.0, 0.5,        -0.5, -2.5,  1.0 / 3, 2.2,    100.3,
        -1001.0,    1e4,  16777215.0, 1e7,  1e-30, 1e38,    -1e300, double{INFINITY},
        double{NAN}}) {
    SCOPED_TRACE(e);
    const auto formula = [e](double x) { return std::pow(x, static_cast<float>(e)); };
    expectWithin(3, power(e), floatsOfEverySize(), formula);
    expectWithin(3, power(e), floatsAround1(), formula);
  }
}

TEST_P(Unary, LiteralExamples) {
  const auto inf = INFINITY;
  const auto check = [](const Function& run, const auto& in, std::vector<float> out) {
    const Pixels<float> want(1, std::move(out));
    expectInto([&](const auto& from, auto& to) { return run(from, to, MirlStream()); }, in, want);
  };
  const Pixels<Byte> bytes(1, {0, 1, 4, 64, 106, 255});
  check(power(0), bytes, {1, 1, 1, 1, 1, 1});
  check(power(0), Pixels<float>(1, {0, -inf, NAN, -3}), {1, 1, 1, 1});
  check(power(2), bytes, {0, 1, 16, 4096, 11236, 65025});
  check(power(-0.5), Pixels<Word>(1, {0, 1, 4, 16384}), {inf, 1, 0.5f, 0.0078125f});
  check(power(3), Pixels<float>(1, {-2, -0.0f, -inf, NAN}), {-8, -0.0f, -inf, NAN});
  check(power(0.5), Pixels<float>(1, {-2, -0.0f, -inf, 9}), {NAN, 0, inf, 3});
  check(unary(arithmeticLogical::sqrt), bytes, {0, 1, 2, 8, 10.295630f, 15.9687194f});
  check(unary(arithmeticLogical::cbrt), Pixels<float>(1, {-8, 27, -0.0f, -inf, 0.125f}),
        {-2, 3, -0.0f, -inf, 0.5f});
  check(unary(arithmeticLogical::exp), Pixels<Byte>(1, {0, 106, 255}), {1, inf, inf});
  check(unary(arithmeticLogical::exp), Pixels<float>(1, {-105.1f, 105.1f, -inf, inf, NAN, -0.0f}),
        {0, inf, 0, inf, NAN, 1});
  const Pixels<float> halves(1, {-0.5f, 0.5f, 1.5f, 2.5f, 3.5f, -2.5f, 2.6f, 8388609, -inf, NAN});
  check(unary(arithmeticLogical::floor), halves, {-1, 0, 1, 2, 3, -3, 2, 8388609, -inf, NAN});
  check(unary(arithmeticLogical::ceil), halves, {-0.0f, 1, 2, 3, 4, -2, 3, 8388609, -inf, NAN});
  check(unary(arithmeticLogical::round), halves, {-0.0f, 0, 2, 2, 4, -2, 3, 8388609, -inf, NAN});
  expectInto([](const auto& in, auto& out) { return arithmeticLogical::abs(in, out); }, bytes,
             bytes);
  check(unary(arithmeticLogical::abs), Pixels<float>(1, {-1.5f, -0.0f, -inf, 2}),
        {1.5f, 0, inf, 2});
}

// Bytes go through a table, words through the function: both must be what floats give.
TEST_P(Unary, IntegersGiveWhatFloatsGive) {
  for (const Function& run : {unary(arithmeticLogical::exp), unary(arithmeticLogical::sqrt),
                              unary(arithmeticLogical::cbrt), power(2.2), power(-1)}) {
    const auto check = [&]<class S>(S) {
      Pixels<S> in(256, sizeof(S) == 1 ? 1 : 256, 1);
      for (std::size_t i = 0; i < in.values.size(); ++i) in.values[i] = static_cast<S>(i);
      Pixels<float> floats(in.width, in.height, 1);
      floats.values.assign(in.values.begin(), in.values.end());
      EXPECT_TRUE(holds(toImage(resultOf(run, in)), resultOf(run, floats)));
    };
    check(Byte{});
    check(Word{});
  }
}

TEST_P(Unary, LargerOutputsKeepWhatIsOutside) {
  const Pixels<float> in(1, {4, 9, 16});
  for (const Function& run : {power(0.5), unary(arithmeticLogical::round)}) {
    MirlImage out(5, 2, MIRL_32F_C1);
    fillBlock(out);
    ASSERT_EQ(run(toImage(in), out, MirlStream()), MIRL_SUCCESS);
    EXPECT_TRUE(untouchedOutside(out, 3, 1));
    EXPECT_EQ(out.get(2, 0, 0), resultOf(run, in).values[2]);
  }
}

}  // namespace
}  // namespace mirl::test
