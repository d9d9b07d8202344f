#include "cu/ColorOperations/colorConvert.h"

namespace mirl::colorOperations {
namespace {

using Byte = std::uint8_t;
using Word = std::uint16_t;

MIRL_HD inline Byte limited(int value) {
  const int positive = value > 0 ? value : 0;
  return static_cast<Byte>(positive < 255 ? positive : 255);
}

struct Yuv {
  Byte y, u, v;
};

/// No intermediate leaves 16 bits, which is what lets vectors hold twice as many. Y and the chroma
/// reach neither end of their range, so that nothing needs to be limited: Y is 16 to 235, U and V
/// are 16 to 240.
MIRL_HD inline Yuv yuvOf(Byte red, Byte green, Byte blue) {
  const auto luma = static_cast<Word>(66 * red + 129 * green + 25 * blue + 128);
  const auto u = static_cast<std::int16_t>(112 * blue - 74 * green - 38 * red + 128);
  const auto v = static_cast<std::int16_t>(112 * red - 94 * green - 18 * blue + 128);
  return {static_cast<Byte>((luma >> 8) + 16), static_cast<Byte>((u >> 8) + 128),
          static_cast<Byte>((v >> 8) + 128)};
}

template <class Order>
struct kernel_rgb2yuv {
  MIRL_HD Pixel<Byte, 3> operator()(const Pixel<Byte, 3>& in) const {
    const Yuv yuv = yuvOf(in.v[Order::kRed], in.v[1], in.v[Order::kBlue]);
    return {yuv.y, yuv.u, yuv.v};
  }
};

template <class Order>
struct kernel_yuv2rgb {
  MIRL_HD Pixel<Byte, 3> operator()(const Pixel<Byte, 3>& in) const {
    const int d = in.v[1] - 128;
    const int e = in.v[2] - 128;
    const int w = 298 * in.v[0] - 4640;
    Pixel<Byte, 3> out;
    out.v[Order::kRed] = limited((w + 409 * e) >> 8);
    out.v[1] = limited((w - 100 * d - 208 * e) >> 8);
    out.v[Order::kBlue] = limited((w + 516 * d) >> 8);
    return out;
  }
};

/// 0.5 R - 0.418688 G - 0.081312 B in double precision, narrowed. The sum is a whole number of
/// 31250ths; once its whole part is taken off, a float holds the rest well enough to round the
/// total as a double would.
MIRL_HD inline float redDifference(Word red, Word green, Word blue) {
  constexpr float kUnit = 1.0f / 31250.0f;
  const int units = 15625 * red - 13084 * green - 2541 * blue;
  const int whole = static_cast<int>(static_cast<float>(units) * kUnit);
  const int rest = units - whole * 31250;
  return engine::fusedMultiplyAdd(static_cast<float>(rest), kUnit, static_cast<float>(whole));
}

template <class Order>
struct kernel_rgb2yuv_16 {
  MIRL_HD Pixel<Word, 3> operator()(const Pixel<Word, 3>& in) const {
    const float y = weightedSum(in, inMemoryOrder<Order>({{0.299f, 0.587f, 0.114f}, 0}));
    const float u = weightedSum(in, inMemoryOrder<Order>({{-0.168736f, -0.331264f, 0.5f}, 0}));
    const float v = redDifference(in.v[Order::kRed], in.v[1], in.v[Order::kBlue]);
    return {engine::fromFloat<Word>(y), engine::fromFloat<Word>(u), engine::fromFloat<Word>(v)};
  }
};

template <class Order>
struct kernel_yuv2rgb_16 {
  MIRL_HD Pixel<Word, 3> operator()(const Pixel<Word, 3>& in) const {
    const float y = engine::toFloat(in.v[0]);
    const float d = engine::toFloat(in.v[1]) - 128.0f;
    const float e = engine::toFloat(in.v[2]) - 128.0f;
    Pixel<Word, 3> out;
    out.v[Order::kRed] = engine::fromFloat<Word>(weightedSum(y, d, e, {{1, 0, 1.4075f}, 0}));
    out.v[1] = engine::fromFloat<Word>(weightedSum(y, d, e, {{1, -0.3455f, -0.7169f}, 0}));
    out.v[Order::kBlue] = engine::fromFloat<Word>(weightedSum(y, d, e, {{1, 1.779f, 0}, 0}));
    return out;
  }
};

struct kernel_rgb2uyvy {
  static constexpr engine::Asks asks{.place = true};

  MIRL_HD Pixel<Byte, 2> operator()(engine::Place at, const Pixel<Byte, 3>& in) const {
    const Yuv yuv = yuvOf(in.v[2], in.v[1], in.v[0]);
    return {(at.x & 1) == 0 ? yuv.u : yuv.v, yuv.y};
  }
};

/// Runs one kernel for 8 bits and another for 16, in the order that a sequence means.
template <template <class> class Kernel8, template <class> class Kernel16>
MirlStatus run(const MirlImage& source, MirlImage& destination, const MirlImage& ordered,
               const MirlStream& stream) {
  runtime::Queue queue;
  const MirlStatus ready = prepareColours(source, destination, stream, queue);
  if (ready != MIRL_SUCCESS) return ready;

  if (source.depth() != 8 && source.depth() != 16) return MIRL_DEPTH_NOT_SUPPORTED;
  visitOrder(ordered.channelSeq(), 3, [&]<class Order>(Order) {
    if (source.depth() == 8) mapColours<Byte>(queue, Kernel8<Order>{}, source, destination);
    if (source.depth() == 16) mapColours<Word>(queue, Kernel16<Order>{}, source, destination);
  });
  return MIRL_SUCCESS;
}

}  // namespace

MirlStatus rgb2yuv(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  return run<kernel_rgb2yuv, kernel_rgb2yuv_16>(source, destination, source, stream);
}

MirlStatus yuv2rgb(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  return run<kernel_yuv2rgb, kernel_yuv2rgb_16>(source, destination, destination, stream);
}

MirlStatus rgb2yuv422(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  runtime::Queue queue;
  const int depth = destination.isInitialized() ? source.depth() : 8;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&destination},
                    core::like(source, {.depth = depth, .channels = 2}), queue);
  if (ready != MIRL_SUCCESS) return ready;

  if (source.type() != MIRL_8U_C3) return MIRL_TYPE_NOT_SUPPORTED;
  engine::map(queue, kernel_rgb2uyvy{}, engine::pixelsOf<Byte, 2>(destination),
              engine::pixelsOf<const Byte, 3>(source));
  return MIRL_SUCCESS;
}

}  // namespace mirl::colorOperations
