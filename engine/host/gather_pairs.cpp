#include "engine/host/gather_pairs.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace mirl::engine::resample {

// Compilers turn these shuffles into single instructions where there are words in long vectors.
#if defined(__AVX512BW__) && defined(__GNUC__) && !defined(__clang__)

namespace {

using Words = std::uint16_t __attribute__((vector_size(2 * kGathered)));

/// Columns that two vectors of bytes have pairs of, those that begin at even bytes and at odd ones.
constexpr int kColumns = 2 * kGathered;
constexpr int kMostRows = kGathered + 1;

Words load(const char* from) {
  Words words;
  std::memcpy(&words, from, sizeof words);
  return words;
}

/// x[i] - first.
Words offsets(const int* x, int first) {
  Words words;
  for (int i = 0; i < kGathered; ++i) words[i] = static_cast<std::uint16_t>(x[i] - first);
  return words;
}

}  // namespace

bool gatherPairs(const View<const std::uint8_t>& in, const int* x, const int* y, const Box& box,
                 std::uint16_t* upper, std::uint16_t* lower) {
  // The columns begin early where a row ends too soon for as many as are read.
  const int left = std::min(box.left, in.width - (kColumns + 1));
  if (left < 0 || box.right - left >= kColumns || box.bottom - box.top >= kMostRows) return false;
  const Words column = offsets(x, left);
  const Words pair = column >> 1 | (column & 1) << 5;
  const Words isAbove = offsets(y, box.top), isBelow = isAbove + 1;
  const char* from = reinterpret_cast<const char*>(in.data) + box.top * in.pitch + left;
  Words above{}, below{}, row{};
  for (int i = box.top; i <= box.bottom + 1; ++i, from += in.pitch, row += 1) {
    const Words picked = __builtin_shuffle(load(from), load(from + 1), pair);
    above = isAbove == row ? picked : above;
    below = isBelow == row ? picked : below;
  }
  std::memcpy(upper, &above, sizeof above);
  std::memcpy(lower, &below, sizeof below);
  return true;
}

#else

bool gatherPairs(const View<const std::uint8_t>&, const int*, const int*, const Box&,
                 std::uint16_t*, std::uint16_t*) {
  return false;
}

#endif

}  // namespace mirl::engine::resample
