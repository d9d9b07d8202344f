#pragma once

// The parts of resampling, where every destination pixel is sampled from a place in the source.
// Four of them make an operation, and none knows of the others:
//
// - a map says where: a `Zoom`, whose columns and rows are independent of each other, or any
//   functor `Point operator()(int x, int y) const`, or with a `FinePoint` where float isn't fine
//   enough, which tells by `kKeepsOrder` whether the places of a row's pixels rise or fall along
//   it in either coordinate, to the last bit. A pixel's centre is at its whole coordinates.
// - a sampler (Nearest, Bilinear, Cubic) says which pixels take part and how they are blended: in
//   float, along the rows first, then down the column.
// - a border rule (EdgeBorder, ZeroBorder, WithinBorder) says what stands outside the source.
// - a codec turns elements into the floats that are blended, 0 into 0, and the result into an
//   element.
//
// They are in this header, with the sampling of a single pixel that they come to. resample.h runs
// them over images.

#include "engine/device_code.h"
#include "engine/numbers/conversions.h"
#include "engine/view.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#if MIRL_KERNELS
#include "engine/cuda/words.h"
#endif

namespace mirl::engine {

/// A place in the source, a pixel's centre being at its whole coordinates.
struct Point {
  float x;
  float y;
};

/// A place within the source to the last of its bits.
struct FinePoint {
  double x;
  double y;
};

/// A coordinate along one axis: the pixel at or before it, and how far behind that it lies.
struct Position {
  int index;
  float fraction;
};

/// The position of a float coordinate. Coordinates beyond 2^30 count as that far out, and NaN as
/// far out to the left.
MIRL_HD inline Position positionOf(float coordinate) {
#if MIRL_DEVICE_PASS
  constexpr float kFar = 1073741824.0f;
  const float limited = fminf(fmaxf(coordinate, -kFar), kFar);
  const int whole = __float2int_rd(limited);
  return {whole, limited - static_cast<float>(whole)};
#else
  // As in truncateTo, arithmetic on integers is what becomes vector code; and so are conversions to
  // whole numbers, where the usual floor isn't.
  constexpr int kFar = 0x4E800000;  // the bits of 2^30
  constexpr int kInfinity = 0x7F800000;
  const int bits = std::bit_cast<int>(coordinate);
  const int magnitude = bits & 0x7FFFFFFF;
  const int isNan = (kInfinity - magnitude) >> 31;  // all bits or none
  const int sign = (bits | isNan) & ~0x7FFFFFFF;
  const auto limited = std::bit_cast<float>((magnitude < kFar ? magnitude : kFar) | sign);
  const int whole = static_cast<int>(limited);
  // Truncation has gone one too far up if what remains is negative; + 0 makes 0 of -0.
  const float rest = limited - static_cast<float>(whole) + 0.0f;
  const int step = std::bit_cast<int>(rest) >> 31;
  return {whole + step, rest - static_cast<float>(step)};
#endif
}

/// The position of a fine coordinate; all those that no image reaches, NaN too, count as -1.
MIRL_HD inline Position positionOf(double coordinate) {
  constexpr double kLast = 2147483646.0;  // the greatest index that an image may have
#if MIRL_DEVICE_PASS
  const double limited = coordinate >= 0.0 && coordinate <= kLast ? coordinate : -1.0;
#else
  // Arithmetic on integers is what becomes vector code: the sign is set of numbers below 0 and of
  // the distance to the greatest one. + 0 makes 0 of -0.
  const auto bits = std::bit_cast<std::uint64_t>(coordinate + 0.0);
  const std::uint64_t signs = bits | (std::bit_cast<std::uint64_t>(kLast) - bits);
  const auto beyond = static_cast<std::uint64_t>(static_cast<std::int64_t>(signs) >> 63);
  const auto limited =
      std::bit_cast<double>((bits & ~beyond) | (std::bit_cast<std::uint64_t>(-1.0) & beyond));
#endif
  const int index = static_cast<int>(limited);
  return {index, static_cast<float>(limited - static_cast<double>(index))};
}

/// The position of a coordinate that is known to lie behind the first pixel's centre.
template <class Real>
MIRL_HD Position positionInside(Real coordinate) {
  const int index = static_cast<int>(coordinate);
  return {index, static_cast<float>(coordinate - static_cast<Real>(index) + Real{0})};
}

/// One axis of a zoom, `source` pixels becoming `destination` pixels: pixel x comes from
/// (x + 0.5) * source / destination - 0.5. That is a ratio of whole numbers, and its floor is exact
/// for every size; the fraction is rounded to float once.
struct ZoomAxis {
  std::uint64_t source;
  std::uint64_t destination;
  std::uint64_t reciprocal;  ///< (2^64 - 1) / (2 * destination), rounded down

