#pragma once

// What operations do whose images all have one size: find the queue, create or compare outputs.

#include "core/access.h"

namespace mirl::colorOperations {

/// Creates an empty output of the source's size; of a live one the size must agree.
inline MirlStatus createOrCompareSize(const MirlImage& source, MirlImage& output,
                                      runtime::Device& device, int depth, int channels) {
  if (output.isInitialized()) return core::sameSize(source, output) ? MIRL_SUCCESS : MIRL_MISMATCH;
  return ImageAccess::create(output, device, source.width(), source.height(), depth, channels);
}

/// The same together with the queue of an operation from a live source to one output.
inline MirlStatus prepareSameSize(const MirlImage& source, MirlImage& output, int depth,
                                  int channels, const MirlStream& stream, runtime::Queue& queue) {
  const MirlStatus found = core::findQueue(stream, source, {&output}, queue);
  if (found != MIRL_SUCCESS) return found;
  return createOrCompareSize(source, output, *queue.device, depth, channels);
}

}  // namespace mirl::colorOperations
