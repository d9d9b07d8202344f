#include "engine/correlate.h"
#include "engine/host/ivdep.h"
#include "engine/host/rows.h"

#include <cstring>

#if MIRL_WITH_HIGHWAY
#include <hwy/highway.h>
#endif

namespace mirl::engine::correlation {
namespace {

/// Elements of a row that are worked on at a time, so that the lines of a filter stay in a near
/// cache, and of those the ones whose sums do in the nearest.
constexpr std::ptrdiff_t kStrip = 4096;
constexpr std::ptrdiff_t kPiece = 512;
/// What a vector may read behind the end of a line: its results aren't used.
constexpr std::ptrdiff_t kSlack = 512;

std::ptrdiff_t clampTo(std::ptrdiff_t value, std::ptrdiff_t last) {
  return std::clamp<std::ptrdiff_t>(value, 0, last);
}

template <class T>
float elementOf(const char* row, std::ptrdiff_t x) {
  T element;
  std::memcpy(&element, row + x * std::ptrdiff_t{sizeof element}, sizeof element);
  return toFloat(element);
}

/// Elements `first` to `first + count - 1` of a row of `width` as floats, continued at both ends.
template <class T>
void readLine(const char* row, std::ptrdiff_t width, std::ptrdiff_t first, std::ptrdiff_t count,
              float* line) {
  const std::ptrdiff_t begin = std::clamp<std::ptrdiff_t>(-first, 0, count);
  const std::ptrdiff_t end = std::clamp<std::ptrdiff_t>(width - first, begin, count);
  std::fill(line, line + begin, elementOf<T>(row, 0));
  const char* const from = row + (first + begin) * std::ptrdiff_t{sizeof(T)};
  float* const to = line + begin;
  MIRL_IVDEP
  for (std::ptrdiff_t x = 0; x < end - begin; ++x) to[x] = elementOf<T>(from, x);
  std::fill(line + end, line + count, elementOf<T>(row, width - 1));
}

/// Rows of results that are summed up together, so that a value that is loaded serves for all of
/// them.
constexpr int kRowsAtOnce = 4;

#if MIRL_WITH_HIGHWAY

namespace hn = hwy::HWY_NAMESPACE;

/// Vectors of results side by side: as many sums as the processor has registers for.
#if HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_SSSE3
constexpr int kVectors = 2;
#else
constexpr int kVectors = 4;
#endif

/// Keeps compilers from loading a value anew for each multiply-add that it is an operand of: most
/// of these loads cross a line of the cache and cost twice.
template <class V>
HWY_INLINE void keepInRegister([[maybe_unused]] V& value) {
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX2
  asm("" : "+v"(value.raw));
#endif
}

/// `kVectors` vectors of `kRowsAtOnce` rows of sums at x. A sum takes its taps column after column;
/// Height is the filter's, or 0 for any.
template <int Height>
void sumBlock(const Taps& taps, const float* const* line, std::ptrdiff_t x,
              float* const (&sums)[kRowsAtOnce]) {
  const hn::ScalableTag<float> d;
  using Vector = hn::Vec<decltype(d)>;
  const auto lanes = static_cast<std::ptrdiff_t>(hn::Lanes(d));
  const int height = Height == 0 ? taps.height : Height;
  Vector sum[kRowsAtOnce][kVectors];
  for (auto& row : sum) {
    for (Vector& vector : row) vector = hn::Zero(d);
  }
  for (int i = 0; i < taps.width; ++i) {
    const float* weight = taps.weight + std::ptrdiff_t{i} * height;
    const std::ptrdiff_t at = x + std::ptrdiff_t{i} * taps.step;
#pragma GCC unroll 16
    for (int l = 0; l < height + kRowsAtOnce - 1; ++l) {
      Vector value[kVectors];
      for (int v = 0; v < kVectors; ++v) {
        value[v] = hn::LoadU(d, line[l] + at + v * lanes);
        keepInRegister(value[v]);
      }
#pragma GCC unroll 4
      for (int r = 0; r < kRowsAtOnce; ++r) {
        const int j = l - r;
        if (j < 0 || j >= height) continue;
        const Vector w = hn::Set(d, weight[j]);
        for (int v = 0; v < kVectors; ++v) sum[r][v] = hn::MulAdd(value[v], w, sum[r][v]);
      }
    }
  }
  for (int r = 0; r < kRowsAtOnce; ++r) {
    for (int v = 0; v < kVectors; ++v) hn::StoreU(sum[r][v], d, sums[r] + v * lanes);
  }
}

/// Rows of sums, with what a vector may write behind them.
using Sums = float[kRowsAtOnce][kPiece + kSlack];

/// The sums of `count` elements from `begin` on of each of the rows; line l is where tap row l of
/// the first one, and tap row l - r of row r, starts.
void sumTaps(const Taps& taps, const float* const* line, std::ptrdiff_t begin, std::ptrdiff_t count,
             Sums& sums) {
  const auto block = taps.height == 3   ? sumBlock<3>
                     : taps.height == 5 ? sumBlock<5>
                     : taps.height == 7 ? sumBlock<7>
                                        : sumBlock<0>;
  const auto apart = static_cast<std::ptrdiff_t>(kVectors * hn::Lanes(hn::ScalableTag<float>()));
  for (std::ptrdiff_t x = 0; x < count; x += apart) {
    float* const at[kRowsAtOnce] = {sums[0] + x, sums[1] + x, sums[2] + x, sums[3] + x};
    block(taps, line, begin + x, at);
  }
}

#else

using Sums = float[kRowsAtOnce][kPiece];

void sumTaps(const Taps& taps, const float* const* line, std::ptrdiff_t begin, std::ptrdiff_t count,
             Sums& sums) {
  for (int r = 0; r < kRowsAtOnce; ++r) {
    float* const sum = sums[r];
    std::fill(sum, sum + count, 0.0f);
    const float* weight = taps.weight;
    for (int i = 0; i < taps.width; ++i) {
      for (int j = 0; j < taps.height; ++j) {
        const float w = *weight++;
        const float* from = line[r + j] + begin + std::ptrdiff_t{i} * taps.step;
        for (std::ptrdiff_t x = 0; x < count; ++x) sum[x] = fusedMultiplyAdd(from[x], w, sum[x]);
      }
    }
  }
}

#endif

template <class T>
void writeSums(const float* sums, std::ptrdiff_t count, float limit, char* out) {
  MIRL_IVDEP
  for (std::ptrdiff_t x = 0; x < count; ++x) {
    const T element = fromSum<T>(sums[x], limit);
    std::memcpy(out + x * std::ptrdiff_t{sizeof element}, &element, sizeof element);
  }
}

/// The floats that a thread works with: a ring of lines.
struct Buffers {
  std::ptrdiff_t lineFloats;
  int lines;
  float* ring;

