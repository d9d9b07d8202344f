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

/// Weighted sums are whole numbers that 16 bits hold for bytes.
template <class T>
using Sum = std::conditional_t<sizeof(T) == 1, std::int16_t, std::int32_t>;

/// The colours that a pixel's neighbours tell: green at a red or blue sample and there the colour
/// diagonal to it, and at a green one the colours beside and above it.
template <class T>
struct Guess {
  Sum<T> green, diagonal, beside, above;
};

/// Means of the nearest samples, of green without those beside where it falls to the right.
template <class T>
struct Bilinear {
  static constexpr engine::Halo halo{.across = 2, .down = 1};

  template <class Neighbours>
  MIRL_HD static Guess<T> guess(const Neighbours& n) {
    const auto beside = static_cast<Sum<T>>(n(-1, 0) + n(1, 0));
    const auto above = static_cast<Sum<T>>(n(0, -1) + n(0, 1));
    const auto diagonal = static_cast<Sum<T>>(n(-1, -1) + n(1, -1) + n(-1, 1) + n(1, 1));
    const auto halfAbove = static_cast<Sum<T>>(above >> 1);
    const auto cross = static_cast<Sum<T>>((beside + above) >> 2);
    return {n(2, 0) >= n(-2, 0) ? cross : halfAbove, static_cast<Sum<T>>(diagonal >> 2),
            static_cast<Sum<T>>(beside >> 1), halfAbove};
  }
};

/// Malvar, He, Cutler, "High-quality linear interpolation for demosaicing of Bayer-patterned color
/// images" (2004): the nearest samples corrected by how the pixel's own colour bends. A sum below 0
/// means 0.
template <class T>
struct HighQuality {
  static constexpr engine::Halo halo{.across = 2, .down = 2};

  template <class Neighbours>
  MIRL_HD static Guess<T> guess(const Neighbours& n) {
    const auto beside = static_cast<Sum<T>>(n(-1, 0) + n(1, 0));
    const auto above = static_cast<Sum<T>>(n(0, -1) + n(0, 1));
    const auto farBeside = static_cast<Sum<T>>(n(-2, 0) + n(2, 0));
    const auto farAbove = static_cast<Sum<T>>(n(0, -2) + n(0, 2));
    const auto diagonal = static_cast<Sum<T>>(n(-1, -1) + n(1, -1) + n(-1, 1) + n(1, 1));
    const auto far = static_cast<Sum<T>>(farBeside + farAbove);
    const auto own = static_cast<Sum<T>>(n(0, 0));
    return {scaled<3>(2 * (beside + above) + 4 * own - far),
            scaled<4>(4 * diagonal + 12 * own - 3 * far),
            scaled<4>(8 * beside + 10 * own - 2 * diagonal - 2 * farBeside + farAbove),
            scaled<4>(8 * above + 10 * own - 2 * diagonal - 2 * farAbove + farBeside)};
  }

 private:
  template <int bits>
  MIRL_HD static Sum<T> scaled(int sum) {
    const auto number = static_cast<Sum<T>>(sum);
    return static_cast<Sum<T>>((number > 0 ? number : 0) >> bits);
  }
};

/// Blue, green and red. What comes out above `maximum` is limited to it, samples of the mosaic too.
template <class T, template <class> class Method>
struct kernel_bayer2rgb {
  static constexpr engine::Asks asks{.place = true};
  static constexpr engine::Halo halo = Method<T>::halo;

  RedSite red;
  T maximum;

  template <class Neighbours>
  MIRL_HD Pixel<T, 3> operator()(engine::Place at, const Neighbours& n) const {
    const Guess<T> guess = Method<T>::guess(n);
    const T own = limited(static_cast<Sum<T>>(n(0, 0)));
    const bool inRedRow = ((at.y ^ red.y) & 1) == 0;
    const bool isGreen = ((static_cast<T>(at.x) ^ (at.y ^ red.x ^ red.y)) & 1) != 0;
    // The colour whose samples are in this row, and that of the rows above and below.
    const T colour = select(isGreen, limited(guess.beside), own);
    const T other = select(isGreen, limited(guess.above), limited(guess.diagonal));
    return {select(inRedRow, other, colour), select(isGreen, own, limited(guess.green)),
            select(inRedRow, colour, other)};
  }

 private:
  MIRL_HD T limited(Sum<T> value) const {
    return static_cast<T>(value < static_cast<Sum<T>>(maximum) ? value
                                                               : static_cast<Sum<T>>(maximum));
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
