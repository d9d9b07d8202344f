#include "npp.h"

#include <nppi_filtering_functions.h>
#include <nppi_geometry_transforms.h>

#include <cmath>
#include <cstdio>

namespace mirl::bench::npp {
namespace {

struct Point {
  double x;
  double y;
};

/// The vendor's rotation is about the origin, with a shift behind it. This is the shift that has it
/// about the middle.
Point shiftOf(const MirlImage& image, double angle) {
  const double radians = angle * 3.14159265358979 / 180;
  const double c = std::cos(radians), s = std::sin(radians);
  const double x = image.width() / 2, y = image.height() / 2;
  return {(1 - c) * x - s * y, s * x + (1 - c) * y};
}

/// The routines of one type.
template <class Resize, class Rotate, class Filter>
void addPeers(std::vector<Peer>& peers, MirlType type, Resize resize, Rotate rotate,
              Filter filter) {
  const std::string of = typeName(type);
  const struct {
    const char* name;
    int flag;
  } modes[] = {{"NN", NPPI_INTER_NN}, {"linear", NPPI_INTER_LINEAR}, {"cubic", NPPI_INTER_CUBIC}};
  for (const auto& mode : modes) {
    for (const double scale : {0.5, 0.7, 1.5}) {
      char name[64];
      std::snprintf(name, sizeof name, "resize %s %s x%.2g", mode.name, of.c_str(), scale);
      peers.push_back({name,
                       {{type}, {type}, scale},
                       call(resize, kA, kSize, kInRect, kOut, kOutSize, kOutRect, mode.flag)});
    }
  }
  for (const int angle : {0, 10, 45, 90}) {
    peers.push_back({"rotate " + of + " " + std::to_string(angle) + " deg",
                     {{type}, {type}},
                     [=](Images& images) {
                       const MirlImage& in = images.in[0];
                       const Point shift = shiftOf(in, angle);
                       return invoke(images, rotate, InSignal{}, kSize, in.pitch(), kInRect, kOut,
                                     kOutRect, static_cast<double>(angle), shift.x, shift.y,
                                     NPPI_INTER_LINEAR);
                     }});
  }
  if (type == k16c) return;
  for (const int taps : {3, 5, 7, 11}) {
    const std::string window = std::to_string(taps) + "x" + std::to_string(taps);
    peers.push_back(
        {"imageFilter " + window + " " + of,
         {.in = {type}, .out = {type}, .table = k32},
         call(filter, kA, kSize, NppiPoint{0, 0}, kOut, kSize, kTable, NppiSize{taps, taps},
              NppiPoint{taps / 2, taps / 2}, NPP_BORDER_REPLICATE)});
  }
}

template <class Median, class Extreme>
void addRanks(std::vector<Peer>& peers, MirlType type, Median median, Extreme least,
              Extreme greatest) {
  const auto name = [&](const char* filter, int side) {
    const std::string window = std::to_string(side) + "x" + std::to_string(side);
    return filter + (" " + window) + " " + typeName(type);
  };
  for (const int side : {3, 5, 7, 9}) {
    const int margin = side / 2;
    peers.push_back(
        {name("medianFilter", side),
         {{type}, {type}},
         call(median, Source{0, margin, margin}, Target{0, margin, margin}, Size{margin},
              NppiSize{side, side}, NppiPoint{margin, margin}, kScratch)});
  }
  for (const int side : {3, 5, 31}) {
    const NppiSize window{side, side};
    const NppiPoint middle{side / 2, side / 2};
    for (const auto& [filter, extreme] : {std::pair{"minFilter", least}, {"maxFilter", greatest}}) {
      peers.push_back({name(filter, side),
                       {{type}, {type}},
                       call(extreme, kA, kSize, NppiPoint{0, 0}, kOut, kSize, window, middle,
                            NPP_BORDER_REPLICATE)});
    }
  }
}

template <class Affine, class Perspective>
void addWarps(std::vector<Peer>& peers, MirlType type, Affine affine, Perspective perspective) {
  const auto add = [&](const char* name, auto warp, const double(*lens)[3]) {
    peers.push_back({name + typeName(type), {{type}, {type}}, [=](Images& images) {
                       return invoke(images, warp, InSignal{}, kSize, images.in[0].pitch(), kInRect,
                                     kOut, kOutRect, lens, NPPI_INTER_LINEAR);
                     }});
  };
  add("warpAffine ", affine, kTurn);
  add("warpPerspective ", perspective, kPage);
}

}  // namespace

std::vector<Peer> geometryPeers() {
  std::vector<Peer> peers;
  addWarps(peers, k8, nppiWarpAffine_8u_C1R_Ctx, nppiWarpPerspective_8u_C1R_Ctx);
  addWarps(peers, k8c, nppiWarpAffine_8u_C3R_Ctx, nppiWarpPerspective_8u_C3R_Ctx);
  addWarps(peers, k16, nppiWarpAffine_16u_C1R_Ctx, nppiWarpPerspective_16u_C1R_Ctx);
  addWarps(peers, k16c, nppiWarpAffine_16u_C3R_Ctx, nppiWarpPerspective_16u_C3R_Ctx);
  addWarps(peers, k32, nppiWarpAffine_32f_C1R_Ctx, nppiWarpPerspective_32f_C1R_Ctx);
  addWarps(peers, k32c, nppiWarpAffine_32f_C3R_Ctx, nppiWarpPerspective_32f_C3R_Ctx);
  addRanks(peers, k8, nppiFilterMedian_8u_C1R_Ctx, nppiFilterMinBorder_8u_C1R_Ctx,
           nppiFilterMaxBorder_8u_C1R_Ctx);
  addRanks(peers, k8c, nppiFilterMedian_8u_C3R_Ctx, nppiFilterMinBorder_8u_C3R_Ctx,
           nppiFilterMaxBorder_8u_C3R_Ctx);
  addPeers(peers, k8, nppiResize_8u_C1R_Ctx, nppiRotate_8u_C1R_Ctx, nppiFilterBorder32f_8u_C1R_Ctx);
  addPeers(peers, k8c, nppiResize_8u_C3R_Ctx, nppiRotate_8u_C3R_Ctx,
           nppiFilterBorder32f_8u_C3R_Ctx);
  addPeers(peers, k16, nppiResize_16u_C1R_Ctx, nppiRotate_16u_C1R_Ctx,
           nppiFilterBorder32f_16u_C1R_Ctx);
  addPeers(peers, k16c, nppiResize_16u_C3R_Ctx, nppiRotate_16u_C3R_Ctx,
           nppiFilterBorder32f_16u_C3R_Ctx);
  addPeers(peers, k32, nppiResize_32f_C1R_Ctx, nppiRotate_32f_C1R_Ctx,
           nppiFilterBorder_32f_C1R_Ctx);
  addPeers(peers, k32c, nppiResize_32f_C3R_Ctx, nppiRotate_32f_C3R_Ctx,
           nppiFilterBorder_32f_C3R_Ctx);
  return peers;
}

}  // namespace mirl::bench::npp
