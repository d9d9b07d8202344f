#include <mirl/dataExchange.h>

#include "core/elements.h"
#include "core/outputs.h"
#include "engine/dispatch.h"
#include "engine/map.h"
#include "engine/numbers/bits.h"
#include "engine/numbers/conversions.h"

#include <algorithm>

namespace mirl::dataExchange {
namespace {

using engine::Channels;
using engine::Combination;

/// What the limits of a channel mean for whole numbers: elements up to `below` become `lower`, and
/// of the others those above `upper` become that.
template <class T>
struct Limits {
  enum { kBelow, kLower, kUpper, kCount };
  using Parameter = engine::Pixel<T, kCount>;

  /// No element is below a limit of 0 or less, but 0 may count as one: it becomes 0.
  static Parameter of(float lower, float upper) {
    const unsigned maximum = engine::kGreatest<T>;
    const auto limited = [&](double value) {
      return static_cast<T>(core::limitedTo(value, maximum));
    };
    return {{limited(std::ceil(static_cast<double>(lower)) - 1), limited(lower),
             upper != upper ? static_cast<T>(maximum) : limited(upper)}};
  }
};

template <class T, int N>
struct kernel_thresh {
  using Parameter = typename Limits<T>::Parameter;
  static constexpr engine::Asks asks{.channels = true};
  engine::PerChannel<Parameter, N> channels;

  MIRL_HD T operator()(const Parameter& limits, T element) const {
    const T upper = limits.v[Limits<T>::kUpper];
    const T limited = element < upper ? element : upper;
    return engine::select(element <= limits.v[Limits<T>::kBelow], limits.v[Limits<T>::kLower],
                          limited);
  }
};

}  // namespace

MirlStatus threshold(const MirlImage& source, MirlImage& destination, const MirlScalar& lower,
                     const MirlScalar& upper, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  const core::Format format = core::like(source);
  const MirlStatus fits = core::compare(destination, format);
  if (fits != MIRL_SUCCESS) return fits;
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination}, format, queue);
  if (ready != MIRL_SUCCESS) return ready;

  const auto run = [&]<class T, int N>(Combination<T>, Channels<N>) {
    kernel_thresh<T, N> kernel;
    for (int c = 0; c < N; ++c) {
      kernel.channels.of[c] =
          Limits<T>::of(static_cast<float>(lower[c]), static_cast<float>(upper[c]));
    }
    engine::map(queue, kernel, engine::elementsOf<T>(destination),
                engine::elementsOf<const T>(source));
  };
  const bool served = engine::visitPixels<1, 3>(engine::Integers{}, engine::typesOf(source), run);
  return served ? MIRL_SUCCESS : MIRL_MISMATCH;
}

}  // namespace mirl::dataExchange
