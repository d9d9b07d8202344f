#include <mirl/imageStatistics.h>

#include "core/access.h"
#include "core/histogram_access.h"
#include "engine/histogram.h"
#include "runtime/scratch.h"

#include <cstdint>
#include <utility>

namespace mirl::imageStatistics {
namespace {

constexpr int kBins = 256;

void addTo(const runtime::Queue& queue, const MirlImage& in, std::uint32_t* bins) {
  const auto elements = engine::elementsOf<const std::uint8_t>(in);
  if (in.channels() == 1) {
    engine::addHistogram<1>(queue, elements, bins);
  } else {
    engine::addHistogram<3>(queue, elements, bins);
  }
}

/// Counts into device memory first, and waits for the copy.
MirlStatus replace(const runtime::Queue& queue, const MirlImage& in, std::uint32_t* bins) {
  const std::size_t bytes = sizeof *bins * kBins * static_cast<std::size_t>(in.channels());
  const runtime::Scratch counts(queue, bytes);
  if (!counts.ok()) return MIRL_DEVICE_ALLOC_FAILED;
  if (!queue.device->fillAsync({counts.data(), bytes, 0, bytes, 1}, queue.stream)) {
    return MIRL_MEMSET_FAILED;
  }
  addTo(queue, in, counts.as<std::uint32_t>());
  if (!queue.device->copyAsync(
          {bins, bytes, counts.data(), bytes, bytes, 1, runtime::Direction::deviceToHost},
          queue.stream)) {
    return MIRL_COPY_D2H_FAILED;
  }
  return queue.device->synchronize(queue.stream) ? MIRL_SUCCESS : MIRL_KERNEL_FAILED;
}

}  // namespace

MirlStatus calcHist(const MirlImage& in, MirlHistogram& histogram, const MirlStream& stream) {
  const bool onDevice = histogram.isInitialized() && histogram.location() == MIRL_POINTER_DEVICE;
  runtime::Device* const itsDevice = HistogramAccess::device(histogram);
  if (!core::isLive(in) || (onDevice && itsDevice == nullptr)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (in.depth() != 8) return MIRL_DEPTH_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, in, {}, queue);
  if (found != MIRL_SUCCESS) return found;
  if (onDevice && itsDevice != queue.device) return MIRL_MISMATCH;

  MirlHistogram made;
  if (!histogram.isInitialized()) {
    const MirlStatus created = made.create(in.type(), MIRL_POINTER_HOST);
    if (created != MIRL_SUCCESS) {
      return created == MIRL_TYPE_NOT_SUPPORTED ? MIRL_MISMATCH : created;
    }
  }
  MirlHistogram& out = made.isInitialized() ? made : histogram;
  if (out.binCount() != kBins && out.binCount() != 3 * kBins) return MIRL_MISMATCH;
  if (in.channels() != 1 && in.channels() != 3) return MIRL_CHANNELS_NOT_SUPPORTED;
  if (out.binCount() < kBins * in.channels()) return MIRL_MISMATCH;

  if (onDevice) {
    addTo(queue, in, out.hist());
    return MIRL_SUCCESS;
  }
  const MirlStatus status = replace(queue, in, out.hist());
  if (status == MIRL_SUCCESS && made.isInitialized()) histogram = std::move(made);
  return status;
}

}  // namespace mirl::imageStatistics
