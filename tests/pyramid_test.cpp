// MirlPyramid: sizes, both fillings in both directions against the chain of operations, sharing.

#include <utility>

#include "support.h"

namespace mirl::test {
namespace {

class Pyramid : public DeviceTest {};

using Sizes = std::vector<MirlSize>;

constexpr MirlInterpolationType kLinear = MIRL_INTERPOLATION_LINEAR;

TEST_P(Pyramid, SizesOfBothDirections) {
  const struct {
    MirlSize size;
    int levels;
    float scale;
    Sizes want;
  } rows[] = {
      {{101, 640}, 4, 0.5f, {{101, 640}, {50, 320}, {25, 160}, {12, 80}}},
      {{640, 480}, 4, 0.75f, {{640, 480}, {480, 360}, {360, 270}, {270, 202}}},
      {{100, 50}, 3, 2.0f, {{400, 200}, {200, 100}, {100, 50}}},
      {{7, 9}, 3, 1.0f, {{7, 9}, {7, 9}, {7, 9}}},
      {{9, 3}, 4, 0.5f, {{9, 3}, {4, 1}, {0, 0}, {0, 0}}},
      {{1, 1}, 3, 1e20f, {{0, 0}, {0, 0}, {1, 1}}},
      {{2, 2}, 3, INFINITY, {{0, 0}, {0, 0}, {2, 2}}},
      {{0, 5}, 2, 0.5f, {{0, 0}, {0, 0}}},
  };
  for (const auto& row : rows) {
    const MirlPyramid empty(row.size, MIRL_16U_C3, row.levels, row.scale);
    const MirlPyramid filled(MirlImage(row.size, MIRL_32F_C1), row.levels, row.scale, kLinear);
    for (const MirlPyramid* pyramid : {&empty, &filled}) {
      EXPECT_TRUE(pyramid->isInitialized());
      ASSERT_EQ(pyramid->levels(), row.levels);
      EXPECT_EQ(pyramid->scale(), row.scale);
      for (int i = 0; i < row.levels; ++i) {
        const MirlImage& level = (*pyramid)[i];
        const MirlSize& want = row.want[static_cast<std::size_t>(i)];
        EXPECT_TRUE(level.width() == want.width && level.height() == want.height)
            << row.size.width << "x" << row.size.height << " by " << row.scale << ", level " << i;
        if (want.width == 0) continue;
        EXPECT_EQ(level.type(), pyramid == &empty ? MIRL_16U_C3 : MIRL_32F_C1);
      }
      EXPECT_EQ(&pyramid->largest(), &(*pyramid)[0]);
      EXPECT_EQ(&pyramid->smallest(), &(*pyramid)[row.levels - 1]);
    }
  }
}

TEST_P(Pyramid, RefusedArgumentsAndLiveOnes) {
  const MirlImage image = noiseImage({20, 10}, 8, 1, 1);
  const std::pair<int, float> refused[] = {{0, 0.5f},  {-1, 0.5f}, {3, 0.0f},
                                           {3, -1.0f}, {3, NAN},   {INT32_MAX, 1.0f}};
  for (const auto& [levels, scale] : refused) {
    MirlPyramid pyramid;
    EXPECT_EQ(pyramid.create({20, 10}, MIRL_8U_C1, levels, scale), MIRL_INVALID_ARGUMENT);
    EXPECT_EQ(pyramid.create(image, levels, scale, kLinear), MIRL_INVALID_ARGUMENT);
    EXPECT_EQ(pyramid.createGaussian(image, levels, scale, {3, 3}, 1, kLinear),
              MIRL_INVALID_ARGUMENT);
    EXPECT_EQ(pyramid.createLaplacian(image, levels, scale, {3, 3}, 1, kLinear),
              MIRL_INVALID_ARGUMENT);
    EXPECT_TRUE(!pyramid.isInitialized() && pyramid.levels() == 0 && pyramid.scale() == 0);
    EXPECT_FALSE(pyramid.largest().isInitialized() || pyramid.smallest().isInitialized());
  }
  MirlPyramid pyramid(image, 2, 0.5f, kLinear);
  const auto before = fieldsOf(pyramid[1]);
  EXPECT_EQ(pyramid.create({50, 50}, MIRL_32F_C1, 7, 2.0f), MIRL_SUCCESS);
  EXPECT_EQ(pyramid.create(image, 0, -1.0f, kLinear), MIRL_SUCCESS);
  EXPECT_TRUE(pyramid.levels() == 2 && pyramid.scale() == 0.5f && fieldsOf(pyramid[1]) == before);

  // What is done to the image that stands for no level is undone.
  pyramid[2].create(5, 5, MIRL_8U_C1);
  EXPECT_TRUE(std::as_const(pyramid)[-1].isInitialized());
  EXPECT_FALSE(pyramid[2].isInitialized());

  // An empty image and one whose type no filter serves.
  MirlPyramid none, odd;
  EXPECT_EQ(none.createLaplacian(MirlImage(), 3, 0.5f, {3, 3}, 1, kLinear), MIRL_SUCCESS);
  EXPECT_TRUE(none.isInitialized() && none.levels() == 3 && !none[0].isInitialized());
  const MirlImage wide = noiseImage({8, 8}, 64, 1, 2);
  EXPECT_EQ(odd.createGaussian(wide, 2, 0.5f, {3, 3}, 1, kLinear), MIRL_SUCCESS);
  EXPECT_EQ(bytesOf(odd[0]), bytesOf(wide));
}

TEST_P(Pyramid, LevelsAreSharedAndMoved) {
  const long before = held();
  {
    MirlPyramid copy;
    {
      MirlPyramid pyramid({8, 8}, MIRL_8U_C1, 3, 0.5f);
      copy = pyramid;
      EXPECT_EQ(&copy[1], &pyramid[1]);
      EXPECT_EQ(pyramid.release(), MIRL_SUCCESS);
      EXPECT_EQ(pyramid.release(), MIRL_SUCCESS);
      EXPECT_TRUE(!pyramid.isInitialized() && pyramid.levels() == 0 && pyramid.scale() == 0);
    }
    EXPECT_EQ(held() - before, 3);
    EXPECT_EQ(copy[2].width(), 2);
    MirlPyramid taken(std::move(copy));
    EXPECT_TRUE(!copy.isInitialized() && copy.levels() == 0 && taken.levels() == 3);
    copy = std::move(taken);
    copy = *&copy;
    EXPECT_TRUE(copy.levels() == 3 && copy.scale() == 0.5f && !taken.isInitialized());
  }
  EXPECT_EQ(held(), before);
}

/// The chain of operations, each with images of its own.
struct Chain {
  MirlFilter filter;
  MirlInterpolationType interpolation;

