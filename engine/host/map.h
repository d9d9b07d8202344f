#pragma once

// The host path of the map pattern. Rows are shared out over the threads, and worked on in pieces
// that stay in the nearest cache, each a branch-free loop that the compiler turns into vector code.
// Interleaved pixels are taken apart into planes for that, and put together again.

#include "engine/functor.h"
#include "engine/host/ivdep.h"
#include "engine/host/planes.h"
#include "engine/host/rows.h"
#include "engine/view.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

namespace mirl::engine {

/// Gives its item: the functor of images that are only taken apart or put together.
struct Same {
  template <class T>
  MIRL_HD T operator()(const T& item) const {
    return item;
  }
};

namespace host {

template <class F>
constexpr int countChannels() {
  if constexpr (hasChannels<F>) {
    return decltype(F::channels)::kChannels;
  } else {
    return 0;
  }
}
template <class F>
inline constexpr int channelCount = countChannels<F>();

/// Items of a row that are worked on at a time. All planes of pixels, and what they come from and
/// go to, must fit the nearest cache together. With parameters for channels those are whole pixels,
/// in whole vectors, and few enough to leave room for the parameters.
template <class F, class... Items>
constexpr std::ptrdiff_t pieceFor() {
  constexpr bool kPixels =
      !std::is_same_v<F, Same> && ((sizeof(Items) > kElementBytes<Items>) || ...);
  constexpr std::ptrdiff_t kItems =
      (kPixels ? 512 : 4096) / static_cast<std::ptrdiff_t>(std::max({kElementBytes<Items>...}));
  if constexpr (channelCount<F> == 0) return kItems;
  constexpr std::ptrdiff_t kVectors = std::max(channelCount<F>, 1) * 64;
  return std::min<std::ptrdiff_t>(kItems, 1024) / kVectors * kVectors;
}

/// Reads and writes items at any address. The elements of pixels stand in planes.
template <class T>
struct Cursor {
  char* at;

  T get(std::ptrdiff_t i) const {
    T item;
    std::memcpy(&item, at + i * std::ptrdiff_t{sizeof item}, sizeof item);
    return item;
  }
  void put(std::ptrdiff_t i, const T& item) const {
    std::memcpy(at + i * std::ptrdiff_t{sizeof item}, &item, sizeof item);
  }
};

template <class T, int N>
struct Cursor<Pixel<T, N>> {
  char* plane[N];

  Pixel<T, N> get(std::ptrdiff_t i) const {
    Pixel<T, N> pixel;
    for (int c = 0; c < N; ++c) pixel.v[c] = Cursor<T>{plane[c]}.get(i);
    return pixel;
  }
  void put(std::ptrdiff_t i, const Pixel<T, N>& pixel) const {
    for (int c = 0; c < N; ++c) Cursor<T>{plane[c]}.put(i, pixel.v[c]);
  }
  /// As what takes pixels apart and puts them together wants them.
  template <class P>
  struct Array {
    P* of[N];
  };
  Array<T> planes() const {
    Array<T> array;
    for (int c = 0; c < N; ++c) array.of[c] = reinterpret_cast<T*>(plane[c]);
    return array;
  }
  Array<const T> sources() const {
    Array<const T> array;
    for (int c = 0; c < N; ++c) array.of[c] = reinterpret_cast<const T*>(plane[c]);
    return array;
  }
  /// The nth of equal parts of its planes.
  template <int C>
  Cursor<Pixel<T, C>> part(int n) const {
    Cursor<Pixel<T, C>> some;
    for (int c = 0; c < C; ++c) some.plane[c] = plane[n * C + c];
    return some;
  }
};

/// The address of an item in a row.
template <class T>
char* addressIn(const View<T>& view, int y, std::ptrdiff_t x) {
  const char* const row = reinterpret_cast<const char*>(rowOf(view, y));
  return const_cast<char*>(row) + x * std::ptrdiff_t{sizeof(T)};
}
template <class T, int N>
auto addressIn(const Planar<T, N>& view, int y, std::ptrdiff_t x) {
  Cursor<ItemOf<Planar<T, N>>> cursor;
  for (int c = 0; c < N; ++c) cursor.plane[c] = addressIn(view.plane[c], y, x);
  return cursor;
}

/// Where items begin in planes of pixels.
template <int N>
struct Places {
  char* plane[N];
};
template <class P, int N>
Places<N> placesIn(const Planar<P, N>& view, int y, std::ptrdiff_t x) {
  Places<N> places;
  for (int n = 0; n < N; ++n) places.plane[n] = addressIn(view.plane[n], y, x);
  return places;
}
template <class T, int C, int N>
Places<N> addressIn(const Planar<Pixel<T, C>, N>& view, int y, std::ptrdiff_t x) {
  return placesIn(view, y, x);
}

/// Room for a piece of pixels, taken apart.
template <class Item, std::ptrdiff_t Capacity>
struct Room {};
template <class T, int N, std::ptrdiff_t Capacity>
struct Room<Pixel<T, N>, Capacity> {
  alignas(64) char of[N][Capacity * static_cast<std::ptrdiff_t>(sizeof(T))];

