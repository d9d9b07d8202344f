// Arithmetic and logic, and the operators that stand for them.

#include "rows.h"

namespace mirl::fuzz {

namespace {

constexpr MirlStatus ok = MIRL_SUCCESS;

const Types kIntegers = {MIRL_8U_C1,  MIRL_8U_C3,  MIRL_8S_C1,  MIRL_8S_C3,
                         MIRL_16U_C1, MIRL_16U_C3, MIRL_16S_C1, MIRL_16S_C3};
const Types kFloats = {MIRL_32F_C1, MIRL_32F_C3};

/// Operators of images with an image, a scalar or a number.
template <class X>
void addOperators(Rows& rows, const std::string& with) {
  const auto name = [&](const char* symbol) { return "operator" + (symbol + (" " + with)); };
  const auto member = [&](const char* symbol) { return "MirlImage::" + name(symbol); };
  const Traits inPlace{.live = true};
  rows.push_back(makes(
      name("+"), +[](In a, X x) { return a + x; }));
  rows.push_back(makes(
      name("-"), +[](In a, X x) { return a - x; }));
  rows.push_back(makes(
      name("*"), +[](In a, X x) { return a * x; }));
  rows.push_back(makes(
      name("/"), +[](In a, X x) { return a / x; }));
  rows.push_back(row(
      member("+="), +[](Out a, X x) { return a += x, ok; }, inPlace));
  rows.push_back(row(
      member("-="), +[](Out a, X x) { return a -= x, ok; }, inPlace));
  rows.push_back(row(
      member("*="), +[](Out a, X x) { return a *= x, ok; }, inPlace));
  rows.push_back(row(
      member("/="), +[](Out a, X x) { return a /= x, ok; }, inPlace));
  if constexpr (!std::is_same_v<X, In>) {
    rows.push_back(makes(
        name("+") + " in front", +[](X x, In a) { return x + a; }));
    rows.push_back(makes(
        name("-") + " in front", +[](X x, In a) { return x - a; }));
    rows.push_back(makes(
        name("*") + " in front", +[](X x, In a) { return x * a; }));
    rows.push_back(makes(
        name("/") + " in front", +[](X x, In a) { return x / a; }));
  }
}

template <class X>
void addBitOperators(Rows& rows, const std::string& with) {
  const auto name = [&](const char* symbol) { return "operator" + (symbol + (" " + with)); };
  const auto member = [&](const char* symbol) { return "MirlImage::" + name(symbol); };
  const Traits bits{.in = kIntegers}, inPlace{.in = kIntegers, .live = true};
  rows.push_back(makes(
      name("&"), +[](In a, X x) { return a & x; }, bits));
  rows.push_back(makes(
      name("|"), +[](In a, X x) { return a | x; }, bits));
  rows.push_back(makes(
      name("^"), +[](In a, X x) { return a ^ x; }, bits));
  rows.push_back(row(
      member("&="), +[](Out a, X x) { return a &= x, ok; }, inPlace));
  rows.push_back(row(
      member("|="), +[](Out a, X x) { return a |= x, ok; }, inPlace));
  rows.push_back(row(
      member("^="), +[](Out a, X x) { return a ^= x, ok; }, inPlace));
  if constexpr (std::is_same_v<X, int>) {
    rows.push_back(makes(
        name("&") + " in front", +[](X x, In a) { return x & a; }, bits));
    rows.push_back(makes(
        name("|") + " in front", +[](X x, In a) { return x | a; }, bits));
    rows.push_back(makes(
        name("^") + " in front", +[](X x, In a) { return x ^ a; }, bits));
    rows.push_back(makes(
        name("<<"), +[](In a, X x) { return a << x; }, bits));
    rows.push_back(makes(
        name(">>"), +[](In a, X x) { return a >> x; }, bits));
    rows.push_back(row(
        member("<<="), +[](Out a, X x) { return a <<= x, ok; }, inPlace));
    rows.push_back(row(
        member(">>="), +[](Out a, X x) { return a >>= x, ok; }, inPlace));
  }
}

}  // namespace

Rows rowsOfArithmetic() {
  using namespace arithmeticLogical;
  const Traits toFloat{.depth = 32}, floats{.in = kFloats}, bits{.in = kIntegers};
  Rows rows = {
      row("add", of<In, In, Out>(add)),
      row("subtract", of<In, In, Out>(subtract)),
      row("multiply", of<In, In, Out>(multiply)),
      row("divide", of<In, In, Out>(divide)),
      row("absDiff", absDiff),
      row("add number", of<In, double, Out>(add)),
      row("add scalar", of<In, Scalar, Out>(add)),
      row("subtract number", of<double, In, Out>(subtract)),
      row("subtract scalar", of<Scalar, In, Out>(subtract)),
      row("multiply number", of<In, double, Out>(multiply)),
      row("multiply scalar", of<In, Scalar, Out>(multiply)),
      row("divide number", of<double, In, Out>(divide)),
      row("divide scalar", of<Scalar, In, Out>(divide)),
      row("pow", of<In, double, Out>(arithmeticLogical::pow), toFloat),
      row("exp", of<In, Out>(arithmeticLogical::exp), toFloat),
      row("sqrt", of<In, Out>(arithmeticLogical::sqrt), toFloat),
      row("cbrt", of<In, Out>(arithmeticLogical::cbrt), toFloat),
      row("abs", of<In, Out>(arithmeticLogical::abs)),
      row("floor", of<In, Out>(arithmeticLogical::floor), floats),
      row("ceil", of<In, Out>(arithmeticLogical::ceil), floats),
      row("round", of<In, Out>(arithmeticLogical::round), floats),
      row("AND", of<In, In, Out>(AND), bits),
      row("OR", of<In, In, Out>(OR), bits),
      row("XOR", of<In, In, Out>(XOR), bits),
      row("AND number", of<In, int, Out>(AND), bits),
      row("OR number", of<In, int, Out>(OR), bits),
      row("XOR number", of<In, int, Out>(XOR), bits),
      row("SHL", SHL, bits),
      row("SHR", SHR, bits),
      row("NOT", NOT, bits),
      makes(
          "operator~", +[](In a) { return ~a; }, bits),
      makes(
          "MirlImage::operator-", +[](In a) { return -a; }),
      row("MirlImage::operator++", +[](Out a) { return ++a, ok; }, {.live = true}),
      row("MirlImage::operator--", +[](Out a) { return --a, ok; }, {.live = true}),
      makes("MirlImage::operator++ behind", +[](Out a) { return a++; }, {.live = true}),
      makes("MirlImage::operator-- behind", +[](Out a) { return a--; }, {.live = true}),
  };
  addOperators<In>(rows, "image");
  addOperators<Scalar>(rows, "scalar");
  addOperators<int>(rows, "int");
  addOperators<double>(rows, "double");
  addBitOperators<In>(rows, "image");
  addBitOperators<int>(rows, "int");
  return rows;
}

}  // namespace mirl::fuzz
