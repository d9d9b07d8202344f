#pragma once

#include <cstddef>

namespace mirl::engine {

/// Groups of packed 10-bit video by explicit vectors on the host, as many of `count` as those can
/// do, which is all or none; the result is how many. The samples of a group are U, Y, V, Y of three
/// pairs of pixels: 16 bytes in V210, 24 in flat 4:2:2, 36 in 4:4:4 as Y, V, U.
std::ptrdiff_t v210To444(std::ptrdiff_t count, char* out, const char* in);
std::ptrdiff_t v210From444(std::ptrdiff_t count, char* out, const char* in);
std::ptrdiff_t v210From422(std::ptrdiff_t count, char* out, const char* in);

}  // namespace mirl::engine
