#pragma once

// What the tests share: a fixture for every device, images on the host, exact comparison.

#include <gtest/gtest.h>
#include <mirl/mirl.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "runtime/fault.h"

namespace mirl::test {

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

 private:
  int before_ = 0;
  runtime::Live live_;
};

#define MIRL_TEST_ON_ALL_DEVICES(Suite)                                                   \
  INSTANTIATE_TEST_SUITE_P(Devices, Suite, testing::ValuesIn(::mirl::test::allDevices()), \
                           [](const testing::TestParamInfo<int>& info) {                  \
                             return ::mirl::test::deviceName(info.param);                 \
                           })

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
  const auto index = [](int pitch, int x, int y) {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(pitch) +
           static_cast<std::size_t>(x);
  };
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      to[index(toPitch, toX + x, toY + y)] = from[index(fromPitch, fromX + x, fromY + y)];
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

/// Everything that an image tells of itself, to see that a call left it as it was.
inline auto fieldsOf(const MirlImage& image) {
  return std::tuple(image.isInitialized(), image.isSigned(), image.ptr(), image.width(),
                    image.height(), image.pitch(), image.depth(), image.channels(),
                    image.dataBits(), static_cast<int>(image.type()),
                    static_cast<int>(image.channelSeq()), image.device());
}

/// The type of an image of such elements.
template <class T>
MirlType typeOf(int channels) {
  const int first = std::is_same_v<T, std::uint8_t>    ? MIRL_8U_C1
                    : std::is_same_v<T, std::uint16_t> ? MIRL_16U_C1
                                                       : MIRL_32F_C1;
  return static_cast<MirlType>(first + channels - 1);
}

/// Tightly packed pixels in host memory.
template <class T>
struct Pixels {
  int width = 0;
  int height = 0;
  int channels = 1;
  std::vector<T> values;

  Pixels() = default;
  Pixels(int w, int h, int c, T value = T{})
      : width(w),
        height(h),
        channels(c),
        values(
            static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * static_cast<std::size_t>(c),
            value) {}
  /// A single row of given elements.
  Pixels(int c, std::vector<T> row)
      : width(static_cast<int>(row.size()) / c), height(1), channels(c), values(std::move(row)) {}

  std::size_t index(int x, int y, int c) const {
    return (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
            static_cast<std::size_t>(x)) *
               static_cast<std::size_t>(channels) +
           static_cast<std::size_t>(c);
  }
  T& at(int x, int y, int c = 0) { return values[index(x, y, c)]; }
  const T& at(int x, int y, int c = 0) const { return values[index(x, y, c)]; }
  int rowBytes() const { return width * channels * static_cast<int>(sizeof(T)); }
};

/// Elements over the whole range of an integer type; floats of -300 to 300 and some of any size.
template <class T>
Pixels<T> randomPixels(int width, int height, int channels, unsigned seed) {
  Pixels<T> pixels(width, height, channels);
  std::mt19937 generator(seed);
  for (T& value : pixels.values) {
    if constexpr (std::is_same_v<T, float>) {
      const unsigned bits = static_cast<unsigned>(generator());
      value = static_cast<float>(static_cast<int>(bits % 600000u) - 300000) / 1000.0f;
      if (bits >> 28 == 0) value *= 1000.0f;
    } else {
      value = static_cast<T>(generator());
    }
  }
  return pixels;
}

/// An image on the current device that holds the pixels. With a pitch of its own, if given.
template <class T>
MirlImage toImage(const Pixels<T>& pixels, int pitch = 0) {
  MirlImage image;
  const MirlType type = typeOf<T>(pixels.channels);
  const int depth = static_cast<int>(sizeof(T)) * 8;
  EXPECT_EQ(pitch == 0 ? image.create(pixels.width, pixels.height, type)
                       : image.create(pixels.width, pixels.height, pitch, depth, pixels.channels),
            MIRL_SUCCESS);
  EXPECT_EQ(image.upload(pixels.values.data(), pixels.rowBytes()), MIRL_SUCCESS);
  return image;
}

template <class T>
Pixels<T> fromImage(const MirlImage& image) {
  Pixels<T> pixels(image.width(), image.height(), image.channels());
  EXPECT_EQ(image.type(), typeOf<T>(image.channels()));
  EXPECT_EQ(image.download(pixels.values.data(), pixels.rowBytes()), MIRL_SUCCESS);
  return pixels;
}

