#pragma once

// Tests make the runtime fail on purpose, and count what is live. Nothing else uses this.

#include <cstddef>

namespace mirl::runtime {

enum class Call { allocate, free, copy, fill, stream, pinned, launch };
inline constexpr std::size_t kCallKinds = 7;

/// Makes the nth call of a kind from now on fail (1 is the next), for all threads and devices.
/// 0 takes it back. The failing call does nothing else; the calls after it work again.
void failNth(Call kind, int n);

/// Whether this call is the one to fail. Each call of the runtime asks once.
bool shouldFail(Call kind);

/// What is held at the moment, of all devices together.
struct Live {
  long deviceBlocks = 0;   ///< image buffers and linear memory
  long scratchBlocks = 0;  ///< stream-ordered scratch
  long streams = 0;
  long pinnedBlocks = 0;  ///< blocks handed out by the pool
  long registrations = 0;

  bool operator==(const Live&) const = default;
};
Live live();

}  // namespace mirl::runtime
