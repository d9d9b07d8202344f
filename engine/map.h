#pragma once

// The pixels engine: out(x, y) = f(in0(x, y), in1(x, y), ...) over items, which are single elements
// or whole pixels, on the device of the queue. An input may be the output.
//
// What decides the speed is memory traffic. On a GPU each thread moves as many items as fit 16
// bytes of the widest element, with vector loads and stores where all rows are aligned to them and
// item by item elsewhere. On the host the rows are shared out over the threads, each a branch-free
// loop that the compiler turns into vector code.

#include "engine/device_code.h"
#include "engine/functor.h"
#include "engine/host/ivdep.h"
#include "engine/host/planes.h"
#include "engine/host/rows.h"
#include "engine/long_rows.h"
#include "engine/view.h"
#include "runtime/runtime.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>

#if MIRL_KERNELS
#include "engine/cuda/launch.h"
#include "engine/cuda/words.h"
#endif

namespace mirl::engine {
namespace pixels {

template <class T>
inline constexpr std::size_t kElementBytes = sizeof(T);
template <class T, int N>
inline constexpr std::size_t kElementBytes<Pixel<T, N>> = sizeof(T);

template <class T>
MIRL_HD T* rowOf(const View<T>& view, std::int64_t y) {
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(view.data) + y * view.pitch);
}

/// The address of an item in a row of any alignment.
template <class T>
auto* itemAt(T* row, std::ptrdiff_t x) {
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  return reinterpret_cast<Byte*>(row) + x * std::ptrdiff_t{sizeof(T)};
}

/// Items of a row that the host works on at a time. All planes of pixels, and what they come from
/// and go to, must fit the nearest cache together.
template <class... Items>
inline constexpr std::ptrdiff_t kPiece = (((sizeof(Items) > kElementBytes<Items>) || ...) ? 512
                                                                                          : 4096) /
                                         std::max({kElementBytes<Items>...});

/// Reads and writes the items of a piece. Pixels stand there in planes, so that the code that
/// computes one pixel becomes vector code for many.
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
  T* plane[N];

  Pixel<T, N> get(std::ptrdiff_t i) const {
    Pixel<T, N> pixel;
    for (int c = 0; c < N; ++c) pixel.v[c] = plane[c][i];
    return pixel;
  }
  void put(std::ptrdiff_t i, const Pixel<T, N>& pixel) const {
    for (int c = 0; c < N; ++c) plane[c][i] = pixel.v[c];
  }
};

template <class T, std::ptrdiff_t Capacity>
struct Planes {};

template <class T, int N, std::ptrdiff_t Capacity>
struct Planes<Pixel<T, N>, Capacity> {
  alignas(64) T of[N][Capacity];

  Cursor<Pixel<T, N>> cursor() {
    Cursor<Pixel<T, N>> made;
    for (int c = 0; c < N; ++c) made.plane[c] = of[c];
    return made;
  }
};

/// Room for a piece of its own.
template <class T, std::ptrdiff_t Capacity>
struct Row {
  alignas(64) char of[Capacity * static_cast<std::ptrdiff_t>(sizeof(T))];
  Cursor<T> cursor() { return {of}; }
};
template <class T, int N, std::ptrdiff_t Capacity>
struct Row<Pixel<T, N>, Capacity> : Planes<Pixel<T, N>, Capacity> {};

/// Makes the piece of an input row that starts at `at` readable.
template <class T, std::ptrdiff_t Capacity>
Cursor<T> fetch(Planes<T, Capacity>&, const char* at, std::ptrdiff_t) {
  return {const_cast<char*>(at)};
}

template <class T, int N, std::ptrdiff_t Capacity>
Cursor<Pixel<T, N>> fetch(Planes<Pixel<T, N>, Capacity>& planes, const char* at,
                          std::ptrdiff_t count) {
  const Cursor<Pixel<T, N>> cursor = planes.cursor();
  splitPlanes<T, N>(at, count, cursor.plane);
  return cursor;
}

/// Makes room for the piece of an output row that is to end up at `at`, and puts it there.
template <class T, std::ptrdiff_t Capacity>
Cursor<T> prepare(Planes<T, Capacity>&, char* at) {
  return {at};
}

template <class T, int N, std::ptrdiff_t Capacity>
Cursor<Pixel<T, N>> prepare(Planes<Pixel<T, N>, Capacity>& planes, char*) {
  return planes.cursor();
}

template <class T>
void deliver(const Cursor<T>&, char*, std::ptrdiff_t) {}