  Room() {}  // nobody clears it
  Cursor<Pixel<T, N>> cursor() {
    Cursor<Pixel<T, N>> made;
    for (int c = 0; c < N; ++c) made.plane[c] = of[c];
    return made;
  }
};

// Makes a piece of an input readable.

template <class T, class R>
Cursor<T> fetch(R&, const View<const T>& view, int y, std::ptrdiff_t x, std::ptrdiff_t) {
  return {addressIn(view, y, x)};
}
template <class T, int N, class R>
Cursor<Pixel<T, N>> fetch(R& room, const View<const Pixel<T, N>>& view, int y, std::ptrdiff_t x,
                          std::ptrdiff_t count) {
  const Cursor<Pixel<T, N>> cursor = room.cursor();
  splitPlanes<T, N>(addressIn(view, y, x), count, cursor.planes().of);
  return cursor;
}
template <class T, int N, class R>
Cursor<Pixel<T, N>> fetch(R&, const Planar<const T, N>& view, int y, std::ptrdiff_t x,
                          std::ptrdiff_t) {
  return addressIn(view, y, x);
}

template <class T, int C, int N, class R>
Cursor<Pixel<T, C * N>> fetch(R& room, const Planar<const Pixel<T, C>, N>& view, int y,
                              std::ptrdiff_t x, std::ptrdiff_t count) {
  const Cursor<Pixel<T, C* N>> cursor = room.cursor();
  const Places<N> from = placesIn(view, y, x);
  for (int n = 0; n < N; ++n) {
    splitPlanes<T, C>(from.plane[n], count, cursor.template part<C>(n).planes().of);
  }
  return cursor;
}

/// Where the pieces of an output are made: `open` tells where, `cursor` how to get at the items
/// there, and `close` puts what was made where it belongs.
template <class V, std::ptrdiff_t Capacity>
class Output;

template <class T, std::ptrdiff_t Capacity>
class Output<View<T>, Capacity> {
 public:
  explicit Output(bool pastCaches) : outlet_(pastCaches) {}

  char* open(char* to) { return outlet_.open(to); }
  void close(char* to, std::ptrdiff_t count) {
    outlet_.close(to, static_cast<std::size_t>(count) * sizeof(T));
  }
  Cursor<T> cursor(char* at) { return cursorAt(room_, at); }
  void join(const Cursor<T>& cursor, char* at, std::ptrdiff_t count) {
    if constexpr (sizeof(T) > kElementBytes<T>) joinInto(cursor, at, count);
  }

 private:
  static Cursor<T> cursorAt(Room<T, Capacity>& room, char* at) {
    if constexpr (sizeof(T) > kElementBytes<T>) {
      return room.cursor();
    } else {
      return {at};
    }
  }
  template <class E, int N>
  static void joinInto(const Cursor<Pixel<E, N>>& cursor, char* at, std::ptrdiff_t count) {
    joinPlanes<E, N>(cursor.sources().of, count, at);
  }

  Room<T, Capacity> room_;
  Outlet<Capacity * sizeof(T)> outlet_;
};

/// The outlets of several planes; At has an address in each.
template <class At, int N, std::size_t kBytes, std::size_t kItem>
class Outlets {
 public:
  explicit Outlets(bool pastCaches) : Outlets(pastCaches, std::make_index_sequence<N>{}) {}

