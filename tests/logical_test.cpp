// AND, OR, XOR, NOT and shifts.

#include <climits>
#include <cstdint>
#include <cstdlib>

#include "pointwise_support.h"

namespace mirl::test {
namespace {

using namespace arithmeticLogical;

MIRL_DEVICE_TESTS(Logical);

struct Pair {
  const char* name;
  MirlStatus (*run)(const MirlImage&, const MirlImage&, MirlImage&, const MirlStream&);
  MirlStatus (*constant)(const MirlImage&, int, MirlImage&, const MirlStream&);
  std::int64_t (*formula)(std::int64_t, std::int64_t);
};
constexpr Pair kPairs[] = {
    {"AND", AND, AND, [](std::int64_t a, std::int64_t b) { return a & b; }},
    {"OR", OR, OR, [](std::int64_t a, std::int64_t b) { return a | b; }},
    {"XOR", XOR, XOR, [](std::int64_t a, std::int64_t b) { return a ^ b; }},
};

/// The shifted element as a signed number of 32 bits, which no arithmetic of C++ overflows.
std::int64_t shiftedLeft(std::int64_t element, int n, std::int64_t greatest) {
  if (n < 0 || n > 31) return 0;
  const std::int64_t low = (element << n) % 4294967296;
  const std::int64_t value = low >= 2147483648 ? low - 4294967296 : low;
  return std::min(std::max<std::int64_t>(value, 0), greatest);
}

constexpr int kNumbers[] = {0,  1,  2,  3,   7,   8,   9,     12,    15,      16,     17,     20,
                            24, 25, 31, 32,  33,  63,  64,    0x1FF, 0xA5,    0xFF,   0xFFFF, 65536,
                            -1, -2, -8, -31, -32, 200, 51966, 4096,  INT_MIN, INT_MAX};

// For bytes these are all elements that there are.
TEST_P(Logical, ConstantsAndShifts) {
  const auto check = [&]<class T>(T) {
    const Pixels<T> in(1, awkwardValues<T>());
    constexpr std::int64_t kGreatest = std::numeric_limits<T>::max();
    const auto expect = [&](const auto& run, const auto& formula) {
      expectInto(run, in, mapped<T>(in, 1, each<T>(1, formula)));
    };
    for (const int n : kNumbers) {
      SCOPED_TRACE(n);
      for (const Pair& op : kPairs) {
        expect([&](const auto& a, auto& out) { return op.constant(a, n, out, MirlStream()); },
               [&](std::int64_t x) { return op.formula(x, n); });
      }
      expect([&](const auto& a, auto& out) { return SHL(a, n, out); },
             [&](std::int64_t x) { return shiftedLeft(x, n, kGreatest); });
      expect([&](const auto& a, auto& out) { return SHR(a, n, out); },
             [&](std::int64_t x) { return n < 0 || n > 31 ? 0 : x >> n; });
    }
    expect([&](const auto& a, auto& out) { return NOT(a, out); },
           [&](std::int64_t x) { return kGreatest - x; });
  };
  check(Byte{});
  check(Word{});
}

TEST_P(Logical, LiteralExamples) {
  const auto gives = [](auto run, std::vector<Byte> in, std::vector<Byte> want) {
    expectInto(run, Pixels<Byte>(1, std::move(in)), Pixels<Byte>(1, std::move(want)));
  };
  const Byte wants[] = {8, 14, 6};
  for (const Pair& op : kPairs) {
    const MirlImage ten = toImage(Pixels<Byte>(1, {10}));
    gives([&](const auto& a, auto& out) { return op.run(a, ten, out, MirlStream()); }, {12},
          {wants[&op - kPairs]});
  }
  gives([](const auto& a, auto& out) { return AND(a, 0x1FF, out); }, {0, 77, 255}, {0, 77, 255});
  gives([](const auto& a, auto& out) { return SHL(a, 1, out); }, {200, 100}, {255, 200});
  gives([](const auto& a, auto& out) { return SHL(a, 24, out); }, {200, 100}, {0, 255});
  gives([](const auto& a, auto& out) { return SHR(a, 3, out); }, {200}, {25});
  expectInto([](const auto& a, auto& out) { return NOT(a, out); }, Pixels<Word>(1, {1}),
             Pixels<Word>(1, {65534}));
}

// For bytes these are all pairs that there are.
TEST_P(Logical, TwoImages) {
  const auto check = [&]<class T>(T, int channels, const MirlSize& size, int pitch) {
    auto a = randomPixels<T>(size.width, size.height, channels, 1);
    auto b = randomPixels<T>(size.width, size.height, channels, 2);
    for (std::size_t i = 0; i < b.values.size() && size.width == 256; ++i) {
      a.values[i] = static_cast<T>(i / 256 + a.values[i] / 256 * 256);
      b.values[i] = static_cast<T>(i % 256 * 257);
    }
    for (const Pair& op : kPairs) {
      SCOPED_TRACE(op.name);
      Pixels<T> want(a);
      for (std::size_t i = 0; i < want.values.size(); ++i) {
        want.values[i] = static_cast<T>(op.formula(a.values[i], b.values[i]));
      }
      const MirlImage second = toImage(b);
      expectInto([&](const auto& in, auto& out) { return op.run(in, second, out, MirlStream()); },
                 a, want, pitch == 0 ? 0 : a.rowBytes() + pitch, pitch == 0 ? 0 : a.rowBytes() + 1);
      MirlImage first = toImage(a), other = toImage(b);
      EXPECT_EQ(op.run(first, other, other, MirlStream()), MIRL_SUCCESS);
      EXPECT_TRUE(holds(other, want)) << "output is b";
    }
  };
  for (const int channels : {1, 3}) {
    for (const MirlSize& size : {MirlSize(1, 1), MirlSize(17, 5), MirlSize(256, 256)}) {
      for (const int pitch : {0, 3}) {
        check(Byte{}, channels, size, pitch);
        check(Word{}, channels, size, pitch);
      }
    }
  }
}

TEST_P(Logical, TwoImagesMustAgree) {
  const MirlImage good(4, 3, MIRL_8U_C1), signs(4, 3, MIRL_8S_C1);
  const MirlImage others[] = {{4, 3, MIRL_8U_C3}, {4, 3, MIRL_16U_C1}};
  for (const Pair& op : kPairs) {
    MirlImage out;
    for (const MirlImage& other : others) {
      EXPECT_EQ(op.run(good, other, out, deadStream()), MIRL_MISMATCH);
    }
    EXPECT_EQ(op.run(good, signs, out, deadStream()), MIRL_INVALID_ARGUMENT) << "depths agree";
  }
}

}  // namespace
}  // namespace mirl::test
