#include "npp.h"

#include <nppi_statistics_functions.h>

namespace mirl::bench::npp {
namespace {

constexpr Found kFirst{0}, kSecond{64};

/// The results are fetched and waited for, as ours are.
Shape of(MirlType type) {
  return {.in = {type}, .out = {}, .waits = true};
}

Call reduce(auto routine) {
  return call(routine, kA, kSize, kScratch, kFirst);
}
Call extremes(auto routine) {
  return call(routine, kA, kSize, kFirst, kSecond, kScratch);
}

/// Channel by channel, as it has no routine for all.
NppStatus deviations(Images& images) {
  NppStatus worst = NPP_SUCCESS;
  for (int c = 1; c <= 3; ++c) {
    const NppStatus status = invoke(images, nppiMean_StdDev_8u_C3CR_Ctx, kA, kSize, c, kScratch,
                                    Found{64 * c}, Found{64 * c + 8});
    if (status < worst) worst = status;
  }
  return worst;
}

}  // namespace

std::vector<Peer> statisticsPeers() {
  return {
      {"min 8u C1", of(k8), reduce(nppiMin_8u_C1R_Ctx)},
      {"min 8u C3", of(k8c), reduce(nppiMin_8u_C3R_Ctx)},
      {"min 16u C1", of(k16), reduce(nppiMin_16u_C1R_Ctx)},
      {"min 32f C1", of(k32), reduce(nppiMin_32f_C1R_Ctx)},
      {"min 32f C3", of(k32c), reduce(nppiMin_32f_C3R_Ctx)},
      {"max 8u C1", of(k8), reduce(nppiMax_8u_C1R_Ctx)},
      {"max 8u C3", of(k8c), reduce(nppiMax_8u_C3R_Ctx)},
      {"max 16u C1", of(k16), reduce(nppiMax_16u_C1R_Ctx)},
      {"max 32f C1", of(k32), reduce(nppiMax_32f_C1R_Ctx)},
      {"max 32f C3", of(k32c), reduce(nppiMax_32f_C3R_Ctx)},
      {"minMax 8u C1", of(k8), extremes(nppiMinMax_8u_C1R_Ctx)},
      {"minMax 8u C3", of(k8c), extremes(nppiMinMax_8u_C3R_Ctx)},
      {"minMax 16u C1", of(k16), extremes(nppiMinMax_16u_C1R_Ctx)},
      {"minMax 32f C1", of(k32), extremes(nppiMinMax_32f_C1R_Ctx)},
      {"minMax 32f C3", of(k32c), extremes(nppiMinMax_32f_C3R_Ctx)},
      {"sum 8u C1", of(k8), reduce(nppiSum_8u_C1R_Ctx)},
      {"sum 8u C3", of(k8c), reduce(nppiSum_8u_C3R_Ctx)},
      {"sum 16u C1", of(k16), reduce(nppiSum_16u_C1R_Ctx)},
      {"sum 32f C1", of(k32), reduce(nppiSum_32f_C1R_Ctx)},
      {"sum 32f C3", of(k32c), reduce(nppiSum_32f_C3R_Ctx)},
      {"mean 8u C1", of(k8), reduce(nppiMean_8u_C1R_Ctx)},
      {"mean 8u C3", of(k8c), reduce(nppiMean_8u_C3R_Ctx)},
      {"mean 16u C1", of(k16), reduce(nppiMean_16u_C1R_Ctx)},
      {"mean 32f C1", of(k32), reduce(nppiMean_32f_C1R_Ctx)},
      {"mean 32f C3", of(k32c), reduce(nppiMean_32f_C3R_Ctx)},
      {"meanStdDev 8u C1", of(k8),
       call(nppiMean_StdDev_8u_C1R_Ctx, kA, kSize, kScratch, kFirst, kSecond)},
      {"meanStdDev 8u C3", of(k8c), deviations},
      {"countInRange 8u C1", of(k8),
       call(nppiCountInRange_8u_C1R_Ctx, kA, kSize, kFirst, Npp8u{50}, Npp8u{200}, kScratch)},
      {"countInRange 8u C3", of(k8c),
       call(nppiCountInRange_8u_C3R_Ctx, kA, kSize, kFirst, three<Npp8u>(50), three<Npp8u>(200),
            kScratch)},
      {"countInRange 32f C1", of(k32),
       call(nppiCountInRange_32f_C1R_Ctx, kA, kSize, kFirst, 50.0f, 200.0f, kScratch)},
      {"countInRange 32f C3", of(k32c),
       call(nppiCountInRange_32f_C3R_Ctx, kA, kSize, kFirst, three(50.0f), three(200.0f),
            kScratch)},
      {"calcHist 8u C1", of(k8),
       call(nppiHistogramEven_8u_C1R_Ctx, kA, kSize, kFirst, 257, 0, 256, kScratch)},
      {"calcHist 8u C3", of(k8c),
       call(nppiHistogramEven_8u_C3R_Ctx, kA, kSize, kFoundPlanes, three(257), three(0), three(256),
            kScratch)},
  };
}

}  // namespace mirl::bench::npp
