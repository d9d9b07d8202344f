// MirlImage::copyTo: rectangles between images, and inside one.

#include "support.h"

#include <climits>

namespace mirl::test {
namespace {

class CopyTo : public DeviceTest {};

std::size_t at(int value) {
  return static_cast<std::size_t>(value);
}

TEST_P(CopyTo, CreatesAnEmptyDestination) {
  const MirlStream stream(true);
  std::vector<Format> formats = allFormats();
  formats.push_back({static_cast<MirlType>(-1), 128, 3});
  formats.push_back({static_cast<MirlType>(-1), -64, 2});
  for (const Format& format : formats) {
    MirlImage source = noiseImage({17, 9}, format.depth, format.channels, 1);
    source.setChannelSequence(MIRL_CHANNELSEQ_RGBA);
    ASSERT_EQ(source.setDataBits(3), MIRL_SUCCESS);
    const int pixel = pixelBytes(source);
    MirlImage out;
    ASSERT_EQ(source.copyTo(out, {0, 0}, {4, 3, 11, 5}, stream), MIRL_SUCCESS);
    stream.sync();
    const MirlImage plain(11, 5, format.depth, format.channels);
    EXPECT_EQ(out.size().width, 11);
    EXPECT_EQ(out.size().height, 5);
    EXPECT_EQ(out.type(), source.type());
    EXPECT_EQ(out.depth(), source.depth());
    EXPECT_EQ(out.isSigned(), source.isSigned());
    EXPECT_EQ(out.channels(), source.channels());
    EXPECT_EQ(out.device(), GetParam());
    EXPECT_EQ(out.channelSeq(), plain.channelSeq()) << "not the source's";
    EXPECT_EQ(out.dataBits(), plain.dataBits()) << "not the source's";
    Bytes expected(at(11 * pixel * 5));
    moveBytes(expected, 11 * pixel, 0, 0, bytesOf(source), 17 * pixel, 4 * pixel, 3, 11 * pixel, 5);
    EXPECT_EQ(bytesOf(out), expected) << "type " << format.type;
  }
}

TEST_P(CopyTo, RectanglesOfALiveDestination) {
  const MirlStream stream(true);
  const MirlStream ordinary;
  std::mt19937 generator(5);
  const auto upTo = [&](int limit) {
    return static_cast<int>(generator() % (static_cast<unsigned>(limit) + 1));
  };
  for (const Format& format : allFormats()) {
    for (int round = 0; round < 20; ++round) {
      const int pixel = format.channels * std::abs(format.depth) / 8;
      const MirlImage source =
          noiseImage({23, 11}, format.depth, format.channels, 1, round % 2 ? 23 * pixel + 5 : 0);
      MirlImage out =
          noiseImage({19, 29}, format.depth, format.channels, 2, round % 3 ? 19 * pixel + 1 : 0);
      const int width = round == 0 ? 19 : upTo(19);
      const int height = round == 0 ? 11 : upTo(11);
      const MirlRect rect(upTo(23 - width), upTo(11 - height), width, height);
      const MirlPoint2D<int> origin(upTo(19 - width), upTo(29 - height));
      const auto fields = fieldsOf(out);
      Bytes expected = bytesOf(out);
      moveBytes(expected, 19 * pixel, origin.x * pixel, origin.y, bytesOf(source), 23 * pixel,
                rect.x * pixel, rect.y, width * pixel, height);
      ASSERT_EQ(source.copyTo(out, origin, rect, round % 4 ? stream : ordinary), MIRL_SUCCESS);
      stream.sync();
      ASSERT_EQ(bytesOf(out), expected) << "type " << format.type << ", round " << round;
      ASSERT_EQ(fieldsOf(out), fields);
    }
  }
}

// The bytes go as they are, and the destination's pixels don't count: its rows have 2 * 17 = 34
// bytes, which is room for 11 of the source's pixels.
TEST_P(CopyTo, DestinationOfAnotherFormat) {
  const MirlImage source = noiseImage({12, 4}, 8, 3, 1);
  MirlImage out = noiseImage({17, 6}, 16, 1, 2);
  const auto fields = fieldsOf(out);
  Bytes expected = bytesOf(out);
  moveBytes(expected, 34, 3 * 1, 2, bytesOf(source), 36, 3 * 2, 0, 3 * 10, 4);
  EXPECT_EQ(source.copyTo(out, {1, 2}, {2, 0, 10, 4}), MIRL_SUCCESS);
  EXPECT_EQ(bytesOf(out), expected);
  EXPECT_EQ(source.copyTo(out, {2, 2}, {2, 0, 10, 4}), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(source.copyTo(out, {0, 2}, {0, 0, 12, 4}), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(bytesOf(out), expected);
  EXPECT_EQ(fieldsOf(out), fields);
}

TEST_P(CopyTo, InsideOneImage) {
  struct Row {
    MirlRect rect;
    MirlPoint2D<int> origin;
    int status;
  };
  const Row rows[] = {
      {{0, 0, 8, 12}, {8, 0}, MIRL_SUCCESS},                  // side by side
      {{8, 0, 8, 12}, {0, 0}, MIRL_SUCCESS},                  //
      {{0, 6, 16, 6}, {0, 0}, MIRL_SUCCESS},                  // one below the other
      {{3, 2, 4, 3}, {7, 5}, MIRL_SUCCESS},                   // corner to corner
      {{3, 2, 4, 3}, {3, 2}, MIRL_IN_PLACE_NOT_SUPPORTED},    // itself
      {{3, 2, 4, 3}, {6, 4}, MIRL_IN_PLACE_NOT_SUPPORTED},    // one pixel in common
      {{3, 2, 4, 3}, {0, 0}, MIRL_IN_PLACE_NOT_SUPPORTED},    //
      {{3, 2, 4, 3}, {6, 0}, MIRL_IN_PLACE_NOT_SUPPORTED},    //
      {{0, 0, 16, 12}, {0, 0}, MIRL_IN_PLACE_NOT_SUPPORTED},  //
      {{3, 2, 0, 3}, {3, 2}, MIRL_SUCCESS},                   // no pixels
      {{0, 0, 8, 12}, {9, 0}, MIRL_INVALID_ARGUMENT},         //
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    MirlImage image = noiseImage({16, 12}, 16, 3, 1);
    Bytes expected = bytesOf(image);
    const auto& [rect, origin, status] = rows[i];
    if (status == MIRL_SUCCESS) {
      moveBytes(expected, 96, origin.x * 6, origin.y, Bytes(expected), 96, rect.x * 6, rect.y,
                rect.width * 6, rect.height);
    }
    EXPECT_EQ(image.copyTo(image, origin, rect), status) << i;
    EXPECT_EQ(bytesOf(image), expected) << i;
  }
}

TEST_P(CopyTo, Statuses) {
  struct Row {
    MirlRect rect;
    MirlPoint2D<int> origin;
    int live;   // status with a live destination of 8 by 5
    int empty;  // and with an empty one
  };
  constexpr int kGood = MIRL_SUCCESS;
  constexpr int kBad = MIRL_INVALID_ARGUMENT;
  const Row rows[] = {
      {{0, 0, 8, 5}, {0, 0}, kGood, kGood},
      {{2, 1, 8, 5}, {0, 0}, kGood, kGood},
      {{3, 1, 8, 5}, {0, 0}, kBad, kBad},
      {{2, 2, 8, 5}, {0, 0}, kBad, kBad},
      {{0, 0, 10, 6}, {0, 0}, kBad, kGood},
      {{0, 0, 9, 5}, {0, 0}, kBad, kGood},
      {{0, 0, 8, 6}, {0, 0}, kBad, kGood},
      {{0, 0, 7, 5}, {1, 0}, kGood, kBad},
      {{0, 0, 7, 5}, {2, 0}, kBad, kBad},
      {{0, 0, 8, 4}, {0, 2}, kBad, kBad},
      {{0, 0, 2, 2}, {-1, 0}, kBad, kBad},
      {{0, 0, 2, 2}, {0, -1}, kBad, kBad},
      {{0, 0, 2, 2}, {INT_MIN, INT_MIN}, kBad, kBad},
      {{0, 0, 2, 2}, {INT_MAX, 0}, kBad, kBad},
      {{0, 0, 2, 2}, {0, INT_MAX}, kBad, kBad},
      {{0, 0, 2, 2}, {0x55555556, 0}, kBad, kBad},  // 3 * that is 2^32 + 2
      {{-1, 0, 2, 2}, {0, 0}, kBad, kBad},
      {{0, -1, 2, 2}, {0, 0}, kBad, kBad},
      {{0, 0, -1, 2}, {0, 0}, kBad, kBad},
      {{0, 0, 2, -1}, {0, 0}, kBad, kBad},
      {{INT_MAX, INT_MAX, 2, 2}, {0, 0}, kBad, kBad},
      {{1, 1, INT_MAX, INT_MAX}, {0, 0}, kBad, kBad},
      {{INT_MIN, INT_MIN, INT_MIN, INT_MIN}, {0, 0}, kBad, kBad},
      {{0, 0, 0, 5}, {0, 0}, kGood, kBad},  // no pixels: an image of no width can't be made
      {{10, 6, 0, 0}, {8, 5}, kGood, kBad},
      {{11, 6, 0, 0}, {0, 0}, kBad, kBad},
      {{0, 0, 0, 0}, {9, 0}, kBad, kBad},
      {{0, 0, 0, 0}, {0, 6}, kBad, kBad},
  };
  const MirlImage source = noiseImage({10, 6}, 8, 3, 1);
  const MirlImage original = noiseImage({8, 5}, 8, 3, 2);
  MirlStream dead(true);
  dead.destroy();
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const auto& [rect, origin, live, empty] = rows[i];
    MirlImage out(original);
    const auto fields = fieldsOf(out);
    EXPECT_EQ(source.copyTo(out, origin, rect), live) << i;
    EXPECT_EQ(bytesOf(out) != bytesOf(original), live == kGood && rect.width * rect.height > 0);
    EXPECT_EQ(fieldsOf(out), fields);
    MirlImage made;
    EXPECT_EQ(source.copyTo(made, origin, rect), empty) << i;
    EXPECT_EQ(made.isInitialized(), empty == kGood) << i;

    MirlImage untouched;
    EXPECT_EQ(source.copyTo(untouched, origin, rect, dead), kBad);
    EXPECT_EQ(MirlImage().copyTo(untouched, origin, rect, dead), MIRL_IMAGE_NOT_INITIALIZED);
    EXPECT_FALSE(untouched.isInitialized());
  }
}

TEST_P(CopyTo, FailuresOfTheDevice) {
  const MirlImage source = noiseImage({10, 6}, 8, 3, 1);
  const long held = runtime::live().deviceBlocks;
  MirlImage empty;
  {
    const FailNth fail(runtime::Call::allocate);
    EXPECT_EQ(source.copyTo(empty, {0, 0}, {0, 0, 4, 4}), MIRL_DEVICE_ALLOC_FAILED);
    EXPECT_FALSE(empty.isInitialized());
    EXPECT_EQ(runtime::live().deviceBlocks, held);
  }
  MirlImage live = noiseImage({10, 6}, 8, 3, 2);
  const Bytes before = bytesOf(live);
  const FailNth fail(runtime::Call::copy);
  EXPECT_EQ(source.copyTo(live, {0, 0}, {0, 0, 4, 4}), MIRL_COPY_D2D_FAILED);
  EXPECT_EQ(bytesOf(live), before);
  EXPECT_EQ(source.copyTo(live, {0, 0}, {0, 0, 4, 4}), MIRL_SUCCESS);
}

TEST_P(CopyTo, AcrossDevicesIsAMismatch) {
  if (device::getDeviceCount() < 2) GTEST_SKIP() << "needs a second device";
  const MirlImage source = noiseImage({10, 6}, 8, 3, 1);
  for (const int other : allDevices()) {
    if (other == GetParam()) continue;
    ASSERT_EQ(device::setCurrentDevice(other), MIRL_SUCCESS);
    MirlImage elsewhere = noiseImage({10, 6}, 8, 3, 2);
    const Bytes before = bytesOf(elsewhere);
    EXPECT_EQ(source.copyTo(elsewhere, {0, 0}, {0, 0, 4, 4}), MIRL_MISMATCH);
    EXPECT_EQ(source.copyTo(elsewhere, {-1, 0}, {0, 0, -4, 4}), MIRL_MISMATCH);
    EXPECT_EQ(bytesOf(elsewhere), before);
    MirlImage made;
    EXPECT_EQ(source.copyTo(made, {0, 0}, {0, 0, 4, 4}), MIRL_SUCCESS);
    EXPECT_EQ(made.device(), GetParam()) << "the source's device, not the current one";
  }
}

MIRL_TEST_ON_ALL_DEVICES(CopyTo);

}  // namespace
}  // namespace mirl::test
