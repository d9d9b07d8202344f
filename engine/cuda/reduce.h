#pragma once

// The GPU path of the reduce pattern: a block of threads for each unit.
//
// The threads of a block take words of 16 bytes in turn, over all rows of the unit. As the number
// of threads and the number of words that a row is padded to are multiples of 3, an element at one
// place of a thread's words is always of the same channel.

#include "engine/cuda/launch.h"
#include "engine/cuda/shared.h"
#include "engine/cuda/words.h"
#include "engine/numbers/packed_bytes.h"
#include "engine/numbers/reduce_units.h"
#include "engine/view.h"

#include <cstdint>

namespace mirl::engine::cuda {
namespace reduction {

using namespace engine::reduction;

/// The bound of a channel that is known at run time only. Choices rather than an index, so that a
/// thread keeps them in registers.
template <int C, class Bound>
__device__ Bound boundOf(const Bound (&bounds)[C], unsigned channel) {
  Bound bound = bounds[0];
#pragma unroll
  for (int c = 1; c < C; ++c) bound = channel == static_cast<unsigned>(c) ? bounds[c] : bound;
  return bound;
}

/// What a thread has gathered: kCount lanes, lane a of thread t being of channel (E * t + a) % C,
/// with E elements in a word.
template <int C, class R, Reduces how = reducesOf<R>()>
struct ThreadLanes {
  using Element = typename R::Element;
  using Word = Items<Element, kWordElements<Element>>;
  static constexpr int kCount = kWordElements<Element>;

  __device__ explicit ThreadLanes(const R& r) : reducer(r) {
#pragma unroll
    for (int i = 0; i < kCount; ++i) lane[i] = r.none();
    if constexpr (kHasBounds<R>) {
#pragma unroll
      for (int i = 0; i < C; ++i) {
        const unsigned channel = (threadIdx.x * kCount + i) % C;
        lower[i] = boundOf(r.lower, channel);
        upper[i] = boundOf(r.upper, channel);
      }
    }
  }

  __device__ void addWord(const Word& word) {
#pragma unroll
    for (int i = 0; i < kCount; ++i) addElement(i, word.item[i]);
  }

  /// The element at a place that is known at compile time.
  __device__ void addElement(int i, Element element) {
    if constexpr (kHasBounds<R>) {
      lane[i] = reducer.add(lane[i], element, lower[i % C], upper[i % C]);
    } else {
      lane[i] = reducer.add(lane[i], element);
    }
  }

  __device__ void finish() {}