template <class T, int N>
void deliver(const Cursor<Pixel<T, N>>& cursor, char* at, std::ptrdiff_t count) {
  const T* planes[N];
  for (int c = 0; c < N; ++c) planes[c] = cursor.plane[c];
  joinPlanes<T, N>(planes, count, at);
}

/// Items of a row that a functor gets at a time: with parameters for channels whole pixels, in
/// whole vectors, and few enough to leave room for those in the nearest cache.
template <class F, class... Items>
constexpr std::ptrdiff_t pieceFor() {
  constexpr std::ptrdiff_t kItems = kPiece<Items...>;
  if constexpr (HasChannels<F>) {
    constexpr std::ptrdiff_t kVectors = decltype(F::channels)::kChannels * 64;
    return std::min<std::ptrdiff_t>(kItems, 1024) / kVectors * kVectors;
  } else {
    return kItems;
  }
}

/// A functor's parameters in the order of a row's elements, for the length of a piece: the row is
/// read as one more input. All pieces start at channel 0. Without channels there is no such input.
template <class F, std::ptrdiff_t Capacity>
class Parameters {
 public:
  Parameters(const F&, std::ptrdiff_t) {}
  std::tuple<> inputs() const { return {}; }
};

template <HasChannels F, std::ptrdiff_t Capacity>
class Parameters<F, Capacity> {
  using P = typename decltype(F::channels)::Parameter;
  static constexpr int kChannels = decltype(F::channels)::kChannels;

 public:
  Parameters(const F& f, std::ptrdiff_t width) {
    const std::ptrdiff_t count = std::min(width, Capacity);
    for (std::ptrdiff_t i = 0; i < count; ++i) row_.cursor().put(i, f.channels.of[i % kChannels]);
  }
  std::tuple<Cursor<P>> inputs() { return row_.cursor(); }

 private:
  Row<P, Capacity> row_;
};

/// One channel needs no row.
template <class P>
struct Constant {
  P value;
  P get(std::ptrdiff_t) const { return value; }
};

template <HasChannels F, std::ptrdiff_t Capacity>
requires(decltype(F::channels)::kChannels == 1) class Parameters<F, Capacity> {
  using P = typename decltype(F::channels)::Parameter;

 public:
  Parameters(const F& f, std::ptrdiff_t) : constant_{f.channels.of[0]} {}
  std::tuple<Constant<P>> inputs() const { return constant_; }

 private:
  Constant<P> constant_;
};

/// No item depends on another, even where an input row is the output row, and that is what the
/// pragma says: the compiler needn't test for overlap before it uses vectors.
template <class F, class Out, class... In>
void mapPiece(const F f, int x, int count, const Cursor<Out> out, const In... in) {
  MIRL_IVDEP
  for (int i = 0; i < count; ++i) out.put(i, call(f, tableOf(f), x + i, in.get(i)...));
}

/// What a functor does of a piece with explicit vectors of its own, as `vectors(count, out,
/// in...)`: it returns how many of the first items those were.
template <class F, class... In>
std::ptrdiff_t mapVectors(const F& f, std::ptrdiff_t count, char* out, const In*... in) {
  if constexpr (requires { f.vectors(count, out, in...); }) {
    static_assert(!HasChannels<F>, "the items behind the vectors might start at any channel");
    return f.vectors(count, out, in...);
  } else {
    return 0;
  }
}

template <class F, std::ptrdiff_t kCapacity, class Out, class... In>
void mapRow(const F& f, Parameters<F, kCapacity>& parameters, std::ptrdiff_t width, bool pastCaches,
            Out* out, const In*... in) {
  Planes<Out, kCapacity> outPlanes;
  std::tuple<Planes<In, kCapacity>...> inPlanes;
  alignas(64) char piece[kCapacity * sizeof(Out)];  // what is to go past the caches
  for (std::ptrdiff_t x = 0; x < width; x += kCapacity) {
    const std::ptrdiff_t count = std::min(kCapacity, width - x);
    char* const target = pastCaches ? piece : itemAt(out, x);
    const std::ptrdiff_t done = mapVectors(f, count, target, itemAt(in, x)...);
    const std::ptrdiff_t rest = count - done;
    char* const restTarget = target + done * std::ptrdiff_t{sizeof(Out)};
    const Cursor<Out> cursor = prepare(outPlanes, restTarget);
    const auto inputs = std::apply(
        [&](auto&... planes) { return std::tuple(fetch(planes, itemAt(in, x + done), rest)...); },
        inPlanes);
    std::apply(
        [&](const auto&... input) {
          mapPiece(f, static_cast<int>(x + done), static_cast<int>(rest), cursor, input...);
        },
        std::tuple_cat(parameters.inputs(), inputs));
    deliver(cursor, restTarget, rest);
    if (pastCaches) {
      runtime::streamCopy(itemAt(out, x), piece, static_cast<std::size_t>(count) * sizeof(Out));
    }
  }
}