  MIRL_HD ZoomAxis(int source_, int destination_)
      : source(static_cast<std::uint64_t>(source_)),
        destination(static_cast<std::uint64_t>(destination_)),
        reciprocal(~std::uint64_t{0} / (2 * destination)) {}

  MIRL_HD Position at(int x) const {
    std::uint64_t remainder = 0;
    const std::uint64_t whole =
        divide((2 * static_cast<std::uint64_t>(x) + 1) * source + destination, remainder);
    // Both fit 32 bits, which GPUs convert faster.
    const auto numerator = static_cast<float>(static_cast<std::uint32_t>(remainder));
    const auto denominator = static_cast<float>(static_cast<std::uint32_t>(2 * destination));
    return {static_cast<int>(whole) - 1, numerator / denominator};
  }

  /// floor((x + 0.5) * source / destination), the nearest pixel.
  MIRL_HD int nearest(int x) const {
    std::uint64_t remainder = 0;
    return static_cast<int>(divide((2 * static_cast<std::uint64_t>(x) + 1) * source, remainder));
  }

 private:
  /// number / (2 * destination).
  MIRL_HD std::uint64_t divide(std::uint64_t number, std::uint64_t& remainder) const {
#if MIRL_DEVICE_PASS
    // GPUs have no 64-bit division. This quotient is exact or one too small.
    std::uint64_t quotient = __umul64hi(number, reciprocal);
    remainder = number - quotient * (2 * destination);
    if (remainder >= 2 * destination) {
      ++quotient;
      remainder -= 2 * destination;
    }
    return quotient;
#else
    remainder = number % (2 * destination);
    return number / (2 * destination);
#endif
  }
};

/// The map of a resize.
struct Zoom {
  ZoomAxis x;
  ZoomAxis y;
};

// A sampler has `kTaps` taps along each axis, the first one `kFirst` pixels from the position's
// index; `weigh` makes the weights of a fraction, and `blend` is the sum. V is a float, or a vector
// of them with the same operators.

struct Nearest {
  static constexpr int kTaps = 1;
  static constexpr int kFirst = 0;
  static constexpr int kWeights = 1;

  MIRL_HD static Position locate(const ZoomAxis& axis, int x) { return {axis.nearest(x), 0.0f}; }
  MIRL_HD static Position locate(float coordinate) {
    return {positionOf(coordinate + 0.5f).index, 0.0f};
  }
  MIRL_HD static void weigh(float, float (&weights)[kWeights]) { weights[0] = 1.0f; }
  template <class V>
  MIRL_HD static V blend(const V (&taps)[kTaps], const V (&)[kWeights]) {
    return taps[0];
  }
};

/// a + f * (b - a), the product not rounded before the sum: equal neighbours give their own value.
struct Bilinear {
  static constexpr int kTaps = 2;
  static constexpr int kFirst = 0;
  static constexpr int kWeights = 1;

  MIRL_HD static Position locate(const ZoomAxis& axis, int x) { return axis.at(x); }
  MIRL_HD static Position locate(float coordinate) { return positionOf(coordinate); }
  MIRL_HD static Position locate(double coordinate) { return positionOf(coordinate); }
  MIRL_HD static void weigh(float fraction, float (&weights)[kWeights]) { weights[0] = fraction; }
  template <class V>
  MIRL_HD static V blend(const V (&taps)[kTaps], const V (&weights)[kWeights]) {
    return fusedMultiplyAdd(weights[0], taps[1] - taps[0], taps[0]);
  }
};

/// The cubic through four neighbours (Lagrange), summed from the first on, each product but the
/// first not rounded before its sum.
struct Cubic {
  static constexpr int kTaps = 4;
  static constexpr int kFirst = -1;
  static constexpr int kWeights = 4;

