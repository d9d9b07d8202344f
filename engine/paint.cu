#include "engine/paint.h"

#include "engine/device_code.h"
#include "engine/host/rows.h"

#include <algorithm>
#include <cstdint>

#if MIRL_KERNELS
#include "engine/cuda/launch.h"
#endif

namespace mirl::engine {
namespace {

/// Writes rows on the host, from a run of the pattern that stays in the nearest cache.
class RowWriter {
 public:
  explicit RowWriter(const Pattern& pattern)
      : oneByte_(std::all_of(pattern.byte, pattern.byte + Pattern::kBytes,
                             [&](unsigned char byte) { return byte == pattern.byte[0]; })) {
    for (std::ptrdiff_t at = 0; at < kRun + Pattern::kBytes; at += Pattern::kBytes) {
      std::memcpy(run_ + at, pattern.byte, Pattern::kBytes);
    }
  }

  /// Bytes `begin` to `end` of a row as the pattern has them.
  void fill(const host::Rows& rows, unsigned char* row, std::ptrdiff_t begin,
            std::ptrdiff_t end) const {
    if (rows.pastCaches) {
      fillPastCaches(row, begin, end);
    } else if (oneByte_) {
      std::memset(row + begin, run_[0], static_cast<std::size_t>(end - begin));
    } else {
      const unsigned char* const from = run_ + begin % Pattern::kBytes;
      for (; begin + kStep <= end; begin += kStep) std::memcpy(row + begin, from, kStep);
      std::memcpy(row + begin, from, static_cast<std::size_t>(end - begin));
    }
  }

 private:
  static constexpr std::ptrdiff_t kCacheLine = 64;
  static constexpr std::ptrdiff_t kRun = Pattern::kBytes * kCacheLine;
  static constexpr std::ptrdiff_t kStep = 4 * Pattern::kBytes;  // a few vectors, kept in registers

  /// From the first whole cache line on, which is what streaming stores want.
  void fillPastCaches(unsigned char* row, std::ptrdiff_t begin, std::ptrdiff_t end) const {
    const auto past =
        static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(row + begin) % kCacheLine);
    const std::ptrdiff_t head = std::min(end - begin, (kCacheLine - past) % kCacheLine);
    std::memcpy(row + begin, run_ + begin % Pattern::kBytes, static_cast<std::size_t>(head));
    begin += head;
    const unsigned char* const from = run_ + begin % Pattern::kBytes;
    for (; begin < end; begin += kRun) {
      runtime::streamCopy(row + begin, from, static_cast<std::size_t>(std::min(kRun, end - begin)));
    }
  }

