#include "shows.h"

#include <algorithm>
#include <array>
#include <vector>

// Tone curves with their plots, thresholds, and operations on whole channels.

namespace gallery {
namespace {

using namespace mirl::colorOperations;

constexpr const char* kTone = "Tone curves and channels";

using Bytes = std::vector<unsigned char>;

MirlImage imageOf(const MirlSize& size, int channels, const Bytes& pixels) {
  MirlImage image(size, 8, channels);
  check(image.upload(pixels.data(), size.width * channels), "upload");
  return image;
}

/// All gray values from left to right.
MirlImage ramp() {
  Bytes values(256);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<unsigned char>(i);
  return imageOf({256, 1}, 1, values);
}

Bytes bytesOf(const MirlImage& image) {
  Bytes bytes(static_cast<std::size_t>(image.width()) * static_cast<std::size_t>(image.height()) *
              static_cast<std::size_t>(image.channels()));
  check(image.download(bytes.data(), image.width() * image.channels()), "download");
  return bytes;
}

/// The picture with the curve in its corner: what the operation makes of a ramp.
MirlImage withPlot(const MirlImage& picture, const MirlImage& curve) {
  const Bytes values = bytesOf(curve);
  Bytes pixels = bytesOf(picture);
  const int channels = picture.channels();
  const int side = std::min({256, picture.width(), picture.height()});
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; ++x) {
      const int value = values[static_cast<std::size_t>(x * 256 / side)];
      const int height = (side - 1 - y) * 256 / side;
      const int row = picture.height() - side + y;
      for (int c = 0; c < channels; ++c) {
        unsigned char& pixel =
            pixels[static_cast<std::size_t>((row * picture.width() + x) * channels + c)];
        pixel = static_cast<unsigned char>(height <= value ? 220 : pixel / 3);
      }
    }
  }
  return imageOf(picture.size(), channels, pixels);
}

/// The same operation on the picture, which is timed, and on the ramp.
template <class Operation>
MirlImage withCurve(Stage& s, const MirlImage& picture, const Operation& operation) {
  MirlImage curve;
  check(operation(ramp(), curve, s.stream), "the curve");
  return withPlot(s.run(operation, picture), curve);
}

auto gammaBy(float gamma) {
  return [=](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    return gammaCorrect(in, out, gamma, stream);
  };
}

/// A logarithm that maps 255 to 255, as bytes.
MirlImage logarithm(Stage& s) {
  const auto operation = [](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    return logTransform(in, out, 255 / 5.5451775f, stream);
  };
  MirlImage curve;
  check(operation(ramp(), curve, s.stream), "logTransform");
  return withPlot(s.in(MIRL_8U_C3, s.run(operation, s.photo), 1), s.in(MIRL_8U_C1, curve, 1));
}

auto through(const MirlImage& table) {
  return [table](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    return LUT(in, table, out, stream);
  };
}

/// Values above the middle turned over, as in a photo exposed twice.
MirlImage solarised(Stage& s) {
  Bytes values(256);
  for (int i = 0; i < 256; ++i) {
    values[static_cast<std::size_t>(i)] = static_cast<unsigned char>(i < 128 ? 2 * i : 510 - 2 * i);
  }
  return withCurve(s, s.photo, through(imageOf({256, 1}, 1, values)));
}

/// Cold shadows and warm lights: a curve for each channel, blue first.
MirlImage crossProcessed(Stage& s) {
  Bytes values(768 * 3);
  for (int i = 0; i < 256; ++i) {
    const int bent = i * i * (765 - 2 * i) / 65025;  // an S
    const int curves[] = {40 + i * 150 / 255, (i + bent) / 2, bent};
    for (int c = 0; c < 3; ++c) {
      values[static_cast<std::size_t>(3 * i + c)] = static_cast<unsigned char>(curves[c]);
    }
  }
  return s.run(through(imageOf({768, 1}, 3, values)), s.photo);
}

