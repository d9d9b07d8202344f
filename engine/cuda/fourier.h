#pragma once

// The Fourier pattern on a GPU: a real transform where the result is to be, whose half is mirrored.

#include "engine/cuda/launch.h"
#include "engine/cuda/map.h"
#include "engine/host/map.h"
#include "engine/numbers/conversions.h"
#include "engine/view.h"
#include "runtime/cuda/fourier_plans.h"
#include "runtime/scratch.h"

#include <cstddef>
#include <cstdint>

namespace mirl::engine::cuda {

/// From the columns up to the middle to those behind it, which are conjugate to them.
__global__ inline void mirrorSpectrum(const View<Pixel<float, 2>> spectrum) {
  const int left = static_cast<int>(blockIdx.x * blockDim.x + threadIdx.x) + 1;
  if (left > (spectrum.width - 1) / 2) return;
  const auto down = static_cast<std::int64_t>(gridDim.y * blockDim.y);
  for (std::int64_t y = blockIdx.y * blockDim.y + threadIdx.y; y < spectrum.height; y += down) {
    const Pixel<float, 2> here = rowOf(spectrum, y == 0 ? 0 : spectrum.height - y)[left];
    rowOf(spectrum, y)[spectrum.width - left] = {{here.v[0], -here.v[1]}};
  }
}

struct kernel_byte_to_float {
  MIRL_HD float operator()(std::uint8_t element) const { return toFloat(element); }
};

/// The same into rows of complex numbers, at addresses that suit them. Bytes become floats in the
/// first half of each row, which then becomes the first half of their transform.
inline bool transformInPlace(const runtime::Queue& queue, const View<Pixel<float, 2>>& out,
                             const View<const std::uint8_t>& in) {
  const runtime::cuda::RealTransform transform(queue, {out.width, out.height, out.pitch});
  if (!transform.ok()) return false;
  const View<float> reals{out.data->v, out.pitch, out.width, out.height};
  map(queue, kernel_byte_to_float{}, reals, in);
  transform.run(out.data);
  const int mirrored = (out.width - 1) / 2;
  if (mirrored > 0) {
    launch(queue, covering(mirrored, out.height, {32, 8}), mirrorSpectrum, out);
  }
  return true;
}

inline bool transformFourier(const runtime::Queue& queue, const View<Pixel<float, 2>>& out,
                             const View<const std::uint8_t>& in) {
  constexpr std::ptrdiff_t kItem = sizeof(Pixel<float, 2>);
  const bool suits =
      reinterpret_cast<std::uintptr_t>(out.data) % kItem == 0 && out.pitch % kItem == 0;
  if (suits) return transformInPlace(queue, out, in);

  const std::size_t rowBytes = static_cast<std::size_t>(out.width) * kItem;
  const runtime::Scratch packed(queue, rowBytes * static_cast<std::size_t>(out.height));
  if (!packed.ok()) return false;
  const View<Pixel<float, 2>> made{packed.as<Pixel<float, 2>>(), out.width * kItem, out.width,
                                   out.height};
  if (!transformInPlace(queue, made, in)) return false;
  const auto bytesOf = []<class Byte>(Byte* data, std::ptrdiff_t pitch, const auto& of) {
    return View<Byte>{data, pitch, of.width * static_cast<int>(kItem), of.height};
  };
  map(queue, Same{}, bytesOf(reinterpret_cast<std::uint8_t*>(out.data), out.pitch, out),
      bytesOf(packed.as<const std::uint8_t>(), made.pitch, made));
  return true;
}

}  // namespace mirl::engine::cuda
