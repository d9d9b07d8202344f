#include "cu/ColorOperations/colorConvert.h"
#include "cu/ColorOperations/sameSize.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace mirl::colorOperations {
namespace {

/// Row after row of the caller's matrix.
struct Coefficients {
  MixRow row[3];
};

template <class T>
struct kernel_colorTwist {
  Coefficients coefficients;
  float maximum;  // of integers
  bool vectorsServe = false;

  MIRL_HD Pixel<T, 3> operator()(const Pixel<T, 3>& in) const {
    return {mixed(coefficients.row[0], in), mixed(coefficients.row[1], in),
            mixed(coefficients.row[2], in)};
  }
  MIRL_HD T mixed(const MixRow& row, const Pixel<T, 3>& in) const {
    const float value = weightedSum(in, row) + row.offset;
    if constexpr (std::is_same_v<T, float>) {
      return value;
    } else {
      return static_cast<T>(engine::truncateTo(value, maximum));
    }
  }

  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out,
                         const char* in) const requires std::is_same_v<T, std::uint8_t> {
    if (!vectorsServe) return 0;
    const std::ptrdiff_t done = engine::mixBytes<3, 3>(coefficients.row, in, count, out);
    const auto limit = static_cast<T>(maximum);
    auto* bytes = reinterpret_cast<T*>(out);
    for (std::ptrdiff_t i = 0; limit < 255 && i < 3 * done; ++i) {
      bytes[i] = bytes[i] < limit ? bytes[i] : limit;
    }
    return done;
  }
};

/// Whether no sum of bytes can leave what explicit vectors convert.
bool fitsVectors(const Coefficients& coefficients) {
  constexpr float kEnough = 1e9f;
  return std::all_of(std::begin(coefficients.row), std::end(coefficients.row),
                     [](const MixRow& row) {
                       float greatest = std::fabs(row.offset);
                       for (const float factor : row.factor) greatest += 255 * std::fabs(factor);
                       return greatest < kEnough;  // not for NaN
                     });
}

using Elements =
    Combinations<Combination<std::uint8_t>, Combination<std::uint16_t>, Combination<float>>;

}  // namespace

MirlStatus channelMix(const MirlImage& source, MirlImage& destination, float* matrix,
                      const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (matrix == nullptr) return MIRL_NULL_POINTER;
  if (source.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus ready =
      prepareSameSize(source, destination, core::signedDepth(source), 3, stream, queue);
  if (ready != MIRL_SUCCESS) return ready;
  if (!core::sameFormat(source, destination)) return MIRL_MISMATCH;

  Coefficients coefficients;
  for (MixRow& row : coefficients.row) {
    row = {{matrix[0], matrix[1], matrix[2]}, matrix[3]};
    matrix += 4;
  }
  const bool served = engine::visitCombination(
      Elements{}, 3, std::array{source.type()}, [&]<class T>(Combination<T>) {
        constexpr bool kFloat = std::is_same_v<T, float>;
        const int bits = core::significantBits(source);
        const float maximum = kFloat ? 0.0f : static_cast<float>((1u << bits) - 1);
        mapColours<T>(queue, kernel_colorTwist<T>{coefficients, maximum, fitsVectors(coefficients)},
                      source, destination);
      });
  return served ? MIRL_SUCCESS : MIRL_DEPTH_NOT_SUPPORTED;
}

}  // namespace mirl::colorOperations