template <class F, class Out, class... In>
void mapOnHost(const F& f, const View<Out>& out, const View<const In>&... in) {
  const auto rowBytes = static_cast<std::size_t>(out.width) * (sizeof(Out) + (sizeof(In) + ...));
  host::forRows(out.height, rowBytes, [&](const host::Rows& rows) {
    Parameters<F, pieceFor<F, Out, In...>()> parameters(f, out.width);
    for (int y = rows.begin; y < rows.end; ++y) {
      mapRow(f, parameters, out.width, rows.pastCaches, rowOf(out, y), rowOf(in, y)...);
    }
  });
}

#if MIRL_KERNELS

/// Items that one thread takes: 16 bytes of the widest element.
template <class... Items>
inline constexpr int kItemsPerThread =
    static_cast<int>(16 / std::max({kElementBytes<std::remove_const_t<Items>>...}));

inline constexpr int kBlockX = 32;
inline constexpr int kBlockY = 8;

/// `Items` items a thread. With one item rows need no alignment at all.
template <int Items, class F, class Out, class... In>
__global__ void __launch_bounds__(kBlockX* kBlockY)
    mapKernel(const __grid_constant__ F f, const View<Out> out, View<const In>... in) {
  const auto& table = sharedTableOf(f);
  // Unsigned, so that the last blocks of the longest rows don't overflow.
  const unsigned width = static_cast<unsigned>(out.width);
  const unsigned height = static_cast<unsigned>(out.height);
  const unsigned x = (blockIdx.x * kBlockX + threadIdx.x) * Items;
  if (x >= width) return;
  const auto channels = channelsFrom(f, x);
  for (unsigned y = blockIdx.y * kBlockY + threadIdx.y; y < height; y += gridDim.y * kBlockY) {
    if (Items > 1 && x + Items <= width) {
      mapItems<Items>(f, table, channels, x, rowOf(out, y) + x,
                      loadVector<Items>(rowOf(in, y) + x)...);
    } else {
      const unsigned end = x + Items < width ? x + Items : width;
      // Rare, and not worth the registers that it would take unrolled.
#pragma unroll 1
      for (unsigned i = x; i < end; ++i) {
        storeBytes(rowOf(out, y) + i, callInChannel(f, table, static_cast<int>(i), channelsOf(f), i,
                                                    loadBytes(rowOf(in, y) + i)...));
      }
    }
  }
}

template <class F, class Out, class... In>
void mapOnGpu(const runtime::Queue& queue, const F& f, const View<Out>& out,
              const View<const In>&... in) {
  constexpr int kItems = kItemsPerThread<Out, In...>;
  const bool aligned = isVectorAligned<kItems>(out) && (isVectorAligned<kItems>(in) && ...);
  auto kernel = mapKernel<1, F, Out, In...>;
  if (aligned) kernel = mapKernel<kItems, F, Out, In...>;
  cuda::launch(queue,
               cuda::covering(out.width, out.height, {kBlockX, kBlockY}, aligned ? kItems : 1),
               kernel, f, out, in...);
}

#endif

template <class F, class Out, class... In>
void mapRows([[maybe_unused]] const runtime::Queue& queue, const F& f, const View<Out>& out,
             const View<const In>&... in) {
#if MIRL_KERNELS
  if (!queue.device->isHost()) {
    mapOnGpu(queue, f, out, in...);
    return;
  }
#endif
  mapOnHost(f, out, in...);
}

}  // namespace pixels

/// Queues out = f(in...), item by item. The views have the output's size at least; `f` is copied
/// and called as `Out f(In...) const`; it may ask for more, see engine/functor.h.
template <class F, class Out, class... In>
void map(const runtime::Queue& queue, const F& f, const View<Out>& out,
         const View<const In>&... in) {
  static_assert(kServesAllDevices<F>, "compile this unit as CUDA");
  const auto run = [&](const auto&... views) { pixels::mapRows(queue, f, views...); };
  if constexpr (takesColumn<F, In...>) {
    run(out, in...);
  } else {
    inLongRows(run, out, in...);
  }
}

}  // namespace mirl::engine
