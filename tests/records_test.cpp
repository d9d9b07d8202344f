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

// Callers compile the numbers in. Each list counts up from its first entry.
TEST(Enumerations, HaveTheirNumbers) {
  const std::vector<int> lists[] = {
      {0, MIRL_CHANNELSEQ_RGB, MIRL_CHANNELSEQ_BGR, MIRL_CHANNELSEQ_BGRA, MIRL_CHANNELSEQ_RGBA,
       MIRL_CHANNELSEQ_NONE, MIRL_CHANNELSEQ_UNSET},
      {0, MIRL_LOAD_GRAYSCALE, MIRL_LOAD_COLOR, MIRL_LOAD_ANYDEPTH, MIRL_LOAD_ANYDEPTH_ANYCOLOR},
      {0, MIRL_POINTER_DEVICE, MIRL_POINTER_HOST, MIRL_POINTER_PINNED},
      {0, MIRL_FLIP_UD, MIRL_FLIP_LR, MIRL_FLIP_BOTH},
      {0, MIRL_COLOR_RED, MIRL_COLOR_GREEN, MIRL_COLOR_BLUE},
      {0, MIRL_GRADIENT_CENTRAL, MIRL_GRADIENT_SOBEL, MIRL_GRADIENT_SCHARR, MIRL_GRADIENT_PREWITT},
      {0, MIRL_FEATURES_KLT, MIRL_FEATURES_HARRIS, MIRL_FEATURES_HARRIS_NORMALIZED},
      {1, MIRL_BAYER_BGGR, MIRL_BAYER_GBRG, MIRL_BAYER_GRBG, MIRL_BAYER_RGGB, MIRL_BAYER_BGGR_HQ,
       MIRL_BAYER_GRBG_HQ, MIRL_BAYER_RGGB_HQ, MIRL_BAYER_GBRG_HQ},
      {1, MIRL_INTERPOLATION_NN, MIRL_INTERPOLATION_LINEAR, MIRL_INTERPOLATION_CUBIC}};
  for (const auto& list : lists) {
    for (std::size_t i = 1; i < list.size(); ++i) {
      EXPECT_EQ(list[i], list[0] + static_cast<int>(i) - 1) << "list " << &list - lists;
    }
  }
  EXPECT_EQ(std::tuple(0, 2, 4, 7), std::tuple(+MIRL_FFT_MAGNITUDE, +MIRL_FFT_PHASE, +MIRL_FFT_REAL,
                                               +MIRL_FFT_IMAG_SCALED));
}

TEST(Types, DepthAndChannelsToTypeAndBack) {
  const std::vector<Format> formats = allFormats();
  ASSERT_EQ(formats.size(), 28u);
  std::vector<int> depths = {INT_MIN, INT_MAX, 128, 256, 1 << 30};
  for (int depth = -70; depth <= 70; ++depth) depths.push_back(depth);
  for (const int depth : depths) {
    for (const int channels : {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 8, INT_MAX}) {
      for (const bool isSigned : {false, true}) {
        int expected = -1;
        for (const Format& format : formats) {
          const bool is = depth == std::abs(format.depth) && channels == format.channels &&
                          isSigned == (format.depth < 0);
          if (is) expected = format.type;
        }
        EXPECT_EQ(depthAndChannelsToType(depth, channels, isSigned), expected)
            << depth << " " << channels << " " << isSigned;
      }
    }
  }
  std::vector<int> types = {INT_MIN, INT_MAX};
  for (int type = -40; type <= 70; ++type) types.push_back(type);
  for (const int type : types) {
    const Format none{}, format = type >= 0 && type < 28 ? formats[std::size_t(type)] : none;
    int depth = 77, channels = 77;
    typeToDepthAndChannels(type, depth, channels);
    EXPECT_EQ(std::pair(depth, channels), std::pair(format.depth, format.channels)) << type;
  }
  EXPECT_EQ(depthAndChannelsToType(64, 1, false), 24);
  EXPECT_EQ(depthAndChannelsToType(32, 1, true), MIRL_32S_C1);
}

TEST(Records, CriteriaHaveTheirDefaults) {
  const MirlEnhancementParams e;
  EXPECT_EQ(std::tuple(e.autoColor, e.clipPercent, e.weightBias), std::tuple(true, 2u, 0.1333));
  const MirlFeaturesCriteria f;
  EXPECT_EQ(std::tuple(f.algorithm, f.quality, f.minDistance, f.windowSize, f.harrisK),
            std::tuple(MIRL_FEATURES_KLT, 0.006f, 5, 3, -0.2f));
  const MirlTrackingCriteria t;
  EXPECT_EQ(std::tuple(t.levels, t.window.width, t.window.height, t.maxIterations, t.maxResidual,
                       t.minDisplacement, t.scale),
            std::tuple(3, 3, 3, 10, 20.0f, 0.01f, 0.5f));
  EXPECT_EQ(MirlRect(1, 2, 30, 40).origin().y, 2);
}

}  // namespace
}  // namespace mirl::test
