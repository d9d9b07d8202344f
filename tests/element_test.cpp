// Reading and writing single elements and pixels.

#include "support.h"

#include <climits>
#include <cmath>

namespace mirl::test {
namespace {

class Element : public DeviceTest {};

/// What an element holds after `set`.
double storedIn(int depth, double value) {
  if (depth == 64) return value;
  if (depth == 32) return static_cast<double>(static_cast<float>(value));
  if (std::isnan(value)) return 0.0;
  const double count = std::exp2(std::abs(depth));
  const double least = depth < 0 ? -count / 2 : 0;
  return std::trunc(std::fmin(std::fmax(value, least), least + count - 1));
}

bool same(double a, double b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

const double kValues[] = {
    0.0,           1.0,           -1.0,          0.5,          -0.5,         0.999999,
    -0.999999,     3.9,           -3.9,          127.0,        127.9,        128.0,
    -128.0,        -128.9,        -129.0,        254.99,       255.0,        255.9,
    256.0,         300.7,         32767.5,       32768.0,      -32768.9,     -32769.0,
    65535.0,       65535.5,       65536.0,       16777217.0,   0.1,          1e-40,
    1e10,          -1e10,         2147483646.9,  2147483647.0, 2147483647.5, 2147483648.0,
    -2147483648.0, -2147483648.5, -2147483649.0, 4294967296.0, 1e30,         -1e30,
    1e300,         -1e300,        INFINITY,      -INFINITY,    NAN,
};

TEST_P(Element, EveryTypeStoresByItsOwnRule) {
  for (const Format& format : allFormats()) {
    MirlImage image = noiseImage({3, 2}, format.depth, format.channels, 1);
    const int last = format.channels - 1;
    for (const double value : kValues) {
      ASSERT_EQ(image.set(2, 1, last, value), MIRL_SUCCESS);
      const double got = image.get(2, 1, last);
      const double want = storedIn(format.depth, value);
      EXPECT_TRUE(same(got, want))
          << "type " << format.type << ": " << value << " became " << got << ", expected " << want;
    }
  }
}

TEST_P(Element, LiteralsWorkedOutByHand) {
  const std::tuple<MirlType, double, double> rows[] = {{MIRL_8U_C1, 300.7, 255},
                                                       {MIRL_8U_C1, -3.9, 0},
                                                       {MIRL_8S_C1, -3.9, -3},
                                                       {MIRL_8S_C1, 200, 127},
                                                       {MIRL_16U_C1, 65535.9, 65535},
                                                       {MIRL_16S_C1, -4e4, -32768},
                                                       {MIRL_32S_C1, 1e12, INT_MAX},
                                                       {MIRL_32S_C1, -7.99, -7},
                                                       {MIRL_32F_C1, 16777217, 16777216},
                                                       {MIRL_64F_C1, 0.1, 0.1}};
  for (const auto& [type, value, stored] : rows) {
    MirlImage image(1, 1, type);
    EXPECT_EQ(image.set(0, 0, 0, value), MIRL_SUCCESS);
    EXPECT_EQ(image.get(0, 0, 0), stored) << "type " << type << ", " << value;
  }
}

/// An element of an image's bytes as double.
template <class T>
double elementOf(const Bytes& bytes, std::size_t index) {
  T value;
  std::memcpy(&value, bytes.data() + index * sizeof value, sizeof value);
  return static_cast<double>(value);
}

double elementOf(const MirlImage& image, const Bytes& bytes, int x, int y, int c) {
  const auto index = static_cast<std::size_t>((y * image.width() + x) * image.channels() + c);
  switch (image.depth()) {
    case 8:
      return image.isSigned() ? elementOf<std::int8_t>(bytes, index)
                              : elementOf<std::uint8_t>(bytes, index);
    case 16:
      return image.isSigned() ? elementOf<std::int16_t>(bytes, index)
                              : elementOf<std::uint16_t>(bytes, index);
    case 32:
      return image.isSigned() ? elementOf<std::int32_t>(bytes, index)
                              : elementOf<float>(bytes, index);
    default:
      return elementOf<double>(bytes, index);
  }
}

TEST_P(Element, ReadsTheRightOneAndWritesNoOther) {
  for (const Format& format : allFormats()) {
    const int row = 5 * format.channels * std::abs(format.depth) / 8;
    for (const int pitch : {0, row, row + 3}) {
      MirlImage image = noiseImage({5, 4}, format.depth, format.channels, 3, pitch);
      const Bytes bytes = bytesOf(image);
      for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 5; ++x) {
          const MirlScalar pixel = image.get(x, y);
          for (int c = 0; c < 4; ++c) {
            const double want = c < format.channels ? elementOf(image, bytes, x, y, c) : 0.0;
            EXPECT_TRUE(same(pixel[c], want)) << x << " " << y << " " << c;
            EXPECT_TRUE(same(image.get(x, y, c), want)) << x << " " << y << " " << c;
          }
        }
      }
      const int channel = format.channels - 1;
      const double value = elementOf(image, bytes, 3, 2, channel) == 5.0 ? 6.0 : 5.0;
      ASSERT_EQ(image.set(3, 2, channel, value), MIRL_SUCCESS);
      EXPECT_EQ(image.get(3, 2, channel), value);
      Bytes after = bytesOf(image);
      const auto element = static_cast<std::size_t>(std::abs(format.depth) / 8);
      const std::size_t offset =
          static_cast<std::size_t>((2 * 5 + 3) * format.channels + channel) * element;
      std::memcpy(after.data() + offset, bytes.data() + offset, element);
      EXPECT_EQ(after, bytes) << "type " << format.type;
    }
  }
}

TEST_P(Element, PixelsTakeEntriesInOrder) {
  for (int channels = 1; channels <= 4; ++channels) {
    MirlImage image = noiseImage({4, 3}, -16, channels, 1);
    const Bytes before = bytesOf(image);
    EXPECT_EQ(image.set(2, 1, MirlScalar(10.9, -20.9, 1e9, -1e9)), MIRL_SUCCESS);
    const double stored[] = {10, -20, 32767, -32768};
    const MirlScalar pixel = image.get(2, 1);
    for (int c = 0; c < 4; ++c) EXPECT_EQ(pixel[c], c < channels ? stored[c] : 0.0) << c;
    EXPECT_TRUE(pixel.isInteger()) << "built as the default scalar is";
    Bytes after = bytesOf(image);
    const std::size_t pixelSize = static_cast<std::size_t>(channels) * 2;
    std::memcpy(after.data() + 6 * pixelSize, before.data() + 6 * pixelSize, pixelSize);
    EXPECT_EQ(after, before);
  }
}

TEST_P(Element, OutsideTheImage) {
  MirlImage image = noiseImage({5, 4}, 8, 3, 1);
  const Bytes before = bytesOf(image);
  MirlImage empty;
  MirlImage untyped = noiseImage({5, 4}, 128, 1, 1);
  const Bytes wide = bytesOf(untyped);
  const int rows[][3] = {
      {-1, 0, 0}, {5, 0, 0},       {0, -1, 0},      {0, 4, 0},       {0, 0, -1},
      {0, 0, 3},  {INT_MIN, 0, 0}, {0, INT_MAX, 0}, {0, 0, INT_MAX}, {INT_MAX, INT_MAX, INT_MAX}};
  for (const auto& [x, y, c] : rows) {
    for (MirlImage* target : {&image, &empty, &untyped}) {
      EXPECT_EQ(target->get(x, y, c), 0.0);
      EXPECT_EQ(target->set(x, y, c, 1.0), MIRL_INVALID_ARGUMENT);
      if (x == 0 && y == 0) continue;
      EXPECT_EQ(target->get(x, y)[0], 0.0);
      EXPECT_EQ(target->set(x, y, MirlScalar(1)), MIRL_INVALID_ARGUMENT);
    }
  }
  EXPECT_EQ(empty.get(0, 0, 0), 0.0);
  EXPECT_EQ(empty.get(0, 0)[0], 0.0);
  EXPECT_EQ(empty.set(0, 0, 0, 1.0), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(empty.set(0, 0, MirlScalar(1)), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(untyped.get(1, 1, 0), 0.0);
  EXPECT_EQ(untyped.set(1, 1, 0, 1.0), MIRL_DEPTH_NOT_SUPPORTED);
  EXPECT_EQ(untyped.set(1, 1, MirlScalar(1)), MIRL_DEPTH_NOT_SUPPORTED);
  EXPECT_EQ(bytesOf(image), before);
  EXPECT_EQ(bytesOf(untyped), wide);
}

TEST_P(Element, FailuresOfTheDevice) {
  MirlImage image = noiseImage({5, 4}, 8, 3, 1);
  ASSERT_EQ(image.set(1, 1, MirlScalar(7, 8, 9)), MIRL_SUCCESS);
  const Bytes before = bytesOf(image);
  {
    const FailNth fail(runtime::Call::copy);
    EXPECT_EQ(image.get(1, 1, 0), 0.0);
    EXPECT_EQ(image.get(1, 1, 0), 7.0);
  }
  {
    const FailNth fail(runtime::Call::copy);
    EXPECT_EQ(image.set(1, 1, 0, 100.0), MIRL_COPY_H2D_FAILED);
    EXPECT_EQ(bytesOf(image), before);
  }
  // The channels go one by one, so those before the failure are written.
  const FailNth fail(runtime::Call::copy, 2);
  EXPECT_EQ(image.set(1, 1, MirlScalar(100)), MIRL_COPY_H2D_FAILED);
  const MirlScalar pixel = image.get(1, 1);
  EXPECT_EQ(pixel[0], 100.0);
  EXPECT_EQ(pixel[1], 8.0);
  EXPECT_EQ(pixel[2], 9.0);
}

MIRL_TEST_ON_ALL_DEVICES(Element);

}  // namespace
}  // namespace mirl::test
