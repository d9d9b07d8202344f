#pragma once

// The host path of resampling through any map. The image is worked on in tiles, so that a turned
// source is read in patches that the caches hold; a tile in short blocks of a row, which are
// gathered and then blended in vector loops. Most blocks lie wholly inside the source, where they
// are fetched without tests, or wholly outside.

#include "engine/host/block_pairs.h"
#include "engine/host/element_pairs.h"
#include "engine/host/ivdep.h"
#include "engine/host/rows.h"
#include "engine/sampling.h"
#include "engine/view.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace mirl::engine::resample {

inline constexpr int kTileWidth = 256;
inline constexpr int kTileHeight = 64;
inline constexpr int kRowsAhead = 8;

/// Of pixels `Step` apart.
template <class Sampler, int Step = 1, class Map>
void locate(const Map map, int x, int y, BlockPositions& at) {
  for (int i = 0; i < kBlock; ++i) {
    const Position across = Sampler::locate(map(x + i * Step, y).x);
    at.x[i] = across.index;
    at.acrossFraction[i] = across.fraction;
  }
  for (int i = 0; i < kBlock; ++i) {
    const Position down = Sampler::locate(map(x + i * Step, y).y);
    at.y[i] = down.index;
    at.downFraction[i] = down.fraction;
  }
}

/// The same of pixels that all have their first tap inside.
template <class Sampler, class Map>
void locateInside(const Map map, int x, int y, BlockPositions& at) {
  for (int i = 0; i < kBlock; ++i) {
    const auto point = map(x + i, y);
    const Position across = positionInside(point.x), down = positionInside(point.y);
    at.x[i] = across.index;
    at.acrossFraction[i] = across.fraction;
    at.y[i] = down.index;
    at.downFraction[i] = down.fraction;
  }
}

enum class Cover { inside, outside, mixed };

/// How the taps of a block lie on a source of that size.
template <class Sampler, class Border>
Cover coverOf(const Box& box, int width, int height) {
  constexpr std::int64_t kLast = Sampler::kFirst + Sampler::kTaps - 1;
  const bool inside = box.left + Sampler::kFirst >= 0 && box.right + kLast < width &&
                      box.top + Sampler::kFirst >= 0 && box.bottom + kLast < height;
  if (inside) return Cover::inside;
  // How far before the first pixel a place may lie for its pixel to have a value.
  constexpr int kReach = Border::kReachesAll ? Sampler::kTaps - 1 : 0;
  const bool outside =
      box.right + Sampler::kFirst < -kReach || box.left + Sampler::kFirst >= width ||
      box.bottom + Sampler::kFirst < -kReach || box.top + Sampler::kFirst >= height;
  return outside ? Cover::outside : Cover::mixed;
}

/// Where a block lies, as its positions do.
struct Located {
  Box box;
  Cover cover;
};

/// Whether the pixels of a block come from neighbours in one source row, as in a shift and in long
/// stretches of a slight turn.
inline bool isRun(const BlockPositions& at) {
  int differences = 0;
  for (int i = 0; i < kBlock; ++i) {
    differences |= (at.x[i] - at.x[0] - i) | (at.y[i] - at.y[0]);
  }
  return differences == 0;
}

/// Such a block, its taps all inside: nothing needs to be gathered.
template <class Codec, class T, int C>
void blendRun(const Codec& codec, const BlockPositions& at, const View<const Pixel<T, C>>& in,
              char* out) {
  constexpr int kElements = kBlock * C;
  alignas(64) float across[kElements], down[kElements];
  for (int i = 0; i < kBlock; ++i) {
    for (int c = 0; c < C; ++c) {
      across[i * C + c] = at.acrossFraction[i];
      down[i * C + c] = at.downFraction[i];
    }
  }
  const char* upper = rowBytes(in, at.y[0]) + at.x[0] * std::ptrdiff_t{sizeof(T) * C};
  const char* lower = upper + in.pitch;
  MIRL_IVDEP
  for (int e = 0; e < kElements; ++e) {
    const float acrossWeights[1] = {across[e]};
    const float downWeights[1] = {down[e]};
    const float above[2] = {codec.load(loadItem<T>(upper, e)),
                            codec.load(loadItem<T>(upper, e + C))};
    const float below[2] = {codec.load(loadItem<T>(lower, e)),
                            codec.load(loadItem<T>(lower, e + C))};
    const float lines[2] = {Bilinear::blend(above, acrossWeights),
                            Bilinear::blend(below, acrossWeights)};
    storeItem(out, e, codec.store(Bilinear::blend(lines, downWeights)));
  }
}

