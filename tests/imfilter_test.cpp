// imageFilter against a loop written from its formula, exactly.

#include <algorithm>
#include <climits>
#include <cmath>

#include "support.h"

namespace mirl::test {
namespace {

using imageFiltering::imageFilter;

MIRL_DEVICE_TESTS(ImageFilter);

template <class T>
T stored(float sum, int dataBits) {
  if constexpr (!std::is_same_v<T, float>) {
    const auto limit = static_cast<float>((1 << dataBits) - 1);
    if (sum > limit) return static_cast<T>(limit);
    if (!(sum > 0.0f)) return 0;
  }
  return static_cast<T>(sum);
}

template <class T>
Pixels<T> filtered(const Pixels<T>& in, const MirlFilter& filter, int dataBits) {
  Pixels<T> out = in;
  const long plane = long{in.width} * in.channels;
  for (int y = 0; y < in.height; ++y) {
    for (int x = 0; x < in.width; ++x) {
      for (int c = 0; c < in.channels; ++c) {
        float sum = 0.0f;
        int k = 0;
        for (int i = 0; i < filter.width(); ++i) {
          for (int j = 0; j < filter.height(); ++j) {
            const long column = (long{x} + filter.anchor().x + i) * in.channels + c;
            const long row = long{y} + filter.anchor().y + j;
            const long at = std::clamp(row, 0L, long{in.height} - 1) * plane +
                            std::clamp(column, 0L, plane - 1);
            const float element = static_cast<float>(in.values[static_cast<std::size_t>(at)]);
            sum = std::fma(element, filter.coeffs()[k++], sum);
          }
        }
        out.at(x, y, c) = stored<T>(sum, dataBits);
      }
    }
  }
  return out;
}

MirlFilter randomFilter(int width, int height, unsigned seed) {
  MirlFilter filter(width, height);
  const Pixels<float> values = randomPixels<float>(width, height, 1, seed);
  for (int k = 0; k < width * height; ++k) {
    filter[k] = values.values[static_cast<std::size_t>(k)] / 300.0f /
                std::sqrt(1.0f + static_cast<float>(k));
  }
  return filter;
}

template <class T>
void expectFiltered(const Pixels<T>& in, const MirlFilter& filter, int pitch = 0) {
  const MirlImage source = toImage(in, pitch);
  MirlImage out;
  ASSERT_EQ(imageFilter(source, out, filter), MIRL_SUCCESS);
  EXPECT_TRUE(holds(out, filtered(in, filter, source.depth())))
      << "filter " << filter.width() << "x" << filter.height();
}

TEST_P(ImageFilter, EqualsTheFormulaOnEverySizeAndType) {
  const MirlSize filters[] = {{1, 1}, {3, 3}, {5, 5}, {7, 7}, {2, 4}, {1, 9}, {9, 1}, {6, 11}};
  unsigned seed = 1;
  for (const MirlSize& size : awkwardSizes()) {
    for (const MirlSize& taps : filters) {
      if (size.width > 200 && taps.width * taps.height > 25) continue;
      const MirlFilter filter = randomFilter(taps.width, taps.height, ++seed);
      forEachFormat([&]<class T>(T, int channels) {
        expectFiltered(randomPixels<T>(size.width, size.height, channels, seed), filter);
      });
    }
  }
}

TEST_P(ImageFilter, TakesAnyPitchAnchorAndLength) {
  const auto bytes = randomPixels<Byte>(61, 33, 3, 5);
  const auto words = randomPixels<Word>(61, 33, 1, 6);
  const auto floats = randomPixels<float>(2100, 5, 1, 7);  // longer than a strip of the host's
  expectFiltered(bytes, randomFilter(3, 3, 8), 61 * 3 + 4);
  expectFiltered(words, randomFilter(5, 5, 9), 61 * 2 + 1);
  expectFiltered(floats, randomFilter(3, 5, 10), 2100 * 4 + 3);
  expectFiltered(words, randomFilter(512, 1, 11));
  expectFiltered(bytes, randomFilter(1, 512, 12));
  expectFiltered(bytes, randomFilter(16, 32, 13));
  const int far = INT_MAX;
  for (const auto& [x, y] :
       {std::pair{2, 3}, {-7, 0}, {100, -100}, {far, far}, {INT_MIN, INT_MIN}}) {
    MirlFilter filter(3, 2, MirlPoint2D<int>(x, y), randomFilter(3, 2, 14).coeffs());
    expectFiltered(bytes, filter);
  }
}

TEST_P(ImageFilter, TruncatesAndLimitsToDataBits) {
  const auto gives = [](const MirlImage& in, const MirlFilter& filter, const auto& want) {
    MirlImage out;
    ASSERT_EQ(imageFilter(in, out, filter), MIRL_SUCCESS);
    EXPECT_TRUE(holds(out, want));
    EXPECT_EQ(out.dataBits(), in.depth());
  };
  const MirlFilter ninth = MirlSpecialFilters::average(MirlSize(3, 3)),
                   filter = randomFilter(3, 3, 4);
  gives(toImage(Pixels<Byte>(20, 20, 1, 255)), ninth, Pixels<Byte>(20, 20, 1, 254));
  const auto words = randomPixels<Word>(19, 8, 1, 3);
  MirlImage source = toImage(words);
  for (const int bits : {12, 1, 0, 16}) {
    ASSERT_EQ(source.setDataBits(bits), MIRL_SUCCESS);
    gives(source, filter, filtered(words, filter, bits));
  }
  expectFiltered(Pixels<float>(1, {NAN, 1.0f, -INFINITY, 2.0f, -5.0f, 1e38f, 3.0f, 4.0f}),
                 MirlSpecialFilters::sobel());
  MirlFilter notANumber(1, 1);
  notANumber[0] = NAN;
  gives(toImage(Pixels<Byte>(4, 4, 1, 9)), notANumber, Pixels<Byte>(4, 4, 1, 0));
  // Transposed and not mirrored; all zeros without a matrix.
  gives(toImage(Pixels<float>(1, {0, 1, 4, 9, 16})), MirlSpecialFilters::sobel(),
        Pixels<float>(1, {-4, -16, -32, -48, -28}));
  gives(toImage(Pixels<float>(1, {NAN, 1, 2})), MirlFilter(), Pixels<float>(1, {0, 0, 0}));
}

TEST_P(ImageFilter, RestrictsItselfToARegion) {
  const auto in = randomPixels<Byte>(40, 30, 3, 21), old = randomPixels<Byte>(40, 30, 3, 23);
  const MirlFilter filter = randomFilter(3, 5, 22);
  const Pixels<Byte> all = filtered(in, filter, 8);
  const int max = INT_MAX, min = INT_MIN;
  const MirlRect regions[] = {
      {5, 6, 20, 10}, {0, 0, 40, 30}, {30, 20, 100, 100}, {-5, -5, 15, 9},  {3, 3, 0, 5},
      {3, 3, -2, -2}, {50, 3, 4, 4},  {39, 29, 1, 1},     {max, 0, max, 4}, {min, min, max, max}};
  for (const MirlRect& region : regions) {
    for (const bool copyOutside : {true, false}) {
      Pixels<Byte> expected = copyOutside ? in : old;
      for (int i = 0; i < 40 * 30 * 3; ++i) {
        const int x = i / 3 % 40, y = i / 120;
        const bool inside = x >= region.x && y >= region.y && x < long{region.x} + region.width &&
                            y < long{region.y} + region.height;
        if (inside) expected.values[std::size_t(i)] = all.values[std::size_t(i)];
      }
      MirlImage out = toImage(old);
      ASSERT_EQ(imageFilter(toImage(in), out, region, filter, copyOutside), MIRL_SUCCESS);
      EXPECT_TRUE(holds(out, expected)) << region.x << " " << region.y << " " << region.width;
    }
  }
}

}  // namespace
}  // namespace mirl::test