  alignas(kCacheLine) unsigned char run_[kRun + Pattern::kBytes];
  bool oneByte_;
};

void drawOnHost(const Frame& frame) {
  const View<unsigned char>& out = frame.out;
  const View<const unsigned char>& inner = frame.inner;
  const std::ptrdiff_t right = std::ptrdiff_t{frame.left} + inner.width;
  const auto rowBytes = static_cast<std::size_t>(out.width) + static_cast<std::size_t>(inner.width);
  const RowWriter writer(frame.pattern);
  host::forRows(out.height, rowBytes, [&](const host::Rows& rows) {
    for (int y = rows.begin; y < rows.end; ++y) {
      unsigned char* const row = out.data + y * out.pitch;
      if (y < frame.top || y - frame.top >= inner.height) {
        writer.fill(rows, row, 0, out.width);
        continue;
      }
      writer.fill(rows, row, 0, frame.left);
      unsigned char* const to = row + frame.left;
      const unsigned char* const from = inner.data + (y - frame.top) * inner.pitch;
      if (to != from) host::putBytes(rows, to, from, static_cast<std::size_t>(inner.width));
      writer.fill(rows, row, right, out.width);
    }
  });
}

#if MIRL_KERNELS

constexpr int kBlockX = 32;
constexpr int kBlockY = 8;
constexpr int kChunk = 16;

/// A frame with its pattern as words from the first chunk on.
struct GpuFrame {
  View<unsigned char> out;
  View<const unsigned char> inner;
  int left;
  int top;
  int lead;      ///< bytes of the first chunk that lie before the row
  bool aligned;  ///< whether chunks are words of 16 bytes
  union {
    uint4 word[3];
    unsigned char byte[Pattern::kBytes];
  } pattern;
};

/// 16 bytes at any address. The words that hold them reach up to 3 bytes further on either side,
/// unless the address is that of a word.
__device__ uint4 loadChunk(const unsigned char* at) {
  const auto address = reinterpret_cast<std::uintptr_t>(at);
  if (address % 16 == 0) return *reinterpret_cast<const uint4*>(at);
  const unsigned shift = address % 4;
  const auto* words = reinterpret_cast<const unsigned*>(address - shift);
  const unsigned last = shift == 0 ? 0 : words[4];
  return {__funnelshift_r(words[0], words[1], shift * 8),
          __funnelshift_r(words[1], words[2], shift * 8),
          __funnelshift_r(words[2], words[3], shift * 8),
          __funnelshift_r(words[3], last, shift * 8)};
}

/// A thread for each chunk of 16 bytes of a row: all pattern, all inner, or byte by byte.
__global__ void __launch_bounds__(kBlockX* kBlockY)
    frameKernel(const __grid_constant__ GpuFrame frame) {
  const unsigned chunk = blockIdx.x * kBlockX + threadIdx.x;
  const std::int64_t begin = std::int64_t{chunk} * kChunk - frame.lead;
  const std::int64_t end = begin + kChunk;
  const std::int64_t right = std::int64_t{frame.left} + frame.inner.width;
  if (begin >= frame.out.width) return;
  const bool whole = frame.aligned && begin >= 0 && end <= frame.out.width;
  const bool innerWhole = whole && begin >= frame.left && end <= right;
  const bool hasMargin = begin - 3 >= frame.left && end + 3 <= right;
  const bool outside = end <= frame.left || begin >= right;
  const unsigned phase = chunk % 3;

  const unsigned height = static_cast<unsigned>(frame.out.height);
  for (unsigned y = blockIdx.y * kBlockY + threadIdx.y; y < height; y += gridDim.y * kBlockY) {
    unsigned char* const row = frame.out.data + y * frame.out.pitch;
    const std::int64_t innerY = std::int64_t{y} - frame.top;
    const bool inside = innerY >= 0 && innerY < frame.inner.height;
    const unsigned char* const inner = frame.inner.data + innerY * frame.inner.pitch - frame.left;
    if (whole && (!inside || outside)) {
      const auto& words = frame.pattern.word;
      *reinterpret_cast<uint4*>(row + begin) = phase == 0   ? words[0]
                                               : phase == 1 ? words[1]
                                                            : words[2];
    } else if (inside && innerWhole &&
               (hasMargin || reinterpret_cast<std::uintptr_t>(inner + begin) % 4 == 0)) {
      *reinterpret_cast<uint4*>(row + begin) = loadChunk(inner + begin);
    } else {
      for (int i = 0; i < kChunk; ++i) {
        const std::int64_t x = begin + i;
        if (x < 0 || x >= frame.out.width) continue;
        row[x] = inside && x >= frame.left && x < right ? inner[x]
                                                        : frame.pattern.byte[phase * kChunk + i];
      }
    }
  }
}

void drawOnGpu(const runtime::Queue& queue, const Frame& frame) {
  GpuFrame job{frame.out, frame.inner, frame.left, frame.top, 0, frame.out.pitch % kChunk == 0, {}};
  if (job.aligned) {
    job.lead = static_cast<int>(reinterpret_cast<std::uintptr_t>(frame.out.data) % kChunk);
  }
  for (int i = 0; i < Pattern::kBytes; ++i) {
    job.pattern.byte[i] = frame.pattern.byte[(i + Pattern::kBytes - job.lead) % Pattern::kBytes];
  }
  cuda::launch(queue,
               cuda::covering(std::int64_t{job.lead} + frame.out.width, frame.out.height,
                              {kBlockX, kBlockY}, kChunk),
               frameKernel, job);
}

#endif

}  // namespace

void drawFrame([[maybe_unused]] const runtime::Queue& queue, const Frame& frame) {
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    drawOnGpu(queue, frame);
    return;
  }
#endif
  drawOnHost(frame);
}

}  // namespace mirl::engine
