#include "shows.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

// What sensors and video bring along; fills, pads and masks.

namespace gallery {
namespace {

using namespace mirl::colorOperations;
using namespace mirl::dataExchange;

using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(const MirlImage& gray) {
  Bytes bytes(static_cast<std::size_t>(gray.width()) * static_cast<std::size_t>(gray.height()));
  check(gray.download(bytes.data(), gray.width()), "download");
  return bytes;
}

MirlImage imageOf(const Bytes& bytes, const MirlImage& like) {
  MirlImage image = Stage::like(like, MIRL_8U_C1);
  check(image.upload(bytes.data(), image.width()), "upload");
  return image;
}

/// One number from 0 to 1 for each pixel, or for each column.
std::vector<float> noise(const MirlSize& size) {
  MirlImage random(size, MIRL_32F_C1);
  check(generateRandomImage(random), "generateRandomImage");
  std::vector<float> numbers(static_cast<std::size_t>(size.width) *
                             static_cast<std::size_t>(size.height));
  check(random.download(numbers.data(), size.width * 4), "download");
  return numbers;
}

MirlImage sideBySide(const Stage& s, const MirlImage& left, const MirlImage& right) {
  MirlImage both(2 * left.width(), left.height(), left.type());
  const MirlRect all(0, 0, left.width(), left.height());
  check(left.copyTo(both, {0, 0}, all, s.stream), "copyTo");
  check(right.copyTo(both, {left.width(), 0}, all, s.stream), "copyTo");
  return both;
}

/// The photo as a bad sensor sees it: columns glow in the dark, and to the corners and from pixel
/// to pixel it is less sensitive. Its dark frame and its flat field are known.
struct Sensor {
  MirlImage seen, dark, flat;
};

Sensor badSensor(const MirlImage& gray) {
  const int width = gray.width(), height = gray.height();
  const std::vector<float> pixel = noise(gray.size()), column = noise({width, 1});
  const Bytes photo = bytesOf(gray);
  Bytes seen(photo.size()), dark(photo.size()), flat(photo.size());
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const auto i = static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                     static_cast<std::size_t>(x);
      const float fromMiddleX = 2.0f * static_cast<float>(x) / static_cast<float>(width) - 1;
      const float fromMiddleY = 2.0f * static_cast<float>(y) / static_cast<float>(height) - 1;
      const float vignette = 1 - 0.3f * (fromMiddleX * fromMiddleX + fromMiddleY * fromMiddleY);
      const float low = 60 * column[static_cast<std::size_t>(x)];
      const float high = low + (255 - low) * vignette * (1 - 0.3f * pixel[i]);
      dark[i] = static_cast<std::uint8_t>(low);
      flat[i] = static_cast<std::uint8_t>(high);
      const int range = flat[i] - dark[i];
      seen[i] = static_cast<std::uint8_t>(dark[i] + photo[i] * range / 255);
    }
  }
  return {imageOf(seen, gray), imageOf(dark, gray), imageOf(flat, gray)};
}

MirlImage flatField(Stage& s) {
  const Sensor sensor = badSensor(s.gray);
  const auto correct = [](const MirlImage& seen, const MirlImage& flat, const MirlImage& dark,
                          MirlImage& out, const MirlStream& stream) {
    return FPNCorrection(seen, out, flat, dark, 255, stream);
  };
  return sideBySide(s, sensor.seen, s.run(correct, sensor.seen, sensor.flat, sensor.dark));
}

/// Offsets of -20 to 20, which are added to a photo that has room for them.
MirlImage offsets(Stage& s) {
  const MirlImage photo = s.in(MIRL_8U_C1, s.gray, 0.8f, 20);
  const std::vector<float> column = noise({photo.width(), 1});
  Bytes seen = bytesOf(photo), frame(seen.size());
  for (std::size_t i = 0; i < seen.size(); ++i) {
    const int offset = static_cast<int>(41 * column[i % column.size()]) - 20;
    seen[i] = static_cast<std::uint8_t>(std::clamp(seen[i] + offset, 0, 255));
    frame[i] = static_cast<std::uint8_t>(offset);
  }
  const auto correct = [](const MirlImage& in, const MirlImage& frameOf, MirlImage& out,
                          const MirlStream&) { return fpn(out, in, frameOf); };
  const MirlImage before = imageOf(seen, photo);
  return sideBySide(
      s, before, s.runInto(Stage::like(photo, MIRL_8U_C1), correct, before, imageOf(frame, photo)));
}

