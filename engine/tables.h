#pragma once

// Functions of bytes as tables. An operation says what the function is; whether it is looked up or
// computed, and how, is decided here.

#include "engine/functor.h"
#include "engine/host/tables.h"
#include "engine/map.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#include <cstdint>
#include <type_traits>

namespace mirl::engine {

/// What a function costs: a few operations, or so many that bytes are always looked up. Functions of
/// bytes of that kind needn't be functors, the host alone calls them.
enum class Cost { few, many };

namespace tables {

/// What a function gives for each byte, computed on the host: the same on every device.
template <class Function>
auto tabulate(const Function& function) {
  Lookup<decltype(function(std::uint8_t{})), 256> table;
  for (int i = 0; i < 256; ++i) table.entry[i] = function(static_cast<std::uint8_t>(i));
  return table;
}

template <class T>
struct kernel_lookup {
  static constexpr Asks asks{.table = true, .vectors = sizeof(T) == 1};
  Lookup<T, 256> table;

  MIRL_HD T operator()(const Lookup<T, 256>& at, std::uint8_t element) const {
    return at.entry[element];
  }
  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char* in) const
      requires(sizeof(T) == 1) {
    host::lookUp(table.entry, in, count, out);
    return count;
  }
};

/// 256 entries for each channel, one channel behind the other.
struct kernel_lookup_pixels {
  using Table = Lookup<std::uint8_t, 3 * 256>;
  static constexpr Asks asks{.table = true, .vectors = true};
  Table table;

  MIRL_HD Pixel<std::uint8_t, 3> operator()(const Table& at,
                                            const Pixel<std::uint8_t, 3>& in) const {
    return {at.entry[in.v[0]], at.entry[256 + in.v[1]], at.entry[512 + in.v[2]]};
  }
  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char* in) const {
    host::lookUp({table.entry, table.entry + 256, table.entry + 512}, in, count, out);
    return count;
  }
};

/// A table in the memory of the device that it is used on.
struct kernel_lookup_there {
  static constexpr Asks asks{.vectors = true};
  const std::uint8_t* entries;

  MIRL_HD std::uint8_t operator()(std::uint8_t element) const { return entries[element]; }

  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char* in) const {
    host::lookUp(entries, in, count, out);
    return count;
  }
};

/// The same with the entries of three channels next to each other.
struct kernel_lookup_pixels_there {
  static constexpr Asks asks{.vectors = true};
  const std::uint8_t* entries;

  MIRL_HD Pixel<std::uint8_t, 3> operator()(const Pixel<std::uint8_t, 3>& in) const {
    return {entries[3 * in.v[0]], entries[3 * in.v[1] + 1], entries[3 * in.v[2] + 2]};
  }
  std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char* in) const {
    host::lookUpInterleaved(entries, in, count, out);
    return count;
  }
};

}  // namespace tables

/// Queues out = f(in) for single elements; bytes may be looked up.
template <Cost cost = Cost::many, class F, class Out, class In>
void mapFunction(const runtime::Queue& queue, const F& f, const View<Out>& out,
                 const View<const In>& in) {
  // Where f costs little, lookups cost less only from bytes to bytes, with vectors for it.
  constexpr bool kMayCostLess = cost == Cost::many || sizeof(Out) == 1;
  if constexpr (std::is_same_v<In, std::uint8_t> && kMayCostLess) {
    if (cost == Cost::many || (queue.device->isHost() && host::looksUpFast())) {
      map(queue, tables::kernel_lookup<Out>{tables::tabulate(f)}, out, in);
      return;
    }
  }
  if constexpr (cost == Cost::few || !std::is_same_v<In, std::uint8_t>) map(queue, f, out, in);
}

/// The same for pixels of three bytes, with `std::uint8_t f(int channel, std::uint8_t)`.
template <class F>
void mapFunction(const runtime::Queue& queue, const F& f, const View<Pixel<std::uint8_t, 3>>& out,
                 const View<const Pixel<std::uint8_t, 3>>& in) {
  tables::kernel_lookup_pixels kernel;
  for (int i = 0; i < 3 * 256; ++i) {
    kernel.table.entry[i] = f(i / 256, static_cast<std::uint8_t>(i % 256));
  }
  map(queue, kernel, out, in);
}

/// Queues out = entries[in], the table being in the memory of the queue's device.
inline void mapThroughTable(const runtime::Queue& queue, const std::uint8_t* entries,
                            const View<std::uint8_t>& out, const View<const std::uint8_t>& in) {
  map(queue, tables::kernel_lookup_there{entries}, out, in);
}

/// The same with three tables, which stand entry by entry next to each other.
inline void mapThroughTable(const runtime::Queue& queue, const std::uint8_t* entries,
                            const View<Pixel<std::uint8_t, 3>>& out,
                            const View<const Pixel<std::uint8_t, 3>>& in) {
  map(queue, tables::kernel_lookup_pixels_there{entries}, out, in);
}

}  // namespace mirl::engine
