// Operations on colour, channels, tones, video and the sensor.

#include <climits>

#include "rows.h"

namespace mirl::fuzz {

namespace {

const Types kColor = {MIRL_8U_C3, MIRL_16U_C3, MIRL_32F_C3},
            kColors = {MIRL_8U_C3, MIRL_8U_C4, MIRL_16U_C3, MIRL_16U_C4, MIRL_32F_C3},
            kGray = {MIRL_8U_C1, MIRL_16U_C1, MIRL_32F_C1}, kBytes = {MIRL_8U_C1, MIRL_8U_C3},
            kVideo = {MIRL_8U_C3, MIRL_8S_C3, MIRL_16U_C3, MIRL_16S_C3},
            kCamera = {MIRL_8U_C1,  MIRL_8U_C3,  MIRL_8S_C1,  MIRL_8S_C3,
                       MIRL_16U_C1, MIRL_16U_C3, MIRL_16S_C1, MIRL_16S_C3};

/// Images of packed video, mostly of rows as they must be.
MirlStatus video(Draw& draw, bool toV210, bool flat,
                 MirlStatus (*run)(const MirlImage&, MirlImage&, const MirlStream&)) {
  const int width = 6 * (1 + draw.upTo(20)), height = 1 + draw.upTo(6);
  const int odd = draw.upTo(8);  // 0 to 3 make one thing wrong
  const test::Format wide{MIRL_16U_C3, odd == 0 ? draw.oneOf({8, 32, -16}) : 16,
                          flat       ? 2
                          : odd == 1 ? 1
                                     : 3};
  const int row = width * wide.channels * std::abs(wide.depth) / 8;
  const MirlSize words(width / 6 * 16 / 2, height + draw.upTo(2) - (odd == 2 && height > 1));
  const int pitch = width / 6 * 16 + (odd == 3 ? 1 + draw.upTo(64) : 0);
  // A flat image's rows have no padding; one in eight here does.
  const int widePitch = row + (flat && odd != 4 ? 0 : draw.upTo(9));
  MirlImage& packed = draw.image({MIRL_16U_C1, 16, 1}, words, pitch, toV210);
  MirlImage& pixels = draw.image(wide, {width, height}, widePitch, !toV210);
  draw.tell(" %dx%d C%d depth %d pitch %d, V210 of %d rows with pitch %d", width, height,
            wide.channels, wide.depth, widePitch, words.height, pitch);
  if (draw.chance(20)) return draw.call([&] { return run(pixels, pixels, MirlStream()); });
  const MirlStream& stream = draw.stream();
  return draw.call(
      [&] { return toV210 ? run(pixels, packed, stream) : run(packed, pixels, stream); });
}

MirlStatus padded(Draw& draw, bool mask) {
  const MirlImage& source = draw.input();
  const auto side = [&draw] {
    return draw.chance(12) ? draw.oneOf({-1, INT_MIN, INT_MAX}) : draw.upTo(6);
  };
  const int top = side(), bottom = side(), left = side(), right = side();
  const auto fits = [](int pad) { return pad >= 0 && pad < 6 ? pad : 0; };
  const bool same = !mask && !draw.chance(3) && source.isInitialized();
  const MirlSize size(source.width() + fits(left) + fits(right),
                      source.height() + fits(top) + fits(bottom));
  const test::Format format{source.type(), source.isSigned() ? -source.depth() : source.depth(),
                            source.channels()};
  MirlImage& destination = same ? draw.image(format, size, 0, true) : draw.output();
  const float* const values = draw.floats();
  const MirlStream& stream = draw.stream();
  draw.tell(" %d %d %d %d", top, bottom, left, right);
  return draw.call([&] {
    const auto run = mask ? colorOperations::borderMask : dataExchange::padImage;
    return run(source, destination, top, bottom, left, right, values, stream);
  });
}

MirlStatus table(Draw& draw) {
  const MirlImage& source = draw.input();
  MirlImage& destination = draw.output();
  const bool color = draw.chance(2), fits = !draw.chance(8);
  const test::Format wide{MIRL_16U_C1, 16, color ? 3 : 1}, bytes{MIRL_8U_C1, 8, color ? 3 : 1};
  const bool deep = draw.chance(12);
  const int width = (deep ? 65536 : 256) * (color ? 3 : 1) - (fits ? 0 : draw.upTo(3));
  const MirlImage& entries =
      draw.chance(12)
          ? draw.input()
          : draw.image(deep ? wide : bytes, {width, fits ? 1 : 1 + draw.upTo(2)}, 0, false);
  const MirlStream& stream = draw.stream();
  const bool ontoTable = draw.chance(24);
  draw.tell(" table %dx%d C%d", entries.width(), entries.height(), entries.channels());
  return draw.call([&] {
    if (ontoTable) return colorOperations::LUT(source, source, destination, stream);
    return colorOperations::LUT(source, entries, destination, stream);
  });
}

}  // namespace

Rows rowsOfColor() {
  using namespace colorOperations;
  const Traits color{.in = kColor}, toGray{.in = kColors, .channels = 1},
      hues{.in = {MIRL_8U_C3, MIRL_32F_C3}}, yuv{.in = kVideo}, camera{.in = kCamera};
  // Sequences are set before types are looked at.
  Traits ycbcr = color, lab = hues;
  ycbcr.changes = statuses(MIRL_TYPE_NOT_SUPPORTED);
  lab.changes = statuses(MIRL_DEPTH_NOT_SUPPORTED);
  // Its tables are put on the device at last.
  Traits tables = yuv;
  tables.rare = true;
  tables.changes = statuses(MIRL_DEVICE_ALLOC_FAILED, MIRL_COPY_H2D_FAILED);
  const Traits packs{.pitch = true};
  return {
      row("rgb2gray", of<In, Out>(rgb2gray), toGray),
      row("rgb2gray weights", of<In, Out, Scalar>(rgb2gray), toGray),
      row("gray2rgb", of<In, Out>(gray2rgb), {.in = kGray, .channels = 3}),
      row("gray2rgb in place", of<Out>(gray2rgb), {.in = kGray, .live = true, .loose = true}),
      row("rgb2yuv", rgb2yuv, yuv),
      row("yuv2rgb", yuv2rgb, yuv),
      row("rgb2yuv422", rgb2yuv422, {.in = {MIRL_8U_C3}, .channels = 2}),
      row("rgb2ycbcr", rgb2ycbcr, ycbcr),
      row("ycbcr2rgb", ycbcr2rgb, color),
      row("rgb2hsv", rgb2hsv, hues),
      row("hsv2rgb", hsv2rgb, hues),
      row("rgb2Lab", rgb2Lab, lab),
      row("Lab2rgb", Lab2rgb, hues),
      row("gammaCorrect", gammaCorrect, {.in = kBytes}),
      row("logTransform", logTransform, {.depth = 32}),
      {"LUT", table, {.in = kBytes}},
      row("blackGammaLUT", blackGammaLUT, tables),
      row("imageBinary", imageBinary, {.in = kBytes, .channels = 1}),
      row("channelSplit", channelSplit, {.in = kColor, .channels = 1}),
      row("channelMerge", channelMerge, {.in = kGray, .channels = 3}),
      row("channelMix", channelMix, color),
      row("colorPick", colorPick, {.in = {MIRL_8U_C3, MIRL_8S_C3}}),
      row("autoColor", autoColor, color),
      row("histEq", histEq, {.in = {MIRL_8U_C1}}),
      row("dehaze", dehaze, {.in = {MIRL_8U_C3, MIRL_16U_C3}, .unset = true}),
      row("lowlight", lowlight, {.in = {MIRL_8U_C3, MIRL_16U_C3}}),
      row("demosaic", demosaic, {.in = {MIRL_8U_C1, MIRL_16U_C1}, .channels = 3}),
      row("demosaicDFPD", demosaicDFPD, {.in = {MIRL_8U_C1, MIRL_16U_C1}, .channels = 3}),
      row("adjust", adjust, {.in = kBytes, .live = true}),
      row("FPNCorrection", FPNCorrection, camera),
      {"fpn",
       [](Draw& draw) {
         draw.differs();  // it works on the padding too, and wants one pitch
         return row("fpn", fpn).run(draw);
       },
       {.in = {MIRL_8U_C1, MIRL_8U_C3, MIRL_8S_C1}, .live = true, .loose = true, .pitch = true}},
      {"borderMask", [](Draw& draw) { return padded(draw, true); }, camera},
      // Other channels are refused when the source has been copied.
      {"padImage",
       [](Draw& draw) { return padded(draw, false); },
       {.in = kCamera, .changes = statuses(MIRL_CHANNELS_NOT_SUPPORTED)}},
      {"V210TOYUV444", [](Draw& d) { return video(d, false, false, V210TOYUV444); }, packs},
      {"YUV444TOV210", [](Draw& d) { return video(d, true, false, YUV444TOV210); }, packs},
      {"YUV422TOV210", [](Draw& d) { return video(d, true, true, YUV422TOV210); }, packs},
  };
}

}  // namespace mirl::fuzz
