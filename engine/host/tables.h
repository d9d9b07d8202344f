#pragma once

#include <cstddef>
#include <cstdint>

namespace mirl::engine::host {

/// `count` bytes through a table of 256, with vectors where the processor has them for that. The
/// output may be the input.
void lookUp(const std::uint8_t* table, const void* in, std::ptrdiff_t count, void* out);
/// The same for pixels of 3 bytes, each channel through a table of its own.
void lookUp(const std::uint8_t* const (&tables)[3], const void* in, std::ptrdiff_t count,
            void* out);
/// The same with the entries of the three tables next to each other.
void lookUpInterleaved(const std::uint8_t* entries, const void* in, std::ptrdiff_t count,
                       void* out);

/// Whether the processor has vectors for that.
bool looksUpFast();

}  // namespace mirl::engine::host
