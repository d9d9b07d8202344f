// Copies, moves and assignments of images, and what they leave behind when the device fails.

#include "support.h"

namespace mirl::test {
namespace {

MIRL_DEVICE_TESTS(ImageCopy);

testing::AssertionResult isDeepCopy(const MirlImage& copy, const MirlImage& original) {
  if (formatOf(copy) != formatOf(original)) return testing::AssertionFailure() << "format";
  if (copy.ptr() == original.ptr()) return testing::AssertionFailure() << "shared buffer";
  if (bytesOf(copy) != bytesOf(original)) return testing::AssertionFailure() << "content";
  return testing::AssertionSuccess();
}

/// An image whose metadata aren't the ones that it was created with.
MirlImage markedImage(unsigned seed, const MirlSize& size = {17, 5}, int pitch = 0, int depth = 16,
                      int channels = 3) {
  MirlImage image = noiseImage(size, depth, channels, seed, pitch);
  image.setChannelSequence(MIRL_CHANNELSEQ_RGBA);
  EXPECT_EQ(image.setDataBits(7), MIRL_SUCCESS);
  return image;
}

TEST_P(ImageCopy, CopiesAreDeepInEveryFormat) {
  std::vector<Format> formats = allFormats();
  formats.insert(formats.end(), {{MirlType(-1), 128, 3}, {MirlType(-1), -64, 2}});
  for (const auto& [type, depth, channels] : formats) {
    const int row = 17 * channels * std::abs(depth) / 8;
    for (const int pitch : {0, row, row + 3}) {
      const MirlImage original = markedImage(1, {17, 5}, pitch, depth, channels);
      MirlImage assigned, replaced = noiseImage({3, 2}, 8, 1, 2);
      assigned = replaced = original;
      for (const MirlImage& copy : {MirlImage(original), assigned, replaced}) {
        EXPECT_TRUE(isDeepCopy(copy, original)) << type << " pitch " << pitch;
        EXPECT_EQ(copy.pitch(), MirlImage(17, 5, depth, channels).pitch()) << "the device's own";
      }
    }
  }
  for (const MirlSize& size : awkwardSizes()) {
    const MirlImage original = markedImage(2, size);
    EXPECT_TRUE(isDeepCopy(MirlImage(original), original));
  }
}

TEST_P(ImageCopy, EmptyImagesStayEmptyAndChangeNothing) {
  MirlImage released(4, 4, MIRL_32S_C3), stillEmpty;
  ASSERT_EQ(released.release(), MIRL_SUCCESS);
  stillEmpty = released;
  for (const MirlImage& copy : {MirlImage(stillEmpty), MirlImage::null(), MirlImage(released)}) {
    EXPECT_EQ(fieldsOf(copy), fieldsOf(MirlImage())) << "as it never was created";
  }
  MirlImage live = markedImage(1);
  const auto fields = fieldsOf(live);
  const Bytes bytes = bytesOf(live);
  live = stillEmpty;
  live = MirlImage::null();
  MirlImage& itself = live;
  live = std::as_const(itself);
  live = std::move(itself);
  EXPECT_EQ(fieldsOf(live), fields);
  EXPECT_EQ(bytesOf(live), bytes);
}

TEST_P(ImageCopy, MovesTakeTheBuffer) {
  MirlImage original = markedImage(1, {17, 5}, 103);
  const auto fields = fieldsOf(original);
  const Bytes bytes = bytesOf(original);
  MirlImage moved(std::move(original)), target = noiseImage({30, 20}, 32, 1, 2);
  EXPECT_EQ(fieldsOf(moved), fields);
  target = std::move(moved);
  EXPECT_EQ(held(), 1) << "the buffer that was assigned over is given back";
  EXPECT_EQ(fieldsOf(target), fields);
  EXPECT_EQ(bytesOf(target), bytes);
  for (MirlImage* gone : {&original, &moved}) {
    EXPECT_EQ(std::pair(gone->ptr(), gone->width()), std::pair(static_cast<void*>(nullptr), 0));
    EXPECT_EQ(gone->release(), MIRL_IMAGE_NOT_INITIALIZED);
    EXPECT_EQ(gone->create(2, 2, MIRL_8U_C1), MIRL_SUCCESS) << "it can be used again";
  }
  EXPECT_EQ(held(), 3);
}

// Without memory the target is empty. A buffer that the device won't take back must not be lost or
// written over.
TEST_P(ImageCopy, FailuresOfTheDevice) {
  MirlImage original = markedImage(1), target = noiseImage({30, 20}, 32, 1, 2);
  const auto fields = fieldsOf(target);
  const Bytes bytes = bytesOf(target);
  for (const bool move : {false, true}) {
    const FailNth fail(runtime::Call::free);
    move ? target = std::move(original) : target = original;
    EXPECT_EQ(fieldsOf(target), fields);
    EXPECT_EQ(bytesOf(target), bytes);
    EXPECT_TRUE(isDeepCopy(original, markedImage(1)));  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(held(), 2);
  }
  {
    const FailNth fail(runtime::Call::allocate);
    EXPECT_EQ(fieldsOf(MirlImage(original)), fieldsOf(MirlImage()));
    runtime::failNth(runtime::Call::allocate, 1);
    target = original;
  }
  EXPECT_FALSE(target.isInitialized());
  EXPECT_EQ(held(), 1);
  target = original;
  EXPECT_TRUE(isDeepCopy(target, original));
}

TEST_P(ImageCopy, StaysOnItsDevice) {
  if (device::getDeviceCount() < 2) GTEST_SKIP() << "there is one device";
  const MirlImage original = markedImage(1);
  MirlImage target = markedImage(2);
  ASSERT_EQ(device::setCurrentDevice((GetParam() + 1) % device::getDeviceCount()), MIRL_SUCCESS);
  MirlImage elsewhere = markedImage(3);
  EXPECT_NE(elsewhere.device(), GetParam());
  elsewhere = original;
  EXPECT_TRUE(isDeepCopy(elsewhere, original)) << "it follows the original";
  EXPECT_TRUE(isDeepCopy(MirlImage(original), original));
  EXPECT_EQ(target.release(), MIRL_SUCCESS) << "whatever device is current";
}

}  // namespace
}  // namespace mirl::test
