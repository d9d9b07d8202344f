// Status texts, the numbers of the enumerations, the type conversions and the plain records.

#include "support.h"

#include <climits>
#include <optional>

namespace mirl::test {
namespace {

constexpr const char* kUnknown = "MIRL: Unknown Error";

struct StatusRow {
  MirlStatus status;
  int number;
  const char* text;
};

const StatusRow kStatuses[] = {
    {MIRL_SUCCESS, 0, "MIRL: No Error"},
    {MIRL_DEVICE_ALLOC_FAILED, -1, "MIRL: Device Memory Allocation Failed"},
    {MIRL_ARRAY_ALLOC_FAILED, -2, "MIRL: Device Array Allocation Failed"},
    {MIRL_MEMSET_FAILED, -3, "MIRL: Device Memset Failed"},
    {MIRL_COPY_H2D_FAILED, -4, "MIRL: Memory Copy From Host To Device Failed"},
    {MIRL_COPY_D2H_FAILED, -5, "MIRL: Memory Copy From Device To Host Failed"},
    {MIRL_COPY_D2D_FAILED, -6, "MIRL: Memory Copy From Device To Device Failed"},
    {MIRL_COPY_D2ARRAY_FAILED, -7, "MIRL: Memory Copy From Device To Device Array Failed"},
    {MIRL_COPY_H2SYMBOL_FAILED, -8, "MIRL: Memory Copy From Host To Device Symbol Failed"},
    {MIRL_COPY_FAILED, -9, "MIRL: Memory Copy Failed"},
    {MIRL_DEVICE_FREE_FAILED, -10, "MIRL: Failed To Release Device Memory"},
    {MIRL_ARRAY_FREE_FAILED, -11, "MIRL: Failed To Release Device Array"},
    {MIRL_TEXTURE_BIND_FAILED, -12, "MIRL: Texture Binding Failed"},
    {MIRL_TEXTURE_UNBIND_FAILED, -13, "MIRL: Texture Unbinding Failed"},
    {MIRL_IMAGE_NOT_INITIALIZED, -14, kUnknown},
    {MIRL_NULL_POINTER, -15, kUnknown},
    {MIRL_INVALID_ARGUMENT, -16, kUnknown},
    {MIRL_MISMATCH, -17, kUnknown},
    {MIRL_MATRIX_SIZE_MISMATCH, -18, kUnknown},
    {MIRL_ROI_OUT_OF_BOUNDS, -19, kUnknown},
    {MIRL_KERNEL_FAILED, -20, kUnknown},
    {MIRL_INTERNAL_CALL_FAILED, -21, "MIRL: Internal Function Calling Failed"},
    {MIRL_NPP_FAILED, -22, "MIRL: NPP Function Call Failed"},
    {MIRL_CHANNELS_NOT_SUPPORTED, -23,
     "MIRL: Specified Number Of Channels Not Supported For Current Operation"},
    {MIRL_DEPTH_NOT_SUPPORTED, -25,
     "MIRL: Specified Image Depth Not Supported For Current Operation"},
    {MIRL_HOST_REGISTER_FAILED, -26, "MIRL: Failed To Register Host Memory"},
    {MIRL_HOST_UNREGISTER_FAILED, -27, "MIRL: Failed To Unregister Host Memory"},
    {MIRL_SET_DEVICE_FAILED, -33, kUnknown},
    {MIRL_OPERATION_FAILED, -36, kUnknown},
    {MIRL_TYPE_NOT_SUPPORTED, -37, kUnknown},
    {MIRL_IN_PLACE_NOT_SUPPORTED, -38, kUnknown},
    {MIRL_MATRIX_SINGULAR, -39, kUnknown},
};

const char* expectedText(int number) {
  for (const StatusRow& row : kStatuses) {
    if (row.number == number) return row.text;
  }
  return kUnknown;
}

TEST(StatusMessage, EveryNumberHasItsText) {
  for (const StatusRow& row : kStatuses) EXPECT_EQ(static_cast<int>(row.status), row.number);
  for (int number = -60; number <= 20; ++number) {
    EXPECT_STREQ(statusMessage(number), expectedText(number)) << number;
  }
  for (const int number : {INT_MIN, INT_MAX}) EXPECT_STREQ(statusMessage(number), kUnknown);
}

// Callers compile the numbers in, and these are the ones that counting from 0 would get wrong.
TEST(Enumerations, HaveTheirNumbers) {
  const std::pair<int, int> rows[] = {
      {MIRL_BAYER_BGGR, 1},
      {MIRL_BAYER_GBRG, 2},
      {MIRL_BAYER_GRBG, 3},
      {MIRL_BAYER_RGGB, 4},
      {MIRL_BAYER_BGGR_HQ, 5},
      {MIRL_BAYER_GRBG_HQ, 6},
      {MIRL_BAYER_RGGB_HQ, 7},
      {MIRL_BAYER_GBRG_HQ, 8},
      {MIRL_INTERPOLATION_NN, 1},
      {MIRL_INTERPOLATION_LINEAR, 2},
      {MIRL_INTERPOLATION_CUBIC, 3},
      {MIRL_CHANNELSEQ_RGB, 0},
      {MIRL_CHANNELSEQ_BGR, 1},
      {MIRL_CHANNELSEQ_BGRA, 2},
      {MIRL_CHANNELSEQ_RGBA, 3},
      {MIRL_CHANNELSEQ_NONE, 4},
      {MIRL_CHANNELSEQ_UNSET, 5},
      {MIRL_LOAD_GRAYSCALE, 0},
      {MIRL_LOAD_COLOR, 1},
      {MIRL_LOAD_ANYDEPTH, 2},
      {MIRL_LOAD_ANYDEPTH_ANYCOLOR, 3},
      {MIRL_POINTER_DEVICE, 0},
      {MIRL_POINTER_HOST, 1},
      {MIRL_POINTER_PINNED, 2},
      {MIRL_FLIP_UD, 0},
      {MIRL_FLIP_LR, 1},
      {MIRL_FLIP_BOTH, 2},
      {MIRL_COLOR_RED, 0},
      {MIRL_COLOR_GREEN, 1},
      {MIRL_COLOR_BLUE, 2},
      {MIRL_FFT_MAGNITUDE, 0},
      {MIRL_FFT_PHASE, 2},
      {MIRL_FFT_REAL, 4},
      {MIRL_FFT_IMAG_SCALED, 7},
      {MIRL_GRADIENT_CENTRAL, 0},
      {MIRL_GRADIENT_SOBEL, 1},
      {MIRL_GRADIENT_SCHARR, 2},
      {MIRL_GRADIENT_PREWITT, 3},
      {MIRL_FEATURES_KLT, 0},
      {MIRL_FEATURES_HARRIS, 1},
      {MIRL_FEATURES_HARRIS_NORMALIZED, 2},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(rows[i].first, rows[i].second) << "row " << i;
  }
}

/// The first type of each element, by its signed depth.
std::optional<int> firstTypeOf(int depth, bool isSigned) {
  if (depth == 8) return isSigned ? MIRL_8S_C1 : MIRL_8U_C1;
  if (depth == 16) return isSigned ? MIRL_16S_C1 : MIRL_16U_C1;
  if (depth == 32) return isSigned ? MIRL_32S_C1 : MIRL_32F_C1;
  if (depth == 64 && !isSigned) return MIRL_64F_C1;
  return std::nullopt;
}

TEST(Types, DepthAndChannelsToType) {
  std::vector<int> depths = {INT_MIN, INT_MAX, 128, 256, 1 << 30};
  for (int depth = -70; depth <= 70; ++depth) depths.push_back(depth);
  int found = 0;
  for (const int depth : depths) {
    for (const int channels : {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 8, INT_MAX}) {
      for (const bool isSigned : {false, true}) {
        const std::optional<int> first = firstTypeOf(depth, isSigned);
        const bool exists = first.has_value() && channels >= 1 && channels <= 4;
        found += exists;
        EXPECT_EQ(depthAndChannelsToType(depth, channels, isSigned),
                  exists ? *first + channels - 1 : -1)
            << depth << " " << channels << " " << isSigned;
      }
    }
  }
  EXPECT_EQ(found, 28);
  EXPECT_EQ(depthAndChannelsToType(64, 1, false), 24);
  EXPECT_EQ(depthAndChannelsToType(64, 1, true), -1);
}

TEST(Types, TypeToDepthAndChannels) {
  const std::vector<Format> formats = allFormats();
  ASSERT_EQ(formats.size(), 28u);
  std::vector<int> types = {INT_MIN, INT_MAX};
  for (int type = -40; type <= 70; ++type) types.push_back(type);
  for (const int type : types) {
    const bool exists = type >= 0 && type < 28;
    int depth = 77;
    int channels = 77;
    typeToDepthAndChannels(type, depth, channels);
    EXPECT_EQ(depth, exists ? formats[static_cast<std::size_t>(type)].depth : 0) << type;
    EXPECT_EQ(channels, exists ? formats[static_cast<std::size_t>(type)].channels : 0) << type;
    if (exists) {
      EXPECT_EQ(depthAndChannelsToType(std::abs(depth), channels, depth < 0), type);
    }
  }
  int depth = 0;
  int channels = 0;
  typeToDepthAndChannels(22, depth, channels);
  EXPECT_EQ(depth, -32);
  EXPECT_EQ(channels, 3);
}

TEST(Records, StartAtZeroAndKeepWhatTheyAreGiven) {
  const MirlSize size;
  EXPECT_EQ(std::pair(size.width, size.height), std::pair(0, 0));
  const MirlRect none;
  EXPECT_EQ(std::tuple(none.x, none.y, none.width, none.height), std::tuple(0, 0, 0, 0));
  const MirlPoint2D<float> point;
  EXPECT_EQ(std::pair(point.x, point.y), std::pair(0.0f, 0.0f));
  const MirlPointValue2D<float, float> valued;
  EXPECT_EQ(std::tuple(valued.x, valued.y, valued.value), std::tuple(0.0f, 0.0f, 0.0f));

  const MirlSize given(3, -4);
  EXPECT_EQ(std::pair(given.width, given.height), std::pair(3, -4));
  const MirlPoint2D<float> spot(0.25f, -7.5f);
  EXPECT_EQ(std::pair(spot.x, spot.y), std::pair(0.25f, -7.5f));
  const MirlRect rect(1, 2, 30, 40);
  const MirlRect copy = rect;
  EXPECT_EQ(std::tuple(copy.x, copy.y, copy.width, copy.height), std::tuple(1, 2, 30, 40));
  EXPECT_EQ(std::pair(rect.origin().x, rect.origin().y), std::pair(1, 2));
}

TEST(Records, CriteriaHaveTheirDefaults) {
  const MirlEnhancementParams enhancement;
  EXPECT_EQ(std::tuple(enhancement.autoColor, enhancement.clipPercent, enhancement.weightBias),
            std::tuple(true, 2u, 0.1333));
  const MirlFeaturesCriteria features;
  EXPECT_EQ(std::tuple(features.algorithm, features.quality, features.minDistance,
                       features.windowSize, features.harrisK),
            std::tuple(MIRL_FEATURES_KLT, 0.006f, 5, 3, -0.2f));
  const MirlTrackingCriteria tracking;
  EXPECT_EQ(std::tuple(tracking.levels, tracking.window.width, tracking.window.height,
                       tracking.maxIterations, tracking.maxResidual, tracking.minDisplacement,
                       tracking.scale),
            std::tuple(3, 3, 3, 10, 20.0f, 0.01f, 0.5f));

  // Nothing is checked on the way in: the operations do that.
  const MirlEnhancementParams odd(false, 4000000000u, -1.0);
  EXPECT_EQ(std::tuple(odd.autoColor, odd.clipPercent, odd.weightBias),
            std::tuple(false, 4000000000u, -1.0));
  const MirlFeaturesCriteria harris(MIRL_FEATURES_HARRIS, 1.0f, -2, -3, 4.0f);
  EXPECT_EQ(std::tuple(harris.algorithm, harris.quality, harris.minDistance, harris.windowSize,
                       harris.harrisK),
            std::tuple(MIRL_FEATURES_HARRIS, 1.0f, -2, -3, 4.0f));
  const MirlTrackingCriteria wide(-1, MirlSize(7, 9), -2, -3.0f, -4.0f, -5.0f);
  EXPECT_EQ(std::tuple(wide.levels, wide.window.width, wide.window.height, wide.maxIterations,
                       wide.maxResidual, wide.minDisplacement, wide.scale),
            std::tuple(-1, 7, 9, -2, -3.0f, -4.0f, -5.0f));
}

}  // namespace
}  // namespace mirl::test
