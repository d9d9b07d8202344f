#include "cu/ColorOperations/colorConvert.h"
#include "engine/select.h"

#include <cmath>

namespace mirl::colorOperations {
namespace {

using Byte = std::uint8_t;
using Word = std::uint16_t;
using engine::select;

template <class T>
MIRL_HD T smaller(T a, T b) {
  return select(a < b, a, b);
}
template <class T>
MIRL_HD T larger(T a, T b) {
  return select(a > b, a, b);
}

/// Division by a small whole number, correctly rounded from 2^-126 up: the product with the
/// reciprocal is off by so little that one correction from its exact residue makes it right.
template <int divisor>
MIRL_HD float dividedBy(float value) {
  constexpr auto kDivisor = static_cast<float>(divisor);
  constexpr float kReciprocal = 1.0f / kDivisor;
  const float quotient = value * kReciprocal;
  const float residue = engine::fusedMultiplyAdd(-quotient, kDivisor, value);
  return engine::fusedMultiplyAdd(residue, kReciprocal, quotient);
}

template <class T>
MIRL_HD float toUnit(T element) {
  if constexpr (std::is_same_v<T, float>) {
    return element;
  } else {
    return dividedBy<255>(engine::toFloat(element));
  }
}

template <class T>
MIRL_HD T fromUnit(float value) {
  if constexpr (std::is_same_v<T, float>) {
    return value;
  } else {
    return engine::fromFloat<T>(value * 255.0f);
  }
}

template <class T, class Order>
struct kernel_rgb2hsv {
  MIRL_HD Pixel<T, 3> operator()(const Pixel<T, 3>& in) const {
    const T red = in.v[Order::kRed];
    const T green = in.v[1];
    const T blue = in.v[Order::kBlue];
    const T least = smaller(red, smaller(green, blue));
    const T greatest = larger(red, larger(green, blue));

    // Of three colours the greatest stands for a third of the circle, and the other two shift the
    // hue from there, one forward and one back.
    const bool isRed = red == greatest;
    const bool isGreen = green == greatest;
    const T forward = select(isRed, blue, select(isGreen, red, green));
    const T back = select(isRed, green, select(isGreen, blue, red));
    const float start = select(isRed, 0.0f, select(isGreen, 1.0f / 3.0f, 2.0f / 3.0f));

    const float value = toUnit(greatest);
    const float spread = value - toUnit(least);
    const float saturation = spread / value;
    const auto shift = [&](T channel) {
      return (dividedBy<6>(value - toUnit(channel)) + spread / 2.0f) / spread;
    };
    float hue = start + shift(forward) - shift(back);
    hue = select(hue < 0.0f, hue + 1.0f, hue);
    hue = select(hue > 1.0f, hue - 1.0f, hue);

    const bool isGray = greatest == least;
    return {select(isGray, T{0}, fromUnit<T>(hue)), select(isGray, T{0}, fromUnit<T>(saturation)),
            fromUnit<T>(value)};
  }
};

/// The low 8 bits of 255 times a float, cut off. Those of any float from 2^31 up are 0, and so it
/// shall be with infinity and NaN.
MIRL_HD inline Byte lowBits(float value) {
  const float product = value * 255.0f;
  const float small = select(std::fabs(product) < 2147483648.0f, product, 0.0f);
  return static_cast<Byte>(static_cast<int>(small));
}

/// In integers of 16 bits throughout.
template <class T, bool isFloat>
struct kernel_hsv2bgr {
  MIRL_HD static Byte toByte(T element) {
    if constexpr (isFloat) {
      return lowBits(element);
    } else {
      return element;
    }
  }
  MIRL_HD static T fromByte(Byte element) {
    if constexpr (isFloat) {
      return dividedBy<255>(engine::toFloat(element));
    } else {
      return element;
    }
  }
  /// a b / 256
  MIRL_HD static Byte scaled(Word a, Word b) {
    return static_cast<Byte>(static_cast<Word>(a * b) >> 8);
  }

  MIRL_HD Pixel<T, 3> operator()(const Pixel<T, 3>& in) const {
    const Byte hue = toByte(in.v[0]);
    const Byte saturation = toByte(in.v[1]);
    const Byte value = toByte(in.v[2]);
    const auto region = static_cast<Byte>(static_cast<Word>(hue * 191) >> 13);  // hue / 43
    const auto remainder = static_cast<Byte>((hue - 43 * region) * 6);
    const Byte p = scaled(value, static_cast<Byte>(255 - saturation));
    const Byte q = scaled(value, static_cast<Byte>(255 - scaled(saturation, remainder)));
    const Byte t = scaled(
        value, static_cast<Byte>(255 - scaled(saturation, static_cast<Byte>(255 - remainder))));

    const Byte red = select(region == 1, q,
                            select(region == 2 || region == 3, p, select(region == 4, t, value)));
    const Byte green = select(region == 0, t, select(region == 3, q, select(region > 3, p, value)));
    const Byte blue = select(region < 2, p, select(region == 2, t, select(region == 5, q, value)));
    const bool isGray = saturation == 0;
    return {fromByte(select(isGray, value, blue)), fromByte(select(isGray, value, green)),
            fromByte(select(isGray, value, red))};
  }
};

using PairsOfElements =
    Combinations<Combination<std::uint8_t, std::uint8_t>, Combination<float, float>>;

/// A new destination has the source's type; that of a live one is left to the dispatch.
Contract contractOf(const MirlImage& source) {
  return {.depth = core::signedDepth(source), .comparesDepth = false};
}

}  // namespace

MirlStatus rgb2hsv(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  runtime::Queue queue;
  const MirlStatus ready = prepare(source, destination, stream, contractOf(source), queue);
  if (ready != MIRL_SUCCESS) return ready;

  const bool served = engine::visitCombination(
      PairsOfElements{}, 3, std::array{source.type(), destination.type()},
      [&]<class T>(Combination<T, T>) {
        visitOrder(source.channelSeq(), 3, [&]<class Order>(Order) {
          mapColours<T>(queue, kernel_rgb2hsv<T, Order>{}, source, destination);
        });
      });
  return served ? MIRL_SUCCESS : MIRL_DEPTH_NOT_SUPPORTED;
}

MirlStatus hsv2rgb(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  runtime::Queue queue;
  const MirlStatus ready = prepare(source, destination, stream, contractOf(source), queue);
  if (ready != MIRL_SUCCESS) return ready;

  const bool served =
      engine::visitCombination(PairsOfElements{}, 3, std::array{source.type(), destination.type()},
                               [&]<class T>(Combination<T, T>) {
                                 using Kernel = kernel_hsv2bgr<T, std::is_same_v<T, float>>;
                                 mapColours<T>(queue, Kernel{}, source, destination);
                               });
  return served ? MIRL_SUCCESS : MIRL_DEPTH_NOT_SUPPORTED;
}

}  // namespace mirl::colorOperations
