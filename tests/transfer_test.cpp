// Upload and download in all forms, against copies made byte by byte.

#include "support.h"

#include <climits>
#include <functional>

namespace mirl::test {
namespace {

class Transfer : public DeviceTest {};

std::size_t at(int value) {
  return static_cast<std::size_t>(value);
}

/// Host memory with rows `pitch` bytes apart, and more behind them that must stay as it is.
struct HostBlock {
  int pitch;
  Bytes bytes;

  HostBlock(int pitchBytes, int rows, unsigned seed)
      : pitch(pitchBytes), bytes(randomBytes(at(pitchBytes) * at(rows) + 64, seed)) {}
};

// Each transfer with a stream, and without one where that is null.
MirlStatus up(MirlImage& image, const void* src, const MirlStream* stream) {
  return stream == nullptr ? image.upload(src) : image.upload(src, *stream);
}
MirlStatus up(MirlImage& image, const void* src, int pitch, const MirlStream* stream) {
  return stream == nullptr ? image.upload(src, pitch) : image.upload(src, pitch, *stream);
}
MirlStatus up(MirlImage& image, const void* src, MirlRect rect, int pitch, MirlPoint2D<int> origin,
              const MirlStream* stream) {
  return stream == nullptr ? image.upload(src, rect, pitch, origin)
                           : image.upload(src, rect, pitch, origin, *stream);
}
MirlStatus down(const MirlImage& image, void* dst, const MirlStream* stream) {
  return stream == nullptr ? image.download(dst) : image.download(dst, *stream);
}
MirlStatus down(const MirlImage& image, void* dst, int pitch, const MirlStream* stream) {
  return stream == nullptr ? image.download(dst, pitch) : image.download(dst, pitch, *stream);
}
MirlStatus down(MirlImage& image, void* dst, MirlPoint2D<int> origin, int pitch, MirlRect rect,
                const MirlStream* stream) {
  return stream == nullptr ? image.download(dst, origin, pitch, rect)
                           : image.download(dst, origin, pitch, rect, *stream);
}

/// All types, and one whose elements are wider than any type's.
std::vector<Format> formats() {
  std::vector<Format> list = allFormats();
  list.push_back({static_cast<MirlType>(-1), 128, 3});
  return list;
}

TEST_P(Transfer, RowsOfEveryFormatAndPitch) {
  const MirlStream stream(true);
  for (const Format& format : formats()) {
    for (const MirlSize& size : {MirlSize(1, 1), MirlSize(17, 5), MirlSize(1, 31)}) {
      const int row = size.width * format.channels * std::abs(format.depth) / 8;
      for (const int imagePitch : {0, row, row + 3}) {
        for (const int slack : {0, 1, 13}) {
          for (const MirlStream* queue : {static_cast<const MirlStream*>(nullptr), &stream}) {
            MirlImage image = noiseImage(size, format.depth, format.channels, 9, imagePitch);
            const HostBlock src(row + slack, size.height, 1);
            HostBlock dst(row + 13 - slack, size.height, 2);
            Bytes expected = dst.bytes;
            moveBytes(expected, dst.pitch, 0, 0, src.bytes, src.pitch, 0, 0, row, size.height);
            ASSERT_EQ(up(image, src.bytes.data(), src.pitch, queue), MIRL_SUCCESS);
            ASSERT_EQ(down(image, dst.bytes.data(), dst.pitch, queue), MIRL_SUCCESS);
            stream.sync();
            ASSERT_EQ(dst.bytes, expected) << "type " << format.type << ", image pitch "
                                           << imagePitch << ", host pitch " << src.pitch;
          }
        }
      }
    }
  }
}

TEST_P(Transfer, BlocksHaveTheImagesPitch) {
  const MirlStream stream(true);
  for (const Format& format : formats()) {
    const int row = 7 * format.channels * std::abs(format.depth) / 8;
    for (const int pitch : {0, row, row + 3}) {
      for (const MirlStream* queue : {static_cast<const MirlStream*>(nullptr), &stream}) {
        MirlImage image = noiseImage({7, 5}, format.depth, format.channels, 9, pitch);
        const int block = image.pitch() * 5;
        const HostBlock src(image.pitch(), 5, 1);
        HostBlock dst(image.pitch(), 5, 2);
        Bytes expected = dst.bytes;
        moveBytes(expected, block, 0, 0, src.bytes, block, 0, 0, block, 1);
        ASSERT_EQ(up(image, src.bytes.data(), queue), MIRL_SUCCESS);
        ASSERT_EQ(down(image, dst.bytes.data(), queue), MIRL_SUCCESS);
        stream.sync();
        ASSERT_EQ(dst.bytes, expected) << "padding moves too, type " << format.type;

        Bytes rows(at(row) * 5);
        moveBytes(rows, row, 0, 0, src.bytes, src.pitch, 0, 0, row, 5);
        ASSERT_EQ(bytesOf(image), rows);
      }
    }
  }
}

// Rectangles of all kinds, empty ones and the whole among them, from anywhere to anywhere.
TEST_P(Transfer, Rectangles) {
  const MirlStream stream(true);
  std::mt19937 generator(5);
  const auto upTo = [&](int limit) {
    return static_cast<int>(generator() % (static_cast<unsigned>(limit) + 1));
  };
  for (const Format& format : formats()) {
    const int pixel = format.channels * std::abs(format.depth) / 8;
    for (int round = 0; round < 24; ++round) {
      const MirlStream* queue = round % 2 == 0 ? nullptr : &stream;
      const int width = round == 0 ? 23 : upTo(23);
      const int height = round == 0 ? 11 : upTo(11);
      const MirlPoint2D<int> inImage(upTo(23 - width), upTo(11 - height));
      const MirlPoint2D<int> onHost(upTo(5), upTo(5));
      const int hostPitch = (onHost.x + width) * pixel + upTo(9);
      MirlImage image = noiseImage({23, 11}, format.depth, format.channels, 9,
                                   round % 3 == 0 ? 23 * pixel + 5 : 0);
      HostBlock host(hostPitch, onHost.y + height, static_cast<unsigned>(round));

      Bytes expected = bytesOf(image);
      moveBytes(expected, 23 * pixel, inImage.x * pixel, inImage.y, host.bytes, hostPitch,
                onHost.x * pixel, onHost.y, width * pixel, height);
      ASSERT_EQ(up(image, host.bytes.data(), {onHost.x, onHost.y, width, height}, hostPitch,
                   inImage, queue),
                MIRL_SUCCESS);
      stream.sync();
      ASSERT_EQ(bytesOf(image), expected) << "upload, type " << format.type << " round " << round;

      const Bytes source = expected;
      host = HostBlock(hostPitch, onHost.y + height, 77);
      expected = host.bytes;
      moveBytes(expected, hostPitch, onHost.x * pixel, onHost.y, source, 23 * pixel,
                inImage.x * pixel, inImage.y, width * pixel, height);
      ASSERT_EQ(down(image, host.bytes.data(), onHost, hostPitch,
                     {inImage.x, inImage.y, width, height}, queue),
                MIRL_SUCCESS);
      stream.sync();
      ASSERT_EQ(host.bytes, expected) << "download, type " << format.type << " round " << round;
    }
  }
}

// Large enough to be shared out over threads, as rows and as one block.
TEST_P(Transfer, LargeImages) {
  constexpr int kRow = 1501 * 3;
  constexpr int kHeight = 307;
  for (const int pitch : {kRow, kRow + 1}) {
    MirlImage image(1501, kHeight, pitch, 8, 3);
    ASSERT_TRUE(image.isInitialized());
    const HostBlock src(kRow + 5, kHeight, 1);
    HostBlock dst(kRow, kHeight, 2);
    Bytes expected = dst.bytes;
    moveBytes(expected, dst.pitch, 0, 0, src.bytes, src.pitch, 0, 0, kRow, kHeight);
    ASSERT_EQ(image.upload(src.bytes.data(), src.pitch), MIRL_SUCCESS);
    ASSERT_EQ(image.download(dst.bytes.data(), dst.pitch), MIRL_SUCCESS);
    EXPECT_EQ(dst.bytes, expected);

    const HostBlock block(pitch, kHeight, 3);
    HostBlock back(pitch, kHeight, 4);
    expected = back.bytes;
    moveBytes(expected, pitch, 0, 0, block.bytes, pitch, 0, 0, pitch, kHeight);
    ASSERT_EQ(image.upload(block.bytes.data()), MIRL_SUCCESS);
    ASSERT_EQ(image.download(back.bytes.data()), MIRL_SUCCESS);
    EXPECT_EQ(back.bytes, expected);
  }
}

struct BadRow {
  MirlRect rect;  // x and y in the image
  int hostX, hostY, hostPitch;
  int status;
};

/// For an image of 10 by 6 pixels of 3 bytes.
const BadRow kRectangles[] = {
    {{0, 0, 10, 6}, 0, 0, 30, MIRL_SUCCESS},
    {{0, 0, 10, 6}, 0, 0, 29, MIRL_INVALID_ARGUMENT},
    {{0, 0, 10, 6}, 0, 0, 0, MIRL_INVALID_ARGUMENT},
    {{0, 0, 10, 6}, 0, 0, -30, MIRL_INVALID_ARGUMENT},
    {{0, 0, 10, 6}, 0, 0, INT_MIN, MIRL_INVALID_ARGUMENT},
    {{0, 0, 10, 1}, 0, 0, 29, MIRL_INVALID_ARGUMENT},
    {{2, 1, 4, 2}, 3, 1, 21, MIRL_SUCCESS},
    {{2, 1, 4, 2}, 3, 1, 20, MIRL_INVALID_ARGUMENT},  // the rectangle wraps into the next row
    {{2, 1, 4, 2}, -1, 0, 30, MIRL_INVALID_ARGUMENT},
    {{2, 1, 4, 2}, 0, -1, 30, MIRL_INVALID_ARGUMENT},
    {{2, 1, 4, 2}, INT_MIN, INT_MIN, 30, MIRL_INVALID_ARGUMENT},
    {{2, 1, 4, 2}, INT_MAX, 0, 30, MIRL_INVALID_ARGUMENT},
    {{2, 1, 4, 2}, 0x2AAAAAAA, 0, INT_MAX, MIRL_INVALID_ARGUMENT},  // 3 * that is 2^31 - 2
    {{2, 1, 4, 2}, 0x55555556, 0, 30, MIRL_INVALID_ARGUMENT},       // and 2^32 + 2
    {{0, 0, 11, 6}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{0, 0, 10, 7}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{1, 0, 10, 6}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{0, 1, 10, 6}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{-1, 0, 2, 2}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{0, -1, 2, 2}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{0, 0, -1, 2}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{0, 0, 2, -1}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{5, 5, -2, -2}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{INT_MAX, 0, 1, 1}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{0, INT_MAX, 1, 1}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{1, 0, INT_MAX, 1}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{0, 1, 1, INT_MAX}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{INT_MAX, INT_MAX, INT_MAX, INT_MAX}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{INT_MIN, INT_MIN, INT_MIN, INT_MIN}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{10, 6, 0, 0}, 0, 0, 0, MIRL_SUCCESS},  // no pixels
    {{3, 6, 5, 0}, 0, 0, 15, MIRL_SUCCESS},
    {{10, 3, 0, 3}, 0, 0, 0, MIRL_SUCCESS},
    {{11, 0, 0, 0}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{0, 7, 0, 0}, 0, 0, 60, MIRL_INVALID_ARGUMENT},
    {{0, 0, 0, 0}, 0, 0, -1, MIRL_INVALID_ARGUMENT},
};

TEST_P(Transfer, StatusOfRectangles) {
  const MirlStream stream(true);
  MirlStream dead(true);
  dead.destroy();
  MirlImage image = noiseImage({10, 6}, 8, 3, 1);
  const Bytes before = bytesOf(image);
  const Bytes host = randomBytes(60 * 8, 2);
  Bytes out = host;
  for (std::size_t i = 0; i < std::size(kRectangles); ++i) {
    const BadRow& row = kRectangles[i];
    const MirlRect onHost(row.hostX, row.hostY, row.rect.width, row.rect.height);
    const MirlPoint2D<int> origin = onHost.origin();
    const auto status = static_cast<MirlStatus>(row.status);
    const bool moves = row.status == MIRL_SUCCESS && row.rect.width * row.rect.height > 0;
    for (const MirlStream* queue : {static_cast<const MirlStream*>(nullptr), &stream}) {
      EXPECT_EQ(down(image, out.data(), origin, row.hostPitch, row.rect, queue), status) << i;
      stream.sync();
      EXPECT_EQ(out == host, !moves) << i;
      out = host;
      EXPECT_EQ(up(image, host.data(), onHost, row.hostPitch, row.rect.origin(), queue), status)
          << i;
      stream.sync();
      EXPECT_EQ(bytesOf(image) == before, !moves) << i;
      ASSERT_EQ(image.upload(before.data(), 30), MIRL_SUCCESS);
    }
    // A dead stream is looked at after the geometry, and no host memory before either.
    EXPECT_EQ(down(image, out.data(), origin, row.hostPitch, row.rect, &dead),
              MIRL_INVALID_ARGUMENT);
    EXPECT_EQ(up(image, nullptr, onHost, row.hostPitch, row.rect.origin(), &dead),
              MIRL_NULL_POINTER);
    EXPECT_EQ(down(image, nullptr, origin, row.hostPitch, row.rect, &dead), MIRL_NULL_POINTER);
  }
  EXPECT_EQ(out, host);
}

using Form = std::function<MirlStatus(MirlImage&, void*, const MirlStream*)>;

/// The transfers, for an image of 10 by 6 pixels of 3 bytes.
const Form kUploads[] = {
    [](MirlImage& i, void* p, const MirlStream* s) { return up(i, p, s); },
    [](MirlImage& i, void* p, const MirlStream* s) { return up(i, p, 30, s); },
    [](MirlImage& i, void* p, const MirlStream* s) {
      return up(i, p, {0, 0, 5, 5}, 30, {1, 1}, s);
    },
};
const Form kDownloads[] = {
    [](MirlImage& i, void* p, const MirlStream* s) { return down(i, p, s); },
    [](MirlImage& i, void* p, const MirlStream* s) { return down(i, p, 30, s); },
    [](MirlImage& i, void* p, const MirlStream* s) {
      return down(i, p, {1, 1}, 30, {0, 0, 5, 5}, s);
    },
};

TEST_P(Transfer, StatusOfEveryForm) {
  const MirlStream stream(true);
  MirlStream dead(true);
  dead.destroy();
  MirlImage image = noiseImage({10, 6}, 8, 3, 1);
  const Bytes before = bytesOf(image);
  const Bytes host = randomBytes(at(image.pitch()) * 6, 2);
  for (const bool upload : {true, false}) {
    const MirlStatus failed = upload ? MIRL_COPY_H2D_FAILED : MIRL_COPY_D2H_FAILED;
    for (const Form& form : upload ? kUploads : kDownloads) {
      for (const MirlStream* queue : {static_cast<const MirlStream*>(nullptr), &stream}) {
        Bytes memory = host;
        MirlImage empty;
        EXPECT_EQ(form(empty, memory.data(), queue), MIRL_IMAGE_NOT_INITIALIZED);
        EXPECT_EQ(form(empty, nullptr, queue), MIRL_IMAGE_NOT_INITIALIZED);
        EXPECT_FALSE(empty.isInitialized());
        EXPECT_EQ(form(image, nullptr, queue), MIRL_NULL_POINTER);
        EXPECT_EQ(form(image, memory.data(), &dead), MIRL_INVALID_ARGUMENT);
        {
          const FailNth fail(runtime::Call::copy);
          EXPECT_EQ(form(image, memory.data(), queue), failed);
        }
        stream.sync();
        EXPECT_EQ(memory, host);
        EXPECT_EQ(bytesOf(image), before);
        EXPECT_EQ(form(image, memory.data(), queue), MIRL_SUCCESS);
        stream.sync();
        EXPECT_EQ(bytesOf(image) == before, !upload);
        EXPECT_EQ(memory == host, upload);
        ASSERT_EQ(image.upload(before.data(), 30), MIRL_SUCCESS);
      }
    }
  }
  for (const int pitch : {29, 0, -30, INT_MIN}) {
    Bytes memory = host;
    for (const MirlStream* queue : {static_cast<const MirlStream*>(nullptr), &stream}) {
      EXPECT_EQ(up(image, memory.data(), pitch, queue), MIRL_INVALID_ARGUMENT);
      EXPECT_EQ(down(image, memory.data(), pitch, queue), MIRL_INVALID_ARGUMENT);
      EXPECT_EQ(down(image, nullptr, pitch, queue), MIRL_NULL_POINTER);
    }
    EXPECT_EQ(memory, host);
  }
}

MIRL_TEST_ON_ALL_DEVICES(Transfer);

}  // namespace
}  // namespace mirl::test
