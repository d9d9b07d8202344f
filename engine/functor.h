#pragma once

// The contract of functors: what a kernel of an operation looks like to the patterns that run it.
//
//   struct kernel_f { MIRL_HD Out operator()(const In&...) const; };
//
// Items go in and an item comes out: single elements, or pixels of several. A functor is copied to
// where it runs, does the same everywhere and knows nothing of its neighbours. It may ask for more,
// by name:
//
//   static constexpr engine::Asks asks{.place = true, .table = true, .channels = true};
//   Lookup<T, N> table;
//   PerChannel<P, N> channels;
//   MIRL_HD Out operator()(Place, const Lookup<T, N>&, const P&, const In&...) const;
//
// - place: the column and the row that it is at.
// - table: its table, on GPUs a copy in the memory that the threads of a block share.
// - channels: parameters that differ between channels. The items are then single elements of pixels
//   of N channels, from a channel 0 on: the functor gets the parameter of its element's channel, and
//   the image isn't taken apart for it. A parameter of several numbers is a Pixel<T, M>.
// - vectors: on the host it does some of the items of a row by explicit vectors, as many of the
//   first ones as `std::ptrdiff_t vectors(std::ptrdiff_t count, char* out, const char*... in) const`
//   returns, with the first one's Place before the count if it asks for that. Items and vectors must
//   agree to the last bit.
//
// What is asked for comes in this order, before the items; what isn't asked for doesn't come. A
// signature or a member that doesn't go with what is asked for is an error.
//
// A reducer R gathers elements to one result:
//
//   using Element, Lane, Total
//   static constexpr int kLaneElements    how many elements a Lane can take
//   Lane none() const                     what a lane is before its first element
//   A add(A, Element) const               one element more, A being Lane or Total
//   Total merge(Total, Total) const       of the elements of both
//
// A narrow Lane lets vectors hold more of them. It may ask as well, by a `static constexpr
// engine::Reduces reduces`:
//
// - bounds: for each channel, which then come last: `using Bound`, arrays `lower` and `upper` of
//   them, and `add(A, Element, Bound lower, Bound upper)`.
// - mergesBytes, addsBytes: reducers of bytes do four at once on GPUs, extremes with `unsigned
//   mergeBytes(unsigned, unsigned)`, sums with `unsigned addBytes(unsigned sum, unsigned bytes,
//   unsigned chosen)`, where the chosen bytes have a 1, and the bounds of all four behind it.

#include "engine/device_code.h"
#include "engine/view.h"

#include <concepts>
#include <cstddef>
#include <type_traits>

