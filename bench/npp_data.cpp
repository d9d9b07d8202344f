#include "npp.h"

#include <nppi_arithmetic_and_logical_operations.h>
#include <nppi_data_exchange_and_initialization.h>
#include <nppi_threshold_and_compare_operations.h>

namespace mirl::bench::npp {
namespace {

constexpr int kPad = 16;
const std::array<Npp8u, 3> kColor8 = {10, 20, 30};
const std::array<Npp16u, 3> kColor16 = {10, 20, 30};
const std::array<Npp32f, 3> kColor32 = {10, 20, 30};

Shape padded(MirlType type) {
  return {.in = {type}, .out = {type}, .pad = kPad};
}
Shape alike(MirlType type) {
  return {{type}, {type}};
}
/// Fills have no input.
Shape filled(MirlType type) {
  return {{}, {type}};
}

}  // namespace

/// Where it has no conversion with a factor and a summand it is one that maps a range onto another
/// or, without asking for less, a plain one.
std::vector<Peer> dataPeers() {
  return {
      {"convertScale 8u C1 to 32f",
       {{k8}, {k32}},
       call(nppiScale_8u32f_C1R_Ctx, kA, kOut, kSize, 3.0f, 194.25f)},
      {"convertScale 8u C3 to 32f",
       {{k8c}, {k32c}},
       call(nppiScale_8u32f_C3R_Ctx, kA, kOut, kSize, 3.0f, 194.25f)},
      {"convertScale 8u C1 to 16u", {{k8}, {k16}}, call(nppiScale_8u16u_C1R_Ctx, kA, kOut, kSize)},
      {"convertScale 16u C1 to 8u",
       {{k16}, {k8}},
       call(nppiScale_16u8u_C1R_Ctx, kA, kOut, kSize, NPP_ALG_HINT_FAST)},
      {"convertScale 16u C1 to 32f",
       {{k16}, {k32}},
       call(nppiConvert_16u32f_C1R_Ctx, kA, kOut, kSize)},
      {"convertScale 32f C1 to 8u",
       {{k32}, {k8}},
       call(nppiScale_32f8u_C1R_Ctx, kA, kOut, kSize, 0.0f, 255.0f)},
      {"convertScale 32f C3 to 8u",
       {{k32c}, {k8c}},
       call(nppiScale_32f8u_C3R_Ctx, kA, kOut, kSize, 0.0f, 255.0f)},
      {"convertScale 32f C1 to 16u",
       {{k32}, {k16}},
       call(nppiConvert_32f16u_C1R_Ctx, kA, kOut, kSize, NPP_RND_ZERO)},
      {"bitConversion 8u C1 to 16u", {{k8}, {k16}}, call(nppiScale_8u16u_C1R_Ctx, kA, kOut, kSize)},
      {"bitConversion 16u C1 to 8u",
       {{k16}, {k8}},
       call(nppiScale_16u8u_C1R_Ctx, kA, kOut, kSize, NPP_ALG_HINT_FAST)},
      {"bitConversion 16u C1 to 16u", alike(k16),
       call(nppiLShiftC_16u_C1R_Ctx, kA, Npp32u{6}, kOut, kSize)},

      {"set 8u C1", filled(k8), call(nppiSet_8u_C1R_Ctx, Npp8u{10}, kOut, kSize)},
      {"set 8u C3", filled(k8c), call(nppiSet_8u_C3R_Ctx, kColor8, kOut, kSize)},
      {"set 16u C1", filled(k16), call(nppiSet_16u_C1R_Ctx, Npp16u{10}, kOut, kSize)},
      {"set 32f C1", filled(k32), call(nppiSet_32f_C1R_Ctx, 10.0f, kOut, kSize)},
      {"set 32f C3", filled(k32c), call(nppiSet_32f_C3R_Ctx, kColor32, kOut, kSize)},
      {"set a channel 8u C3", filled(k8c),
       call(nppiSet_8u_C3CR_Ctx, Npp8u{20}, Target{0, 0, 0, 1}, kSize)},
      {"set a channel 32f C3", filled(k32c),
       call(nppiSet_32f_C3CR_Ctx, 20.0f, Target{0, 0, 0, 1}, kSize)},
      {"rectangle 8u C1", filled(k8),
       call(nppiSet_8u_C1R_Ctx, Npp8u{10}, Target{0, 1, 1}, Size{1})},
      {"rectangle 8u C3", filled(k8c), call(nppiSet_8u_C3R_Ctx, kColor8, Target{0, 1, 1}, Size{1})},
      {"getChannel 8u C3",
       {{k8c}, {k8}},
       call(nppiCopy_8u_C3C1R_Ctx, Source{0, 0, 0, 1}, kOut, kSize)},
      {"getChannel 8u C4",
       {{MIRL_8U_C4}, {k8}},
       call(nppiCopy_8u_C4C1R_Ctx, Source{0, 0, 0, 1}, kOut, kSize)},
      {"getChannel 32f C3",
       {{k32c}, {k32}},
       call(nppiCopy_32f_C3C1R_Ctx, Source{0, 0, 0, 1}, kOut, kSize)},
      {"padImage 8u C1", padded(k8),
       call(nppiCopyConstBorder_8u_C1R_Ctx, kA, kSize, kOut, kOutSize, kPad, kPad, Npp8u{10})},
      {"padImage 8u C3", padded(k8c),
       call(nppiCopyConstBorder_8u_C3R_Ctx, kA, kSize, kOut, kOutSize, kPad, kPad, kColor8)},
      {"padImage 16u C3", padded(k16c),
       call(nppiCopyConstBorder_16u_C3R_Ctx, kA, kSize, kOut, kOutSize, kPad, kPad, kColor16)},
      {"borderMask 8u C1", alike(k8),
       call(nppiCopyConstBorder_8u_C1R_Ctx, Source{0, kPad, kPad}, Size{kPad}, kOut, kOutSize, kPad,
            kPad, Npp8u{10})},
      {"borderMask 8u C3", alike(k8c),
       call(nppiCopyConstBorder_8u_C3R_Ctx, Source{0, kPad, kPad}, Size{kPad}, kOut, kOutSize, kPad,
            kPad, kColor8)},
      {"borderMask 16u C3", alike(k16c),
       call(nppiCopyConstBorder_16u_C3R_Ctx, Source{0, kPad, kPad}, Size{kPad}, kOut, kOutSize,
            kPad, kPad, kColor16)},
      {"threshold 8u C1", alike(k8),
       call(nppiThreshold_LTValGTVal_8u_C1R_Ctx, kA, kOut, kSize, Npp8u{50}, Npp8u{50}, Npp8u{200},
            Npp8u{200})},
      {"threshold 8u C3", alike(k8c),
       call(nppiThreshold_LTValGTVal_8u_C3R_Ctx, kA, kOut, kSize, three<Npp8u>(50),
            three<Npp8u>(50), three<Npp8u>(200), three<Npp8u>(200))},
      {"threshold 16u C1", alike(k16),
       call(nppiThreshold_LTValGTVal_16u_C1R_Ctx, kA, kOut, kSize, Npp16u{50}, Npp16u{50},
            Npp16u{200}, Npp16u{200})},
  };
}

}  // namespace mirl::bench::npp
