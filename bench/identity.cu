#include "identity.h"

#include "core/access.h"
#include "engine/map.h"

#include <cstdint>

namespace mirl::bench {
namespace {

struct kernel_identity {
  MIRL_HD std::uint8_t operator()(std::uint8_t byte) const { return byte; }
};

}  // namespace

void identity(const MirlImage& from, MirlImage& to) {
  runtime::Queue queue;
  if (core::findQueue(MirlStream(), from, {&to}, queue) != MIRL_SUCCESS) return;
  engine::map(queue, kernel_identity{}, engine::elementsOf<std::uint8_t>(to),
              engine::elementsOf<const std::uint8_t>(from));
}

}  // namespace mirl::bench
