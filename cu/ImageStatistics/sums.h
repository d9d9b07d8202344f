#pragma once

#include "engine/device_code.h"
#include "engine/functor.h"
#include "engine/numbers/conversions.h"
#include "engine/numbers/packed_bytes.h"

#include <cstdint>
#include <type_traits>

namespace mirl::imageStatistics {

/// The sum: of integers exactly, of floats in double.
template <class T>
struct kernel_sum {
  using Element = T;
  using Lane = std::conditional_t<std::is_same_v<T, float>, double,
                                  std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>>;
  using Total = std::conditional_t<std::is_same_v<T, float>, double, std::uint64_t>;
  static constexpr int kLaneElements = sizeof(T) == 1   ? 65535 / 255
                                       : sizeof(T) == 2 ? 65537
                                                        : engine::kGreatest<int>;

  static constexpr engine::Reduces reduces{.addsBytes = sizeof(T) == 1};

  MIRL_HD Lane none() const { return 0; }
  template <class Sum>
  MIRL_HD Sum add(Sum sum, T element) const {
    return static_cast<Sum>(sum + static_cast<Sum>(element));
  }
  MIRL_HD Total merge(Total a, Total b) const { return a + b; }
  MIRL_HD unsigned addBytes(unsigned sum, unsigned bytes, unsigned chosen) const
      requires(sizeof(T) == 1) {
    return engine::dotBytes(bytes, chosen, sum);
  }
};

}  // namespace mirl::imageStatistics
