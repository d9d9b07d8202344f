// min, max, minMax, sum, mean, meanStdDev and countInRange against plain loops.

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <thread>
#include <vector>

#include "support.h"

namespace mirl::test {
namespace {

using namespace imageStatistics;
using Byte = std::uint8_t;
using Word = std::uint16_t;
using Values = std::array<double, 4>;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kOld = -7.25;

class ImageStatistics : public DeviceTest {};

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
  double extreme = kNan;
  for (const T element : elements) {
    const double value = static_cast<double>(element);
    if (std::isnan(value)) continue;
    const bool less = value < extreme || (value == extreme && std::signbit(value));
    const bool greater = value > extreme || (value == extreme && !std::signbit(value));
    if (std::isnan(extreme) || (kGreatest ? greater : less)) extreme = value;
  }
  return extreme;
}

template <class T>
double sumOf(const std::vector<T>& elements) {
  std::uint64_t sum = 0;
  for (const T element : elements) sum += static_cast<std::uint64_t>(element);
  return static_cast<double>(sum);
}

/// Runs all operations of exact results on an image, in a block that holds nothing else.
template <class T>
void checkAll(const Pixels<T>& pixels, int pitch = 0) {
  SCOPED_TRACE(testing::Message() << pixels.width << "x" << pixels.height << ", " << pixels.channels
                                  << " channels of " << sizeof(T) << " bytes, pitch " << pitch);
  const MirlImage image = toImage(pixels, pitch);
  const Values least = expectedOf(pixels, [](auto& e, int) { return extremeOf<false>(e); });
  const Values greatest = expectedOf(pixels, [](auto& e, int) { return extremeOf<true>(e); });
  const auto fresh = [] { return MirlScalar(kOld); };

  MirlScalar a = fresh(), b = fresh();
  EXPECT_EQ(imageStatistics::min(image, a), MIRL_SUCCESS);
  EXPECT_EQ(imageStatistics::max(image, b), MIRL_SUCCESS);
  EXPECT_TRUE(same(a, least));
  EXPECT_TRUE(same(b, greatest));
  a = fresh(), b = fresh();
  EXPECT_EQ(minMax(image, a, b), MIRL_SUCCESS);
  EXPECT_TRUE(same(a, least));
  EXPECT_TRUE(same(b, greatest));

  if constexpr (!std::is_same_v<T, float>) {
    const double n = static_cast<double>(pixels.width) * pixels.height;
    a = fresh(), b = fresh();
    EXPECT_EQ(sum(image, a), MIRL_SUCCESS);
    EXPECT_EQ(mean(image, b), MIRL_SUCCESS);
    EXPECT_TRUE(same(a, expectedOf(pixels, [](auto& e, int) { return sumOf(e); })));
    EXPECT_TRUE(same(b, expectedOf(pixels, [&](auto& e, int) { return sumOf(e) / n; })));
  }
  if constexpr (std::is_same_v<T, Byte>) {
    const double n = static_cast<double>(pixels.width) * pixels.height;
    a = fresh(), b = fresh();
    EXPECT_EQ(meanStdDev(image, a, b), MIRL_SUCCESS);
    EXPECT_TRUE(same(a, expectedOf(pixels, [&](auto& e, int) { return sumOf(e) / n; })));
    const Values deviation = expectedOf(pixels, [&](auto& e, int) {
      const long double mean = static_cast<long double>(sumOf(e)) / n;
      long double squares = 0;
      for (const Byte v : e) squares += (v - mean) * (v - mean);
      return static_cast<double>(std::sqrt(squares / n));
    });
    for (int i = 0; i < 4; ++i) {
      EXPECT_NEAR(b[i], deviation[static_cast<std::size_t>(i)], 1e-12) << i;
    }
  }
  if constexpr (!std::is_same_v<T, Word>) {
    const MirlScalar lower(10.9, 100.0, -3.0, 0.0);
    const MirlScalar upper(200.0, 99.5, 300.0, 0.0);
    a = fresh();
    EXPECT_EQ(countInRange(image, a, lower, upper), MIRL_SUCCESS);
    EXPECT_TRUE(same(a, expectedOf(pixels, [&](auto& elements, int c) {
                       double low = lower[c];
                       double high = upper[c];
                       if (sizeof(T) == 1) {
                         low = std::trunc(low);
                         high = std::trunc(high);
                       } else {
                         low = static_cast<double>(static_cast<float>(low));
                         high = static_cast<double>(static_cast<float>(high));
                       }
                       double count = 0;
                       for (const T element : elements) {
                         if (static_cast<double>(element) >= low &&
                             static_cast<double>(element) <= high)
                           ++count;
                       }
                       return count;
                     })));
  }
}

template <class Visit>
void forEachElement(const Visit& visit) {
  visit(Byte{});
  visit(Word{});
  visit(float{});
}

TEST_P(ImageStatistics, EverySizeAndPitch) {
  forEachElement([]<class T>(T) {
    unsigned seed = 1;
    for (const int channels : {1, 3}) {
      for (const MirlSize& size : awkwardSizes()) {
        checkAll(randomPixels<T>(size.width, size.height, channels, seed++));
      }
      const auto odd = randomPixels<T>(61, 7, channels, seed++);
      for (const int extra : {1, 2, 3, 16}) checkAll(odd, odd.rowBytes() + extra);
    }
  });
}

/// More than one unit of work in each direction, and rows of more elements than a lane takes.
TEST_P(ImageStatistics, LargeImages) {
  forEachElement([]<class T>(T) {
    checkAll(randomPixels<T>(1021, 1031, 1, 1));
    checkAll(randomPixels<T>(640, 480, 3, 2));
    checkAll(randomPixels<T>(30011, 5, 3, 3));
    checkAll(randomPixels<T>(1, 40013, 3, 4));
    checkAll(randomPixels<T>(1, 40013, 1, 5), 9);
  });
  checkAll(Pixels<Byte>(4001, 1500, 3, 255));
  checkAll(Pixels<Word>(4001, 1500, 1, 65535));
}

TEST_P(ImageStatistics, LiteralExamples) {
  const auto check = [](const auto& pixels, double least, double greatest, double total,
                        double average) {
    const MirlImage image = toImage(pixels);
    MirlScalar result[4] = {kOld, kOld, kOld, kOld};
    EXPECT_EQ(imageStatistics::min(image, result[0]), MIRL_SUCCESS);
    EXPECT_EQ(imageStatistics::max(image, result[1]), MIRL_SUCCESS);
    EXPECT_EQ(sum(image, result[2]), MIRL_SUCCESS);
    EXPECT_EQ(mean(image, result[3]), MIRL_SUCCESS);
    EXPECT_TRUE(same(result[0], {least, kOld, kOld, kOld}));
    EXPECT_TRUE(same(result[1], {greatest, kOld, kOld, kOld}));
    EXPECT_TRUE(same(result[2], {total, kOld, kOld, kOld}));
    EXPECT_TRUE(same(result[3], {average, kOld, kOld, kOld}));
  };
  check(Pixels<Byte>(1, {7}), 7, 7, 7, 7);
  check(Pixels<Word>(1, {7}), 7, 7, 7, 7);
  check(Pixels<float>(1, {7}), 7, 7, 7, 7);
  check(Pixels<Byte>(1, {0, 255, 255, 0}), 0, 255, 510, 127.5);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinity = std::numeric_limits<float>::infinity();
  check(Pixels<float>(1, {nan, 3, -nan, -2.5f}), -2.5, 3, kNan, kNan);
  check(Pixels<float>(1, {-nan, nan, nan}), kNan, kNan, kNan, kNan);
  check(Pixels<float>(1, {0.0f, -0.0f, 0.0f}), -0.0, 0, 0, 0);
  check(Pixels<float>(1, {infinity, -infinity}), -kInfinity, kInfinity, kNan, kNan);
  check(Pixels<float>(1, {infinity, nan}), kInfinity, kInfinity, kNan, kNan);
  check(Pixels<float>(1, {-3e38f, -3e38f}), -3e38f, -3e38f, -2.0 * 3e38f, -3e38f);
  checkAll(Pixels<float>(1, awkwardValues<float>()));

  MirlScalar average, deviation;
  const MirlImage three = toImage(Pixels<Byte>(3, {2, 5, 0, 4, 5, 255}));
  EXPECT_EQ(meanStdDev(three, average, deviation), MIRL_SUCCESS);
  EXPECT_TRUE(same(average, {3, 5, 127.5, 0}));
  EXPECT_TRUE(same(deviation, {1, 0, 127.5, 0}));
}

TEST_P(ImageStatistics, BoundsOfRanges) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const struct {
    double lower, upper, bytes, floats;
  } rows[] = {{10.9, 10.9, 1, 0},
              {10, 11, 2, 3},
              {11, 10, 0, 0},
              {-kInfinity, kInfinity, 5, 7},
              {-5, -1, 1, 0},
              {-1e300, 1e300, 5, 7},
              {255.5, 1e9, 1, 0},
              {kNan, 10, 2, 0},
              {0, kNan, 1, 0},
              {0, 0, 1, 2},
              {-0.0, -0.0, 1, 2},
              {10.4999999999, 10.5, 1, 1},
              {kInfinity, kInfinity, 1, 1}};
  const MirlImage bytes = toImage(Pixels<Byte>(1, {0, 10, 11, 128, 255}));
  const MirlImage floats = toImage(Pixels<float>(
      1, {0.0f, -0.0f, 10, 10.5f, 11, -nan, nan, -256, std::numeric_limits<float>::infinity()}));
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.lower << " to " << row.upper);
    MirlScalar lower(row.lower), upper(row.upper), counts(kOld);
    EXPECT_EQ(countInRange(bytes, counts, lower, upper), MIRL_SUCCESS);
    EXPECT_TRUE(same(counts, {row.bytes, kOld, kOld, kOld}));
    EXPECT_EQ(countInRange(floats, lower, lower, upper), MIRL_SUCCESS) << "in place of a bound";
    EXPECT_TRUE(same(lower, {row.floats, row.lower, row.lower, row.lower}));
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
    MirlScalar total(kOld);
    EXPECT_EQ(sum(toImage(whole), total), MIRL_SUCCESS);
    EXPECT_TRUE(same(total, expectedOf(whole, [](auto& e, int) {
                       double exact = 0;
                       for (const float v : e) exact += static_cast<double>(v);
                       return exact;
                     })));

    const auto pixels = randomPixels<float>(width, height, channels, 6);
    const MirlImage image = toImage(pixels, pixels.rowBytes() + 4);
    EXPECT_EQ(sum(image, total), MIRL_SUCCESS);
    const Values near = expectedOf(pixels, [](auto& e, int) {
      long double exact = 0;
      for (const float v : e) exact += static_cast<long double>(v);
      return static_cast<double>(exact);
    });
    for (int c = 0; c < channels; ++c) {
      EXPECT_NEAR(total[c], near[static_cast<std::size_t>(c)], 1e-6);
    }
    const Values first = valuesOf(total);
    onThreads(3, [&](int) {
      MirlScalar again(kOld);
      EXPECT_EQ(sum(image, again), MIRL_SUCCESS);
      EXPECT_TRUE(same(again, first));
    });
    device::setCurrentDevice(host);
    MirlScalar onHost(kOld);
    EXPECT_EQ(sum(toImage(pixels), onHost), MIRL_SUCCESS);
    EXPECT_TRUE(same(onHost, first)) << "the host device and a pitch of its own";
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
    MirlScalar total;
    EXPECT_EQ(sum(toImage(pixels), total), MIRL_SUCCESS);
    EXPECT_TRUE(same(total, expected));
  }
}

