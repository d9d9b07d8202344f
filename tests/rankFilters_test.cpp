#include <algorithm>
#include <climits>

#include "support.h"

namespace mirl::test {
namespace {

using imageFiltering::maxFilter;
using imageFiltering::medianFilter;
using imageFiltering::minFilter;

class RankFilters : public DeviceTest {};

using BytePixels = Pixels<Byte>;

enum Rank { kLeast, kMedian, kGreatest };

/// The byte of a rank among those that the window of an element sees of a rectangle's plane of
/// elements.
Byte rankOf(const BytePixels& in, const MirlRect& region, int x, int y, int c,
            const MirlSize& window, Rank rank) {
  // Far out an extreme sees nothing new.
  const int farX = rank == kMedian ? 9 : region.width, farY = rank == kMedian ? 9 : region.height;
  const auto cut = [](std::int64_t to, int most) {
    return std::clamp<std::int64_t>(to, -most, most);
  };
  const std::int64_t left = (1 - std::int64_t{window.width}) / 2;
  const std::int64_t top = (1 - std::int64_t{window.height}) / 2;
  const std::int64_t lastX = cut(left + window.width - 1, farX);
  const std::int64_t lastY = cut(top + window.height - 1, farY);
  std::vector<Byte> seen;
  Byte least = 255, greatest = 0;
  for (std::int64_t j = cut(top, farY); j <= lastY; ++j) {
    const auto row = std::clamp<std::int64_t>(y + j, 0, region.height - 1);
    for (std::int64_t i = cut(left, farX); i <= lastX; ++i) {
      const auto element = static_cast<int>(
          std::clamp<std::int64_t>((x + i) * in.channels + c, 0, region.width * in.channels - 1));
      const Byte value = in.at(region.x + element / in.channels, region.y + static_cast<int>(row),
                               element % in.channels);
      if (rank == kMedian) seen.push_back(value);
      least = std::min(least, value);
      greatest = std::max(greatest, value);
    }
  }
  if (rank != kMedian) return rank == kLeast ? least : greatest;
  std::sort(seen.begin(), seen.end());
  return seen[seen.size() / 2];
}

BytePixels ranked(const BytePixels& in, const MirlRect& region, const MirlSize& window, Rank rank) {
  BytePixels out = in;
  for (int y = 0; y < region.height; ++y) {
    for (int x = 0; x < region.width; ++x) {
      for (int c = 0; c < in.channels; ++c) {
        out.at(region.x + x, region.y + y, c) = rankOf(in, region, x, y, c, window, rank);
      }
    }
  }
  return out;
}

auto filterOf(Rank rank, const MirlRect& region, const MirlSize& window) {
  return [=](const MirlImage& in, MirlImage& out) {
    const auto filter = rank == kLeast ? minFilter : rank == kMedian ? medianFilter : maxFilter;
    return filter(in, out, region, window, MirlStream());
  };
}

TEST_P(RankFilters, MediansEqualTheMiddleOfASort) {
  unsigned seed = 1;
  for (const MirlSize& size : {MirlSize(1, 1), MirlSize(1, 9), MirlSize(9, 1), MirlSize(2, 2),
                               MirlSize(17, 5), MirlSize(43, 35), MirlSize(1391, 7)}) {
    for (const int channels : {1, 3}) {
      BytePixels in = randomPixels<Byte>(size.width, size.height, channels, seed++);
      for (const int side : {3, 5, 7, 9}) {
        const MirlRect none(-1, 9999, -5, 0);
        const MirlRect all(0, 0, size.width, size.height);
        const BytePixels want = ranked(in, all, {side, side}, kMedian);
        const auto filter = filterOf(kMedian, none, {side, side});
        expectInto(filter, in, want);
        expectInto(filter, in, want, in.rowBytes() + 1, in.rowBytes() + 7);
        for (Byte& value : in.values) value &= 1;  // and with many equals
      }
    }
  }
}

TEST_P(RankFilters, ExtremesEqualThoseOfTheWindow) {
  const MirlSize windows[] = {{1, 1},   {3, 5},   {4, 1},       {1, 4},  {2, 2},
                              {31, 7},  {32, 33}, {7, 70},      {99, 3}, {4, INT_MAX},
                              {129, 1}, {0, 3},   {INT_MAX, 2}, {3, -1}, {INT_MIN, INT_MAX}};
  unsigned seed = 9;
  for (const MirlSize& size :
       {MirlSize(1, 1), MirlSize(2, 37), MirlSize(37, 1), MirlSize(17, 5), MirlSize(139, 41)}) {
    for (const int channels : {1, 3}) {
      const BytePixels in = randomPixels<Byte>(size.width, size.height, channels, seed++);
      const int row = in.rowBytes();
      const MirlRect all(0, 0, size.width, size.height);
      const MirlRect part(size.width / 3, size.height / 4, size.width - size.width / 3,
                          (size.height + 1) / 2);
      for (const MirlSize& window : windows) {
        for (const Rank rank : {kLeast, kGreatest}) {
          for (const MirlRect& region : {all, part}) {
            SCOPED_TRACE(testing::Message() << window.width << "x" << window.height << ", rank "
                                            << rank << ", from " << region.x);
            const BytePixels want = ranked(in, region, window, rank);
            const auto filter = filterOf(rank, region, window);
            expectInto(filter, in, want, row + 1, row + 7);
            MirlImage same = toImage(in);
            ASSERT_EQ(filter(same, same), MIRL_SUCCESS);
            EXPECT_TRUE(holds(same, want));
          }
        }
      }
    }
  }
}

// On the host a window may have more rows than are kept at a time.
TEST_P(RankFilters, HighWindowsOfWideImages) {
  if (GetParam() != device::getDeviceCount() - 1) GTEST_SKIP() << "of the host";
  const MirlSize window(1, 64);
  const BytePixels narrow = randomPixels<Byte>(7, 97, 1, 5);
  const BytePixels least = ranked(narrow, {0, 0, 7, 97}, window, kLeast);
  BytePixels in(100003, 97, 1), want = in;
  for (int y = 0; y < in.height; ++y) {
    for (int x = 0; x < in.width; ++x) {
      in.at(x, y) = narrow.at(x % 7, y);
      want.at(x, y) = least.at(x % 7, y);
    }
  }
  expectInto(filterOf(kLeast, {0, 0, in.width, in.height}, window), in, want);
}

// What the table of all operations doesn't know.
TEST_P(RankFilters, StatusesOfTheirOwn) {
  const MirlSize size(9, 7), three(3, 3);
  const MirlRect all(0, 0, 9, 7);
  const BytePixels before = randomPixels<Byte>(9, 7, 1, 3);
  MirlImage source = toImage(randomPixels<Byte>(9, 7, 1, 4));
  source.setChannelSequence(MIRL_CHANNELSEQ_RGB);
  MirlImage out = toImage(before);
  for (const MirlSize& window : {MirlSize(1, 1), MirlSize(3, 5), MirlSize(11, 11), MirlSize(4, 4),
                                 MirlSize(0, 0), MirlSize(-3, -3)}) {
    EXPECT_EQ(medianFilter(source, out, all, window), MIRL_MISMATCH);
    EXPECT_EQ(medianFilter(source, source, all, window), MIRL_MISMATCH);
  }
  EXPECT_EQ(medianFilter(source, source, all, three), MIRL_IN_PLACE_NOT_SUPPORTED);
  for (const MirlRect& region : {MirlRect(-1, 0, 3, 3), MirlRect(0, -1, 3, 3), MirlRect(9, 0, 0, 3),
                                 MirlRect(0, 7, 3, 0), MirlRect(1, 0, 9, 7), MirlRect(0, 1, 9, 7),
                                 MirlRect(1, 1, -1, 3), MirlRect(1, 1, 3, INT_MAX)}) {
    EXPECT_EQ(minFilter(source, out, region, three), MIRL_ROI_OUT_OF_BOUNDS);
    EXPECT_EQ(maxFilter(source, source, region, three), MIRL_ROI_OUT_OF_BOUNDS);
  }
  EXPECT_TRUE(holds(out, before));
  EXPECT_EQ(minFilter(source, out, {8, 6, 0, 0}, three), MIRL_SUCCESS);
  EXPECT_TRUE(holds(out, fromImage<Byte>(source)));
  {
    const FailNth fault(runtime::Call::copy, 2);
    EXPECT_EQ(maxFilter(source, out, {2, 2, 3, 3}, three), MIRL_COPY_FAILED);
  }
  for (const auto filter : {minFilter, maxFilter, medianFilter}) {
    MirlImage made;
    EXPECT_EQ(filter(source, made, all, three, MirlStream()), MIRL_SUCCESS);
    EXPECT_EQ(made.channelSeq() == MIRL_CHANNELSEQ_RGB, filter == medianFilter);
  }
}

MIRL_TEST_ON_ALL_DEVICES(RankFilters);

}  // namespace
}  // namespace mirl::test
