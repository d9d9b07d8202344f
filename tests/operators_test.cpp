// Operators on images: what they forward to, the type of the result, what they cost.

#include <cmath>

#include "support.h"

namespace mirl::test {
namespace {

class Operators : public DeviceTest {};

Pixels<Byte> bytes(std::vector<Byte> row, int channels = 1) {
  return {channels, std::move(row)};
}
Pixels<float> floats(std::vector<float> row, int channels = 1) {
  return {channels, std::move(row)};
}

TEST_P(Operators, Expressions) {
  const MirlImage a = toImage(bytes({0, 1, 5, 200, 255, 7})),
                  b = toImage(bytes({1, 1, 2, 100, 0, 9}));
  const MirlScalar whole(2), real(2.0);
  const struct {
    const char* text;
    MirlImage result;
    std::vector<Byte> want;
  } inBytes[] = {
      {"a + b", a + b, {1, 2, 7, 255, 255, 16}},
      {"a + 1", a + 1, {1, 2, 6, 201, 255, 8}},
      {"1 + a", 1 + a, {1, 2, 6, 201, 255, 8}},
      {"a + whole", a + whole, {2, 3, 7, 202, 255, 9}},
      {"whole + a", whole + a, {2, 3, 7, 202, 255, 9}},
      {"a - b", a - b, {0, 0, 3, 100, 255, 0}},
      {"a - 1", a - 1, {0, 0, 4, 199, 254, 6}},
      {"1 - a", 1 - a, {1, 0, 0, 0, 0, 0}},
      {"a - whole", a - whole, {0, 0, 3, 198, 253, 5}},
      {"whole - a", whole - a, {2, 1, 0, 0, 0, 0}},
      {"a * b", a * b, {0, 1, 10, 255, 0, 63}},
      {"a * 2", a * 2, {0, 2, 10, 255, 255, 14}},
      {"2 * a", 2 * a, {0, 2, 10, 255, 255, 14}},
      {"a * whole", a * whole, {0, 2, 10, 255, 255, 14}},
      {"whole * a", whole * a, {0, 2, 10, 255, 255, 14}},
      {"a / b", a / b, {0, 1, 2, 2, 255, 0}},
      {"a / a", a / a, {0, 1, 1, 1, 1, 1}},
      {"a / 2", a / 2, {0, 0, 2, 100, 127, 3}},
      {"7 / a", 7 / a, {255, 7, 1, 0, 0, 1}},
      {"a / whole", a / whole, {0, 0, 2, 100, 127, 3}},
      {"whole / a", whole / a, {255, 2, 0, 0, 0, 0}},
      {"-a", -a, {0, 0, 0, 0, 0, 0}},
      {"a & b", a & b, {0, 1, 0, 64, 0, 1}},
      {"a & 6", a & 6, {0, 0, 4, 0, 6, 6}},
      {"6 & a", 6 & a, {0, 0, 4, 0, 6, 6}},
      {"a | b", a | b, {1, 1, 7, 236, 255, 15}},
      {"a | 6", a | 6, {6, 7, 7, 206, 255, 7}},
      {"6 | a", 6 | a, {6, 7, 7, 206, 255, 7}},
      {"a ^ b", a ^ b, {1, 0, 7, 172, 255, 14}},
      {"a ^ 6", a ^ 6, {6, 7, 3, 206, 249, 1}},
      {"6 ^ a", 6 ^ a, {6, 7, 3, 206, 249, 1}},
      {"~a", ~a, {255, 254, 250, 55, 0, 248}},
      {"a << 1", a << 1, {0, 2, 10, 255, 255, 14}},
      {"a >> 1", a >> 1, {0, 0, 2, 100, 127, 3}},
  };
  for (const auto& c : inBytes) EXPECT_TRUE(holds(c.result, bytes(c.want))) << c.text;
  const auto inf = INFINITY;
  const struct {
    const char* text;
    MirlImage result;
    std::vector<float> want;
  } inFloats[] = {
      {"a + 1.0", a + 1.0, {1, 2, 6, 201, 256, 8}},
      {"1.5f + a", 1.5f + a, {1.5f, 2.5f, 6.5f, 201.5f, 256.5f, 8.5f}},
      {"a + real", a + real, {2, 3, 7, 202, 257, 9}},
      {"real + a", real + a, {2, 3, 7, 202, 257, 9}},
      {"a - 1.0", a - 1.0, {-1, 0, 4, 199, 254, 6}},
      {"1.0 - a", 1.0 - a, {1, 0, -4, -199, -254, -6}},
      {"a - real", a - real, {-2, -1, 3, 198, 253, 5}},
      {"real - a", real - a, {2, 1, -3, -198, -253, -5}},
      {"a * 0.5", a * 0.5, {0, 0.5f, 2.5f, 100, 127.5f, 3.5f}},
      {"a * real", a * real, {0, 2, 10, 400, 510, 14}},
      {"real * a", real * a, {0, 2, 10, 400, 510, 14}},
      {"a / 2.0", a / 2.0, {0, 0.5f, 2.5f, 100, 127.5f, 3.5f}},
      {"10.0 / a", 10.0 / a, {inf, 10, 2, 0.05f, 10.0f / 255, 10.0f / 7}},
      {"a / real", a / real, {0, 0.5f, 2.5f, 100, 127.5f, 3.5f}},
      {"real / a", real / a, {inf, 2, 0.4f, 0.01f, 2.0f / 255, 2.0f / 7}},
      {"-(a + 0.0)", -(a + 0.0), {-0.0f, -1, -5, -200, -255, -7}},
      // The reciprocal is narrowed, so that this isn't the quotient: 7 * 0.142857149.
      {"a / 7.0",
       a / 7.0,
       {0, 0x1.24924ap-3f, 0x1.6db6dcp-1f, 200 * 0x1.24924ap-3f, 255 * 0x1.24924ap-3f, 1}},
  };
  for (const auto& c : inFloats) EXPECT_TRUE(holds(c.result, floats(c.want))) << c.text;

  EXPECT_TRUE(holds((a + b * 0.5) / 2 - 1, floats({-0.75f, -0.25f, 2, 124, 126.5f, 4.75f})));
  EXPECT_TRUE(
      holds(toImage(Pixels<Word>(1, {300})) + toImage(bytes({200})), Pixels<Word>(1, {500})))
      << "the deeper type of two images";
  const MirlImage colour = toImage(bytes({10, 20, 30, 100, 200, 250}, 3));
  EXPECT_TRUE(holds(colour - MirlScalar(1, 2, 3), bytes({9, 18, 27, 99, 198, 247}, 3)));
  EXPECT_TRUE(holds(colour / MirlScalar(2.0, 4.0, 8.0), floats({5, 5, 3.75f, 50, 50, 31.25f}, 3)));
}

/// Each form changes the image itself as the named one says, without a new buffer.
TEST_P(Operators, CompoundFormsAllocateNothing) {
  const std::vector<Byte> start = {0, 1, 5, 200, 255, 7};
  const MirlImage b = toImage(bytes({1, 1, 2, 100, 0, 9}));
  using Change = MirlImage& (*)(MirlImage&, const MirlImage&);
  const struct {
    const char* text;
    Change change;
    std::vector<Byte> want;
  } cases[] = {{"a += b", [](auto& a, auto& x) -> auto& {return a += x;
}
, {
  1, 2, 7, 255, 255, 16
}
}  // namespace
, {"a += 1", [](auto& a, auto&) -> auto& {return a += 1;
}  // namespace mirl::test
, {
  1, 2, 6, 201, 255, 8
}
}
, {"a += 1.5", [](auto& a, auto&) -> auto& {return a += 1.5;
}
, {
  1, 2, 6, 201, 255, 8
}
}
, {"a += s", [](auto& a, auto&) -> auto& {return a += MirlScalar(2.9);
}
, {
  2, 3, 7, 202, 255, 9
}
}
, {"a -= b", [](auto& a, auto& x) -> auto& {return a -= x;
}
, {
  0, 0, 3, 100, 255, 0
}
}
, {"a -= 1", [](auto& a, auto&) -> auto& {return a -= 1;
}
, {
  0, 0, 4, 199, 254, 6
}
}
, {"a -= 1.5", [](auto& a, auto&) -> auto& {return a -= 1.5;
}
, {
  0, 0, 3, 198, 253, 5
}
}
, {"a -= s", [](auto& a, auto&) -> auto& {return a -= MirlScalar(2);
}
, {
  0, 0, 3, 198, 253, 5
}
}
, {"a *= b", [](auto& a, auto& x) -> auto& {return a *= x;
}
, {
  0, 1, 10, 255, 0, 63
}
}
, {"a *= 2", [](auto& a, auto&) -> auto& {return a *= 2;
}
, {
  0, 2, 10, 255, 255, 14
}
}
, {"a *= 0.5", [](auto& a, auto&) -> auto& {return a *= 0.5;
}
, {
  0, 0, 2, 100, 127, 3
}
}
, {"a *= s", [](auto& a, auto&) -> auto& {return a *= MirlScalar(2);
}
, {
  0, 2, 10, 255, 255, 14
}
}
, {"a /= b", [](auto& a, auto& x) -> auto& {return a /= x;
}
, {
  0, 1, 2, 2, 255, 0
}
}
, {"a /= 2", [](auto& a, auto&) -> auto& {return a /= 2;
}
, {
  0, 0, 2, 100, 127, 3
}
}
, {"a /= 0.5", [](auto& a, auto&) -> auto& {return a /= 0.5;
}
, {
  0, 2, 10, 255, 255, 14
}
}
, {"a /= s", [](auto& a, auto&) -> auto& {return a /= MirlScalar(2);
}
, {
  0, 0, 2, 100, 127, 3
}
}
, {"a &= b", [](auto& a, auto& x) -> auto& {return a &= x;
}
, {
  0, 1, 0, 64, 0, 1
}
}
, {"a &= 6", [](auto& a, auto&) -> auto& {return a &= 6;
}
, {
  0, 0, 4, 0, 6, 6
}
}
, {"a |= b", [](auto& a, auto& x) -> auto& {return a |= x;
}
, {
  1, 1, 7, 236, 255, 15
}
}
, {"a |= 6", [](auto& a, auto&) -> auto& {return a |= 6;
}
, {
  6, 7, 7, 206, 255, 7
}
}
, {"a ^= b", [](auto& a, auto& x) -> auto& {return a ^= x;
}
, {
  1, 0, 7, 172, 255, 14
}
}
, {"a ^= 6", [](auto& a, auto&) -> auto& {return a ^= 6;
}
, {
  6, 7, 3, 206, 249, 1
}
}
, {"a <<= 1", [](auto& a, auto&) -> auto& {return a <<= 1;
}
, {
  0, 2, 10, 255, 255, 14
}
}
, {"a >>= 1", [](auto& a, auto&) -> auto& {return a >>= 1;
}
, {
  0, 0, 2, 100, 127, 3
}
}
, {"++a", [](auto& a, auto&) -> auto& {return ++a;
}
, {
  1, 2, 6, 201, 255, 8
}
}
, {"--a", [](auto& a, auto&) -> auto& {return --a;
}
, {
  0, 0, 4, 199, 254, 6
}
}
, {"a -= a", [](auto& a, auto&) -> auto& {return a -= a;
}
, {
  0, 0, 0, 0, 0, 0
}
}
,
}
;
for (const auto& c : cases) {
  SCOPED_TRACE(c.text);
  MirlImage a = toImage(bytes(start));
  const auto before = fieldsOf(a);
  const long live = held();
  {
    const FailNth noMemory(runtime::Call::allocate), noCopies(runtime::Call::copy);
    EXPECT_EQ(&c.change(a, b), &a);
  }
  EXPECT_EQ(held(), live);
  EXPECT_EQ(fieldsOf(a), before);
  EXPECT_TRUE(holds(a, bytes(c.want)));
  MirlImage none;
  EXPECT_FALSE(c.change(none, b).isInitialized());
}
}

TEST_P(Operators, StepsBehindTheImageReturnWhatItWas) {
  MirlImage a = toImage(bytes({0, 7, 255})), none;
  a.setDataBits(5);
  const MirlImage up = a++;
  EXPECT_TRUE(holds(up, bytes({0, 7, 255})));
  EXPECT_TRUE(holds(a, bytes({1, 8, 255})));
  EXPECT_EQ(up.dataBits(), 5);
  EXPECT_TRUE(holds(a--, bytes({1, 8, 255})));
  EXPECT_TRUE(holds(a, bytes({0, 7, 254})));
  EXPECT_FALSE((none++).isInitialized() || (none--).isInitialized() || none.isInitialized());
}

TEST_P(Operators, ResultsAreMovedOut) {
  const MirlImage a = toImage(bytes({1, 2, 3}));
  const long before = held();
  const FailNth noCopies(runtime::Call::copy, 1);
  const MirlImage sum = a + a, half = a * 0.5, complement = ~a;
  runtime::failNth(runtime::Call::copy, 0);
  EXPECT_EQ(held() - before, 3) << "one buffer for each result";
  EXPECT_TRUE(holds(sum, bytes({2, 4, 6})));
  EXPECT_TRUE(holds(half, floats({0.5f, 1, 1.5f})));
  EXPECT_TRUE(holds(complement, bytes({254, 253, 252})));
}

TEST_P(Operators, FailuresShowAsEmptyImages) {
  const MirlImage none, a(3, 2, MIRL_8U_C1), wide(4, 2, MIRL_8U_C1), real(3, 2, MIRL_32F_C1);
  for (const MirlImage& result :
       {a + wide, a - wide, a * wide,  a / wide,  a & wide,   a | wide,      a ^ wide,
        a & real, a + none, none + a,  none + 1,  none + 1.0, 1 - none,      none / MirlScalar(2.0),
        -none,    ~none,    none << 1, none >> 1, none & 1,   (a + wide) + a}) {
    EXPECT_FALSE(result.isInitialized());
  }
  {
    const FailNth noMemory(runtime::Call::allocate);
    EXPECT_FALSE((a + 1.0).isInitialized()) << "rather than an image of another type";
  }
  // Where the type is found wrong at last there is an image, of whatever content.
  EXPECT_EQ((MirlImage(3, 2, MIRL_8U_C4) + 1.0).type(), MIRL_32F_C4);
  EXPECT_EQ((real << 1).type(), MIRL_32F_C1);
  MirlImage kept = toImage(bytes({1, 2, 3}));
  kept += wide;
  kept &= MirlImage(3, 1, MIRL_16U_C1);
  EXPECT_TRUE(holds(kept, bytes({1, 2, 3})));
}

// Whatever device is current.
TEST_P(Operators, ResultsAreWhereTheOperandsAre) {
  const MirlImage a = toImage(bytes({1, 2, 3}));
  const int other = (GetParam() + 1) % device::getDeviceCount();
  ASSERT_EQ(device::setCurrentDevice(other), MIRL_SUCCESS);
  for (const MirlImage& result : {a + 1.0, 2 * a, a + a, ~a, MirlScalar(1.0) - a}) {
    EXPECT_EQ(result.device(), GetParam());
  }
}

MIRL_TEST_ON_ALL_DEVICES(Operators);

}  // namespace
}  // namespace mirl::test
