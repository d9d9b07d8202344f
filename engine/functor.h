#pragma once

// What a functor of the pixels engine may ask for besides its items:
//
//   struct F { Out operator()(int x, In...) const; };  // the column that it is at
//   struct F { Lookup<T, N> table;                     // a table
//              Out operator()(const Lookup<T, N>&, In...) const; };
//   struct F { PerChannel<P, N> channels;              // parameters that differ between channels
//              Out operator()(P, In...) const; };
//
// With PerChannel the items are single elements of pixels of N channels, from a channel 0 on: the
// functor gets the parameter of its element's channel, and the image isn't taken apart for it. A
// parameter of several numbers is a Pixel<T, M>. A functor may have channels and either of the
// others; their argument then stands before the parameter.

#include "engine/device_code.h"
#include "engine/view.h"

#include <cstdint>
#include <type_traits>

#if MIRL_KERNELS
#include "engine/cuda/shared.h"
#endif

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

/// What a function gives for each 8-bit element, computed on the host: the same on every device.
template <class Function>
auto tabulate(const Function& function) {
  Lookup<decltype(function(std::uint8_t{})), 256> table;
  for (int i = 0; i < 256; ++i) table.entry[i] = function(static_cast<std::uint8_t>(i));
  return table;
}

/// The table's entry for an 8-bit element.
template <class T>
struct kernel_lookup {
  Lookup<T, 256> table;

  MIRL_HD T operator()(const Lookup<T, 256>& entries, std::uint8_t element) const {
    return entries.entry[element];
  }
};

/// One parameter for each channel.
template <class P, int N>
struct PerChannel {
  static_assert(N >= 1 && N <= 4);
  using Parameter = P;
  static constexpr int kChannels = N;
  P of[N];
};

template <class F>
concept HasChannels = requires(const F& f) {
  f.channels.of;
};

template <class F, class... In>
constexpr bool findColumn() {
  if constexpr (HasTable<F>) {
    return false;
  } else if constexpr (HasChannels<F>) {
    return std::is_invocable_v<const F&, int, typename decltype(F::channels)::Parameter,
                               const In&...>;
  } else {
    return std::is_invocable_v<const F&, int, const In&...>;
  }
}

/// Whether a functor of these items looks at the column that it is at.
template <class F, class... In>
inline constexpr bool takesColumn = findColumn<F, In...>();

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

/// The same with the parameter of the nth element, counted from the one that `channels` starts at.
template <class F, class Table, class Channels, class... In>
MIRL_HD auto callInChannel(const F& f, const Table& table, int x,
                           [[maybe_unused]] const Channels& channels, [[maybe_unused]] unsigned n,
                           const In&... in) {
  if constexpr (HasChannels<F>) {
    return call(f, table, x, channels.of[n % Channels::kChannels], in...);
  } else {
    return call(f, table, x, in...);
  }
}

/// The functor's parameters; without them something that nobody looks at.
template <class F>
MIRL_HD const auto& channelsOf(const F& f) {
  if constexpr (HasChannels<F>) {
    return f.channels;
  } else {
    return f;
  }
}

/// The same starting at the channel of column x. Choices rather than an index, so that a thread
/// keeps them in registers.
template <class F>
MIRL_HD auto channelsFrom([[maybe_unused]] const F& f, [[maybe_unused]] unsigned x) {
  if constexpr (HasChannels<F>) {
    constexpr int kChannels = decltype(f.channels)::kChannels;
    auto turned = f.channels;
    const int first = static_cast<int>(x % kChannels);
    for (int turn = 1; turn < kChannels; ++turn) {
      for (int c = 0; c < kChannels; ++c) {
        if (first == turn) turned.of[c] = f.channels.of[(c + turn) % kChannels];
      }
    }
    return turned;
  } else {
    return Lookup<char, 1>{};
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

#if MIRL_KERNELS

/// The same in shared memory. All threads of a block must call it.
template <class F>
__device__ const auto& sharedTableOf(const F& f) {
  if constexpr (HasTable<F>) {
    using Table = decltype(f.table);
    using Entry = std::remove_cvref_t<decltype(f.table.entry[0])>;
    MIRL_SHARED(Table, table, 1);
    const auto entries = table.template as<Entry>();
    constexpr unsigned kEntries = sizeof f.table.entry / sizeof(Entry);
    const unsigned threads = blockDim.x * blockDim.y;
    for (unsigned i = threadIdx.y * blockDim.x + threadIdx.x; i < kEntries; i += threads) {
      entries[i] = f.table.entry[i];
    }
    __syncthreads();
    return table.readable();
  } else {
    return f;
  }
}

#endif

}  // namespace mirl::engine