/// Black lifted off in each channel, from 12 bits in a 16-bit image, as a camera would have them.
MirlImage blackLevel(Stage& s) {
  std::vector<unsigned short> table(4096);
  for (int i = 0; i < 4096; ++i) {
    const int lifted = std::max(i - 400, 0) * 4095 / 3695;
    table[static_cast<std::size_t>(i)] = static_cast<unsigned short>(lifted);
  }
  const auto operation = [&](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    return blackGammaLUT(in, out, table.data(), table.data(), table.data(), stream);
  };
  MirlImage raw = s.in(MIRL_16U_C3, s.photo, 3695.0f / 255, 400);
  check(raw.setDataBits(12), "setDataBits");
  const MirlImage lifted = s.run(operation, raw);
  const MirlRect left(0, 0, raw.width() / 2, raw.height());
  MirlImage both = lifted;
  check(raw.copyTo(both, {0, 0}, left, s.stream), "copyTo");
  return s.in(MIRL_8U_C3, both, 1 / 16.0f);
}

auto binaryAt(float level) {
  return [=](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    return imageBinary(in, out, level, stream);
  };
}

/// Red, green and blue side by side.
MirlImage planes(Stage& s) {
  MirlImage plane[3];
  plane[2] = s.run(
      [&](const MirlImage& in, MirlImage& blue, const MirlStream& stream) {
        return channelSplit(in, plane[0], plane[1], blue, stream);
      },
      s.photo);
  const int width = s.photo.width();
  MirlImage row(3 * width, s.photo.height(), MIRL_8U_C1);
  for (int c = 0; c < 3; ++c) {
    const MirlRect all(0, 0, width, s.photo.height());
    check(plane[c].copyTo(row, {c * width, 0}, all, s.stream), "copyTo");
  }
  return row;
}

/// The channels merged in another order.
MirlImage swapped(Stage& s) {
  MirlImage red, green, blue;
  check(channelSplit(s.photo, red, green, blue, s.stream), "channelSplit");
  return s.run(channelMerge, green, blue, red);
}

auto mixBy(const std::array<float, 12>& matrix) {
  return [=](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    std::array<float, 12> coefficients = matrix;
    return channelMix(in, out, coefficients.data(), stream);
  };
}

auto pick(MirlColor color, float threshold) {
  return [=](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    return colorPick(in, out, color, threshold, stream);
  };
}

const Show kShows[] = {
    {kTone, "gammaCorrect", "gamma 2.2: the dark brightened", "building", false,
     [](Stage& s) { return withCurve(s, s.photo, gammaBy(2.2f)); }},
    {kTone, "gammaCorrect", "gamma 0.5: darker", "building", false,
     [](Stage& s) { return withCurve(s, s.photo, gammaBy(0.5f)); }},
    {kTone, "logTransform", "the logarithm, 255 staying 255", "building", false, logarithm},
    {kTone, "LUT", "solarised: one curve for all channels", "fruits", false, solarised},
    {kTone, "LUT", "a curve for each channel: cold shadows, warm lights", "fruits", false,
     crossProcessed},
    {kTone, "blackGammaLUT", "12 bits with a raised black, and without", "fruits", false,
     blackLevel},
    {kTone, "imageBinary", "gray at the level 0.5", "building", false,
     [](Stage& s) { return s.run(binaryAt(0.5f), s.gray); }},
    {kTone, "imageBinary", "colour at the level 0.35", "fruits", false,
     [](Stage& s) { return s.run(binaryAt(0.35f), s.photo); }},
    {kTone, "channelSplit", "red, green and blue", "fruits", false, planes},
    {kTone, "channelMerge", "green as red, blue as green, red as blue", "fruits", false, swapped},
    {kTone, "channelMix", "sepia by a colour matrix", "fruits", false,
     [](Stage& s) {
       return s.run(
           mixBy({0.131f, 0.534f, 0.272f, 0, 0.168f, 0.686f, 0.349f, 0, 0.189f, 0.769f, 0.393f, 0}),
           s.photo);
     }},
    {kTone, "colorPick", "what is red, the rest gray", "fruits", false,
     [](Stage& s) { return s.run(pick(MIRL_COLOR_RED, 40), s.photo); }},
    {kTone, "colorPick", "what is green", "fruits", false,
     [](Stage& s) { return s.run(pick(MIRL_COLOR_GREEN, 10), s.photo); }},
};

}  // namespace

std::span<const Show> toneShows() {
  return kShows;
}

}  // namespace gallery
