#include "runtime/host/parallel.h"

#include <cstdint>

#if MIRL_WITH_OPENMP
#include <omp.h>
#else
#include <exception>
#include <thread>
#include <vector>
#endif

namespace mirl::runtime {
namespace {

int partBegin(int count, int parts, int part) {
  return static_cast<int>(static_cast<std::int64_t>(count) * part / parts);
}

}  // namespace

#if MIRL_WITH_OPENMP

int hostThreads() {
  return omp_get_max_threads();
}

void shareOut(int count, int parts, void (*body)(const void*, int, int), const void* context) {
#pragma omp parallel num_threads(parts)
  {
    const int team = omp_get_num_threads();
    const int part = omp_get_thread_num();
    body(context, partBegin(count, team, part), partBegin(count, team, part + 1));
  }
}

#else  // Threads that a sanitizer can follow, and the fallback where there is no OpenMP.

int hostThreads() {
  static const int threads = [] {
    const unsigned n = std::thread::hardware_concurrency();
    return n == 0 ? 1 : static_cast<int>(n);
  }();
  return threads;
}

void shareOut(int count, int parts, void (*body)(const void*, int, int), const void* context) {
  std::vector<std::thread> others;
  int given = 1;
  try {
    others.reserve(static_cast<std::size_t>(parts - 1));
    for (; given < parts; ++given) {
      others.emplace_back(body, context, partBegin(count, parts, given),
                          partBegin(count, parts, given + 1));
    }
  } catch (const std::exception&) {
    // Without memory or threads for more, this one does what is left.
    body(context, partBegin(count, parts, given), count);
  }
  body(context, 0, partBegin(count, parts, 1));
  for (std::thread& other : others) other.join();
}

#endif

}  // namespace mirl::runtime
