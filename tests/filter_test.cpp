// MirlFilter and the special filters, as objects.

#include <cmath>

#include "support.h"

namespace mirl::test {
namespace {

using Entries = std::vector<float>;

Entries entriesOf(const MirlFilter& filter) {
  return {filter.coeffs(), filter.coeffs() + filter.width() * filter.height()};
}

MIRL_DEVICE_TESTS(Filter);

TEST_P(Filter, HasADefaultAnchorThatLooksRightAndDown) {
  for (const auto& [size, anchor] : {std::pair{1, 0}, {2, 0}, {3, -1}, {4, -1}, {5, -2}, {8, -3}}) {
    EXPECT_EQ(MirlFilter(size, 1).anchor().x, anchor) << size;
    EXPECT_EQ(MirlFilter(1, size).anchor().y, anchor) << size;
  }
}

TEST_P(Filter, AddressesColumnsThenRows) {
  const float values[] = {1, 2, 3, 4, 5, 6};
  MirlFilter filter(3, 2, values), none;
  filter(1, 1) = 50.0f;
  for (const auto& [i, j] : {std::pair{3, 0}, {0, 2}, {-1, 0}, {0, -1}}) {
    filter(i, j) = 9.0f;
    EXPECT_EQ(filter(i, j), 0.0f);
  }
  filter[6] = filter[-1] = none[0] = 9.0f;
  EXPECT_EQ(filter[6] + none(0, 0), 0.0f);
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
  EXPECT_EQ(std::tuple(filter.width(), filter.height(), filter.coeffs(), filter.anchor().y),
            std::tuple(0, 0, nullptr, 2));
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
  MirlFilter d(std::move(c));
  d = std::move(b);
  for (const MirlFilter* gone : {&b, &c}) EXPECT_FALSE(gone->isInitialized());
  MirlFilter& self = d;
  d = self;
  EXPECT_EQ(d[0], 10.0f);
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
  using Special = MirlSpecialFilters;
  const float corner = -(0.2f / 1.2f), edge = -(0.8f / 1.2f);
  const auto middle = static_cast<float>(1.0 + static_cast<double>(4.0f / 1.2f));
  const Entries plain{0, 1, 0, 1, -4, 1, 0, 1, 0}, sharp{0, -1, 0, -1, 5, -1, 0, -1, 0};
  const Entries full{0.5f, 0, 0.5f, 0, -2, 0, 0.5f, 0, 0.5f};
  const std::pair<MirlFilter, Entries> rows[] = {
      {Special::average(MirlSize(3, 3)), Entries(9, 1.0f / 9.0f)},
      {Special::prewitt(), {1, 1, 1, 0, 0, 0, -1, -1, -1}},
      {Special::scharr(), {3, 10, 3, 0, 0, 0, -3, -10, -3}},
      {Special::sobel(), {1, 2, 1, 0, 0, 0, -1, -2, -1}},
      {Special::laplacian(0), plain},
      {Special::laplacian(-3), plain},
      {Special::laplacian(1), full},
      {Special::laplacian(2), full},
      {Special::unsharp(0), sharp},
      {Special::unsharp(-3), sharp},
      {Special::unsharp(0.2f), {corner, edge, corner, edge, middle, edge, corner, edge, corner}}};
  for (const auto& [filter, entries] : rows) EXPECT_EQ(entriesOf(filter), entries);
}

TEST_P(Filter, GaussianSumsToOneAroundTheMiddle) {
  for (const MirlSize& size : {MirlSize(1, 1), MirlSize(3, 3), MirlSize(4, 7), MirlSize(2, 2)}) {
    const int count = size.width * size.height;
    const MirlFilter filter = MirlSpecialFilters::gaussian(size, 1.5f);
    const auto weight = [&](int k) {
      const double x = k % size.width - (size.width - 1) / 2.0,
                   y = k / size.width - (size.height - 1) / 2.0;
      return std::exp(-(x * x + y * y) / 4.5);
    };
    double weights = 0.0;
    for (int k = 0; k < count; ++k) weights += weight(k);
    for (int k = 0; k < count; ++k) {
      EXPECT_NEAR(filter[k], weight(k) / weights, 1e-7) << k;
      EXPECT_EQ(filter[k], filter[count - 1 - k]);
    }
  }
  const MirlFilter undefined = MirlSpecialFilters::gaussian(MirlSize(3, 3), 0.0f);
  EXPECT_TRUE(std::isnan(undefined(1, 1)));
  EXPECT_EQ(undefined(0, 0), 0.0f);
}

}  // namespace
}  // namespace mirl::test
