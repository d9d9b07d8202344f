// matMul and matMulTrans: every chain to the bit, shapes and statuses.

#include <cmath>

#include "support.h"

namespace mirl::test {
namespace {

using arithmeticLogical::matMul;
using arithmeticLogical::matMulTrans;
using Matrix = Pixels<float>;

class Products : public DeviceTest {};

Matrix transposed(const Matrix& a) {
  Matrix out(a.height, a.width, 1);
  for (int y = 0; y < a.height; ++y) {
    for (int x = 0; x < a.width; ++x) out.at(y, x) = a.at(x, y);
  }
  return out;
}

Matrix product(const Matrix& a, const Matrix& b) {
  Matrix out(b.width, a.height, 1);
  for (int y = 0; y < out.height; ++y) {
    for (int x = 0; x < out.width; ++x) {
      float sum = 0;
      for (int k = 0; k < a.width; ++k) sum = std::fma(a.at(k, y), b.at(x, k), sum);
      out.at(x, y) = sum;
    }
  }
  return out;
}

Matrix random(int rows, int columns, unsigned seed) {
  return randomPixels<float>(columns, rows, 1, seed);
}

void check(const Matrix& a, const Matrix& b, int pitch = 0, int bPitch = 0, int outPitch = 0) {
  SCOPED_TRACE(testing::Message() << a.height << " by " << a.width << " by " << b.width);
  const auto multiply = [&](const MirlImage& image, MirlImage& out) {
    return matMul(image, toImage(b, bPitch), out);
  };
  expectInto(multiply, a, product(a, b), pitch, outPitch);
  for (const bool first : {true, false}) {
    const auto square = [&](const MirlImage& image, MirlImage& out) {
      return matMulTrans(image, out, first);
    };
    const Matrix t = transposed(a);
    expectInto(square, a, first ? product(t, a) : product(a, t), pitch);
  }
}

TEST_P(Products, EveryShapeAndPitch) {
  const int shapes[][3] = {{1, 1, 1},    {1, 300, 1},  {200, 1, 3},   {2, 3, 4},
                           {12, 16, 32}, {13, 17, 33}, {25, 255, 65}, {129, 257, 130},
                           {1, 70, 140}, {140, 33, 1}, {37, 530, 5}};
  unsigned seed = 1;
  for (const auto& [rows, depth, columns] : shapes) {
    check(random(rows, depth, seed), random(depth, columns, seed + 1));
    seed += 2;
  }
  const Matrix a = random(41, 29, seed), b = random(29, 67, seed + 1);
  forOddPitches(a.rowBytes(), b.rowBytes(),
                [&](int pitch, int outPitch) { check(a, b, pitch, outPitch, outPitch); });
}

// A sum that has become -0, NaN or infinite stays so to the end, which may lie within a tile.
TEST_P(Products, SumsOfAwkwardElements) {
  Matrix a(70, 5, 1), b(3, 70, 1);
  const float tiny = 1e-30f, inf = INFINITY;
  for (int k = 0; k < 70; ++k) {
    a.at(k, 0) = k == 69 ? -tiny : 0.0f;
    a.at(k, 1) = k == 3 ? NAN : 1.0f;
    a.at(k, 2) = k == 68 ? inf : 0.5f;
    a.at(k, 3) = 3e38f;
    a.at(k, 4) = k % 2 == 0 ? 16777216.0f : 1.0f;
    for (int x = 0; x < 3; ++x) b.at(x, k) = x == 0 ? tiny : x == 1 ? 1.0f : -2.0f;
  }
  const auto multiply = [&](const MirlImage& image, MirlImage& out) {
    return matMul(image, toImage(b), out);
  };
  const Matrix want = product(a, b);
  EXPECT_TRUE(std::signbit(want.at(0, 0)) && want.at(0, 0) == 0);
  expectInto(multiply, a, want);
}

TEST_P(Products, ShapesTypesAndRoles) {
  const MirlImage a(3, 2, MIRL_32F_C1), b(4, 3, MIRL_32F_C1), wide(3, 2, MIRL_32F_C3),
      bytes(3, 2, MIRL_8U_C1), empty;
  struct Case {
    const MirlImage *a, *b;
    MirlImage out;
    MirlStatus status;
  };
  const Case cases[] = {
      {&a, &b, {}, MIRL_SUCCESS},
      {&a, &b, MirlImage(4, 2, MIRL_32F_C1), MIRL_SUCCESS},
      {&empty, &b, {}, MIRL_IMAGE_NOT_INITIALIZED},
      {&a, &empty, {}, MIRL_IMAGE_NOT_INITIALIZED},
      {&a, &a, {}, MIRL_MATRIX_SIZE_MISMATCH},
      {&bytes, &bytes, {}, MIRL_MATRIX_SIZE_MISMATCH},
      {&bytes, &b, {}, MIRL_TYPE_NOT_SUPPORTED},
      {&wide, &b, {}, MIRL_TYPE_NOT_SUPPORTED},
      {&b, &bytes, {}, MIRL_MATRIX_SIZE_MISMATCH},
      {&a, &b, MirlImage(2, 4, MIRL_32F_C1), MIRL_MATRIX_SIZE_MISMATCH},
      {&a, &b, MirlImage(4, 3, MIRL_8U_C1), MIRL_MATRIX_SIZE_MISMATCH},
      {&a, &b, MirlImage(4, 2, MIRL_8U_C1), MIRL_MISMATCH},
      {&a, &b, MirlImage(4, 2, MIRL_32S_C1), MIRL_MISMATCH},
  };
  for (const Case& c : cases) {
    expectStatus(c.out, c.status, c.status == MIRL_SUCCESS,
                 [&](MirlImage& out) { return matMul(*c.a, *c.b, out); });
  }
  MirlImage square(3, 3, MIRL_32F_C1), other(2, 2, MIRL_32F_C1), made;
  const MirlImage integers(2, 3, MIRL_32S_C1);
  EXPECT_EQ(matMul(a, integers, made), MIRL_MISMATCH);
  for (const bool first : {true, false}) {
    MirlImage& good = first ? square : other;
    MirlImage& bad = first ? other : square;
    EXPECT_EQ(matMulTrans(a, good, first), MIRL_SUCCESS);
    expectStatus(bad, MIRL_MATRIX_SIZE_MISMATCH, false,
                 [&](MirlImage& out) { return matMulTrans(a, out, first); });
    expectStatus(MirlImage(good.size(), MIRL_8U_C1), MIRL_MISMATCH, false,
                 [&](MirlImage& out) { return matMulTrans(a, out, first); });
    expectStatus(MirlImage(), MIRL_TYPE_NOT_SUPPORTED, false,
                 [&](MirlImage& out) { return matMulTrans(wide, out, first); });
    EXPECT_EQ(matMulTrans(good, good, first), MIRL_IN_PLACE_NOT_SUPPORTED);
    MirlImage created;
    EXPECT_EQ(matMulTrans(a, created, first), MIRL_SUCCESS);
    EXPECT_EQ(formatOf(created), formatOf(good));
  }
  EXPECT_EQ(matMul(square, MirlImage(square), square), MIRL_IN_PLACE_NOT_SUPPORTED);
  EXPECT_EQ(matMul(MirlImage(square), square, square), MIRL_IN_PLACE_NOT_SUPPORTED);
}

MIRL_TEST_ON_ALL_DEVICES(Products);

}  // namespace
}  // namespace mirl::test
