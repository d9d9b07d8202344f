// MirlHistogram and calcHist.

#include <array>

#include "runtime/runtime.h"
#include "support.h"

namespace mirl::test {
namespace {

using imageStatistics::calcHist;
using Bins = std::vector<unsigned int>;

MIRL_DEVICE_TESTS(Histogram);

constexpr std::array kLocations = {MIRL_POINTER_DEVICE, MIRL_POINTER_HOST, MIRL_POINTER_PINNED};

/// The bins, wherever they live: those of a device by way of an image with the same bytes.
Bins binsOf(const MirlHistogram& histogram) {
  const auto count = static_cast<std::size_t>(histogram.binCount());
  if (histogram.location() != MIRL_POINTER_DEVICE) {
    return {histogram.hist(), histogram.hist() + count};
  }
  Bins bins(count);
  runtime::Device* device = runtime::device(runtime::currentDevice());
  EXPECT_TRUE(device->synchronizeAll());
  EXPECT_TRUE(device->copy({bins.data(), count * 4, histogram.hist(), count * 4, count * 4, 1,
                            runtime::Direction::deviceToHost}));
  return bins;
}

Bins countsOf(const Pixels<Byte>& pixels, std::size_t binCount, unsigned times = 1) {
  Bins bins(binCount, 0);
  for (std::size_t i = 0; i < pixels.values.size(); ++i) {
    const std::size_t c = i % static_cast<std::size_t>(pixels.channels);
    bins[c * 256 + pixels.values[i]] += times;
  }
  return bins;
}

testing::AssertionResult isEmpty(const MirlHistogram& h) {
  if (!h.isInitialized() && h.hist() == nullptr && h.binCount() == 0 && h.type() == -1 &&
      h.location() == -1) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "bins " << h.hist() << ", count " << h.binCount()
                                     << ", type " << h.type() << ", location " << h.location();
}

TEST_P(Histogram, CreatesClearedBins) {
  const std::pair<MirlType, int> types[] = {
      {MIRL_8U_C1, 256}, {MIRL_8U_C3, 768}, {MIRL_16U_C1, 65536}, {MIRL_16U_C3, 196608}};
  for (const MirlPointerType location : kLocations) {
    SCOPED_TRACE("location " + std::to_string(location));
    for (const auto& [type, bins] : types) {
      MirlHistogram histogram(type, location);
      EXPECT_EQ(histogram.type(), type);
      EXPECT_EQ(histogram.create(MIRL_32F_C1, MIRL_POINTER_HOST), MIRL_SUCCESS);
      EXPECT_EQ(histogram.create(256, MIRL_POINTER_HOST), MIRL_INVALID_ARGUMENT);
      EXPECT_EQ(histogram.location(), location);
      EXPECT_EQ(binsOf(histogram), Bins(static_cast<std::size_t>(bins), 0));
      for (int times = 0; times < 2; ++times) {
        EXPECT_EQ(histogram.release(), MIRL_SUCCESS);
        EXPECT_TRUE(isEmpty(histogram));
      }
    }
    const MirlHistogram counted(5, location);
    EXPECT_EQ(counted.type(), -2);
    EXPECT_EQ(binsOf(counted), Bins(5, 0));
  }
}

TEST_P(Histogram, RefusesToCreate) {
  const auto nowhere = static_cast<MirlPointerType>(3);
  MirlHistogram histogram;
  for (const MirlPointerType location : {kLocations[0], kLocations[1], kLocations[2], nowhere}) {
    EXPECT_EQ(histogram.create(0, location), MIRL_INVALID_ARGUMENT);
    EXPECT_EQ(histogram.create(-1, location), MIRL_INVALID_ARGUMENT);
    for (const Format& format : allFormats()) {
      if (isServed(format) && format.depth <= 16) continue;
      EXPECT_EQ(histogram.create(format.type, location), MIRL_TYPE_NOT_SUPPORTED);
    }
  }
  EXPECT_EQ(histogram.create(256, nowhere), MIRL_INVALID_ARGUMENT);
  EXPECT_EQ(histogram.create(MIRL_8U_C1, nowhere), MIRL_INVALID_ARGUMENT);

  using runtime::Call;
  using Fault = std::tuple<Call, MirlPointerType, MirlStatus>;
  for (const auto& [call, location, status] :
       {Fault{Call::allocate, MIRL_POINTER_DEVICE, MIRL_DEVICE_ALLOC_FAILED},
        {Call::fill, MIRL_POINTER_DEVICE, MIRL_MEMSET_FAILED},
        {Call::pinned, MIRL_POINTER_PINNED, MIRL_HOST_REGISTER_FAILED}}) {
    const FailNth failing(call);
    EXPECT_EQ(histogram.create(MIRL_8U_C3, location), status);
  }
  EXPECT_TRUE(isEmpty(histogram));
  for (const auto& [call, location, status] :
       {Fault{Call::free, MIRL_POINTER_DEVICE, MIRL_DEVICE_FREE_FAILED},
        {Call::pinned, MIRL_POINTER_PINNED, MIRL_HOST_UNREGISTER_FAILED}}) {
    MirlHistogram live(256, location);
    const FailNth failing(call);
    EXPECT_EQ(live.release(), status);
    EXPECT_EQ(binsOf(live), Bins(256, 0));
  }
}

TEST_P(Histogram, CopiesDuplicateAndMovesMove) {
  const auto pixels = randomPixels<Byte>(31, 17, 3, 1);
  const Bins expected = countsOf(pixels, 768);
  for (const MirlPointerType location : kLocations) {
    SCOPED_TRACE("location " + std::to_string(location));
    MirlHistogram a(MIRL_8U_C3, location), c(7, MIRL_POINTER_HOST);
    EXPECT_EQ(calcHist(toImage(pixels), a), MIRL_SUCCESS);
    MirlHistogram b(a);
    EXPECT_NE(b.hist(), a.hist());
    EXPECT_EQ(std::pair(b.type(), b.location()), std::pair(MIRL_8U_C3, location));
    c = a;
    const MirlHistogram& itself = c;
    c = itself;
    EXPECT_EQ(binsOf(c), expected);
    const unsigned* const own = c.hist();
    const MirlHistogram d(std::move(c));
    EXPECT_EQ(d.hist(), own);
    b = std::move(a);
    MirlHistogram& same = b;
    b = std::move(same);
    EXPECT_EQ(binsOf(b), expected);
    for (const MirlHistogram* gone : {&a, &c}) EXPECT_TRUE(isEmpty(*gone));
    if (location != MIRL_POINTER_DEVICE) continue;

    for (const auto call : {runtime::Call::allocate, runtime::Call::copy}) {
      const FailNth failing(call);
      EXPECT_TRUE(isEmpty(MirlHistogram(b)));
    }
    const MirlHistogram other(9, location);
    for (const auto call : {runtime::Call::allocate, runtime::Call::free}) {
      const FailNth failing(call);
      b = other;
      EXPECT_EQ(binsOf(b), expected) << "no copy could be made, or no bins given back";
    }
  }
}

TEST_P(Histogram, CountsEverySizeAndPitch) {
  unsigned seed = 1;
  std::vector<MirlSize> sizes = awkwardSizes();
  sizes.insert(sizes.end(), {{1021, 509}, {30011, 5}, {1, 40013}});
  for (const int channels : {1, 3}) {
    for (const MirlSize& size : sizes) {
      const auto pixels = randomPixels<Byte>(size.width, size.height, channels, seed++);
      for (const int pitch :
           {0, pixels.rowBytes(), pixels.rowBytes() + 1, pixels.rowBytes() + 16}) {
        MirlHistogram histogram;
        ASSERT_EQ(calcHist(toImage(pixels, pitch), histogram), MIRL_SUCCESS);
        EXPECT_EQ(histogram.type(), typeOf<Byte>(channels));
        EXPECT_EQ(histogram.location(), MIRL_POINTER_HOST);
        EXPECT_EQ(binsOf(histogram), countsOf(pixels, channels == 1 ? 256 : 768))
            << size.width << "x" << size.height << "x" << channels << ", pitch " << pitch;
      }
    }
  }
  MirlHistogram fives;
  EXPECT_EQ(calcHist(toImage(Pixels<Byte>(10, 10, 1, 5)), fives), MIRL_SUCCESS);
  EXPECT_EQ(std::pair(fives.hist()[5], fives.hist()[4]), std::pair(100u, 0u));
}

TEST_P(Histogram, DeviceBinsAddUpAndOthersAreReplaced) {
  const auto pixels = randomPixels<Byte>(61, 43, 3, 2), grays = randomPixels<Byte>(61, 43, 1, 3);
  for (const MirlPointerType location : kLocations) {
    MirlHistogram histogram(768, location);
    EXPECT_EQ(calcHist(toImage(pixels), histogram), MIRL_SUCCESS);
    EXPECT_EQ(calcHist(toImage(pixels), histogram), MIRL_SUCCESS);
    const bool adds = location == MIRL_POINTER_DEVICE;
    Bins expected = countsOf(pixels, 768, adds ? 2 : 1);
    EXPECT_EQ(binsOf(histogram), expected);
    EXPECT_EQ(calcHist(toImage(grays), histogram), MIRL_SUCCESS);
    const Bins counts = countsOf(grays, 256);
    for (std::size_t v = 0; v < 256; ++v) expected[v] = counts[v] + (adds ? expected[v] : 0);
    EXPECT_EQ(binsOf(histogram), expected) << "the last 512 bins stay";
  }
  // Signed bytes are counted as unsigned ones.
  MirlImage signedBytes(MirlSize(2, 1), MIRL_8S_C1);
  const signed char values[] = {-1, 3};
  EXPECT_EQ(signedBytes.upload(values, 2), MIRL_SUCCESS);
  MirlHistogram histogram(256, MIRL_POINTER_HOST);
  EXPECT_EQ(calcHist(signedBytes, histogram), MIRL_SUCCESS);
  EXPECT_EQ(binsOf(histogram), countsOf(Pixels<Byte>(1, {255, 3}), 256));
}

TEST_P(Histogram, Statuses) {
  const MirlStream alive(true), dead = deadStream();
  constexpr MirlStatus kGood = MIRL_SUCCESS, kMismatch = MIRL_MISMATCH,
                       kNoChannels = MIRL_CHANNELS_NOT_SUPPORTED,
                       kNoDepth = MIRL_DEPTH_NOT_SUPPORTED;
  using Row = std::tuple<MirlType, int, MirlStatus>;  // 0 bins for an empty histogram
  const Row rows[] = {
      {MIRL_8U_C1, 256, kGood},       {MIRL_8U_C1, 768, kGood},       {MIRL_8U_C1, 255, kMismatch},
      {MIRL_8U_C3, 256, kMismatch},   {MIRL_8U_C3, 1024, kMismatch},  {MIRL_8U_C2, 0, kMismatch},
      {MIRL_8U_C4, 0, kMismatch},     {MIRL_8S_C1, 0, kMismatch},     {MIRL_8U_C4, 100, kMismatch},
      {MIRL_8U_C4, 256, kNoChannels}, {MIRL_8U_C2, 768, kNoChannels}, {MIRL_16U_C1, 0, kNoDepth},
      {MIRL_16U_C1, 65536, kNoDepth}, {MIRL_32F_C3, 100, kNoDepth}};
  for (const auto& [type, bins, status] : rows) {
    SCOPED_TRACE(testing::Message() << "type " << type << ", bins " << bins);
    const MirlImage image(MirlSize(9, 4), type);
    for (const MirlPointerType location : kLocations) {
      MirlHistogram histogram(bins, location);
      EXPECT_EQ(calcHist(MirlImage(), histogram, dead), MIRL_IMAGE_NOT_INITIALIZED);
      EXPECT_EQ(calcHist(image, histogram, dead),
                status == kNoDepth ? kNoDepth : MIRL_INVALID_ARGUMENT);
      EXPECT_EQ(calcHist(image, histogram, alive), status);
      EXPECT_EQ(histogram.binCount(), bins);
    }
  }

  using runtime::Call;
  const MirlImage image = toImage(randomPixels<Byte>(9, 4, 3, 1));
  for (const auto& [call, status] : {std::pair{Call::allocate, MIRL_DEVICE_ALLOC_FAILED},
                                     {Call::fill, MIRL_MEMSET_FAILED},
                                     {Call::copy, MIRL_COPY_D2H_FAILED}}) {
    MirlHistogram empty, live(768, MIRL_POINTER_HOST);
    for (MirlHistogram* histogram : {&empty, &live}) {
      const FailNth failing(call);
      EXPECT_EQ(calcHist(image, *histogram, alive), status);
    }
    EXPECT_TRUE(isEmpty(empty));
    EXPECT_EQ(binsOf(live), Bins(768, 0));
  }

  if (device::getDeviceCount() < 2) return;
  MirlHistogram here(768, MIRL_POINTER_DEVICE);
  device::setCurrentDevice(GetParam() == 0 ? 1 : 0);
  MirlHistogram there(768, MIRL_POINTER_DEVICE);
  EXPECT_EQ(calcHist(image, there), MIRL_MISMATCH);
  EXPECT_EQ(calcHist(image, here, MirlStream(true)), MIRL_MISMATCH);
  EXPECT_EQ(calcHist(image, here), MIRL_SUCCESS) << "whatever the current device is";
}

TEST_P(Histogram, DiesWithItsDevice) {
  MirlHistogram device(256, MIRL_POINTER_DEVICE), host(256, MIRL_POINTER_HOST),
      pinned(256, MIRL_POINTER_PINNED), target(9, MIRL_POINTER_HOST);
  device::resetCurrentDevice();
  const MirlImage image = toImage(randomPixels<Byte>(9, 9, 1, 1));
  EXPECT_EQ(calcHist(image, device), MIRL_IMAGE_NOT_INITIALIZED);
  EXPECT_EQ(device.release(), MIRL_DEVICE_FREE_FAILED);
  EXPECT_TRUE(isEmpty(MirlHistogram(device)));
  target = device;
  EXPECT_EQ(target.binCount(), 9);
  device = target;
  EXPECT_EQ(device.binCount(), 256);
  EXPECT_EQ(calcHist(image, host), MIRL_SUCCESS);
  EXPECT_EQ(calcHist(image, pinned), MIRL_SUCCESS);
  const MirlHistogram moved(std::move(device));
  EXPECT_TRUE(isEmpty(device));  // NOLINT(bugprone-use-after-move)
}

TEST_P(Histogram, SeveralThreadsAddToOne) {
  const auto pixels = randomPixels<Byte>(811, 611, 3, 4);
  const MirlImage image = toImage(pixels);
  MirlHistogram histogram(MIRL_8U_C3, MIRL_POINTER_DEVICE);
  onThreads(3, [&](int) {
    const MirlStream stream(true);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(calcHist(image, histogram, stream), MIRL_SUCCESS);
    stream.sync();
  });
  EXPECT_EQ(binsOf(histogram), countsOf(pixels, 768, 15));
}

}  // namespace
}  // namespace mirl::test