namespace mirl::engine {

struct Asks {
  bool place = false;
  bool table = false;
  bool channels = false;
  bool vectors = false;
};

struct Place {
  int x;
  int y;
};

/// A table that travels inside a functor.
template <class T, int N>
struct alignas(16) Lookup {
  T entry[N];
};

/// One parameter for each channel.
template <class P, int N>
struct PerChannel {
  static_assert(N >= 1 && N <= 4);
  using Parameter = P;
  static constexpr int kChannels = N;
  P of[N];
};

/// How far a stencil looks for neighbours, in pixels and rows to either side.
struct Halo {
  int across;
  int down;
};

/// How far several stencils look, one behind the other.
template <class... F>
inline constexpr Halo kSumOfHalos{.across = (0 + ... + F::halo.across),
                                  .down = (0 + ... + F::halo.down)};

/// What is no part of a functor that doesn't ask for it.
struct Nothing {};

template <class F>
constexpr Asks asksOf() {
  if constexpr (requires { F::asks; }) {
    return F::asks;
  } else {
    return {};
  }
}

template <class F>
inline constexpr bool takesPlace = asksOf<F>().place;
template <class F>
inline constexpr bool hasTable = asksOf<F>().table;
template <class F>
inline constexpr bool hasChannels = asksOf<F>().channels;
template <class F>
inline constexpr bool hasVectors = asksOf<F>().vectors;

/// The functor's table.
template <class F>
MIRL_HD decltype(auto) tableOf([[maybe_unused]] const F& f) {
  if constexpr (hasTable<F>) {
    return (f.table);
  } else {
    return Nothing{};
  }
}

/// The functor's parameters.
template <class F>
MIRL_HD decltype(auto) channelsOf([[maybe_unused]] const F& f) {
  if constexpr (hasChannels<F>) {
    return (f.channels);
  } else {
    return Nothing{};
  }
}

/// A functor's result. Among the items the parameter of a channel comes first, if it asks for that.
template <class F, class Table, class... Items>
MIRL_HD auto call(const F& f, [[maybe_unused]] const Table& table, [[maybe_unused]] const Place& at,
                  const Items&... items) {
  if constexpr (takesPlace<F> && hasTable<F>) {
    return f(at, table, items...);
  } else if constexpr (takesPlace<F>) {
    return f(at, items...);
  } else if constexpr (hasTable<F>) {
    return f(table, items...);
  } else {
    return f(items...);
  }
}

struct Reduces {
  bool bounds = false;
  bool mergesBytes = false;
  bool addsBytes = false;
};

template <class R>
constexpr Reduces reducesOf() {
  if constexpr (requires { R::reduces; }) {
    return R::reduces;
  } else {
    return {};
  }
}

namespace contract {

template <class F, class... Items>
constexpr bool isCallable() {
  const auto with = []<class... More>(std::type_identity<More>...) {
    if constexpr (takesPlace<F> && hasTable<F>) {
      return std::is_invocable_v<const F&, Place, const decltype(F::table)&, More...>;
    } else if constexpr (takesPlace<F>) {
      return std::is_invocable_v<const F&, Place, More...>;
    } else if constexpr (hasTable<F>) {
      return std::is_invocable_v<const F&, const decltype(F::table)&, More...>;
    } else {
      return std::is_invocable_v<const F&, More...>;
    }
  };
  if constexpr (hasChannels<F>) {
    using Parameter = typename decltype(F::channels)::Parameter;
    return with(std::type_identity<const Parameter&>{}, std::type_identity<const Items&>{}...);
  } else {
    return with(std::type_identity<const Items&>{}...);
  }
}

/// The address of an item of any kind, for the signature of `vectors`.
template <class>
using Address = const char*;

template <class F, class... In>
constexpr bool hasSoundVectors() {
  if constexpr (hasVectors<F> && takesPlace<F>) {
    return requires(const F& f, Place at, std::ptrdiff_t n, char* out, Address<In>... in) {
      { f.vectors(at, n, out, in...) } -> std::same_as<std::ptrdiff_t>;
    };
  } else if constexpr (hasVectors<F>) {
    return requires(const F& f, std::ptrdiff_t n, char* out, Address<In>... in) {
      { f.vectors(n, out, in...) } -> std::same_as<std::ptrdiff_t>;
    };
  } else {
    return !requires {
      &F::vectors;
    };
  }
}

template <class R>
constexpr bool isSoundReducer() {
  constexpr Reduces reduces = reducesOf<R>();
  if constexpr (reduces.bounds) {
    using Bound = typename R::Bound;
    return std::is_invocable_v<decltype(&R::template add<typename R::Total>), const R&,
                               typename R::Total, typename R::Element, Bound, Bound>;
  } else {
    return !requires {
      typename R::Bound;
    };
  }
}

}  // namespace contract

/// The same for a reducer.
template <class R>
constexpr void checkReducer() {
  static_assert(contract::isSoundReducer<R>(), "a reducer has bounds if it asks for them");
  static_assert(
      reducesOf<R>().mergesBytes == requires { &R::mergeBytes; },
      "a reducer has `mergeBytes` if it asks to merge bytes");
  static_assert(
      reducesOf<R>().addsBytes == requires { &R::addBytes; },
      "a reducer has `addBytes` if it asks to add bytes");
}

/// Fails to compile where a functor of these items doesn't keep to the contract.
template <class F, class... In>
constexpr void checkContract() {
  static_assert(
      hasTable<F> == requires(const F& f) { f.table.entry; },
      "a functor has a Lookup `table` if it asks for a table");
  static_assert(
      hasChannels<F> == requires(const F& f) { f.channels.of; },
      "a functor has PerChannel `channels` if it asks for channels");
  static_assert(contract::isCallable<F, In...>(),
                "operator() doesn't take what the functor asks for and then its items");
  static_assert(contract::hasSoundVectors<F, In...>(),
                "a functor has `vectors` for its items if it asks for them");
  static_assert(!(hasVectors<F> && hasChannels<F>),
                "the items behind the vectors might start at any channel");
}

}  // namespace mirl::engine
