#include "cu/ColorOperations/colorConvert.h"

#include <array>

namespace mirl::colorOperations {
namespace {

/// Limits integers to those that count.
template <class T>
struct Limited {
  T maximum;

  MIRL_HD T operator()(T element) const {
    if constexpr (std::is_same_v<T, float>) return element;
    return element < maximum ? element : maximum;
  }
};

template <class T>
using kernel_colorTwist = engine::kernel_mix<T, 3, 3, engine::Mixing{}, Limited<T>>;

}  // namespace

MirlStatus channelMix(const MirlImage& source, MirlImage& destination, float* matrix,
                      const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (matrix == nullptr) return MIRL_NULL_POINTER;
  if (source.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&destination}, core::like(source), queue);
  if (ready != MIRL_SUCCESS) return ready;

  engine::MixRows<3> rows;
  for (MixRow& row : rows.row) {
    row = {{matrix[0], matrix[1], matrix[2]}, matrix[3]};
    matrix += 4;
  }
  const bool served = engine::visitElements<3>(
      engine::AllElements{}, engine::typesOf(source), [&]<class T>(Combination<T>) {
        const auto maximum = static_cast<T>(core::greatestElement(source));
        mapColours<T>(queue, kernel_colorTwist<T>{rows, {maximum}}, source, destination);
      });
  return served ? MIRL_SUCCESS : MIRL_DEPTH_NOT_SUPPORTED;
}

}  // namespace mirl::colorOperations
