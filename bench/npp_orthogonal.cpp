#include "npp.h"

#include <nppi_data_exchange_and_initialization.h>
#include <nppi_geometry_transforms.h>

namespace mirl::bench::npp {
namespace {

template <class Mirror, class Transpose>
void addPeers(std::vector<Peer>& peers, MirlType type, Mirror mirror, Transpose transpose) {
  const std::string of = " " + typeName(type);
  const Shape alike{{type}, {type}}, turned{.in = {type}, .out = {type}, .turned = true};
  peers.push_back(
      {"flipImage rows" + of, alike, call(mirror, kA, kOut, kSize, NPP_HORIZONTAL_AXIS)});
  peers.push_back(
      {"flipImage columns" + of, alike, call(mirror, kA, kOut, kSize, NPP_VERTICAL_AXIS)});
  peers.push_back({"flipImage both" + of, alike, call(mirror, kA, kOut, kSize, NPP_BOTH_AXIS)});
  peers.push_back({"transpose" + of, turned, call(transpose, kA, kOut, kSize)});
}

}  // namespace

std::vector<Peer> orthogonalPeers() {
  std::vector<Peer> peers;
  addPeers(peers, k8, nppiMirror_8u_C1R_Ctx, nppiTranspose_8u_C1R_Ctx);
  addPeers(peers, k8c, nppiMirror_8u_C3R_Ctx, nppiTranspose_8u_C3R_Ctx);
  addPeers(peers, k16, nppiMirror_16u_C1R_Ctx, nppiTranspose_16u_C1R_Ctx);
  addPeers(peers, k16c, nppiMirror_16u_C3R_Ctx, nppiTranspose_16u_C3R_Ctx);
  addPeers(peers, k32, nppiMirror_32f_C1R_Ctx, nppiTranspose_32f_C1R_Ctx);
  addPeers(peers, k32c, nppiMirror_32f_C3R_Ctx, nppiTranspose_32f_C3R_Ctx);
  return peers;
}

}  // namespace mirl::bench::npp
