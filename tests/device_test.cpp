// mirl::device, what a reset leaves, and the timer.

#include "core/cores.h"
#include "support.h"

#include <chrono>
#include <climits>

namespace mirl::test {
namespace {

MIRL_DEVICE_TESTS(Device);

TEST_P(Device, IsCurrentForItsThread) {
  for (const int number : {-1, device::getDeviceCount(), INT_MIN, INT_MAX}) {
    EXPECT_EQ(device::setCurrentDevice(number), MIRL_SET_DEVICE_FAILED) << number;
    EXPECT_EQ(device::getCurentDevice(), GetParam());
  }
  std::thread([] {
    EXPECT_EQ(device::getCurentDevice(), 0) << "where a thread starts";
    for (const int id : allDevices()) {
      EXPECT_EQ(device::setCurrentDevice(id), MIRL_SUCCESS);
      EXPECT_EQ(MirlImage(2, 2, MIRL_8U_C1).device(), id);
    }
  }).join();
  EXPECT_EQ(device::getCurentDevice(), GetParam()) << "other threads don't matter";
  EXPECT_EQ(device::syncCurrentDevice(), MIRL_SUCCESS);
}

TEST_P(Device, Properties) {
  MirlDeviceProperties p;
  std::memset(&p, 0x5a, sizeof p);
  ASSERT_EQ(device::getDeviceProperties(GetParam(), p), MIRL_SUCCESS);
  ASSERT_NE(std::memchr(p.name, 0, sizeof p.name), nullptr);
  EXPECT_NE(p.name[0], '\0');
  EXPECT_GE(p.multiProcessorCount, 1);
  EXPECT_EQ(p.coreCount, p.multiProcessorCount * p.coresPerMultiProcessor);
  EXPECT_GE(p.totalGlobalMemory, std::size_t{64} << 20);
  EXPECT_GE(p.clockRate, 0);
  ASSERT_GT(p.textureAlignment, 0u);
  EXPECT_EQ(p.textureAlignment & (p.textureAlignment - 1), 0u);
  const int tenths = static_cast<int>(p.computeCapability * 10.0f + 0.5f);
  if (GetParam() == device::getDeviceCount() - 1) {  // the host
    EXPECT_EQ(std::tuple(p.coresPerMultiProcessor, p.asyncEngineCount, tenths),
              std::tuple(1, 0, 0));
    EXPECT_EQ(p.totalConstantMemory, 0u);
    const MirlImage image(5, 3, MIRL_8U_C3);
    EXPECT_EQ(static_cast<std::size_t>(image.pitch()) % p.textureAlignment, 0u);
  } else {
    EXPECT_GE(tenths, 50);
    const int known = core::coresPerMultiProcessor(tenths / 10, tenths % 10);
    EXPECT_EQ(p.coresPerMultiProcessor, known != 0 ? known : 0x5a5a5a5a);
    EXPECT_GE(p.totalConstantMemory, 65536u);
  }
  MirlDeviceProperties untouched = p;
  for (const int number : {-1, device::getDeviceCount(), INT_MIN, INT_MAX}) {
    EXPECT_EQ(device::getDeviceProperties(number, untouched), MIRL_INVALID_ARGUMENT) << number;
    EXPECT_EQ(std::memcmp(&untouched, &p, sizeof p), 0);
  }
}

// Some of the vendor's table of throughput by compute capability.
TEST(Cores, OfComputeCapabilities) {
  const std::tuple<int, int, int> rows[] = {{1, 0, 8},   {2, 1, 48},  {3, 5, 192},  {6, 0, 64},
                                            {8, 6, 128}, {9, 0, 128}, {12, 1, 128}, {0, 0, 0},
                                            {4, 0, 0},   {99, 0, 0},  {-1, 0, 0}};
  for (const auto& [major, minor, cores] : rows) {
    EXPECT_EQ(core::coresPerMultiProcessor(major, minor), cores) << major << "." << minor;
  }
}

TEST_P(Device, ResetKillsImages) {
  MirlImage dead = noiseImage({9, 4}, 8, 3, 1);
  const auto fields = fieldsOf(dead);
  Bytes memory(64 * 1024);
  EXPECT_EQ(device::resetCurrentDevice(), MIRL_SUCCESS);
  EXPECT_EQ(held(), 0) << "the device holds nothing";
  EXPECT_EQ(device::getCurentDevice(), GetParam());
  const MirlRect part(0, 0, 3, 3);
  for (const MirlStatus refused :
       {dead.upload(memory.data()), dead.upload(memory.data(), 27),
        dead.upload(memory.data(), part, 27, {0, 0}), dead.download(memory.data()),
        dead.download(memory.data(), 27), dead.download(memory.data(), {0, 0}, 27, part),
        dead.set(0, 0, 0, 1.0), dead.set(0, 0, MirlScalar(1))}) {
    EXPECT_EQ(refused, MIRL_IMAGE_NOT_INITIALIZED);
  }
  EXPECT_EQ(dead.get(0, 0, 0), 0.0);
  EXPECT_EQ(dead.release(), MIRL_DEVICE_FREE_FAILED);
  EXPECT_EQ(fieldsOf(dead), fields);
  EXPECT_FALSE(MirlImage(dead).isInitialized()) << "there is nothing to copy";
  MirlImage out = noiseImage({9, 4}, 8, 3, 2);
  const Bytes bytes = bytesOf(out);
  out = dead;
  EXPECT_EQ(bytesOf(out), bytes);
}

// The memory of a dead image may be another image's by the time its destructor runs.
TEST_P(Device, DeadImagesFreeNothing) {
  std::vector<MirlImage> dead;
  for (unsigned i = 0; i < 8; ++i) dead.push_back(noiseImage({33, 17}, 16, 3, i));
  ASSERT_EQ(device::resetCurrentDevice(), MIRL_SUCCESS);
  std::vector<MirlImage> live;
  for (unsigned i = 0; i < 8; ++i) live.push_back(noiseImage({33, 17}, 16, 3, 100 + i));
  dead.clear();
  EXPECT_EQ(held(), 8);
  const MirlImage another(33, 17, 16, 3);
  for (unsigned i = 0; i < 8; ++i) {
    EXPECT_NE(live[i].ptr(), another.ptr());
    EXPECT_EQ(bytesOf(live[i]), bytesOf(noiseImage({33, 17}, 16, 3, 100 + i)));
  }
}

// Several of each, so that a fresh stream may well have the handle of a dead one.
TEST_P(Device, ResetKillsStreams) {
  std::vector<MirlStream> dead, fresh;
  for (int i = 0; i < 8; ++i) dead.emplace_back(true);
  for (int i = 0; i < 8; ++i) dead.push_back(MirlStream(dead[std::size_t(i)]));
  EXPECT_EQ(heldStreams(), 8);
  EXPECT_EQ(device::resetCurrentDevice(), MIRL_SUCCESS);
  EXPECT_EQ(heldStreams(), 0);
  for (int i = 0; i < 8; ++i) fresh.emplace_back(true);
  MirlImage image = noiseImage({9, 4}, 8, 3, 1);
  Bytes memory(9 * 4 * 3);
  for (MirlStream& stream : dead) {
    EXPECT_EQ(image.download(memory.data(), 27, stream), MIRL_INVALID_ARGUMENT);
    EXPECT_TRUE(stream.finished());
    stream.sync();
    stream.destroy();
  }
  dead.clear();
  EXPECT_EQ(heldStreams(), 8) << "the fresh ones";
  for (const MirlStream& stream : fresh) {
    EXPECT_EQ(image.download(memory.data(), 27, stream), MIRL_SUCCESS);
    stream.sync();
    EXPECT_EQ(memory, bytesOf(image));
  }
}

// Scalars live in page-locked memory, which a reset of the device unlocks.
TEST_P(Device, ResetLeavesScalars) {
  const MirlScalar scalar(1.5, 2.5, 3.5, 4.5);
  MirlScalar back;
  ASSERT_EQ(device::resetCurrentDevice(), MIRL_SUCCESS);
  MirlImage image(1, 1, MIRL_64F_C4);
  const MirlStream stream(true);
  ASSERT_EQ(image.upload(scalar.vals(), 32, stream), MIRL_SUCCESS);
  ASSERT_EQ(image.download(back.vals(), 32, stream), MIRL_SUCCESS);
  stream.sync();
  for (int i = 0; i < 4; ++i) EXPECT_EQ(back[i], 1.5 + i);
}

TEST_P(Device, ResetLeavesOtherDevices) {
  if (device::getDeviceCount() < 2) GTEST_SKIP() << "needs a second device";
  for (const int other : allDevices()) {
    if (other == GetParam()) continue;
    ASSERT_EQ(device::setCurrentDevice(other), MIRL_SUCCESS);
    const MirlImage image = noiseImage({9, 4}, 8, 3, 1);
    const MirlStream stream(true);
    const Bytes bytes = bytesOf(image);
    ASSERT_EQ(device::setCurrentDevice(GetParam()), MIRL_SUCCESS);
    ASSERT_EQ(device::resetCurrentDevice(), MIRL_SUCCESS);
    EXPECT_EQ(bytesOf(image), bytes);
    Bytes queued(bytes.size());
    EXPECT_EQ(image.download(queued.data(), 27, stream), MIRL_SUCCESS);
    stream.sync();
    EXPECT_EQ(queued, bytes);
  }
}

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

TEST(Timer, AddsUpIntervals) {
  constexpr auto kNap = std::chrono::milliseconds(20);
  MirlTimer timer;
  double wall = 0.0;
  for (int i = 1; i <= 3; ++i) {
    const Clock::time_point start = Clock::now();
    timer.Start();
    std::this_thread::sleep_for(kNap);
    timer.Stop();
    wall += secondsSince(start);
    EXPECT_GE(timer.GetElapsedTime(), 0.020 * i);
    EXPECT_LE(timer.GetElapsedTime(), wall);
    std::this_thread::sleep_for(kNap);  // not between Start and Stop, so it doesn't count
  }
  const double sum = timer.GetElapsedTime();
  timer.Start();
  std::this_thread::sleep_for(kNap);
  EXPECT_EQ(timer.GetElapsedTime(), sum) << "a running interval isn't in it";
  timer.Reset();
  EXPECT_EQ(timer.GetElapsedTime(), 0.0);
  std::this_thread::sleep_for(kNap);
  timer.Stop();
  EXPECT_GE(timer.GetElapsedTime(), 0.040) << "a reset leaves the running interval";
  timer.Stop();
  EXPECT_GT(timer.GetElapsedTime(), 1.0) << "Stop took the start away: it adds the counter";
}

}  // namespace
}  // namespace mirl::test
