// MirlScalar: its values, who owns the block, and life without one.

#include "support.h"

#include <array>
#include <climits>
#include <cmath>
#include <set>

namespace mirl::test {
namespace {

using Values = std::array<double, 4>;

Values valuesOf(const MirlScalar& scalar) {
  return {scalar[0], scalar[1], scalar[2], scalar[3]};
}

class Scalar : public DeviceTest {
 protected:
  long held() const { return runtime::live().pinnedBlocks - before_; }

 private:
  long before_ = runtime::live().pinnedBlocks;
};

TEST_P(Scalar, ConstructorsAndNegation) {
  const std::tuple<MirlScalar, Values, bool> rows[] = {
      {MirlScalar(), {0, 0, 0, 0}, true},
      {MirlScalar(7), {7, 7, 7, 7}, true},
      {MirlScalar(1, 2, 3), {1, 2, 3, 0}, true},
      {MirlScalar(1, -2, 3, INT_MAX), {1, -2, 3, INT_MAX}, true},
      {MirlScalar(1.5), {1.5, 1.5, 1.5, 1.5}, false},
      {MirlScalar(1.5, -2.5, 1e300), {1.5, -2.5, 1e300, 0}, false},
      {MirlScalar(0.1, 0.2, 0.3, INFINITY), {0.1, 0.2, 0.3, INFINITY}, false},
      {-MirlScalar(1, -2, 0, INT_MIN), {-1, 2, -0.0, 2147483648.0}, false}};
  EXPECT_EQ(held(), static_cast<long>(std::size(rows)));
  for (const auto& [scalar, values, isInteger] : rows) {
    EXPECT_EQ(scalar.isInteger(), isInteger) << values[0];
    EXPECT_EQ(std::memcmp(scalar.vals(), values.data(), sizeof(Values)), 0) << "-0 isn't 0";
  }
}

TEST_P(Scalar, EntriesAreTheBlockAndOthersASpare) {
  MirlScalar scalar(1, 2, 3, 4);
  scalar[2] = -8.5;
  scalar.vals()[3] = 9.0;
  for (int i = 0; i < 4; ++i) EXPECT_EQ(&scalar[i], scalar.vals() + i);
  for (const int i : {-1, 4, 5, INT_MIN, INT_MAX}) {
    scalar[i] = 7.0;
    EXPECT_EQ(scalar[i], 0.0) << i;
    scalar[i] = 7.0;
    EXPECT_EQ(std::as_const(scalar)[i], 0.0) << i;
  }
  EXPECT_EQ(valuesOf(scalar), (Values{1, 2, -8.5, 9}));
  EXPECT_TRUE(scalar.isInteger()) << "it tells how the scalar was built, not what it holds";
}

TEST_P(Scalar, CopiesOwnTheirBlocks) {
  const MirlScalar a(1, 2, 3, 4), fraction(0.5);
  MirlScalar b(fraction);
  const double* own = b.vals();
  EXPECT_FALSE(b.isInteger());
  b = a;
  EXPECT_EQ(b.vals(), own) << "assignment keeps the block";
  MirlScalar c(b);
  b[0] = 70;
  c[1] = 80;
  const MirlScalar& itself = c;
  c = itself;
  EXPECT_EQ(valuesOf(a), (Values{1, 2, 3, 4}));
  EXPECT_EQ(valuesOf(b), (Values{70, 2, 3, 4}));
  EXPECT_EQ(valuesOf(c), (Values{1, 80, 3, 4}));
  EXPECT_TRUE(b.isInteger() && c.isInteger());
}

TEST_P(Scalar, MovesTakeTheBlockAlong) {
  MirlScalar a(1.5);
  const double* block = a.vals();
  MirlScalar b(std::move(a)), c(2);
  EXPECT_EQ(b.vals(), block);
  c = std::move(b);
  for (const MirlScalar* gone : {&a, &b}) EXPECT_EQ(gone->vals(), nullptr);
  EXPECT_EQ(held(), 1);
  MirlScalar& itself = c;
  c = std::move(itself);
  EXPECT_EQ(c.vals(), block);
  EXPECT_FALSE(c.isInteger());
  a = c;
  b = MirlScalar(6);
  EXPECT_EQ(valuesOf(a), (Values{1.5, 1.5, 1.5, 1.5}));
  EXPECT_EQ(valuesOf(b), (Values{6, 6, 6, 6}));
}

TEST_P(Scalar, WithoutABlockEntriesReadZero) {
  const MirlScalar good(1, 2, 3, 4);
  const auto fail = [] { runtime::failNth(runtime::Call::pinned, 1); };
  const FailNth disarmed(runtime::Call::pinned, 0);
  fail();
  MirlScalar scalar(5);
  EXPECT_EQ(scalar.vals(), nullptr);
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
  fail();
  scalar = good;
  EXPECT_EQ(scalar.vals(), nullptr) << "it asked again and failed again";
  scalar = good;
  EXPECT_EQ(valuesOf(scalar), (Values{1, 2, 3, 4}));
  fail();
  MirlScalar none(good);
  EXPECT_EQ(none.vals(), nullptr);
  EXPECT_EQ(MirlScalar(std::move(none)).vals(), nullptr);
}

TEST_P(Scalar, ManyScalarsUseFewBlocks) {
  std::set<const double*> blocks;
  for (int i = 0; i < 10000; ++i) blocks.insert(MirlScalar(i).vals());
  EXPECT_LE(blocks.size(), 64u * 1024 / 32) << "more than one slab of blocks";
  EXPECT_EQ(held(), 0);

  // Ones that live at once are apart from each other, over several slabs.
  std::vector<MirlScalar> alive;
  for (int i = 0; i < 5000; ++i) alive.emplace_back(i);
  EXPECT_EQ(held(), 5000);
  for (int i = 0; i < 5000; ++i) {
    ASSERT_EQ(valuesOf(alive[static_cast<std::size_t>(i)]),
              (Values{1.0 * i, 1.0 * i, 1.0 * i, 1.0 * i}));
  }
}

// All of them are made before and given up after: the pool's lock would put the threads in order.
TEST_P(Scalar, ThreadsDontMeet) {
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

MIRL_TEST_ON_ALL_DEVICES(Scalar);

}  // namespace
}  // namespace mirl::test
