#include "shows.h"

#include <algorithm>
#include <random>
#include <vector>

// Linear filters, and those by rank.

namespace gallery {
namespace {

constexpr const char* kFilters = "Linear filtering";
constexpr const char* kRanks = "Medians and extremes";

/// The photo through a filter.
MirlImage through(Stage& s, const MirlImage& image, const MirlFilter& filter) {
  return s.run(
      [&](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
        return mirl::imageFiltering::imageFilter(in, out, filter, stream);
      },
      image);
}

/// A derivative of the gray photo in float, gray standing for 0.
MirlImage derivative(Stage& s, const MirlFilter& filter, float gain) {
  const MirlImage gray = s.in(MIRL_32F_C1, s.gray, 1);
  return s.in(MIRL_8U_C1, through(s, gray, filter), gain, 128);
}

/// One of the two, gray standing for 0.
MirlImage gradient(Stage& s, MirlGradientKernelType kernel, bool second, float gain) {
  const MirlImage both = s.run(
      [&](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
        MirlImage other;
        const MirlStatus status =
            second ? mirl::imageFiltering::imageGradients(in, other, out, kernel, stream)
                   : mirl::imageFiltering::imageGradients(in, out, other, kernel, stream);
        return status;
      },
      s.gray);
  return s.in(MIRL_8U_C1, both, gain, 128);
}

/// The photo with a tenth of its pixels black and a tenth white.
MirlImage saltAndPepper(const MirlImage& photo) {
  const std::size_t pixels =
      static_cast<std::size_t>(photo.width()) * static_cast<std::size_t>(photo.height());
  std::vector<unsigned char> bytes(3 * pixels);
  check(photo.download(bytes.data(), 3 * photo.width()), "download");
  std::mt19937 chance(1);
  for (std::size_t i = 0; i < pixels; ++i) {
    const auto drawn = chance() % 10;
    if (drawn < 2)
      std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(3 * i), 3,
                  static_cast<unsigned char>(255 * drawn));
  }
  MirlImage spoiled = Stage::like(photo, photo.type());
  check(spoiled.upload(bytes.data(), 3 * photo.width()), "upload");
  return spoiled;
}

MirlImage ranked(Stage& s, const MirlImage& image,
                 decltype(mirl::imageFiltering::minFilter)& filter, int side) {
  return s.run(
      [&](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
        return filter(in, out, {0, 0, in.width(), in.height()}, {side, side}, stream);
      },
      image);
}

/// Before in the left half, after in the right one.
MirlImage cleaned(Stage& s, int side) {
  const MirlImage before = saltAndPepper(s.photo);
  MirlImage after = ranked(s, before, mirl::imageFiltering::medianFilter, side);
  check(before.copyTo(after, {0, 0}, {0, 0, before.width() / 2, before.height()}, s.stream),
        "copyTo");
  return after;
}

const Show kShows[] = {
    {kFilters, "imageFilter", "average of 9x9", "building", false,
     [](Stage& s) { return through(s, s.photo, MirlSpecialFilters::average(MirlSize(9, 9))); }},
    {kFilters, "imageFilter", "Gaussian of 15x15, sigma 3", "building", false,
     [](Stage& s) {
       return through(s, s.photo, MirlSpecialFilters::gaussian(MirlSize(15, 15), 3));
     }},
    {kFilters, "imageFilter", "unsharp, alpha 0.2", "fruits", false,
     [](Stage& s) { return through(s, s.photo, MirlSpecialFilters::unsharp(0.2f)); }},
    {kFilters, "imageFilter", "Laplacian, alpha 0.2, x 2; gray is 0", "building", false,
     [](Stage& s) { return derivative(s, MirlSpecialFilters::laplacian(0.2f), 2); }},
    {kFilters, "imageFilter", "Sobel along x; gray is 0", "building", false,
     [](Stage& s) { return derivative(s, MirlSpecialFilters::sobel(), 0.5f); }},
    {kFilters, "imageFilter", "Scharr along x; gray is 0", "building", false,
     [](Stage& s) { return derivative(s, MirlSpecialFilters::scharr(), 0.125f); }},
    {kFilters, "imageFilter", "Prewitt along x; gray is 0", "building", false,
     [](Stage& s) { return derivative(s, MirlSpecialFilters::prewitt(), 0.67f); }},
    {kFilters, "imageGradients", "central differences, along x first; gray is 0", "building", false,
     [](Stage& s) { return gradient(s, MIRL_GRADIENT_CENTRAL, false, 1); }},
    {kFilters, "imageGradients", "Sobel, upward first; gray is 0", "building", false,
     [](Stage& s) { return gradient(s, MIRL_GRADIENT_SOBEL, false, 0.5f); }},
    {kFilters, "imageGradients", "Scharr, along x second; gray is 0", "building", false,
     [](Stage& s) { return gradient(s, MIRL_GRADIENT_SCHARR, true, 0.125f); }},
    {kFilters, "imageFilter", "motion of 31 pixels, a filter of one row", "fruits", false,
     [](Stage& s) { return through(s, s.photo, MirlSpecialFilters::average(MirlSize(31, 1))); }},
    {kFilters, "imageFilter", "a Gaussian inside a region only", "baboon", false,
     [](Stage& s) {
       const MirlRect region(s.photo.width() / 4, s.photo.height() / 4, s.photo.width() / 2,
                             s.photo.height() / 2);
       const MirlFilter filter = MirlSpecialFilters::gaussian(MirlSize(21, 21), 5);
       return s.run(
           [&](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
             return mirl::imageFiltering::imageFilter(in, out, region, filter, true, stream);
           },
           s.photo);
     }},
    {kRanks, "medianFilter", "salt and pepper, in the right half through 3x3", "fruits", false,
     [](Stage& s) { return cleaned(s, 3); }},
    {kRanks, "medianFilter", "salt and pepper, in the right half through 5x5", "fruits", false,
     [](Stage& s) { return cleaned(s, 5); }},
    {kRanks, "medianFilter", "9x9", "baboon", false,
     [](Stage& s) { return ranked(s, s.photo, mirl::imageFiltering::medianFilter, 9); }},
    {kRanks, "minFilter", "erosion by 9x9", "building", false,
     [](Stage& s) { return ranked(s, s.photo, mirl::imageFiltering::minFilter, 9); }},
    {kRanks, "maxFilter", "dilation by 9x9", "building", false,
     [](Stage& s) { return ranked(s, s.photo, mirl::imageFiltering::maxFilter, 9); }},
};

}  // namespace

std::span<const Show> filteringShows() {
  return kShows;
}

}  // namespace gallery
