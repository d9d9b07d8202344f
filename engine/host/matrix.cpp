#include "engine/host/matrix.h"

#include "engine/host/rows.h"
#include "runtime/scratch.h"

#if MIRL_WITH_HIGHWAY
#include <hwy/highway.h>
#endif

#include <algorithm>
#include <cstddef>
#include <cstring>

// The outer-product form: a tile of results stays in registers while column after column of one
// operand meets row after row of the other. Both are packed into the order in which they are read:
// panels as wide as a tile, row by row of the second operand, column by column of the first.

namespace mirl::engine::host {
namespace {

#if MIRL_WITH_HIGHWAY && !HWY_HAVE_SCALABLE && (defined(__FMA__) || defined(__aarch64__))
#define MIRL_HAS_TILES 1
namespace hn = hwy::HWY_NAMESPACE;
using Floats = hn::ScalableTag<float>;
constexpr std::ptrdiff_t kLanes = HWY_MAX_BYTES / sizeof(float);
// As many sums as the processor has registers for, but for those that the operands take.
constexpr std::ptrdiff_t kTileRows = kLanes == 16 ? 12 : kLanes == 8 ? 6 : 4;
constexpr std::ptrdiff_t kTileColumns = 2 * kLanes;
#else
#define MIRL_HAS_TILES 0
constexpr std::ptrdiff_t kTileRows = 4;
constexpr std::ptrdiff_t kTileColumns = 8;
#endif

/// Elements that meet at a time: a panel of them fits the nearest cache.
constexpr std::ptrdiff_t kDepth = 256;
/// Panels of the first operand that stay in a near cache meanwhile.
constexpr std::ptrdiff_t kPanels = 24;

struct Tile {
  alignas(64) float of[kTileRows][kTileColumns];
};

/// tile += the products of two panels.
#if MIRL_HAS_TILES
void multiplyPanels(std::ptrdiff_t depth, const float* a, const float* b, Tile& tile) {
  const Floats d;
  using Vector = hn::Vec<Floats>;
  Vector sum[kTileRows][2];
  for (int r = 0; r < kTileRows; ++r) {
    for (int v = 0; v < 2; ++v) sum[r][v] = hn::Load(d, tile.of[r] + v * kLanes);
  }
  for (std::ptrdiff_t k = 0; k < depth; ++k, a += kTileRows, b += kTileColumns) {
    const Vector left = hn::Load(d, b), right = hn::Load(d, b + kLanes);
    for (int r = 0; r < kTileRows; ++r) {
      const Vector element = hn::Set(d, a[r]);
      sum[r][0] = hn::MulAdd(element, left, sum[r][0]);
      sum[r][1] = hn::MulAdd(element, right, sum[r][1]);
    }
  }
  for (int r = 0; r < kTileRows; ++r) {
    for (int v = 0; v < 2; ++v) hn::Store(sum[r][v], d, tile.of[r] + v * kLanes);
  }
}
#else
void multiplyPanels(std::ptrdiff_t depth, const float* a, const float* b, Tile& tile) {
  for (std::ptrdiff_t k = 0; k < depth; ++k, a += kTileRows, b += kTileColumns) {
    for (int r = 0; r < kTileRows; ++r) {
      for (int c = 0; c < kTileColumns; ++c) {
        tile.of[r][c] = __builtin_fmaf(a[r], b[c], tile.of[r][c]);
      }
    }
  }
}
#endif

std::ptrdiff_t panelsOf(std::ptrdiff_t length, std::ptrdiff_t width) {
  return (length + width - 1) / width;
}

/// Packs `depth` elements, from `first` on, of each of the lines from `line` on, as many as `width`,
/// of which those behind the last one are zeros. Lines are rows of what is stored, or columns.
void packPanel(const View<const float>& stored, bool linesAreRows, std::ptrdiff_t line,
               std::ptrdiff_t width, std::ptrdiff_t first, std::ptrdiff_t depth, float* panel) {
  const std::ptrdiff_t lines = linesAreRows ? stored.height : stored.width;
  const std::ptrdiff_t count = std::min(width, lines - line);
  if (count < width) std::fill_n(panel, depth * width, 0.0f);
  const auto* bytes = reinterpret_cast<const char*>(stored.data);
  if (linesAreRows) {
    for (std::ptrdiff_t i = 0; i < count; ++i) {
      const char* const row = bytes + (line + i) * stored.pitch;
      for (std::ptrdiff_t k = 0; k < depth; ++k) {
        std::memcpy(panel + k * width + i, row + (first + k) * 4, sizeof(float));
      }
    }
  } else {
    for (std::ptrdiff_t k = 0; k < depth; ++k) {
      std::memcpy(panel + k * width, bytes + (first + k) * stored.pitch + line * 4,
                  static_cast<std::size_t>(count) * sizeof(float));
    }
  }
}

/// Some rows of tiles of the product, with `b` packed in blocks of `kDepth` rows, panel by panel.
class Product {
 public:
  Product(const View<float>& out, const Operand& a, const float* packedB)
      : out_(out), a_(a), packedB_(packedB), depth_(a.columns()) {}