  MIRL_HD static Position locate(const ZoomAxis& axis, int x) { return axis.at(x); }
  MIRL_HD static Position locate(float coordinate) { return positionOf(coordinate); }
  MIRL_HD static void weigh(float fraction, float (&weights)[kWeights]) {
    const float before = fraction + 1.0f;
    const float after = fraction - 1.0f;
    const float last = fraction - 2.0f;
    weights[0] = fraction * after * last * (-1.0f / 6.0f);
    weights[1] = before * after * last * 0.5f;
    weights[2] = before * fraction * last * -0.5f;
    weights[3] = before * fraction * after * (1.0f / 6.0f);
  }
  template <class V>
  MIRL_HD static V blend(const V (&taps)[kTaps], const V (&weights)[kWeights]) {
    V sum = taps[0] * weights[0];
    sum = fusedMultiplyAdd(taps[1], weights[1], sum);
    sum = fusedMultiplyAdd(taps[2], weights[2], sum);
    return fusedMultiplyAdd(taps[3], weights[3], sum);
  }
};

// A border rule turns any index along an axis of n pixels into that of a pixel, or into -1 where
// there is none and the value is 0; `kHasNone` tells whether it ever does the latter. A rule
// may say which positions it `reaches`; pixels from elsewhere are 0 whatever their taps are.

/// The edge pixel goes on for ever.
struct EdgeBorder {
  static constexpr bool kHasNone = false;
  static constexpr bool kReachesAll = true;
  MIRL_HD static int limit(int index, int n) { return index < 0 ? 0 : index < n ? index : n - 1; }
};

/// There is 0 outside.
struct ZeroBorder {
  static constexpr bool kHasNone = true;
  static constexpr bool kReachesAll = true;
  MIRL_HD static int limit(int index, int n) { return index < 0 || index >= n ? -1 : index; }
};

/// Only places from the first pixel's centre to the last one's have a value, the others 0.
struct WithinBorder {
  static constexpr bool kHasNone = false;
  static constexpr bool kReachesAll = false;
  MIRL_HD static int limit(int index, int n) { return EdgeBorder::limit(index, n); }
  MIRL_HD static bool reaches(const Position& position, int n) {
    return position.index >= 0 &&
           (position.index < n - 1 || (position.index == n - 1 && position.fraction == 0.0f));
  }
};

/// The codec of plain values: integers are rounded to nearest, halves up, and clamped (NaN gives
/// 0); floats are stored as they are.
template <class T>
struct PlainElements {
  static constexpr bool kIsNormalized = false;

  MIRL_HD static float load(T element) { return toFloat(element); }
  MIRL_HD static T store(float value) {
    if constexpr (std::is_same_v<T, float>) {
      return value;
    } else {
      // The float below 0.5: with 0.5 itself the sum would round up to 1 for that float.
      return static_cast<T>(truncateTo(value + 0.49999997f, kGreatest<T>));
    }
  }
};

/// The codec of integers as 0 to 1, truncated on their way back; floats as they are.
template <class T>
struct NormalizedElements {
  static constexpr bool kIsNormalized = true;

  /// element / greatest, rounded to nearest as a division would: the product with the reciprocal,
  /// whose own rounding error is the second term.
  MIRL_HD static float load(T element) {
    if constexpr (std::is_same_v<T, float>) {
      return element;
    } else {
      constexpr double kReciprocal = 1.0 / kGreatest<T>;
      constexpr auto kHigh = static_cast<float>(kReciprocal);
      constexpr auto kLow = static_cast<float>(kReciprocal - static_cast<double>(kHigh));
      const float value = toFloat(element);
      return fusedMultiplyAdd(value, kHigh, value * kLow);
    }
  }

