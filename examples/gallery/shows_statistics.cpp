#include "shows.h"

#include <algorithm>

// Statistics: the histogram as a plot, and numbers put to use.

namespace gallery {
namespace {

using namespace mirl::imageStatistics;

constexpr const char* kStatistics = "Statistics";

/// The bins of each channel as a curve in its colour, filled where they add up.
MirlImage plot(const MirlHistogram& histogram, int channels) {
  constexpr int kWidth = 512;
  constexpr int kHeight = 320;
  const unsigned* bins = histogram.hist();
  const double most = *std::max_element(bins + 1, bins + histogram.binCount() - 1);
  std::vector<unsigned char> pixels(kWidth * kHeight * 3, 16);
  for (int c = 0; c < 3; ++c) {
    const unsigned* const channel = bins + (channels == 1 ? 0 : c) * 256;
    for (int x = 0; x < kWidth; ++x) {
      const double share = std::min(channel[x / 2] / most, 1.0);
      const int top = kHeight - 1 - static_cast<int>(share * (kHeight - 8));
      for (int y = top; y < kHeight; ++y) {
        pixels[static_cast<std::size_t>((y * kWidth + x) * 3 + c)] = 235;
      }
    }
  }
  MirlImage image(kWidth, kHeight, MIRL_8U_C3);
  check(image.upload(pixels.data(), kWidth * 3), "upload");
  return image;
}

MirlImage histogramOf(Stage& s, const MirlImage& image) {
  MirlHistogram histogram;
  s.run(
      [&](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
        out = in;
        return calcHist(in, histogram, stream);
      },
      image);
  return plot(histogram, image.channels());
}

const Show kShows[] = {
    {kStatistics, "calcHist", "of a gray photo", "building", false,
     [](Stage& s) { return histogramOf(s, s.gray); }},
    {kStatistics, "calcHist", "of blue, green and red", "fruits", false,
     [](Stage& s) { return histogramOf(s, s.photo); }},
    {kStatistics, "minMax", "the gray photo stretched to its extremes", "aloeL", false,
     [](Stage& s) {
       MirlScalar least, most;
       const MirlImage half = s.in(MIRL_8U_C1, s.gray, 0.4f, 60);
       check(minMax(half, least, most, s.stream), "minMax");
       const float scale = static_cast<float>(255 / (most[0] - least[0]));
       return s.in(MIRL_8U_C1, half, scale, -static_cast<float>(least[0]) * scale);
     }},
    {kStatistics, "meanStdDev", "more than its deviation from the mean: black, white", "building",
     false,
     [](Stage& s) {
       MirlScalar mean, deviation;
       check(meanStdDev(s.gray, mean, deviation, s.stream), "meanStdDev");
       const float scale = static_cast<float>(127.5 / deviation[0]);
       return s.in(MIRL_8U_C1, s.gray, scale, 127.5f - static_cast<float>(mean[0]) * scale);
     }},
};

}  // namespace

std::span<const Show> statisticsShows() {
  return kShows;
}

}  // namespace gallery
