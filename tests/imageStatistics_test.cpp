// min, max, minMax, sum, mean, meanStdDev and countInRange against plain loops.

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <functional>

#include "support.h"

namespace mirl::test {
namespace {

using namespace imageStatistics;
using Values = std::array<double, 4>;

constexpr double kOld = -7.25;

MIRL_DEVICE_TESTS(ImageStatistics);

Values valuesOf(const MirlScalar& scalar) {
  return {scalar[0], scalar[1], scalar[2], scalar[3]};
}

/// The channels' values, the entries behind them as they were.
template <class T, class Value>
Values expectedOf(const Pixels<T>& pixels, const Value& value) {
  Values values{kOld, kOld, kOld, kOld};
  for (int c = 0; c < pixels.channels; ++c) {
    std::vector<T> elements;
    for (std::size_t i = static_cast<std::size_t>(c); i < pixels.values.size();
         i += static_cast<std::size_t>(pixels.channels)) {
      elements.push_back(pixels.values[i]);
    }
    values[static_cast<std::size_t>(c)] = value(elements, c);
  }
  return values;
}

testing::AssertionResult same(const MirlScalar& actual, const Values& expected) {
  for (std::size_t i = 0; i < 4; ++i) {
    const double got = actual[static_cast<int>(i)];
    if (std::bit_cast<std::uint64_t>(got) != std::bit_cast<std::uint64_t>(expected[i])) {
      return testing::AssertionFailure() << "entry " << i << " is " << testing::PrintToString(got)
                                         << ", expected " << testing::PrintToString(expected[i]);
    }
  }
  return testing::AssertionSuccess();
}

/// Ignores NaN, and takes -0 for less than 0.
template <bool kGreatest, class T>
double extremeOf(const std::vector<T>& elements) {
  double extreme = NAN;
  for (const T element : elements) {
    const double value = static_cast<double>(element);
    if (std::isnan(value)) continue;
    const bool less = value < extreme || (value == extreme && std::signbit(value));
    const bool greater = value > extreme || (value == extreme && !std::signbit(value));
    if (std::isnan(extreme) || (kGreatest ? greater : less)) extreme = value;
  }
  return extreme;
}

/// Exact for integers, and for floats as good as a long double is.
template <class T>
double sumOf(const std::vector<T>& elements) {
  long double sum = 0;
  for (const T element : elements) sum += static_cast<long double>(element);
  return static_cast<double>(sum);
}

/// Runs an operation, of one result or of two.
template <class Run>
std::array<MirlScalar, 2> resultsOf(const Run& run, const MirlImage& image) {
  std::array<MirlScalar, 2> results = {kOld, kOld};
  if constexpr (std::is_invocable_v<Run, const MirlImage&, MirlScalar&, const MirlStream&>) {
    EXPECT_EQ(run(image, results[0], MirlStream()), MIRL_SUCCESS);
  } else {
    EXPECT_EQ(run(image, results[0], results[1], MirlStream()), MIRL_SUCCESS);
  }
  return results;
}

/// Runs all operations of exact results on an image, in a block that holds nothing else.
template <class T>
void checkAll(const Pixels<T>& pixels, int pitch = 0) {
  SCOPED_TRACE(testing::Message() << pixels.width << "x" << pixels.height << ", " << pixels.channels
                                  << " channels of " << sizeof(T) << " bytes, pitch " << pitch);
  const MirlImage image = toImage(pixels, pitch);
  const auto give = [&](auto* run, const auto&... expected) {
    const auto results = resultsOf(run, image);
    std::size_t i = 0;
    for (const Values& values : {expectedOf(pixels, expected)...}) {
      EXPECT_TRUE(same(results[i++], values));
    }
  };
  const auto least = [](auto& e, int) { return extremeOf<false>(e); };
  const auto greatest = [](auto& e, int) { return extremeOf<true>(e); };
  const auto total = [](auto& e, int) { return sumOf(e); };
  const double n = static_cast<double>(pixels.width) * pixels.height;
  const auto average = [&](auto& e, int) { return sumOf(e) / n; };
  give(imageStatistics::min, least);
  give(imageStatistics::max, greatest);
  give(minMax, least, greatest);
  if constexpr (!std::is_same_v<T, float>) {
    give(sum, total);
    give(mean, average);
  }
  if constexpr (std::is_same_v<T, Byte>) {
    give(meanStdDev, average);
    const MirlScalar moments = resultsOf(meanStdDev, image)[1];
    const Values deviation = expectedOf(pixels, [&](auto& e, int) {
      const long double mean = static_cast<long double>(sumOf(e)) / n;
      long double squares = 0;
      for (const Byte v : e) squares += (v - mean) * (v - mean);
      return static_cast<double>(std::sqrt(squares / n));
    });
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(moments[i], deviation[std::size_t(i)], 1e-12) << i;
  }
  if constexpr (!std::is_same_v<T, Word>) {
    const MirlScalar lower(10.9, 100.0, -3.0, 0.0), upper(200.0, 99.5, 300.0, 0.0);
    const auto bound = [](double v) {
      return sizeof(T) == 1 ? std::trunc(v) : static_cast<double>(static_cast<float>(v));
    };
    MirlScalar counts(kOld);
    EXPECT_EQ(countInRange(image, counts, lower, upper), MIRL_SUCCESS);
    EXPECT_TRUE(same(counts, expectedOf(pixels, [&](auto& e, int c) {
                       const auto inside = [&](double v) {
                         return v >= bound(lower[c]) && v <= bound(upper[c]);
                       };
                       return static_cast<double>(std::count_if(e.begin(), e.end(), inside));
                     })));
  }
}

// The large ones: more than one unit of work in each direction, and rows of more elements than a
// lane takes.
TEST_P(ImageStatistics, EverySizeAndPitch) {
  forEachFormat([]<class T>(T, int channels) {
    unsigned seed = 1;
    for (const MirlSize& size : awkwardSizes()) {
      checkAll(randomPixels<T>(size.width, size.height, channels, seed++));
    }
    const auto odd = randomPixels<T>(61, 7, channels, seed++);
    for (const int extra : {1, 2, 3, 16}) checkAll(odd, odd.rowBytes() + extra);
    const auto narrow = randomPixels<T>(1, 40013, channels, 5);
    for (const int pitch : {13, narrow.rowBytes()}) checkAll(narrow, pitch);
  });
  forEachElement([]<class T>(T) {
    checkAll(randomPixels<T>(1021, 1031, 1, 1));
    checkAll(randomPixels<T>(640, 480, 3, 2));
    checkAll(randomPixels<T>(30011, 5, 3, 3));
  });
  checkAll(Pixels<Byte>(4001, 1500, 3, 255));
  checkAll(Pixels<Word>(4001, 1500, 1, 65535));
}

TEST_P(ImageStatistics, LiteralExamples) {
  const auto check = [](const auto& pixels, std::array<double, 4> expected) {
    const MirlImage image = toImage(pixels);
    std::size_t i = 0;
    for (auto* run : {imageStatistics::min, imageStatistics::max, sum, mean}) {
      EXPECT_TRUE(same(resultsOf(run, image)[0], {expected[i++], kOld, kOld, kOld})) << i;
    }
  };
  const float nan = NAN, infinity = INFINITY;
  check(Pixels<Byte>(1, {7}), {7, 7, 7, 7});
  check(Pixels<Word>(1, {7}), {7, 7, 7, 7});
  check(Pixels<float>(1, {7}), {7, 7, 7, 7});
  check(Pixels<Byte>(1, {0, 255, 255, 0}), {0, 255, 510, 127.5});
  check(Pixels<float>(1, {nan, 3, -nan, -2.5f}), {-2.5, 3, NAN, NAN});
  check(Pixels<float>(1, {-nan, nan, nan}), {NAN, NAN, NAN, NAN});
  check(Pixels<float>(1, {0.0f, -0.0f, 0.0f}), {-0.0, 0, 0, 0});
  check(Pixels<float>(1, {infinity, -infinity}), {-INFINITY, INFINITY, NAN, NAN});
  check(Pixels<float>(1, {infinity, nan}), {INFINITY, INFINITY, NAN, NAN});
  check(Pixels<float>(1, {-3e38f, -3e38f}), {-3e38f, -3e38f, -2.0 * 3e38f, -3e38f});
  checkAll(Pixels<float>(1, awkwardValues<float>()));

  const auto three = resultsOf(meanStdDev, toImage(Pixels<Byte>(3, {2, 5, 0, 4, 5, 255})));
  EXPECT_TRUE(same(three[0], {3, 5, 127.5, kOld}));
  EXPECT_TRUE(same(three[1], {1, 0, 127.5, kOld}));
  // The squares of these sums take more than 64 bits.
  const auto white = resultsOf(meanStdDev, toImage(Pixels<Byte>(4200, 4200, 1, 255)));
  EXPECT_TRUE(same(white[0], {255, kOld, kOld, kOld}));
  EXPECT_TRUE(same(white[1], {0, kOld, kOld, kOld}));
}

TEST_P(ImageStatistics, BoundsOfRanges) {
  using Row = std::array<double, 4>;  // bounds, how many bytes and floats are between them
  const Row rows[] = {{10.9, 10.9, 1, 0},
                      {10, 11, 2, 3},
                      {11, 10, 0, 0},
                      {-INFINITY, INFINITY, 5, 7},
                      {-5, -1, 1, 0},
                      {-1e300, 1e300, 5, 7},
                      {255.5, 1e9, 1, 0},
                      {NAN, 10, 2, 0},
                      {0, NAN, 1, 0},
                      {0, 0, 1, 2},
                      {-0.0, -0.0, 1, 2},
                      {10.4999999999, 10.5, 1, 1},
                      {INFINITY, INFINITY, 1, 1}};
  const float nan = NAN;
  const MirlImage bytes = toImage(Pixels<Byte>(1, {0, 10, 11, 128, 255}));
  const MirlImage floats =
      toImage(Pixels<float>(1, {0.0f, -0.0f, 10, 10.5f, 11, -nan, nan, -256, INFINITY}));
  for (const auto& [from, to, ofBytes, ofFloats] : rows) {
    SCOPED_TRACE(testing::Message() << from << " to " << to);
    MirlScalar lower(from), upper(to), counts(kOld);
    EXPECT_EQ(countInRange(bytes, counts, lower, upper), MIRL_SUCCESS);
    EXPECT_TRUE(same(counts, {ofBytes, kOld, kOld, kOld}));
    EXPECT_EQ(countInRange(floats, lower, lower, upper), MIRL_SUCCESS) << "in place of a bound";
    EXPECT_TRUE(same(lower, {ofFloats, from, from, from}));
  }
}

/// Sums that any order makes exact, the same on every run and device, and no worse than double.
TEST_P(ImageStatistics, FloatSums) {
  const int device = GetParam();
  const int host = device::getDeviceCount() - 1;
  for (const auto& [width, height, channels] :
       {std::array{1, 1, 3}, {37, 5, 3}, {1021, 517, 1}, {640, 480, 3}, {9001, 3, 3}}) {
    SCOPED_TRACE(testing::Message() << width << "x" << height << "x" << channels);
    Pixels<float> whole(width, height, channels);
    std::mt19937 generator(5);
    for (float& v : whole.values) v = static_cast<float>(generator() % 4001u) - 2000.0f;
    const auto add = [](auto& elements, int) { return sumOf(elements); };
    EXPECT_TRUE(same(resultsOf(sum, toImage(whole))[0], expectedOf(whole, add)));

    const auto pixels = randomPixels<float>(width, height, channels, 6);
    const MirlImage image = toImage(pixels, pixels.rowBytes() + 4);
    const MirlScalar total = resultsOf(sum, image)[0];
    const Values near = expectedOf(pixels, add), first = valuesOf(total);
    for (int c = 0; c < channels; ++c) {
      EXPECT_NEAR(total[c], near[static_cast<std::size_t>(c)], 1e-6);
    }
    onThreads(3, [&](int) { EXPECT_TRUE(same(resultsOf(sum, image)[0], first)); });
    device::setCurrentDevice(host);
    EXPECT_TRUE(same(resultsOf(sum, toImage(pixels))[0], first)) << "and a pitch of its own";
    device::setCurrentDevice(device);
  }
}

/// The order that engine/reduce.h promises, for an image of one unit.
TEST_P(ImageStatistics, OrderOfFloatSums) {
  for (const int channels : {1, 3}) {
    const auto pixels = randomPixels<float>(101, 20, channels, 8);
    const int row = pixels.width * channels;
    const int padded = (row + 11) / 12 * 12;
    std::vector<double> lanes(768, 0.0);
    for (int y = 0; y < pixels.height; ++y) {
      for (int i = 0; i < row; ++i) {
        lanes[static_cast<std::size_t>((y * padded + i) % 768)] +=
            static_cast<double>(pixels.values[static_cast<std::size_t>(y * row + i)]);
      }
    }
    for (std::size_t half = 384; half >= 12; half /= 2) {
      for (std::size_t i = 0; i < half; ++i) lanes[i] += lanes[i + half];
    }
    Values expected{};
    for (std::size_t i = 0; i < 12; ++i) {
      expected[i % static_cast<std::size_t>(channels)] += lanes[i];
    }
    for (std::size_t c = static_cast<std::size_t>(channels); c < 4; ++c) expected[c] = kOld;
    EXPECT_TRUE(same(resultsOf(sum, toImage(pixels))[0], expected));
  }
}

struct Operation {
  const char* name;
  MirlStatus onEmpty;
  MirlStatus onOther;  // another type
  bool (*serves)(const Format&);
  std::function<MirlStatus(const MirlImage&, MirlScalar&, MirlScalar&, const MirlStream&)> run;
};

std::vector<Operation> operations() {
  const auto single = [](MirlStatus (*f)(const MirlImage&, MirlScalar&, const MirlStream&)) {
    return [f](const MirlImage& in, MirlScalar& a, MirlScalar&, const MirlStream& s) {
      return f(in, a, s);
    };
  };
  const auto bytes = [](const Format& format) { return isServed(format) && format.depth == 8; };
  const auto noWords = [](const Format& format) { return isServed(format) && format.depth != 16; };
  const auto count = [](const MirlImage& in, MirlScalar& a, MirlScalar& b, const MirlStream& s) {
    return countInRange(in, a, b, b, s);
  };
  const MirlStatus empty = MIRL_IMAGE_NOT_INITIALIZED, mismatch = MIRL_MISMATCH;
  return {{"min", empty, mismatch, isServed, single(imageStatistics::min)},
          {"max", empty, mismatch, isServed, single(imageStatistics::max)},
          {"minMax", mismatch, mismatch, isServed, minMax},
          {"sum", empty, mismatch, isServed, single(sum)},
          {"mean", empty, mismatch, isServed, single(mean)},
          {"meanStdDev", empty, mismatch, bytes, meanStdDev},
          {"countInRange", mismatch, MIRL_DEPTH_NOT_SUPPORTED, noWords, count}};
}

TEST_P(ImageStatistics, Statuses) {
  const MirlImage dead(MirlSize(9, 9), MIRL_8U_C1);
  device::resetCurrentDevice();
  const MirlStream alive(true), noStream = deadStream();
  const MirlImage odd(MirlSize(5, 5), 128, 1);
  using runtime::Call;
  const std::pair<Call, MirlStatus> faults[] = {{Call::allocate, MIRL_DEVICE_ALLOC_FAILED},
                                                {Call::pinned, MIRL_DEVICE_ALLOC_FAILED},
                                                {Call::copy, MIRL_COPY_D2H_FAILED}};
  for (const Operation& operation : operations()) {
    SCOPED_TRACE(operation.name);
    MirlScalar a(kOld), b(kOld);
    const auto refused = [&](MirlStatus status, const MirlImage& in, const MirlStream& stream) {
      EXPECT_EQ(operation.run(in, a, b, stream), status);
      for (const MirlScalar* s : {&a, &b}) EXPECT_TRUE(same(*s, {kOld, kOld, kOld, kOld}));
    };
    refused(operation.onEmpty, MirlImage(), noStream);
    refused(operation.onEmpty, dead, alive);
    refused(operation.onOther, odd, alive);
    for (const Format& format : allFormats()) {
      SCOPED_TRACE("type " + std::to_string(format.type));
      const MirlImage image(MirlSize(19, 3), format.type);
      refused(MIRL_INVALID_ARGUMENT, image, noStream);
      if (!operation.serves(format)) {
        refused(operation.onOther, image, alive);
        continue;
      }
      for (const auto& [call, status] : faults) {
        const FailNth failing(call);
        refused(status, image, alive);
      }
      EXPECT_EQ(operation.run(image, a, b, alive), MIRL_SUCCESS);
      a = b = MirlScalar(kOld);
    }
    if (device::getDeviceCount() > 1) {
      const MirlImage image(MirlSize(19, 3), MIRL_8U_C1);
      device::setCurrentDevice(GetParam() == 0 ? 1 : 0);
      refused(MIRL_MISMATCH, image, MirlStream(true));
      device::setCurrentDevice(GetParam());
    }
  }
}

/// A scalar that got no block, or gave it away, takes no numbers and does no harm.
TEST_P(ImageStatistics, ScalarsWithoutABlock) {
  const MirlImage image = toImage(Pixels<Byte>(3, {0, 1, 2, 0, 4, 5}));
  for (const Operation& operation : operations()) {
    SCOPED_TRACE(operation.name);
    MirlScalar a(kOld), b(kOld);
    const MirlScalar takenA(std::move(a)), takenB(std::move(b));
    ASSERT_EQ(a.vals(), nullptr);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(operation.run(image, a, b, MirlStream()), MIRL_SUCCESS);
    EXPECT_EQ(a.vals(), nullptr);
    EXPECT_EQ(b.vals(), nullptr);
  }
  MirlScalar counts, none(kOld);
  const MirlScalar taken(std::move(none));
  EXPECT_EQ(countInRange(image, counts, none, none), MIRL_SUCCESS);  // NOLINT
  EXPECT_TRUE(same(counts, {2, 0, 0, 0})) << "bounds without a block are 0";
}

TEST_P(ImageStatistics, SeveralThreadsAndStreams) {
  const MirlImage image = toImage(randomPixels<Byte>(811, 611, 3, 3));
  const auto ops = operations();
  const auto valuesFor = [&](std::size_t i, const MirlStream& stream) {
    MirlScalar a, b;
    EXPECT_EQ(ops[i].run(image, a, b, stream), MIRL_SUCCESS);
    return std::pair(valuesOf(a), valuesOf(b));
  };
  std::vector<std::pair<Values, Values>> expected;
  for (std::size_t i = 0; i < ops.size(); ++i) expected.push_back(valuesFor(i, MirlStream()));
  onThreads(3, [&](int thread) {
    const MirlStream stream(true);
    for (std::size_t k = 0; k < 3 * ops.size(); ++k) {
      const std::size_t i = (k + static_cast<std::size_t>(thread)) % ops.size();
      EXPECT_EQ(valuesFor(i, stream), expected[i]) << ops[i].name;
    }
  });
}

}  // namespace
}  // namespace mirl::test