/// The source pixel at (x, y), which may lie outside.
template <class Border, class T, int C>
void readTap(const View<const Pixel<T, C>>& in, int x, int y, T* to) {
  const int column = Border::limit(x, in.width);
  const int row = Border::limit(y, in.height);
  if (Border::kHasNone && (column < 0 || row < 0)) {
    std::fill_n(to, C, T{});
  } else {
    constexpr std::ptrdiff_t kBytes = sizeof(Pixel<T, C>);
    std::memcpy(to, rowBytes(in, row) + column * kBytes, kBytes);
  }
}

/// The pairs of pixels whose taps are all inside, wherever they lie.
template <class T>
void gatherPairs(const View<const Pixel<T, 1>>& in, const BlockPositions& at,
                 BlockPairs<T>& pairs) {
  for (int i = 0; i < kBlock; ++i) {
    const char* from = rowBytes(in, at.y[i]) + at.x[i] * std::ptrdiff_t{sizeof(T)};
    std::memcpy(&pairs.above[i], from, sizeof pairs.above[i]);
    std::memcpy(&pairs.below[i], from + in.pitch, sizeof pairs.below[i]);
  }
}

/// A block of one channel, from pairs of neighbours.
template <class Border, bool InOrder, class Codec, class T>
void blendGathered(const Codec& codec, const BlockPositions& at, const Located& located,
                   const View<const Pixel<T, 1>>& in, char* out) {
  [[maybe_unused]] const View<const T> elements{reinterpret_cast<const T*>(in.data), in.pitch,
                                                in.width, in.height};
  BlockPairs<T> pairs;
  if (located.cover == Cover::inside) {
    // Of words of eight bytes too few are picked at a time.
    bool picked = false;
    if constexpr (sizeof(T) < 4) picked = pickPairs<InOrder>(elements, at, located.box, pairs);
    if (!picked) gatherPairs(in, at, pairs);
  } else {
    for (int i = 0; i < kBlock; ++i) {
      T taps[4];
      for (int k = 0; k < 4; ++k) readTap<Border>(in, at.x[i] + k % 2, at.y[i] + k / 2, taps + k);
      std::memcpy(&pairs.above[i], taps, sizeof pairs.above[i]);
      std::memcpy(&pairs.below[i], taps + 2, sizeof pairs.below[i]);
    }
  }
  if constexpr (sizeof(T) == 1) {
    if (blendBytes<Codec::kIsNormalized>(pairs, at, reinterpret_cast<T*>(out))) return;
  }
  alignas(64) T made[kBlock];
  for (int i = 0; i < kBlock; ++i) {
    const float across[1] = {at.acrossFraction[i]};
    const float down[1] = {at.downFraction[i]};
    const float above[2] = {codec.load(firstOf<T>(pairs.above[i])),
                            codec.load(secondOf<T>(pairs.above[i]))};
    const float below[2] = {codec.load(firstOf<T>(pairs.below[i])),
                            codec.load(secondOf<T>(pairs.below[i]))};
    const float lines[2] = {Bilinear::blend(above, across), Bilinear::blend(below, across)};
    made[i] = codec.store(Bilinear::blend(lines, down));
  }
  std::memcpy(out, made, sizeof made);
}

/// The four neighbours of every pixel of a block with three channels. They stand in groups of four
/// elements, the fourth being there to fill the vectors; `right` begins with one other.
template <class T>
struct NeighbourGroups {
  static constexpr int kGroup = 4;
  static constexpr int kElements = kBlock * kGroup;
  alignas(64) T upperLeft[kElements];
  alignas(64) T lowerLeft[kElements];
  alignas(64) T upperRight[kElements + 1];
  alignas(64) T lowerRight[kElements + 1];

  /// Of pixels whose taps are all inside.
  NeighbourGroups(const BlockPositions& at, const View<const Pixel<T, 3>>& in) {
    // The two are six elements: groups at the first and at the third of them, so that the right
    // neighbour's first element is the second one of its group.
    constexpr std::size_t kBytes = kGroup * sizeof(T);
    upperRight[kElements] = lowerRight[kElements] = T{};
    alignas(64) std::ptrdiff_t offset[kBlock];
    for (int i = 0; i < kBlock; ++i) {
      offset[i] = at.y[i] * in.pitch + at.x[i] * std::ptrdiff_t{3 * sizeof(T)};
    }
    const auto* data = reinterpret_cast<const char*>(in.data);
    for (int i = 0; i < kBlock; ++i) {
      const char* from = data + offset[i];
      std::memcpy(upperLeft + i * kGroup, from, kBytes);
      std::memcpy(upperRight + i * kGroup, from + 2 * sizeof(T), kBytes);
      std::memcpy(lowerLeft + i * kGroup, from + in.pitch, kBytes);
      std::memcpy(lowerRight + i * kGroup, from + in.pitch + 2 * sizeof(T), kBytes);
    }
  }

