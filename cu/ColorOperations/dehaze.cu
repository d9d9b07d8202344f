#include <mirl/colorEnhancement.h>

#include "core/outputs.h"
#include "core/regions.h"
#include "engine/digest.h"
#include "engine/dispatch.h"
#include "engine/numbers/conversions.h"
#include "runtime/scratch.h"

#include <cstdint>

namespace mirl::colorOperations {
namespace {

using core::Part;
using engine::Pixel;

/// The quotient as a division gives it, from the divisor's rounded reciprocal. Where that overflows
/// or is 0, the correction is NaN and the product is the quotient: infinite, 0 or NaN itself.
MIRL_HD float divided(float value, float divisor, float reciprocal) {
  const float corrected = engine::dividedBy(value, divisor, reciprocal);
  return corrected == corrected ? corrected : value * reciprocal;
}

MIRL_HD float lesser(float a, float b) {
  return b < a ? b : a;
}

/// He, Sun, Tang, "Single image haze removal using dark channel prior" (2009), with transmission
/// from 3x3 pixels.
template <class T>
struct kernel_dehaze {
  static constexpr engine::Halo halo{.across = 1, .down = 1};

  struct Light {
    int whole;
    float value;
    float reciprocal;
  };
  Light light[3];

  /// How bright the darkest channel is.
  MIRL_HD float digest(const Pixel<T, 3>& pixel) const {
    float ratio[3];
    for (int c = 0; c < 3; ++c) {
      ratio[c] = divided(engine::toFloat(pixel.v[c]), light[c].value, light[c].reciprocal);
    }
    return lesser(lesser(ratio[0], ratio[1]), ratio[2]);
  }

  template <class Neighbours>
  MIRL_HD Pixel<T, 3> operator()(const Pixel<T, 3>& pixel, const Neighbours& dark) const {
    // Without loops, which keep the host's compiler from vectors.
    const float near[9] = {dark(-1, -1), dark(-1, 0), dark(-1, 1), dark(0, -1), dark(0, 0),
                           dark(0, 1),   dark(1, -1), dark(1, 0),  dark(1, 1)};
    const float sum =
        near[0] + near[1] + near[2] + near[3] + near[4] + near[5] + near[6] + near[7] + near[8];
    float least = lesser(engine::kGreatest<T>, near[0]);
    least = lesser(lesser(lesser(least, near[1]), near[2]), near[3]);
    least = lesser(lesser(lesser(least, near[4]), near[5]), near[6]);
    least = lesser(lesser(least, near[7]), near[8]);
    const float mean = divided(sum, 9.0f, 1.0f / 9.0f);
    const float haze = dark(0, 0) < mean ? least : mean;
    const float transmission = lesser(1.0f - 0.8f * haze, 1.0f);
    const float reciprocal = 1.0f / transmission;
    Pixel<T, 3> clear;
    for (int c = 0; c < 3; ++c) {
      // Wraps around, as lights that far off do.
      const auto above = static_cast<int>(static_cast<unsigned>(pixel.v[c]) -
                                          static_cast<unsigned>(light[c].whole));
      clear.v[c] = engine::fromFloat<T>(
          divided(static_cast<float>(above), transmission, reciprocal) + light[c].value);
    }
    return clear;
  }
};

/// The same for the negative, whose light is white.
template <class T>
struct kernel_lowlight {
  static constexpr engine::Halo halo = kernel_dehaze<T>::halo;
  kernel_dehaze<T> dehaze;

  MIRL_HD float digest(const Pixel<T, 3>& pixel) const { return dehaze.digest(atEdge(pixel)); }
  template <class Neighbours>
  MIRL_HD Pixel<T, 3> operator()(const Pixel<T, 3>& pixel, const Neighbours& dark) const {
    return atEdge(dehaze(atEdge(pixel), dark));
  }
  /// The negative.
  MIRL_HD Pixel<T, 3> atEdge(const Pixel<T, 3>& pixel) const {
    Pixel<T, 3> negative;
    for (int c = 0; c < 3; ++c) {
      negative.v[c] = static_cast<T>(engine::kGreatest<T> - pixel.v[c]);
    }
    return negative;
  }
};

template <class T>
kernel_dehaze<T> dehazeWith(const int (&light)[3]) {
  kernel_dehaze<T> kernel;
  for (int c = 0; c < 3; ++c) {
    const auto value = static_cast<float>(light[c]);
    kernel.light[c] = {light[c], value, 1.0f / value};
  }
  return kernel;
}

/// `kernelOf` makes the kernel for an element type.
template <class KernelOf>
MirlStatus run(const MirlImage& source, MirlImage& destination, const MirlStream& stream,
               const KernelOf& kernelOf) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (source.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&destination}, core::like(source), queue);
  if (ready != MIRL_SUCCESS) return ready;

  MirlStatus status = MIRL_TYPE_NOT_SUPPORTED;
  engine::visitElements<3>(
      engine::Integers{}, engine::typesOf(source), [&]<class T>(engine::Combination<T>) {
        const auto from = [&](const Part& part) {
          engine::digest(queue, kernelOf(T{}), engine::pixelsOf<T, 3>(destination),
                         engine::pixelsOf<const T, 3>(part));
          return MIRL_SUCCESS;
        };
        if (&source != &destination) {
          status = from(source);
          return;
        }
        // Neighbours must not have been cleared yet.
        const Part part = source;
        const runtime::Scratch scratch(queue, part.bytes());
        if (!scratch.ok()) {
          status = MIRL_DEVICE_ALLOC_FAILED;
          return;
        }
        const Part before = part.in(scratch.data());
        status = core::copy(queue, part, before);
        if (status == MIRL_SUCCESS) status = from(before);
      });
  return status;
}

}  // namespace

MirlStatus dehaze(const MirlImage& source, MirlImage& destination, int a0, int a1, int a2,
                  const MirlStream& stream) {
  return run(source, destination, stream, [&]<class T>(T) { return dehazeWith<T>({a0, a1, a2}); });
}

MirlStatus lowlight(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  return run(source, destination, stream, []<class T>(T) {
    constexpr int kWhite = engine::kGreatest<T>;
    return kernel_lowlight<T>{dehazeWith<T>({kWhite, kWhite, kWhite})};
  });
}

}  // namespace mirl::colorOperations
