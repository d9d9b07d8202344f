#include <mirl/colorOperations.h>

#include "core/outputs.h"
#include "engine/cascade.h"
#include "engine/numbers/bits.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

// Menon, Andriani, Calvagno, "Demosaicing with directional filtering and a posteriori decision"
// (2007), in three passes over the image, all of which happen in one.
//
// The definition is in floats: estimates with weights of 0.5 and 0.25, sums of their differences,
// halves. All of these are multiples of 0.25 and less than 2^20, which floats hold exactly. So
// integers four times as large, or twice, give the same in any order. Of bytes none is above the
// 5 * 4 * 255 of five differences: 16 bits do.

namespace mirl::colorOperations {
namespace {

using engine::Place;
using engine::select;

/// What the stages know of the mosaic. Red samples are in every second column and row from (redX,
/// redY) on, and those of blue diagonal to them.
template <class T>
struct Mosaic {
  using Sum = std::conditional_t<sizeof(T) == 1, std::int16_t, std::int32_t>;
  using Bits = std::make_unsigned_t<Sum>;
  static constexpr int kBits = 8 * sizeof(T);

  int redX;
  int redY;
  int innerWidth;  ///< of what is inside the outermost columns and rows
  int innerHeight;
  Sum maximum;

  /// The column of a row's first red or blue sample.
  MIRL_HD int firstOther(int y) const { return (y ^ redX ^ redY) & 1; }
  MIRL_HD bool isGreen(Place at) const {
    const auto first = static_cast<Bits>(firstOther(at.y));
    return static_cast<Bits>((static_cast<Bits>(at.x) ^ first) & 1) != 0;
  }
  MIRL_HD bool inRedRow(Place at) const { return ((at.y ^ redY) & 1) == 0; }
  MIRL_HD bool isInside(Place at) const {
    return static_cast<unsigned>(at.y) - 1 < static_cast<unsigned>(innerHeight) &&
           static_cast<unsigned>(at.x) - 1 < static_cast<unsigned>(innerWidth);
  }
  MIRL_HD Sum limited(int value) const {
    const auto sum = static_cast<Sum>(value);
    const Sum positive = sum > 0 ? sum : Sum{0};
    return positive < maximum ? positive : maximum;
  }
  MIRL_HD static Sum selectSum(bool chosen, Sum a, Sum b) {
    return static_cast<Sum>(select(chosen, static_cast<Bits>(a), static_cast<Bits>(b)));
  }
  /// Two colours of a pixel in one number, and out of it.
  MIRL_HD static Bits pack(Sum first, Sum second) {
    return static_cast<Bits>(static_cast<Bits>(first) |
                             static_cast<Bits>(static_cast<Bits>(second) << kBits));
  }
  MIRL_HD static Sum firstOf(Bits both) { return static_cast<Sum>(both & ((1 << kBits) - 1)); }
  MIRL_HD static Sum secondOf(Bits both) { return static_cast<Sum>(both >> kBits); }
};

/// How much more the differences between colour and green change down the image than across, times
/// 4: those of a red or blue sample and of the next one like it.
template <class T>
struct kernel_change : Mosaic<T> {
  static constexpr engine::Halo halo{.across = 4, .down = 4};
  using Element = typename Mosaic<T>::Sum;

  MIRL_HD int firstColumn(int y) const { return this->firstOther(y); }

  template <class Samples>
  MIRL_HD Element operator()(const Samples& p) const {
    // What both differences have of the green sample between them cancels out.
    const auto across =
        static_cast<Element>(p(-2, 0) - 2 * p(-1, 0) + p(0, 0) - p(2, 0) + 2 * p(3, 0) - p(4, 0));
    const auto down =
        static_cast<Element>(p(0, -2) - 2 * p(0, -1) + p(0, 0) - p(0, 2) + 2 * p(0, 3) - p(0, 4));
    return static_cast<Element>(magnitude(down) - magnitude(across));
  }

 private:
  MIRL_HD static Element magnitude(Element x) { return static_cast<Element>(x < 0 ? -x : x); }
};

/// At a red or blue sample, twice by how much it is more than green is, and 1 more where the image
/// is smoother downward, which is where green was estimated from above and below.
template <class T>
struct kernel_green : Mosaic<T> {
  static constexpr engine::Halo halo{.across = 2, .down = 2};
  using Element = typename Mosaic<T>::Sum;

  MIRL_HD int firstColumn(int y) const { return this->firstOther(y); }

  template <class Samples, class Changes>
  MIRL_HD Element operator()(const Samples& p, const Changes& change) const {
    const auto changes = static_cast<Element>(change(0, 0) + change(2, 0) + change(0, 2) +
                                              change(-2, 0) + change(0, -2));
    const bool isDown = changes < 0;
    const auto ofBoth = [&](int distance) {
      return this->selectSum(isDown, static_cast<Element>(p(0, -distance) + p(0, distance)),
                             static_cast<Element>(p(-distance, 0) + p(distance, 0)));
    };
    const auto estimate = static_cast<Element>(2 * (p(0, 0) + ofBoth(1)) - ofBoth(2));
    const Element green = this->limited(estimate >> 2);
    const Element own = this->limited(p(0, 0));
    return static_cast<Element>(2 * (own - green) + (isDown ? 1 : 0));
  }
};

/// At a green sample, the colours of the samples beside it and of those above and below it, packed.
template <class T>
struct kernel_colours : Mosaic<T> {
  static constexpr engine::Asks asks{.place = true};
  static constexpr engine::Halo halo{.across = 1, .down = 1};
  using Element = typename Mosaic<T>::Bits;
  using Sum = typename Mosaic<T>::Sum;

