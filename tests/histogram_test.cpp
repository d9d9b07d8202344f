// MirlHistogram and calcHist.

#include <array>

#include "runtime/runtime.h"
#include "support.h"

namespace mirl::test {
namespace {

using imageStatistics::calcHist;
using Bins = std::vector<unsigned int>;

class Histogram : public DeviceTest {};

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
  const struct {
    MirlType type;
    int bins;
  } types[] = {{MIRL_8U_C1, 256}, {MIRL_8U_C3, 768}, {MIRL_16U_C1, 65536}, {MIRL_16U_C3, 196608}};
  for (const MirlPointerType location : kLocations) {
    SCOPED_TRACE("location " + std::to_string(location));
    for (const auto& [type, bins] : types) {
      MirlHistogram histogram(type, location);
      ASSERT_TRUE(histogram.isInitialized());
      EXPECT_EQ(histogram.type(), type);
      EXPECT_EQ(histogram.location(), location);
      EXPECT_EQ(binsOf(histogram), Bins(static_cast<std::size_t>(bins), 0));
      const unsigned* const own = histogram.hist();
      EXPECT_EQ(histogram.create(MIRL_32F_C1, MIRL_POINTER_HOST), MIRL_SUCCESS);
      EXPECT_EQ(histogram.create(256, MIRL_POINTER_HOST), MIRL_INVALID_ARGUMENT);
      EXPECT_EQ(histogram.hist(), own);
      EXPECT_EQ(histogram.release(), MIRL_SUCCESS);
      EXPECT_TRUE(isEmpty(histogram));
      EXPECT_EQ(histogram.release(), MIRL_SUCCESS);
    }
    const MirlHistogram counted(5, location);
    EXPECT_EQ(counted.type(), -2);
    EXPECT_EQ(binsOf(counted), Bins(5, 0));
  }
}

TEST_P(Histogram, RefusesToCreate) {
  const auto nowhere = static_cast<MirlPointerType>(3);
  MirlHistogram histogram;
  EXPECT_TRUE(isEmpty(histogram));
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
  EXPECT_TRUE(isEmpty(histogram));
  EXPECT_TRUE(isEmpty(MirlHistogram(-5, MIRL_POINTER_HOST)));

  using runtime::Call;
  const std::tuple<Call, MirlPointerType, MirlStatus> creations[] = {
      {Call::allocate, MIRL_POINTER_DEVICE, MIRL_DEVICE_ALLOC_FAILED},
      {Call::fill, MIRL_POINTER_DEVICE, MIRL_MEMSET_FAILED},
      {Call::pinned, MIRL_POINTER_PINNED, MIRL_HOST_REGISTER_FAILED}};
  for (const auto& [call, location, status] : creations) {
    const FailNth failing(call);
    EXPECT_EQ(histogram.create(MIRL_8U_C3, location), status);
    EXPECT_TRUE(isEmpty(histogram));
  }
  const std::tuple<Call, MirlPointerType, MirlStatus> releases[] = {
      {Call::free, MIRL_POINTER_DEVICE, MIRL_DEVICE_FREE_FAILED},
      {Call::pinned, MIRL_POINTER_PINNED, MIRL_HOST_UNREGISTER_FAILED}};
  for (const auto& [call, location, status] : releases) {
    MirlHistogram live(256, location);
    const FailNth failing(call);
    EXPECT_EQ(live.release(), status);
    EXPECT_EQ(binsOf(live), Bins(256, 0));
  }
}

TEST_P(Histogram, CopiesDuplicateAndMovesMove) {
  const auto pixels = randomPixels<Byte>(31, 17, 3, 1);
  const MirlImage image = toImage(pixels);
  const Bins expected = countsOf(pixels, 768);
  for (const MirlPointerType location : kLocations) {
    SCOPED_TRACE("location " + std::to_string(location));
    MirlHistogram a(MIRL_8U_C3, location);
    EXPECT_EQ(calcHist(image, a), MIRL_SUCCESS);
    MirlHistogram b(a);
    EXPECT_NE(b.hist(), a.hist());
    EXPECT_EQ(b.type(), MIRL_8U_C3);
    EXPECT_EQ(b.location(), location);
    EXPECT_EQ(binsOf(b), expected);

    MirlHistogram c(7, MIRL_POINTER_HOST);
    c = a;
    const MirlHistogram& itself = c;
    c = itself;
    EXPECT_EQ(binsOf(c), expected);
    const unsigned* const own = c.hist();
    const MirlHistogram d(std::move(c));
    EXPECT_EQ(d.hist(), own);
    EXPECT_TRUE(isEmpty(c));  // NOLINT(bugprone-use-after-move)
    b = std::move(a);
    EXPECT_TRUE(isEmpty(a));  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(binsOf(b), expected);
    MirlHistogram& same = b;
    b = std::move(same);
    EXPECT_EQ(binsOf(b), expected);

    if (location == MIRL_POINTER_DEVICE) {
      for (const auto call : {runtime::Call::allocate, runtime::Call::copy}) {
        const FailNth failing(call);
        EXPECT_TRUE(isEmpty(MirlHistogram(b)));
      }
      const MirlHistogram other(9, location);
      {
        const FailNth failing(runtime::Call::allocate);
        b = other;
      }
      EXPECT_EQ(binsOf(b), expected) << "no copy could be made";
      const FailNth failing(runtime::Call::free);
      b = other;
      EXPECT_EQ(binsOf(b), expected) << "its bins couldn't be given back";
    }
    b = MirlHistogram();
    EXPECT_TRUE(isEmpty(b));
  }
}

TEST_P(Histogram, CountsEverySizeAndPitch) {
  unsigned seed = 1;
  std::vector<MirlSize> sizes = awkwardSizes();
  sizes.insert(sizes.end(), {{1021, 509}, {30011, 5}, {1, 40013}});
  for (const int channels : {1, 3}) {
    for (const MirlSize& size : sizes) {
      const auto pixels = randomPixels<Byte>(size.width, size.height, channels, seed++);
      for (const int extra : {-1, 1, 16}) {
        SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << "x" << channels);
        MirlHistogram histogram;
        const MirlImage image = toImage(pixels, extra < 0 ? 0 : pixels.rowBytes() + extra);
        ASSERT_EQ(calcHist(image, histogram), MIRL_SUCCESS);
        EXPECT_EQ(histogram.type(), typeOf<Byte>(channels));
        EXPECT_EQ(histogram.location(), MIRL_POINTER_HOST);
        EXPECT_EQ(binsOf(histogram), countsOf(pixels, channels == 1 ? 256 : 768));
      }
    }
  }
  MirlHistogram fives;
  EXPECT_EQ(calcHist(toImage(Pixels<Byte>(10, 10, 1, 5)), fives), MIRL_SUCCESS);
  for (int v = 0; v < 256; ++v) EXPECT_EQ(fives.hist()[v], v == 5 ? 100u : 0u);
}