  void tileRows(const Rows& rows, float* packedA) const {
    for (std::ptrdiff_t first = 0; first < depth_; first += kDepth) {
      const std::ptrdiff_t depth = std::min(kDepth, depth_ - first);
      for (std::ptrdiff_t top = rows.begin; top < rows.end; top += kPanels) {
        const std::ptrdiff_t count = std::min<std::ptrdiff_t>(kPanels, rows.end - top);
        for (std::ptrdiff_t i = 0; i < count; ++i) {
          packPanel(a_.stored, !a_.transposed, (top + i) * kTileRows, kTileRows, first, depth,
                    packedA + i * depth * kTileRows);
        }
        const std::ptrdiff_t panels = panelsOf(out_.width, kTileColumns);
        const float* b = packedB_ + first * panels * kTileColumns;
        for (std::ptrdiff_t p = 0; p < panels; ++p, b += depth * kTileColumns) {
          for (std::ptrdiff_t i = 0; i < count; ++i) {
            tile(top + i, p, first == 0, depth, packedA + i * depth * kTileRows, b);
          }
        }
      }
    }
  }

 private:
  void tile(std::ptrdiff_t row, std::ptrdiff_t panel, bool isFirst, std::ptrdiff_t depth,
            const float* a, const float* b) const {
    const std::ptrdiff_t top = row * kTileRows, left = panel * kTileColumns;
    const auto height = std::min<std::ptrdiff_t>(kTileRows, out_.height - top);
    const auto bytes = static_cast<std::size_t>(
        std::min<std::ptrdiff_t>(kTileColumns, out_.width - left) * std::ptrdiff_t{sizeof(float)});
    const auto place = [&](std::ptrdiff_t r) {
      return reinterpret_cast<char*>(out_.data) + (top + r) * out_.pitch + left * 4;
    };
    Tile sums{};
    for (std::ptrdiff_t r = 0; !isFirst && r < height; ++r) {
      std::memcpy(sums.of[r], place(r), bytes);
    }
    multiplyPanels(depth, a, b, sums);
    for (std::ptrdiff_t r = 0; r < height; ++r) std::memcpy(place(r), sums.of[r], bytes);
  }

  const View<float>& out_;
  const Operand& a_;
  const float* packedB_;
  std::ptrdiff_t depth_;
};

}  // namespace

bool multiplyMatrices(const runtime::Queue& queue, const View<float>& out, const Operand& a,
                      const Operand& b) {
  const std::ptrdiff_t depth = a.columns(), panels = panelsOf(out.width, kTileColumns);
  const auto floats = static_cast<std::size_t>(depth * panels * kTileColumns);
  const runtime::Scratch packed(queue, floats * sizeof(float) + alignof(Tile));
  if (!packed.ok()) return false;
  auto* const first = reinterpret_cast<float*>(
      (reinterpret_cast<std::uintptr_t>(packed.data()) + alignof(Tile) - 1) / alignof(Tile) *
      alignof(Tile));

  constexpr std::size_t kPanelBytes = kDepth * kTileColumns * sizeof(float);
  forRows(static_cast<int>(panels), {kPanelBytes, kPanelBytes * 4}, [&](const Rows& rows) {
    for (std::ptrdiff_t from = 0; from < depth; from += kDepth) {
      const std::ptrdiff_t some = std::min(kDepth, depth - from);
      for (std::ptrdiff_t p = rows.begin; p < rows.end; ++p) {
        packPanel(b.stored, b.transposed, p * kTileColumns, kTileColumns, from, some,
                  first + (from * panels + p * some) * kTileColumns);
      }
    }
  });

  const Product product(out, a, first);
  // A cache moves a few bytes while a chain goes on by an element.
  const auto results = static_cast<std::size_t>(kTileRows * panels * kTileColumns);
  const RowCost cost(results * sizeof(float), results * static_cast<std::size_t>(depth) / 2);
  constexpr std::size_t kBlockBytes = kPanels * kTileRows * kDepth * sizeof(float);
  const auto count = static_cast<int>(panelsOf(out.height, kTileRows));
  return forRows(queue, count, cost, kBlockBytes, [&](const Rows& rows, std::byte* scratch) {
    product.tileRows(rows, reinterpret_cast<float*>(scratch));
  });
}

}  // namespace mirl::engine::host
