#include <mirl/colorOperations.h>

#include "core/outputs.h"
#include "engine/numbers/bits.h"
#include "engine/stencil.h"

#include <cstdint>
#include <type_traits>

namespace mirl::colorOperations {
namespace {

using engine::Pixel;
using engine::select;

/// Where the red samples are: in every second column and row from these on. Those of blue are
/// diagonal to them.
struct RedSite {
  int x;
  int y;
};

/// The colours that a pixel's neighbours tell, as sums: green at a red or blue sample and there the
/// colour diagonal to it, and at a green one the colours beside and above it.
template <class Sum>
struct Guess {
  Sum green, diagonal, beside, above;
};

/// Means of the nearest samples, of green without those beside where it falls to the right.
template <class T>
struct Bilinear {
  static constexpr engine::Halo halo{.across = 2, .down = 1};
  using Sum = T;
  static constexpr int kBits = 0;

  template <class Neighbours>
  MIRL_HD static Guess<Sum> guess(const Neighbours& n) {
    const T above = engine::meanOf(n(0, -1), n(0, 1));
    const T cross = engine::meanOf(n(-1, 0), n(1, 0), n(0, -1), n(0, 1));
    return {select(n(2, 0) < n(-2, 0), above, cross),
            engine::meanOf(n(-1, -1), n(1, -1), n(-1, 1), n(1, 1)),
            engine::meanOf(n(-1, 0), n(1, 0)), above};
  }
};

/// Malvar, He, Cutler, "High-quality linear interpolation for demosaicing of Bayer-patterned color
/// images" (2004): the nearest samples corrected by how the pixel's own colour bends, times 16.
template <class T>
struct HighQuality {
  static constexpr engine::Halo halo{.across = 2, .down = 2};
  using Sum = std::conditional_t<sizeof(T) == 1, std::int16_t, std::int32_t>;
  static constexpr int kBits = 4;

  template <class Neighbours>
  MIRL_HD static Guess<Sum> guess(const Neighbours& n) {
    const auto beside = static_cast<Sum>(n(-1, 0) + n(1, 0));
    const auto above = static_cast<Sum>(n(0, -1) + n(0, 1));
    const auto farBeside = static_cast<Sum>(n(-2, 0) + n(2, 0));
    const auto farAbove = static_cast<Sum>(n(0, -2) + n(0, 2));
    const auto diagonal = static_cast<Sum>(n(-1, -1) + n(1, -1) + n(-1, 1) + n(1, 1));
    const auto far = static_cast<Sum>(farBeside + farAbove);
    const auto own = static_cast<Sum>(n(0, 0));
    const auto atGreen = static_cast<Sum>(10 * own - 2 * diagonal);
    return {static_cast<Sum>(4 * (beside + above) + 8 * own - 2 * far),
            static_cast<Sum>(4 * diagonal + 12 * own - 3 * far),
            static_cast<Sum>(atGreen + 8 * beside - 2 * farBeside + farAbove),
            static_cast<Sum>(atGreen + 8 * above - 2 * farAbove + farBeside)};
  }
};

/// Blue, green and red. A sum below 0 means 0; what comes out above `maximum` is limited to it, and
/// so are samples of the mosaic.
template <class T, template <class> class Method>
struct kernel_bayer2rgb {
  static constexpr engine::Asks asks{.place = true};
  static constexpr engine::Halo halo = Method<T>::halo;
  using Sum = typename Method<T>::Sum;
  using Bits = std::make_unsigned_t<Sum>;

  RedSite red;
  T maximum;

  template <class Neighbours>
  MIRL_HD Pixel<T, 3> operator()(engine::Place at, const Neighbours& n) const {
    const Guess<Sum> guess = Method<T>::guess(n);
    const auto own = static_cast<Sum>(n(0, 0) << Method<T>::kBits);
    const bool inRedRow = ((at.y ^ red.y) & 1) == 0;
    const auto first = static_cast<Bits>(at.y ^ red.x ^ red.y);
    const bool isGreen = static_cast<Bits>((static_cast<Bits>(at.x) ^ first) & 1) != 0;
    // The colour whose samples are in this row, and that of the rows above and below.
    const T colour = valueOf(isGreen, guess.beside, own);
    const T other = valueOf(isGreen, guess.above, guess.diagonal);
    return {select(inRedRow, other, colour), valueOf(isGreen, own, guess.green),
            select(inRedRow, colour, other)};
  }

 private:
  MIRL_HD T valueOf(bool isFirst, Sum first, Sum second) const {
    const auto sum =
        static_cast<Sum>(select(isFirst, static_cast<Bits>(first), static_cast<Bits>(second)));
    const Sum positive = sum > 0 ? sum : Sum{0};
    const auto value = static_cast<Bits>(static_cast<Bits>(positive) >> Method<T>::kBits);
    const Bits limit = maximum;
    return static_cast<T>(value < limit ? value : limit);
  }
};

template <class T, template <class> class Method>
void run(const runtime::Queue& queue, const MirlImage& mosaic, const MirlImage& out,
         const RedSite& red, T maximum) {
  engine::stencil<1, engine::NearestElement>(queue, kernel_bayer2rgb<T, Method>{red, maximum},
                                             engine::pixelsOf<T, 3>(out),
                                             engine::elementsOf<const T>(mosaic));
}

}  // namespace

MirlStatus demosaic(const MirlImage& source, MirlImage& destination, MirlBayerSeq sequence,
                    const MirlStream& stream) {
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

  const auto queued = [&](const RedSite& red, bool isHighQuality) {
    if (depth == 8) {
      const auto demosaiced =
          isHighQuality ? run<std::uint8_t, HighQuality> : run<std::uint8_t, Bilinear>;
      demosaiced(queue, source, destination, red, 255);
    } else {
      const auto demosaiced =
          isHighQuality ? run<std::uint16_t, HighQuality> : run<std::uint16_t, Bilinear>;
      demosaiced(queue, source, destination, red,
                 static_cast<std::uint16_t>(core::greatestElement(source)));
    }
    return MIRL_SUCCESS;
  };
  switch (sequence) {
    case MIRL_BAYER_BGGR:
    case MIRL_BAYER_BGGR_HQ:
      return queued({1, 1}, sequence == MIRL_BAYER_BGGR_HQ);
    case MIRL_BAYER_GBRG:
    case MIRL_BAYER_GBRG_HQ:
      return queued({0, 1}, sequence == MIRL_BAYER_GBRG_HQ);
    case MIRL_BAYER_GRBG:
    case MIRL_BAYER_GRBG_HQ:
      return queued({1, 0}, sequence == MIRL_BAYER_GRBG_HQ);
    case MIRL_BAYER_RGGB:
    case MIRL_BAYER_RGGB_HQ:
      return queued({0, 0}, sequence == MIRL_BAYER_RGGB_HQ);
  }
  return MIRL_MISMATCH;
}

}  // namespace mirl::colorOperations
