// Reading and writing single elements and pixels.

#include "support.h"

#include <climits>
#include <cmath>

namespace mirl::test {
namespace {

MIRL_DEVICE_TESTS(Element);

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
  using Row = std::tuple<MirlType, double, double>;
  const Row rows[] = {{MIRL_8U_C1, 300.7, 255},
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
  const auto i = static_cast<std::size_t>((y * image.width() + x) * image.channels() + c);
  if (image.depth() == 64) return elementOf<double>(bytes, i);
  const auto read = image.isSigned()      ? image.depth() == 8    ? elementOf<std::int8_t>
                                            : image.depth() == 16 ? elementOf<std::int16_t>
                                                                  : elementOf<std::int32_t>
                         : image.depth() == 8 ? elementOf<Byte>
                    : image.depth() == 16 ? elementOf<Word>
                                          : elementOf<float>;
  return read(bytes, i);
}

/// The bytes of `after`, with a pixel's channels from `first` to `last` as they were.
Bytes restored(Bytes after, const Bytes& before, const MirlImage& image, int x, int y, int first,
               int last) {
  const int element = image.depth() / 8, pixel = pixelBytes(image);
  moveBytes(after, rowBytes(image), x * pixel + first * element, y, before, rowBytes(image),
            x * pixel + first * element, y, (last - first + 1) * element, 1);
  return after;
}

TEST_P(Element, ReadsTheRightOneAndWritesNoOther) {
  for (const Format& format : allFormats()) {
    SCOPED_TRACE(testing::Message() << "type " << format.type);
    const int row = 5 * format.channels * std::abs(format.depth) / 8;
    for (const int pitch : {0, row, row + 3}) {
      MirlImage image = noiseImage({5, 4}, format.depth, format.channels, 3, pitch);
      const Bytes bytes = bytesOf(image);
      for (int i = 0; i < 5 * 4 * 4; ++i) {
        const int x = i % 5, y = i / 5 % 4, c = i / 20;
        const double want = c < format.channels ? elementOf(image, bytes, x, y, c) : 0.0;
        EXPECT_TRUE(same(image.get(x, y)[c], want)) << x << " " << y << " " << c;
        EXPECT_TRUE(same(image.get(x, y, c), want)) << x << " " << y << " " << c;
      }
      const int channel = format.channels - 1;
      const double value = elementOf(image, bytes, 3, 2, channel) == 5.0 ? 6.0 : 5.0;
      ASSERT_EQ(image.set(3, 2, channel, value), MIRL_SUCCESS);
      EXPECT_EQ(image.get(3, 2, channel), value);
      EXPECT_EQ(restored(bytesOf(image), bytes, image, 3, 2, channel, channel), bytes);
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
    EXPECT_EQ(restored(bytesOf(image), before, image, 2, 1, 0, channels - 1), before);
  }
}

TEST_P(Element, OutsideTheImage) {
  MirlImage image = noiseImage({5, 4}, 8, 3, 1), untyped = noiseImage({5, 4}, 128, 1, 1), empty;
  const Bytes before = bytesOf(image), wide = bytesOf(untyped);
  const int rows[][3] = {
      {-1, 0, 0}, {5, 0, 0},       {0, -1, 0},      {0, 4, 0},       {0, 0, -1},
      {0, 0, 3},  {INT_MIN, 0, 0}, {0, INT_MAX, 0}, {0, 0, INT_MAX}, {INT_MAX, INT_MAX, INT_MAX}};
  const auto refuses = [](MirlImage& target, int x, int y, int c, MirlStatus status) {
    EXPECT_EQ(target.get(x, y, c), 0.0);
    EXPECT_EQ(target.set(x, y, c, 1.0), status);
    if (x == 0 && y == 0 && c != 0) return;
    EXPECT_EQ(target.get(x, y)[0], 0.0);
    EXPECT_EQ(target.set(x, y, MirlScalar(1)), status);
  };
  for (const auto& [x, y, c] : rows) {
    for (MirlImage* target : {&image, &empty, &untyped}) {
      refuses(*target, x, y, c, MIRL_INVALID_ARGUMENT);
    }
  }
  refuses(empty, 0, 0, 0, MIRL_INVALID_ARGUMENT);
  refuses(untyped, 0, 0, 0, MIRL_DEPTH_NOT_SUPPORTED);
  EXPECT_EQ(bytesOf(image), before);
  EXPECT_EQ(bytesOf(untyped), wide);
}

// The channels of a pixel go one by one, so those before a failure are written.
TEST_P(Element, FailuresOfTheDevice) {
  MirlImage image = noiseImage({5, 4}, 8, 3, 1);
  ASSERT_EQ(image.set(1, 1, MirlScalar(7, 8, 9)), MIRL_SUCCESS);
  const FailNth disarmed(runtime::Call::copy, 0);
  runtime::failNth(runtime::Call::copy, 1);
  EXPECT_EQ(image.get(1, 1, 0), 0.0);
  runtime::failNth(runtime::Call::copy, 1);
  EXPECT_EQ(image.set(1, 1, 0, 100.0), MIRL_COPY_H2D_FAILED);
  EXPECT_EQ(image.get(1, 1, 0), 7.0);
  runtime::failNth(runtime::Call::copy, 2);
  EXPECT_EQ(image.set(1, 1, MirlScalar(100)), MIRL_COPY_H2D_FAILED);
  const MirlScalar pixel = image.get(1, 1);
  EXPECT_EQ(std::tuple(pixel[0], pixel[1], pixel[2]), std::tuple(100.0, 8.0, 9.0));
}

}  // namespace
}  // namespace mirl::test
