#include "cu/ColorOperations/colorConvert.h"
#include "engine/numbers/powers.h"

namespace mirl::colorOperations {
namespace {

using engine::dividedBy;
using engine::fusedMultiplyAdd;

/// How L, a and b are stored.
template <class T>
struct Scale {
  static constexpr bool kInteger = !std::is_same_v<T, float>;
  static constexpr float kWhite = kInteger ? 255.0f : 1.0f;
  static constexpr float kLightness = kInteger ? 2.55f : 1.0f;
  static constexpr float kOffset = kInteger ? 128.0f : 0.0f;
};

/// The double quotient by 1.055, narrowed: the reciprocal in two parts gives the same for every
/// float.
MIRL_HD inline float dividedBy1055(float value) {
  constexpr auto kHigh = static_cast<float>(1 / 1.055);
  constexpr auto kLow = static_cast<float>(1 / 1.055 - kHigh);
  return fusedMultiplyAdd(value, kHigh, value * kLow);
}

/// Linear light in percent from a channel between 0 and 1 (IEC 61966-2-1).
MIRL_HD inline float linear(float v) {
  const float curve = engine::power(dividedBy1055(v + 0.055f), 2.4f);
  return engine::select(v > 0.04045f, curve, dividedBy(v, 12.92f)) * 100.0f;
}

MIRL_HD inline float companded(float v) {
  const float curve = fusedMultiplyAdd(engine::power(v, 1.0f / 2.4f), 1.055f, -0.055f);
  return engine::select(v > 0.0031308f, curve, 12.92f * v);
}

constexpr float kRootLimit = 0.008856f;
/// The greatest float that isn't above 0.008856 in double precision.
constexpr float kCubeLimit = 0.00885599944740533828735f;
constexpr float kRootOffset = 16.0f / 116.0f;

MIRL_HD inline float toRootScale(float v) {
  return engine::select(v > kRootLimit, engine::cubeRoot(v),
                        fusedMultiplyAdd(v, 7.787f, kRootOffset));
}

MIRL_HD inline float fromRootScale(float f) {
  const float cube = f * f * f;
  return engine::select(cube > kCubeLimit, cube, dividedBy(f - kRootOffset, 7.787f));
}

/// Linear light of a whole channel's values, for elements that have few of them.
using Light = engine::Lookup<float, 256>;

template <class T, class Order>
struct kernel_rgb2lab {
  static constexpr engine::Asks asks{.table = Scale<T>::kInteger};
  std::conditional_t<Scale<T>::kInteger, Light, engine::Nothing> table;

  MIRL_HD Pixel<T, 3> operator()(const Light& light, const Pixel<T, 3>& in) const {
    return lab(light.entry[in.v[0]], light.entry[in.v[1]], light.entry[in.v[2]]);
  }
  MIRL_HD Pixel<T, 3> operator()(const Pixel<T, 3>& in) const {
    return lab(linear(in.v[0]), linear(in.v[1]), linear(in.v[2]));
  }

  MIRL_HD static Pixel<T, 3> lab(float c0, float c1, float c2) {
    const auto mixed = [&](const MixRow& row) {
      return weightedSum(c0, c1, c2, inMemoryOrder<Order>(row));
    };
    const float fx = toRootScale(dividedBy(mixed({{0.412453f, 0.35758f, 0.180423f}, 0}), 95.047f));
    const float fy = toRootScale(dividedBy(mixed({{0.212671f, 0.71516f, 0.072169f}, 0}), 100.0f));
    const float fz =
        toRootScale(dividedBy(mixed({{0.019334f, 0.119193f, 0.950227f}, 0}), 108.883f));
    const float lightness = fusedMultiplyAdd(fy, 116.0f, -16.0f);
    const float stored = Scale<T>::kInteger ? dividedBy(lightness * 255.0f, 100.0f) : lightness;
    return {engine::fromFloat<T>(stored),
            engine::fromFloat<T>(500.0f * (fx - fy) + Scale<T>::kOffset),
            engine::fromFloat<T>(200.0f * (fy - fz) + Scale<T>::kOffset)};
  }
};

template <class T, class Order>
struct kernel_lab2rgb {
  MIRL_HD Pixel<T, 3> operator()(const Pixel<T, 3>& in) const {
    const float lightness = dividedBy(engine::toFloat(in.v[0]), Scale<T>::kLightness);
    const float a = engine::toFloat(in.v[1]) - Scale<T>::kOffset;
    const float b = engine::toFloat(in.v[2]) - Scale<T>::kOffset;
    const float fy = dividedBy(lightness + 16.0f, 116.0f);
    const float fx = dividedBy(a, 500.0f) + fy;
    const float fz = fy + dividedBy(b, -200.0f);
    const float x = fromRootScale(fx) * 0.95047f;
    const float y = fromRootScale(fy);
    const float z = fromRootScale(fz) * 1.08883f;
    const auto mixed = [&](const MixRow& row) {
      const float light = weightedSum(x, y, z, row);
      return engine::fromFloat<T>(companded(light) * Scale<T>::kWhite);
    };
    Pixel<T, 3> out;
    out.v[Order::kRed] = mixed({{3.2406f, -1.5372f, -0.4986f}, 0});
    out.v[1] = mixed({{-0.9689f, 1.8758f, 0.0415f}, 0});
    out.v[Order::kBlue] = mixed({{0.0557f, -0.204f, 1.057f}, 0});
    return out;
  }
};

Light lightOf8Bits() {
  Light light;
  for (int i = 0; i < 256; ++i) {
    light.entry[i] = linear(dividedBy(static_cast<float>(i), Scale<std::uint8_t>::kWhite));
  }
  return light;
}

using Served = engine::Elements<std::uint8_t, float>;

}  // namespace

MirlStatus rgb2Lab(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  if (core::isLive(source) && &source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus ready = prepareColours(source, destination, stream, queue);
  if (ready != MIRL_SUCCESS) return ready;

  const bool served =
      engine::visitElements<3>(Served{}, engine::typesOf(source), [&]<class T>(Combination<T>) {
        visitOrder(source.channelSeq(), 3, [&]<class Order>(Order) {
          kernel_rgb2lab<T, Order> kernel;
          if constexpr (Scale<T>::kInteger) kernel.table = lightOf8Bits();
          mapColours<T>(queue, kernel, source, destination);
        });
      });
  if (!served) return MIRL_DEPTH_NOT_SUPPORTED;
  destination.setChannelSequence(MIRL_CHANNELSEQ_RGB);
  return MIRL_SUCCESS;
}

MirlStatus Lab2rgb(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  runtime::Queue queue;
  const MirlStatus ready = prepareColours(source, destination, stream, queue);
  if (ready != MIRL_SUCCESS) return ready;

  const bool served =
      engine::visitElements<3>(Served{}, engine::typesOf(source), [&]<class T>(Combination<T>) {
        visitOrder(destination.channelSeq(), 3, [&]<class Order>(Order) {
          mapColours<T>(queue, kernel_lab2rgb<T, Order>{}, source, destination);
        });
      });
  return served ? MIRL_SUCCESS : MIRL_DEPTH_NOT_SUPPORTED;
}

}  // namespace mirl::colorOperations
