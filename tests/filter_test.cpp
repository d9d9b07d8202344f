// MirlFilter and the special filters, as objects.

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "support.h"

namespace mirl::test {
namespace {

std::vector<float> entriesOf(const MirlFilter& filter) {
  return {filter.coeffs(), filter.coeffs() + filter.width() * filter.height()};
}

class Filter : public testing::Test {
 protected:
  void SetUp() override { before_ = runtime::live(); }
  void TearDown() override { EXPECT_EQ(runtime::live().pinnedBlocks, before_.pinnedBlocks); }

 private:
  runtime::Live before_;
};

TEST_F(Filter, HasADefaultAnchorThatLooksRightAndDown) {
  const std::pair<int, int> anchors[] = {{1, 0}, {2, 0}, {3, -1}, {4, -1}, {5, -2}, {8, -3}};
  for (const auto& [size, anchor] : anchors) {
    const MirlFilter filter(size, 1);
    EXPECT_EQ(filter.anchor().x, anchor) << size;
    EXPECT_EQ(MirlFilter(1, size).anchor().y, anchor) << size;
  }
  const MirlFilter off(MirlSize(3, 2), MirlPoint2D<int>(7, -9));
  EXPECT_EQ(off.anchor().x, 7);
  EXPECT_EQ(off.anchor().y, -9);
}

TEST_F(Filter, AddressesColumnsThenRows) {
  const float values[] = {1, 2, 3, 4, 5, 6};
  MirlFilter filter(3, 2, values);
  EXPECT_EQ(entriesOf(filter), std::vector<float>(values, values + 6));
  EXPECT_EQ(filter(2, 0), 3.0f);
  EXPECT_EQ(filter(0, 1), 4.0f);
  EXPECT_EQ(filter[5], 6.0f);
  filter(1, 1) = 50.0f;
  EXPECT_EQ(filter.coeffs()[4], 50.0f);
  EXPECT_EQ(values[4], 5.0f);
  for (const auto& [i, j] : {std::pair{3, 0}, {0, 2}, {-1, 0}, {0, -1}}) {
    filter(i, j) = 9.0f;
    EXPECT_EQ(filter(i, j), 0.0f);
  }
  filter[6] = filter[-1] = 9.0f;
  EXPECT_EQ(filter[6], 0.0f);
  EXPECT_EQ(entriesOf(filter), (std::vector<float>{1, 2, 3, 4, 50, 6}));
  EXPECT_EQ(entriesOf(MirlFilter(MirlSize(2, 2), nullptr)), std::vector<float>(4, 0.0f));
  MirlFilter none;
  none[0] = 3.0f;
  EXPECT_EQ(none(0, 0), 0.0f);
}

TEST_F(Filter, IsCreatedOnceAndReleasedOnce) {
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
  for (const MirlSize& size : {MirlSize(0, 3), MirlSize(3, 0), MirlSize(-1, -1)}) {
    EXPECT_FALSE(MirlFilter(size).isInitialized());
  }
  const int huge = std::numeric_limits<int>::max();
  EXPECT_FALSE(MirlFilter(huge, huge).isInitialized());
}

TEST_F(Filter, OwnsItsMatrixAlone) {
  const float values[] = {1, 2, 3};
  MirlFilter a(3, 1, MirlPoint2D<int>(4, 4), values);
  MirlFilter b(a);
  b[0] = 10.0f;
  EXPECT_EQ(a[0], 1.0f);
  EXPECT_EQ(b.anchor().x, 4);
  MirlFilter c(9, 9);
  c = a;
  EXPECT_EQ(entriesOf(c), entriesOf(a));
  EXPECT_NE(c.coeffs(), a.coeffs());
  float* const block = c.coeffs();
  MirlFilter d(std::move(c));
  EXPECT_EQ(d.coeffs(), block);
  EXPECT_FALSE(c.isInitialized());
  d = std::move(b);
  EXPECT_EQ(d[0], 10.0f);
  EXPECT_FALSE(b.isInitialized());
  MirlFilter& self = d;
  d = self;
  EXPECT_EQ(d[0], 10.0f);
  d = MirlFilter();
  EXPECT_FALSE(d.isInitialized());
}

TEST_F(Filter, ReportsWhatFails) {
  runtime::failNth(runtime::Call::pinned, 1);
  EXPECT_FALSE(MirlFilter(3, 3).isInitialized());
  MirlFilter filter(3, 3);
  runtime::failNth(runtime::Call::pinned, 1);
  EXPECT_FALSE(filter.release());
  EXPECT_TRUE(filter.isInitialized());
  runtime::failNth(runtime::Call::pinned, 1);
  EXPECT_FALSE(MirlFilter(filter).isInitialized());
}

TEST(SpecialFilters, HaveTheirMatrices) {
  using Entries = std::vector<float>;
  EXPECT_EQ(entriesOf(MirlSpecialFilters::average(MirlSize(3, 3))), Entries(9, 1.0f / 9.0f));
  EXPECT_EQ(entriesOf(MirlSpecialFilters::prewitt()), (Entries{1, 1, 1, 0, 0, 0, -1, -1, -1}));
  EXPECT_EQ(entriesOf(MirlSpecialFilters::scharr()), (Entries{3, 10, 3, 0, 0, 0, -3, -10, -3}));
  EXPECT_EQ(entriesOf(MirlSpecialFilters::sobel()), (Entries{1, 2, 1, 0, 0, 0, -1, -2, -1}));
  const Entries plain{0, 1, 0, 1, -4, 1, 0, 1, 0};
  for (const float alpha : {0.0f, -3.0f}) {
    EXPECT_EQ(entriesOf(MirlSpecialFilters::laplacian(alpha)), plain);
    EXPECT_EQ(entriesOf(MirlSpecialFilters::unsharp(alpha)),
              (Entries{0, -1, 0, -1, 5, -1, 0, -1, 0}));
  }
  const Entries full{0.5f, 0, 0.5f, 0, -2, 0, 0.5f, 0, 0.5f};
  EXPECT_EQ(entriesOf(MirlSpecialFilters::laplacian(1.0f)), full);
  EXPECT_EQ(entriesOf(MirlSpecialFilters::laplacian(2.0f)), full);
  const Entries third = entriesOf(MirlSpecialFilters::unsharp(0.2f));
  EXPECT_EQ(third[0], -(0.2f / 1.2f));
  EXPECT_EQ(third[1], -(0.8f / 1.2f));
  EXPECT_EQ(third[4], static_cast<float>(1.0 + static_cast<double>(4.0f / 1.2f)));
}

TEST(SpecialFilters, GaussianSumsToOneAroundTheMiddle) {
  EXPECT_EQ(entriesOf(MirlSpecialFilters::gaussian(MirlSize(1, 1), 2.0f)),
            std::vector<float>{1.0f});
  for (const MirlSize& size : {MirlSize(3, 3), MirlSize(4, 7), MirlSize(2, 2)}) {
    const MirlFilter filter = MirlSpecialFilters::gaussian(size, 1.5f);
    double sum = 0.0;
    for (int j = 0; j < size.height; ++j) {
      for (int i = 0; i < size.width; ++i) {
        EXPECT_EQ(filter(i, j), filter(size.width - 1 - i, size.height - 1 - j));
        const double x = i - (size.width - 1) / 2.0;
        const double y = j - (size.height - 1) / 2.0;
        const double ratio = std::exp(-(x * x + y * y) / 4.5);
        const double middleX = (size.width - 1) % 2 / 2.0;
        const double middleY = (size.height - 1) % 2 / 2.0;
        const double middle = std::exp(-(middleX * middleX + middleY * middleY) / 4.5);
        EXPECT_NEAR(filter(i, j) / filter(size.width / 2, size.height / 2), ratio / middle, 1e-6);
        sum += filter(i, j);
      }
    }
    EXPECT_NEAR(sum, 1.0, 1e-6);
  }
  const MirlFilter undefined = MirlSpecialFilters::gaussian(MirlSize(3, 3), 0.0f);
  EXPECT_TRUE(std::isnan(undefined(1, 1)));
  EXPECT_EQ(undefined(0, 0), 0.0f);
}

}  // namespace
}  // namespace mirl::test
