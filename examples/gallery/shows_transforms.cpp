#include "shows.h"

// Transforms: bands of a photo, and the photo back from them.

namespace gallery {
namespace {

using namespace mirl::imageTransforms;

constexpr const char* kTransforms = "Transforms";

/// As much of the photo as has an even width and height.
MirlImage evenPhoto(Stage& s) {
  MirlImage even;
  const MirlRect rect(0, 0, s.photo.width() & ~1, s.photo.height() & ~1);
  check(s.photo.copyTo(even, {0, 0}, rect, s.stream), "copyTo");
  return even;
}

/// The bands of the photo; the first one is kept by the stage.
struct Bands {
  MirlImage of[4];

  explicit Bands(Stage& s) {
    of[0] = s.run(
        [&](const MirlImage& in, MirlImage& first, const MirlStream& stream) {
          return haarFwd(in, first, of[1], of[2], of[3], stream);
        },
        evenPhoto(s));
  }
};

const Show kShows[] = {
    {kTransforms, "haarFwd", "four bands, three of them four times as strong", "building", false,
     [](Stage& s) {
       const Bands bands(s);
       const MirlSize half = bands.of[0].size();
       MirlImage all(2 * half.width, 2 * half.height, MIRL_8U_C3);
       for (int i = 0; i < 4; ++i) {
         const MirlImage strong = s.in(MIRL_8U_C3, bands.of[i], i == 0 ? 1.0f : 4.0f);
         check(strong.copyTo(all, {i % 2 * half.width, i / 2 * half.height},
                             {0, 0, half.width, half.height}, s.stream),
               "copyTo");
       }
       return all;
     }},
    {kTransforms, "haarInv", "back from the bands, which hold no rise in brightness", "building",
     false,
     [](Stage& s) {
       const Bands bands(s);
       return s.run([](const MirlImage& a, const MirlImage& b, const MirlImage& c,
                       const MirlImage& d, MirlImage& out,
                       const MirlStream& stream) { return haarInv(a, b, c, d, out, stream); },
                    bands.of[0], bands.of[1], bands.of[2], bands.of[3]);
     }},
};

}  // namespace

std::span<const Show> transformShows() {
  return kShows;
}

}  // namespace gallery
