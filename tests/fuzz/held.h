#pragma once

// What a call holds, with what it was before the call.

#include "core/access.h"
#include "draw.h"

namespace mirl::fuzz {

/// Of images with more bytes than these only the fields are looked at.
inline constexpr std::size_t kLookedAt = std::size_t{1} << 20;

inline bool tooMuch(const MirlImage& image) {
  return static_cast<std::size_t>(test::rowBytes(image)) *
             static_cast<std::size_t>(image.height()) >
         kLookedAt;
}

inline bool isFloat(const MirlImage& image) {
  return image.type() >= MIRL_32F_C1 && image.type() <= MIRL_32F_C4;
}

inline auto fieldsOf(const MirlHistogram& h) {
  return std::tuple(h.isInitialized(), h.hist(), h.binCount(), static_cast<int>(h.type()),
                    static_cast<int>(h.location()));
}

struct Four {
  double entries[4];
  bool operator==(const Four& other) const {
    return std::memcmp(entries, other.entries, sizeof entries) == 0;
  }
};

struct Draw::HeldImage {
  MirlImage image;
  bool written = false;
  decltype(test::fieldsOf(MirlImage())) fields = test::fieldsOf(MirlImage());
  test::Bytes block{};  ///< all of the buffer, padding included
};
struct Draw::HeldScalar {
  MirlScalar scalar;
  bool written = false;
  Four before{};
};
struct Draw::HeldHistogram {
  MirlHistogram histogram;
  decltype(fieldsOf(MirlHistogram())) fields{};
  test::Bytes bins{};
};
struct Draw::HeldFilter {
  MirlFilter filter;
  test::Bytes before{};
};

}  // namespace mirl::fuzz