  /// The exact product of value and greatest, truncated. Blends of 0 to 1 stay within that.
  MIRL_HD static T store(float value) {
    if constexpr (std::is_same_v<T, float>) {
      return value;
    } else {
      return static_cast<T>(truncatedProduct(value, kGreatest<T>));
    }
  }
};

namespace resample {

/// The bytes of a row, which may have any alignment.
template <class T>
MIRL_HD auto* rowBytes(const View<T>& view, std::int64_t y) {
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  return reinterpret_cast<Byte*>(view.data) + y * view.pitch;
}

/// Item i of a row.
template <class T>
T loadItem(const char* row, std::ptrdiff_t i) {
  T item;
  std::memcpy(&item, row + i * std::ptrdiff_t{sizeof item}, sizeof item);
  return item;
}

template <class T>
void storeItem(char* row, std::ptrdiff_t i, const T& item) {
  std::memcpy(row + i * std::ptrdiff_t{sizeof item}, &item, sizeof item);
}

/// One element; on a GPU an unaligned one takes a way of its own.
template <bool Aligned, class T>
MIRL_HD T loadElement(const char* at) {
#if MIRL_DEVICE_PASS
  const auto* element = reinterpret_cast<const T*>(at);
  if constexpr (Aligned) {
    return __ldg(element);
  } else {
    return loadBytes(element);
  }
#else
  return loadItem<T>(at, 0);
#endif
}

/// One pixel: the definition of the result on all devices.
template <class Sampler, class Border, bool Aligned, class Codec, class T, int C>
MIRL_HD Pixel<T, C> sample(const Codec& codec, const View<const Pixel<T, C>>& in,
                           const Position& across, const Position& down) {
  float acrossWeights[Sampler::kWeights];
  float downWeights[Sampler::kWeights];
  Sampler::weigh(across.fraction, acrossWeights);
  Sampler::weigh(down.fraction, downWeights);
  float lines[C][Sampler::kTaps];
  for (int j = 0; j < Sampler::kTaps; ++j) {
    const int y = Border::limit(down.index + Sampler::kFirst + j, in.height);
    const char* row = rowBytes(in, Border::kHasNone && y < 0 ? 0 : y);
    float taps[C][Sampler::kTaps];
    for (int i = 0; i < Sampler::kTaps; ++i) {
      const int x = Border::limit(across.index + Sampler::kFirst + i, in.width);
      const bool none = Border::kHasNone && (x < 0 || y < 0);
      const char* pixel = row + (none ? 0 : x) * std::ptrdiff_t{sizeof(T) * C};
      for (int c = 0; c < C; ++c) {
        taps[c][i] =
            none ? 0.0f
                 : codec.load(loadElement<Aligned, T>(pixel + c * std::ptrdiff_t{sizeof(T)}));
      }
    }
    for (int c = 0; c < C; ++c) lines[c][j] = Sampler::blend(taps[c], acrossWeights);
  }
  Pixel<T, C> out;
  for (int c = 0; c < C; ++c) out.v[c] = codec.store(Sampler::blend(lines[c], downWeights));
  return out;
}

/// For taps that are known to be inside.
struct NoBorder {
  static constexpr bool kHasNone = false;
  static constexpr bool kReachesAll = true;
  MIRL_HD static int limit(int index, int) { return index; }
};

/// Whether a pixel from there has a value.
template <class Border, class T>
MIRL_HD bool reaches(const View<T>& in, const Position& across, const Position& down) {
  if constexpr (Border::kReachesAll) {
    return true;
  } else {
    return Border::reaches(across, in.width) && Border::reaches(down, in.height);
  }
}

/// The same by any map. Most pixels lie inside, and neighbours do so together.
template <class Sampler, class Border, bool Aligned, class Codec, class P, class T, int C>
MIRL_HD Pixel<T, C> sampleAt(const Codec& codec, const View<const Pixel<T, C>>& in,
                             const P& point) {
  const Position across = Sampler::locate(point.x);
  const Position down = Sampler::locate(point.y);
  const int left = across.index + Sampler::kFirst;
  const int top = down.index + Sampler::kFirst;
  const bool inside = left >= 0 && top >= 0 && left + Sampler::kTaps <= in.width &&
                      top + Sampler::kTaps <= in.height;
  if (inside) return sample<Sampler, NoBorder, Aligned>(codec, in, across, down);
  if (!reaches<Border>(in, across, down)) return {};
  return sample<Sampler, Border, Aligned>(codec, in, across, down);
}

}  // namespace resample
}  // namespace mirl::engine
