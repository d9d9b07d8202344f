// Creating images: arguments, formats, sizes, and giving the buffer back.

#include "support.h"

#include <climits>
#include <functional>

namespace mirl::test {
namespace {

class Image : public DeviceTest {
 protected:
  long held() const { return runtime::live().deviceBlocks - before_; }

 private:
  long before_ = runtime::live().deviceBlocks;
};

/// What an image that never held anything tells of itself.
auto neverCreated() {
  return std::tuple(false, false, static_cast<void*>(nullptr), 0, 0, 0, 0, 0, 0, -1, 5, -1);
}

/// What a new image ought to tell of itself, with the pitch and pointer that it chose.
auto freshlyCreated(const MirlImage& image, int device, int width, int height, int depth,
                    int channels, int type) {
  const int sequence = channels == 3 ? 1 : channels == 4 ? 2 : 4;
  return std::tuple(true, depth < 0, image.ptr(), width, height, image.pitch(), std::abs(depth),
                    channels, std::abs(depth), type, sequence, device);
}

TEST_P(Image, EveryTypeByTypeAndByDepth) {
  const int device = GetParam();
  for (const Format& format : allFormats()) {
    const int row = 5 * format.channels * std::abs(format.depth) / 8;
    const MirlImage images[] = {
        MirlImage(5, 3, format.type),
        MirlImage(MirlSize(5, 3), format.type),
        MirlImage(5, 3, format.depth, format.channels),
        MirlImage(MirlSize(5, 3), format.depth, format.channels),
        MirlImage(5, 3, row + 13, format.depth, format.channels),
    };
    for (const MirlImage& image : images) {
      EXPECT_EQ(fieldsOf(image),
                freshlyCreated(image, device, 5, 3, format.depth, format.channels, format.type));
      EXPECT_NE(image.ptr(), nullptr);
      EXPECT_GE(image.pitch(), row);
      EXPECT_EQ(image.size().width, 5);
      EXPECT_EQ(image.size().height, 3);
    }
    EXPECT_EQ(images[4].pitch(), row + 13);
    EXPECT_EQ(held(), 5);
  }
}

constexpr int kGood = MIRL_SUCCESS;
constexpr int kBadArgument = MIRL_INVALID_ARGUMENT;
constexpr int kBadChannels = MIRL_CHANNELS_NOT_SUPPORTED;
constexpr int kBadDepth = MIRL_DEPTH_NOT_SUPPORTED;
constexpr int kNoMemory = MIRL_DEVICE_ALLOC_FAILED;

struct CreateRow {
  int width, height, depth, channels;
  int status;
  int type;  // where it succeeds
};

const CreateRow kCreates[] = {
    // Sizes come first, whatever else is wrong.
    {0, 10, 8, 1, kBadArgument, 0},
    {10, 0, 8, 1, kBadArgument, 0},
    {-1, 10, 8, 1, kBadArgument, 0},
    {10, INT_MIN, 8, 1, kBadArgument, 0},
    {0, 10, 8, 5, kBadArgument, 0},
    {0, 10, 12, 1, kBadArgument, 0},
    {10, -1, 12, 5, kBadArgument, 0},
    // Then channels.
    {10, 10, 8, 0, kBadChannels, 0},
    {10, 10, 8, 5, kBadChannels, 0},
    {10, 10, 8, -1, kBadChannels, 0},
    {10, 10, 8, INT_MIN, kBadChannels, 0},
    {10, 10, 12, 5, kBadChannels, 0},
    {10, 10, 0, 0, kBadChannels, 0},
    // Then the depth.
    {10, 10, 0, 1, kBadDepth, 0},
    {10, 10, 1, 1, kBadDepth, 0},
    {10, 10, -4, 1, kBadDepth, 0},
    {10, 10, 12, 1, kBadDepth, 0},
    {10, 10, 24, 3, kBadDepth, 0},
    {10, 10, -48, 3, kBadDepth, 0},
    {10, 10, 31, 1, kBadDepth, 0},
    {10, 10, INT_MAX, 1, kBadDepth, 0},
    {INT_MAX, 10, 12, 4, kBadDepth, 0},
    // Then what a pitch can say, in products that 32 and 64 bits would wrap.
    {INT_MAX, 1, 8, 2, kBadArgument, 0},
    {INT_MAX, INT_MAX, 64, 4, kBadArgument, 0},
    {1 << 29, 8, 64, 1, kBadArgument, 0},
    {1 << 30, 1, 32, 4, kBadArgument, 0},
    {1 << 26, 1, 64, 4, kBadArgument, 0},
    {10, 10, 1 << 30, 4, kBadArgument, 0},
    {INT_MAX, INT_MAX, 1 << 30, 4, kBadArgument, 0},
    {1, 1, INT_MIN, 1, kBadArgument, 0},
    {INT_MAX, INT_MAX, INT_MIN, 4, kBadArgument, 0},
    // Then memory: 2^45, 2^51 and 2^62 bytes.
    {1 << 20, 1 << 20, 64, 4, kNoMemory, 0},
    {1 << 20, INT_MAX, 8, 1, kNoMemory, 0},
    {INT_MAX, INT_MAX, 8, 1, kNoMemory, 0},
    // Depths without a type are images nevertheless.
    {10, 10, 128, 1, kGood, -1},
    {10, 10, -256, 3, kGood, -1},
    {10, 10, -64, 4, kGood, -1},
    {1, 1, 1 << 20, 2, kGood, -1},
    {10, 10, -16, 3, kGood, 14},
    {1, 1, 64, 4, kGood, 27},
};

TEST_P(Image, StatusOfCreate) {
  for (const CreateRow& row : kCreates) {
    SCOPED_TRACE(testing::Message() << row.width << "x" << row.height << " depth " << row.depth
                                    << " channels " << row.channels);
    const MirlSize size(row.width, row.height);
    // The widest pitch there is, so that it is never what is wrong.
    const bool pitchTakes = row.status != kGood && row.status != kNoMemory;
    MirlImage bySize, byNumbers, byPitch;
    EXPECT_EQ(byNumbers.create(row.width, row.height, row.depth, row.channels), row.status);
    EXPECT_EQ(bySize.create(size, row.depth, row.channels), row.status);
    const MirlImage constructed(row.width, row.height, row.depth, row.channels);
    const MirlImage constructedBySize(size, row.depth, row.channels);
    if (pitchTakes) {
      EXPECT_EQ(byPitch.create(row.width, row.height, INT_MAX, row.depth, row.channels),
                row.status);
      EXPECT_EQ(fieldsOf(byPitch), neverCreated());
      const MirlImage made(row.width, row.height, INT_MAX, row.depth, row.channels);
      EXPECT_EQ(fieldsOf(made), neverCreated());
    }
    for (const MirlImage* image :
         {&std::as_const(byNumbers), &std::as_const(bySize), &constructed, &constructedBySize}) {
      if (row.status == kGood) {
        EXPECT_EQ(fieldsOf(*image), freshlyCreated(*image, GetParam(), row.width, row.height,
                                                   row.depth, row.channels, row.type));
      } else {
        EXPECT_EQ(fieldsOf(*image), neverCreated());
      }
    }
    EXPECT_EQ(held(), row.status == kGood ? 4 : 0);
  }
}

// A pitch could just say the length of this row, but not once it is padded; a device may also find
// it too long by itself.
TEST_P(Image, RowThatIsTooLongOncePadded) {
  MirlImage image;
  const MirlStatus status = image.create(INT_MAX, 1, 8, 1);
  EXPECT_TRUE(status == kBadArgument || status == kNoMemory) << status;
  EXPECT_EQ(fieldsOf(image), neverCreated());
  EXPECT_EQ(held(), 0);
}

TEST_P(Image, StatusOfCreateByType) {
  for (const int number : {-1, 28, 100, INT_MIN, INT_MAX}) {
    const auto type = static_cast<MirlType>(number);
    MirlImage image;
    EXPECT_EQ(image.create(10, 10, type), kBadChannels) << number;
    EXPECT_EQ(image.create(MirlSize(10, 10), type), kBadChannels) << number;
    EXPECT_EQ(image.create(0, 10, type), kBadArgument) << "sizes come first";
    EXPECT_EQ(fieldsOf(image), neverCreated());
    EXPECT_EQ(fieldsOf(MirlImage(10, 10, type)), neverCreated());
  }
  MirlImage image;
  EXPECT_EQ(image.create(10, -1, MIRL_32F_C3), kBadArgument);
  EXPECT_EQ(image.create(MirlSize(), MIRL_32F_C3), kBadArgument);
  EXPECT_EQ(image.create(1 << 28, 10, MIRL_64F_C4), kBadArgument);
}

TEST_P(Image, StatusOfCreateWithPitch) {
  struct Row {
    int width, height, pitch, depth, channels, status;
  };
  const Row rows[] = {
      {10, 6, 60, 16, 3, kGood},
      {10, 6, 61, 16, 3, kGood},
      {10, 6, 59, 16, 3, kBadArgument},
      {10, 6, 0, 16, 3, kBadArgument},
      {10, 6, -60, 16, 3, kBadArgument},
      {10, 6, INT_MIN, 16, 3, kBadArgument},
      {10, 6, 0, 12, 3, kBadDepth},
      {10, 6, 0, 12, 5, kBadChannels},
      {0, 6, 60, 12, 5, kBadArgument},
      {10, INT_MAX, INT_MAX, 8, 1, kNoMemory},
      {1, 1, 1, 8, 1, kGood},
      {1, 3, 5000, 8, 1, kGood},
      {3, 1, 48, 128, 1, kGood},
      {3, 1, 47, 128, 1, kBadArgument},
  };
  for (const Row& row : rows) {
    MirlImage image;
    EXPECT_EQ(image.create(row.width, row.height, row.pitch, row.depth, row.channels), row.status)
        << row.width << " " << row.pitch << " " << row.depth;
    EXPECT_EQ(image.isInitialized(), row.status == kGood);
    if (row.status == kGood) {
      EXPECT_EQ(image.pitch(), row.pitch);
    } else {
      EXPECT_EQ(fieldsOf(image), neverCreated());
    }
  }
}

TEST_P(Image, CreateLeavesALiveImage) {
  MirlImage image = noiseImage({7, 5}, 16, 3, 1);
  image.setChannelSequence(MIRL_CHANNELSEQ_RGB);
  ASSERT_EQ(image.setDataBits(12), MIRL_SUCCESS);
  const auto fields = fieldsOf(image);
  const Bytes bytes = bytesOf(image);
  const FailNth fail(runtime::Call::allocate);
  EXPECT_EQ(image.create(70, 50, 8, 1), MIRL_SUCCESS);
  EXPECT_EQ(image.create(0, -1, 12, 5), MIRL_SUCCESS);
  EXPECT_EQ(image.create(7, 5, 0, 16, 3), MIRL_SUCCESS);
  EXPECT_EQ(image.create(MirlSize(), 12, 5), MIRL_SUCCESS);
  EXPECT_EQ(image.create(7, 5, static_cast<MirlType>(-1)), MIRL_SUCCESS);
  EXPECT_EQ(image.create(MirlSize(), static_cast<MirlType>(99)), MIRL_SUCCESS);
  EXPECT_EQ(fieldsOf(image), fields);
  EXPECT_EQ(bytesOf(image), bytes);
}

TEST_P(Image, EveryFormOfCreateReportsMissingMemory) {
  const std::function<MirlStatus(MirlImage&)> creates[] = {
      [](MirlImage& i) { return i.create(7, 5, 8, 3); },
      [](MirlImage& i) { return i.create(7, 5, 33, 8, 3); },
      [](MirlImage& i) { return i.create(MirlSize(7, 5), 8, 3); },
      [](MirlImage& i) { return i.create(7, 5, MIRL_8U_C3); },
      [](MirlImage& i) { return i.create(MirlSize(7, 5), MIRL_8U_C3); },
  };
  for (const auto& create : creates) {
    MirlImage image;
    const FailNth fail(runtime::Call::allocate);
    EXPECT_EQ(create(image), MIRL_DEVICE_ALLOC_FAILED);
    EXPECT_EQ(fieldsOf(image), neverCreated());
    EXPECT_EQ(held(), 0);
    EXPECT_EQ(create(image), MIRL_SUCCESS) << "the image can be used once there is memory";
    EXPECT_EQ(held(), 1);
  }
}

// Offsets behind 2^32 must not come out as small ones.
TEST_P(Image, AddressesMoreThanFourGiB) {
  const int side = 65537;
  MirlImage image;
  const MirlStatus status = image.create(side, side, side, 8, 1);
  if (status == MIRL_DEVICE_ALLOC_FAILED) GTEST_SKIP() << "needs 4 GiB of device memory";
  ASSERT_EQ(status, MIRL_SUCCESS);
  // The last byte is at 65537 * 65537 - 1 = 2^32 + 131072, which 32 bits would take for 131072,
  // and that is at row 1, column 65535.
  ASSERT_EQ(image.set(65535, 1, 0, 11.0), MIRL_SUCCESS);
  ASSERT_EQ(image.set(side - 1, side - 1, 0, 22.0), MIRL_SUCCESS);
  EXPECT_EQ(image.get(65535, 1, 0), 11.0);
  EXPECT_EQ(image.get(side - 1, side - 1, 0), 22.0);

  const unsigned char corner[] = {1, 2, 3, 4};
  ASSERT_EQ(image.upload(corner, MirlRect(0, 0, 2, 2), 2, {side - 2, side - 2}), MIRL_SUCCESS);
  unsigned char back[4] = {};
  ASSERT_EQ(image.download(back, {0, 0}, 2, MirlRect(side - 2, side - 2, 2, 2)), MIRL_SUCCESS);
  EXPECT_EQ(std::memcmp(corner, back, 4), 0);
  MirlImage part;
  ASSERT_EQ(image.copyTo(part, {0, 0}, MirlRect(side - 2, side - 2, 2, 2)), MIRL_SUCCESS);
  EXPECT_EQ(bytesOf(part), Bytes(corner, corner + 4));
  EXPECT_EQ(image.get(65535, 1, 0), 11.0);
}

TEST_P(Image, ReleaseEmptiesIt) {
  MirlImage image = noiseImage({7, 5}, -16, 3, 1);
  EXPECT_EQ(image.release(), MIRL_SUCCESS);
  EXPECT_EQ(held(), 0);
  // The type and the sign stay until the next creation.
  const auto released = std::tuple(false, true, static_cast<void*>(nullptr), 0, 0, 0, 0, 0, 0,
                                   static_cast<int>(MIRL_16S_C3), 5, -1);
  EXPECT_EQ(fieldsOf(image), released);
  EXPECT_EQ(image.release(), MIRL_IMAGE_NOT_INITIALIZED);
  EXPECT_EQ(fieldsOf(image), released);
  EXPECT_EQ(image.create(0, 5, MIRL_8U_C1), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(fieldsOf(image), released);
  EXPECT_EQ(image.create(4, 2, MIRL_8U_C1), MIRL_SUCCESS);
  EXPECT_EQ(fieldsOf(image), freshlyCreated(image, GetParam(), 4, 2, 8, 1, MIRL_8U_C1));
  EXPECT_EQ(MirlImage().release(), MIRL_IMAGE_NOT_INITIALIZED);
}

TEST_P(Image, ReleaseThatFailsChangesNothing) {
  MirlImage image = noiseImage({7, 5}, 16, 3, 1);
  const auto fields = fieldsOf(image);
  const Bytes bytes = bytesOf(image);
  const FailNth fail(runtime::Call::free);
  EXPECT_EQ(image.release(), MIRL_DEVICE_FREE_FAILED);
  EXPECT_EQ(fieldsOf(image), fields);
  EXPECT_EQ(bytesOf(image), bytes);
  EXPECT_EQ(image.release(), MIRL_SUCCESS);
}

TEST_P(Image, DataBitsAndSequence) {
  MirlImage image(4, 4, MIRL_16U_C3);
  const std::pair<int, int> rows[] = {
      {12, kGood},
      {16, kGood},
      {0, kGood},
      {17, kBadArgument},
      {10, kGood},
      {-1, kBadArgument},
      {INT_MIN, kBadArgument},
      {INT_MAX, kBadArgument},
  };
  int bits = 16;
  for (const auto& [wanted, status] : rows) {
    EXPECT_EQ(image.setDataBits(wanted), status) << wanted;
    if (status == kGood) bits = wanted;
    EXPECT_EQ(image.dataBits(), bits);
  }
  image.setChannelSequence(MIRL_CHANNELSEQ_RGBA);
  EXPECT_EQ(image.channelSeq(), MIRL_CHANNELSEQ_RGBA);
  MirlImage empty;
  EXPECT_EQ(empty.setDataBits(1), kBadArgument);
  EXPECT_EQ(empty.setDataBits(0), kGood);
}

MIRL_TEST_ON_ALL_DEVICES(Image);

}  // namespace
}  // namespace mirl::test
