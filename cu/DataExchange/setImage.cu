#include <mirl/image.h>

#include "core/access.h"
#include "core/elements.h"
#include "engine/map.h"
#include "engine/paint.h"

#include <bit>

namespace mirl::dataExchange {
namespace {

/// One channel takes its element, the others keep theirs. On the bits of the elements, so that one
/// kernel serves floats as well.
template <class Bits, int ch>
struct kernel_set_channel {
  enum { kKeep, kSet, kParameters };
  using Parameter = engine::Pixel<Bits, kParameters>;
  static constexpr engine::Asks asks{.channels = true};
  engine::PerChannel<Parameter, ch> channels;

  MIRL_HD Bits operator()(const Parameter& parameter, Bits element) const {
    return static_cast<Bits>((element & parameter.v[kKeep]) | parameter.v[kSet]);
  }
};

template <class Bits>
void setChannel(const runtime::Queue& queue, const MirlImage& image, int channel,
                std::uint32_t bits) {
  kernel_set_channel<Bits, 3> kernel;
  for (int c = 0; c < 3; ++c) {
    kernel.channels.of[c] = {
        {static_cast<Bits>(c == channel ? 0u : ~0u), static_cast<Bits>(c == channel ? bits : 0u)}};
  }
  engine::map(queue, kernel, engine::elementsOf<Bits>(image),
              engine::elementsOf<const Bits>(image));
}

bool isServed(const MirlImage& image) {
  return (image.channels() == 1 || image.channels() == 3) && image.depth() <= 32 &&
         !image.isSigned();
}

std::uint32_t floatBits(double value) {
  return std::bit_cast<std::uint32_t>(static_cast<float>(value));
}

/// Fills with `valueOf(channel)`.
template <class ValueOf>
MirlStatus fillWith(const MirlImage& image, const MirlStream& stream, const ValueOf& valueOf) {
  if (!core::isLive(image)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (!isServed(image)) return MIRL_TYPE_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, image, {}, queue);
  if (found != MIRL_SUCCESS) return found;

  const int depth = image.depth();
  engine::fill(queue, engine::bytesOf<unsigned char>(image),
               engine::patternOf(depth / 8, image.channels(), [&](int c) {
                 const double value = valueOf(c);
                 return depth == 32 ? floatBits(value)
                                    : core::limitedTo(value, core::maximumOf(depth));
               }));
  return MIRL_SUCCESS;
}

MirlStatus fillChannel(const MirlImage& image, int channel, double value,
                       const MirlStream& stream) {
  if (!core::isLive(image)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (!isServed(image)) return MIRL_TYPE_NOT_SUPPORTED;
  if (channel < 0 || channel >= image.channels()) return MIRL_INVALID_ARGUMENT;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, image, {}, queue);
  if (found != MIRL_SUCCESS) return found;

  const std::uint32_t bits = image.depth() == 32 ? floatBits(value) : core::lowBits(value);
  if (image.channels() == 1) {
    engine::fill(queue, engine::bytesOf<unsigned char>(image),
                 engine::patternOf(image.depth() / 8, 1, [&](int) { return bits; }));
    return MIRL_SUCCESS;
  }
  const auto run = image.depth() == 8    ? setChannel<std::uint8_t>
                   : image.depth() == 16 ? setChannel<std::uint16_t>
                                         : setChannel<std::uint32_t>;
  run(queue, image, channel, bits);
  return MIRL_SUCCESS;
}

}  // namespace
}  // namespace mirl::dataExchange

MirlStatus MirlImage::set(double value, const MirlStream& stream) {
  return mirl::dataExchange::fillWith(*this, stream, [&](int) { return value; });
}

MirlStatus MirlImage::set(const MirlScalar& value, const MirlStream& stream) {
  return mirl::dataExchange::fillWith(*this, stream, [&](int c) { return value[c]; });
}

MirlStatus MirlImage::set(int channel, double value, const MirlStream& stream) {
  return mirl::dataExchange::fillChannel(*this, channel, value, stream);
}
