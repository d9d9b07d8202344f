#include "cu/ColorOperations/colorConvert.h"
#include "engine/numbers/bits.h"

namespace mirl::colorOperations {
namespace {

using Byte = std::uint8_t;
using Word = std::uint16_t;
using engine::dividedBy;
using engine::select;

template <class T>
MIRL_HD T smaller(T a, T b) {
  return select(a < b, a, b);
}
template <class T>
MIRL_HD T larger(T a, T b) {
  return select(a > b, a, b);
}

template <class T>
MIRL_HD float toUnit(T element) {
  if constexpr (std::is_same_v<T, float>) {
    return element;
  } else {
    return dividedBy(engine::toFloat(element), 255.0f);
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
      return (dividedBy(value - toUnit(channel), 6.0f) + spread / 2.0f) / spread;
    };
    float hue = start + shift(forward) - shift(back);
    hue = select(hue < 0.0f, hue + 1.0f, hue);
    hue = select(hue > 1.0f, hue - 1.0f, hue);

    const bool isGray = greatest == least;
    return {select(isGray, T{0}, fromUnit<T>(hue)), select(isGray, T{0}, fromUnit<T>(saturation)),
            fromUnit<T>(value)};
  }
};

/// On numbers of 8 bits, which fill as many bits as the elements, so that vectors hold as many.
template <class T, bool isFloat>
struct kernel_hsv2bgr {
  using Number = std::conditional_t<isFloat, Word, Byte>;
  using Product = Word;

  /// The low 8 bits of 255 times a float, cut off. Those of any float from 2^31 up are 0, and so it
  /// shall be with infinity and NaN.
  MIRL_HD static Number toNumber(T element) {
    if constexpr (isFloat) {
      const float product = element * 255.0f;
      const auto magnitude = static_cast<int>(engine::bitsOf(product) & 0x7FFFFFFF);
      const float small = select(magnitude < 0x4F000000, product, 0.0f);  // below 2^31
      return static_cast<Number>(static_cast<int>(small) & 255);
    } else {
      return element;
    }
  }
  MIRL_HD static T fromNumber(Number number) {
    if constexpr (isFloat) {
      return dividedBy(static_cast<float>(static_cast<int>(number)), 255.0f);
    } else {
      return number;
    }
  }
  /// a b / 256
  MIRL_HD static Number scaled(Product a, Product b) {
    return static_cast<Number>(static_cast<Product>(a * b) >> 8);
  }
  MIRL_HD static Number inverse(Number a) { return static_cast<Number>(255 - a); }

  MIRL_HD Pixel<T, 3> operator()(const Pixel<T, 3>& in) const {
    const Number hue = toNumber(in.v[0]);
    const Number saturation = toNumber(in.v[1]);
    const Number value = toNumber(in.v[2]);
    const auto region = static_cast<Number>(static_cast<Product>(hue * 191) >> 13);  // hue / 43
    const auto remainder = static_cast<Number>((hue - 43 * region) * 6);
    const Number p = scaled(value, inverse(saturation));
    const Number q = scaled(value, inverse(scaled(saturation, remainder)));
    const Number t = scaled(value, inverse(scaled(saturation, inverse(remainder))));

    const Number red = select(region == 1, q,
                              select(region == 2 || region == 3, p, select(region == 4, t, value)));
    const Number green =
        select(region == 0, t, select(region == 3, q, select(region > 3, p, value)));
    const Number blue =
        select(region < 2, p, select(region == 2, t, select(region == 5, q, value)));
    const bool isGray = saturation == 0;
    return {fromNumber(select(isGray, value, blue)), fromNumber(select(isGray, value, green)),
            fromNumber(select(isGray, value, red))};
  }
};

using Served = engine::Alike<engine::Elements<std::uint8_t, float>>;

/// A new destination has the source's type; that of a live one is left to the dispatch.
MirlStatus prepareHues(const MirlImage& source, MirlImage& destination, const MirlStream& stream,
                       runtime::Queue& queue) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  return core::prepare(stream, {&source}, {&destination}, core::like(source), queue,
                       {core::kChannels, core::kSize});
}

}  // namespace

MirlStatus rgb2hsv(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  runtime::Queue queue;
  const MirlStatus ready = prepareHues(source, destination, stream, queue);
  if (ready != MIRL_SUCCESS) return ready;

  const bool served = engine::visitElements<3>(
      Served{}, engine::typesOf(source, destination), [&]<class T>(Combination<T, T>) {
        visitOrder(source.channelSeq(), 3, [&]<class Order>(Order) {
          mapColours<T>(queue, kernel_rgb2hsv<T, Order>{}, source, destination);
        });
      });
  return served ? MIRL_SUCCESS : MIRL_DEPTH_NOT_SUPPORTED;
}

MirlStatus hsv2rgb(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  runtime::Queue queue;
  const MirlStatus ready = prepareHues(source, destination, stream, queue);
  if (ready != MIRL_SUCCESS) return ready;

  const bool served = engine::visitElements<3>(
      Served{}, engine::typesOf(source, destination), [&]<class T>(Combination<T, T>) {
        using Kernel = kernel_hsv2bgr<T, std::is_same_v<T, float>>;
        mapColours<T>(queue, Kernel{}, source, destination);
      });
  return served ? MIRL_SUCCESS : MIRL_DEPTH_NOT_SUPPORTED;
}

}  // namespace mirl::colorOperations
