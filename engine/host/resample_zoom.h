#pragma once

// The host path of a zoom. Source rows are blended along the row into lines of floats, which are
// kept as long as destination rows need them, and destination rows are blended of those lines. What
// columns have in common is tabled once for the call.

#include "engine/host/element_pairs.h"
#include "engine/host/ivdep.h"
#include "engine/host/planes.h"
#include "engine/host/resample_windows.h"
#include "engine/host/rows.h"
#include "engine/sampling.h"
#include "engine/view.h"
#include "runtime/scratch.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace mirl::engine::resample {

/// Which source pixels the columns of a zoom read, and with which weights.
template <class Sampler, int C>
class ZoomColumns {
 public:
  ZoomColumns(const runtime::Queue& queue, const ZoomAxis& axis)
      : sourceWidth_(static_cast<int>(axis.source)),
        width_(static_cast<int>(axis.destination)),
        lanes_(axis.source <= 2 * axis.destination ? windowLanes() : 0),
        stride_(roundUp(static_cast<std::size_t>(width_) * C)),
        wide_(roundUp((static_cast<std::size_t>(sourceWidth_) + 2 * Sampler::kTaps) * C) + 64),
        scratch_(queue, sizeof(float) * tableFloats()) {
    if (!ok()) return;
    if (lanes_ == 0 || !makeWindows(axis)) makeColumns(axis);
  }

  bool ok() const { return scratch_.ok(); }
  bool hasWindows() const { return lanes_ != 0; }

  /// What a thread works in: a source row as floats, and a line for each tap.
  struct Buffers {
    float* wide;
    float* lines[Sampler::kTaps];
  };
  std::size_t bufferBytes() const { return sizeof(float) * (wide_ + Sampler::kTaps * stride_); }
  Buffers buffersIn(std::byte* scratch) const {
    Buffers buffers;
    buffers.wide = reinterpret_cast<float*>(scratch);
    for (int k = 0; k < Sampler::kTaps; ++k) {
      buffers.lines[k] = buffers.wide + wide_ + static_cast<std::size_t>(k) * stride_;
    }
    return buffers;
  }

  /// A source row, blended along itself.
  template <class T, class Codec>
  void blendRow(const Codec& codec, const char* row, float* wide, float* line) const {
    if (!hasWindows()) {
      blendColumns<T>(codec, row, line);
      return;
    }
    float* inner = wide + kPad * C;
    const std::ptrdiff_t elements = std::ptrdiff_t{sourceWidth_} * C;
    MIRL_IVDEP
    for (std::ptrdiff_t e = 0; e < elements; ++e) inner[e] = codec.load(loadItem<T>(row, e));
    for (int i = 0; i < kPad * C; ++i) {
      wide[i] = inner[i % C];
      inner[elements + i] = inner[elements - C + i % C];
    }
    blendWindows<Sampler>(windows_, C, wide, line);
  }

 private:
  /// Edge pixels that are repeated on either side of a source row.
  static constexpr int kPad = Sampler::kTaps / 2;

  static std::size_t roundUp(std::size_t floats) { return (floats + 63) / 64 * 64; }
  /// For each element an index, a base at most, and its weights.
  std::size_t tableFloats() const { return (2 + Sampler::kWeights) * stride_; }