/// Whether an image holds exactly these pixels; NaN equals NaN. The failure names the first
/// difference.
template <class T>
testing::AssertionResult holds(const MirlImage& image, const Pixels<T>& expected) {
  if (image.type() != typeOf<T>(expected.channels) || image.width() != expected.width ||
      image.height() != expected.height) {
    return testing::AssertionFailure()
           << "format is type " << image.type() << ", " << image.width() << "x" << image.height()
           << ", expected type " << typeOf<T>(expected.channels) << ", " << expected.width << "x"
           << expected.height;
  }
  const Pixels<T> actual = fromImage<T>(image);
  for (int y = 0; y < expected.height; ++y) {
    for (int x = 0; x < expected.width; ++x) {
      for (int c = 0; c < expected.channels; ++c) {
        const T want = expected.at(x, y, c);
        const T got = actual.at(x, y, c);
        const bool bothNan = want != want && got != got;
        if (!bothNan && std::memcmp(&want, &got, sizeof want) != 0) {
          return testing::AssertionFailure()
                 << "first difference at x " << x << ", y " << y << ", channel " << c << ": "
                 << +got << ", expected " << +want << " (image " << expected.width << "x"
                 << expected.height << ", " << expected.channels << " channels)";
        }
      }
    }
  }
  return testing::AssertionSuccess();
}

/// Awkward sizes: one pixel, one row, one column, either side of vectors, and primes above a tile.
inline std::vector<MirlSize> awkwardSizes() {
  return {{1, 1}, {1, 37}, {37, 1}, {15, 4}, {16, 3}, {17, 5}, {113, 9}, {257, 131}};
}

/// Values at and beside the limits that arithmetic meets: all of 8 bits, some of 16, odd floats.
template <class T>
std::vector<T> awkwardValues() {
  std::vector<T> values;
  if constexpr (std::is_same_v<T, float>) {
    using Float = std::numeric_limits<float>;
    for (const float v : {0.0f,          Float::denorm_min(),
                          Float::min(),  1e-5f,
                          1.0f / 3.0f,   0.5f,
                          0.99999994f,   1.0f,
                          1.5f,          2.9f,
                          3.0f,          127.5f,
                          254.99f,       255.0f,
                          255.00002f,    256.0f,
                          300.0f,        65534.996f,
                          65535.0f,      65536.0f,
                          8388607.5f,    16777216.0f,
                          2147483648.0f, 1e30f,
                          Float::max(),  Float::infinity()}) {
      values.insert(values.end(), {v, -v});
    }
    values.push_back(Float::quiet_NaN());
  } else {
    for (int v = 0; v <= std::numeric_limits<T>::max(); ++v) {
      const bool nearPowerOf2 =
          (v & (v - 1)) == 0 || (v & (v + 1)) == 0 || ((v - 1) & (v - 2)) == 0;
      if (v < 256 || nearPowerOf2 || v % 1009 == 0) values.push_back(static_cast<T>(v));
    }
  }
  return values;
}

/// What a float is when it is stored: as it is, or clamped to the integer type and truncated.
template <class T>
T stored(float value) {
  if constexpr (!std::is_same_v<T, float>) {
    if (!(value > 0.0f)) return 0;
    if (value >= static_cast<float>(std::numeric_limits<T>::max())) {
      return std::numeric_limits<T>::max();
    }
  }
  return static_cast<T>(value);
}

/// Sets every byte of a live image, those behind the rows too.
inline void fillBlock(MirlImage& image, unsigned char value) {
  const std::vector<unsigned char> block(
      static_cast<std::size_t>(image.pitch()) * static_cast<std::size_t>(image.height()), value);
  EXPECT_EQ(image.upload(block.data()), MIRL_SUCCESS);
}

/// Whether all bytes outside the leading `width` x `height` pixels have the value that `fillBlock`
/// gave them.
inline testing::AssertionResult untouchedOutside(const MirlImage& image, int width, int height,
                                                 unsigned char value) {
  const auto pitch = static_cast<std::size_t>(image.pitch());
  const int rowBytes = width * image.channels() * image.depth() / 8;
  std::vector<unsigned char> block(pitch * static_cast<std::size_t>(image.height()));
  EXPECT_EQ(image.download(block.data()), MIRL_SUCCESS);
  for (std::size_t i = 0; i < block.size(); ++i) {
    const bool inside = i / pitch < static_cast<std::size_t>(height) &&
                        i % pitch < static_cast<std::size_t>(rowBytes);
    if (!inside && block[i] != value) {
      return testing::AssertionFailure() << "row " << i / pitch << ", byte " << i % pitch
                                         << " was written (rows of " << rowBytes << " bytes)";
    }
  }
  return testing::AssertionSuccess();
}

inline testing::AssertionResult paddingUntouched(const MirlImage& image, unsigned char value) {
  return untouchedOutside(image, image.width(), image.height(), value);
}

}  // namespace mirl::test
