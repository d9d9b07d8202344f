// Data exchange, geometry, filters and statistics.

#include "rows.h"

namespace mirl::fuzz {

namespace {

using Region = const MirlRect&;
using Filter = const MirlFilter&;

const Types kAny = {MIRL_8U_C1,  MIRL_8U_C2,  MIRL_8U_C3,  MIRL_8U_C4,  MIRL_16U_C1,
                    MIRL_16S_C2, MIRL_16U_C3, MIRL_32F_C4, MIRL_32S_C1, MIRL_64F_C3};

}  // namespace

Rows rowsOfData() {
  using namespace dataExchange;
  using namespace geometryTransforms;
  using namespace imageStatistics;
  using imageFiltering::imageFilter;
  const Traits served{}, bytes{.in = {MIRL_8U_C1, MIRL_8U_C3}}, live{.live = true};
  const Types many = {MIRL_8U_C3, MIRL_8U_C4, MIRL_16U_C3, MIRL_16U_C4, MIRL_32F_C3, MIRL_32F_C4};
  const std::uint64_t copyFails = statuses(MIRL_COPY_D2D_FAILED);
  const Traits extremes{
      .in = bytes.in,
      .changes = statuses(MIRL_MISMATCH, MIRL_ROI_OUT_OF_BOUNDS, MIRL_COPY_FAILED),
      .also = statuses(MIRL_ROI_OUT_OF_BOUNDS, MIRL_COPY_D2ARRAY_FAILED)};
  return {
      row("convertScale", convertScale),
      row("bitConversion", +[](In in, Out out, Stream s) { return bitConversion(in, out, s); },
          {.in = kAny, .live = true}),
      row("getChannel", getChannel, {.in = many, .channels = 1}),
      row("threshold", threshold, {.in = {MIRL_8U_C1, MIRL_8U_C3, MIRL_16U_C1, MIRL_16U_C3}}),
      row("rectangle", rectangle, {.in = bytes.in, .live = true}),
      row("generateRandomImage", generateRandomImage,
          {.in = {MIRL_32F_C1, MIRL_32F_C2, MIRL_32F_C3, MIRL_32F_C4}, .live = true}),
      row("resize", resize, {.live = true, .also = statuses(MIRL_NPP_FAILED)}),
      row("rotate", of<In, Out, float, Point>(rotate)),
      row("rotate part", of<In, Out, float, Point, Region>(rotate),
          {.loose = true, .changes = statuses(MIRL_MISMATCH, MIRL_INVALID_ARGUMENT)}),
      row("rotateNoCrop", rotateNoCrop, {.loose = true, .changes = statuses(MIRL_MISMATCH)}),
      row("imageFilter", of<In, Out, Filter>(imageFilter)),
      row("imageFilter part", of<In, Out, Region, Filter, bool>(imageFilter),
          {.unset = true, .changes = copyFails}),
      row("imageGradients", imageFiltering::imageGradients,
          {.in = {MIRL_8U_C1, MIRL_8U_C3, MIRL_32F_C1, MIRL_32F_C3},
           .depth = 32,
           .unset = true,
           .changes =
               statuses(MIRL_MISMATCH, MIRL_CHANNELS_NOT_SUPPORTED, MIRL_IN_PLACE_NOT_SUPPORTED)}),
      row("medianFilter", imageFiltering::medianFilter,
          {.in = bytes.in,
           .changes =
               statuses(MIRL_MISMATCH, MIRL_TYPE_NOT_SUPPORTED, MIRL_IN_PLACE_NOT_SUPPORTED)}),
      row("minFilter", imageFiltering::minFilter, extremes),
      row("maxFilter", imageFiltering::maxFilter, extremes),
      row("min", of<In, MirlScalar&>(imageStatistics::min)),
      row("max", of<In, MirlScalar&>(imageStatistics::max)),
      row("minMax", minMax),
      row("sum", sum),
      row("mean", mean),
      row("meanStdDev", meanStdDev, bytes),
      row("countInRange", countInRange, {.in = {MIRL_8U_C1, MIRL_8U_C3, MIRL_32F_C1, MIRL_32F_C3}}),
      row("calcHist", calcHist, {.in = {MIRL_8U_C1, MIRL_8U_C3, MIRL_8S_C3}}),
  };
}

}  // namespace mirl::fuzz
