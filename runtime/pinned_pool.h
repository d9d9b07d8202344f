#pragma once

#include <cstddef>

namespace mirl::runtime {

class Device;

/// A page-locked block of host memory that every device can copy from and to, aligned to 32 bytes
/// (to 4096 for blocks above 32 KiB), or null. Its content isn't cleared.
///
/// Page-locking costs about a millisecond, so blocks up to 32 KiB are cut from slabs that stay
/// locked and come back for reuse. They are ordinary memory, locked by the first GPU that is used
/// (for all of them): before that there is none to copy, and a lock would wake up a GPU that the
/// program may never use. After a reset of that GPU the next one in use locks them again.
void* allocatePinned(std::size_t bytes);

/// Gives a block back; `bytes` as it was asked for. Null is ignored. False if the memory could not
/// be unlocked, the block then being as it was.
bool freePinned(void* block, std::size_t bytes);

/// A GPU is used from now on, which locks all blocks if no other has done so.
void lockPinned(Device& gpu);
/// A reset of a GPU has undone its locks.
void pinnedUnlocked(Device& gpu);

}  // namespace mirl::runtime
