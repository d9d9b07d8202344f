#include "engine/host/permute.h"

#include "engine/host/rows.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

namespace mirl::engine::host {
namespace {

constexpr int kVectorBytes = 16;

template <class T>
using Vector [[gnu::vector_size(kVectorBytes)]] = T;

template <class V>
V load(const char* from) {
  V vector;
  std::memcpy(&vector, from, sizeof vector);
  return vector;
}

template <class V>
void store(char* to, const V& vector) {
  std::memcpy(to, &vector, sizeof vector);
}

template <int kPixel>
void moveOne(char* to, const char* from) {
  std::memcpy(to, from, kPixel);
}

// --- mirror

/// The pixels that a vector holds whole, last one first; what is left over keeps its place.
template <int kPixel>
Vector<char> turned(const Vector<char>& v) {
  constexpr int kWhole = kVectorBytes / kPixel * kPixel;
  return [&]<int... byte>(std::integer_sequence<int, byte...>) {
    return __builtin_shufflevector(
        v, v, (byte < kWhole ? kWhole - kPixel - byte / kPixel * kPixel + byte % kPixel : byte)...);
  }
  (std::make_integer_sequence<int, kVectorBytes>{});
}

/// Vectors are moved whole, though the last bytes of some are no pixel: the next one overwrites them.
template <int kPixel>
void mirrorRun(char* to, const char* from, std::ptrdiff_t count) {
  constexpr std::ptrdiff_t kStep = kVectorBytes / kPixel;
  constexpr std::ptrdiff_t kRest = kVectorBytes - kStep * kPixel;
  const auto one = [&](std::ptrdiff_t i) {
    moveOne<kPixel>(to + i * kPixel, from + (count - 1 - i) * kPixel);
  };
  std::ptrdiff_t i = 0;
  if (kRest > 0 && count > 0) one(i++);
  for (; (count - i) * kPixel >= kVectorBytes; i += kStep) {
    const auto read = load<Vector<char>>(from + (count - i - kStep) * kPixel);
    store(to + i * kPixel, turned<kPixel>(read));
  }
  for (; i < count; ++i) one(i);
}

}  // namespace

template <int kPixel>
void mirror(const BytesOut<kPixel>& out, const BytesIn<kPixel>& in) {
  constexpr std::ptrdiff_t kRun = 3072 / kPixel;  // whole cache lines of any pixels
  const auto rowBytes = static_cast<std::size_t>(out.width) * kPixel;
  forRows(out.height, 2 * rowBytes, [&](const Rows& rows) {
    Outlet<kRun * kPixel> outlet(rows.pastCaches);
    for (int y = rows.begin; y < rows.end; ++y) {
      auto* const row = reinterpret_cast<char*>(rowOf(out, y));
      const auto* const from = reinterpret_cast<const char*>(rowOf(in, y));
      for (std::ptrdiff_t x = 0; x < out.width; x += kRun) {
        const std::ptrdiff_t count = std::min<std::ptrdiff_t>(kRun, out.width - x);
        char* const to = row + x * kPixel;
        mirrorRun<kPixel>(outlet.open(to), from + (out.width - x - count) * kPixel, count);
        outlet.close(to, static_cast<std::size_t>(count) * kPixel);
      }
    }
  });
}

// --- transpose

namespace {

/// Rows of bytes.
template <class Byte>
struct Block {
  Byte* at;
  std::ptrdiff_t pitch;

  Byte* row(std::ptrdiff_t y) const { return at + y * pitch; }
  Block from(std::ptrdiff_t x, std::ptrdiff_t y) const { return {row(y) + x, pitch}; }
};

template <int kPixel>
void transposePixels(const Block<char>& to, const Block<const char>& from, int width, int height) {
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      moveOne<kPixel>(to.row(y) + x * kPixel, from.row(x) + y * kPixel);
    }
  }
}

}  // namespace

template <int kPixel>
void transpose(const BytesOut<kPixel>& out, const BytesIn<kPixel>& in) {
  constexpr int kTile = 64;
  const auto rowBytes = static_cast<std::size_t>(out.width) * kPixel;
  const int bands = (out.height - 1) / kTile + 1;
  forRows(bands, 2 * rowBytes * kTile, [&](const Rows& rows) {
    const Block<char> to{reinterpret_cast<char*>(out.data), out.pitch};
    const Block<const char> from{reinterpret_cast<const char*>(in.data), in.pitch};
    for (int band = rows.begin; band < rows.end; ++band) {
      const int y = band * kTile, height = std::min(kTile, out.height - y);
      for (int x = 0; x < out.width; x += std::min(kTile, out.width - x)) {
        transposePixels<kPixel>(to.from(std::ptrdiff_t{x} * kPixel, y),
                                from.from(std::ptrdiff_t{y} * kPixel, x),
                                std::min(kTile, out.width - x), height);
      }
    }
  });
}

#define MIRL_PERMUTE(kPixel)                                                     \
  template void mirror<kPixel>(const BytesOut<kPixel>&, const BytesIn<kPixel>&); \
  template void transpose<kPixel>(const BytesOut<kPixel>&, const BytesIn<kPixel>&);
MIRL_PERMUTE(1)
MIRL_PERMUTE(2)
MIRL_PERMUTE(3)
MIRL_PERMUTE(4)
MIRL_PERMUTE(6)
MIRL_PERMUTE(12)

}  // namespace mirl::engine::host
