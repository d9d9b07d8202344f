// MirlScalar: its values, who owns the block, and life without one.

#include "support.h"

#include <array>
#include <climits>
#include <cmath>
#include <limits>
#include <set>

namespace mirl::test {
namespace {

using Values = std::array<double, 4>;

Values valuesOf(const MirlScalar& scalar) {
  return {scalar[0], scalar[1], scalar[2], scalar[3]};
}

class Scalar : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(runtime::live().pinnedBlocks, before_); }
  long held() const { return runtime::live().pinnedBlocks - before_; }

 private:
  long before_ = runtime::live().pinnedBlocks;
};

TEST_F(Scalar, Constructors) {
  const double inf = std::numeric_limits<double>::infinity();
  struct Row {
    MirlScalar scalar;
    Values values;
    bool isInteger;
  };
  const Row rows[] = {
      {MirlScalar(), {0, 0, 0, 0}, true},
      {MirlScalar(5), {5, 5, 5, 5}, true},
      {MirlScalar(INT_MIN), {-2147483648.0, -2147483648.0, -2147483648.0, -2147483648.0}, true},
      {MirlScalar(1, 2, 3), {1, 2, 3, 0}, true},
      {MirlScalar(1, -2, 3, INT_MAX), {1, -2, 3, 2147483647.0}, true},
      {MirlScalar(1.5), {1.5, 1.5, 1.5, 1.5}, false},
      {MirlScalar(1.5, -2.5, 1e300), {1.5, -2.5, 1e300, 0}, false},
      {MirlScalar(0.1, 0.2, 0.3, inf), {0.1, 0.2, 0.3, inf}, false},
      {7, {7, 7, 7, 7}, true},
      {7.0, {7, 7, 7, 7}, false},
  };
  EXPECT_EQ(held(), static_cast<long>(std::size(rows)));
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(valuesOf(rows[i].scalar), rows[i].values) << "row " << i;
    EXPECT_EQ(rows[i].scalar.isInteger(), rows[i].isInteger) << "row " << i;
    EXPECT_EQ(std::memcmp(rows[i].scalar.vals(), rows[i].values.data(), sizeof(Values)), 0);
  }
}

TEST_F(Scalar, EntriesAreTheBlock) {
  MirlScalar scalar(1, 2, 3, 4);
  scalar[2] = -8.5;
  scalar.vals()[3] = 9.0;
  EXPECT_EQ(valuesOf(scalar), (Values{1, 2, -8.5, 9}));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(&scalar[i], scalar.vals() + i);
  EXPECT_TRUE(scalar.isInteger()) << "it tells how the scalar was built, not what it holds";
}

TEST_F(Scalar, OtherEntriesAreASpare) {
  MirlScalar scalar(1, 2, 3, 4);
  const MirlScalar& constant = scalar;
  for (const int i : {-1, 4, 5, INT_MIN, INT_MAX}) {
    scalar[i] = 7.0;
    EXPECT_EQ(scalar[i], 0.0) << i;
    scalar[i] = 7.0;
    EXPECT_EQ(constant[i], 0.0) << i;
  }
  EXPECT_EQ(valuesOf(scalar), (Values{1, 2, 3, 4}));
}

TEST_F(Scalar, CopiesOwnTheirBlocks) {
  MirlScalar a(1, 2, 3, 4);
  const MirlScalar fraction(0.5);
  MirlScalar b(fraction);
  const double* own = b.vals();
  b = a;
  EXPECT_EQ(b.vals(), own) << "assignment keeps the block";
  EXPECT_EQ(valuesOf(b), (Values{1, 2, 3, 4}));
  EXPECT_TRUE(b.isInteger());
  MirlScalar c(b);
  EXPECT_TRUE(c.isInteger());
  EXPECT_FALSE(MirlScalar(fraction).isInteger());
  b[0] = 70;
  c[1] = 80;
  EXPECT_EQ(valuesOf(a), (Values{1, 2, 3, 4}));
  EXPECT_EQ(valuesOf(b), (Values{70, 2, 3, 4}));
  EXPECT_EQ(valuesOf(c), (Values{1, 80, 3, 4}));

  const MirlScalar& itself = c;
  c = itself;
  EXPECT_EQ(valuesOf(c), (Values{1, 80, 3, 4}));
  EXPECT_EQ(held(), 4);
}

