#include "npp.h"

#include <cuda_runtime_api.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <utility>

namespace mirl::bench {
namespace npp {
namespace {

/// The default stream of the current GPU, as the vendor's calls take it.
NppStreamContext currentContext() {
  NppStreamContext context{};
  cudaGetDevice(&context.nCudaDeviceId);
  cudaDeviceProp properties;
  cudaGetDeviceProperties(&properties, context.nCudaDeviceId);
  context.nMultiProcessorCount = properties.multiProcessorCount;
  context.nMaxThreadsPerMultiProcessor = properties.maxThreadsPerMultiProcessor;
  context.nMaxThreadsPerBlock = properties.maxThreadsPerBlock;
  context.nSharedMemPerBlock = properties.sharedMemPerBlock;
  context.nCudaDevAttrComputeCapabilityMajor = properties.major;
  context.nCudaDevAttrComputeCapabilityMinor = properties.minor;
  return context;
}

Run prepare(const Peer& peer, const MirlSize& size) {
  const Shape& shape = peer.shape;
  const auto images = std::make_shared<Images>();
  for (const MirlType type : shape.in) {
    images->in.push_back(noise(size, type, static_cast<unsigned>(images->in.size() + 1)));
  }
  MirlSize outSize(static_cast<int>(size.width * shape.scale) + 2 * shape.pad,
                   static_cast<int>(size.height * shape.scale) + 2 * shape.pad);
  if (shape.turned) std::swap(outSize.width, outSize.height);
  for (const MirlType type : shape.out) images->out.emplace_back(outSize, type);
  images->table = noise({1 << 16, 1}, shape.table);
  images->scratch.create(1 << 28, 1, k8);
  images->found.create(3 * kFoundBytes, 1, k8);
  images->context = currentContext();
  for (std::size_t c = 0; c < 3; ++c) {
    images->inPlanes[c] = c < images->in.size() ? images->in[c].ptr() : nullptr;
    images->outPlanes[c] = c < images->out.size() ? images->out[c].ptr() : nullptr;
    images->tables[c] = images->table.ptr();
    images->foundPlanes[c] = addressIn(images->found, static_cast<int>(c) * kFoundBytes, 0, 0).at;
  }
  const auto run = [images, call = peer.call] {
    const NppStatus status = call(*images);
    if (status < 0) throw std::runtime_error("status " + std::to_string(status));
  };
  cudaGetLastError();
  run();
  // Not all routines say so themselves.
  const cudaError_t error = cudaGetLastError();
  if (error != cudaSuccess) throw std::runtime_error(cudaGetErrorString(error));
  return [images, run, waits = shape.waits] {
    run();
    if (waits) {
      unsigned char fetched[3 * kFoundBytes];
      cudaMemcpyAsync(fetched, images->found.ptr(), sizeof fetched, cudaMemcpyDeviceToHost,
                      nullptr);
      cudaStreamSynchronize(nullptr);
    }
  };
}

const std::vector<Peer>& peers() {
  static const std::vector<Peer> all = [] {
    std::vector<Peer> list;
    for (const auto family : {arithmeticPeers, colorPeers, dataPeers, geometryPeers,
                              orthogonalPeers, statisticsPeers}) {
      for (const Peer& peer : family()) list.push_back(peer);
    }
    return list;
  }();
  return all;
}

}  // namespace
}  // namespace npp

std::vector<std::string> nppOperations() {
  std::vector<std::string> names;
  for (const npp::Peer& peer : npp::peers()) names.push_back(peer.operation);
  return names;
}

Prepare nppPeer(const Case& benchCase) {
  for (const npp::Peer& peer : npp::peers()) {
    if (peer.operation == benchCase.operation) {
      return [&peer, size = benchCase.size] { return npp::prepare(peer, size); };
    }
  }
  return nullptr;
}

}  // namespace mirl::bench