  MirlImage blurred(const MirlImage& in) const {
    MirlImage out;
    EXPECT_EQ(imageFiltering::imageFilter(in, out, filter), MIRL_SUCCESS);
    return out;
  }
  MirlImage zoomed(const MirlImage& in, const MirlSize& size) const {
    MirlImage out(size, in.type());
    if (out.isInitialized()) {
      EXPECT_EQ(geometryTransforms::resize(in, out, interpolation), MIRL_SUCCESS);
    }
    return out;
  }
  /// Through another size and back; as it is if that has no pixels.
  MirlImage through(const MirlImage& in, const MirlSize& size, bool blurThere) const {
    MirlImage there = zoomed(in, size);
    if (!there.isInitialized()) return in;
    return zoomed(blurThere ? blurred(there) : there, in.size());
  }
  static MirlImage less(const MirlImage& a, const MirlImage& b) {
    MirlImage out;
    EXPECT_EQ(arithmeticLogical::subtract(a, b, out), MIRL_SUCCESS);
    return out;
  }
};

TEST_P(Pyramid, FillingsAreTheChainOfOperations) {
  const struct {
    MirlSize size;
    MirlType type;
    int levels;
    float scale;
    MirlInterpolationType interpolation;
  } rows[] = {
      {{61, 47}, MIRL_8U_C1, 4, 0.5f, kLinear},
      {{61, 47}, MIRL_32F_C3, 3, 0.7f, MIRL_INTERPOLATION_CUBIC},
      {{9, 5}, MIRL_16U_C1, 6, 0.5f, kLinear},
      {{33, 20}, MIRL_8U_C3, 1, 0.5f, MIRL_INTERPOLATION_NN},
      {{12, 7}, MIRL_32F_C1, 3, 2.0f, kLinear},
      {{13, 9}, MIRL_8U_C3, 4, 1.0f, MIRL_INTERPOLATION_NN},
      {{11, 8}, MIRL_8U_C1, 1, 1.6f, MIRL_INTERPOLATION_CUBIC},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message()
                 << row.size.width << "x" << row.size.height << " by " << row.scale);
    const Chain chain{MirlSpecialFilters::gaussian({5, 3}, 1.2f), row.interpolation};
    int depth = 0, channels = 0;
    typeToDepthAndChannels(row.type, depth, channels);
    const MirlImage image =
        depth == 32 ? toImage(randomPixels<float>(row.size.width, row.size.height, channels, 3))
                    : noiseImage(row.size, depth, channels, 3);
    const bool shrinks = row.scale < 1;
    MirlPyramid plain, gauss, laplace;
    ASSERT_EQ(plain.create(image, row.levels, row.scale, row.interpolation), MIRL_SUCCESS);
    ASSERT_EQ(gauss.createGaussian(image, row.levels, row.scale, {5, 3}, 1.2f, row.interpolation),
              MIRL_SUCCESS);
    ASSERT_EQ(
        laplace.createLaplacian(image, row.levels, row.scale, {5, 3}, 1.2f, row.interpolation),
        MIRL_SUCCESS);
    MirlImage level(image), unblurred(image);
    for (int i = 0; i < row.levels; ++i) {
      SCOPED_TRACE(i);
      const int at = shrinks ? i : row.levels - 1 - i, next = shrinks ? at + 1 : at - 1;
      const MirlSize size = std::as_const(plain)[at].size();
      if (size.width == 0) break;
      Chain directly = chain;
      if (!shrinks) directly.interpolation = kLinear;
      EXPECT_EQ(bytesOf(plain[at]), bytesOf(directly.zoomed(image, size)));
      EXPECT_EQ(bytesOf(gauss[at]), bytesOf(level));
      const bool isLast = i == row.levels - 1;
      MirlSize its = plain[next].size();
      if (isLast)
        its = shrinks ? MirlSize(size.width / 2, size.height / 2)
                      : MirlSize(2 * size.width, 2 * size.height);
      // The enlarged levels of differences are made of each other without the blur.
      const MirlImage& from = shrinks ? level : unblurred;
      EXPECT_EQ(bytesOf(laplace[at]),
                bytesOf(Chain::less(
                    from, chain.through(shrinks ? chain.blurred(level) : from, its, !shrinks))));
      if (isLast || its.width == 0 || its.height == 0) break;
      unblurred = chain.zoomed(unblurred, its);
      level = shrinks ? chain.zoomed(chain.blurred(level), its)
                      : chain.blurred(chain.zoomed(level, its));
    }
  }
}

TEST_P(Pyramid, LiveLevelsAreFilledAndNoneBeyond) {
  const MirlImage image = noiseImage({40, 30}, 8, 1, 5);
  const MirlPyramid want = [&] {
    MirlPyramid pyramid;
    pyramid.createGaussian(image, 2, 0.5f, {3, 3}, 1, kLinear);
    return pyramid;
  }();
  MirlPyramid pyramid({40, 30}, MIRL_8U_C1, 3, 0.5f);
  fillBlock(pyramid[2]);
  const auto before = fieldsOf(pyramid[0]);
  ASSERT_EQ(pyramid.createGaussian(image, 2, 0.5f, {3, 3}, 1, kLinear), MIRL_SUCCESS);
  EXPECT_EQ(fieldsOf(pyramid[0]), before);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(bytesOf(pyramid[i]), bytesOf(want[i]));
  EXPECT_TRUE(untouched(pyramid[2]));
  for (MirlImage* level : {&pyramid[0], &pyramid[1], &pyramid[2]}) fillBlock(*level);
  EXPECT_EQ(pyramid.createLaplacian(image, 0, 0.5f, {3, 3}, 1, kLinear), MIRL_SUCCESS);
  EXPECT_TRUE(untouched(pyramid[0]));

  // More than there are, of another size and type, the other way: what fits the chain is filled.
  const MirlImage other = noiseImage({21, 11}, 16, 3, 6);
  EXPECT_EQ(pyramid.createLaplacian(other, 9, 2.0f, {3, 3}, 1, kLinear), MIRL_SUCCESS);
  EXPECT_TRUE(pyramid.levels() == 3 && pyramid[2].type() == MIRL_16U_C3 &&
              pyramid[2].width() == 21);

  // Without scratch or levels there is no content, and nothing is lost.
  for (int nth = 1; nth < 6; ++nth) {
    const FailNth fail(runtime::Call::allocate, nth);
    MirlPyramid poor;
    EXPECT_EQ(poor.createLaplacian(image, 3, 0.5f, {3, 3}, 1, kLinear), MIRL_SUCCESS);
    EXPECT_EQ(poor.levels(), 3);
  }
}

MIRL_TEST_ON_ALL_DEVICES(Pyramid);

}  // namespace
}  // namespace mirl::test
