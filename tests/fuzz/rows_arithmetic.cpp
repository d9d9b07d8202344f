// Arithmetic and logic, and the operators that stand for them.

#include "rows.h"

namespace mirl::fuzz {

namespace {

constexpr MirlStatus ok = MIRL_SUCCESS;

const Types kIntegers = {MIRL_8U_C1,  MIRL_8U_C3,  MIRL_8S_C1,  MIRL_8S_C3,
                         MIRL_16U_C1, MIRL_16U_C3, MIRL_16S_C1, MIRL_16S_C3};
const Types kFloats = {MIRL_32F_C1, MIRL_32F_C3};

/// Matrices that fit together, but for one side in a while.
MirlStatus product(Draw& draw, int kind) {
  const int rows = 1 + draw.upTo(30), depth = 1 + draw.upTo(40), columns = 1 + draw.upTo(30);
  const auto matrix = [&](int height, int width, bool written) -> MirlImage& {
    const MirlType type = draw.chance(20) ? draw.type() : MIRL_32F_C1;
    const test::Format format = type == MIRL_32F_C1 ? test::Format{type, 32, 1} : draw.anyFormat();
    const auto about = [&](int side) { return draw.chance(20) ? side + 1 : side; };
    // What has no columns isn't created and stays empty.
    const MirlSize size(about(width), about(height));
    const bool isEmpty = draw.chance(written ? 3 : 20);
    return draw.image(format, isEmpty ? MirlSize() : size, 0, written);
  };
  MirlImage& a = matrix(rows, depth, draw.chance(20));
  const int side = kind == 1 ? depth : rows;
  MirlImage& b = kind == 0 ? matrix(depth, columns, false) : a;
  MirlImage& out = draw.chance(20) ? a : matrix(side, kind == 0 ? columns : side, true);
  draw.tell(" %d by %d by %d", rows, depth, columns);
  const MirlStream& stream = draw.stream();
  return draw.call([&] {
    return kind == 0 ? arithmeticLogical::matMul(a, b, out, stream)
                     : arithmeticLogical::matMulTrans(a, out, kind == 1, stream);
  });
}

/// An operator behind an image, in front of it where there is one, and the one that assigns.
template <class X, class Op, class Change>
void addOperator(Rows& rows, const std::string& name, const Types& in, Op, Change) {
  const auto symbol = name.substr(0, name.find(' ')), with = name.substr(name.find(' '));
  const Traits traits{.in = in}, inPlace{.in = in, .live = true};
  const auto behind = +[](In a, X x) { return MirlImage(Op{}(a, x)); };
  const auto changes = +[](Out a, X x) { return Change{}(a, x), ok; };
  rows.push_back(makes("operator" + name, behind, traits));
  rows.push_back(row("MirlImage::operator" + symbol + "=" + with, changes, inPlace));
  if constexpr (!std::is_same_v<X, In> && std::is_invocable_v<Op, X, In>) {
    const auto inFront = +[](X x, In a) { return MirlImage(Op{}(x, a)); };
    rows.push_back(makes("operator" + name + " in front", inFront, traits));
  }
}

template <class X>
void addOperators(Rows& rows, const std::string& with) {
  const auto add = [&](const std::string& symbol, auto op, auto change) {
    addOperator<X>(rows, symbol + " " + with, kServed, op, change);
  };
  add("+", std::plus<>(), [](Out a, X x) { a += x; });
  add("-", std::minus<>(), [](Out a, X x) { a -= x; });
  add("*", std::multiplies<>(), [](Out a, X x) { a *= x; });
  add("/", std::divides<>(), [](Out a, X x) { a /= x; });
}

template <class X>
void addBitOperators(Rows& rows, const std::string& with) {
  const auto add = [&](const std::string& symbol, auto op, auto change) {
    addOperator<X>(rows, symbol + " " + with, kIntegers, op, change);
  };
  add("&", std::bit_and<>(), [](Out a, X x) { a &= x; });
  add("|", std::bit_or<>(), [](Out a, X x) { a |= x; });
  add("^", std::bit_xor<>(), [](Out a, X x) { a ^= x; });
  if constexpr (std::is_same_v<X, int>) {
    const auto left = [](In a, int n) { return a << n; };
    const auto right = [](In a, int n) { return a >> n; };
    add("<<", left, [](Out a, int n) { a <<= n; });
    add(">>", right, [](Out a, int n) { a >>= n; });
  }
}

}  // namespace

Rows rowsOfArithmetic() {
  using namespace arithmeticLogical;
  const Traits toFloat{.depth = 32}, floats{.in = kFloats}, bits{.in = kIntegers};
  const Traits shapes{.also = statuses(MIRL_MATRIX_SIZE_MISMATCH)};
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
      {"matMul", [](Draw& draw) { return product(draw, 0); }, shapes},
      {"matMulTrans", [](Draw& draw) { return product(draw, 1 + draw.upTo(2)); }, shapes},
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