  MIRL_HD int firstColumn(int y) const { return 1 - this->firstOther(y); }

  template <class Samples, class Changes, class Greens>
  MIRL_HD Element operator()(Place at, const Samples& p, const Changes&,
                             const Greens& green) const {
    const Sum own = this->limited(p(0, 0));
    const auto colour = [&](Sum before, Sum behind) {
      return this->limited(static_cast<Sum>(2 * own + (before >> 1) + (behind >> 1)) >> 1);
    };
    const Sum beside = colour(green(-1, 0), green(1, 0));
    const Sum above = colour(green(0, -1), green(0, 1));
    return select(this->isInside(at), this->pack(beside, above), this->pack(own, own));
  }
};

/// Blue, green and red.
template <class T>
struct kernel_dfpd : Mosaic<T> {
  static constexpr engine::Asks asks{.place = true};
  static constexpr engine::Halo halo{.across = 1, .down = 1};
  using Sum = typename Mosaic<T>::Sum;
  using Bits = typename Mosaic<T>::Bits;

  template <class Samples, class Changes, class Greens, class Colours>
  MIRL_HD engine::Pixel<T, 3> operator()(Place at, const Samples& p, const Changes&,
                                         const Greens& green, const Colours& colours) const {
    const Sum own = this->limited(p(0, 0));
    const bool isGreen = this->isGreen(at);
    const Bits lessGreen = engine::selectCall(
        isGreen, [] { return Bits{0}; },
        [&] { return static_cast<Bits>(static_cast<Sum>(green(0, 0)) >> 1); });
    // The colour whose samples are in this row, and that of the rows above and below.
    const Bits both = engine::selectCall(
        isGreen, [&] { return static_cast<Bits>(colours(0, 0)); },
        [&] { return this->pack(own, missing(at, own, green(0, 0), colours)); });
    const auto colour = static_cast<T>(both), other = static_cast<T>(both >> Mosaic<T>::kBits);
    const bool inRedRow = this->inRedRow(at);
    return {select(inRedRow, other, colour), static_cast<T>(own - lessGreen),
            select(inRedRow, colour, other)};
  }

 private:
  /// Of red and blue the one that a sample of the other one lacks.
  template <class Colours>
  MIRL_HD Sum missing(Place at, Sum own, Sum green, const Colours& colours) const {
    const bool isDown = (green & 1) != 0;
    const auto aboveBeside = [&](int direction) {
      const Bits both = select<Bits>(isDown, colours(0, direction), colours(direction, 0));
      return static_cast<Sum>(this->secondOf(both) - this->firstOf(both));
    };
    const auto across = static_cast<Sum>(aboveBeside(-1) + aboveBeside(1));
    const Sum more = this->selectSum(isDown, static_cast<Sum>(-across), across);
    const Sum made = this->limited(static_cast<Sum>(2 * own + more) >> 1);
    return this->selectSum(this->isInside(at), made, own);
  }
};

template <class T>
void run(const runtime::Queue& queue, const MirlImage& source, const MirlImage& out, int redX,
         int redY) {
  using Sum = typename Mosaic<T>::Sum;
  const Mosaic<T> mosaic{redX, redY, std::max(source.width() - 2, 0),
                         std::max(source.height() - 2, 0),
                         static_cast<Sum>(core::greatestElement(source))};
  engine::cascade<engine::ZeroOutside>(queue, engine::pixelsOf<T, 3>(out),
                                       engine::elementsOf<const T>(source),
                                       kernel_change<T>{mosaic}, kernel_green<T>{mosaic},
                                       kernel_colours<T>{mosaic}, kernel_dfpd<T>{mosaic});
}

}  // namespace

MirlStatus demosaicDFPD(const MirlImage& source, MirlImage& destination, MirlBayerSeq sequence,
                        bool, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.channels() != 1) return MIRL_CHANNELS_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&destination},
                    core::like(source, {.depth = source.depth(), .channels = 3}), queue,
                    {{core::kChannels, MIRL_CHANNELS_NOT_SUPPORTED}, core::kSize, core::kDepth});
  if (ready != MIRL_SUCCESS) return ready;
  const int depth = source.depth();
  if (depth != 8 && depth != 16) return MIRL_DEPTH_NOT_SUPPORTED;

  const auto queued = [&](int redX, int redY) {
    const auto demosaiced = depth == 8 ? run<std::uint8_t> : run<std::uint16_t>;
    demosaiced(queue, source, destination, redX, redY);
    return MIRL_SUCCESS;
  };
  switch (sequence) {
    case MIRL_BAYER_BGGR:
      return queued(1, 1);
    case MIRL_BAYER_GBRG:
      return queued(0, 1);
    case MIRL_BAYER_GRBG:
      return queued(1, 0);
    case MIRL_BAYER_RGGB:
      return queued(0, 0);
    default:
      return MIRL_INVALID_ARGUMENT;
  }
}

}  // namespace mirl::colorOperations
