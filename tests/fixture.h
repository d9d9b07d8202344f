#pragma once

// What the tests share beneath pixels: a fixture for every device, faults, threads, blocks of
// bytes.

#include <gtest/gtest.h>
#include <mirl/mirl.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "runtime/fault.h"
#include "runtime/host/cache_limit.h"

namespace mirl::test {

using Byte = std::uint8_t;
using Word = std::uint16_t;

/// What the bytes are that nothing may write.
inline constexpr unsigned char kGuard = 0xA5;

/// The numbers of all devices, the host device last.
inline std::vector<int> allDevices() {
  std::vector<int> devices(static_cast<std::size_t>(device::getDeviceCount()));
  for (std::size_t i = 0; i < devices.size(); ++i) devices[i] = static_cast<int>(i);
  return devices;
}

inline std::string deviceName(int id) {
  const bool host = id == device::getDeviceCount() - 1;
  return host ? "Host" : "Gpu" + std::to_string(id);
}

/// Runs a test on every device, and fails it if it leaves anything behind. Parameters of a suite's
/// own go into a table inside the test.
class DeviceTest : public testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    before_ = device::getCurentDevice();
    ASSERT_EQ(device::setCurrentDevice(GetParam()), MIRL_SUCCESS);
    live_ = runtime::live();
  }
  void TearDown() override {
    const runtime::Live now = runtime::live();
    EXPECT_EQ(now.deviceBlocks, live_.deviceBlocks) << "images were leaked";
    EXPECT_EQ(now.scratchBlocks, live_.scratchBlocks) << "scratch was leaked";
    EXPECT_EQ(now.streams, live_.streams) << "streams were leaked";
    EXPECT_EQ(now.pinnedBlocks, live_.pinnedBlocks) << "page-locked blocks were leaked";
    device::setCurrentDevice(before_);
  }

  /// The images and the streams that the test holds at the moment.
  long held() const { return runtime::live().deviceBlocks - live_.deviceBlocks; }
  long heldStreams() const { return runtime::live().streams - live_.streams; }

 private:
  int before_ = 0;
  runtime::Live live_;
};

#define MIRL_TEST_ON_ALL_DEVICES(Suite)                                                   \
  INSTANTIATE_TEST_SUITE_P(Devices, Suite, testing::ValuesIn(::mirl::test::allDevices()), \
                           [](const testing::TestParamInfo<int>& info) {                  \
                             return ::mirl::test::deviceName(info.param);                 \
                           })

/// A suite that needs no more than the fixture.
#define MIRL_DEVICE_TESTS(Suite)      \
  class Suite : public DeviceTest {}; \
  MIRL_TEST_ON_ALL_DEVICES(Suite)

/// While it lives images of any size go past the caches.
struct PastCaches {
  PastCaches() { runtime::setCacheLimit(1); }
  ~PastCaches() { runtime::setCacheLimit(0); }
  PastCaches(const PastCaches&) = delete;
  PastCaches& operator=(const PastCaches&) = delete;
};

/// Makes the nth runtime call of a kind fail inside a scope.
class FailNth {
 public:
  explicit FailNth(runtime::Call kind, int n = 1) : kind_(kind) { runtime::failNth(kind, n); }
  ~FailNth() { runtime::failNth(kind_, 0); }
  FailNth(const FailNth&) = delete;
  FailNth& operator=(const FailNth&) = delete;

 private:
  runtime::Call kind_;
};

inline MirlStream deadStream() {
  MirlStream stream(true);
  stream.destroy();
  return stream;
}

/// Runs `body(i)` on several threads at once, each with this thread's current device.
template <class Body>
void onThreads(int count, const Body& body) {
  const int id = device::getCurentDevice();
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&body, id, i] {
      EXPECT_EQ(device::setCurrentDevice(id), MIRL_SUCCESS);
      body(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

/// A type, and the signed depth and channels that it stands for.
struct Format {
  MirlType type;
  int depth;
  int channels;
};

/// All 28 types in the order of their numbers.
inline std::vector<Format> allFormats() {
  std::vector<Format> formats;
  for (const int depth : {8, -8, 16, -16, 32, -32, 64}) {
    for (int channels = 1; channels <= 4; ++channels) {
      formats.push_back({static_cast<MirlType>(formats.size()), depth, channels});
    }
  }
  return formats;
}

inline Format formatOfType(MirlType type) {
  return allFormats()[static_cast<std::size_t>(type)];
}

using Bytes = std::vector<unsigned char>;

inline Bytes randomBytes(std::size_t count, unsigned seed) {
  Bytes bytes(count);
  std::mt19937 generator(seed);
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(generator());
  return bytes;
}

/// Moves a rectangle of `width` bytes by `height` rows between blocks, the plain way; corners in
/// bytes and rows.
inline void moveBytes(Bytes& to, int toPitch, int toX, int toY, const Bytes& from, int fromPitch,
                      int fromX, int fromY, int width, int height) {
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      to[static_cast<std::size_t>(std::ptrdiff_t{toY + y} * toPitch + toX + x)] =
          from[static_cast<std::size_t>(std::ptrdiff_t{fromY + y} * fromPitch + fromX + x)];
    }
  }
}

