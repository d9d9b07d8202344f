// Image files: loadImage, saveImage and the file forms of MirlImage.

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "support.h"

#if MIRL_WITH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#endif

namespace mirl::test {
namespace {

namespace fs = std::filesystem;
using io::loadImage;
using io::saveImage;

class ImageFiles : public DeviceTest {
 protected:
  void SetUp() override {
    DeviceTest::SetUp();
    std::string name = (fs::temp_directory_path() / "mirl-files-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override {
    fs::remove_all(folder_);
    DeviceTest::TearDown();
  }

  std::string path(const std::string& name) const { return (folder_ / name).string(); }

  std::string put(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
  }

  static std::string contentOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

 private:
  fs::path folder_;
};

// In both kinds of build: what can't be written whatever the file.
TEST_P(ImageFiles, SavingChecksTheImageFirst) {
  const std::string nowhere = path("no folder/x.png");
  MirlImage empty, noType(4, 3, 128, 1), good(4, 3, MIRL_8U_C1);
  ASSERT_TRUE(noType.isInitialized());
  EXPECT_EQ(saveImage(empty, nowhere), MIRL_IMAGE_NOT_INITIALIZED);
  EXPECT_EQ(saveImage(noType, path("x.png")), MIRL_DEPTH_NOT_SUPPORTED);
  for (const MirlType type : {MIRL_8S_C1, MIRL_16S_C3, MIRL_32S_C4}) {
    MirlImage withSign(4, 3, type);
    EXPECT_EQ(saveImage(withSign, nowhere), MIRL_DEPTH_NOT_SUPPORTED) << type;
  }
  EXPECT_EQ(saveImage(good, nowhere), MIRL_OPERATION_FAILED);
  EXPECT_TRUE(fs::is_empty(path("")));
}

#if MIRL_WITH_OPENCV

constexpr MirlLoadType kAsStored = static_cast<MirlLoadType>(-1);

/// Files made by hand, which no library has a say in. Words stand high byte first.
constexpr char kColourFile[] = "P6 2 1 255\n\x0A\x14\x1E\xFF\x80\x01";        // 8 bits
constexpr char kGrayWordFile[] = "P5 3 1 65535\n\x12\x34\x00\xFF\xFF\xFE";    // 16 bits
constexpr char kColourWordFile[] = "P6 1 1 65535\n\x01\x02\x10\x20\xF1\xF2";  // 16 bits
template <std::size_t N>
std::string text(const char (&file)[N]) {
  return {file, N - 1};  // with the zeros inside
}

TEST_P(ImageFiles, LiteralFiles) {
  const std::string colour = put("colour.ppm", text(kColourFile));
  const std::string words = put("words.pgm", text(kGrayWordFile));
  const std::string colourWords = put("colourWords.ppm", text(kColourWordFile));
  const Pixels<Byte> blueFirst(3, {30, 20, 10, 1, 128, 255});
  EXPECT_TRUE(holds(loadImage(colour, MIRL_LOAD_COLOR), blueFirst));
  EXPECT_TRUE(holds(MirlImage(colour, MIRL_LOAD_ANYDEPTH_ANYCOLOR), blueFirst));
  EXPECT_TRUE(holds(loadImage(words, MIRL_LOAD_ANYDEPTH), Pixels<Word>(1, {0x1234, 0xFF, 0xFFFE})));
  EXPECT_TRUE(holds(loadImage(words, MIRL_LOAD_GRAYSCALE), Pixels<Byte>(1, {0x12, 0, 0xFF})));
  EXPECT_TRUE(holds(loadImage(colourWords, kAsStored), Pixels<Word>(3, {0xF1F2, 0x1020, 0x0102})));

  const MirlImage image = loadImage(colour, MIRL_LOAD_COLOR);
  EXPECT_EQ(image.channelSeq(), MIRL_CHANNELSEQ_BGR);
  EXPECT_EQ(image.dataBits(), 8);
  EXPECT_EQ(image.device(), GetParam());

  MirlImage saved = toImage(blueFirst, 9);
  EXPECT_EQ(saveImage(saved, path("saved.ppm")), MIRL_SUCCESS);
  const std::string content = contentOf(path("saved.ppm"));
  EXPECT_EQ(content.substr(content.size() - 6), text(kColourFile).substr(11));
}

TEST_P(ImageFiles, EveryLoadType) {
  const std::tuple<const char*, int, int> cases[] = {{"gray.png", 8, 1},    {"colour.png", 8, 3},
                                                     {"gray16.png", 16, 1}, {"colour16.png", 16, 3},
                                                     {"four.png", 8, 4},    {"four16.png", 16, 4}};
  for (const auto& [file, depth, channels] : cases) {
    MirlImage saved(2, 1, depth, channels);
    ASSERT_EQ(saveImage(saved, path(file)), MIRL_SUCCESS);
    const std::tuple<int, int, int> expected[] = {
        {MIRL_LOAD_GRAYSCALE, 8, 1},    {MIRL_LOAD_COLOR, 8, 3},
        {MIRL_LOAD_ANYDEPTH, depth, 1}, {MIRL_LOAD_ANYDEPTH_ANYCOLOR, depth, std::min(channels, 3)},
        {kAsStored, depth, channels},   {4, depth, channels}};
    for (const auto& [load, wantDepth, wantChannels] : expected) {
      const auto kind = static_cast<MirlLoadType>(load);
      MirlImage image;
      EXPECT_EQ(image.create(path(file), kind), MIRL_SUCCESS);
      for (const MirlImage& loaded : {image, loadImage(path(file), kind)}) {
        EXPECT_EQ(std::pair(loaded.depth(), loaded.channels()), std::pair(wantDepth, wantChannels))
            << file << ", load type " << load;
      }
    }
  }
}

template <class T>
void checkRoundTrip(const std::string& file, int channels) {
  SCOPED_TRACE(file + ", " + std::to_string(channels) + " channels");
  for (const MirlSize& size : {MirlSize(1, 1), MirlSize(17, 5), MirlSize(257, 131)}) {
    const auto pixels = randomPixels<T>(size.width, size.height, channels, 1);
    MirlImage image = toImage(pixels, pixels.rowBytes() + 1);
    ASSERT_EQ(saveImage(image, file), MIRL_SUCCESS);
    EXPECT_TRUE(holds(image, pixels)) << "saving changes nothing";
    EXPECT_TRUE(holds(loadImage(file, kAsStored), pixels));
  }
}

TEST_P(ImageFiles, RoundTrips) {
  for (const char* file : {"x.png", "x.tiff", "x.pnm"}) {
    for (const int channels : {1, 3, 4}) {
      if (channels == 4 && std::string(file) == "x.pnm") continue;
      checkRoundTrip<Byte>(path(file), channels);
      checkRoundTrip<Word>(path(file), channels);
    }
  }
  checkRoundTrip<float>(path("x.tiff"), 4);
  checkRoundTrip<Byte>(path("x.bmp"), 3);
}

TEST_P(ImageFiles, FloatsAndDoubles) {
  const Pixels<float> floats(3, {0.5f, 1, 0.999f, -1, 2, NAN});
  MirlImage image = toImage(floats);
  image.setDataBits(12);
  ASSERT_EQ(saveImage(image, path("x.tiff")), MIRL_SUCCESS);
  EXPECT_TRUE(
      holds(loadImage(path("x.tiff"), kAsStored), Pixels<Byte>(3, {127, 255, 254, 0, 255, 0})));
  EXPECT_TRUE(holds(image, floats));
  EXPECT_EQ(image.dataBits(), 12);

  // Red first and low byte first in the file: 0.5, -2, 300.
  const std::string three("\0\0\0\x3F\0\0\0\xC0\0\0\x96\x43", 12);
  const std::string gray = put("x.pfm", "Pf\n3 1\n-1.0\n" + three);
  const std::string colour = put("y.pfm", "PF\n1 1\n-1.0\n" + three);
  for (const MirlLoadType load : {kAsStored, MIRL_LOAD_ANYDEPTH_ANYCOLOR}) {
    EXPECT_TRUE(holds(loadImage(gray, load), Pixels<float>(1, {0.5f, -2, 300})));
    EXPECT_TRUE(holds(loadImage(colour, load), Pixels<float>(3, {300, -2, 0.5f})));
  }

  const double wide[] = {0.1, -1e300, 300};
  MirlImage doubles(3, 1, MIRL_64F_C1);
  double got[3] = {};
  ASSERT_EQ(doubles.upload(wide, sizeof wide), MIRL_SUCCESS);
  ASSERT_EQ(saveImage(doubles, path("d.tiff")), MIRL_SUCCESS);
  const MirlImage loaded = loadImage(path("d.tiff"), kAsStored);
  ASSERT_EQ(loaded.type(), MIRL_64F_C1);
  ASSERT_EQ(loaded.download(got, sizeof got), MIRL_SUCCESS);
  EXPECT_TRUE(std::equal(got, got + 3, wide));
}

TEST_P(ImageFiles, WhatAFormatDoesNotHold) {
  MirlImage words = toImage(Pixels<Word>(1, {7, 255, 256, 65535}));
  ASSERT_EQ(saveImage(words, path("x.bmp")), MIRL_SUCCESS);
  EXPECT_TRUE(
      holds(loadImage(path("x.bmp"), MIRL_LOAD_ANYDEPTH), Pixels<Byte>(1, {7, 255, 255, 255})));
  const std::string old = put("old.pgm", "P5 1 1 255\nx");
  MirlImage two(4, 3, MIRL_8U_C2), colour(4, 3, MIRL_8U_C3);
  EXPECT_EQ(saveImage(two, path("two.png")), MIRL_OPERATION_FAILED);
  EXPECT_EQ(saveImage(colour, old), MIRL_OPERATION_FAILED);
  EXPECT_EQ(contentOf(old), "P5 1 1 255\nx") << "the old file stays";
  EXPECT_FALSE(fs::exists(path("two.png")));
}

TEST_P(ImageFiles, IntoALiveImage) {
  const std::string file = put("x.ppm", text(kColourFile));
  const Pixels<Byte> want(3, {30, 20, 10, 1, 128, 255});
  MirlImage image = toImage(Pixels<Byte>(2, 1, 3), 11);
  fillBlock(image);
  image.setDataBits(5);
  image.setChannelSequence(MIRL_CHANNELSEQ_RGB);
  const auto before = fieldsOf(image);
  EXPECT_EQ(image.create(file, MIRL_LOAD_COLOR), MIRL_SUCCESS);
  EXPECT_TRUE(holds(image, want));
  EXPECT_TRUE(paddingUntouched(image));
  EXPECT_EQ(fieldsOf(image), before);

  const MirlImage others[] = {{3, 1, MIRL_8U_C3},  {1, 1, MIRL_8U_C3}, {2, 2, MIRL_8U_C3},
                              {2, 1, MIRL_16U_C3}, {2, 1, MIRL_8S_C3}, {2, 1, MIRL_8U_C1},
                              {2, 1, MIRL_8U_C4},  {6, 1, MIRL_8U_C1}};
  for (const MirlImage& other : others) {
    expectStatus(other, MIRL_MISMATCH, false,
                 [&](MirlImage& copy) { return copy.create(file, MIRL_LOAD_COLOR); });
  }
}

/// The file is refused in each of the four ways, and leaves nothing behind.
void expectUnreadable(const std::string& file) {
  SCOPED_TRACE(file);
  const runtime::Live before = runtime::live();
  const Pixels<Byte> content(1, {1, 2, 3});
  MirlImage live = toImage(content), empty;
  EXPECT_EQ(empty.create(file, MIRL_LOAD_COLOR), MIRL_INVALID_ARGUMENT);
  EXPECT_FALSE(empty.isInitialized());
  EXPECT_EQ(live.create(file, MIRL_LOAD_GRAYSCALE), MIRL_INVALID_ARGUMENT);
  EXPECT_TRUE(holds(live, content));
  EXPECT_FALSE(MirlImage(file, kAsStored).isInitialized());
  try {
    loadImage(file, MIRL_LOAD_ANYDEPTH);
    ADD_FAILURE() << "nothing was thrown";
  } catch (const std::exception& problem) {
    EXPECT_STREQ(problem.what(), "Image Not Found");
  }
  live.release();
  EXPECT_EQ(runtime::live(), before);
}

TEST_P(ImageFiles, UnreadableFiles) {
  fs::create_directory(path("folder.png"));
  for (const char* name : {"missing.png", "folder.png", ""}) expectUnreadable(path(name));
  expectUnreadable("");
  int number = 0;
  const auto refused = [&](const std::string& content, const std::string& name) {
    expectUnreadable(put(std::to_string(++number) + name, content));
  };
  refused("", ".png");
  refused(std::string(1000, 'x'), ".png");
  for (const char* size : {"many many", "-3 4", "2147483647 2147483647", "1000000 1000000"}) {
    refused(std::string("P6 ") + size + " 255\n", ".ppm");
  }
  MirlImage image = toImage(randomPixels<Byte>(40, 30, 3, 1));
  for (const char* name : {"x.png", "x.tiff", "x.ppm", "x.bmp"}) {
    ASSERT_EQ(saveImage(image, path(name)), MIRL_SUCCESS);
    const std::string whole = contentOf(path(name));
    for (const std::size_t part : {1, 8, 20, 40, 64, 90}) {
      refused(whole.substr(0, whole.size() * part / 100), name);
    }
    for (const std::size_t bytes : {1, 2, 8, 16, 33}) refused(whole.substr(0, bytes), name);
  }
}

TEST_P(ImageFiles, SignedFiles) {
  const std::int16_t values[] = {-1, 0, 5};
  const std::string file = path("x.tiff");
  ASSERT_TRUE(cv::imwrite(file, cv::Mat(1, 3, CV_16SC1, const_cast<std::int16_t*>(values))));
  for (const MirlImage& image : {MirlImage(), MirlImage(3, 1, MIRL_16S_C1)}) {
    expectStatus(image, MIRL_DEPTH_NOT_SUPPORTED, false,
                 [&](MirlImage& copy) { return copy.create(file, kAsStored); });
  }
  EXPECT_FALSE(loadImage(file, kAsStored).isInitialized());
}

TEST_P(ImageFiles, UnwritableFiles) {
  MirlImage image(4, 3, MIRL_8U_C1);
  fillBlock(image);
  fs::create_directory(path("folder.png"));
  put("file.png", "old");
  std::vector<const char*> names = {
      "no folder/x.png", "folder.png", "file.png/x.png", "noExtension", "x.xyz", "x.", "",
      "folder.png/"};
  for (const char* full : {"full.png", "full.pgm"}) {
    if (!fs::exists("/dev/full")) break;
    fs::create_symlink("/dev/full", path(full));
    names.push_back(full);
  }
  for (const char* name : names) {
    EXPECT_EQ(saveImage(image, path(name)), MIRL_OPERATION_FAILED) << name;
  }
  EXPECT_TRUE(fs::is_directory(path("folder.png")));
  EXPECT_EQ(contentOf(path("file.png")), "old");
  EXPECT_EQ(saveImage(image, path("file.png")), MIRL_SUCCESS);
}

// Orientation 6: the camera was turned, and the right side is up when turned clockwise.
TEST_P(ImageFiles, OrientationOfAPhoto) {
  cv::Mat photo(16, 32, CV_8UC1, cv::Scalar(0));
  photo.colRange(16, 32).setTo(255);
  std::vector<unsigned char> jpeg;
  ASSERT_TRUE(cv::imencode(".jpg", photo, jpeg));
  const char note[] =
      "\xFF\xE1\x00\x22"
      "Exif\0\0"
      "MM\0*\0\0\0\x08"
      "\0\x01"
      "\x01\x12\0\x03\0\0\0\x01\0\x06\0\0"
      "\0\0\0\0";
  std::string content(jpeg.begin(), jpeg.end());
  content.insert(2, note, sizeof note - 1);
  const std::string file = put("x.jpg", content);
  Pixels<Byte> turned(16, 32, 1);
  std::fill(turned.values.begin() + 16 * 16, turned.values.end(), Byte{255});
  EXPECT_TRUE(holds(loadImage(file, MIRL_LOAD_GRAYSCALE), turned));
  const MirlImage stored = loadImage(file, kAsStored);
  EXPECT_EQ(stored.width(), 32);
  EXPECT_EQ(stored.height(), 16);
}

TEST_P(ImageFiles, RuntimeFailures) {
  using runtime::Call;
  const std::string file = put("x.ppm", text(kColourFile)), result = path("y.png");
  MirlImage bytes(2, 1, MIRL_8U_C3), floats(2, 1, MIRL_32F_C3), made;
  const runtime::Live before = runtime::live();
  const auto create = [&](MirlImage& image) { return image.create(file, MIRL_LOAD_COLOR); };
  const auto save = [&](MirlImage& image) { return saveImage(image, result); };
  const std::tuple<Call, MirlImage&, bool, MirlStatus> cases[] = {
      {Call::allocate, made, true, MIRL_DEVICE_ALLOC_FAILED},
      {Call::copy, made, true, MIRL_COPY_H2D_FAILED},
      {Call::copy, bytes, true, MIRL_COPY_H2D_FAILED},
      {Call::copy, bytes, false, MIRL_COPY_D2H_FAILED},
      {Call::allocate, floats, false, MIRL_DEVICE_ALLOC_FAILED},
      {Call::copy, floats, false, MIRL_COPY_D2H_FAILED}};
  for (const auto& [call, image, loads, status] : cases) {
    const FailNth fail(call);
    EXPECT_EQ(loads ? create(image) : save(image), status);
  }
  for (const Call call : {Call::allocate, Call::copy}) {
    const FailNth fail(call);
    EXPECT_FALSE(loadImage(file, MIRL_LOAD_COLOR).isInitialized());
  }
  EXPECT_FALSE(made.isInitialized());
  EXPECT_EQ(runtime::live(), before);
  EXPECT_FALSE(fs::exists(result));
}

TEST_P(ImageFiles, OnTheImagesDeviceFromManyThreads) {
  const auto pixels = randomPixels<Word>(257, 131, 3, 1);
  MirlImage here = toImage(pixels);
  onThreads(4, [&](int thread) {
    const std::string file = path(std::to_string(thread) + ".png");
    const int current = thread % device::getDeviceCount();
    ASSERT_EQ(device::setCurrentDevice(current), MIRL_SUCCESS);
    EXPECT_EQ(saveImage(here, file), MIRL_SUCCESS);
    const MirlImage loaded = loadImage(file, kAsStored);
    EXPECT_EQ(loaded.device(), current);
    EXPECT_TRUE(holds(loaded, pixels));
  });
}

#else  // without OpenCV

TEST_P(ImageFiles, BuiltWithoutThem) {
  const std::string file = put("x.pgm", "P5 1 1 255\nx");
  const Pixels<Byte> pixels(1, {7});
  MirlImage empty, live = toImage(pixels);
  for (const std::string& name : {file, path("missing.png")}) {
    EXPECT_EQ(empty.create(name, MIRL_LOAD_COLOR), MIRL_OPERATION_FAILED);
    EXPECT_EQ(live.create(name, MIRL_LOAD_COLOR), MIRL_OPERATION_FAILED);
    EXPECT_THROW(loadImage(name, MIRL_LOAD_COLOR), std::exception);
    EXPECT_FALSE(MirlImage(name, MIRL_LOAD_COLOR).isInitialized());
  }
  EXPECT_FALSE(empty.isInitialized());
  EXPECT_TRUE(holds(live, pixels));
  MirlImage real = toImage(Pixels<float>(1, {0.5f}));
  EXPECT_EQ(saveImage(live, path("y.png")), MIRL_OPERATION_FAILED);
  EXPECT_EQ(saveImage(real, path("y.png")), MIRL_OPERATION_FAILED);
  EXPECT_FALSE(fs::exists(path("y.png")));
}

#endif

MIRL_TEST_ON_ALL_DEVICES(ImageFiles);

}  // namespace
}  // namespace mirl::test