struct Operation {
  const char* name;
  MirlStatus onEmpty;
  MirlStatus onOther;  // another type
  std::vector<MirlType> served;
  std::function<MirlStatus(const MirlImage&, MirlScalar&, MirlScalar&, const MirlStream&)> run;
};

std::vector<Operation> operations() {
  const std::vector<MirlType> all = {MIRL_8U_C1,  MIRL_8U_C3,  MIRL_16U_C1,
                                     MIRL_16U_C3, MIRL_32F_C1, MIRL_32F_C3};
  const auto single = [](MirlStatus (*f)(const MirlImage&, MirlScalar&, const MirlStream&)) {
    return [f](const MirlImage& in, MirlScalar& a, MirlScalar&, const MirlStream& s) {
      return f(in, a, s);
    };
  };
  const MirlStatus empty = MIRL_IMAGE_NOT_INITIALIZED;
  return {{"min", empty, MIRL_MISMATCH, all, single(imageStatistics::min)},
          {"max", empty, MIRL_MISMATCH, all, single(imageStatistics::max)},
          {"minMax", MIRL_MISMATCH, MIRL_MISMATCH, all, minMax},
          {"sum", empty, MIRL_MISMATCH, all, single(sum)},
          {"mean", empty, MIRL_MISMATCH, all, single(mean)},
          {"meanStdDev", empty, MIRL_MISMATCH, {MIRL_8U_C1, MIRL_8U_C3}, meanStdDev},
          {"countInRange",
           MIRL_MISMATCH,
           MIRL_DEPTH_NOT_SUPPORTED,
           {MIRL_8U_C1, MIRL_8U_C3, MIRL_32F_C1, MIRL_32F_C3},
           [](const MirlImage& in, MirlScalar& a, MirlScalar& b, const MirlStream& s) {
             return countInRange(in, a, b, b, s);
           }}};
}

