// Copies, moves and assignments of images, and what they leave behind when the device fails.

#include "support.h"

namespace mirl::test {
namespace {

class ImageCopy : public DeviceTest {
 protected:
  long held() const { return runtime::live().deviceBlocks - before_; }

 private:
  long before_ = runtime::live().deviceBlocks;
};

/// What a deep copy carries over: all but the buffer.
auto formatOf(const MirlImage& image) {
  return std::tuple(image.isInitialized(), image.isSigned(), image.width(), image.height(),
                    image.depth(), image.channels(), image.dataBits(),
                    static_cast<int>(image.type()), static_cast<int>(image.channelSeq()),
                    image.device());
}

testing::AssertionResult isDeepCopy(const MirlImage& copy, const MirlImage& original) {
  if (formatOf(copy) != formatOf(original)) return testing::AssertionFailure() << "format";
  if (copy.ptr() == original.ptr()) return testing::AssertionFailure() << "shared buffer";
  if (bytesOf(copy) != bytesOf(original)) return testing::AssertionFailure() << "content";
  return testing::AssertionSuccess();
}

/// An image whose metadata aren't the ones that it was created with.
MirlImage markedImage(unsigned seed, const MirlSize& size = {17, 5}, int pitch = 0) {
  MirlImage image = noiseImage(size, 16, 3, seed, pitch);
  image.setChannelSequence(MIRL_CHANNELSEQ_RGB);
  EXPECT_EQ(image.setDataBits(12), MIRL_SUCCESS);
  return image;
}

TEST_P(ImageCopy, CopiesAreDeepInEveryFormat) {
  std::vector<Format> formats = allFormats();
  formats.push_back({static_cast<MirlType>(-1), 128, 3});
  formats.push_back({static_cast<MirlType>(-1), -64, 2});
  for (const Format& format : formats) {
    const int row = 17 * format.channels * std::abs(format.depth) / 8;
    for (const int pitch : {0, row, row + 3}) {
      MirlImage original = noiseImage({17, 5}, format.depth, format.channels, 1, pitch);
      original.setChannelSequence(MIRL_CHANNELSEQ_RGBA);
      ASSERT_EQ(original.setDataBits(7), MIRL_SUCCESS);
      const MirlImage copy(original);
      EXPECT_TRUE(isDeepCopy(copy, original)) << format.type << " pitch " << pitch;
      MirlImage assigned;
      assigned = original;
      EXPECT_TRUE(isDeepCopy(assigned, original)) << format.type << " pitch " << pitch;
    }
  }
  for (const MirlSize& size : awkwardSizes()) {
    const MirlImage original = markedImage(2, size);
    EXPECT_TRUE(isDeepCopy(MirlImage(original), original));
  }
}

TEST_P(ImageCopy, CopiesLiveByThemselves) {
  MirlImage original = markedImage(1);
  const Bytes bytes = bytesOf(original);
  MirlImage copy(original);
  const double before = original.get(3, 2, 1);
  ASSERT_EQ(copy.set(3, 2, 1, before == 0.0 ? 1.0 : 0.0), MIRL_SUCCESS);
  EXPECT_EQ(bytesOf(original), bytes);
  ASSERT_EQ(original.release(), MIRL_SUCCESS);
  EXPECT_NE(bytesOf(copy), bytes);
  EXPECT_EQ(held(), 1);
}

TEST_P(ImageCopy, EmptyImagesStayEmptyAndChangeNothing) {
  const MirlImage empty;
  EXPECT_FALSE(MirlImage(empty).isInitialized());
  EXPECT_EQ(fieldsOf(MirlImage::null()), fieldsOf(empty));
  MirlImage released(4, 4, MIRL_32S_C3);
  ASSERT_EQ(released.release(), MIRL_SUCCESS);
  EXPECT_EQ(fieldsOf(MirlImage(released)), fieldsOf(empty)) << "as it never was created";

  MirlImage live = markedImage(1);
  const auto fields = fieldsOf(live);
  const Bytes bytes = bytesOf(live);
  live = empty;
  live = MirlImage();
  live = MirlImage::null();
  const MirlImage& itself = live;
  live = itself;
  MirlImage& movable = live;
  live = std::move(movable);
  EXPECT_EQ(fieldsOf(live), fields);
  EXPECT_EQ(bytesOf(live), bytes);
  MirlImage stillEmpty;
  stillEmpty = empty;
  EXPECT_FALSE(stillEmpty.isInitialized());
}

TEST_P(ImageCopy, AssignmentReplacesAnyFormat) {
  const MirlImage original = markedImage(1);
  MirlImage smaller = noiseImage({3, 2}, 8, 1, 2);
  smaller = original;
  EXPECT_TRUE(isDeepCopy(smaller, original));
  MirlImage larger = noiseImage({300, 200}, -32, 4, 3);
  larger = original;
  EXPECT_TRUE(isDeepCopy(larger, original));
  MirlImage pitched = markedImage(4, {17, 5}, 103);
  pitched = original;
  EXPECT_TRUE(isDeepCopy(pitched, original));
  EXPECT_EQ(pitched.pitch(), MirlImage(17, 5, MIRL_16U_C3).pitch()) << "the device's own pitch";
  EXPECT_EQ(held(), 4);
}

TEST_P(ImageCopy, MovesTakeTheBuffer) {
  MirlImage original = markedImage(1, {17, 5}, 103);
  const auto fields = fieldsOf(original);
  const Bytes bytes = bytesOf(original);
  MirlImage moved(std::move(original));
  EXPECT_EQ(fieldsOf(moved), fields);
  EXPECT_EQ(bytesOf(moved), bytes);
  EXPECT_FALSE(original.isInitialized());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(original.ptr(), nullptr);
  EXPECT_EQ(original.width(), 0);
  EXPECT_EQ(original.release(), MIRL_IMAGE_NOT_INITIALIZED);

  MirlImage target = noiseImage({30, 20}, 32, 1, 2);
  EXPECT_EQ(held(), 2);
  target = std::move(moved);
  EXPECT_EQ(held(), 1) << "the buffer that was assigned over is given back";
  EXPECT_EQ(fieldsOf(target), fields);
  EXPECT_FALSE(moved.isInitialized());  // NOLINT(bugprone-use-after-move)

  EXPECT_EQ(original.create(2, 2, MIRL_8U_C1), MIRL_SUCCESS) << "it can be used again";
  std::vector<MirlImage> many;
  for (unsigned i = 0; i < 10; ++i) many.push_back(markedImage(i));
  EXPECT_EQ(held(), 12);
  for (unsigned i = 0; i < 10; ++i) EXPECT_TRUE(isDeepCopy(many[i], markedImage(i)));
}

TEST_P(ImageCopy, WithoutMemoryTheTargetIsEmpty) {
  const MirlImage original = markedImage(1);
  {
    const FailNth fail(runtime::Call::allocate);
    const MirlImage copy(original);
    EXPECT_EQ(fieldsOf(copy), fieldsOf(MirlImage()));
  }
  MirlImage target = noiseImage({30, 20}, 32, 1, 2);
  {
    const FailNth fail(runtime::Call::allocate);
    target = original;
  }
  EXPECT_FALSE(target.isInitialized());
  EXPECT_EQ(held(), 1);
  target = original;
  EXPECT_TRUE(isDeepCopy(target, original));
}

// A buffer that the device won't take back must not be lost or written over.
TEST_P(ImageCopy, WithoutReleaseTheTargetStays) {
  MirlImage original = markedImage(1);
  MirlImage target = noiseImage({3, 2}, 32, 1, 2);
  const auto fields = fieldsOf(target);
  const Bytes bytes = bytesOf(target);
  for (const bool move : {false, true}) {
    const FailNth fail(runtime::Call::free);
    if (move) {
      target = std::move(original);
    } else {
      target = original;
    }
    EXPECT_EQ(fieldsOf(target), fields);
    EXPECT_EQ(bytesOf(target), bytes);
    EXPECT_TRUE(isDeepCopy(original, markedImage(1)));  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(held(), 2);
  }
}

TEST_P(ImageCopy, StaysOnItsDevice) {
  if (device::getDeviceCount() < 2) GTEST_SKIP() << "needs a second device";
  const MirlImage original = markedImage(1);
  for (const int other : allDevices()) {
    if (other == GetParam()) continue;
    MirlImage target = markedImage(2);
    ASSERT_EQ(device::setCurrentDevice(other), MIRL_SUCCESS);
    EXPECT_EQ(MirlImage(4, 4, MIRL_8U_C1).device(), other);
    EXPECT_TRUE(isDeepCopy(MirlImage(original), original));
    MirlImage elsewhere = markedImage(3);
    EXPECT_EQ(elsewhere.device(), other);
    elsewhere = original;
    EXPECT_TRUE(isDeepCopy(elsewhere, original)) << "it follows the original";
    EXPECT_EQ(target.release(), MIRL_SUCCESS) << "whatever device is current";
    ASSERT_EQ(device::setCurrentDevice(GetParam()), MIRL_SUCCESS);
  }
}

MIRL_TEST_ON_ALL_DEVICES(ImageCopy);

}  // namespace
}  // namespace mirl::test
