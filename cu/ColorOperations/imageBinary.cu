#include "cu/ColorOperations/colorConvert.h"

namespace mirl::colorOperations {
namespace {

using Byte = std::uint8_t;

struct imageBinary_kernel_8uC1 {
  Byte threshold;

  MIRL_HD Byte operator()(Byte sample) const {
    return static_cast<Byte>(sample >= threshold ? 255 : 0);
  }
};

/// Of red, green and blue.
constexpr MixRow kWeights = {{0.3f, 0.59f, 0.11f}, 0};

using imageBinary_8u_c3_kernel = engine::kernel_mix<
    Byte, 3, 1,
    engine::Mixing{.products = engine::Products::rounded, .offsets = false, .limits = false},
    imageBinary_kernel_8uC1>;

}  // namespace

MirlStatus imageBinary(const MirlImage& source, MirlImage& destination, float level,
                       const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  const core::Format gray = core::like(source, {.depth = source.depth(), .channels = 1});
  const MirlStatus fits =
      core::compare(destination, gray, {{core::kChannels, MIRL_CHANNELS_NOT_SUPPORTED}});
  if (fits != MIRL_SUCCESS) return fits;
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination}, gray, queue);
  if (ready != MIRL_SUCCESS) return ready;

  const imageBinary_kernel_8uC1 binary{
      static_cast<Byte>(engine::truncateTo(level * 255.0f, 255.0f))};
  const auto out = engine::elementsOf<Byte>(destination);
  if (source.type() == MIRL_8U_C1) {
    engine::map(queue, binary, out, engine::elementsOf<const Byte>(source));
  } else if (source.type() == MIRL_8U_C3) {
    visitOrder(source.channelSeq(), 3, [&]<class Order>(Order) {
      engine::map(queue, imageBinary_8u_c3_kernel{{{inMemoryOrder<Order>(kWeights)}}, binary}, out,
                  engine::pixelsOf<const Byte, 3>(source));
    });
  } else {
    return MIRL_MISMATCH;
  }
  return MIRL_SUCCESS;
}

}  // namespace mirl::colorOperations
