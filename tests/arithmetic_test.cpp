// add, subtract, multiply, divide, absDiff: numbers, formats, statuses.

#include <algorithm>
#include <cmath>

#include "support.h"

namespace mirl::test {
namespace {

using namespace arithmeticLogical;

MIRL_DEVICE_TESTS(Arithmetic);

/// An operation and its formula. Double is wide enough that rounding its result to float gives what
/// single precision gives, for each of the five.
using Binary = MirlStatus (*)(const MirlImage&, const MirlImage&, MirlImage&, const MirlStream&);
struct Op {
  const char* name;
  Binary run;
  double (*formula)(double, double);
};
constexpr Op kOps[] = {
    {"add", add, [](double a, double b) { return a + b; }},
    {"subtract", subtract, [](double a, double b) { return a - b; }},
    {"multiply", multiply, [](double a, double b) { return a * b; }},
    {"divide", divide, [](double a, double b) { return a / b; }},
    {"absDiff", absDiff, [](double a, double b) { return std::fabs(a - b); }},
};

template <class V, class T, class U>
Pixels<V> expected(const Op& op, const Pixels<T>& a, const Pixels<U>& b) {
  Pixels<V> out(a.width, a.height, a.channels);
  for (std::size_t i = 0; i < out.values.size(); ++i) {
    out.values[i] = stored<V>(static_cast<float>(op.formula(a.values[i], b.values[i])));
  }
  return out;
}

/// Calls visit(T, U, V) with every combination that is served: the output at least as deep as both
/// inputs.
template <class Visit>
void forEachCombination(const Visit& visit) {
  int visited = 0;
  forEachElement([&]<class T>(T t) {
    forEachElement([&]<class U>(U u) {
      forEachElement([&]<class V>(V v) {
        if constexpr (sizeof v >= sizeof t && sizeof v >= sizeof u) {
          visit(t, u, v);
          ++visited;
        }
      });
    });
  });
  EXPECT_EQ(visited, 14);
}

/// Runs one operation into a live output and compares all of it, padding included.
template <class V, class T, class U>
void check(const Op& op, const Pixels<T>& a, const Pixels<U>& b) {
  SCOPED_TRACE(op.name);
  const MirlImage second = toImage(b);
  const auto run = [&](const MirlImage& first, MirlImage& out) {
    return op.run(first, second, out, MirlStream());
  };
  expectInto(run, a, expected<V>(op, a, b));
}

TEST_P(Arithmetic, LiteralExamples) {
  const auto run = [](Binary op, const auto& first, const auto& second, const auto& result) {
    const auto with = [&](const MirlImage& in, MirlImage& out) {
      return op(in, toImage(second), out, MirlStream());
    };
    expectInto(with, first, result);
  };
  const Pixels<Byte> a(1, {200, 100, 7, 5, 0, 16}), b(1, {100, 200, 2, 0, 0, 16});
  run(add, a, b, Pixels<Byte>(1, {255, 255, 9, 5, 0, 32}));
  run(add, a, b, Pixels<Word>(1, {300, 300, 9, 5, 0, 32}));
  run(subtract, a, b, Pixels<Byte>(1, {100, 0, 5, 5, 0, 0}));
  run(subtract, a, b, Pixels<float>(1, {100, -100, 5, 5, 0, 0}));
  run(multiply, a, b, Pixels<Byte>(1, {255, 255, 14, 0, 0, 255}));
  run(multiply, a, b, Pixels<Word>(1, {20000, 20000, 14, 0, 0, 256}));
  run(divide, a, b, Pixels<Byte>(1, {2, 0, 3, 255, 0, 1}));
  run(divide, a, b, Pixels<Word>(1, {2, 0, 3, 65535, 0, 1}));
  run(divide, a, b, Pixels<float>(1, {2, 0.5f, 3.5f, INFINITY, NAN, 1}));
  run(absDiff, a, b, Pixels<Byte>(1, {100, 100, 5, 5, 0, 0}));

  const Pixels<Word> wide(1, {65535, 65535, 7, 5});
  run(add, Pixels<Byte>(1, {1, 0, 255, 255}), wide, Pixels<Word>(1, {65535, 65535, 262, 260}));
  run(multiply, wide, wide, Pixels<float>(1, {4294836224.0f, 4294836224.0f, 49, 25}));
  run(absDiff, Pixels<float>(1, {-0.0f, 0.25f, 7, -5}), wide,
      Pixels<float>(1, {65535, 65534.75f, 0, 10}));
}

// For two 8-bit images these are all pairs that there are.
TEST_P(Arithmetic, PairsOfAwkwardValues) {
  forEachCombination([]<class T, class U, class V>(T, U, V) {
    const std::vector<T> rows = awkwardValues<T>();
    const std::vector<U> columns = awkwardValues<U>();
    Pixels<T> a(static_cast<int>(columns.size()), static_cast<int>(rows.size()), 1);
    Pixels<U> b(a.width, a.height, 1);
    for (std::size_t i = 0; i < a.values.size(); ++i) {
      a.values[i] = rows[i / columns.size()];
      b.values[i] = columns[i % columns.size()];
    }
    for (const Op& op : kOps) check<V>(op, a, b);
  });
}

TEST_P(Arithmetic, InPlace) {
  forEachCombination([]<class T, class U, class V>(T, U, V) {
    for (const Op& op : kOps) {
      SCOPED_TRACE(op.name);
      const auto a = randomPixels<T>(257, 67, 3, 1);
      const auto b = randomPixels<U>(257, 67, 3, 2);
      MirlImage imageA = toImage(a, a.rowBytes() + 1), imageB = toImage(b);
      MirlImage other = toImage(Pixels<V>(257, 67, 3)), copyOfB(imageB);
      const auto gives = [&](const MirlImage& first, const MirlImage& second, MirlImage& out,
                             const Pixels<V>& want) {
        EXPECT_EQ(op.run(first, second, out, MirlStream()), MIRL_SUCCESS);
        EXPECT_TRUE(holds(out, want));
      };
      if constexpr (std::is_same_v<U, V>) gives(imageA, copyOfB, copyOfB, expected<V>(op, a, b));
      if constexpr (std::is_same_v<T, U>) gives(imageA, imageA, other, expected<V>(op, a, a));
      if constexpr (std::is_same_v<T, V>) gives(imageA, imageB, imageA, expected<V>(op, a, b));
      if constexpr (std::is_same_v<T, U> && std::is_same_v<T, V>) {
        gives(imageB, imageB, imageB, expected<V>(op, b, b));
      }
    }
  });
}

// All 28 x 28 x 28 types.
TEST_P(Arithmetic, EveryTripleOfTypes) {
  const std::vector<Format> formats = allFormats();
  std::vector<MirlImage> images;
  for (const Format& format : formats) images.emplace_back(3, 2, format.type);
  for (const Op& op : kOps) {
    SCOPED_TRACE(op.name);
    int served = 0;
    for (const Format& a : formats) {
      for (const Format& b : formats) {
        const bool inputs = a.channels == b.channels && isServed(a) && isServed(b);
        const MirlImage &first = images[std::size_t(a.type)], &second = images[std::size_t(b.type)];
        for (const Format& out : formats) {
          const bool good = inputs && out.channels == a.channels && isServed(out) &&
                            out.depth >= std::max(a.depth, b.depth);
          EXPECT_EQ(op.run(first, second, images[std::size_t(out.type)], MirlStream()),
                    good ? MIRL_SUCCESS : MIRL_MISMATCH)
              << a.type << ", " << b.type << ", " << out.type;
          served += good ? 1 : 0;
        }
        MirlImage made;
        EXPECT_EQ(op.run(first, second, made, MirlStream()), inputs ? MIRL_SUCCESS : MIRL_MISMATCH);
        const int type =
            depthAndChannelsToType(std::max(first.depth(), second.depth()), a.channels, false);
        EXPECT_EQ(made.type(), a.channels == b.channels ? type : -1) << a.type << ", " << b.type;
      }
    }
    EXPECT_EQ(served, 28);
  }
}

}  // namespace
}  // namespace mirl::test