  At open(const At& to) {
    At at;
    for (int n = 0; n < N; ++n) at.plane[n] = outlet_[n].open(to.plane[n]);
    return at;
  }
  void close(const At& to, std::ptrdiff_t count) {
    for (int n = 0; n < N; ++n) {
      outlet_[n].close(to.plane[n], static_cast<std::size_t>(count) * kItem);
    }
  }

 private:
  template <std::size_t... I>
  Outlets(bool pastCaches, std::index_sequence<I...>)
      : outlet_{((void)I, Outlet<kBytes>(pastCaches))...} {}

  Outlet<kBytes> outlet_[N];
};

template <class T, int N, std::ptrdiff_t Capacity>
class Output<Planar<T, N>, Capacity>
    : public Outlets<Cursor<Pixel<T, N>>, N, Capacity * sizeof(T), sizeof(T)> {
  using At = Cursor<Pixel<T, N>>;

 public:
  using Outlets<At, N, Capacity * sizeof(T), sizeof(T)>::Outlets;
  At cursor(const At& at) { return at; }
  void join(const At&, const At&, std::ptrdiff_t) {}
};

template <class T, int C, int N, std::ptrdiff_t Capacity>
class Output<Planar<Pixel<T, C>, N>, Capacity>
    : public Outlets<Places<N>, N, Capacity * C * sizeof(T), C * sizeof(T)> {
  using Item = Pixel<T, C * N>;

 public:
  using Outlets<Places<N>, N, Capacity * C * sizeof(T), C * sizeof(T)>::Outlets;
  Cursor<Item> cursor(const Places<N>&) { return room_.cursor(); }
  void join(const Cursor<Item>& cursor, const Places<N>& at, std::ptrdiff_t count) {
    for (int n = 0; n < N; ++n) {
      joinPlanes<T, C>(cursor.template part<C>(n).sources().of, count, at.plane[n]);
    }
  }

 private:
  Room<Item, Capacity> room_;
};

/// A functor's parameters in the order of a row's elements, for the length of a piece: they are one
/// more input. All pieces start at channel 0.
template <class F, std::ptrdiff_t Capacity, int C = channelCount<F>>
class Parameters {
  using P = typename decltype(F::channels)::Parameter;
  static constexpr bool kPixels = sizeof(P) > kElementBytes<P>;

 public:
  Parameters(const F& f, std::ptrdiff_t width) {
    const std::ptrdiff_t count = std::min(width, Capacity);
    const Cursor<P> all = cursor();
    for (std::ptrdiff_t i = 0; i < count; ++i) all.put(i, f.channels.of[i % C]);
  }
  std::tuple<Cursor<P>> inputs() const { return cursor(); }

 private:
  /// Cursors write as well; this one only here.
  Cursor<P> cursor() const {
    auto& self = const_cast<Parameters&>(*this);
    if constexpr (kPixels) {
      return self.room_.cursor();
    } else {
      return {self.row_};
    }
  }

  Room<P, Capacity> room_;
  alignas(64) char row_[kPixels ? 1 : Capacity * sizeof(P)];
};

/// One channel needs no row.
template <class P>
struct Constant {
  P value;
  P get(std::ptrdiff_t) const { return value; }
};
template <class F, std::ptrdiff_t Capacity>
class Parameters<F, Capacity, 1> {
  using P = typename decltype(F::channels)::Parameter;

 public:
  Parameters(const F& f, std::ptrdiff_t) : constant_{f.channels.of[0]} {}
  std::tuple<Constant<P>> inputs() const { return constant_; }