  bool makeWindows(const ZoomAxis& axis) {
    windows_.base = scratch_.template as<int>();
    windows_.pick = windows_.base + stride_;
    windows_.weights = reinterpret_cast<float*>(windows_.pick + stride_);
    windows_.stride = stride_;
    int greatest = 0;
    std::size_t e = 0;
    for (int x = 0; x < width_; ++x) {
      const Position position = Sampler::locate(axis, x);
      float weights[Sampler::kWeights];
      Sampler::weigh(position.fraction, weights);
      for (int c = 0; c < C; ++c, ++e) {
        const int tap = (position.index + Sampler::kFirst + kPad) * C + c;
        // Taps go up by pixels, so within three channels a vector may start above what follows.
        if (e % lanes_ == 0) windows_.base[e / lanes_] = tap - c;
        windows_.pick[e] = tap - windows_.base[e / lanes_];
        greatest = std::max(greatest, windows_.pick[e]);
        for (int k = 0; k < Sampler::kWeights; ++k) {
          windows_.weights[static_cast<std::size_t>(k) * stride_ + e] = weights[k];
        }
      }
    }
    for (; e < stride_; ++e) {
      if (e % lanes_ == 0) windows_.base[e / lanes_] = 0;
      windows_.pick[e] = 0;
      for (int k = 0; k < Sampler::kWeights; ++k) {
        windows_.weights[static_cast<std::size_t>(k) * stride_ + e] = 0.0f;
      }
    }
    windows_.oneVector = greatest < static_cast<int>(lanes_);
    if (greatest < static_cast<int>(2 * lanes_)) return true;
    lanes_ = 0;
    return false;
  }

  void makeColumns(const ZoomAxis& axis) {
    indices_ = scratch_.template as<int>();
    weights_ = reinterpret_cast<float*>(indices_ + stride_);
    for (int x = 0; x < width_; ++x) {
      const Position position = Sampler::locate(axis, x);
      float weights[Sampler::kWeights];
      Sampler::weigh(position.fraction, weights);
      indices_[x] = position.index;
      for (int k = 0; k < Sampler::kWeights; ++k) weights_[x * Sampler::kWeights + k] = weights[k];
    }
  }

  /// Without windows: where much is left out, only what takes part is read.
  template <class T, class Codec>
  void blendColumns(const Codec& codec, const char* row, float* line) const {
    for (std::ptrdiff_t x = 0; x < width_; ++x) {
      float weights[Sampler::kWeights];
      for (int k = 0; k < Sampler::kWeights; ++k) weights[k] = weights_[x * Sampler::kWeights + k];
      float taps[C][Sampler::kTaps];
      for (int k = 0; k < Sampler::kTaps; ++k) {
        const std::ptrdiff_t at =
            EdgeBorder::limit(indices_[x] + Sampler::kFirst + k, sourceWidth_);
        for (int c = 0; c < C; ++c) taps[c][k] = codec.load(loadItem<T>(row, at * C + c));
      }
      for (int c = 0; c < C; ++c) line[x * C + c] = Sampler::blend(taps[c], weights);
    }
  }

  int sourceWidth_;
  int width_;
  std::size_t lanes_;   // of a vector of the windows, 0 without them
  std::size_t stride_;  // floats of a line
  std::size_t wide_;    // floats of a source row with its edges, and what windows read behind it
  runtime::Scratch scratch_;
  WindowTable windows_{};
  int* indices_ = nullptr;
  float* weights_ = nullptr;
};

/// A piece of a destination row of the lines that take part.
template <class Sampler, class T, class Codec>
void blendLines(const Codec& codec, const float* const (&lines)[Sampler::kTaps],
                const float (&weights)[Sampler::kWeights], std::ptrdiff_t begin,
                std::ptrdiff_t count, char* out) {
  const float* from[Sampler::kTaps];
  for (int k = 0; k < Sampler::kTaps; ++k) from[k] = lines[k] + begin;
  MIRL_IVDEP
  for (std::ptrdiff_t e = 0; e < count; ++e) {
    float taps[Sampler::kTaps];
    for (int k = 0; k < Sampler::kTaps; ++k) taps[k] = from[k][e];
    storeItem<T>(out, e, codec.store(Sampler::blend(taps, weights)));
  }
}

