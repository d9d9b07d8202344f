// Status texts, the numbers of the enumerations, the type conversions and the plain records.

#include "support.h"

#include <climits>
#include <map>

namespace mirl::test {
namespace {

/// The texts behind "MIRL: ".
const std::tuple<MirlStatus, int, const char*> kTexts[] = {
    {MIRL_SUCCESS, 0, "No Error"},
    {MIRL_DEVICE_ALLOC_FAILED, -1, "Device Memory Allocation Failed"},
    {MIRL_ARRAY_ALLOC_FAILED, -2, "Device Array Allocation Failed"},
    {MIRL_MEMSET_FAILED, -3, "Device Memset Failed"},
    {MIRL_COPY_H2D_FAILED, -4, "Memory Copy From Host To Device Failed"},
    {MIRL_COPY_D2H_FAILED, -5, "Memory Copy From Device To Host Failed"},
    {MIRL_COPY_D2D_FAILED, -6, "Memory Copy From Device To Device Failed"},
    {MIRL_COPY_D2ARRAY_FAILED, -7, "Memory Copy From Device To Device Array Failed"},
    {MIRL_COPY_H2SYMBOL_FAILED, -8, "Memory Copy From Host To Device Symbol Failed"},
    {MIRL_COPY_FAILED, -9, "Memory Copy Failed"},
    {MIRL_DEVICE_FREE_FAILED, -10, "Failed To Release Device Memory"},
    {MIRL_ARRAY_FREE_FAILED, -11, "Failed To Release Device Array"},
    {MIRL_TEXTURE_BIND_FAILED, -12, "Texture Binding Failed"},
    {MIRL_TEXTURE_UNBIND_FAILED, -13, "Texture Unbinding Failed"},
    {MIRL_INTERNAL_CALL_FAILED, -21, "Internal Function Calling Failed"},
    {MIRL_NPP_FAILED, -22, "NPP Function Call Failed"},
    {MIRL_CHANNELS_NOT_SUPPORTED, -23,
     "Specified Number Of Channels Not Supported For Current Operation"},
    {MIRL_DEPTH_NOT_SUPPORTED, -25, "Specified Image Depth Not Supported For Current Operation"},
    {MIRL_HOST_REGISTER_FAILED, -26, "Failed To Register Host Memory"},
    {MIRL_HOST_UNREGISTER_FAILED, -27, "Failed To Unregister Host Memory"}};
const std::pair<MirlStatus, int> kOthers[] = {
    {MIRL_IMAGE_NOT_INITIALIZED, -14},  {MIRL_NULL_POINTER, -15},
    {MIRL_INVALID_ARGUMENT, -16},       {MIRL_MISMATCH, -17},
    {MIRL_MATRIX_SIZE_MISMATCH, -18},   {MIRL_ROI_OUT_OF_BOUNDS, -19},
    {MIRL_KERNEL_FAILED, -20},          {MIRL_SET_DEVICE_FAILED, -33},
    {MIRL_OPERATION_FAILED, -36},       {MIRL_TYPE_NOT_SUPPORTED, -37},
    {MIRL_IN_PLACE_NOT_SUPPORTED, -38}, {MIRL_MATRIX_SINGULAR, -39}};

TEST(StatusMessage, EveryNumberHasItsText) {
  std::map<int, std::string> texts;
  for (const auto& [status, number, text] : kTexts) {
    EXPECT_EQ(static_cast<int>(status), number) << text;
    texts[number] = text;
  }
  for (const auto& [status, number] : kOthers) EXPECT_EQ(static_cast<int>(status), number);
  std::vector<int> numbers = {INT_MIN, INT_MAX};
  for (int number = -60; number <= 20; ++number) numbers.push_back(number);
  for (const int number : numbers) {
    const std::string text = texts.count(number) != 0 ? texts[number] : "Unknown Error";
    EXPECT_EQ(statusMessage(number), "MIRL: " + text) << number;
  }
}

// Callers compile the numbers in, and these are the ones that counting from 0 would get wrong.
TEST(Enumerations, HaveTheirNumbers) {
  const std::vector<std::vector<int>> fromZero = {
      {MIRL_CHANNELSEQ_RGB, MIRL_CHANNELSEQ_BGR, MIRL_CHANNELSEQ_BGRA, MIRL_CHANNELSEQ_RGBA,
       MIRL_CHANNELSEQ_NONE, MIRL_CHANNELSEQ_UNSET},
      {MIRL_LOAD_GRAYSCALE, MIRL_LOAD_COLOR, MIRL_LOAD_ANYDEPTH, MIRL_LOAD_ANYDEPTH_ANYCOLOR},
      {MIRL_POINTER_DEVICE, MIRL_POINTER_HOST, MIRL_POINTER_PINNED},
      {MIRL_FLIP_UD, MIRL_FLIP_LR, MIRL_FLIP_BOTH},
      {MIRL_COLOR_RED, MIRL_COLOR_GREEN, MIRL_COLOR_BLUE},
      {MIRL_GRADIENT_CENTRAL, MIRL_GRADIENT_SOBEL, MIRL_GRADIENT_SCHARR, MIRL_GRADIENT_PREWITT},
      {MIRL_FEATURES_KLT, MIRL_FEATURES_HARRIS, MIRL_FEATURES_HARRIS_NORMALIZED}};
  const std::vector<std::vector<int>> fromOne = {
      {MIRL_BAYER_BGGR, MIRL_BAYER_GBRG, MIRL_BAYER_GRBG, MIRL_BAYER_RGGB, MIRL_BAYER_BGGR_HQ,
       MIRL_BAYER_GRBG_HQ, MIRL_BAYER_RGGB_HQ, MIRL_BAYER_GBRG_HQ},
      {MIRL_INTERPOLATION_NN, MIRL_INTERPOLATION_LINEAR, MIRL_INTERPOLATION_CUBIC}};
  const auto check = [](const auto& lists, int first) {
    for (const auto& list : lists) {
      for (std::size_t i = 0; i < list.size(); ++i) {
        EXPECT_EQ(list[i], first + static_cast<int>(i)) << "list " << &list - lists.data();
      }
    }
  };
  check(fromZero, 0);
  check(fromOne, 1);
  EXPECT_EQ(std::tuple(0, 2, 4, 7), std::tuple(+MIRL_FFT_MAGNITUDE, +MIRL_FFT_PHASE, +MIRL_FFT_REAL,
                                               +MIRL_FFT_IMAG_SCALED));
}

TEST(Types, DepthAndChannelsToType) {
  std::vector<int> depths = {INT_MIN, INT_MAX, 128, 256, 1 << 30};
  for (int depth = -70; depth <= 70; ++depth) depths.push_back(depth);
  int found = 0;
  for (const int depth : depths) {
    for (const int channels : {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 8, INT_MAX}) {
      for (const bool isSigned : {false, true}) {
        int expected = -1;
        for (const Format& format : allFormats()) {
          const bool is = depth == std::abs(format.depth) && channels == format.channels &&
                          isSigned == (format.depth < 0);
          if (is) expected = format.type;
        }
        found += expected >= 0;
        EXPECT_EQ(depthAndChannelsToType(depth, channels, isSigned), expected)
            << depth << " " << channels << " " << isSigned;
      }
    }
  }
  EXPECT_EQ(found, 28);
  EXPECT_EQ(depthAndChannelsToType(64, 1, false), 24);
  EXPECT_EQ(depthAndChannelsToType(32, 1, true), MIRL_32S_C1);
  EXPECT_EQ(depthAndChannelsToType(32, 1, false), MIRL_32F_C1);
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
  const MirlSize size, given(3, -4);
  EXPECT_EQ(std::tuple(size.width, size.height, given.width, given.height),
            std::tuple(0, 0, 3, -4));
  const MirlRect none, rect(1, 2, 30, 40);
  EXPECT_EQ(std::tuple(none.x, none.y, none.width, none.height), std::tuple(0, 0, 0, 0));
  EXPECT_EQ(std::tuple(rect.x, rect.y, rect.width, rect.height), std::tuple(1, 2, 30, 40));
  EXPECT_EQ(std::pair(rect.origin().x, rect.origin().y), std::pair(1, 2));
  const MirlPoint2D<float> point, spot(0.25f, -7.5f);
  EXPECT_EQ(std::tuple(point.x, point.y, spot.x, spot.y), std::tuple(0.0f, 0.0f, 0.25f, -7.5f));
  const MirlPointValue2D<float, float> valued;
  EXPECT_EQ(std::tuple(valued.x, valued.y, valued.value), std::tuple(0.0f, 0.0f, 0.0f));
}

auto fieldsOf(const MirlEnhancementParams& p) {
  return std::tuple(p.autoColor, p.clipPercent, p.weightBias);
}
auto fieldsOf(const MirlFeaturesCriteria& c) {
  return std::tuple(c.algorithm, c.quality, c.minDistance, c.windowSize, c.harrisK);
}
auto fieldsOf(const MirlTrackingCriteria& c) {
  return std::tuple(c.levels, c.window.width, c.window.height, c.maxIterations, c.maxResidual,
                    c.minDisplacement, c.scale);
}

// Nothing is checked on the way in: the operations do that.
TEST(Records, CriteriaHaveTheirDefaultsAndKeepWhatTheyAreGiven) {
  EXPECT_EQ(fieldsOf(MirlEnhancementParams()), std::tuple(true, 2u, 0.1333));
  EXPECT_EQ(fieldsOf(MirlEnhancementParams(false, 4000000000u, -1.0)),
            std::tuple(false, 4000000000u, -1.0));
  EXPECT_EQ(fieldsOf(MirlFeaturesCriteria()), std::tuple(MIRL_FEATURES_KLT, 0.006f, 5, 3, -0.2f));
  EXPECT_EQ(fieldsOf(MirlFeaturesCriteria(MIRL_FEATURES_HARRIS, 1.0f, -2, -3, 4.0f)),
            std::tuple(MIRL_FEATURES_HARRIS, 1.0f, -2, -3, 4.0f));
  EXPECT_EQ(fieldsOf(MirlTrackingCriteria()), std::tuple(3, 3, 3, 10, 20.0f, 0.01f, 0.5f));
  EXPECT_EQ(fieldsOf(MirlTrackingCriteria(-1, MirlSize(7, 9), -2, -3.0f, -4.0f, -5.0f)),
            std::tuple(-1, 7, 9, -2, -3.0f, -4.0f, -5.0f));
}

}  // namespace
}  // namespace mirl::test
