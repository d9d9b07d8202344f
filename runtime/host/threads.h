#pragma once

#include <cstddef>
#include <cstdint>

namespace mirl::runtime {

/// The threads that host work is shared out to: the processors that the process may use.
int hostThreads();

/// Rows cut into parts for a number of threads, of which each has a share of neighbouring parts.
struct Shares {
  int rows;
  int parts;
  int threads;
  bool wake = true;  ///< whether it is worth to wake threads that sleep

  /// The row that a part begins with, and the part that a thread's share does.
  int row(int part) const { return cut(rows, part, parts); }
  int part(int thread) const { return cut(parts, thread, threads); }

 private:
  static int cut(int count, int i, int n) { return static_cast<int>(std::int64_t{count} * i / n); }
};

/// How to share `rows` out that take as long as moving `bytesPerRow` does: few rows to one thread,
/// because waking another has its price; and else in more parts than threads, so that one which
/// begins late, or loses its processor, leaves the others little to wait for. What a part takes
/// before its first row, `bytesPerPart`, makes them fewer.
Shares sharesOf(int rows, std::size_t bytesPerRow, std::size_t bytesPerPart = 0);

/// Calls `body(context, begin, end, thread)` on the rows of each part and returns when all are
/// done. Of the calls at a time no two have the same `thread`, from 0 to `shares.threads` - 1.
///
/// The threads that help are started by the first call that wants them and kept. Whatever they
/// haven't begun with the caller does itself, so it waits for none that has no processor yet, nor
/// minds when there are none: in a process forked off one that has them, and after the program's
/// end has begun. Calls may come from several threads at a time, and from within `body`.
void shareOut(const Shares& shares,
              void (*body)(const void* context, int begin, int end, int thread),
              const void* context);

/// The same with `work(begin, end, thread)`.
template <class Work>
void shareOut(const Shares& shares, const Work& work) {
  shareOut(
      shares,
      [](const void* context, int begin, int end, int thread) {
        (*static_cast<const Work*>(context))(begin, end, thread);
      },
      &work);
}

}  // namespace mirl::runtime
