#include "shows.h"

#include <vector>

// Colour spaces.

namespace gallery {
namespace {

using namespace mirl::colorOperations;

constexpr const char* kColour = "Colour spaces";

using Convert = MirlStatus (*)(const MirlImage&, MirlImage&, const MirlStream&);

/// Gray by weights of red, green and blue.
auto weighted(double red, double green, double blue) {
  return [=](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    return rgb2gray(in, out, MirlScalar(red, green, blue), stream);
  };
}

/// The three channels side by side, each as gray.
MirlImage channels(const Stage& s, MirlImage image) {
  image.setChannelSequence(MIRL_CHANNELSEQ_RGB);
  const MirlRect all(0, 0, image.width(), image.height());
  MirlImage row(3 * image.width(), image.height(), MIRL_8U_C1);
  for (int c = 0; c < 3; ++c) {
    MirlImage channel;
    check(weighted(c == 0, c == 1, c == 2)(image, channel, s.stream), "rgb2gray");
    check(channel.copyTo(row, {c * image.width(), 0}, all, s.stream), "copyTo");
  }
  return row;
}

/// There and back: what got lost, so many times as strong. The way back is the one that is timed.
MirlImage lost(Stage& s, Convert there, Convert back, float gain) {
  MirlImage other;
  check(there(s.photo, other, s.stream), "the way there");
  return s.difference(s.photo, s.run(back, other), gain);
}

/// The bytes of a two-channel image as gray.
MirlImage bytesOf(const MirlImage& image) {
  const int row = 2 * image.width();
  std::vector<unsigned char> bytes(static_cast<std::size_t>(row) *
                                   static_cast<std::size_t>(image.height()));
  check(image.download(bytes.data(), row), "download");
  MirlImage gray(row, image.height(), MIRL_8U_C1);
  check(gray.upload(bytes.data(), row), "upload");
  return gray;
}

const Show kShows[] = {
    {kColour, "rgb2gray", "luma", "fruits", false,
     [](Stage& s) { return s.run(static_cast<Convert>(rgb2gray), s.photo); }},
    {kColour, "rgb2gray", "by weights: what a red filter lets through", "fruits", false,
     [](Stage& s) { return s.run(weighted(0.9, 0.1, 0), s.photo); }},
    {kColour, "gray2rgb", "three equal channels", "fruits", false,
     [](Stage& s) { return s.run(static_cast<Convert>(gray2rgb), s.gray); }},
    {kColour, "rgb2yuv", "Y, U, V", "baboon", false,
     [](Stage& s) { return channels(s, s.run(rgb2yuv, s.photo)); }},
    {kColour, "yuv2rgb", "and back: what got lost, x 30", "baboon", false,
     [](Stage& s) { return lost(s, rgb2yuv, yuv2rgb, 30); }},
    {kColour, "rgb2yuv422", "bytes of UYVY video: Y between U and V", "baboon", false,
     [](Stage& s) { return bytesOf(s.run(rgb2yuv422, s.photo)); }},
    {kColour, "rgb2ycbcr", "Y, Cb, Cr", "baboon", false,
     [](Stage& s) { return channels(s, s.run(rgb2ycbcr, s.photo)); }},
    {kColour, "ycbcr2rgb", "and back: what got lost, x 30", "baboon", false,
     [](Stage& s) { return lost(s, rgb2ycbcr, ycbcr2rgb, 30); }},
    {kColour, "rgb2hsv", "hue, saturation, value", "fruits", false,
     [](Stage& s) { return channels(s, s.run(rgb2hsv, s.photo)); }},
    {kColour, "hsv2rgb", "and back: what got lost, x 10", "fruits", false,
     [](Stage& s) { return lost(s, rgb2hsv, hsv2rgb, 10); }},
    {kColour, "rgb2Lab", "L, a, b", "fruits", false,
     [](Stage& s) { return channels(s, s.run(rgb2Lab, s.photo)); }},
    {kColour, "Lab2rgb", "and back: what got lost, x 30", "fruits", false,
     [](Stage& s) { return lost(s, rgb2Lab, Lab2rgb, 30); }},
};

}  // namespace

std::span<const Show> colorShows() {
  return kShows;
}

}  // namespace gallery