template <class Sampler, class Codec, class T, int C>
bool blendOnHost(const runtime::Queue& queue, const Zoom& zoom, const Codec& codec,
                 const View<Pixel<T, C>>& out, const View<const Pixel<T, C>>& in) {
  const ZoomColumns<Sampler, C> columns(queue, zoom.x);
  if (!columns.ok()) return false;
  constexpr int kTaps = Sampler::kTaps;
  const std::ptrdiff_t elements = std::ptrdiff_t{out.width} * C;
  const auto outBytes = static_cast<std::size_t>(elements) * sizeof(T);
  const std::size_t work = 8 * outBytes;
  const auto doRows = [&](const host::Rows& rows, std::byte* scratch) {
    const auto buffers = columns.buffersIn(scratch);
    constexpr std::ptrdiff_t kPiece = 4096 / sizeof(T);
    host::Outlet<kPiece * sizeof(T)> outlet(rows.pastCaches);
    int held[kTaps];  // which source row a line holds
    std::fill_n(held, kTaps, -1);
    for (int y = rows.begin; y < rows.end; ++y) {
      const Position position = Sampler::locate(zoom.y, y);
      float weights[Sampler::kWeights];
      Sampler::weigh(position.fraction, weights);
      const float* lines[kTaps];
      for (int k = 0; k < kTaps; ++k) {
        const int row = EdgeBorder::limit(position.index + Sampler::kFirst + k, in.height);
        float* line = buffers.lines[row % kTaps];
        if (held[row % kTaps] != row) {
          columns.template blendRow<T>(codec, rowBytes(in, row), buffers.wide, line);
          held[row % kTaps] = row;
        }
        lines[k] = line;
      }
      for (std::ptrdiff_t e = 0; e < elements; e += kPiece) {
        const std::ptrdiff_t count = std::min(kPiece, elements - e);
        char* const to = rowBytes(out, y) + e * std::ptrdiff_t{sizeof(T)};
        blendLines<Sampler, T>(codec, lines, weights, e, count, outlet.open(to));
        outlet.close(to, static_cast<std::size_t>(count) * sizeof(T));
      }
    }
  };
  return host::forRows(queue, out.height, {outBytes, work, 2 * kTaps * work}, columns.bufferBytes(),
                       doRows);
}

/// Copies single pixels; of several elements with a word that is longer than three of them, as long
/// as there is room for it on both sides, `plain` being how many pixels have that.
template <class T, int C>
void copyPixels(const char* from, const int* indices, int count, int plain, char* to) {
  constexpr std::ptrdiff_t kBytes = sizeof(Pixel<T, C>);
  constexpr std::size_t kWord = (C == 1 ? 1 : 4) * sizeof(T);
  std::ptrdiff_t x = 0;
  for (; x < plain; ++x) std::memcpy(to + x * kBytes, from + indices[x] * kBytes, kWord);
  for (; x < count; ++x) std::memcpy(to + x * kBytes, from + indices[x] * kBytes, kBytes);
}

template <class T, int C>
bool nearestOnHost(const runtime::Queue& queue, const Zoom& zoom, const View<Pixel<T, C>>& out,
                   const View<const Pixel<T, C>>& in) {
  const auto width = static_cast<std::size_t>(out.width);
  const runtime::Scratch table(queue, width * sizeof(int));
  if (!table.ok()) return false;
  int* indices = table.as<int>();
  for (int x = 0; x < out.width; ++x) indices[x] = zoom.x.nearest(x);
  int plain = out.width;
  while (C > 1 && plain > 0 && (plain == out.width || indices[plain - 1] == in.width - 1)) --plain;

  const std::size_t outBytes = width * sizeof(Pixel<T, C>);
  host::forRows(out.height, {2 * outBytes, 8 * outBytes}, [&](const host::Rows& rows) {
    int last = -1;
    for (int y = rows.begin; y < rows.end; ++y) {
      const int row = zoom.y.nearest(y);
      if (row == last) {
        std::memcpy(rowBytes(out, y), rowBytes(out, y - 1), outBytes);
      } else {
        copyPixels<T, C>(rowBytes(in, row), indices, out.width, plain, rowBytes(out, y));
      }
      last = row;
    }
  });
  return true;
}

/// The mean of two by two elements, as Bilinear comes to with both fractions one half.
template <class Codec, class T>
T meanOf(const Codec& codec, T a, T b, T c, T d) {
  if constexpr (isSmallInteger<T> && std::is_same_v<Codec, PlainElements<T>>) {
    // All of these sums are exact in float.
    using Sum = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;
    const auto above = static_cast<Sum>(static_cast<Sum>(a) + b);
    const auto below = static_cast<Sum>(static_cast<Sum>(c) + d);
    return static_cast<T>(static_cast<Sum>(above + below + 2) >> 2);
  } else {
    const float half[1] = {0.5f};
    const float above[2] = {codec.load(a), codec.load(b)};
    const float below[2] = {codec.load(c), codec.load(d)};
    const float lines[2] = {Bilinear::blend(above, half), Bilinear::blend(below, half)};
    return codec.store(Bilinear::blend(lines, half));
  }
}

