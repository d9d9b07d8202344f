#include "core/scratch_images.h"

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <numeric>

namespace mirl::core {
namespace {

constexpr std::int64_t kAlignment = 256;

/// Bytes from row to row; 0 for a format that no image has.
std::int64_t pitchOf(const Format& format) {
  if (format.size.width < 1 || format.size.height < 1) return 0;
  const std::int64_t row =
      std::int64_t{format.size.width} * format.channels * (std::abs(format.depth) / 8);
  const std::int64_t pitch = (row + kAlignment - 1) / kAlignment * kAlignment;
  return pitch <= INT_MAX ? pitch : 0;
}

}  // namespace

void ScratchImages::reserve(std::size_t i, const Format& format) {
  const std::int64_t bytes = pitchOf(format) * format.size.height;
  bytes_[i] = std::max(bytes_[i], static_cast<std::size_t>(bytes));
}

MirlImage& ScratchImages::get(const runtime::Queue& queue, std::size_t i, const Format& format) {
  if (!scratch_)
    scratch_.emplace(queue, std::accumulate(bytes_.begin(), bytes_.end(), std::size_t{0}));
  MirlImage& image = images_[i];
  ImageAccess::clear(image);
  const std::int64_t pitch = pitchOf(format);
  if (!scratch_->ok() || pitch == 0) return image;
  std::byte* const data =
      std::accumulate(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(i),
                      std::size_t{0}) +
      scratch_->as<std::byte>();
  ImageAccess::lend(image, *queue.device, data, static_cast<int>(pitch), format.size.width,
                    format.size.height, format.depth, format.channels);
  return image;
}

ScratchImages::~ScratchImages() {
  for (MirlImage& image : images_) ImageAccess::clear(image);
}

}  // namespace mirl::core
