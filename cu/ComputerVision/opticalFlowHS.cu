#include <mirl/computerVision.h>

#include "core/access.h"
#include "core/host_results.h"
#include "engine/each.h"
#include "engine/numbers/conversions.h"
#include "engine/view.h"

#include <cstdint>

namespace mirl::computerVision {
namespace {

using engine::any, engine::dividedBy, engine::fill, engine::select, engine::store;
using Bytes = engine::View<const std::uint8_t>;

/// Pixels and their neighbours in the next row and column, both inside.
struct Inside {
  const std::uint8_t* row[2];

  MIRL_HD Inside(const Bytes& image, const engine::Place& at)
      : row{engine::rowOf(image, at.y) + at.x,
            engine::rowOf(image, std::int64_t{at.y} + 1) + at.x} {}
  MIRL_HD int at(int x, int dy) const { return row[dy][x]; }
};

/// The same where a row ends: it goes on with the next one, and behind the last there is 0.
struct AcrossRows {
  const Bytes& image;
  engine::Place place;

  MIRL_HD AcrossRows(const Bytes& image_, const engine::Place& at) : image(image_), place(at) {}
  MIRL_HD int at(int dx, int dy) const {
    const int before = image.width - place.x;  // pixels of this row
    const int x = dx < before ? place.x + dx : dx - before;
    const std::int64_t y = std::int64_t{place.y} + dy + (dx < before ? 0 : 1);
    return y < image.height ? engine::rowOf(image, y)[x] : 0;
  }
};

struct kernel_hornSchunck {
  static constexpr int kVectors = 4;
  /// So long as the square of alpha is no larger, quotients have no extreme exponents.
  static constexpr float kModerate = 0x1p40f;

  /// Steps after which is looked whether there was any progress.
  static constexpr int kRound = 8;

  Bytes first, second;
  float *down, *across;
  float alphaSquared;
  int iterations;

  template <class N>
  MIRL_HD void operator()(engine::Place at) const {
    if (at.x < first.width - engine::kLanesOf<N> && at.y < first.height - 1) {
      derive<N>(at, Inside(first, at), Inside(second, at));
    } else {
      derive<N>(at, AcrossRows(first, at), AcrossRows(second, at));
    }
  }

 private:
  template <class N, class Pixels>
  MIRL_HD void derive(const engine::Place& at, const Pixels& a, const Pixels& b) const {
    const auto sum = [&](int x, int dy) { return a.at(x, dy) + b.at(x, dy); };
    const auto change = [&](int x, int dy) { return b.at(x, dy) - a.at(x, dy); };
    const auto quarter = [](int number) { return static_cast<float>(number / 4); };
    N* const type = nullptr;
    const N iy = fill(type, [&](int x) {
      return quarter(sum(x, 1) + sum(x + 1, 1) - sum(x, 0) - sum(x + 1, 0));
    });
    const N ix = fill(type, [&](int x) {
      return quarter(sum(x + 1, 0) + sum(x + 1, 1) - sum(x, 0) - sum(x, 1));
    });
    const N it = fill(type, [&](int x) {
      return quarter(change(x, 0) + change(x + 1, 0) + change(x, 1) + change(x + 1, 1));
    });
    const std::int64_t index = std::int64_t{at.y} * first.width + at.x;
    const N divisor = iy * iy + N(alphaSquared) + ix * ix;
    if (alphaSquared <= kModerate) {
      // Without derivatives the dividend is 0 and any number will do, one without a reciprocal
      // beyond the floats.
      const N one(1.0f), zero(0.0f);
      const N moderate = select((zero < divisor) & (divisor < one), one, divisor);
      const N reciprocal = one / moderate;
      iterate(iy, ix, it, index,
              [&](const N& value) { return dividedBy(value, moderate, reciprocal); });
    } else {
      iterate(iy, ix, it, index, [&](const N& value) { return value / divisor; });
    }
  }

  template <class N, class Quotient>
  MIRL_HD void iterate(const N& iy, const N& ix, const N& it, std::int64_t index,
                       const Quotient& quotient) const {
    N p(0.0f), q(0.0f);
    for (int left = iterations; left > 0;) {
      const N pBefore = p, qBefore = q;
      const int steps = left < kRound ? left : kRound;
      for (int i = 0; i < steps; ++i) {
        const N t = ix * q;
        p = p - quotient(iy * (iy * p + t + it));
        q = q - quotient(ix * (iy * p + t + it));
      }
      left -= steps;
      // Where a round leads back to its beginning all others do.
      if (!any((p != pBefore) | (q != qBefore))) left %= kRound;
    }
    store(p, down + index);
    store(q, across + index);
  }
};

}  // namespace

MirlStatus opticalFlowHS(const MirlImage& image1, const MirlImage& image2, float* flowFirst,
                         float* flowSecond, bool /*flag*/, float alpha, int iterations,
                         const MirlStream& stream) {
  if (!core::isLive(image1) || !core::isLive(image2)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (image1.depth() != 8) return MIRL_DEPTH_NOT_SUPPORTED;
  if (image1.channels() != 1) return MIRL_CHANNELS_NOT_SUPPORTED;
  if (!core::sameSizeAndFormat(image1, image2)) return MIRL_MISMATCH;
  const std::int64_t pixels = std::int64_t{image1.width()} * image1.height();
  if (pixels < 256) return MIRL_MATRIX_SIZE_MISMATCH;
  if (flowFirst == nullptr || flowSecond == nullptr) return MIRL_NULL_POINTER;
  if (image1.isSigned() || image2.isSigned()) return MIRL_TYPE_NOT_SUPPORTED;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, image1, {&image2}, queue);
  if (found != MIRL_SUCCESS) return found;

  const auto count = static_cast<std::size_t>(pixels);
  const core::HostResult<float> down(queue, flowFirst, count), across(queue, flowSecond, count);
  if (!down.ok() || !across.ok()) return MIRL_DEVICE_ALLOC_FAILED;
  const kernel_hornSchunck kernel{engine::elementsOf<const std::uint8_t>(image1),
                                  engine::elementsOf<const std::uint8_t>(image2),
                                  down.data(),
                                  across.data(),
                                  alpha * alpha,
                                  iterations};
  const auto steps = static_cast<std::size_t>(iterations > 0 ? iterations : 0);
  engine::each(queue, kernel, image1.width(), image1.height(), 16 + 8 * steps);
  return core::fetch(queue, down, across);
}

}  // namespace mirl::computerVision
