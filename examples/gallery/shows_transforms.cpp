#include "shows.h"

// Transforms: spectra, bands of a photo, and the photo back from them.

namespace gallery {
namespace {

using namespace mirl::imageTransforms;

constexpr const char* kTransforms = "Transforms";

/// As much of a photo as has an even width and height.
MirlImage evenPart(const Stage& s, const MirlImage& photo) {
  MirlImage even;
  const MirlRect rect(0, 0, photo.width() & ~1, photo.height() & ~1);
  check(photo.copyTo(even, {0, 0}, rect, s.stream), "copyTo");
  return even;
}

MirlImage spectrumOf(const Stage& s) {
  MirlImage spectrum;
  check(fft2(evenPart(s, s.gray), spectrum, s.stream), "fft2");
  return spectrum;
}

/// The logarithm of magnitudes, from e^4 in black to e^14 in white.
MirlImage logarithms(const Stage& s, const MirlImage& spectrum) {
  MirlImage magnitude, logarithm;
  check(fftGetProperty(spectrum, magnitude, MIRL_FFT_MAGNITUDE, s.stream), "fftGetProperty");
  check(mirl::colorOperations::logTransform(magnitude, logarithm, 25.5f, s.stream), "logTransform");
  return s.in(MIRL_8U_C1, logarithm, 1, -102);
}

/// The bands of the photo; the first one is kept by the stage.
struct Bands {
  MirlImage of[4];

  explicit Bands(Stage& s) {
    of[0] = s.run(
        [&](const MirlImage& in, MirlImage& first, const MirlStream& stream) {
          return haarFwd(in, first, of[1], of[2], of[3], stream);
        },
        evenPart(s, s.photo));
  }
};

const Show kShows[] = {
    {kTransforms, "fft2", "magnitudes, with the lowest frequencies in the corners", "building",
     false,
     [](Stage& s) {
       return logarithms(s, s.run([](const MirlImage& in, MirlImage& out,
                                     const MirlStream& stream) { return fft2(in, out, stream); },
                                  evenPart(s, s.gray)));
     }},
    {kTransforms, "fftShift", "and in the middle", "building", false,
     [](Stage& s) {
       return logarithms(s,
                         s.run([](const MirlImage& in, MirlImage& out,
                                  const MirlStream& stream) { return fftShift(in, out, stream); },
                               spectrumOf(s)));
     }},
    {kTransforms, "fftGetProperty", "the phase, from -pi in black to pi in white", "building",
     false,
     [](Stage& s) {
       MirlImage shifted;
       check(fftShift(spectrumOf(s), shifted, s.stream), "fftShift");
       const MirlImage phase = s.run(
           [](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
             return fftGetProperty(in, out, MIRL_FFT_PHASE, stream);
           },
           shifted);
       return s.in(MIRL_8U_C1, phase, 127.5f / 3.14159265f, 127.5f);
     }},
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
