// MirlFilter and the special filters, as objects.

#include <cmath>

#include "support.h"

namespace mirl::test {
namespace {

using Entries = std::vector<float>;

Entries entriesOf(const MirlFilter& filter) {
  return {filter.coeffs(), filter.coeffs() + filter.width() * filter.height()};
}

class Filter : public DeviceTest {};

TEST_P(Filter, HasADefaultAnchorThatLooksRightAndDown) {
  for (const auto& [size, anchor] : {std::pair{1, 0}, {2, 0}, {3, -1}, {4, -1}, {5, -2}, {8, -3}}) {
    EXPECT_EQ(MirlFilter(size, 1).anchor().x, anchor) << size;
    EXPECT_EQ(MirlFilter(1, size).anchor().y, anchor) << size;
  }
  const MirlFilter off(MirlSize(3, 2), MirlPoint2D<int>(7, -9));
  EXPECT_EQ(std::pair(off.anchor().x, off.anchor().y), std::pair(7, -9));
}

TEST_P(Filter, AddressesColumnsThenRows) {
  const float values[] = {1, 2, 3, 4, 5, 6};
  MirlFilter filter(3, 2, values), none;
  EXPECT_EQ(entriesOf(filter), Entries(values, values + 6));
  EXPECT_EQ(filter(2, 0), 3.0f);
  EXPECT_EQ(filter(0, 1), 4.0f);
  EXPECT_EQ(filter[5], 6.0f);
  filter(1, 1) = 50.0f;
  for (const auto& [i, j] : {std::pair{3, 0}, {0, 2}, {-1, 0}, {0, -1}}) {
    filter(i, j) = 9.0f;
    EXPECT_EQ(filter(i, j), 0.0f);
  }
  filter[6] = filter[-1] = none[0] = 9.0f;
  EXPECT_EQ(filter[6], 0.0f);
  EXPECT_EQ(none(0, 0), 0.0f);
  EXPECT_EQ(entriesOf(filter), (Entries{1, 2, 3, 4, 50, 6}));
  EXPECT_EQ(entriesOf(MirlFilter(MirlSize(2, 2), nullptr)), Entries(4, 0.0f));
}

TEST_P(Filter, IsCreatedOnceAndReleasedOnce) {
  MirlFilter filter;
  EXPECT_FALSE(filter.release());
  EXPECT_TRUE(filter.create(3, 5, MirlPoint2D<int>(1, 2)));
  EXPECT_FALSE(filter.create(MirlSize(7, 7)));
  EXPECT_EQ(filter.width(), 3);
  EXPECT_TRUE(filter.release());
  EXPECT_FALSE(filter.isInitialized());
  EXPECT_EQ(filter.width() + filter.height(), 0);
  EXPECT_EQ(filter.coeffs(), nullptr);
  EXPECT_EQ(filter.anchor().y, 2);
  EXPECT_TRUE(filter.create(MirlSize(2, 2)));
  const int huge = std::numeric_limits<int>::max();
  for (const auto& [width, height] : {std::pair{0, 3}, {3, 0}, {-1, -1}, {huge, huge}}) {
    EXPECT_FALSE(MirlFilter(width, height).isInitialized());
  }
}

TEST_P(Filter, OwnsItsMatrixAlone) {
  const float values[] = {1, 2, 3};
  MirlFilter a(3, 1, MirlPoint2D<int>(4, 4), values), b(a), c(9, 9);
  b[0] = 10.0f;
  c = a;
  EXPECT_EQ(entriesOf(a), (Entries{1, 2, 3}));
  EXPECT_EQ(b.anchor().x, 4);
  EXPECT_EQ(entriesOf(c), entriesOf(a));
  EXPECT_NE(c.coeffs(), a.coeffs());
  const float* const block = c.coeffs();
  MirlFilter d(std::move(c));
  EXPECT_EQ(d.coeffs(), block);
  d = std::move(b);
  for (const MirlFilter* gone : {&b, &c}) EXPECT_FALSE(gone->isInitialized());
  MirlFilter& self = d;
  d = self;
  EXPECT_EQ(d[0], 10.0f);
  d = MirlFilter();
  EXPECT_FALSE(d.isInitialized());
}

TEST_P(Filter, ReportsWhatFails) {
  MirlFilter filter(3, 3);
  const FailNth disarmed(runtime::Call::pinned, 0);
  const auto failing = [](const auto& result) {
    runtime::failNth(runtime::Call::pinned, 1);
    return result();
  };
  EXPECT_FALSE(failing([] { return MirlFilter(3, 3).isInitialized(); }));
  EXPECT_FALSE(failing([&] { return MirlFilter(filter).isInitialized(); }));
  EXPECT_FALSE(failing([&] { return filter.release(); }));
  EXPECT_TRUE(filter.isInitialized());
}

TEST_P(Filter, SpecialOnesHaveTheirMatrices) {
  EXPECT_EQ(entriesOf(MirlSpecialFilters::average(MirlSize(3, 3))), Entries(9, 1.0f / 9.0f));
  EXPECT_EQ(entriesOf(MirlSpecialFilters::prewitt()), (Entries{1, 1, 1, 0, 0, 0, -1, -1, -1}));
  EXPECT_EQ(entriesOf(MirlSpecialFilters::scharr()), (Entries{3, 10, 3, 0, 0, 0, -3, -10, -3}));
  EXPECT_EQ(entriesOf(MirlSpecialFilters::sobel()), (Entries{1, 2, 1, 0, 0, 0, -1, -2, -1}));
  const Entries plain{0, 1, 0, 1, -4, 1, 0, 1, 0}, sharp{0, -1, 0, -1, 5, -1, 0, -1, 0};
  const Entries full{0.5f, 0, 0.5f, 0, -2, 0, 0.5f, 0, 0.5f};
  for (const float alpha : {0.0f, -3.0f}) {
    EXPECT_EQ(entriesOf(MirlSpecialFilters::laplacian(alpha)), plain);
    EXPECT_EQ(entriesOf(MirlSpecialFilters::unsharp(alpha)), sharp);
  }
  for (const float alpha : {1.0f, 2.0f}) {
    EXPECT_EQ(entriesOf(MirlSpecialFilters::laplacian(alpha)), full);
  }
  const float corner = -(0.2f / 1.2f), edge = -(0.8f / 1.2f);
  const auto middle = static_cast<float>(1.0 + static_cast<double>(4.0f / 1.2f));
  EXPECT_EQ(entriesOf(MirlSpecialFilters::unsharp(0.2f)),
            (Entries{corner, edge, corner, edge, middle, edge, corner, edge, corner}));
}

TEST_P(Filter, GaussianSumsToOneAroundTheMiddle) {
  EXPECT_EQ(entriesOf(MirlSpecialFilters::gaussian(MirlSize(1, 1), 2.0f)), Entries{1.0f});
  for (const MirlSize& size : {MirlSize(3, 3), MirlSize(4, 7), MirlSize(2, 2)}) {
    const MirlFilter filter = MirlSpecialFilters::gaussian(size, 1.5f);
    const auto weight = [&](int i, int j) {
      const double x = i - (size.width - 1) / 2.0, y = j - (size.height - 1) / 2.0;
      return std::exp(-(x * x + y * y) / 4.5);
    };
    double sum = 0.0, weights = 0.0;
    for (int k = 0; k < size.width * size.height; ++k) {
      sum += filter[k];
      weights += weight(k % size.width, k / size.width);
    }
    EXPECT_NEAR(sum, 1.0, 1e-6);
    for (int k = 0; k < size.width * size.height; ++k) {
      EXPECT_NEAR(filter[k], weight(k % size.width, k / size.width) / weights, 1e-7) << k;
      EXPECT_EQ(filter[k], filter[size.width * size.height - 1 - k]);
    }
  }
  const MirlFilter undefined = MirlSpecialFilters::gaussian(MirlSize(3, 3), 0.0f);
  EXPECT_TRUE(std::isnan(undefined(1, 1)));
  EXPECT_EQ(undefined(0, 0), 0.0f);
}

MIRL_TEST_ON_ALL_DEVICES(Filter);

}  // namespace
}  // namespace mirl::test