  const R& reducer;
  typename R::Total lane[kCount];
  typename BoundOf<R>::type lower[C];
  typename BoundOf<R>::type upper[C];
};

/// Which of the four bytes behind byte `first` are of lane `lane`, a 1 in each.
MIRL_HD constexpr unsigned chosenBytes(int first, int lane, int lanes) {
  unsigned chosen = 0;
  for (int i = 0; i < 4; ++i) {
    if ((first + i) % lanes == lane) chosen |= 1u << (8 * i);
  }
  return chosen;
}

/// Sums of bytes, a lane for each channel.
template <int C, class R, Reduces how>
requires(how.addsBytes) struct ThreadLanes<C, R, how> {
  using Word = Items<std::uint8_t, 16>;
  static constexpr int kCount = C;

  __device__ explicit ThreadLanes(const R& r) : reducer(r) {
#pragma unroll
    for (int i = 0; i < kCount; ++i) lane[i] = r.none();
    if constexpr (kHasBounds<R>) {
#pragma unroll
      for (int i = 0; i < C; ++i) {
        lower[i] = upper[i] = 0;
#pragma unroll
        for (int byte = 0; byte < 4; ++byte) {
          const unsigned channel = (threadIdx.x * 16 + 4 * i + byte) % C;
          lower[i] |= static_cast<unsigned>(boundOf(r.lower, channel)) << (8 * byte);
          upper[i] |= static_cast<unsigned>(boundOf(r.upper, channel)) << (8 * byte);
        }
      }
    }
  }

  __device__ void addWord(const Word& word) {
    const unsigned bytes[4] = {word.word[0].x, word.word[0].y, word.word[0].z, word.word[0].w};
    unsigned sums[C] = {};
#pragma unroll
    for (int i = 0; i < 4; ++i) {
#pragma unroll
      for (int c = 0; c < C; ++c) sums[c] = sum(sums[c], bytes[i], chosenBytes(4 * i, c, C), i % C);
    }
#pragma unroll
    for (int c = 0; c < C; ++c) lane[c] += sums[c];
  }

  __device__ void addElement(int i, std::uint8_t element) {
    const int shift = 8 * (i % 4);
    lane[i % C] += sum(0, static_cast<unsigned>(element) << shift, 1u << shift, i / 4 % C);
  }

  __device__ void finish() {}

  __device__ unsigned sum(unsigned before, unsigned bytes, unsigned chosen, int bound) const {
    if constexpr (kHasBounds<R>) {
      return reducer.addBytes(before, bytes, chosen, lower[bound], upper[bound]);
    } else {
      return reducer.addBytes(before, bytes, chosen);
    }
  }

  const R& reducer;
  typename R::Total lane[kCount];
  unsigned lower[C];
  unsigned upper[C];
};

/// Extremes of bytes: four at a time for as long as there are words.
template <int C, class R, Reduces how>
requires(how.mergesBytes) struct ThreadLanes<C, R, how> {
  using Word = Items<std::uint8_t, 16>;
  static constexpr int kCount = C;

  __device__ explicit ThreadLanes(const R& r) : reducer(r) {
#pragma unroll
    for (int i = 0; i < C; ++i) packed[i] = fourTimes(r.none());
  }

  __device__ void addWord(const Word& word) {
    const unsigned bytes[4] = {word.word[0].x, word.word[0].y, word.word[0].z, word.word[0].w};
#pragma unroll
    for (int i = 0; i < 4; ++i) packed[i % C] = reducer.mergeBytes(packed[i % C], bytes[i]);
  }

  __device__ void addElement(int i, std::uint8_t element) {
    const unsigned none = fourTimes(reducer.none());
    const unsigned alone =
        none ^ (static_cast<unsigned>(reducer.none() ^ element) << (8 * (i % 4)));
    packed[i / 4 % C] = reducer.mergeBytes(packed[i / 4 % C], alone);
  }

  __device__ void finish() {
#pragma unroll
    for (int i = 0; i < C; ++i) lane[i] = reducer.none();
#pragma unroll
    for (int i = 0; i < 4 * C; ++i) {
      const auto byte = static_cast<std::uint8_t>(packed[i / 4] >> (8 * (i % 4)));
      lane[i % C] = reducer.merge(lane[i % C], byte);
    }
  }

  const R& reducer;
  unsigned packed[C];
  typename R::Total lane[kCount];
};

/// The results of a unit from the lanes of its block.
template <int C, class R>
__device__ void mergeBlock(const R& r, ThreadLanes<C, R>& own, typename R::Total* results) {
  using Total = typename R::Total;
  constexpr int kCount = ThreadLanes<C, R>::kCount;
  constexpr int kElements = kWordElements<typename R::Element>;
  MIRL_SHARED(Total, shared, kCount * kThreads);
  own.finish();
  const unsigned t = threadIdx.x;
  for (unsigned half = kThreads / 2; half >= 3; half /= 2) {
    if (t >= half && t < 2 * half) {
#pragma unroll
      for (int i = 0; i < kCount; ++i) shared[i * kThreads + t] = own.lane[i];
    }
    __syncthreads();
    if (t < half) {
#pragma unroll
      for (int i = 0; i < kCount; ++i)
        own.lane[i] = r.merge(own.lane[i], shared[i * kThreads + t + half]);
    }
  }
  if (t < 3) {
#pragma unroll
    for (int i = 0; i < kCount; ++i) shared[i * kThreads + t] = own.lane[i];
  }
  __syncthreads();
  if (t != 0) return;
  Total merged[C];
#pragma unroll
  for (int c = 0; c < C; ++c) merged[c] = r.none();
#pragma unroll
  for (int thread = 0; thread < 3; ++thread) {
#pragma unroll
    for (int i = 0; i < kCount; ++i) {
      Total& result = merged[(thread * kElements + i) % C];
      result = r.merge(result, shared[i * kThreads + thread]);
    }
  }
#pragma unroll
  for (int c = 0; c < C; ++c) results[c] = merged[c];
}

template <int C, class... R>
struct AllLanes : ThreadLanes<C, R>... {
  __device__ explicit AllLanes(const R&... r) : ThreadLanes<C, R>(r)... {}
};

/// Several words are loaded before the first one is used, so that their ways overlap.
inline constexpr int kWordsAtOnce = 4;

template <bool Aligned, int C, class T, class... R>
__global__ void __launch_bounds__(kThreads)
    reduceKernel(const View<const T> in, const Cut cut, Task<R>... tasks) {
  constexpr int kElements = kWordElements<T>;
  const Unit unit = unitOf(cut, static_cast<int>(blockIdx.x));
  const unsigned rows = static_cast<unsigned>(unit.rows);
  const unsigned words =
      (static_cast<unsigned>(unit.elements) + 3 * kElements - 1) / (3 * kElements) * 3;
  const unsigned rowStep = kThreads / words;
  const unsigned columnStep = kThreads % words;
  unsigned row = threadIdx.x / words;
  unsigned column = threadIdx.x % words;

  AllLanes<C, R...> lanes(tasks.reducer...);
  while (row < rows) {
    Items<T, kElements> word[kWordsAtOnce];
    int count[kWordsAtOnce];
#pragma unroll
    for (int i = 0; i < kWordsAtOnce; ++i) {
      const int left = unit.elements - static_cast<int>(column) * kElements;
      count[i] = row >= rows || left <= 0 ? 0 : left < kElements ? left : kElements;
      const T* at = reinterpret_cast<const T*>(
          reinterpret_cast<const char*>(in.data) + (std::ptrdiff_t{unit.y} + row) * in.pitch +
          (std::ptrdiff_t{unit.x} + std::ptrdiff_t{column} * kElements) *
              std::ptrdiff_t{sizeof(T)});
      if (Aligned && count[i] == kElements) {
        word[i] = loadVector<kElements>(at);
      } else {
#pragma unroll
        for (int e = 0; e < kElements; ++e) {
          if (e < count[i]) word[i].item[e] = loadBytes(at + e);
        }
      }
      row += rowStep;
      column += columnStep;
      if (column >= words) {
        column -= words;
        ++row;
      }
    }
#pragma unroll
    for (int i = 0; i < kWordsAtOnce; ++i) {
      if (count[i] == kElements) {
        (static_cast<ThreadLanes<C, R>&>(lanes).addWord(word[i]), ...);
      } else if (count[i] > 0) {
#pragma unroll
        for (int e = 0; e < kElements; ++e) {
          if (e < count[i]) {
            (static_cast<ThreadLanes<C, R>&>(lanes).addElement(e, word[i].item[e]), ...);
          }
        }
      }
    }
  }
  (mergeBlock<C>(tasks.reducer, static_cast<ThreadLanes<C, R>&>(lanes),
                 tasks.results + std::ptrdiff_t{blockIdx.x} * C),
   ...);
}

}  // namespace reduction

template <int C, class T, class... R>
void reduce(const runtime::Queue& queue, const View<const T>& in, const engine::reduction::Cut& cut,
            const engine::reduction::Task<R>&... tasks) {
  using namespace reduction;
  const Shape shape{static_cast<unsigned>(cut.units), kThreads};
  auto kernel = reduceKernel<false, C, T, R...>;
  if (isVectorAligned<kWordElements<T>>(in)) kernel = reduceKernel<true, C, T, R...>;
  launch(queue, shape, kernel, in, cut, tasks...);
}

}  // namespace mirl::engine::cuda
