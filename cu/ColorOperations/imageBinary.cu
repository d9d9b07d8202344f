#include "cu/ColorOperations/colorConvert.h"
#include "cu/ColorOperations/sameSize.h"

namespace mirl::colorOperations {
namespace {

using Byte = std::uint8_t;

struct imageBinary_kernel_8uC1 {
  Byte threshold;

  MIRL_HD Byte operator()(Byte sample) const {
    return static_cast<Byte>(sample >= threshold ? 255 : 0);
  }
};

template <class Order>
struct imageBinary_8u_c3_kernel {
  static constexpr auto kProducts = engine::Products::rounded;
  imageBinary_kernel_8uC1 binary;

  MIRL_HD static constexpr MixRow weights() {
    return inMemoryOrder<Order>({{0.3f, 0.59f, 0.11f}, 0});
  }

  MIRL_HD Byte operator()(const Pixel<Byte, 3>& in) const {
    const float gray = weightedSum<kProducts>(in, weights());
    return binary(static_cast<Byte>(engine::truncateInRange(gray)));
  }

  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char* in) const {
    const std::ptrdiff_t done = engine::mixBytes<3, 1, kProducts>({weights()}, in, count, out);
    auto* gray = reinterpret_cast<Byte*>(out);
    const auto local = binary;  // which no store to a byte can change
    for (std::ptrdiff_t i = 0; i < done; ++i) gray[i] = local(gray[i]);
    return done;
  }
};

}  // namespace

MirlStatus imageBinary(const MirlImage& source, MirlImage& destination, float level,
                       const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (destination.isInitialized() && destination.channels() != 1) {
    return MIRL_CHANNELS_NOT_SUPPORTED;
  }
  runtime::Queue queue;
  const MirlStatus ready = prepareSameSize(source, destination, source.depth(), 1, stream, queue);
  if (ready != MIRL_SUCCESS) return ready;
  if (source.depth() != destination.depth()) return MIRL_MISMATCH;

  const imageBinary_kernel_8uC1 binary{
      static_cast<Byte>(engine::truncateTo(level * 255.0f, 255.0f))};
  const auto out = engine::elementsOf<Byte>(destination);
  if (source.type() == MIRL_8U_C1) {
    engine::map(queue, binary, out, engine::elementsOf<const Byte>(source));
  } else if (source.type() == MIRL_8U_C3) {
    visitOrder(source.channelSeq(), 3, [&]<class Order>(Order) {
      engine::map(queue, imageBinary_8u_c3_kernel<Order>{binary}, out,
                  engine::pixelsOf<const Byte, 3>(source));
    });
  } else {
    return MIRL_MISMATCH;
  }
  return MIRL_SUCCESS;
}

}  // namespace mirl::colorOperations
