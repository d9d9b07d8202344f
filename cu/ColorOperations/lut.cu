#include <mirl/colorOperations.h>

#include "cu/ColorOperations/sameSize.h"
#include "engine/host/planes.h"
#include "engine/map.h"
#include "engine/tables.h"

namespace mirl::colorOperations {
namespace {

using engine::Pixel;
using Byte = std::uint8_t;

// The table stays where it is, on the device: a functor has its address.
template <int Curves>
struct kernel_lut_8u;

/// One curve for all channels.
template <>
struct kernel_lut_8u<1> : engine::kernel_lookup_there {};

/// A curve for each channel, entry by entry next to each other.
template <>
struct kernel_lut_8u<3> {
  const Byte* entries;

  MIRL_HD Pixel<Byte, 3> operator()(const Pixel<Byte, 3>& in) const {
    return {entries[3 * in.v[0]], entries[3 * in.v[1] + 1], entries[3 * in.v[2] + 2]};
  }

  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char* in) const {
    Byte curve[3][256];
    engine::splitPlanes<Byte, 3>(entries, 256, {curve[0], curve[1], curve[2]});
    engine::lookUp({curve[0], curve[1], curve[2]}, in, count, out);
    return count;
  }
};

bool isTable(const MirlImage& image) {
  const int entries = image.depth() == 8 ? 256 : 65536;
  const int width = entries * image.channels();
  switch (image.type()) {
    case MIRL_8U_C1:
    case MIRL_8U_C3:
    case MIRL_16U_C1:
    case MIRL_16U_C3:
      return image.height() == 1 && image.width() == width;
    default:
      return false;
  }
}

}  // namespace

MirlStatus LUT(const MirlImage& source, const MirlImage& table, MirlImage& destination,
               const MirlStream& stream) {
  if (!core::isLive(source) || !core::isLive(table)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (!isTable(table)) return MIRL_INVALID_ARGUMENT;
  if (source.depth() != table.depth()) return MIRL_MISMATCH;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, source, {&table, &destination}, queue);
  if (found != MIRL_SUCCESS) return found;
  const MirlStatus ready = createOrCompareSize(source, destination, *queue.device,
                                               core::signedDepth(source), source.channels());
  if (ready != MIRL_SUCCESS) return ready;
  if (source.type() != destination.type()) return MIRL_MISMATCH;
  if (source.type() != MIRL_8U_C1 && source.type() != MIRL_8U_C3) return MIRL_TYPE_NOT_SUPPORTED;
  // Its entries would change while they are read.
  if (&table == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;

  const auto* const entries = static_cast<const Byte*>(table.ptr());
  if (source.channels() == 3 && table.channels() == 3) {
    engine::map(queue, kernel_lut_8u<3>{entries}, engine::pixelsOf<Byte, 3>(destination),
                engine::pixelsOf<const Byte, 3>(source));
  } else {
    engine::map(queue, kernel_lut_8u<1>{{entries}}, engine::elementsOf<Byte>(destination),
                engine::elementsOf<const Byte>(source));
  }
  return MIRL_SUCCESS;
}

}  // namespace mirl::colorOperations
