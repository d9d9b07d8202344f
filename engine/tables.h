#pragma once

// Bytes through tables on the host: see Lookup in engine/functor.h for what all devices share.

#include "engine/functor.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#include <cstddef>
#include <cstdint>

namespace mirl::engine {

/// `count` bytes through a table of 256, with vectors where the processor has them for that. The
/// output may be the input.
void lookUp(const std::uint8_t* table, const void* in, std::ptrdiff_t count, void* out);
/// The same for pixels of 3 bytes, each channel through a table of its own.
void lookUp(const std::uint8_t* const (&tables)[3], const void* in, std::ptrdiff_t count,
            void* out);

/// Whether functions of bytes cost less on the queue's device if they are looked up, even those of
/// a few operations.
bool looksUpFast(const runtime::Queue& queue);

/// A table from bytes to bytes as a functor.
struct kernel_lookup_bytes : kernel_lookup<std::uint8_t> {
  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char* in) const {
    lookUp(table.entry, in, count, out);
    return count;
  }
};

/// The same with the table where it is, in the memory of the queue's device.
struct kernel_lookup_there {
  const std::uint8_t* entries;

  MIRL_HD std::uint8_t operator()(std::uint8_t element) const { return entries[element]; }

  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char* in) const {
    lookUp(entries, in, count, out);
    return count;
  }
};

/// A table in a functor for pixels of 3 bytes, with 256 entries for each channel, one channel
/// behind the other.
struct kernel_lookup_pixels {
  using Table = Lookup<std::uint8_t, 3 * 256>;
  Table table;

  MIRL_HD Pixel<std::uint8_t, 3> operator()(const Table& at,
                                            const Pixel<std::uint8_t, 3>& in) const {
    return {at.entry[in.v[0]], at.entry[256 + in.v[1]], at.entry[512 + in.v[2]]};
  }
  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char* in) const {
    lookUp({table.entry, table.entry + 256, table.entry + 512}, in, count, out);
    return count;
  }
};

}  // namespace mirl::engine