TEST_P(ImageStatistics, Statuses) {
  const MirlStream alive(true);
  MirlStream dead(true);
  dead.destroy();
  const MirlImage odd(MirlSize(5, 5), 128, 1);
  ASSERT_TRUE(odd.isInitialized());
  for (const Operation& operation : operations()) {
    SCOPED_TRACE(operation.name);
    MirlScalar a(kOld), b(kOld);
    const auto refused = [&](MirlStatus status, const MirlImage& in, const MirlStream& stream) {
      EXPECT_EQ(operation.run(in, a, b, stream), status);
      EXPECT_TRUE(same(a, {kOld, kOld, kOld, kOld}));
      EXPECT_TRUE(same(b, {kOld, kOld, kOld, kOld}));
    };
    refused(operation.onEmpty, MirlImage(), dead);
    refused(operation.onOther, odd, alive);
    for (const Format& format : allFormats()) {
      SCOPED_TRACE("type " + std::to_string(format.type));
      const MirlImage image(MirlSize(19, 3), format.type);
      const auto& types = operation.served;
      const bool served = std::find(types.begin(), types.end(), format.type) != types.end();
      refused(MIRL_INVALID_ARGUMENT, image, dead);
      if (!served) refused(operation.onOther, image, alive);
      if (served) {
        const struct {
          runtime::Call call;
          MirlStatus status;
        } faults[] = {{runtime::Call::allocate, MIRL_DEVICE_ALLOC_FAILED},
                      {runtime::Call::pinned, MIRL_DEVICE_ALLOC_FAILED},
                      {runtime::Call::copy, MIRL_COPY_D2H_FAILED}};
        for (const auto& fault : faults) {
          const FailNth failing(fault.call);
          refused(fault.status, image, alive);
        }
        EXPECT_EQ(operation.run(image, a, b, alive), MIRL_SUCCESS);
        a = b = MirlScalar(kOld);
      }
    }
    if (device::getDeviceCount() > 1) {
      const MirlImage image(MirlSize(19, 3), MIRL_8U_C1);
      device::setCurrentDevice(GetParam() == 0 ? 1 : 0);
      refused(MIRL_MISMATCH, image, MirlStream(true));
      device::setCurrentDevice(GetParam());
    }
  }
}