  /// Of any pixels.
  template <class Border>
  NeighbourGroups(Border, const BlockPositions& at, const View<const Pixel<T, 3>>& in) {
    for (int i = 0; i < kBlock; ++i) {
      const int e = i * kGroup;
      upperLeft[e + 3] = lowerLeft[e + 3] = upperRight[e] = lowerRight[e] = T{};
      readTap<Border>(in, at.x[i], at.y[i], upperLeft + e);
      readTap<Border>(in, at.x[i] + 1, at.y[i], upperRight + e + 1);
      readTap<Border>(in, at.x[i], at.y[i] + 1, lowerLeft + e);
      readTap<Border>(in, at.x[i] + 1, at.y[i] + 1, lowerRight + e + 1);
    }
    upperRight[kElements] = lowerRight[kElements] = T{};
  }
};

/// Puts groups of four elements down as pixels of three. What is written over a pixel's end is
/// overwritten by the next one; the last has no next one.
template <class T>
void packGroups(const T* groups, char* out) {
  constexpr std::size_t kPixel = 3 * sizeof(T);
  for (int i = 0; i < kBlock - 1; ++i) {
    std::memcpy(out + i * kPixel, groups + i * 4, 4 * sizeof(T));
  }
  std::memcpy(out + (kBlock - 1) * kPixel, groups + (kBlock - 1) * 4, kPixel);
}

/// The same of three channels.
template <class Border, bool InOrder, class Codec, class T>
void blendGathered(const Codec& codec, const BlockPositions& at, const Located& located,
                   const View<const Pixel<T, 3>>& in, char* out) {
  using Groups = NeighbourGroups<T>;
  const Groups groups = located.cover == Cover::inside ? Groups(at, in) : Groups(Border{}, at, in);
  alignas(64) float across[Groups::kElements], down[Groups::kElements];
  for (int i = 0; i < kBlock; ++i) {
    for (int k = 0; k < Groups::kGroup; ++k) {
      across[i * Groups::kGroup + k] = at.acrossFraction[i];
      down[i * Groups::kGroup + k] = at.downFraction[i];
    }
  }
  alignas(64) T made[Groups::kElements];
  for (int e = 0; e < Groups::kElements; ++e) {
    const float acrossWeights[1] = {across[e]};
    const float downWeights[1] = {down[e]};
    const float above[2] = {codec.load(groups.upperLeft[e]), codec.load(groups.upperRight[e + 1])};
    const float below[2] = {codec.load(groups.lowerLeft[e]), codec.load(groups.lowerRight[e + 1])};
    const float lines[2] = {Bilinear::blend(above, acrossWeights),
                            Bilinear::blend(below, acrossWeights)};
    made[e] = codec.store(Bilinear::blend(lines, downWeights));
  }
  packGroups(made, out);
}

template <class Sampler, class Border, class Map, class T>
Located locateBlock(const Map& map, const View<T>& in, int x, int y, BlockPositions& at) {
  if constexpr (Map::kKeepsOrder && std::is_same_v<Sampler, Bilinear>) {
    // The ends of the block tell about all of it.
    const auto first = map(x, y), last = map(x + kBlock - 1, y);
    const int x0 = Sampler::locate(first.x).index, x1 = Sampler::locate(last.x).index;
    const int y0 = Sampler::locate(first.y).index, y1 = Sampler::locate(last.y).index;
    const Box box{std::min(x0, x1), std::min(y0, y1), std::max(x0, x1), std::max(y0, y1)};
    if (coverOf<Sampler, Border>(box, in.width, in.height) == Cover::inside) {
      locateInside<Sampler>(map, x, y, at);
      return {box, Cover::inside};
    }
  }
  locate<Sampler>(map, x, y, at);
  const Box box = Box::of<false>(at, 0, kBlock);
  return {box, coverOf<Sampler, Border>(box, in.width, in.height)};
}

