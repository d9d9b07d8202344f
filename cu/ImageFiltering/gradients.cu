#include <mirl/imageFiltering.h>

#include "core/outputs.h"
#include "engine/stencil.h"

#include <cstdint>
#include <type_traits>

namespace mirl::imageFiltering {
namespace {

/// What differences of elements are: of bytes they fill 16 bits at most, so that vectors hold many.
template <class T>
using Number = std::conditional_t<std::is_same_v<T, float>, float, std::int16_t>;

using Pair = engine::Pixel<float, 2>;

template <class T>
struct kernel_central {
  static constexpr engine::Halo halo{.across = 1, .down = 1};

  template <class Neighbours>
  MIRL_HD Pair operator()(const Neighbours& n) const {
    const auto difference = [](T after, T before) {
      return static_cast<float>(static_cast<Number<T>>(after - before));
    };
    return {difference(n(1, 0), n(-1, 0)), difference(n(0, 1), n(0, -1))};
  }
};

/// The row above minus the row below, and the column to the right minus that to the left, each
/// with weights w1, w2, w1.
template <class T, int w1, int w2>
struct kernel_weighted {
  static constexpr engine::Halo halo{.across = 1, .down = 1};

  template <class Neighbours>
  MIRL_HD Pair operator()(const Neighbours& n) const {
    return {difference(n(-1, -1), n(0, -1), n(1, -1), n(-1, 1), n(0, 1), n(1, 1)),
            difference(n(1, -1), n(1, 0), n(1, 1), n(-1, -1), n(-1, 0), n(-1, 1))};
  }

  /// Two sums from their first elements on, one of them of negatives, added last.
  MIRL_HD static float difference(T a, T b, T c, T minusA, T minusB, T minusC) {
    const Number<T> plus = added(added(times<w1>(a), times<w2>(b)), times<w1>(c));
    const auto first = static_cast<Number<T>>(-times<w1>(minusA));
    const Number<T> minus = taken(taken(first, times<w2>(minusB)), times<w1>(minusC));
    return static_cast<float>(added(plus, minus));
  }

 private:
  template <int weight>
  MIRL_HD static Number<T> times(T element) {
    return static_cast<Number<T>>(static_cast<Number<T>>(weight) * static_cast<Number<T>>(element));
  }
  MIRL_HD static Number<T> added(Number<T> a, Number<T> b) { return static_cast<Number<T>>(a + b); }
  MIRL_HD static Number<T> taken(Number<T> a, Number<T> b) { return static_cast<Number<T>>(a - b); }
};

template <class T>
using kernel_sobel3 = kernel_weighted<T, 1, 2>;
template <class T>
using kernel_scharr = kernel_weighted<T, 3, 10>;
template <class T>
using kernel_prewitt = kernel_weighted<T, 1, 1>;

template <class T, int C>
void run(const runtime::Queue& queue, const MirlImage& source, const MirlImage& first,
         const MirlImage& second, MirlGradientKernelType kernel) {
  const auto queued = [&](const auto& functor) {
    engine::stencil<C, engine::NearestElement>(
        queue, functor,
        engine::planarOf(engine::elementsOf<float>(first), engine::elementsOf<float>(second)),
        engine::elementsOf<const T>(source));
  };
  switch (kernel) {
    case MIRL_GRADIENT_CENTRAL:
      return queued(kernel_central<T>{});
    case MIRL_GRADIENT_SOBEL:
      return queued(kernel_sobel3<T>{});
    case MIRL_GRADIENT_SCHARR:
      return queued(kernel_scharr<T>{});
    case MIRL_GRADIENT_PREWITT:
      return queued(kernel_prewitt<T>{});
  }
}

}  // namespace

MirlStatus imageGradients(const MirlImage& source, MirlImage& first, MirlImage& second,
                          MirlGradientKernelType kernel, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&first, &second}, core::like(source, {.depth = 32}), queue,
                    {core::kSize, core::kChannels});
  if (ready != MIRL_SUCCESS) return ready;

  const int depth = source.depth(), channels = source.channels();
  if (depth != 8 && depth != 32) return MIRL_MISMATCH;
  if (first.depth() != 32 || second.depth() != 32) return MIRL_MISMATCH;
  if (channels != 1 && channels != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  if (&source == &first || &source == &second || &first == &second) {
    return MIRL_IN_PLACE_NOT_SUPPORTED;
  }
  const auto gradients = depth == 8 ? (channels == 1 ? run<std::uint8_t, 1> : run<std::uint8_t, 3>)
                                    : (channels == 1 ? run<float, 1> : run<float, 3>);
  gradients(queue, source, first, second, kernel);
  return MIRL_SUCCESS;
}

}  // namespace mirl::imageFiltering
