#pragma once

// Networks of comparisons that find medians, built at compile time. They run on whatever has a
// lesser and a greater of two: words of four bytes on GPUs, vectors on the host.
//
// Two windows of N by N below each other share N - 1 rows. Of these the columns are sorted, once for
// all windows that a column is in; sorted columns are merged to longer ones, and of the longest only
// those N + 1 in the middle are wanted that can be the median of either window. Each window then
// adds a row of its own.

#include "engine/device_code.h"

#include <type_traits>
#include <utility>

namespace mirl::engine::networks {

/// Of two wires the lesser goes on in `low` and the greater in `high`, where that is of any use.
struct Exchange {
  int low;
  int high;
  bool keepsLow;
  bool keepsHigh;
};

inline constexpr int kMostWires = 9 * 8;
inline constexpr int kMostExchanges = 600;

/// Wires in the order of what they carry.
struct Wires {
  int at[kMostWires] = {};
  int count = 0;

  constexpr void add(int wire) { at[count++] = wire; }
  /// `number` of them from the first on, each `step` behind the last.
  constexpr Wires some(int first, int number, int step = 1) const {
    Wires chosen;
    for (int i = 0; i < number; ++i) chosen.add(at[first + i * step]);
    return chosen;
  }
};

struct Network {
  Exchange exchange[kMostExchanges] = {};
  int count = 0;
  Wires results;

  constexpr void compare(int low, int high) { exchange[count++] = {low, high, true, true}; }

  /// Batcher's merge of two sorted lists: of their even and of their odd places, and then of
  /// neighbours.
  constexpr Wires merge(const Wires& a, const Wires& b) {
    if (a.count == 0) return b;
    if (b.count == 0) return a;
    Wires merged;
    if (a.count == 1 && b.count == 1) {
      compare(a.at[0], b.at[0]);
      merged.add(a.at[0]);
      merged.add(b.at[0]);
      return merged;
    }
    const Wires even = merge(a.some(0, (a.count + 1) / 2, 2), b.some(0, (b.count + 1) / 2, 2));
    const Wires odd = merge(a.some(1, a.count / 2, 2), b.some(1, b.count / 2, 2));
    merged.add(even.at[0]);
    for (int i = 0; i < odd.count || i + 1 < even.count; ++i) {
      if (i < odd.count && i + 1 < even.count) compare(odd.at[i], even.at[i + 1]);
      if (i < odd.count) merged.add(odd.at[i]);
      if (i + 1 < even.count) merged.add(even.at[i + 1]);
    }
    return merged;
  }

  /// Merges `lists` sorted lists of `length` wires each, from the first wire on.
  constexpr Wires mergeAll(int first, int lists, int length) {
    if (lists == 1) {
      Wires list;
      for (int i = 0; i < length; ++i) list.add(first + i);
      return list;
    }
    int half = 1;
    while (half * 2 < lists) half *= 2;
    const Wires before = mergeAll(first, half, length);
    return merge(before, mergeAll(first + half * length, lists - half, length));
  }

  /// Drops what none of the results depends on.
  constexpr void prune() {
    bool wanted[kMostWires] = {};
    for (int i = 0; i < results.count; ++i) wanted[results.at[i]] = true;
    int kept = count;
    for (int i = count - 1; i >= 0; --i) {
      const int low = exchange[i].low, high = exchange[i].high;
      if (!wanted[low] && !wanted[high]) continue;
      exchange[--kept] = {low, high, wanted[low], wanted[high]};
      wanted[low] = wanted[high] = true;
    }
    for (int i = kept; i < count; ++i) exchange[i - kept] = exchange[i];
    count -= kept;
  }
};

constexpr Network sorting(int wires) {
  Network network;
  network.results = network.mergeAll(0, wires, 1);
  return network;
}

/// From N sorted columns of N - 1, one behind the other, to the N + 1 in the middle.
constexpr Network middleOf(int n) {
  Network network;
  network.results = network.mergeAll(0, n, n - 1).some((n * n - 1) / 2 - n, n + 1);
  network.prune();
  return network;
}

/// As types, for code that runs them.
template <int N>
struct Sorting {
  static constexpr Network kNetwork = sorting(N);
};
template <int N>
struct Middle {
  static constexpr Network kNetwork = middleOf(N);
};

/// Exchanges `kBegin` to `kEnd` - 1, by halves: compilers limit how far expressions are nested.
template <class Built, class Order, int kBegin, int kEnd, class V>
[[gnu::always_inline]] MIRL_HD inline void exchange(V* wires) {
  if constexpr (kEnd - kBegin > 1) {
    constexpr int kMiddle = (kBegin + kEnd) / 2;
    exchange<Built, Order, kBegin, kMiddle>(wires);
    exchange<Built, Order, kMiddle, kEnd>(wires);
  } else {
    constexpr Exchange kStep = Built::kNetwork.exchange[kBegin];
    const V a = wires[kStep.low], b = wires[kStep.high];
    if constexpr (kStep.keepsLow) wires[kStep.low] = Order::lesser(a, b);
    if constexpr (kStep.keepsHigh) wires[kStep.high] = Order::greater(a, b);
  }
}

template <class Built, class V, int... R>
[[gnu::always_inline]] MIRL_HD inline void takeResults(const V* wires, V* results,
                                                       std::integer_sequence<int, R...>) {
  ((results[R] = wires[std::integral_constant<int, Built::kNetwork.results.at[R]>::value]), ...);
}

/// Runs a network, which leaves the wires in disorder.
template <class Built, class Order, class V>
[[gnu::always_inline]] MIRL_HD inline void run(V* wires, V* results) {
  constexpr int kExchanges = Built::kNetwork.count, kResults = Built::kNetwork.results.count;
  exchange<Built, Order, 0, kExchanges>(wires);
  takeResults<Built>(wires, results, std::make_integer_sequence<int, kResults>{});
}

template <class Order, class V, int... I>
[[gnu::always_inline]] MIRL_HD inline V medianOf(const V* middle, const V* row,
                                                 std::integer_sequence<int, I...>) {
  constexpr int kN = sizeof...(I);
  V median = middle[kN];
  ((median = Order::lesser(median, Order::greater(middle[I], row[kN - 1 - I]))), ...);
  return median;
}

/// The median of the N + 1 in the middle of a window's other rows and of its last row, both sorted:
/// of all splits of N + 1 between the two it is the least one's greatest.
template <int N, class Order, class V>
[[gnu::always_inline]] MIRL_HD inline V medianOf(const V* middle, const V* row) {
  return medianOf<Order>(middle, row, std::make_integer_sequence<int, N>{});
}

}  // namespace mirl::engine::networks