/// A block of destination pixels at `out`.
template <class Sampler, class Border, bool InOrder, class Codec, class T, int C>
void sampleBlock(const Codec& codec, const BlockPositions& at, const Located& located,
                 const View<const Pixel<T, C>>& in, char* out) {
  const auto& [box, cover] = located;
  if ((Border::kHasNone || !Border::kReachesAll) && cover == Cover::outside) {
    Pixel<T, C> zero;
    for (T& element : zero.v) element = codec.store(0.0f);
    for (int i = 0; i < kBlock; ++i) storeItem(out, i, zero);
  } else if constexpr (!std::is_same_v<Sampler, Bilinear>) {
    for (int i = 0; i < kBlock; ++i) {
      const Position across{at.x[i], at.acrossFraction[i]};
      const Position down{at.y[i], at.downFraction[i]};
      storeItem(out, i, sample<Sampler, Border, false>(codec, in, across, down));
    }
  } else if (cover == Cover::inside && box.top == box.bottom && isRun(at)) {
    blendRun(codec, at, in, out);
  } else {
    blendGathered<Border, InOrder>(codec, at, located, in, out);
  }
  if constexpr (!Border::kReachesAll) {
    for (int i = 0; cover == Cover::mixed && i < kBlock; ++i) {
      const Position across{at.x[i], at.acrossFraction[i]};
      const Position down{at.y[i], at.downFraction[i]};
      if (!reaches<Border>(in, across, down)) storeItem(out, i, Pixel<T, C>{});
    }
  }
}

/// The destination pixels from x to `end` of row y. The last block begins early, so that it is a
/// whole one; rows shorter than a block go pixel by pixel.
template <class Sampler, class Border, class Map, class Codec, class T, int C>
void sampleRow(const Map& map, const Codec& codec, const View<Pixel<T, C>>& out,
               const View<const Pixel<T, C>>& in, int x, int end, int y) {
  char* row = rowBytes(out, y);
  if (end < kBlock) {
    for (; x < end; ++x) {
      storeItem(row, x, sampleAt<Sampler, Border, false>(codec, in, map(x, y)));
    }
    return;
  }
  BlockPositions at;
  for (int left = x; left<end; left = end - left> kBlock ? left + kBlock : end) {
    const int first = std::min(left, end - kBlock);
    const Located located = locateBlock<Sampler, Border>(map, in, first, y, at);
    sampleBlock<Sampler, Border, Map::kKeepsOrder>(
        codec, at, located, in, row + first * std::ptrdiff_t{sizeof(Pixel<T, C>)});
  }
}

/// Asks for what a row further on will read: a turned source is no stream that the processor would
/// recognise by itself. One pixel in four is enough, or in eight of single bytes, because several
/// rows meet a line of the caches. Always inline: GCC takes a function that only prefetches for one
/// without effect, and drops calls.
template <class Map, class T, int C>
[[gnu::always_inline]] inline void prefetchRow(const Map& map, const View<const Pixel<T, C>>& in,
                                               int x, int end, int y) {
  constexpr int kStep = sizeof(Pixel<T, C>) == 1 ? 8 : 4;
  BlockPositions at;
  for (; end - x >= kBlock * kStep; x += kBlock * kStep) {
    locate<Bilinear, kStep>(map, x, y, at);
    for (int i = 0; i < kBlock; ++i) {
      const int column = EdgeBorder::limit(at.x[i], in.width);
      const int row = EdgeBorder::limit(at.y[i], in.height);
      __builtin_prefetch(rowBytes(in, row) + column * std::ptrdiff_t{sizeof(Pixel<T, C>)});
    }
  }
}

template <class Sampler, class Border, class Map, class Codec, class T, int C>
void mapOnHost(const Map& map, const Codec& codec, const View<Pixel<T, C>>& out,
               const View<const Pixel<T, C>>& in) {
  // A pixel costs as much as moving a good many bytes.
  const auto work = static_cast<std::size_t>(out.width) * 8 * sizeof(Pixel<T, C>);
  host::forRows(out.height, work, [&](const host::Rows& rows) {
    int bottom = rows.begin;
    for (int top = rows.begin; top < rows.end; top = bottom) {
      // Tiles of about one height, none of them a thin rest.
      const int tiles = (rows.end - top + kTileHeight - 1) / kTileHeight;
      bottom = top + (rows.end - top + tiles - 1) / tiles;
      int right = 0;
      for (int left = 0; left < out.width; left = right) {
        right = left + std::min(kTileWidth, out.width - left);
        for (int y = top; y < bottom; ++y) {
          if (bottom - y > kRowsAhead) prefetchRow(map, in, left, right, y + kRowsAhead);
          sampleRow<Sampler, Border>(map, codec, out, in, left, right, y);
        }
      }
    }
  });
}

}  // namespace mirl::engine::resample