/// What a sensor behind a Bayer pattern sees of the photo, whose colours stand blue first.
MirlImage mosaicOf(const Stage& s) {
  const int width = s.photo.width(), height = s.photo.height();
  Bytes seen(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  Bytes photo(3 * seen.size());
  check(s.photo.download(photo.data(), 3 * width), "download");
  for (std::size_t i = 0; i < seen.size(); ++i) {
    const std::size_t x = i % static_cast<std::size_t>(width),
                      y = i / static_cast<std::size_t>(width);
    seen[i] = photo[3 * i + (x % 2 != y % 2 ? 1 : y % 2 == 0 ? 2 : 0)];  // red first
  }
  return imageOf(seen, s.photo);
}

/// What becomes of the photo on the way through a mosaic, and how far that is off.
template <MirlBayerSeq sequence, bool alongEdges = false>
MirlImage fromMosaic(Stage& s) {
  const auto recover = [](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    return alongEdges ? demosaicDFPD(in, out, sequence, true, stream)
                      : demosaic(in, out, sequence, stream);
  };
  const MirlImage colours = s.run(recover, mosaicOf(s));
  return sideBySide(s, colours, s.difference(s.photo, colours, 4));
}

/// To 10-bit video and back.
MirlImage throughVideo(Stage& s) {
  MirlImage photo, full, back;
  const int groups = (s.photo.width() + 5) / 6;
  const MirlSize size(groups * 6, s.photo.height());
  check(photo.create(size, MIRL_8U_C3), "create");
  check(mirl::geometryTransforms::resize(s.photo, photo, MIRL_INTERPOLATION_LINEAR, s.stream),
        "resize");
  check(rgb2ycbcr(photo, full, s.stream), "rgb2ycbcr");
  MirlImage video(groups * 8, size.height, groups * 16, 16, 1);
  video = s.runInto(std::move(video), YUV444TOV210, s.in(MIRL_16U_C3, full, 4));
  const MirlImage unpacked = s.runInto(MirlImage(size, MIRL_16U_C3), V210TOYUV444, video);
  check(ycbcr2rgb(s.in(MIRL_8U_C3, unpacked, 0.25f), back, s.stream), "ycbcr2rgb");
  return s.difference(photo, back, 10);
}

MirlImage mask(Stage& s) {
  const auto frame = [](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    const float colour[] = {40, 80, 160};
    const int w = in.width(), h = in.height();
    return borderMask(in, out, h / 16, h / 4, w / 16, w / 8, colour, stream);
  };
  return s.run(frame, s.photo);
}

MirlImage pad(Stage& s) {
  const auto surround = [](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    const float colour[] = {160, 80, 40};
    const int w = in.width(), h = in.height();
    return padImage(in, out, h / 16, h / 4, w / 16, w / 8, colour, stream);
  };
  return s.run(surround, s.photo);
}

MirlImage boxes(Stage& s) {
  const auto fill = [](MirlImage& out, const MirlStream& stream) {
    const int w = out.width(), h = out.height();
    return rectangle(out, {w / 4, h / 3, w / 3, h / 3}, MirlScalar(40, 160, 80), stream);
  };
  return s.runInto(s.photo, fill);
}

MirlImage limits(Stage& s) {
  const auto limit = [](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    return threshold(in, out, 80, 160, stream);
  };
  return s.run(limit, s.photo);
}

MirlImage middleChannel(Stage& s) {
  const auto middle = [](const MirlImage& in, MirlImage& out, const MirlStream& stream) {
    return getChannel(in, out, 1, stream);
  };
  return s.run(middle, s.photo);
}

constexpr const char* kSensor = "Sensors and video";
constexpr const char* kFills = "Fills, pads and masks";

const Show kShows[] = {
    {kSensor, "FPNCorrection", "a bad sensor's photo, and with its flat field corrected", "fruits",
     false, flatField},
    {kSensor, "fpn", "columns with offsets, and without them", "fruits", false, offsets},
    {kSensor, "demosaic", "a Bayer mosaic of the photo as colours, plain, and what is off, x 4",
     "building", false, fromMosaic<MIRL_BAYER_RGGB>},
    {kSensor, "demosaic", "the same in high quality", "building", false,
     fromMosaic<MIRL_BAYER_RGGB_HQ>},
    {kSensor, "demosaicDFPD", "the same along edges", "building", false,
     fromMosaic<MIRL_BAYER_RGGB, true>},
    {kSensor, "V210TOYUV444", "to 10-bit video and back: what got lost, x 10", "baboon", false,
     throughVideo},
    {kSensor, "borderMask", "a mask of four widths over the photo", "fruits", false, mask},
    {kFills, "padImage", "a border of four widths around the photo", "fruits", false, pad},
    {kFills, "rectangle", "a filled rectangle", "fruits", false, boxes},
    {kFills, "set", "all of an image", "fruits", false,
     [](Stage& s) {
       return s.runInto(s.photo, [](MirlImage& out, const MirlStream& stream) {
         return out.set(MirlScalar(40, 160, 80), stream);
       });
     }},
    {kFills, "set", "the blue channel to 0", "fruits", false,
     [](Stage& s) {
       return s.runInto(s.photo, [](MirlImage& out, const MirlStream& stream) {
         return out.set(0, 0.0, stream);
       });
     }},
    {kFills, "threshold", "no darker than 80 and no brighter than 160", "fruits", false, limits},
    {kFills, "getChannel", "the green one", "fruits", false, middleChannel},
    {kFills, "generateRandomImage", "three channels of noise", "fruits", false,
     [](Stage& s) { return s.runInto(Stage::like(s.photo, MIRL_32F_C3), generateRandomImage); }},
};

}  // namespace

std::span<const Show> sensorShows() {
  return kShows;
}

}  // namespace gallery
