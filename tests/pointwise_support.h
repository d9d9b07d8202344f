#pragma once

// What the tests of point operations share: the comparison with a formula for one pixel, and the
// statuses that all of them have.

#include <functional>

#include "support.h"

namespace mirl::test {

/// `formula(in, out)` gets pointers to a pixel's channels.
template <class D, class S, class Formula>
Pixels<D> mapped(const Pixels<S>& in, int channels, const Formula& formula) {
  Pixels<D> out(in.width, in.height, channels);
  const S* from = in.values.data();
  D* to = out.values.data();
  for (; from != in.values.data() + in.values.size(); from += in.channels, to += channels) {
    formula(from, to);
  }
  return out;
}

/// Sizes, pitches, an image that goes past the caches, and one with everything in one row.
template <class D, class S, class Run, class Formula>
void expectPointwise(const Run& run, int inChannels, int channels, const Formula& formula) {
  const auto expectFor = [&](const Pixels<S>& in, int pitch, int outPitch) {
    expectInto(run, in, mapped<D>(in, channels, formula), pitch, outPitch);
  };
  unsigned seed = 1;
  for (const MirlSize& size : awkwardSizes()) {
    expectFor(randomPixels<S>(size.width, size.height, inChannels, seed++), 0, 0);
  }
  const auto odd = randomPixels<S>(61, 7, inChannels, seed++);
  forOddPitches(odd.rowBytes(), 61 * channels * static_cast<int>(sizeof(D)),
                [&](int pitch, int outPitch) { expectFor(odd, pitch, outPitch); });
  const int pixelBytes =
      inChannels * static_cast<int>(sizeof(S)) + channels * static_cast<int>(sizeof(D));
  expectFor(randomPixels<S>(4099, (40 << 20) / 4099 / pixelBytes, inChannels, seed++), 0, 0);
  expectFor(randomPixels<S>(100003, 1, inChannels, seed), 0, 0);
}

using Run = std::function<MirlStatus(const MirlImage&, MirlImage&, const MirlStream&)>;

/// A function with its arguments between the images and the stream.
template <class Function, class... In>
auto with(Function* run, In... in) {
  return [=](const MirlImage& source, MirlImage& out, const MirlStream& stream = MirlStream()) {
    return run(source, out, in..., stream);
  };
}

/// What an operation from one image to another promises.
struct Promises {
  const char* name;
  Run run;
  MirlType good;  ///< a type of the source that is served
  /// The status for a source and a live destination of its size, null for an empty one.
  std::function<MirlStatus(const MirlImage& source, const MirlImage* out)> status;
  /// Depth and channels that an empty destination gets; no channels where it stays empty.
  std::function<std::pair<int, int>(const Format& source)> created;
};

inline bool fits(const MirlImage& source, const MirlImage* out) {
  return !out || (source.depth() == out->depth() && source.channels() == out->channels());
}

inline void expectStatusesOfTypes(const Promises& op) {
  SCOPED_TRACE(op.name);
  int successes = 0;
  for (const Format& from : allFormats()) {
    const MirlImage source = noiseImage({5, 3}, from.depth, from.channels, 1);
    for (const Format& to : allFormats()) {
      SCOPED_TRACE(testing::Message() << from.type << " to " << to.type);
      const MirlImage out(5, 3, to.type);
      const MirlStatus status = op.status(source, &out);
      successes += status == MIRL_SUCCESS;
      expectStatus(out, status, false,
                   [&](MirlImage& image) { return op.run(source, image, MirlStream()); });
    }
    MirlImage made;
    EXPECT_EQ(op.run(source, made, MirlStream()), op.status(source, nullptr)) << from.type;
    const auto [depth, channels] = op.created(from);
    ASSERT_EQ(made.isInitialized(), channels != 0) << from.type;
    if (channels == 0) continue;
    EXPECT_EQ(made.type(), depthAndChannelsToType(std::abs(depth), channels, depth < 0));
    EXPECT_EQ(made.device(), device::getCurentDevice());
  }
  EXPECT_GT(successes, 0);
}

/// Failures that don't depend on types, and one image as source and destination where its type is
/// the one of both.
inline void expectCommonRules(const Promises& op) {
  SCOPED_TRACE(op.name);
  const MirlImage empty, source(7, 5, op.good);
  MirlImage made;
  ASSERT_EQ(op.run(source, made, MirlStream()), MIRL_SUCCESS);
  const MirlImage wide(8, 5, made.type()), tall(7, 6, made.type());
  const MirlStream dead = deadStream();
  const auto expect = [&](const MirlImage& from, const MirlImage& to, const MirlStream& stream,
                          MirlStatus status) {
    expectStatus(to, status, false, [&](MirlImage& out) { return op.run(from, out, stream); });
  };
  expect(empty, wide, dead, MIRL_IMAGE_NOT_INITIALIZED);
  expect(empty, empty, dead, MIRL_IMAGE_NOT_INITIALIZED);
  expect(source, wide, dead, MIRL_INVALID_ARGUMENT);
  expect(source, empty, dead, MIRL_INVALID_ARGUMENT);
  expect(source, wide, MirlStream(), MIRL_MISMATCH);
  expect(source, tall, MirlStream(), MIRL_MISMATCH);
  {
    const FailNth fail(runtime::Call::allocate);
    MirlImage none;
    EXPECT_EQ(op.run(source, none, MirlStream()), MIRL_DEVICE_ALLOC_FAILED);
    EXPECT_FALSE(none.isInitialized());
  }
  if (made.type() == source.type()) {
    MirlImage self = noiseImage({257, 67}, source.depth(), source.channels(), 1,
                                257 * source.channels() * source.depth() / 8 + 1);
    MirlImage out;
    EXPECT_EQ(op.run(self, out, MirlStream()), MIRL_SUCCESS);
    EXPECT_EQ(op.run(self, self, MirlStream()), MIRL_SUCCESS);
    EXPECT_EQ(bytesOf(self), bytesOf(out));
  }
  if (device::getDeviceCount() < 2) return;
  const int here = device::getCurentDevice();
  ASSERT_EQ(device::setCurrentDevice((here + 1) % device::getDeviceCount()), MIRL_SUCCESS);
  const MirlImage there(7, 5, made.type());
  const MirlStream away(true);
  expect(source, there, MirlStream(), MIRL_MISMATCH);
  expect(source, empty, away, MIRL_MISMATCH);
  ASSERT_EQ(device::setCurrentDevice(here), MIRL_SUCCESS);
}

}  // namespace mirl::test
