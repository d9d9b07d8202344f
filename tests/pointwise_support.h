#pragma once

// What the tests of point operations share: the comparison with a formula for one pixel.

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

/// The formula for a pixel from one for an element.
template <class D, class Formula>
auto each(int channels, const Formula& formula) {
  return [=](const auto* in, D* out) {
    for (int c = 0; c < channels; ++c) out[c] = static_cast<D>(formula(in[c]));
  };
}

/// Sizes, pitches, an image that goes past the caches, one with everything in one row, and in place
/// where the formats agree.
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
  expectFor(randomPixels<S>(100003, 1, inChannels, seed++), 0, 0);
  {
    const PastCaches past;
    expectFor(randomPixels<S>(4099, 43, inChannels, seed++), 0, 0);
    expectFor(odd, odd.rowBytes() + 1, 61 * channels * static_cast<int>(sizeof(D)) + 3);
  }
  if (!std::is_same_v<S, D> || inChannels != channels) return;
  const auto pixels = randomPixels<S>(257, 67, channels, seed);
  MirlImage self = toImage(pixels, pixels.rowBytes() + 1);
  EXPECT_EQ(run(self, self), MIRL_SUCCESS);
  EXPECT_TRUE(holds(self, mapped<D>(pixels, channels, formula))) << "in place";
}

using Function = std::function<MirlStatus(const MirlImage&, MirlImage&, const MirlStream&)>;

/// A function with its arguments between the images and the stream.
template <class F, class... In>
auto with(F* run, In... in) {
  return [=](const MirlImage& source, MirlImage& out, const MirlStream& stream = MirlStream()) {
    return run(source, out, in..., stream);
  };
}

}  // namespace mirl::test
