#include <mirl/colorOperations.h>

#include "core/outputs.h"
#include "engine/map.h"
#include "engine/tables.h"
#include "runtime/scratch.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>

namespace mirl::colorOperations {
namespace {

using engine::Pixel;

/// The caller's tables as kernels take them: `count` entries for each channel, limited to the
/// greatest value of that many bits, which is `count - 1`.
struct Tables {
  std::array<const unsigned short*, 3> of;
  int count;

  /// What a sample becomes; one beyond the table gets the last entry.
  unsigned short limited(int channel, int sample) const {
    const unsigned short found = of[static_cast<std::size_t>(channel)][std::min(sample, count - 1)];
    return std::min(found, static_cast<unsigned short>(count - 1));
  }
};

struct kernel_lut_16u {
  const std::uint16_t* entries;  // on the device, one table behind the other
  unsigned count;

  MIRL_HD Pixel<std::uint16_t, 3> operator()(const Pixel<std::uint16_t, 3>& in) const {
    return {at(0, in.v[0]), at(1, in.v[1]), at(2, in.v[2])};
  }
  MIRL_HD std::uint16_t at(unsigned channel, unsigned sample) const {
    const unsigned last = count - 1;
    return entries[channel * count + (sample < last ? sample : last)];
  }
};

MirlStatus run8(const runtime::Queue& queue, const Tables& tables, const MirlImage& source,
                MirlImage& destination) {
  const auto limited = [&](int channel, std::uint8_t sample) {
    return static_cast<std::uint8_t>(tables.limited(channel, sample));
  };
  engine::mapFunction(queue, limited, engine::pixelsOf<std::uint8_t, 3>(destination),
                      engine::pixelsOf<const std::uint8_t, 3>(source));
  return MIRL_SUCCESS;
}

/// The upload comes from memory of our own that isn't page-locked: such a copy has read it when it
/// returns, whatever the caller's tables are.
MirlStatus run16(const runtime::Queue& queue, const Tables& tables, const MirlImage& source,
                 MirlImage& destination) {
  const auto count = static_cast<std::size_t>(3 * tables.count);
  const std::unique_ptr<std::uint16_t[]> staged(new (std::nothrow) std::uint16_t[count]);
  const std::size_t bytes = count * sizeof staged[0];
  const runtime::Scratch entries(queue, bytes);
  if (staged == nullptr || !entries.ok()) return MIRL_DEVICE_ALLOC_FAILED;
  for (int c = 0; c < 3; ++c) {
    for (int i = 0; i < tables.count; ++i) staged[c * tables.count + i] = tables.limited(c, i);
  }
  if (!queue.device->copyAsync(
          {entries.data(), bytes, staged.get(), bytes, bytes, 1, runtime::Direction::hostToDevice},
          queue.stream)) {
    return MIRL_COPY_H2D_FAILED;
  }
  engine::map(queue,
              kernel_lut_16u{entries.as<std::uint16_t>(), static_cast<unsigned>(tables.count)},
              engine::pixelsOf<std::uint16_t, 3>(destination),
              engine::pixelsOf<const std::uint16_t, 3>(source));
  return MIRL_SUCCESS;
}

}  // namespace

MirlStatus blackGammaLUT(const MirlImage& source, MirlImage& destination, unsigned short* table0,
                         unsigned short* table1, unsigned short* table2, const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (table0 == nullptr || table1 == nullptr || table2 == nullptr) return MIRL_NULL_POINTER;
  const core::NewOutput isNew(destination);
  const core::Format format = core::like(source, {.depth = source.depth()});
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&source}, {&destination}, format, queue, {core::kSize});
  if (ready != MIRL_SUCCESS) return ready;
  if (isNew) destination.setDataBits(core::significantBits(source));
  if (source.depth() != 8 && source.depth() != 16) return MIRL_DEPTH_NOT_SUPPORTED;
  if (source.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  if (!core::sameFormat(source, destination)) return MIRL_MISMATCH;

  const Tables tables{{table0, table1, table2}, 1 << core::significantBits(source)};
  return source.depth() == 8 ? run8(queue, tables, source, destination)
                             : isNew.keptIf(run16(queue, tables, source, destination));
}

}  // namespace mirl::colorOperations
