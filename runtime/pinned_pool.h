#pragma once

#include <cstddef>

namespace mirl::runtime {

/// A page-locked block of host memory that every device can copy from and to, aligned to 32 bytes
/// (to 4096 for blocks above 32 KiB), or null. Its content isn't cleared.
///
/// Page-locking costs about a millisecond, so blocks up to 32 KiB are cut from slabs that stay
/// locked and come back for reuse. They outlive a reset of the device: a slab is ordinary memory
/// that was registered, and is registered again.
void* allocatePinned(std::size_t bytes);

/// Gives a block back; `bytes` as it was asked for. Null is ignored. False if the memory could not
/// be unlocked, the block then being as it was.
bool freePinned(void* block, std::size_t bytes);

/// Locks the slabs again after a reset of the device that held the locks.
void relockPinned(int device);

}  // namespace mirl::runtime