TEST_P(Histogram, DeviceBinsAddUpAndOthersAreReplaced) {
  const auto pixels = randomPixels<Byte>(61, 43, 3, 2);
  const auto grays = randomPixels<Byte>(61, 43, 1, 3);
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
  const struct {
    MirlType type;
    int bins;  // 0 for an empty histogram
    MirlStatus status;
  } rows[] = {
      {MIRL_8U_C1, 256, kGood},       {MIRL_8U_C1, 768, kGood},       {MIRL_8U_C1, 255, kMismatch},
      {MIRL_8U_C3, 256, kMismatch},   {MIRL_8U_C3, 1024, kMismatch},  {MIRL_8U_C2, 0, kMismatch},
      {MIRL_8U_C4, 0, kMismatch},     {MIRL_8S_C1, 0, kMismatch},     {MIRL_8U_C4, 100, kMismatch},
      {MIRL_8U_C4, 256, kNoChannels}, {MIRL_8U_C2, 768, kNoChannels}, {MIRL_16U_C1, 0, kNoDepth},
      {MIRL_16U_C1, 65536, kNoDepth}, {MIRL_32F_C3, 100, kNoDepth}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "type " << row.type << ", bins " << row.bins);
    const MirlImage image(MirlSize(9, 4), row.type);
    for (const MirlPointerType location : kLocations) {
      MirlHistogram histogram(row.bins, location);
      EXPECT_EQ(calcHist(MirlImage(), histogram, dead), MIRL_IMAGE_NOT_INITIALIZED);
      EXPECT_EQ(calcHist(image, histogram, dead), row.status == MIRL_DEPTH_NOT_SUPPORTED
                                                      ? MIRL_DEPTH_NOT_SUPPORTED
                                                      : MIRL_INVALID_ARGUMENT);
      EXPECT_EQ(calcHist(image, histogram, alive), row.status);
      EXPECT_EQ(histogram.binCount(), row.bins);
    }
  }

  const MirlImage image = toImage(randomPixels<Byte>(9, 4, 3, 1));
  const std::pair<runtime::Call, MirlStatus> faults[] = {
      {runtime::Call::allocate, MIRL_DEVICE_ALLOC_FAILED},
      {runtime::Call::fill, MIRL_MEMSET_FAILED},
      {runtime::Call::copy, MIRL_COPY_D2H_FAILED}};
  for (const auto& [call, status] : faults) {
    MirlHistogram empty, live(768, MIRL_POINTER_HOST);
    for (MirlHistogram* histogram : {&empty, &live}) {
      const FailNth failing(call);
      EXPECT_EQ(calcHist(image, *histogram, alive), status);
    }
    EXPECT_TRUE(isEmpty(empty));
    EXPECT_EQ(binsOf(live), Bins(768, 0));
  }

  if (device::getDeviceCount() > 1) {
    MirlHistogram here(768, MIRL_POINTER_DEVICE);
    device::setCurrentDevice(GetParam() == 0 ? 1 : 0);
    MirlHistogram there(768, MIRL_POINTER_DEVICE);
    EXPECT_EQ(calcHist(image, there), MIRL_MISMATCH);
    EXPECT_EQ(calcHist(image, here, MirlStream(true)), MIRL_MISMATCH);
    EXPECT_EQ(calcHist(image, here), MIRL_SUCCESS) << "whatever the current device is";
    device::setCurrentDevice(GetParam());
  }
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

MIRL_TEST_ON_ALL_DEVICES(Histogram);

}  // namespace
}  // namespace mirl::test
