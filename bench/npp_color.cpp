#include "npp.h"

#include <nppi_arithmetic_and_logical_operations.h>
#include <nppi_color_conversion.h>
#include <nppi_data_exchange_and_initialization.h>
#include <nppi_threshold_and_compare_operations.h>

namespace mirl::bench::npp {
namespace {

constexpr MirlType k8x2 = MIRL_8U_C2, k8x4 = MIRL_8U_C4;
const Shape kColor{{k8c}, {k8c}};

const std::array<Npp32f, 3> kWeights = {0.2126f, 0.7152f, 0.0722f};
constexpr Matrix kMix = {{{0.9f, 0.2f, -0.1f, 3}, {0.1f, 0.8f, 0.1f, -5}, {0, 0.3f, 0.7f, 0}}};

}  // namespace

/// Conversions of other depths it doesn't have; its gamma is a fixed one.
std::vector<Peer> colorPeers() {
  return {
      {"rgb2gray 8u C3", {{k8c}, {k8}}, call(nppiRGBToGray_8u_C3C1R_Ctx, kA, kOut, kSize)},
      {"rgb2gray 8u C4", {{k8x4}, {k8}}, call(nppiRGBToGray_8u_AC4C1R_Ctx, kA, kOut, kSize)},
      {"rgb2gray 16u C3", {{k16c}, {k16}}, call(nppiRGBToGray_16u_C3C1R_Ctx, kA, kOut, kSize)},
      {"rgb2gray 32f C3", {{k32c}, {k32}}, call(nppiRGBToGray_32f_C3C1R_Ctx, kA, kOut, kSize)},
      {"rgb2gray by weights 8u C3",
       {{k8c}, {k8}},
       call(nppiColorToGray_8u_C3C1R_Ctx, kA, kOut, kSize, kWeights)},
      {"gray2rgb 8u C1", {{k8}, {k8c}}, call(nppiDup_8u_C1C3R_Ctx, kA, kOut, kSize)},
      {"gray2rgb 32f C1", {{k32}, {k32c}}, call(nppiDup_32f_C1C3R_Ctx, kA, kOut, kSize)},
      {"rgb2yuv 8u C3", kColor, call(nppiRGBToYUV_8u_C3R_Ctx, kA, kOut, kSize)},
      {"yuv2rgb 8u C3", kColor, call(nppiYUVToRGB_8u_C3R_Ctx, kA, kOut, kSize)},
      {"rgb2yuv422 8u C3", {{k8c}, {k8x2}}, call(nppiRGBToCbYCr422_8u_C3C2R_Ctx, kA, kOut, kSize)},
      {"rgb2ycbcr 8u C3", kColor, call(nppiRGBToYCbCr_8u_C3R_Ctx, kA, kOut, kSize)},
      {"ycbcr2rgb 8u C3", kColor, call(nppiYCbCrToRGB_8u_C3R_Ctx, kA, kOut, kSize)},
      {"rgb2hsv 8u C3", kColor, call(nppiRGBToHSV_8u_C3R_Ctx, kA, kOut, kSize)},
      {"hsv2rgb 8u C3", kColor, call(nppiHSVToRGB_8u_C3R_Ctx, kA, kOut, kSize)},
      {"rgb2Lab 8u C3", kColor, call(nppiBGRToLab_8u_C3R_Ctx, kA, kOut, kSize)},
      {"Lab2rgb 8u C3", kColor, call(nppiLabToBGR_8u_C3R_Ctx, kA, kOut, kSize)},

      {"gammaCorrect 8u C1",
       {{k8}, {k8}},
       call(nppiLUTPalette_8u_C1R_Ctx, kA, kOut, kSize, kTable, 8)},
      {"gammaCorrect 8u C3", kColor, call(nppiGammaFwd_8u_C3R_Ctx, kA, kOut, kSize)},
      {"LUT 8u C1", {{k8}, {k8}}, call(nppiLUTPalette_8u_C1R_Ctx, kA, kOut, kSize, kTable, 8)},
      {"LUT 8u C3", kColor, call(nppiLUTPalette_8u_C3R_Ctx, kA, kOut, kSize, kTables, 8)},
      {"blackGammaLUT 8u C3", kColor, call(nppiLUTPalette_8u_C3R_Ctx, kA, kOut, kSize, kTables, 8)},
      {"blackGammaLUT 16u C3",
       {.in = {k16c}, .out = {k16c}, .table = k16},
       call(nppiLUTPalette_16u_C3R_Ctx, kA, kOut, kSize, kTables, 16)},
      {"imageBinary 8u C1",
       {{k8}, {k8}},
       call(nppiCompareC_8u_C1R_Ctx, kA, Npp8u{126}, kOut, kSize, NPP_CMP_GREATER)},

      {"channelSplit 8u C3",
       {{k8c}, {k8, k8, k8}},
       call(nppiCopy_8u_C3P3R_Ctx, kA, kOutPlanes, kSize)},
      {"channelSplit 16u C3",
       {{k16c}, {k16, k16, k16}},
       call(nppiCopy_16u_C3P3R_Ctx, kA, kOutPlanes, kSize)},
      {"channelSplit 32f C3",
       {{k32c}, {k32, k32, k32}},
       call(nppiCopy_32f_C3P3R_Ctx, kA, kOutPlanes, kSize)},
      {"channelMerge 8u C1",
       {{k8, k8, k8}, {k8c}},
       call(nppiCopy_8u_P3C3R_Ctx, kInPlanes, kOut, kSize)},
      {"channelMerge 16u C1",
       {{k16, k16, k16}, {k16c}},
       call(nppiCopy_16u_P3C3R_Ctx, kInPlanes, kOut, kSize)},
      {"channelMerge 32f C1",
       {{k32, k32, k32}, {k32c}},
       call(nppiCopy_32f_P3C3R_Ctx, kInPlanes, kOut, kSize)},
      {"channelMix 8u C3", kColor, call(nppiColorTwist32f_8u_C3R_Ctx, kA, kOut, kSize, kMix)},
      {"channelMix 16u C3",
       {{k16c}, {k16c}},
       call(nppiColorTwist32f_16u_C3R_Ctx, kA, kOut, kSize, kMix)},
      {"channelMix 32f C3",
       {{k32c}, {k32c}},
       call(nppiColorTwist_32f_C3R_Ctx, kA, kOut, kSize, kMix)},
  };
}

}  // namespace mirl::bench::npp
