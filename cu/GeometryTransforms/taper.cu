#include <mirl/geometryTransforms.h>

#include "../ImageStatistics/sums.h"
#include "core/outputs.h"
#include "engine/dispatch.h"
#include "engine/map.h"
#include "engine/reduce.h"
#include "runtime/scratch.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace mirl::geometryTransforms {
namespace {

using Sum = imageStatistics::kernel_sum<std::uint8_t>;

constexpr unsigned kLongestMargin = 32767;

/// What a call keeps in device memory: the mean of each channel, and for each distance from the
/// image how much of it there is in a pixel.
struct Fading {
  Sum::Total sums[3 * engine::kGatheredUnits];
  double mean[3];
  double share[kLongestMargin + 1];
};

/// Makes the means and behind them the shares, from distance 0 on.
template <int C>
struct kernel_fading {
  static constexpr engine::Asks asks{.place = true};

  engine::Gathered<C, Sum> sums;
  double pixels;
  double square;  ///< of the distance at which the mean is reached

  MIRL_HD double operator()(engine::Place at) const {
    if (at.x < C) return static_cast<double>(sums.merged(at.x)) / pixels;
    const double distance = at.x - 3;
    // Without a distance there is nothing of the mean, though it be reached at once.
    return distance <= 0 ? 0 : std::sqrt(distance * distance / square);
  }
};

/// The pixels of an image with its corner at (left, top), and what it fades to around it. Items are
/// single elements.
template <int C>
struct kernel_taper {
  static constexpr engine::Asks asks{.place = true, .vectors = true};

  engine::View<const std::uint8_t> in;
  int width;  ///< in pixels
  int left;
  int top;
  const Fading* fading;

  MIRL_HD std::uint8_t operator()(engine::Place at) const {
    const int x = at.x / C - left, y = at.y - top, channel = at.x % C;
    const int column = limited(x, width - 1), row = limited(y, in.height - 1);
    const std::uint8_t nearest = engine::rowOf(in, row)[column * C + channel];
    if (x == column && y == row) return nearest;
    return faded(nearest, fading->share[distance(x, y)], fading->mean[channel]);
  }

  /// Whole rows of pixels inside the image are copied, and beside them have one distance.
  std::ptrdiff_t vectors(engine::Place first, std::ptrdiff_t count, char* out) const {
    const auto within = [&](std::ptrdiff_t element) {
      return std::clamp<std::ptrdiff_t>(element - first.x, 0, count);
    };
    const std::ptrdiff_t begin = within(std::ptrdiff_t{left} * C);
    const std::ptrdiff_t end = within((std::ptrdiff_t{left} + width) * C);
    const auto oneByOne = [&](std::ptrdiff_t from, std::ptrdiff_t to) {
      for (std::ptrdiff_t i = from; i < to; ++i) {
        out[i] = static_cast<char>((*this)({first.x + static_cast<int>(i), first.y}));
      }
    };
    oneByOne(0, begin);
    const int y = first.y - top, row = limited(y, in.height - 1);
    const std::ptrdiff_t column = first.x + begin - std::ptrdiff_t{left} * C;
    const std::uint8_t* const nearest = engine::rowOf(in, row) + column;
    if (y == row) {
      std::memcpy(out + begin, nearest, static_cast<std::size_t>(end - begin));
    } else if (begin < end) {
      fadeRow(nearest, fading->share[distance(0, y)], static_cast<int>(column % C), end - begin,
              reinterpret_cast<std::uint8_t*>(out) + begin);
    }
    oneByOne(end, count);
    return count;
  }

 private:
  MIRL_HD static int limited(int i, int last) { return i < 0 ? 0 : i > last ? last : i; }

  /// How far a pixel outside lies from the image, along one axis. The corners belong to the margins
  /// above, left, below and right in turn, but for the column right beside the image.
  MIRL_HD int distance(int x, int y) const {
    if (y < 0 && x >= 0) return -y;
    if (y >= in.height && x <= width) return y - in.height;
    return x < 0 ? -x : x - width;
  }

  /// Shares above 1 are those beyond the mean.
  MIRL_HD static std::uint8_t faded(std::uint8_t nearest, double share, double mean) {
    const double value = nearest;
    const double made = share > 1 ? mean : value - share * (value - mean);
    return static_cast<std::uint8_t>(static_cast<int>(made));
  }

  void fadeRow(const std::uint8_t* nearest, double share, int channel, std::ptrdiff_t count,
               std::uint8_t* out) const {
    constexpr std::ptrdiff_t kStep = 48;
    double mean[kStep];
    for (int i = 0; i < kStep; ++i) mean[i] = fading->mean[(channel + i) % C];
    std::ptrdiff_t i = 0;
    for (; i + kStep <= count; i += kStep) {
      for (int k = 0; k < kStep; ++k) out[i + k] = faded(nearest[i + k], share, mean[k]);
    }
    for (int k = 0; i + k < count; ++k) out[i + k] = faded(nearest[i + k], share, mean[k]);
  }
};

template <int C>
MirlStatus run(const runtime::Queue& queue, const MirlImage& source, MirlImage& destination,
               unsigned left, unsigned top, unsigned longest) {
  const runtime::Scratch scratch(queue, sizeof(Fading));
  if (!scratch.ok()) return MIRL_DEVICE_ALLOC_FAILED;
  auto* const fading = scratch.as<Fading>();
  const auto in = engine::elementsOf<const std::uint8_t>(source);
  const auto sums = engine::gather<C>(queue, in, Sum{}, fading->sums);
  const double pixels = static_cast<double>(source.width()) * source.height();
  const double radius = source.width() / 2;
  const int shares = static_cast<int>(longest) + 1;
  engine::map(queue, kernel_fading<C>{sums, pixels, radius * radius},
              engine::View<double>{fading->mean, static_cast<std::ptrdiff_t>(sizeof(Fading)),
                                   3 + shares, 1});
  engine::map(
      queue,
      kernel_taper<C>{in, source.width(), static_cast<int>(left), static_cast<int>(top), fading},
      engine::elementsOf<std::uint8_t>(destination));
  return MIRL_SUCCESS;
}

}  // namespace

MirlStatus taper(const MirlImage& source, MirlImage& destination, unsigned int left,
                 unsigned int right, unsigned int top, unsigned int bottom,
                 const MirlStream& stream) {
  if (!core::isLive(source)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (&source == &destination) return MIRL_IN_PLACE_NOT_SUPPORTED;
  const unsigned longest = std::max({left, right, top, bottom});
  if (longest > kLongestMargin) return MIRL_INVALID_ARGUMENT;
  const std::int64_t width = std::int64_t{source.width()} + left + right;
  const std::int64_t height = std::int64_t{source.height()} + top + bottom;
  if (width > INT_MAX || height > INT_MAX) return MIRL_INVALID_ARGUMENT;
  const core::NewOutput isNew(destination);
  const core::Format larger =
      core::like(source, {.size = {static_cast<int>(width), static_cast<int>(height)}});
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&source}, {&destination}, larger, queue);
  if (ready != MIRL_SUCCESS) return ready;

  const bool hasMean =
      engine::visitElements<1, 3>(engine::AllElements{}, engine::typesOf(source), [](auto) {});
  if (!hasMean) return MIRL_MISMATCH;
  if (source.depth() != 8) return MIRL_TYPE_NOT_SUPPORTED;
  const auto tapered = source.channels() == 1 ? run<1> : run<3>;
  return isNew.keptIf(tapered(queue, source, destination, left, top, longest));
}

}  // namespace mirl::geometryTransforms
