#pragma once

// What the conversions of packed 10-bit video share: the formats as groups of six pixels, the
// layouts that they stand in, and the steps from one format to the next.

#include "core/access.h"
#include "engine/blocks.h"

#include <mirl/packedVideo.h>

#include <cstdint>

namespace mirl::colorOperations {

/// Twelve samples, three to a word.
struct V210Group {
  static constexpr int kBytes = 16;
  std::uint32_t word[4];
};

/// U, Y, V, Y for each pair of pixels.
struct Yuv422Group {
  static constexpr int kBytes = 24;
  std::uint16_t sample[12];
};

/// Y, V, U for each pixel.
struct Yuv444Group {
  std::uint16_t pixel[6][3];
};

struct v210_to_yuv422_unpack_kernel {
  MIRL_HD Yuv422Group operator()(const V210Group& group) const {
    Yuv422Group flat;
    for (int i = 0; i < 12; ++i) {
      flat.sample[i] = static_cast<std::uint16_t>(group.word[i / 3] >> i % 3 * 10 & 1023u);
    }
    return flat;
  }
};

struct yuv422_to_444_16u_c2_kernel {
  MIRL_HD Yuv444Group operator()(const Yuv422Group& flat) const {
    Yuv444Group full;
    for (int x = 0; x < 6; ++x) {
      const std::uint16_t* pair = flat.sample + x / 2 * 4;
      full.pixel[x][0] = pair[1 + x % 2 * 2];
      full.pixel[x][1] = pair[2];
      full.pixel[x][2] = pair[0];
    }
    return full;
  }
};

struct k444_422 {
  MIRL_HD Yuv422Group operator()(const Yuv444Group& full) const {
    Yuv422Group flat;
    for (int x = 0; x < 6; x += 2) {
      std::uint16_t* pair = flat.sample + x * 2;
      pair[0] = full.pixel[x][2];
      pair[1] = full.pixel[x][0];
      pair[2] = full.pixel[x][1];
      pair[3] = full.pixel[x + 1][0];
    }
    return flat;
  }
};

/// Sums rather than fields: what is above 10 bits carries into its neighbour.
struct k422_v210 {
  static constexpr engine::Asks asks{.vectors = true};

  MIRL_HD V210Group operator()(const Yuv422Group& flat) const {
    V210Group group;
    for (int i = 0; i < 4; ++i) {
      const std::uint16_t* s = flat.sample + i * 3;
      group.word[i] = s[0] + (static_cast<std::uint32_t>(s[1]) << 10) +
                      (static_cast<std::uint32_t>(s[2]) << 20);
    }
    return group;
  }
  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char* in) const {
    return engine::v210From422(count, out, in);
  }
};

/// Two steps in one pass, on the host by explicit vectors where there are some.
template <class First, class Second,
          std::ptrdiff_t (*byVectors)(std::ptrdiff_t, char*, const char*)>
struct Chain {
  static constexpr engine::Asks asks{.vectors = true};

  template <class In>
  MIRL_HD auto operator()(const In& in) const {
    return Second{}(First{}(in));
  }
  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char* in) const {
    return byVectors(count, out, in);
  }
};

/// The groups of a row if an image's rows are these and nothing else, else 0.
template <class Group>
int groupsWithoutPadding(const MirlImage& image) {
  return image.pitch() % Group::kBytes == 0 ? image.pitch() / Group::kBytes : 0;
}

/// The groups of a row of a 4:4:4 image if it consists of whole ones, else 0.
inline int groupsOf444(const MirlImage& image) {
  return image.width() % 6 == 0 ? image.width() / 6 : 0;
}

template <class Group>
engine::View<Group> viewOf(const MirlImage& image, int groups, int rows) {
  return {static_cast<Group*>(image.ptr()), image.pitch(), groups, rows};
}

}  // namespace mirl::colorOperations