/// Destination pixels that a row is halved by at a time. The planes of two source rows take a small
/// part of the nearest cache; four times as many cost half as much time again.
template <class T>
inline constexpr std::ptrdiff_t kHalfPiece = 256 / sizeof(T);

/// `count` destination pixels of two source rows; several channels are halved one by one.
template <class T, int C, class Codec>
void halveRows(const Codec& codec, const char* above, const char* below, std::ptrdiff_t count,
               char* out) {
  if constexpr (C == 1) {
    MIRL_IVDEP
    for (std::ptrdiff_t x = 0; x < count; ++x) {
      const auto upper = loadItem<Pair<T>>(above, x);
      const auto lower = loadItem<Pair<T>>(below, x);
      storeItem(out, x,
                meanOf(codec, firstOf<T>(upper), secondOf<T>(upper), firstOf<T>(lower),
                       secondOf<T>(lower)));
    }
  } else {
    alignas(64) T upper[C][2 * kHalfPiece<T>], lower[C][2 * kHalfPiece<T>], mean[C][kHalfPiece<T>];
    T *upperPlanes[C], *lowerPlanes[C];
    const T* means[C];
    for (int c = 0; c < C; ++c) {
      upperPlanes[c] = upper[c];
      lowerPlanes[c] = lower[c];
      means[c] = mean[c];
    }
    splitPlanes<T, C>(above, 2 * count, upperPlanes);
    splitPlanes<T, C>(below, 2 * count, lowerPlanes);
    const auto bytes = [](auto* plane) { return reinterpret_cast<char*>(plane); };
    for (int c = 0; c < C; ++c) {
      halveRows<T, 1>(codec, bytes(upper[c]), bytes(lower[c]), count, bytes(mean[c]));
    }
    joinPlanes<T, C>(means, count, out);
  }
}

template <class Codec, class T, int C>
void halveOnHost(const Codec& codec, const View<Pixel<T, C>>& out,
                 const View<const Pixel<T, C>>& in) {
  constexpr std::ptrdiff_t kBytes = sizeof(Pixel<T, C>);
  host::forRows(out.height, 5 * out.width * std::size_t{kBytes}, [&](const host::Rows& rows) {
    for (int y = rows.begin; y < rows.end; ++y) {
      const char* above = rowBytes(in, 2 * std::int64_t{y});
      const char* below = rowBytes(in, 2 * std::int64_t{y} + 1);
      for (std::ptrdiff_t x = 0; x < out.width; x += kHalfPiece<T>) {
        halveRows<T, C>(codec, above + 2 * x * kBytes, below + 2 * x * kBytes,
                        std::min(kHalfPiece<T>, out.width - x), rowBytes(out, y) + x * kBytes);
      }
    }
  });
}

template <class Sampler, class Codec, class T, int C>
bool zoomOnHost(const runtime::Queue& queue, const Zoom& zoom, const Codec& codec,
                const View<Pixel<T, C>>& out, const View<const Pixel<T, C>>& in) {
  if constexpr (std::is_same_v<Sampler, Nearest>) {
    static_assert(std::is_same_v<Codec, PlainElements<T>>, "pixels are copied as they are");
    return nearestOnHost(queue, zoom, out, in);
  } else {
    if constexpr (std::is_same_v<Sampler, Bilinear>) {
      if (zoom.x.source == 2 * zoom.x.destination && zoom.y.source == 2 * zoom.y.destination) {
        halveOnHost(codec, out, in);
        return true;
      }
    }
    return blendOnHost<Sampler>(queue, zoom, codec, out, in);
  }
}

}  // namespace mirl::engine::resample
