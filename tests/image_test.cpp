// Creating images: arguments, formats, sizes, and giving the buffer back.

#include "support.h"

#include <array>
#include <climits>
#include <functional>

namespace mirl::test {
namespace {

MIRL_DEVICE_TESTS(Image);

/// What an image that never held anything tells of itself.
auto neverCreated() {
  return std::tuple(false, false, 0, 0, 0, 0, 0, -1, 5, -1, static_cast<void*>(nullptr), 0);
}

/// What a new image ought to tell of itself, with the pitch and pointer that it chose.
auto freshlyCreated(const MirlImage& image, int width, int height, int depth, int channels,
                    int type) {
  const int sequence = channels == 3 ? 1 : channels == 4 ? 2 : 4;
  return std::tuple(true, depth < 0, width, height, std::abs(depth), channels, std::abs(depth),
                    type, sequence, device::getCurentDevice(), image.ptr(), image.pitch());
}

TEST_P(Image, EveryTypeByTypeAndByDepth) {
  for (const auto& [type, depth, channels] : allFormats()) {
    const int row = 5 * channels * std::abs(depth) / 8;
    const MirlSize size(5, 3);
    const MirlImage images[] = {{5, 3, type},
                                {size, type},
                                {5, 3, depth, channels},
                                {size, depth, channels},
                                {5, 3, row + 13, depth, channels}};
    for (const MirlImage& image : images) {
      EXPECT_EQ(fieldsOf(image), freshlyCreated(image, 5, 3, depth, channels, type));
      EXPECT_NE(image.ptr(), nullptr);
      EXPECT_GE(image.pitch(), row);
    }
    EXPECT_EQ(images[4].pitch(), row + 13);
    EXPECT_EQ(held(), 5);
  }
}

constexpr int kMax = INT_MAX, kMin = INT_MIN;
constexpr int kGood = MIRL_SUCCESS;
constexpr int kBadArgument = MIRL_INVALID_ARGUMENT;
constexpr int kBadChannels = MIRL_CHANNELS_NOT_SUPPORTED;
constexpr int kBadDepth = MIRL_DEPTH_NOT_SUPPORTED;
constexpr int kNoMemory = MIRL_DEVICE_ALLOC_FAILED;

/// Width, height, depth and channels. Sizes are looked at first, then channels, then the depth,
/// then what a pitch can say, in products that 32 and 64 bits would wrap, then memory: 2^45, 2^51
/// and 2^62 bytes.
using Arguments = std::vector<std::array<int, 4>>;
const Arguments kBadSizes = {{0, 10, 8, 1}, {10, 0, 8, 1},  {-1, 10, 8, 1}, {10, kMin, 8, 1},
                             {0, 10, 8, 5}, {0, 10, 12, 1}, {10, -1, 12, 5}};
const Arguments kNoChannels = {{10, 10, 8, 0},    {10, 10, 8, 5},  {10, 10, 8, -1},
                               {10, 10, 8, kMin}, {10, 10, 12, 5}, {10, 10, 0, 0}};
const Arguments kNoDepths = {{10, 10, 0, 1},    {10, 10, 1, 1},   {10, 10, -4, 1},
                             {10, 10, 12, 1},   {10, 10, 24, 3},  {10, 10, -48, 3},
                             {10, 10, kMax, 1}, {kMax, 10, 12, 4}};
const Arguments kTooLong = {{kMax, 1, 8, 2},     {kMax, kMax, 64, 4},  {1 << 29, 8, 64, 1},
                            {1 << 30, 1, 32, 4}, {10, 10, 1 << 30, 4}, {kMax, kMax, 1 << 30, 4},
                            {1, 1, kMin, 1},     {kMax, kMax, kMin, 4}};
const Arguments kTooMuch = {{1 << 20, 1 << 20, 64, 4}, {1 << 20, kMax, 8, 1}, {kMax, kMax, 8, 1}};

TEST_P(Image, StatusOfCreate) {
  const std::pair<int, const Arguments&> refused[] = {{kBadArgument, kBadSizes},
                                                      {kBadChannels, kNoChannels},
                                                      {kBadDepth, kNoDepths},
                                                      {kBadArgument, kTooLong},
                                                      {kNoMemory, kTooMuch}};
  for (const auto& [status, rows] : refused) {
    for (const auto& [width, height, depth, channels] : rows) {
      SCOPED_TRACE(testing::Message()
                   << width << "x" << height << " depth " << depth << " channels " << channels);
      MirlImage image;
      EXPECT_EQ(image.create(width, height, depth, channels), status);
      EXPECT_EQ(image.create(MirlSize(width, height), depth, channels), status);
      if (status != kNoMemory) {  // the widest pitch is never what is wrong
        EXPECT_EQ(image.create(width, height, INT_MAX, depth, channels), status);
      }
      EXPECT_EQ(fieldsOf(image), neverCreated());
      EXPECT_EQ(fieldsOf(MirlImage(width, height, depth, channels)), neverCreated());
      EXPECT_EQ(held(), 0);
    }
  }
}

// Depths without a type are images nevertheless. A pitch could just say the length of the last row,
// but not once it is padded; a device may also find it too long by itself.
TEST_P(Image, DepthsWithoutATypeAndALongRow) {
  MirlImage image;
  for (const auto& [depth, channels] : {std::pair{128, 1}, {-256, 3}, {-64, 4}, {1 << 20, 2}}) {
    MirlImage made;
    EXPECT_EQ(made.create(1, 10, depth, channels), MIRL_SUCCESS);
    EXPECT_EQ(fieldsOf(made), freshlyCreated(made, 1, 10, depth, channels, -1));
  }
  const MirlStatus status = image.create(INT_MAX, 1, 8, 1);
  EXPECT_TRUE(status == kBadArgument || status == kNoMemory) << status;
  EXPECT_EQ(fieldsOf(image), neverCreated());
}

TEST_P(Image, StatusOfCreateByType) {
  MirlImage image;
  for (const int number : {-1, 28, 100, INT_MIN, INT_MAX}) {
    const auto type = static_cast<MirlType>(number);
    EXPECT_EQ(image.create(10, 10, type), kBadChannels) << number;
    EXPECT_EQ(image.create(MirlSize(10, 10), type), kBadChannels) << number;
    EXPECT_EQ(image.create(0, 10, type), kBadArgument) << "sizes come first";
  }
  EXPECT_EQ(image.create(MirlSize(10, -1), MIRL_32F_C3), kBadArgument);
  EXPECT_EQ(image.create(1 << 28, 10, MIRL_64F_C4), kBadArgument);
  EXPECT_EQ(fieldsOf(image), neverCreated());
}

TEST_P(Image, StatusOfCreateWithPitch) {
  const std::array<int, 6> rows[] = {
      {kGood, 10, 6, 60, 16, 3},         {kGood, 10, 6, 61, 16, 3},
      {kBadArgument, 10, 6, 59, 16, 3},  {kBadArgument, 10, 6, 0, 16, 3},
      {kBadArgument, 10, 6, -60, 16, 3}, {kBadArgument, 10, 6, kMin, 16, 3},
      {kBadDepth, 10, 6, 0, 12, 3},      {kBadChannels, 10, 6, 0, 12, 5},
      {kBadArgument, 0, 6, 60, 12, 5},   {kNoMemory, 10, kMax, kMax, 8, 1},
      {kGood, 1, 3, 5000, 8, 1},         {kGood, 3, 1, 48, 128, 1},
      {kBadArgument, 3, 1, 47, 128, 1}};
  for (const auto& [status, width, height, pitch, depth, channels] : rows) {
    MirlImage image;
    EXPECT_EQ(image.create(width, height, pitch, depth, channels), status) << pitch << " " << depth;
    EXPECT_EQ(image.isInitialized(), status == kGood);
    EXPECT_EQ(image.pitch(), status == kGood ? pitch : 0);
  }
}

TEST_P(Image, CreateLeavesALiveImage) {
  MirlImage image = noiseImage({7, 5}, 16, 3, 1);
  ASSERT_EQ(image.setDataBits(12), MIRL_SUCCESS);
  const auto fields = fieldsOf(image);
  const Bytes bytes = bytesOf(image);
  const std::function<MirlStatus(MirlImage&)> creates[] = {
      [](MirlImage& i) { return i.create(70, 50, 8, 1); },
      [](MirlImage& i) { return i.create(7, 5, 33, 8, 3); },
      [](MirlImage& i) { return i.create(MirlSize(7, 5), 8, 3); },
      [](MirlImage& i) { return i.create(7, 5, MIRL_8U_C3); }};
  for (const auto& create : creates) {
    const FailNth fail(runtime::Call::allocate);
    MirlImage empty;
    EXPECT_EQ(create(image), MIRL_SUCCESS);
    EXPECT_EQ(create(empty), MIRL_DEVICE_ALLOC_FAILED);
    EXPECT_EQ(fieldsOf(empty), neverCreated());
    EXPECT_EQ(held(), 1);
    EXPECT_EQ(create(empty), MIRL_SUCCESS) << "it can be used once there is memory";
  }
  EXPECT_EQ(image.create(0, -1, 12, 5), MIRL_SUCCESS);
  EXPECT_EQ(image.create(7, 5, 0, 16, 3), MIRL_SUCCESS);
  EXPECT_EQ(image.create(MirlSize(), static_cast<MirlType>(99)), MIRL_SUCCESS);
  // Nor does it change when it can't be given back.
  const FailNth fail(runtime::Call::free);
  EXPECT_EQ(image.release(), MIRL_DEVICE_FREE_FAILED);
  EXPECT_EQ(fieldsOf(image), fields);
  EXPECT_EQ(bytesOf(image), bytes);
}

// Offsets behind 2^32 must not come out as small ones: the last byte is at 65537 * 65537 - 1 =
// 2^32 + 131072, which 32 bits would take for 131072, and that is at row 1, column 65535.
TEST_P(Image, AddressesMoreThanFourGiB) {
  const int side = 65537;
  MirlImage image, part;
  const MirlStatus status = image.create(side, side, side, 8, 1);
  if (status == MIRL_DEVICE_ALLOC_FAILED) GTEST_SKIP() << "needs 4 GiB of device memory";
  ASSERT_EQ(status, MIRL_SUCCESS);
  ASSERT_EQ(image.set(65535, 1, 0, 11.0), MIRL_SUCCESS);
  ASSERT_EQ(image.set(side - 1, side - 1, 0, 22.0), MIRL_SUCCESS);
  EXPECT_EQ(image.get(side - 1, side - 1, 0), 22.0);
  const Bytes corner = {1, 2, 3, 4};
  Bytes back(4);
  const MirlRect last(side - 2, side - 2, 2, 2);
  ASSERT_EQ(image.upload(corner.data(), {0, 0, 2, 2}, 2, last.origin()), MIRL_SUCCESS);
  ASSERT_EQ(image.download(back.data(), {0, 0}, 2, last), MIRL_SUCCESS);
  ASSERT_EQ(image.copyTo(part, {0, 0}, last), MIRL_SUCCESS);
  EXPECT_EQ(back, corner);
  EXPECT_EQ(bytesOf(part), corner);
  EXPECT_EQ(image.get(65535, 1, 0), 11.0);
}

TEST_P(Image, ReleaseEmptiesIt) {
  MirlImage image = noiseImage({7, 5}, -16, 3, 1);
  EXPECT_EQ(image.release(), MIRL_SUCCESS);
  EXPECT_EQ(held(), 0);
  // The type and the sign stay until the next creation.
  auto released = neverCreated();
  std::get<1>(released) = true;
  std::get<7>(released) = MIRL_16S_C3;
  EXPECT_EQ(fieldsOf(image), released);
  EXPECT_EQ(image.release(), MIRL_IMAGE_NOT_INITIALIZED);
  EXPECT_EQ(image.create(0, 5, MIRL_8U_C1), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(fieldsOf(image), released);
  EXPECT_EQ(image.create(4, 2, MIRL_8U_C1), MIRL_SUCCESS);
  EXPECT_EQ(fieldsOf(image), freshlyCreated(image, 4, 2, 8, 1, MIRL_8U_C1));
  EXPECT_EQ(MirlImage().release(), MIRL_IMAGE_NOT_INITIALIZED);
}

TEST_P(Image, DataBits) {
  MirlImage image(4, 4, MIRL_16U_C3), empty;
  int bits = 16;
  for (const auto& [wanted, status] : {std::pair{12, kGood},
                                       {16, kGood},
                                       {0, kGood},
                                       {17, kBadArgument},
                                       {10, kGood},
                                       {-1, kBadArgument},
                                       {kMin, kBadArgument}}) {
    EXPECT_EQ(image.setDataBits(wanted), status) << wanted;
    if (status == kGood) bits = wanted;
    EXPECT_EQ(image.dataBits(), bits);
  }
  EXPECT_EQ(empty.setDataBits(1), kBadArgument);
  EXPECT_EQ(empty.setDataBits(0), kGood);
}

}  // namespace
}  // namespace mirl::test
