#include "npp.h"

#include <nppi_arithmetic_and_logical_operations.h>
#include <npps_arithmetic_and_logical_operations.h>

namespace mirl::bench::npp {
namespace {

Shape unary(MirlType type) {
  return {{type}, {type}};
}
Shape binary(MirlType type) {
  return {{type, type}, {type}};
}

const std::array<Npp8u, 3> kThree8 = {10, 20, 30};
const std::array<Npp16u, 3> kThree16 = {10, 20, 30};
const std::array<Npp32f, 3> kThree32 = {10, -20, 30.5f};

}  // namespace

/// In the vendor's subtract and divide the first operand stands second. It takes a constant for the
/// first operand of signals only, and all that isn't float is scaled by a power of two, here 1.
std::vector<Peer> arithmeticPeers() {
  return {
      {"add 8u C1", binary(k8), call(nppiAdd_8u_C1RSfs_Ctx, kA, kB, kOut, kSize, 0)},
      {"add 8u C3", binary(k8c), call(nppiAdd_8u_C3RSfs_Ctx, kA, kB, kOut, kSize, 0)},
      {"add 16u C1", binary(k16), call(nppiAdd_16u_C1RSfs_Ctx, kA, kB, kOut, kSize, 0)},
      {"add 32f C1", binary(k32), call(nppiAdd_32f_C1R_Ctx, kA, kB, kOut, kSize)},
      {"subtract 8u C1", binary(k8), call(nppiSub_8u_C1RSfs_Ctx, kB, kA, kOut, kSize, 0)},
      {"subtract 8u C3", binary(k8c), call(nppiSub_8u_C3RSfs_Ctx, kB, kA, kOut, kSize, 0)},
      {"subtract 16u C1", binary(k16), call(nppiSub_16u_C1RSfs_Ctx, kB, kA, kOut, kSize, 0)},
      {"subtract 32f C1", binary(k32), call(nppiSub_32f_C1R_Ctx, kB, kA, kOut, kSize)},
      {"multiply 8u C1", binary(k8), call(nppiMul_8u_C1RSfs_Ctx, kA, kB, kOut, kSize, 0)},
      {"multiply 8u C3", binary(k8c), call(nppiMul_8u_C3RSfs_Ctx, kA, kB, kOut, kSize, 0)},
      {"multiply 16u C1", binary(k16), call(nppiMul_16u_C1RSfs_Ctx, kA, kB, kOut, kSize, 0)},
      {"multiply 32f C1", binary(k32), call(nppiMul_32f_C1R_Ctx, kA, kB, kOut, kSize)},
      {"divide 8u C1", binary(k8), call(nppiDiv_8u_C1RSfs_Ctx, kB, kA, kOut, kSize, 0)},
      {"divide 8u C3", binary(k8c), call(nppiDiv_8u_C3RSfs_Ctx, kB, kA, kOut, kSize, 0)},
      {"divide 16u C1", binary(k16), call(nppiDiv_16u_C1RSfs_Ctx, kB, kA, kOut, kSize, 0)},
      {"divide 32f C1", binary(k32), call(nppiDiv_32f_C1R_Ctx, kB, kA, kOut, kSize)},
      {"absDiff 8u C1", binary(k8), call(nppiAbsDiff_8u_C1R_Ctx, kA, kB, kOut, kSize)},
      {"absDiff 8u C3", binary(k8c), call(nppiAbsDiff_8u_C3R_Ctx, kA, kB, kOut, kSize)},
      {"absDiff 16u C1", binary(k16), call(nppiAbsDiff_16u_C1R_Ctx, kA, kB, kOut, kSize)},
      {"absDiff 32f C1", binary(k32), call(nppiAbsDiff_32f_C1R_Ctx, kA, kB, kOut, kSize)},

      {"add constant 8u C1", unary(k8),
       call(nppiAddC_8u_C1RSfs_Ctx, kA, Npp8u{30}, kOut, kSize, 0)},
      {"add constant 8u C3", unary(k8c),
       call(nppiAddC_8u_C3RSfs_Ctx, kA, three<Npp8u>(30), kOut, kSize, 0)},
      {"add constant 16u C1", unary(k16),
       call(nppiAddC_16u_C1RSfs_Ctx, kA, Npp16u{30}, kOut, kSize, 0)},
      {"add constant 32f C1", unary(k32), call(nppiAddC_32f_C1R_Ctx, kA, 30.0f, kOut, kSize)},
      {"add scalar 8u C3", unary(k8c), call(nppiAddC_8u_C3RSfs_Ctx, kA, kThree8, kOut, kSize, 0)},
      {"add scalar 16u C3", unary(k16c),
       call(nppiAddC_16u_C3RSfs_Ctx, kA, kThree16, kOut, kSize, 0)},
      {"add scalar 32f C3", unary(k32c), call(nppiAddC_32f_C3R_Ctx, kA, kThree32, kOut, kSize)},
      {"subtract from constant 8u C1", unary(k8),
       call(nppsSubCRev_8u_Sfs_Ctx, kInSignal, Npp8u{255}, kOutSignal, kLength, 0)},
      {"subtract from constant 8u C3", unary(k8c),
       call(nppsSubCRev_8u_Sfs_Ctx, kInSignal, Npp8u{255}, kOutSignal, kLength, 0)},
      {"subtract from constant 16u C1", unary(k16),
       call(nppsSubCRev_16u_Sfs_Ctx, kInSignal, Npp16u{255}, kOutSignal, kLength, 0)},
      {"subtract from constant 32f C1", unary(k32),
       call(nppsSubCRev_32f_Ctx, kInSignal, 255.0f, kOutSignal, kLength)},
      // By 178 of 255.
      {"multiply constant 8u C1", unary(k8),
       call(nppiMulCScale_8u_C1R_Ctx, kA, Npp8u{178}, kOut, kSize)},
      {"multiply constant 8u C3", unary(k8c),
       call(nppiMulCScale_8u_C3R_Ctx, kA, three<Npp8u>(178), kOut, kSize)},
      {"multiply constant 16u C1", unary(k16),
       call(nppiMulCScale_16u_C1R_Ctx, kA, Npp16u{45875}, kOut, kSize)},
      {"multiply constant 32f C1", unary(k32), call(nppiMulC_32f_C1R_Ctx, kA, 0.7f, kOut, kSize)},
      {"multiply scalar 8u C3", unary(k8c),
       call(nppiMulC_8u_C3RSfs_Ctx, kA, kThree8, kOut, kSize, 0)},
      {"multiply scalar 16u C3", unary(k16c),
       call(nppiMulC_16u_C3RSfs_Ctx, kA, kThree16, kOut, kSize, 0)},
      {"multiply scalar 32f C3", unary(k32c),
       call(nppiMulC_32f_C3R_Ctx, kA, kThree32, kOut, kSize)},
      {"divide constant 16u C1", unary(k16),
       call(nppsDivCRev_16u_Ctx, kInSignal, Npp16u{1000}, kOutSignal, kLength)},
      {"divide constant 32f C1", unary(k32),
       call(nppsDivCRev_32f_Ctx, kInSignal, 1000.0f, kOutSignal, kLength)},

      {"pow 2 32f C1", unary(k32), call(nppiSqr_32f_C1R_Ctx, kA, kOut, kSize)},
      {"exp 32f C1", unary(k32), call(nppiExp_32f_C1R_Ctx, kA, kOut, kSize)},
      {"sqrt 32f C1", unary(k32), call(nppiSqrt_32f_C1R_Ctx, kA, kOut, kSize)},
      {"cbrt 32f C1", unary(k32), call(nppsCubrt_32f_Ctx, kInSignal, kOutSignal, kLength)},
      {"abs 32f C1", unary(k32), call(nppiAbs_32f_C1R_Ctx, kA, kOut, kSize)},
      {"logTransform 32f C1", unary(k32), call(nppiLn_32f_C1R_Ctx, kA, kOut, kSize)},

      {"AND 8u C1", unary(k8), call(nppiAnd_8u_C1R_Ctx, kA, kA, kOut, kSize)},
      {"AND 16u C1", unary(k16), call(nppiAnd_16u_C1R_Ctx, kA, kA, kOut, kSize)},
      {"XOR constant 8u C1", unary(k8), call(nppiXorC_8u_C1R_Ctx, kA, Npp8u{0x55}, kOut, kSize)},
      {"XOR constant 16u C1", unary(k16),
       call(nppiXorC_16u_C1R_Ctx, kA, Npp16u{0x55}, kOut, kSize)},
      {"SHL 8u C1", unary(k8), call(nppiLShiftC_8u_C1R_Ctx, kA, Npp32u{1}, kOut, kSize)},
      {"SHL 16u C1", unary(k16), call(nppiLShiftC_16u_C1R_Ctx, kA, Npp32u{1}, kOut, kSize)},
      {"NOT 8u C1", unary(k8), call(nppiNot_8u_C1R_Ctx, kA, kOut, kSize)},
      {"NOT 16u C1", unary(k16), call(nppsNot_16u_Ctx, kInSignal, kOutSignal, kLength)},
  };
}

}  // namespace mirl::bench::npp
