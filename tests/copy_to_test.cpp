// MirlImage::copyTo: rectangles between images, and inside one.

#include "support.h"

#include <array>
#include <climits>

namespace mirl::test {
namespace {

MIRL_DEVICE_TESTS(CopyTo);

/// All types, and two without a number.
std::vector<Format> formats() {
  std::vector<Format> list = allFormats();
  list.insert(list.end(), {{MirlType(-1), 128, 3}, {MirlType(-1), -64, 2}});
  return list;
}

// In some rounds the destination is empty, and becomes what the rectangle needs.
TEST_P(CopyTo, AnyRectangle) {
  const MirlStream streams[] = {MirlStream(), MirlStream(true)};
  std::mt19937 generator(5);
  const auto upTo = [&](int limit) {
    return static_cast<int>(generator() % (static_cast<unsigned>(limit) + 1));
  };
  for (const Format& format : formats()) {
    for (int round = 0; round < 20; ++round) {
      SCOPED_TRACE(testing::Message() << "type " << format.type << ", round " << round);
      const bool creates = round % 5 == 4;
      const auto [depth, channels] = std::pair(format.depth, format.channels);
      const int pixel = channels * std::abs(depth) / 8;
      MirlImage source = noiseImage({23, 11}, depth, channels, 1, round % 2 ? 23 * pixel + 5 : 0);
      source.setChannelSequence(MIRL_CHANNELSEQ_RGBA);
      source.setDataBits(3);
      const int width = round == 0 ? 19 : upTo(18) + creates,
                height = round == 0 ? 11 : upTo(10) + creates;
      const MirlSize size = creates ? MirlSize(width, height) : MirlSize(19, 29);
      MirlImage out = noiseImage(size, depth, channels, 2, round % 3 ? size.width * pixel + 1 : 0);
      const MirlRect rect(upTo(23 - width), upTo(11 - height), width, height);
      const MirlPoint2D<int> origin(upTo(size.width - width), upTo(size.height - height));
      Bytes expected = bytesOf(out);
      moveBytes(expected, rowBytes(out), origin.x * pixel, origin.y, bytesOf(source), 23 * pixel,
                rect.x * pixel, rect.y, width * pixel, height);
      const auto fields = fieldsOf(out);
      const auto metadata = formatOf(out);
      if (creates) out.release();
      ASSERT_EQ(source.copyTo(out, origin, rect, streams[round % 4 != 0]), MIRL_SUCCESS);
      streams[1].sync();
      ASSERT_EQ(bytesOf(out), expected);
      ASSERT_TRUE(creates ? formatOf(out) == metadata : fieldsOf(out) == fields);
    }
  }
}

// The bytes go as they are, and the destination's pixels don't count: its rows have 2 * 17 = 34
// bytes, which is room for 11 of the source's pixels.
TEST_P(CopyTo, DestinationOfAnotherFormat) {
  const MirlImage source = noiseImage({12, 4}, 8, 3, 1);
  MirlImage out = noiseImage({17, 6}, 16, 1, 2);
  Bytes expected = bytesOf(out);
  moveBytes(expected, 34, 3 * 1, 2, bytesOf(source), 36, 3 * 2, 0, 3 * 10, 4);
  EXPECT_EQ(source.copyTo(out, {1, 2}, {2, 0, 10, 4}), MIRL_SUCCESS);
  EXPECT_EQ(source.copyTo(out, {2, 2}, {2, 0, 10, 4}), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(source.copyTo(out, {0, 2}, {0, 0, 12, 4}), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(bytesOf(out), expected);
  EXPECT_EQ(out.type(), MIRL_16U_C1);
}

constexpr int kMax = INT_MAX, kMin = INT_MIN;
constexpr int kWrap = 0x55555556;  // 3 * that is 2^32 + 2
constexpr MirlStatus kGood = MIRL_SUCCESS, kBad = MIRL_INVALID_ARGUMENT,
                     kOverlap = MIRL_IN_PLACE_NOT_SUPPORTED;

TEST_P(CopyTo, InsideOneImage) {
  const std::tuple<MirlRect, MirlPoint2D<int>, MirlStatus> rows[] = {
      {{0, 0, 8, 12}, {8, 0}, kGood},  // side by side, one below the other, corner to corner
      {{8, 0, 8, 12}, {0, 0}, kGood},
      {{0, 6, 16, 6}, {0, 0}, kGood},
      {{3, 2, 4, 3}, {7, 5}, kGood},
      {{3, 2, 4, 3}, {3, 2}, kOverlap},  // itself, one pixel in common
      {{3, 2, 4, 3}, {6, 4}, kOverlap},
      {{3, 2, 4, 3}, {0, 0}, kOverlap},
      {{3, 2, 4, 3}, {6, 0}, kOverlap},
      {{0, 0, 16, 12}, {0, 0}, kOverlap},
      {{3, 2, 0, 3}, {3, 2}, kGood},  // no pixels
      {{0, 0, 8, 12}, {9, 0}, kBad}};
  for (const auto& [rect, origin, status] : rows) {
    MirlImage image = noiseImage({16, 12}, 16, 3, 1);
    Bytes expected = bytesOf(image);
    if (status == kGood) {
      moveBytes(expected, 96, origin.x * 6, origin.y, Bytes(expected), 96, rect.x * 6, rect.y,
                rect.width * 6, rect.height);
    }
    EXPECT_EQ(image.copyTo(image, origin, rect), status) << origin.x << ", " << origin.y;
    EXPECT_EQ(bytesOf(image), expected) << origin.x << ", " << origin.y;
  }
}

TEST_P(CopyTo, Statuses) {
  // What fits a live destination of 8 by 5, and an empty one.
  // The rectangle and the origin. An image of no width can't be made.
  using Arguments = std::vector<std::array<int, 6>>;
  const Arguments both = {{0, 0, 8, 5, 0, 0}, {2, 1, 8, 5, 0, 0}};
  const Arguments onlyLive = {{0, 0, 7, 5, 1, 0}, {0, 0, 0, 5, 0, 0}, {10, 6, 0, 0, 8, 5}};
  const Arguments onlyEmpty = {{0, 0, 10, 6, 0, 0}, {0, 0, 9, 5, 0, 0}, {0, 0, 8, 6, 0, 0}};
  const Arguments neither = {
      {3, 1, 8, 5, 0, 0},       {2, 2, 8, 5, 0, 0},          {0, 0, 7, 5, 2, 0},
      {0, 0, 8, 4, 0, 2},       {0, 0, 2, 2, -1, 0},         {0, 0, 2, 2, 0, -1},
      {0, 0, 2, 2, kMin, kMin}, {0, 0, 2, 2, kMax, 0},       {0, 0, 2, 2, 0, kMax},
      {0, 0, 2, 2, kWrap, 0},   {-1, 0, 2, 2, 0, 0},         {0, -1, 2, 2, 0, 0},
      {0, 0, -1, 2, 0, 0},      {0, 0, 2, -1, 0, 0},         {kMax, kMax, 2, 2, 0, 0},
      {1, 1, kMax, kMax, 0, 0}, {kMin, kMin, kMin, 2, 0, 0}, {11, 6, 0, 0, 0, 0},
      {0, 0, 0, 0, 9, 0},       {0, 0, 0, 0, 0, 6}};
  const MirlImage source = noiseImage({10, 6}, 8, 3, 1), live(8, 5, MIRL_8U_C3), empty;
  const MirlStream dead = deadStream();
  const auto check = [&](const std::array<int, 6>& row, MirlStatus intoLive, MirlStatus intoEmpty) {
    SCOPED_TRACE(testing::PrintToString(row));
    const MirlRect rect(row[0], row[1], row[2], row[3]);
    const MirlPoint2D<int> origin(row[4], row[5]);
    const auto copies = [&](MirlImage& out) { return source.copyTo(out, origin, rect); };
    expectStatus(live, intoLive, false, copies);
    expectStatus(empty, intoEmpty, intoEmpty == kGood, copies);
    expectStatus(empty, kBad, false,
                 [&](MirlImage& out) { return source.copyTo(out, origin, rect, dead); });
    expectStatus(live, MIRL_IMAGE_NOT_INITIALIZED, false,
                 [&](MirlImage& out) { return empty.copyTo(out, origin, rect, dead); });
  };
  for (const auto& row : both) check(row, kGood, kGood);
  for (const auto& row : onlyLive) check(row, kGood, kBad);
  for (const auto& row : onlyEmpty) check(row, kBad, kGood);
  for (const auto& row : neither) check(row, kBad, kBad);
}

}  // namespace
}  // namespace mirl::test
