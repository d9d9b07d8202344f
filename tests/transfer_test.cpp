// Upload and download in all forms, against copies made byte by byte.

#include "support.h"

#include <array>
#include <climits>

namespace mirl::test {
namespace {

constexpr MirlStatus kGood = MIRL_SUCCESS, kBad = MIRL_INVALID_ARGUMENT;

MIRL_DEVICE_TESTS(Transfer);

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

/// A transfer with a stream, and without one where that is null.
template <class... Arguments>
MirlStatus up(MirlImage& image, const MirlStream* stream, const void* src, Arguments... arguments) {
  return stream == nullptr ? image.upload(src, arguments...)
                           : image.upload(src, arguments..., *stream);
}
template <class... Arguments>
MirlStatus down(MirlImage& image, const MirlStream* stream, void* dst, Arguments... arguments) {
  return stream == nullptr ? image.download(dst, arguments...)
                           : image.download(dst, arguments..., *stream);
}

/// All types, and one whose elements are wider than any type's, each with and without a stream.
template <class Visit>
void forEachFormatAndQueue(const Visit& visit) {
  const MirlStream stream(true);
  std::vector<Format> formats = allFormats();
  formats.push_back({static_cast<MirlType>(-1), 128, 3});
  for (const Format& format : formats) {
    for (const MirlStream* queue : {static_cast<const MirlStream*>(nullptr), &stream}) {
      SCOPED_TRACE(testing::Message() << "type " << format.type << ", stream " << queue);
      visit(format, format.channels * std::abs(format.depth) / 8, queue);
    }
  }
}

void finish(const MirlStream* queue) {
  if (queue != nullptr) queue->sync();
}

// Rows at any distance, and blocks of the image's own pitch, whose padding moves too.
TEST_P(Transfer, RowsAndBlocks) {
  forEachFormatAndQueue([](const Format& format, int pixel, const MirlStream* queue) {
    for (const MirlSize& size : {MirlSize(1, 1), MirlSize(17, 5), MirlSize(1, 31)}) {
      const int row = size.width * pixel;
      for (const int imagePitch : {0, row, row + 3}) {
        MirlImage image = noiseImage(size, format.depth, format.channels, 9, imagePitch);
        const auto moves = [&](int srcPitch, int dstPitch, bool block) {
          const HostBlock src(srcPitch, size.height, 1);
          HostBlock dst(dstPitch, size.height, 2);
          Bytes expected = dst.bytes;
          moveBytes(expected, dstPitch, 0, 0, src.bytes, srcPitch, 0, 0, block ? srcPitch : row,
                    size.height);
          const void* from = src.bytes.data();
          void* to = dst.bytes.data();
          ASSERT_EQ(block ? up(image, queue, from) : up(image, queue, from, srcPitch), kGood);
          ASSERT_EQ(block ? down(image, queue, to) : down(image, queue, to, dstPitch), kGood);
          finish(queue);
          ASSERT_EQ(dst.bytes, expected) << "pitches " << imagePitch << ", " << srcPitch;
        };
        for (const int slack : {0, 1, 13}) moves(row + slack, row + 13 - slack, false);
        moves(image.pitch(), image.pitch(), true);
      }
    }
  });
}

// Rectangles of all kinds, empty ones and the whole among them, from anywhere to anywhere.
TEST_P(Transfer, Rectangles) {
  std::mt19937 generator(5);
  const auto upTo = [&](int limit) {
    return static_cast<int>(generator() % (static_cast<unsigned>(limit) + 1));
  };
  forEachFormatAndQueue([&](const Format& format, int pixel, const MirlStream* queue) {
    for (int round = 0; round < 12; ++round) {
      const int width = round == 0 ? 23 : upTo(23), height = round == 0 ? 11 : upTo(11);
      const MirlPoint2D<int> inImage(upTo(23 - width), upTo(11 - height)), onHost(upTo(5), upTo(5));
      const int pitch = (onHost.x + width) * pixel + upTo(9);
      MirlImage image = noiseImage({23, 11}, format.depth, format.channels, 9,
                                   round % 3 == 0 ? 23 * pixel + 5 : 0);
      HostBlock host(pitch, onHost.y + height, static_cast<unsigned>(round));

      Bytes expected = bytesOf(image);
      moveBytes(expected, 23 * pixel, inImage.x * pixel, inImage.y, host.bytes, pitch,
                onHost.x * pixel, onHost.y, width * pixel, height);
      ASSERT_EQ(up(image, queue, host.bytes.data(), MirlRect(onHost.x, onHost.y, width, height),
                   pitch, inImage),
                MIRL_SUCCESS);
      finish(queue);
      ASSERT_EQ(bytesOf(image), expected) << "upload, round " << round;

      const Bytes source = expected;
      host = HostBlock(pitch, onHost.y + height, 77);
      expected = host.bytes;
      moveBytes(expected, pitch, onHost.x * pixel, onHost.y, source, 23 * pixel, inImage.x * pixel,
                inImage.y, width * pixel, height);
      ASSERT_EQ(down(image, queue, host.bytes.data(), onHost, pitch,
                     MirlRect(inImage.x, inImage.y, width, height)),
                MIRL_SUCCESS);
      finish(queue);
      ASSERT_EQ(host.bytes, expected) << "download, round " << round;
    }
  });
}

// Large enough to be shared out over threads, as rows and as one block.
TEST_P(Transfer, LargeImages) {
  constexpr int kRow = 1501 * 3, kHeight = 307;
  for (const int pitch : {kRow, kRow + 1}) {
    MirlImage image(1501, kHeight, pitch, 8, 3);
    for (const int srcPitch : {kRow, kRow + 5}) {
      const HostBlock src(srcPitch, kHeight, 1);
      HostBlock dst(kRow, kHeight, 2);
      Bytes expected = dst.bytes;
      moveBytes(expected, kRow, 0, 0, src.bytes, srcPitch, 0, 0, kRow, kHeight);
      ASSERT_EQ(image.upload(src.bytes.data(), srcPitch), MIRL_SUCCESS);
      ASSERT_EQ(image.download(dst.bytes.data(), kRow), MIRL_SUCCESS);
      EXPECT_EQ(dst.bytes, expected);
    }
    const Bytes block = randomBytes(blockBytes(image), 3);
    Bytes back(block.size());
    ASSERT_EQ(image.upload(block.data()), MIRL_SUCCESS);
    ASSERT_EQ(image.download(back.data()), MIRL_SUCCESS);
    EXPECT_EQ(back, block);
  }
}

constexpr int kMax = INT_MAX, kMin = INT_MIN;
constexpr int kHalf = 0x2AAAAAAA;  // 3 * that is 2^31 - 2
constexpr int kWrap = 0x55555556;  // and 2^32 + 2

/// For an image of 10 by 6 pixels of 3 bytes: x, y, width and height in the image, x, y and pitch
/// on the host. The last three have no pixels.
using Part = std::array<int, 7>;
const Part kGoodParts[] = {{0, 0, 10, 6, 0, 0, 30},
                           {2, 1, 4, 2, 3, 1, 21},
                           {10, 6, 0, 0, 0, 0, 0},
                           {3, 6, 5, 0, 0, 0, 15},
                           {10, 3, 0, 3, 0, 0, 0}};
/// In one of them the rectangle wraps into the next row.
const Part kBadParts[] = {
    {0, 0, 10, 6, 0, 0, 29},   {0, 0, 10, 6, 0, 0, 0},          {0, 0, 10, 6, 0, 0, -30},
    {0, 0, 10, 6, 0, 0, kMin}, {0, 0, 10, 1, 0, 0, 29},         {2, 1, 4, 2, 3, 1, 20},
    {2, 1, 4, 2, -1, 0, 30},   {2, 1, 4, 2, 0, -1, 30},         {2, 1, 4, 2, kMin, kMin, 30},
    {2, 1, 4, 2, kMax, 0, 30}, {2, 1, 4, 2, kHalf, 0, kMax},    {2, 1, 4, 2, kWrap, 0, 30},
    {0, 0, 11, 6, 0, 0, 60},   {0, 0, 10, 7, 0, 0, 60},         {1, 0, 10, 6, 0, 0, 60},
    {0, 1, 10, 6, 0, 0, 60},   {-1, 0, 2, 2, 0, 0, 60},         {0, -1, 2, 2, 0, 0, 60},
    {0, 0, -1, 2, 0, 0, 60},   {0, 0, 2, -1, 0, 0, 60},         {5, 5, -2, -2, 0, 0, 60},
    {kMax, 0, 1, 1, 0, 0, 60}, {0, kMax, 1, 1, 0, 0, 60},       {1, 0, kMax, 1, 0, 0, 60},
    {0, 1, 1, kMax, 0, 0, 60}, {kMax, kMax, kMax, 1, 0, 0, 60}, {kMin, kMin, kMin, 1, 0, 0, 60},
    {11, 0, 0, 0, 0, 0, 60},   {0, 7, 0, 0, 0, 0, 60},          {0, 0, 0, 0, 0, 0, -1}};

TEST_P(Transfer, StatusOfRectangles) {
  const MirlStream stream(true), dead = deadStream();
  MirlImage image = noiseImage({10, 6}, 8, 3, 1);
  const Bytes before = bytesOf(image), host = randomBytes(60 * 8, 2);
  Bytes out = host;
  const auto check = [&](const Part& row, MirlStatus status) {
    SCOPED_TRACE(testing::PrintToString(row));
    const auto& [x, y, width, height, hostX, hostY, pitch] = row;
    const MirlRect inImage(x, y, width, height), onHost(hostX, hostY, width, height);
    const bool moves = status == kGood && width * height > 0;
    const auto upload = [&, pitch = pitch](const MirlStream* queue, const void* from) {
      return up(image, queue, from, onHost, pitch, inImage.origin());
    };
    const auto download = [&, pitch = pitch](const MirlStream* queue, void* to) {
      return down(image, queue, to, onHost.origin(), pitch, inImage);
    };
    for (const MirlStream* queue : {static_cast<const MirlStream*>(nullptr), &stream}) {
      EXPECT_EQ(download(queue, out.data()), status);
      finish(queue);
      EXPECT_EQ(out == host, !moves);
      out = host;
      EXPECT_EQ(upload(queue, host.data()), status);
      finish(queue);
      EXPECT_EQ(bytesOf(image) == before, !moves);
      ASSERT_EQ(image.upload(before.data(), 30), MIRL_SUCCESS);
    }
    // A dead stream is looked at after the geometry, and no host memory before either.
    EXPECT_EQ(download(&dead, out.data()), kBad);
    EXPECT_EQ(upload(&dead, nullptr), MIRL_NULL_POINTER);
    EXPECT_EQ(download(&dead, nullptr), MIRL_NULL_POINTER);
    EXPECT_EQ(out, host);
  };
  for (const Part& part : kGoodParts) check(part, kGood);
  for (const Part& part : kBadParts) check(part, kBad);
}

TEST_P(Transfer, StatusOfEveryForm) {
  const MirlStream stream(true), dead = deadStream();
  MirlImage image = noiseImage({10, 6}, 8, 3, 1), empty;
  const Bytes before = bytesOf(image), host = randomBytes(at(image.pitch()) * 6, 2);
  const MirlRect part(0, 0, 5, 5);
  const MirlPoint2D<int> origin(1, 1);
  for (int form = 0; form < 6; ++form) {
    const bool uploads = form < 3;
    const auto move = [&](MirlImage& i, void* p, const MirlStream* s) {
      if (uploads) {
        return form == 0   ? up(i, s, p)
               : form == 1 ? up(i, s, p, 30)
                           : up(i, s, p, part, 30, origin);
      }
      return form == 3   ? down(i, s, p)
             : form == 4 ? down(i, s, p, 30)
                         : down(i, s, p, origin, 30, part);
    };
    for (const MirlStream* queue : {static_cast<const MirlStream*>(nullptr), &stream}) {
      SCOPED_TRACE(testing::Message() << "form " << form << ", stream " << queue);
      Bytes memory = host;
      EXPECT_EQ(move(empty, memory.data(), queue), MIRL_IMAGE_NOT_INITIALIZED);
      EXPECT_EQ(move(empty, nullptr, queue), MIRL_IMAGE_NOT_INITIALIZED);
      EXPECT_EQ(move(image, nullptr, queue), MIRL_NULL_POINTER);
      EXPECT_EQ(move(image, memory.data(), &dead), kBad);
      {
        const FailNth fail(runtime::Call::copy);
        EXPECT_EQ(move(image, memory.data(), queue),
                  uploads ? MIRL_COPY_H2D_FAILED : MIRL_COPY_D2H_FAILED);
      }
      finish(queue);
      EXPECT_EQ(memory, host);
      EXPECT_EQ(bytesOf(image), before);
      EXPECT_EQ(move(image, memory.data(), queue), MIRL_SUCCESS);
      finish(queue);
      EXPECT_EQ(bytesOf(image) == before, !uploads);
      EXPECT_EQ(memory == host, uploads);
      ASSERT_EQ(image.upload(before.data(), 30), MIRL_SUCCESS);
    }
  }
  EXPECT_FALSE(empty.isInitialized());
  Bytes memory = host;
  for (const int pitch : {29, 0, -30, INT_MIN}) {
    for (const MirlStream* queue : {static_cast<const MirlStream*>(nullptr), &stream}) {
      EXPECT_EQ(up(image, queue, memory.data(), pitch), kBad);
      EXPECT_EQ(down(image, queue, memory.data(), pitch), kBad);
      EXPECT_EQ(down(image, queue, nullptr, pitch), MIRL_NULL_POINTER);
    }
  }
  EXPECT_EQ(memory, host);
}

}  // namespace
}  // namespace mirl::test
