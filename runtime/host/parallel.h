#pragma once

#include <cstddef>

namespace mirl::runtime {

/// The threads that host work is shared out to.
int hostThreads();

/// Calls `body(context, begin, end)` on ranges that together are 0 to count, on up to `parts`
/// threads at once, and returns when all are done.
void shareOut(int count, int parts, void (*body)(const void* context, int begin, int end),
              const void* context);

/// Shares `count` rows out over the threads: `work(begin, end)` does the rows of a range.
/// `bytesPerRow` is what a row reads and writes; small images stay on the calling thread, because
/// waking another costs as much as moving `kBytesPerThread`.
template <class Work>
void parallelRows(int count, std::size_t bytesPerRow, const Work& work) {
  constexpr std::size_t kBytesPerThread = 128 * 1024;
  const std::size_t worthwhile = static_cast<std::size_t>(count) * bytesPerRow / kBytesPerThread;
  if (worthwhile < 2) {
    work(0, count);
    return;
  }
  const auto threads = static_cast<std::size_t>(hostThreads());
  shareOut(
      count, static_cast<int>(worthwhile < threads ? worthwhile : threads),
      [](const void* context, int begin, int end) {
        (*static_cast<const Work*>(context))(begin, end);
      },
      &work);
}

}  // namespace mirl::runtime
