// Work on several host threads at once: what the thread sanitizer is for.

#include "runtime/host/threads.h"
#include "runtime/pinned_pool.h"
#include "runtime/scratch.h"
#include "support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace mirl::test {
namespace {

using runtime::Direction;

MIRL_DEVICE_TESTS(Threads);

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

std::size_t size(int count) {
  return static_cast<std::size_t>(count);
}

/// Whether each row is done once and none by a thread that is at another. Within each part the same
/// happens again, `nested` times.
bool eachRowOnce(const runtime::Shares& shares, int nested = 0) {
  std::vector<std::atomic<int>> done(size(shares.rows));
  std::vector<std::atomic<int>> busy(size(shares.threads));
  std::atomic<bool> fine{true};
  runtime::shareOut(shares, [&](int begin, int end, int thread) {
    if (busy[size(thread)]++ != 0) fine = false;
    for (int row = begin; row < end; ++row) ++done[size(row)];
    if (nested > 0 && !eachRowOnce(shares, nested - 1)) fine = false;
    --busy[size(thread)];
  });
  return fine &&
         std::all_of(done.begin(), done.end(), [](const auto& times) { return times == 1; });
}

constexpr runtime::Shares kShares[] = {{1, 1, 1},   {2, 2, 2},   {7, 5, 2},     {7, 3, 3},
                                       {16, 16, 2}, {64, 16, 4}, {100, 33, 32}, {1000, 999, 2}};

TEST(SharedRows, ManyCallersAtOnce) {
  for (const int callers : {1, 2, 5}) {
    onThreads(callers, [&](int) {
      for (int round = 0; round < 200; ++round) {
        for (const runtime::Shares& shares : kShares) EXPECT_TRUE(eachRowOnce(shares));
      }
      EXPECT_TRUE(eachRowOnce({9, 8, 4}, 2));
    });
  }
  constexpr std::size_t kMegabyte = 1 << 20;
  for (const int rows : {0, 1, 2, 3, 1000}) {
    const runtime::Shares shares = runtime::sharesOf(rows, kMegabyte, kMegabyte);
    EXPECT_TRUE(eachRowOnce(shares)) << rows;
    EXPECT_LE(shares.threads, std::max(1, std::min(rows, runtime::hostThreads()))) << rows;
    EXPECT_EQ(runtime::sharesOf(rows, 64).threads, 1) << rows;
  }
}

// Whoever is held up holds nobody up but for the part that it is at: here it stays there until all
// the others are done. Without helpers there is nobody to wait for the caller.
TEST(SharedRows, OthersTakeOver) {
  for (const bool callerIsSlow : {false, true}) {
    if (callerIsSlow && runtime::hostThreads() < 2) continue;
    constexpr int kParts = 16;
    std::atomic<int> left{kParts};
    std::atomic<bool> slow{false};
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    runtime::shareOut({kParts, kParts, 2}, [&](int, int, int thread) {
      if ((thread == 0) == callerIsSlow && !slow.exchange(true)) {
        while (left > 1 && std::chrono::steady_clock::now() < giveUp) std::this_thread::yield();
        EXPECT_EQ(left, 1) << (callerIsSlow ? "the caller" : "a helper");
      }
      --left;
    });
  }
}

// A child has none of its parent's helpers, and must not wait for them, at its end either.
TEST(SharedRows, AfterAFork) {
  EXPECT_TRUE(eachRowOnce({16, 16, 2}));
  std::fflush(stdout);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) std::exit(eachRowOnce({16, 16, 2}) ? 0 : 1);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

/// Works behind the end of the helpers, who start after it was made.
const struct AtTheEnd {
  ~AtTheEnd() {
    if (!eachRowOnce({16, 16, 2})) std::abort();
  }
} atTheEnd;

}  // namespace
}  // namespace mirl::test
