// MirlStream: queues, who owns them, and what happens to operations on dead ones.

#include "support.h"

#include <set>

namespace mirl::test {
namespace {

MIRL_DEVICE_TESTS(Stream);

/// The id that the next stream will get, found by making one.
int nextId() {
  return MirlStream(true).id();
}

/// What a stream tells of itself: whether it is the default one, its queue, its id.
auto stateOf(const MirlStream& stream) {
  return std::tuple(stream.isDefault(), static_cast<const void*>(stream.ptr()), stream.id());
}
const std::tuple<bool, const void*, int> kDefault(true, nullptr, 0);

/// What operations say to a stream, which must be the same for all of them.
MirlStatus usedInOperations(const MirlStream& stream) {
  const auto pixels = randomPixels<Byte>(9, 4, 3, 1);
  MirlImage image = toImage(pixels), copied, sum;
  Bytes bytes = bytesOf(image), block(blockBytes(image));
  const int row = rowBytes(image);
  const MirlRect all(0, 0, 9, 4);
  const MirlStatus statuses[] = {image.upload(bytes.data(), row, stream),
                                 image.upload(bytes.data(), all, row, {0, 0}, stream),
                                 image.download(bytes.data(), row, stream),
                                 image.download(bytes.data(), {0, 0}, row, all, stream),
                                 image.download(block.data(), stream),
                                 image.upload(block.data(), stream),
                                 image.copyTo(copied, {0, 0}, all, stream),
                                 arithmeticLogical::add(image, image, sum, stream)};
  stream.sync();
  for (const MirlStatus status : statuses) EXPECT_EQ(status, statuses[0]);
  const bool accepted = statuses[0] == MIRL_SUCCESS;
  EXPECT_TRUE(holds(image, pixels));
  EXPECT_EQ(sum.isInitialized(), accepted);
  EXPECT_TRUE(accepted ? holds(copied, pixels) : testing::AssertionResult(!copied.isInitialized()));
  return statuses[0];
}

TEST_P(Stream, DefaultStaysDefault) {
  MirlStream stream;
  stream.create();
  stream.destroy();
  EXPECT_EQ(stateOf(stream), kDefault);
  EXPECT_EQ(usedInOperations(stream), MIRL_SUCCESS);
  EXPECT_TRUE(stream.finished());
  EXPECT_EQ(heldStreams(), 0);
}

TEST_P(Stream, CreatedHasAQueueAndTheNextId) {
  const int first = nextId();
  {
    const MirlStream a(true);
    MirlStream b(true);
    EXPECT_EQ(stateOf(a), std::tuple(false, a.ptr(), first));
    EXPECT_NE(a.ptr(), nullptr);
    EXPECT_NE(a.ptr(), b.ptr());
    b.create();
    EXPECT_EQ(b.id(), first + 1) << "a second create does nothing";
    EXPECT_EQ(usedInOperations(a), MIRL_SUCCESS);
    EXPECT_EQ(heldStreams(), 2);
  }
  EXPECT_EQ(nextId(), first) << "each destructor takes the counter one back";
}

// Every destroy takes the counter back, and so does the destructor of a dead stream.
TEST_P(Stream, DestroyedIsDeadUntilCreatedAgain) {
  const int first = nextId();
  {
    MirlStream stream(true);
    stream.destroy();
    EXPECT_EQ(heldStreams(), 0);
    EXPECT_EQ(nextId(), first);
    EXPECT_FALSE(stream.isDefault());
    EXPECT_TRUE(stream.finished());
    stream.sync();
    EXPECT_EQ(usedInOperations(stream), MIRL_INVALID_ARGUMENT);
    stream.destroy();
    EXPECT_EQ(nextId(), first - 1);
    stream.create();
    EXPECT_EQ(std::pair(stream.id(), heldStreams()), std::pair(first - 1, 1L));
    EXPECT_EQ(usedInOperations(stream), MIRL_SUCCESS);
    stream.destroy();
  }
  EXPECT_EQ(nextId(), first - 2);
}

TEST_P(Stream, CopiesShareTheQueue) {
  for (const std::size_t destroyed : {0, 1}) {
    const int first = nextId();
    {
      const MirlStream original(true);
      MirlStream copies[] = {original, original, MirlStream()};
      copies[2] = copies[1];
      EXPECT_EQ(heldStreams(), 1);
      for (const MirlStream& copy : copies) EXPECT_EQ(stateOf(copy), stateOf(original));
      EXPECT_EQ(usedInOperations(copies[2]), MIRL_SUCCESS);
      copies[destroyed].destroy();
      EXPECT_EQ(heldStreams(), 0);
      for (const MirlStream* dead : std::initializer_list<const MirlStream*>{
               &original, &copies[0], &copies[1], &copies[2]}) {
        EXPECT_TRUE(dead->finished());
        dead->sync();
        EXPECT_EQ(usedInOperations(*dead), MIRL_INVALID_ARGUMENT);
      }
      // So that the counter is where it was: the destructor of this one counts a second time.
      copies[destroyed].create();
    }
    EXPECT_EQ(heldStreams(), 0);
    EXPECT_EQ(nextId(), first);
  }
}

TEST_P(Stream, MovesHandTheQueueOver) {
  MirlStream a(true);
  const auto state = stateOf(a);
  MirlStream b(std::move(a)), c(true);
  EXPECT_EQ(stateOf(a), kDefault);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(stateOf(b), state);
  EXPECT_EQ(heldStreams(), 2);
  c = std::move(b);
  EXPECT_EQ(heldStreams(), 1) << "the queue that was assigned over is given back";
  MirlStream& itself = c;
  c = std::move(itself);
  EXPECT_EQ(stateOf(c), state);
  EXPECT_EQ(usedInOperations(a), MIRL_SUCCESS);
  EXPECT_EQ(usedInOperations(c), MIRL_SUCCESS);
}

TEST_P(Stream, FailedCreationWorksAsDefault) {
  const int first = nextId();
  const FailNth fail(runtime::Call::stream);
  MirlStream stream(true);
  EXPECT_EQ(stateOf(stream), kDefault);
  EXPECT_EQ(usedInOperations(stream), MIRL_SUCCESS);
  stream.create();
  EXPECT_EQ(stateOf(stream), std::tuple(false, stream.ptr(), first)) << "the next id";
  EXPECT_EQ(heldStreams(), 1);
}

TEST_P(Stream, FailedDestroyLeavesItAlive) {
  const int first = nextId();
  {
    MirlStream stream(true);
    const FailNth fail(runtime::Call::stream);
    stream.destroy();
    EXPECT_EQ(heldStreams(), 1);
    EXPECT_EQ(usedInOperations(stream), MIRL_SUCCESS);
    EXPECT_EQ(MirlStream(true).id(), first + 1);
  }
  EXPECT_EQ(heldStreams(), 0);
  EXPECT_EQ(nextId(), first);
}

TEST_P(Stream, ThreadsMakeStreamsWithTheirOwnIds) {
  const int first = nextId();
  std::vector<MirlStream> made[2];
  onThreads(2, [&](int thread) {
    for (int i = 0; i < 50; ++i) made[thread].emplace_back(true);
  });
  std::set<int> ids;
  for (const auto& list : made) {
    for (const MirlStream& stream : list) ids.insert(stream.id());
  }
  EXPECT_EQ(ids.size(), 100u);
  EXPECT_EQ(std::pair(*ids.begin(), *ids.rbegin()), std::pair(first, first + 99));
  onThreads(2, [&](int thread) { made[thread].clear(); });
  EXPECT_EQ(nextId(), first);
}

TEST_P(Stream, OneStreamServesTwoThreads) {
  const MirlStream stream(true);
  onThreads(2, [&](int) {
    for (int i = 0; i < 20; ++i) EXPECT_EQ(usedInOperations(stream), MIRL_SUCCESS);
  });
  EXPECT_TRUE(stream.finished());
  // Whichever copy comes first destroys it, and only one of them does.
  MirlStream copies[2] = {stream, stream};
  onThreads(2, [&](int thread) { copies[thread].destroy(); });
  EXPECT_EQ(heldStreams(), 0);
}

TEST_P(Stream, OfAnotherDeviceIsAMismatch) {
  if (device::getDeviceCount() < 2) GTEST_SKIP() << "needs a second device";
  for (const int other : allDevices()) {
    if (other == GetParam()) continue;
    device::setCurrentDevice(other);
    MirlStream stream(true);
    device::setCurrentDevice(GetParam());
    EXPECT_EQ(usedInOperations(stream), MIRL_MISMATCH);
    stream.destroy();
    EXPECT_EQ(usedInOperations(stream), MIRL_MISMATCH) << "its device is looked at first";
    stream.create();
    EXPECT_EQ(usedInOperations(stream), MIRL_SUCCESS) << "created anew on the current device";
  }
}

}  // namespace
}  // namespace mirl::test
