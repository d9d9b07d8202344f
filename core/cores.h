#pragma once

namespace mirl::core {

/// Single-precision cores of a multiprocessor by compute capability, 0 where it isn't known.
/// Source: the arithmetic throughput table of the CUDA C++ Programming Guide.
constexpr int coresPerMultiProcessor(int major, int minor) {
  switch (major) {
    case 1:
      return 8;
    case 2:
      return minor == 0 ? 32 : 48;
    case 3:
      return 192;
    case 5:
      return 128;
    case 6:
      return minor == 0 ? 64 : 128;
    case 7:
      return 64;
    case 8:
      return minor == 0 ? 64 : 128;
    case 9:
    case 10:
    case 11:
    case 12:
      return 128;
    default:
      return 0;
  }
}

}  // namespace mirl::core
