#pragma once

// What a functor of the pixels engine may ask for besides its items: the column that it is at, or a
// table.

#include "engine/device_code.h"

#include <type_traits>

namespace mirl::engine {

/// A table that travels inside a functor. A functor with `Lookup<...> table` is called as
/// `f(table, items...)`: with its own on the host, on GPUs with a copy in the memory that the
/// threads of a block share.
template <class T, int N>
struct Lookup {
  T entry[N];
};

template <class F>
concept HasTable = requires(const F& f) {
  f.table.entry;
};

/// A functor's result for items at column x. One without a table may take the column first.
template <class F, class Table, class... In>
MIRL_HD auto call(const F& f, [[maybe_unused]] const Table& table, [[maybe_unused]] int x,
                  const In&... in) {
  if constexpr (HasTable<F>) {
    return f(table, in...);
  } else if constexpr (std::is_invocable_v<const F&, int, const In&...>) {
    return f(x, in...);
  } else {
    return f(in...);
  }
}

/// The functor's table; without one something that nobody looks at.
template <class F>
MIRL_HD const auto& tableOf(const F& f) {
  if constexpr (HasTable<F>) {
    return f.table;
  } else {
    return f;
  }
}

#if defined(__CUDACC__)

/// The same in shared memory. All threads of a block must call it.
template <class F>
__device__ const auto& sharedTableOf(const F& f) {
  if constexpr (HasTable<F>) {
    __shared__ decltype(f.table) table;
    constexpr unsigned kEntries = sizeof f.table.entry / sizeof f.table.entry[0];
    const unsigned threads = blockDim.x * blockDim.y;
    for (unsigned i = threadIdx.y * blockDim.x + threadIdx.x; i < kEntries; i += threads) {
      table.entry[i] = f.table.entry[i];
    }
    __syncthreads();
    return table;
  } else {
    return f;
  }
}

#endif

}  // namespace mirl::engine
