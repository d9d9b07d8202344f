#pragma once

#include <cstddef>

namespace mirl::engine {

/// Splits `count` pixels of N interleaved elements into one plane for each channel, and back. The
/// pixels may stand at any address. For 8-bit, 16-bit and float elements and N of 2, 3, 4 and 6.
template <class T, int N>
void splitPlanes(const void* pixels, std::ptrdiff_t count, T* const (&planes)[N]);
template <class T, int N>
void joinPlanes(const T* const (&planes)[N], std::ptrdiff_t count, void* pixels);

}  // namespace mirl::engine