  explicit Buffers(const Taps& taps, void* memory = nullptr)
      : lineFloats(kStrip + std::ptrdiff_t{std::max(taps.width, 1) - 1} * taps.step + kSlack),
        lines(std::max(taps.height, 1) + kRowsAtOnce - 1),
        ring(static_cast<float*>(memory)) {}

  std::size_t bytes() const { return static_cast<std::size_t>(lineFloats * lines) * sizeof(float); }
};

/// The rows of one strip. Line `y` of the source, before it is clamped to the image, stands in
/// place `(y - first) % lines` of the ring.
template <class T>
void doStrip(const View<T>& out, const View<const T>& in, const Taps& taps, float limit,
             bool pastCaches, const Window& strip, const Buffers& buffers) {
  const std::ptrdiff_t count = strip.x1 - strip.x0;
  const std::ptrdiff_t staged = count + std::ptrdiff_t{taps.width - 1} * taps.step;
  const std::ptrdiff_t first = std::ptrdiff_t{strip.y0} + taps.originY;
  const auto* source = reinterpret_cast<const char*>(in.data);
  const auto lineAt = [&](std::ptrdiff_t y) {
    return buffers.ring + (y - first) % buffers.lines * buffers.lineFloats;
  };
  alignas(64) Sums sums;
  host::Outlet<kPiece * sizeof(T)> outlet(pastCaches);

  std::ptrdiff_t ready = first;  // the first line that isn't in the ring yet
  const float* line[kMostTaps + kRowsAtOnce];
  for (int y = strip.y0; y < strip.y1; y += kRowsAtOnce) {
    const std::ptrdiff_t top = std::ptrdiff_t{y} + taps.originY;
    if (taps.width > 0) {
      for (; ready < top + buffers.lines; ++ready) {
        readLine<T>(source + clampTo(ready, in.height - 1) * in.pitch, in.width,
                    std::ptrdiff_t{strip.x0} + taps.originX, staged, lineAt(ready));
      }
    }
    for (int l = 0; l < buffers.lines; ++l) line[l] = lineAt(top + l);
    for (std::ptrdiff_t x = 0; x < count; x += kPiece) {
      const std::ptrdiff_t some = std::min(kPiece, count - x);
      sumTaps(taps, line, x, some, sums);
      for (int r = 0; r < kRowsAtOnce && y + r < strip.y1; ++r) {
        char* const to = reinterpret_cast<char*>(out.data) + (std::ptrdiff_t{y} + r) * out.pitch +
                         (strip.x0 + x) * std::ptrdiff_t{sizeof(T)};
        writeSums<T>(sums[r], some, limit, outlet.open(to));
        outlet.close(to, static_cast<std::size_t>(some) * sizeof(T));
      }
    }
  }
}

}  // namespace

template <class T>
bool onHost(const runtime::Queue& queue, const View<T>& out, const View<const T>& in,
            const Taps& taps, const Window& window, float limit) {
  const auto width = static_cast<std::size_t>(window.x1 - window.x0);
  const auto height = static_cast<std::size_t>(taps.height);
  const std::size_t moved = 2 * width * sizeof(T);
  const std::size_t work = moved + width * static_cast<std::size_t>(taps.width) * height;
  const std::size_t lines = width * sizeof(float) * height;  // read before a part's first result
  const auto doRows = [&](const host::Rows& rows, std::byte* scratch) {
    const Buffers buffers(taps, scratch);
    for (std::ptrdiff_t x = window.x0; x < window.x1; x += kStrip) {
      const std::ptrdiff_t stripEnd = std::min<std::ptrdiff_t>(x + kStrip, window.x1);
      const Window strip{static_cast<int>(x), window.y0 + rows.begin, static_cast<int>(stripEnd),
                         window.y0 + rows.end};
      doStrip(out, in, taps, limit, rows.pastCaches, strip, buffers);
    }
  };
  return host::forRows(queue, window.y1 - window.y0, {moved, work, lines}, Buffers(taps).bytes(),
                       doRows);
}

template bool onHost(const runtime::Queue&, const View<std::uint8_t>&,
                     const View<const std::uint8_t>&, const Taps&, const Window&, float);
template bool onHost(const runtime::Queue&, const View<std::uint16_t>&,
                     const View<const std::uint16_t>&, const Taps&, const Window&, float);
template bool onHost(const runtime::Queue&, const View<float>&, const View<const float>&,
                     const Taps&, const Window&, float);

}  // namespace mirl::engine::correlation