 private:
  Constant<P> constant_;
};

/// Without channels there is no such input.
template <class F, std::ptrdiff_t Capacity>
class Parameters<F, Capacity, 0> {
 public:
  Parameters(const F&, std::ptrdiff_t) {}
  std::tuple<> inputs() const { return {}; }
};

/// No item depends on another, even where an input row is the output row, and that is what the
/// pragma says: the compiler needn't test for overlap before it uses vectors.
template <class F, class Out, class... In>
void mapPiece(const F f, Place first, int count, const Out out, const In... in) {
  MIRL_IVDEP
  for (int i = 0; i < count; ++i) {
    out.put(i, call(f, tableOf(f), Place{first.x + i, first.y}, in.get(i)...));
  }
}

/// All rows of a thread.
template <class F, class Out, class... In>
class Mapper {
  static constexpr std::ptrdiff_t kPiece = pieceFor<F, ItemOf<Out>, ItemOf<In>...>();

 public:
  using Shared = Parameters<F, kPiece>;

  Mapper(const F& f, const Shared& parameters, bool pastCaches, const Out& out, const In&... in)
      : f_(f), parameters_(parameters), out_(out), in_(in...), output_(pastCaches) {}

  void row(int y) {
    for (std::ptrdiff_t x = 0; x < out_.width; x += kPiece) {
      const std::ptrdiff_t count = std::min<std::ptrdiff_t>(kPiece, out_.width - x);
      const auto to = addressIn(out_, y, x);
      const auto at = output_.open(to);
      piece(at, y, x, count);
      output_.close(to, count);
    }
  }

 private:
  template <class At>
  void piece(const At& at, int y, std::ptrdiff_t x, std::ptrdiff_t count) {
    if constexpr (std::is_same_v<F, Same> && !std::is_same_v<Out, View<ItemOf<Out>>>) {
      const auto& in = std::get<0>(in_);
      splitTo(at, addressIn(in, y, x), count);
    } else if constexpr (std::is_same_v<F, Same> && !kAllInterleaved) {
      const auto& in = std::get<0>(in_);
      output_.join(addressIn(in, y, x), at, count);
    } else if constexpr (hasVectors<F>) {
      const std::ptrdiff_t done = std::apply(
          [&](const auto&... in) {
            if constexpr (takesPlace<F>) {
              return f_.vectors(Place{static_cast<int>(x), y}, count, at, addressIn(in, y, x)...);
            } else {
              return f_.vectors(count, at, addressIn(in, y, x)...);
            }
          },
          in_);
      compute(at + done * std::ptrdiff_t{sizeof(ItemOf<Out>)}, y, x + done, count - done);
    } else {
      compute(at, y, x, count);
    }
  }

  template <class At>
  void compute(const At& at, int y, std::ptrdiff_t x, std::ptrdiff_t count) {
    const auto cursor = output_.cursor(at);
    const auto pieces = [&]<std::size_t... I>(std::index_sequence<I...>) {
      return std::tuple(fetch(std::get<I>(rooms_), std::get<I>(in_), y, x, count)...);
    };
    std::apply(
        [&](const auto&... in) {
          mapPiece(f_, {static_cast<int>(x), y}, static_cast<int>(count), cursor, in...);
        },
        std::tuple_cat(parameters_.inputs(), pieces(std::index_sequence_for<In...>{})));
    output_.join(cursor, at, count);
  }

  template <class T, int N>
  static void splitTo(const Cursor<Pixel<T, N>>& at, const char* from, std::ptrdiff_t count) {
    splitPlanes<T, N>(from, count, at.planes().of);
  }

  static constexpr bool kAllInterleaved = (std::is_same_v<In, View<const ItemOf<In>>> && ...);

  const F& f_;
  const Shared& parameters_;
  const Out& out_;
  const std::tuple<const In&...> in_;
  Output<Out, kPiece> output_;
  std::tuple<Room<ItemOf<In>, kPiece>...> rooms_;
};

template <class F, class Out, class... In>
void map(const F& f, const Out& out, const In&... in) {
  const std::size_t itemBytes = (sizeof(ItemOf<Out>) + ... + sizeof(ItemOf<In>));
  const typename Mapper<F, Out, In...>::Shared parameters(f, out.width);
  forRows(out.height, static_cast<std::size_t>(out.width) * itemBytes, [&](const Rows& rows) {
    Mapper<F, Out, In...> mapper(f, parameters, rows.pastCaches, out, in...);
    for (int y = rows.begin; y < rows.end; ++y) mapper.row(y);
  });
}

}  // namespace host
}  // namespace mirl::engine
