// Operators on images: what they forward to, the type of the result, what they cost.

#include <cmath>

#include "support.h"

namespace mirl::test {
namespace {

MIRL_DEVICE_TESTS(Operators);

Pixels<Byte> bytes(std::vector<Byte> row, int channels = 1) {
  return {channels, std::move(row)};
}
Pixels<float> floats(std::vector<float> row, int channels = 1) {
  return {channels, std::move(row)};
}

const std::vector<Byte> kA = {0, 1, 5, 200, 255, 7}, kB = {1, 1, 2, 100, 0, 9};

/// What changes an image gives back that image in its own buffer, without a call of the runtime.
template <class Change>
void expectChanged(const Change& change, const Pixels<Byte>& want) {
  MirlImage a = toImage(bytes(kA)), none;
  const auto fields = fieldsOf(a);
  const runtime::Live live = runtime::live();
  {
    const FailNth noMemory(runtime::Call::allocate), noCopies(runtime::Call::copy);
    EXPECT_EQ(&change(a), &a);
  }
  EXPECT_EQ(runtime::live(), live);
  EXPECT_EQ(fieldsOf(a), fields);
  EXPECT_TRUE(holds(a, want));
  EXPECT_FALSE(change(none).isInitialized());
}

/// All forms of an operator, which is applied to images and to their elements as numbers of a type.
template <class Element, class Op, class Change>
void expectForms(const Op& op, const Change& change) {
  const MirlImage a = toImage(bytes(kA)), b = toImage(bytes(kB));
  const auto wanted = []<class D>(D, const auto& formula) {
    std::vector<D> row;
    for (std::size_t i = 0; i < kA.size(); ++i) {
      row.push_back(stored<D>(static_cast<float>(formula(Element(kA[i]), Element(kB[i])))));
    }
    return Pixels<D>(1, row);
  };
  EXPECT_TRUE(holds(op(a, b), wanted(Byte{}, op)));
  expectChanged([&](MirlImage& x) -> MirlImage& { return change(x, b); }, wanted(Byte{}, op));
  const auto expect = [&](auto result, const auto& number, Element value) {
    SCOPED_TRACE(value);
    const auto right = [&](Element x, Element) { return op(x, value); };
    const auto left = [&](Element x, Element) { return op(value, x); };
    EXPECT_TRUE(holds(op(a, number), wanted(result, right)));
    EXPECT_TRUE(holds(op(number, a), wanted(result, left)));
    expectChanged([&](MirlImage& x) -> MirlImage& { return change(x, number); },
                  wanted(Byte{}, right));
  };
  expect(Byte{}, 4, 4);
  if constexpr (std::is_same_v<Element, float>) {
    expect(Byte{}, MirlScalar(2), 2);
    expect(float{}, 2.0, 2);
    expect(float{}, 0.5f, 0.5f);
    expect(float{}, MirlScalar(-0.25), -0.25f);
  }
}

TEST_P(Operators, AllForms) {
  const auto plus = [](const auto& x, const auto& y) { return x + y; };
  const auto minus = [](const auto& x, const auto& y) { return x - y; };
  const auto times = [](const auto& x, const auto& y) { return x * y; };
  const auto over = [](const auto& x, const auto& y) { return x / y; };
  const auto both = [](const auto& x, const auto& y) { return x & y; };
  const auto either = [](const auto& x, const auto& y) { return x | y; };
  const auto one = [](const auto& x, const auto& y) { return x ^ y; };
  using Image = MirlImage;
  expectForms<float>(plus, [](Image& x, const auto& y) -> Image& { return x += y; });
  expectForms<float>(minus, [](Image& x, const auto& y) -> Image& { return x -= y; });
  expectForms<float>(times, [](Image& x, const auto& y) -> Image& { return x *= y; });
  expectForms<float>(over, [](Image& x, const auto& y) -> Image& { return x /= y; });
  expectForms<int>(both, [](Image& x, const auto& y) -> Image& { return x &= y; });
  expectForms<int>(either, [](Image& x, const auto& y) -> Image& { return x |= y; });
  expectForms<int>(one, [](Image& x, const auto& y) -> Image& { return x ^= y; });
  const auto changed = [](auto change, std::vector<Byte> want) {
    expectChanged(change, bytes(std::move(want)));
  };
  changed([](Image& a) -> Image& { return a += MirlScalar(2.9); }, {2, 3, 7, 202, 255, 9});
  changed([](Image& a) -> Image& { return a -= 1.5; }, {0, 0, 3, 198, 253, 5});
  changed([](Image& a) -> Image& { return a -= std::as_const(a); }, {0, 0, 0, 0, 0, 0});
  changed([](Image& a) -> Image& { return a <<= 1; }, {0, 2, 10, 255, 255, 14});
  changed([](Image& a) -> Image& { return a >>= 1; }, {0, 0, 2, 100, 127, 3});
  changed([](Image& a) -> Image& { return ++a; }, {1, 2, 6, 201, 255, 8});
  changed([](Image& a) -> Image& { return --a; }, {0, 0, 4, 199, 254, 6});
}

TEST_P(Operators, Expressions) {
  const MirlImage a = toImage(bytes(kA)), b = toImage(bytes(kB));
  const struct {
    const char* text;
    MirlImage result;
    std::vector<Byte> want;
  } inBytes[] = {
      {"-a", -a, {0, 0, 0, 0, 0, 0}},
      {"~a", ~a, {255, 254, 250, 55, 0, 248}},
      {"a << 1", a << 1, {0, 2, 10, 255, 255, 14}},
      {"a >> 1", a >> 1, {0, 0, 2, 100, 127, 3}},
  };
  for (const auto& c : inBytes) EXPECT_TRUE(holds(c.result, bytes(c.want))) << c.text;
  EXPECT_TRUE(holds(a - MirlScalar(2.0), floats({-2, -1, 3, 198, 253, 5})));
  EXPECT_TRUE(holds(-(a + 0.0), floats({-0.0f, -1, -5, -200, -255, -7})));
  // The reciprocal is narrowed, so that this isn't the quotient: 7 * 0.142857149.
  EXPECT_TRUE(holds(a / 7.0, floats({0, 0x1.24924ap-3f, 0x1.6db6dcp-1f, 200 * 0x1.24924ap-3f,
                                     255 * 0x1.24924ap-3f, 1})));
  EXPECT_TRUE(holds((a + b * 0.5) / 2 - 1, floats({-0.75f, -0.25f, 2, 124, 126.5f, 4.75f})));
  EXPECT_TRUE(
      holds(toImage(Pixels<Word>(1, {300})) + toImage(bytes({200})), Pixels<Word>(1, {500})))
      << "the deeper type of two images";
  const MirlImage colour = toImage(bytes({10, 20, 30, 100, 200, 250}, 3));
  EXPECT_TRUE(holds(colour - MirlScalar(1, 2, 3), bytes({9, 18, 27, 99, 198, 247}, 3)));
  EXPECT_TRUE(holds(colour / MirlScalar(2.0, 4.0, 8.0), floats({5, 5, 3.75f, 50, 50, 31.25f}, 3)));
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

}  // namespace
}  // namespace mirl::test
