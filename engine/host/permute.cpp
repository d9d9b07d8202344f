#include "engine/host/permute.h"

#include "engine/host/rows.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <utility>

namespace mirl::engine::host {
namespace {

constexpr int kVectorBytes = 16;
constexpr int kCacheLine = 64;

template <class T>
using Vector [[gnu::vector_size(kVectorBytes)]] = T;

Vector<char> load(const char* from) {
  Vector<char> vector;
  std::memcpy(&vector, from, sizeof vector);
  return vector;
}

void store(char* to, const Vector<char>& vector) {
  std::memcpy(to, &vector, sizeof vector);
}

/// The bytes that `from(i)` says.
template <class Index>
Vector<char> shuffled(const Vector<char>& v, Index from) {
  return [&]<int... byte>(std::integer_sequence<int, byte...>) {
    return __builtin_shufflevector(v, v, from(byte)...);
  }
  (std::make_integer_sequence<int, kVectorBytes>{});
}

template <int kPixel>
void moveOne(char* to, const char* from) {
  std::memcpy(to, from, kPixel);
}

// --- mirror

/// Calls `work(y)` for all rows, in the order of their addresses in a source: processors look ahead
/// of what is read upwards, wherever it goes.
template <class Work>
void upwards(const Rows& rows, std::ptrdiff_t pitch, const Work& work) {
  if (pitch > 0) {
    for (int y = rows.begin; y < rows.end; ++y) work(y);
  } else {
    for (int y = rows.end; y > rows.begin; --y) work(y - 1);
  }
}

/// Vectors are moved whole, though the first bytes of some are no pixel: the next one overwrites them.
template <int kPixel>
void mirrorRun(char* to, const char* from, std::ptrdiff_t count) {
  constexpr int kStep = kVectorBytes / kPixel, kRest = kVectorBytes % kPixel;
  std::ptrdiff_t left = count;
  for (; left * kPixel >= kVectorBytes; left -= kStep) {
    const Vector<char> turned = shuffled(load(from + (count - left) * kPixel), [](int byte) {
      const int pixel = (byte - kRest) / kPixel, inPixel = (byte - kRest) % kPixel;
      return byte < kRest ? byte : (kStep - 1 - pixel) * kPixel + inPixel;
    });
    store(to + left * kPixel - kVectorBytes, turned);
  }
  while (left > 0) {
    const std::ptrdiff_t done = count - left--;
    moveOne<kPixel>(to + left * kPixel, from + done * kPixel);
  }
}

}  // namespace

void copyRows(const View<std::uint8_t>& out, const View<const std::uint8_t>& in) {
  const auto rowBytes = static_cast<std::size_t>(out.width);
  forRows(out.height, 2 * rowBytes, [&](const Rows& rows) {
    upwards(rows, in.pitch, [&](int y) { putBytes(rows, rowOf(out, y), rowOf(in, y), rowBytes); });
  });
}

template <int kPixel>
void mirror(const BytesOut<kPixel>& out, const BytesIn<kPixel>& in) {
  constexpr int kRun = 96 * kCacheLine / kPixel;
  const auto rowBytes = static_cast<std::size_t>(out.width) * kPixel;
  forRows(out.height, 2 * rowBytes, [&](const Rows& rows) {
    Outlet<kRun * kPixel> outlet(rows.pastCaches);
    const auto mirrorRow = [&](int y) {
      const auto* from = reinterpret_cast<const char*>(rowOf(in, y));
      for (std::ptrdiff_t left = out.width; left > 0;) {
        const std::ptrdiff_t count = (left - 1) % kRun + 1;
        left -= count;
        char* const to = reinterpret_cast<char*>(rowOf(out, y)) + left * kPixel;
        mirrorRun<kPixel>(outlet.open(to), from, count);
        outlet.close(to, static_cast<std::size_t>(count) * kPixel);
        from += count * kPixel;
      }
    };
    upwards(rows, in.pitch, mirrorRow);
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
using To = Block<char>;
using From = Block<const char>;

/// How pixels stand in a vector to be transposed: one in each lane of 1, 2, 4, 8 or 16 bytes, so
/// that those of three elements leave a fourth free.
template <int kPixel>
struct Lanes {
  static constexpr int kBytes = kPixel % 3 == 0 ? kPixel / 3 * 4 : kPixel;
  static constexpr int kCount = kVectorBytes / kBytes;
  /// Bytes of a vector that are pixels when these stand one behind the other, and the others.
  static constexpr int kUsed = kCount * kPixel;
  static constexpr int kRest = kVectorBytes - kUsed;
  using Lane = std::conditional_t<
      kBytes == 1, std::int8_t,
      std::conditional_t<kBytes == 2, std::int16_t,
                         std::conditional_t<kBytes == 4, std::int32_t, std::int64_t>>>;
  using V = Vector<Lane>;

  static V spread(const Vector<char>& v) {
    return (V)shuffled(v, [](int byte) {
      const int inLane = byte % kBytes;
      return inLane < kPixel ? byte / kBytes * kPixel + inLane : 0;
    });
  }
  static Vector<char> joined(const V& v) {
    return shuffled((Vector<char>)v, [](int byte) {
      return byte < kUsed ? byte / kPixel * kBytes + byte % kPixel : 0;
    });
  }
};

/// Lanes of two vectors in turn, from their first or their second halves.
template <class L, bool kSecond>
typename L::V zipped(const typename L::V& a, const typename L::V& b) {
  return [&]<int... i>(std::integer_sequence<int, i...>) {
    constexpr int kFrom = kSecond ? L::kCount / 2 : 0;
    return __builtin_shufflevector(a, b, (kFrom + i / 2 + i % 2 * L::kCount)...);
  }
  (std::make_integer_sequence<int, L::kCount>{});
}

/// Transposes as many vectors as each has lanes. A round takes the bits that number a lane, those of
/// its vector and then its own, one place on: in the end they have changed places.
template <class L, int kRounds, int... i>
void storeTransposed(const To& to, const typename L::V (&v)[sizeof...(i)],
                     std::integer_sequence<int, i...> all) {
  if constexpr (kRounds == 0) {
    (store(to.row(i), L::joined(v[i])), ...);
  } else {
    constexpr int kHalf = L::kCount / 2;
    const typename L::V zips[] = {zipped<L, i % 2 != 0>(v[i / 2], v[i / 2 + kHalf])...};
    storeTransposed<L, kRounds - 1>(to, zips, all);
  }
}

template <class L, int... i>
void transposeBlock(const To& to, const From& from, std::integer_sequence<int, i...> all) {
  const typename L::V rows[] = {L::spread(load(from.row(i)))...};
  storeTransposed<L, std::countr_zero(unsigned{L::kCount})>(to, rows, all);
}

template <int kPixel>
void transposePixels(const To& to, const From& from, int width, int height) {
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      moveOne<kPixel>(to.row(y) + x * kPixel, from.row(x) + y * kPixel);
    }
  }
}

/// Makes `width` by `height` pixels. Behind them as many bytes as a vector has may be written in
/// each row, and read in the source's if `hasMore`.
template <int kPixel>
void transposeTile(const To& to, const From& from, int width, int height, bool hasMore) {
  using L = Lanes<kPixel>;
  const int readable = height - (hasMore ? 0 : (L::kRest + kPixel - 1) / kPixel);
  const int right = width / L::kCount * L::kCount;
  const int bottom = std::max(readable, 0) / L::kCount * L::kCount;
  for (int y = 0; y < bottom; y += L::kCount) {
    for (int x = 0; x < right; x += L::kCount) {
      transposeBlock<L>(to.from(x * kPixel, y), from.from(y * kPixel, x),
                        std::make_integer_sequence<int, L::kCount>{});
    }
  }
  transposePixels<kPixel>(to.from(right * kPixel, 0), from.from(0, right), width - right, bottom);
  transposePixels<kPixel>(to.from(0, bottom), from.from(bottom * kPixel, 0), width,
                          height - bottom);
}

/// Puts a tile of so many bytes and rows where it belongs; whole ones, which are most, in a loop that
/// knows their width.
template <int kWidth>
void put(const Rows& rows, const To& to, const To& tile, int width, int height) {
  const auto bytes = static_cast<std::size_t>(width);
  if (rows.pastCaches) {
    runtime::streamCopy(to.at, to.pitch, tile.at, tile.pitch, bytes, height);
  } else if (width == kWidth) {
    for (int y = 0; y < height; ++y) std::memcpy(to.row(y), tile.row(y), kWidth);
  } else {
    for (int y = 0; y < height; ++y) std::memcpy(to.row(y), tile.row(y), bytes);
  }
}

}  // namespace

/// Tiles are made in the nearest cache, from where they go to the output in whole lines: one tile
/// after the other along the rows of the source.
template <int kPixel>
void transpose(const BytesOut<kPixel>& out, const BytesIn<kPixel>& in) {
  constexpr int kSide = kCacheLine / (kPixel & -kPixel);
  constexpr int kPitch = kSide * kPixel + (Lanes<kPixel>::kRest == 0 ? 0 : kCacheLine);
  const auto bandBytes = static_cast<std::size_t>(out.height) * kSide * kPixel;
  const To to{reinterpret_cast<char*>(out.data), out.pitch};
  const From from{reinterpret_cast<const char*>(in.data), in.pitch};
  forRows((out.width - 1) / kSide + 1, 2 * bandBytes, [&](const Rows& bands) {
    alignas(kCacheLine) char made[kPitch * kSide];
    const To tile{made, kPitch};
    for (int band = bands.begin; band < bands.end; ++band) {
      const int x = band * kSide, width = std::min(kSide, out.width - x);
      for (std::ptrdiff_t y = 0; y < out.height; y += kSide) {
        const auto height = static_cast<int>(std::min<std::ptrdiff_t>(kSide, out.height - y));
        const bool hasMore = y + height + kVectorBytes <= out.height;
        transposeTile<kPixel>(tile, from.from(y * kPixel, x), width, height, hasMore);
        put<kSide * kPixel>(bands, to.from(std::ptrdiff_t{x} * kPixel, y), tile, width * kPixel,
                            height);
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
