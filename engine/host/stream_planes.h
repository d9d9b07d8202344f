#pragma once

#include <cstddef>

namespace mirl::engine {

/// What engine/host/planes.h has, without leaving the result in the caches as far as its addresses allow
/// that. See runtime/host/stream_copy.h for when that pays, and for what a thread then calls.
template <class T, int N>
void streamSplitPlanes(const void* pixels, std::ptrdiff_t count, T* const (&planes)[N]);
template <class T, int N>
void streamJoinPlanes(const T* const (&planes)[N], std::ptrdiff_t count, void* pixels);

}  // namespace mirl::engine
