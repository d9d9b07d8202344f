#pragma once

#include <cstddef>

namespace mirl::runtime {

/// Whether work that touches so many bytes should write past the caches: more than they hold is
/// gone from them anyway, and an ordinary store first reads the line that it is going to overwrite.
bool bypassesCaches(std::size_t bytes);

/// Copies without leaving the destination in the caches. A thread calls `finishStreamCopies` before
/// it hands the result on.
void streamCopy(void* dst, const void* src, std::size_t bytes);
/// The same with `rows` of so many bytes, for short ones.
void streamCopy(void* dst, std::ptrdiff_t dstPitch, const void* src, std::ptrdiff_t srcPitch,
                std::size_t bytes, int rows);
void finishStreamCopies();

}  // namespace mirl::runtime