inline int pixelBytes(const MirlImage& image) {
  return image.channels() * image.depth() / 8;
}

inline int rowBytes(const MirlImage& image) {
  return image.width() * pixelBytes(image);
}

/// An image on the current device with any bytes, with a pitch of its own if given.
inline MirlImage noiseImage(const MirlSize& size, int depth, int channels, unsigned seed,
                            int pitch = 0) {
  MirlImage image;
  EXPECT_EQ(pitch == 0 ? image.create(size, depth, channels)
                       : image.create(size.width, size.height, pitch, depth, channels),
            MIRL_SUCCESS);
  const int row = rowBytes(image);
  const Bytes bytes =
      randomBytes(static_cast<std::size_t>(row) * static_cast<std::size_t>(size.height), seed);
  EXPECT_EQ(image.upload(bytes.data(), row), MIRL_SUCCESS);
  return image;
}

/// The rows of an image without their padding; none for an empty image.
inline Bytes bytesOf(const MirlImage& image) {
  const int row = rowBytes(image);
  Bytes bytes(static_cast<std::size_t>(row) * static_cast<std::size_t>(image.height()));
  if (image.isInitialized()) {
    EXPECT_EQ(image.download(bytes.data(), row), MIRL_SUCCESS);
  }
  return bytes;
}

/// What a deep copy carries over: all but the buffer.
inline auto formatOf(const MirlImage& image) {
  return std::tuple(image.isInitialized(), image.isSigned(), image.width(), image.height(),
                    image.depth(), image.channels(), image.dataBits(),
                    static_cast<int>(image.type()), static_cast<int>(image.channelSeq()),
                    image.device());
}

/// Everything that an image tells of itself, to see that a call left it as it was.
inline auto fieldsOf(const MirlImage& image) {
  return std::tuple_cat(formatOf(image), std::tuple(image.ptr(), image.pitch()));
}

inline std::size_t blockBytes(const MirlImage& image) {
  return static_cast<std::size_t>(image.pitch()) * static_cast<std::size_t>(image.height());
}

/// Sets every byte of a live image to a value, those behind the rows too.
inline void fillBlock(MirlImage& image, unsigned char value = kGuard) {
  EXPECT_EQ(image.upload(Bytes(blockBytes(image), value).data()), MIRL_SUCCESS);
}

/// Whether all bytes outside the leading `width` x `height` pixels still have it.
inline testing::AssertionResult untouchedOutside(const MirlImage& image, int width, int height,
                                                 unsigned char value = kGuard) {
  const auto pitch = static_cast<std::size_t>(image.pitch());
  const int row = width * pixelBytes(image);
  Bytes block(blockBytes(image));
  EXPECT_EQ(image.download(block.data()), MIRL_SUCCESS);
  for (std::size_t i = 0; i < block.size(); ++i) {
    const bool inside =
        i / pitch < static_cast<std::size_t>(height) && i % pitch < static_cast<std::size_t>(row);
    if (!inside && block[i] != value) {
      return testing::AssertionFailure() << "row " << i / pitch << ", byte " << i % pitch
                                         << " was written (rows of " << row << " bytes)";
    }
  }
  return testing::AssertionSuccess();
}

inline testing::AssertionResult untouched(const MirlImage& image) {
  return untouchedOutside(image, 0, 0);
}
inline testing::AssertionResult paddingUntouched(const MirlImage& image,
                                                 unsigned char value = kGuard) {
  return untouchedOutside(image, image.width(), image.height(), value);
}

/// Calls `run(out)` with a copy of an output. A refused one stays as it is, unless an empty one is
/// created before something else is found wrong.
template <class Run>
void expectStatus(const MirlImage& output, MirlStatus status, bool creates, const Run& run) {
  MirlImage out(output);
  if (out.isInitialized()) fillBlock(out);
  const auto before = fieldsOf(out);
  EXPECT_EQ(run(out), status);
  EXPECT_EQ(out.isInitialized(), output.isInitialized() || creates);
  if (creates || status == MIRL_SUCCESS) return;
  EXPECT_EQ(fieldsOf(out), before);
  if (!out.isInitialized()) return;
  EXPECT_TRUE(untouched(out));
}

}  // namespace mirl::test
