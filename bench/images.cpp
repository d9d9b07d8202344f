#include "bench.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>

namespace mirl::bench {
namespace {

struct Format {
  int depth;
  int channels;
};

Format formatOf(MirlType type) {
  Format format{};
  typeToDepthAndChannels(type, format.depth, format.channels);
  return format;
}

/// So many words of noise, bytes or floats. They are made once, as that takes longer than most of
/// what is timed with them; a prime number of random ones repeats unnoticed.
const std::uint32_t* words(std::size_t count, bool floats) {
  constexpr std::size_t kDrawn = 65537;
  static std::vector<std::uint32_t> made[2];
  std::vector<std::uint32_t>& kept = made[floats ? 1 : 0];
  if (kept.size() < count) {
    std::mt19937 generator(1);
    kept.resize(std::max(count, kDrawn));
    for (std::size_t i = 0; i < kDrawn; ++i) {
      kept[i] = static_cast<std::uint32_t>(generator());
      if (floats) {
        const float value = static_cast<float>(kept[i] % 25501u) / 100.0f;
        std::memcpy(&kept[i], &value, sizeof value);
      }
    }
    for (std::size_t i = kDrawn; i < kept.size(); ++i) kept[i] = kept[i - kDrawn];
  }
  return kept.data();
}

}  // namespace

MirlImage noise(const MirlSize& size, MirlType type, unsigned seed) {
  MirlImage image(size, type);
  const auto row = static_cast<std::size_t>(size.width * image.channels() * image.depth() / 8);
  // Another seed starts elsewhere.
  const std::size_t first = seed % 64 * 997u;
  const std::size_t count = (row * static_cast<std::size_t>(size.height)) / 4 + 1;
  image.upload(words(first + count, image.depth() == 32) + first, static_cast<int>(row));
  return image;
}

std::string typeName(MirlType type) {
  return depthName(type) + " C" + std::to_string(formatOf(type).channels);
}

std::string depthName(MirlType type) {
  const int depth = formatOf(type).depth;
  return std::to_string(depth) + (depth == 32 ? "f" : "u");
}

double bytesOf(MirlType type) {
  const Format format = formatOf(type);
  return (format.depth < 0 ? -format.depth : format.depth) / 8.0 * format.channels;
}

}  // namespace mirl::bench
