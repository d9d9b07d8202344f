#include <mirl/computerVision.h>

#include "core/access.h"
#include "core/host_results.h"
#include "engine/borders.h"
#include "engine/each.h"
#include "engine/map.h"
#include "engine/moving_window.h"
#include "engine/resample.h"
#include "engine/stencil.h"
#include "engine/view.h"
#include "runtime/scratch.h"

#include <algorithm>
#include <cstdint>

namespace mirl::computerVision {
namespace {

using engine::any, engine::except, engine::fill, engine::load, engine::magnitude, engine::select,
    engine::store;
using engine::Halo, engine::Pixel, engine::Place, engine::View;
using Bytes = View<const std::uint8_t>;
using Floats = View<const float>;

/// A pixel's differences to either side and above and below, and the pixel itself.
struct kernel_texture {
  static constexpr Halo halo{.across = 1, .down = 1};

  template <class Neighbours>
  MIRL_HD Pixel<float, 3> operator()(const Neighbours& n) const {
    const auto difference = [](std::uint8_t after, std::uint8_t before) {
      return static_cast<float>(static_cast<std::int16_t>(after - before));
    };
    return {difference(n(1, 0), n(-1, 0)), difference(n(0, 1), n(0, -1)), engine::toFloat(n(0, 0))};
  }
};

/// Twice the flow of the nearest pixel of the coarser level, 0 if there is none.
struct kernel_guess {
  static constexpr engine::Asks asks{.place = true};

  Floats u, v;

  MIRL_HD Pixel<float, 2> operator()(Place at) const {
    if (u.data == nullptr) return {0.0f, 0.0f};
    const int x = at.x >> 1 < u.width ? at.x >> 1 : u.width - 1;
    const int y = at.y >> 1 < u.height ? at.y >> 1 : u.height - 1;
    return {2.0f * engine::rowOf(u, y)[x], 2.0f * engine::rowOf(v, y)[x]};
  }
};

/// Pixels whose windows lie inside; the first one is at `origin`.
struct kernel_lucasKanade {
  static constexpr int kVectors = 1;

  Floats gx, gy, first;
  Bytes second;
  kernel_guess guess;
  View<float> u, v;
  Place origin;
  Halo reach;
  int maxIterations;
  float minDisplacement;

  template <class N>
  MIRL_HD void operator()(Place item) const {
    const Place at{origin.x + item.x, origin.y + item.y};
    const auto guessed = [&](int c) {
      return fill(type<N>(), [&](int lane) { return guess(Place{at.x + lane, at.y}).v[c]; });
    };
    N across = guessed(0), down = guessed(1);
    if (maxIterations > 0) iterate(at, across, down);
    const N x = fill(type<N>(), [&](int lane) { return static_cast<float>(at.x + lane); });
    const N y(static_cast<float>(at.y));
    store(kept(across, x, u.width), engine::rowOf(u, at.y) + at.x);
    store(kept(down, y, u.height), engine::rowOf(v, at.y) + at.x);
  }

 private:
  template <class N>
  MIRL_HD static N* type() {
    return nullptr;
  }

  template <class N>
  MIRL_HD static N kept(const N& movement, const N& from, int length) {
    const N zero(0.0f), last(static_cast<float>(length - 1)), to = movement + from;
    return select((last < to) | (to < zero), zero, movement);
  }

  template <class N>
  MIRL_HD N at(const Floats& plane, const Place& place, int dx, int dy) const {
    return load(type<N>(), engine::rowOf(plane, place.y + dy) + place.x + dx);
  }

  template <class N>
  MIRL_HD void iterate(const Place& place, N& across, N& down) const {
    const N zero(0.0f), small(minDisplacement);
    N gxx = zero, gyy = zero, gxy = zero;
    for (int dy = -reach.down; dy <= reach.down; ++dy) {
      for (int dx = -reach.across; dx <= reach.across; ++dx) {
        const N x = at<N>(gx, place, dx, dy), y = at<N>(gy, place, dx, dy);
        gxx = gxx + x * x;
        gyy = gyy + y * y;
        gxy = gxy + x * y;
      }
    }
    const N det = (gxx * gyy - gxy * gxy) + N(1e-12f);
    engine::MovingWindow<N, engine::NormalizedBytes> window(second, place, reach);
    auto moving = zero < N(1.0f);
    for (int i = 0; i < maxIterations && any(moving); ++i) {
      window.open(across, down);
      N bx = zero, by = zero;
      for (int dy = -reach.down; dy <= reach.down; ++dy) {
        const auto row = [&](const Floats& plane) {
          return engine::rowOf(plane, place.y + dy) + place.x;
        };
        const float *pixels = row(first), *slopesX = row(gx), *slopesY = row(gy);
        window.row(dy, [&](int dx, const N& moved) {
          const N d = load(type<N>(), pixels + dx) - N(255.0f) * moved;
          bx = bx + load(type<N>(), slopesX + dx) * d;
          by = by + load(type<N>(), slopesY + dx) * d;
        });
      }
      const N du = (bx * gyy - by * gxy) / det, dv = (by * gxx - bx * gxy) / det;
      across = select(moving, across + du, across);
      down = select(moving, down + dv, down);
      const auto smallX = magnitude(du) < small, smallY = magnitude(dv) < small;
      moving = except(moving, smallX & smallY);
    }
  }
};

/// Parts of one block, planes with rows that are aligned as vectors are.
class Planes {
 public:
  explicit Planes(char* memory) : memory_(memory) {}

  template <class T>
  View<T> take(const MirlSize& size) {
    const std::size_t pitch = roundUp(static_cast<std::size_t>(size.width) * sizeof(T));
    View<T> plane{nullptr, static_cast<std::ptrdiff_t>(pitch), size.width, size.height};
    if (memory_ != nullptr) plane.data = reinterpret_cast<T*>(memory_ + bytes_);
    bytes_ += pitch * static_cast<std::size_t>(size.height);
    return plane;
  }
  std::size_t bytes() const { return bytes_; }

