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

/// Any pixels, also in rows that begin at any byte. Sizes are the business of the test of all
/// operations.
template <class D, class S, class Run, class Formula>
void expectPointwise(const Run& run, int inChannels, int channels, const Formula& formula) {
  const auto in = randomPixels<S>(257, 67, inChannels, 1);
  const auto want = mapped<D>(in, channels, formula);
  expectInto(run, in, want);
  expectInto(run, in, want, in.rowBytes() + 1, want.rowBytes() + 3);
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