TEST_P(ImageStatistics, DeadImages) {
  const MirlImage image = toImage(randomPixels<Byte>(9, 9, 1, 1));
  device::resetCurrentDevice();
  for (const Operation& operation : operations()) {
    MirlScalar a(kOld), b(kOld);
    EXPECT_EQ(operation.run(image, a, b, MirlStream()), operation.onEmpty) << operation.name;
    EXPECT_TRUE(same(a, {kOld, kOld, kOld, kOld}));
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
  const auto pixels = randomPixels<Byte>(811, 611, 3, 3);
  const MirlImage image = toImage(pixels);
  const auto ops = operations();
  std::vector<std::array<MirlScalar, 2>> expected(ops.size());
  for (std::size_t i = 0; i < ops.size(); ++i) {
    EXPECT_EQ(ops[i].run(image, expected[i][0], expected[i][1], MirlStream()), MIRL_SUCCESS);
  }
  onThreads(3, [&](int thread) {
    const MirlStream stream(true);
    for (std::size_t k = 0; k < 3 * ops.size(); ++k) {
      const std::size_t i = (k + static_cast<std::size_t>(thread)) % ops.size();
      MirlScalar a, b;
      EXPECT_EQ(ops[i].run(image, a, b, stream), MIRL_SUCCESS);
      EXPECT_TRUE(same(a, valuesOf(expected[i][0]))) << ops[i].name;
      EXPECT_TRUE(same(b, valuesOf(expected[i][1]))) << ops[i].name;
    }
  });
}

MIRL_TEST_ON_ALL_DEVICES(ImageStatistics);

}  // namespace
}  // namespace mirl::test