 private:
  static std::size_t roundUp(std::size_t bytes) { return (bytes + 63) / 64 * 64; }

  char* memory_;
  std::size_t bytes_ = 0;
};

template <class T>
View<const T> constant(const View<T>& view) {
  return {view.data, view.pitch, view.width, view.height};
}

/// A level's images and its flow.
struct Level {
  View<std::uint8_t> first, second;
  View<float> u, v;
};

struct Levels {
  static constexpr int kMost = 31;

  Level of[kMost];
  View<float> texture[3];

  /// In that memory, or to see how much it takes.
  Levels(Planes& planes, const MirlSize& size, int levels) {
    for (auto& plane : texture) plane = planes.take<float>(size);
    for (int l = 1; l <= levels; ++l) {
      const MirlSize half(size.width >> l, size.height >> l);
      of[l] = {planes.take<std::uint8_t>(half), planes.take<std::uint8_t>(half),
               planes.take<float>(half), planes.take<float>(half)};
    }
  }
};

View<Pixel<std::uint8_t, 1>> pixelsOf(const View<std::uint8_t>& view) {
  return {reinterpret_cast<Pixel<std::uint8_t, 1>*>(view.data), view.pitch, view.width,
          view.height};
}

bool halve(const runtime::Queue& queue, const View<std::uint8_t>& out, const MirlImage& in) {
  return engine::resampleZoom<engine::Bilinear>(queue, engine::PlainElements<std::uint8_t>{},
                                                pixelsOf(out),
                                                engine::pixelsOf<const std::uint8_t, 1>(in));
}

/// Queues the flow of a level.
void solve(const runtime::Queue& queue, const Level& level, const Level* coarser,
           const View<float> (&room)[3], const MirlTrackingCriteria& criteria) {
  const int width = level.u.width, height = level.u.height;
  View<float> texture[3];
  for (int i = 0; i < 3; ++i) texture[i] = {room[i].data, room[i].pitch, width, height};
  engine::stencil<1, engine::NearestElement>(queue, kernel_texture{},
                                             engine::planarOf(texture[0], texture[1], texture[2]),
                                             constant(level.first));
  kernel_guess guess{};
  if (coarser != nullptr) guess = {constant(coarser->u), constant(coarser->v)};
  engine::map(queue, guess, engine::planarOf(level.u, level.v));

  const auto begin = [](int reach, int length) { return std::clamp(reach, 0, length); };
  const auto end = [](int reach, int length) {
    return static_cast<int>(std::clamp<std::int64_t>(std::int64_t{length} - reach, 0, length));
  };
  const Halo reach{criteria.window.width, criteria.window.height};
  const Place origin{begin(reach.across, width), begin(reach.down, height)};
  const kernel_lucasKanade kernel{constant(texture[0]),
                                  constant(texture[1]),
                                  constant(texture[2]),
                                  constant(level.second),
                                  guess,
                                  level.u,
                                  level.v,
                                  origin,
                                  reach,
                                  criteria.maxIterations,
                                  criteria.minDisplacement};
  engine::each(queue, kernel, end(reach.across, width) - origin.x,
               end(reach.down, height) - origin.y, 4096);
}

}  // namespace

MirlStatus opticalFlowPyrLKDense(const MirlImage& image1, const MirlImage& image2, float* flowX,
                                 float* flowY, MirlTrackingCriteria criteria,
                                 const MirlStream& stream) {
  if (!core::isLive(image1) || !core::isLive(image2)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (!core::sameSize(image1, image2) || image1.type() != image2.type()) return MIRL_MISMATCH;
  if (image1.type() != MIRL_8U_C1) return MIRL_TYPE_NOT_SUPPORTED;
  if (flowX == nullptr || flowY == nullptr) return MIRL_NULL_POINTER;
  const MirlSize size = image1.size();
  const int levels = criteria.levels;
  if (levels < 0 || levels >= Levels::kMost || criteria.maxIterations < 0) {
    return MIRL_INVALID_ARGUMENT;
  }
  if (size.width >> levels == 0 || size.height >> levels == 0) return MIRL_INVALID_ARGUMENT;
  runtime::Queue queue;
  const MirlStatus found = core::findQueue(stream, image1, {&image2}, queue);
  if (found != MIRL_SUCCESS) return found;

  const std::size_t count =
      static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
  const core::HostResult<float> u(queue, flowX, count), v(queue, flowY, count);
  Planes none(nullptr);
  static_cast<void>(Levels(none, size, levels));
  const runtime::Scratch scratch(queue, none.bytes());
  if (!u.ok() || !v.ok() || !scratch.ok()) return MIRL_DEVICE_ALLOC_FAILED;
  Planes planes(scratch.as<char>());
  Levels all(planes, size, levels);
  const auto pitch = static_cast<std::ptrdiff_t>(sizeof(float)) * size.width;
  all.of[0] = {engine::elementsOf<std::uint8_t>(image1),
               engine::elementsOf<std::uint8_t>(image2),
               {u.data(), pitch, size.width, size.height},
               {v.data(), pitch, size.width, size.height}};
  for (int l = levels; l >= 0; --l) {
    const Level& level = all.of[l];
    const bool ready =
        l == 0 || (halve(queue, level.first, image1) && halve(queue, level.second, image2));
    if (!ready) return MIRL_DEVICE_ALLOC_FAILED;
    solve(queue, level, l < levels ? &all.of[l + 1] : nullptr, all.texture, criteria);
  }
  return core::fetch(queue, u, v);
}

}  // namespace mirl::computerVision
