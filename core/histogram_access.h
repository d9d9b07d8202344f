#pragma once

#include <mirl/histogram.h>

#include "runtime/runtime.h"

struct HistogramAccess {
  /// The device of bins in device memory, null for other bins and for those that a reset has
  /// killed.
  static mirl::runtime::Device* device(const MirlHistogram& histogram);
};