TEST_F(Scalar, MovesTakeTheBlockAlong) {
  MirlScalar a(1.5);
  const double* block = a.vals();
  MirlScalar b(std::move(a));
  EXPECT_EQ(b.vals(), block);
  EXPECT_FALSE(b.isInteger());
  EXPECT_EQ(a.vals(), nullptr);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(valuesOf(a), Values{});

  MirlScalar c(2);
  c = std::move(b);
  EXPECT_EQ(c.vals(), block);
  EXPECT_FALSE(c.isInteger());
  EXPECT_EQ(b.vals(), nullptr) << "a moved-from scalar has no block";  // NOLINT
  EXPECT_EQ(valuesOf(b), Values{});
  EXPECT_EQ(held(), 1);

  MirlScalar& itself = c;
  c = std::move(itself);
  EXPECT_EQ(c.vals(), block);

  a = c;
  b = MirlScalar(6);
  EXPECT_EQ(valuesOf(a), (Values{1.5, 1.5, 1.5, 1.5}));
  EXPECT_EQ(valuesOf(b), (Values{6, 6, 6, 6}));
  EXPECT_EQ(held(), 3);

  std::vector<MirlScalar> many;
  for (int i = 0; i < 100; ++i) many.emplace_back(i);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(many[static_cast<std::size_t>(i)][3], i);
}

TEST_F(Scalar, NegationFlipsSigns) {
  const MirlScalar scalar(1, -2, 0, INT_MIN);
  const MirlScalar negated = -scalar;
  EXPECT_EQ(valuesOf(negated), (Values{-1, 2, -0.0, 2147483648.0}));
  EXPECT_TRUE(std::signbit(negated[2])) << "zero has a sign too";
  EXPECT_FALSE(negated.isInteger());
  EXPECT_EQ(valuesOf(scalar), (Values{1, -2, 0, INT_MIN}));
  EXPECT_TRUE(scalar.isInteger());
}

TEST_F(Scalar, WithoutABlockEntriesReadZero) {
  const MirlScalar good(1, 2, 3, 4);
  {
    const FailNth fail(runtime::Call::pinned);
    MirlScalar scalar(5);
    EXPECT_EQ(scalar.vals(), nullptr);
    EXPECT_EQ(std::as_const(scalar).vals(), nullptr);
    for (int i = -1; i < 5; ++i) {
      scalar[i] = 7.0;
      EXPECT_EQ(scalar[i], 0.0);
    }
    EXPECT_TRUE(scalar.isInteger());
    EXPECT_EQ(held(), 1);

    const MirlScalar copy(scalar);
    EXPECT_NE(copy.vals(), nullptr);
    EXPECT_EQ(valuesOf(copy), Values{});
    EXPECT_EQ(valuesOf(-scalar), Values{});

    runtime::failNth(runtime::Call::pinned, 1);
    scalar = good;
    EXPECT_EQ(scalar.vals(), nullptr) << "it asked again and failed again";
    scalar = good;
    EXPECT_EQ(valuesOf(scalar), (Values{1, 2, 3, 4}));
  }
  const FailNth fail(runtime::Call::pinned);
  MirlScalar copy(good);
  EXPECT_EQ(copy.vals(), nullptr);
  MirlScalar taken(std::move(copy));
  EXPECT_EQ(taken.vals(), nullptr);
  EXPECT_EQ(valuesOf(good), (Values{1, 2, 3, 4}));
}

// Blocks come from a pool, so making scalars over and over must not touch new memory.
TEST_F(Scalar, ManyScalarsUseFewBlocks) {
  std::set<const double*> blocks;
  for (int i = 0; i < 10000; ++i) {
    const MirlScalar scalar(i, 2 * i, -i, 1);
    ASSERT_EQ(valuesOf(scalar), (Values{1.0 * i, 2.0 * i, -1.0 * i, 1}));
    blocks.insert(scalar.vals());
  }
  EXPECT_LE(blocks.size(), 64u * 1024 / 32) << "more than one slab of blocks";
  EXPECT_EQ(held(), 0);

  // Ones that live at once are apart from each other, over several slabs.
  blocks.clear();
  std::vector<MirlScalar> alive;
  for (int i = 0; i < 5000; ++i) blocks.insert(alive.emplace_back(i).vals());
  EXPECT_EQ(blocks.size(), alive.size());
  EXPECT_EQ(held(), 5000);
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(alive[static_cast<std::size_t>(i)][3], i);
}

// All of them are made before and given up after: the pool's lock would put the threads in order.
TEST_F(Scalar, ThreadsDontMeet) {
  const MirlScalar shared(3.5);
  std::vector<MirlScalar> own(2);
  onThreads(2, [&](int thread) {
    MirlScalar& mine = own[static_cast<std::size_t>(thread)];
    for (int i = 0; i < 2000; ++i) {
      mine[4] = 1.0;
      mine[0] = shared[1] + mine[4] + shared[-1] + i;
      ASSERT_EQ(mine[0], 3.5 + i);
    }
  });
}

}  // namespace
}  // namespace mirl::test
