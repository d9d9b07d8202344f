// Work on several host threads at once: what the thread sanitizer is for.

#include "runtime/pinned_pool.h"
#include "runtime/scratch.h"
#include "support.h"

#include <atomic>

namespace mirl::test {
namespace {

using runtime::Direction;

class Threads : public DeviceTest {};

/// Large enough that the host device shares its rows out over threads of its own.
constexpr int kWidth = 601;
constexpr int kHeight = 400;

// An input may be read by any number of threads, its fields too.
TEST_P(Threads, OneInputForAll) {
  const auto pixels = randomPixels<Byte>(kWidth, kHeight, 3, 1);
  const MirlImage shared = toImage(pixels);
  onThreads(3, [&](int) {
    for (int round = 0; round < 6; ++round) {
      EXPECT_EQ(shared.width(), kWidth);
      MirlImage zeros, part;
      EXPECT_EQ(arithmeticLogical::absDiff(shared, shared, zeros), MIRL_SUCCESS);
      EXPECT_TRUE(holds(zeros, Pixels<Byte>(kWidth, kHeight, 3)));
      EXPECT_TRUE(holds(MirlImage(shared), pixels));
      EXPECT_EQ(shared.get(5, 4, 1), pixels.at(5, 4, 1));
      EXPECT_EQ(shared.copyTo(part, {0, 0}, {0, 0, kWidth, kHeight}), MIRL_SUCCESS);
      EXPECT_TRUE(holds(part, pixels));
    }
  });
}

// Halves of one image, from two threads: the calls change its content but none of its fields.
TEST_P(Threads, HalvesOfOneImage) {
  const auto pixels = randomPixels<Byte>(kWidth, kHeight, 3, 1);
  MirlImage image(kWidth, kHeight, MIRL_8U_C3);
  onThreads(2, [&](int thread) {
    const int half = kHeight / 2;
    const MirlStream stream(true);
    for (int round = 0; round < 4; ++round) {
      EXPECT_EQ(image.upload(pixels.values.data(), {0, thread * half, kWidth, half},
                             pixels.rowBytes(), {0, thread * half}, stream),
                MIRL_SUCCESS);
      stream.sync();
    }
  });
  EXPECT_TRUE(holds(image, pixels));
}

// Images made on one thread and given up on another.
TEST_P(Threads, ImagesChangeHands) {
  std::vector<MirlImage> made[2];
  onThreads(2, [&](int thread) {
    for (unsigned i = 0; i < 40; ++i) made[thread].push_back(noiseImage({17, 5}, 16, 3, i));
  });
  onThreads(2, [&](int thread) {
    std::vector<MirlImage>& others = made[1 - thread];
    for (MirlImage& image : others) EXPECT_EQ(image.release(), MIRL_SUCCESS);
    others.clear();
  });
}

TEST_P(Threads, TheRuntimesPools) {
  runtime::Device& device = *runtime::device(GetParam());
  const runtime::Live before = runtime::live();
  onThreads(3, [&](int thread) {
    void* stream = nullptr;
    ASSERT_TRUE(device.createStream(stream));
    const auto value = static_cast<unsigned char>(thread + 1);
    for (std::size_t size : {32, 100, 5000, 32768, 300000}) {
      for (int round = 0; round < 10; ++round) {
        auto* pinned = static_cast<unsigned char*>(runtime::allocatePinned(size));
        ASSERT_NE(pinned, nullptr);
        std::memset(pinned, 0, size);
        {
          const runtime::Scratch scratch({&device, stream}, size);
          ASSERT_TRUE(scratch.ok());
          EXPECT_TRUE(device.fillAsync({scratch.data(), size, value, size, 1}, stream));
          EXPECT_TRUE(device.copyAsync(
              {pinned, 0, scratch.data(), 0, size, 1, Direction::deviceToHost}, stream));
        }
        EXPECT_TRUE(device.synchronize(stream));
        EXPECT_EQ(Bytes(pinned, pinned + size), Bytes(size, value));
        EXPECT_TRUE(runtime::freePinned(pinned, size));
      }
    }
    EXPECT_TRUE(device.destroyStream(stream));
  });
  EXPECT_EQ(runtime::live(), before);
}

// A fault strikes one call of one thread, whichever asks first; the others must not notice.
TEST_P(Threads, OneFaultStrikesOnce) {
  std::atomic<int> failures{0};
  const FailNth fail(runtime::Call::allocate, 30);
  onThreads(3, [&](int) {
    for (int i = 0; i < 50; ++i) {
      const MirlImage image(8, 8, MIRL_8U_C1);
      if (!image.isInitialized()) ++failures;
    }
  });
  EXPECT_EQ(failures, 1);
}

MIRL_TEST_ON_ALL_DEVICES(Threads);

}  // namespace
}  // namespace mirl::test
