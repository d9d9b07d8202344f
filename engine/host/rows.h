#pragma once

// Rows of host work, shared out over the threads; with scratch for each of them, and with stores
// past the caches where a result is larger than they are.

#include "runtime/host/stream_copy.h"
#include "runtime/host/threads.h"
#include "runtime/scratch.h"

#include <cstddef>
#include <cstring>

namespace mirl::engine::host {

/// The rows that a call of the work does.
struct Rows {
  int begin;
  int end;
  bool pastCaches;  ///< whether the result had better not stay in the caches
};

/// What a row takes.
struct RowCost {
  /// `moved` bytes are read and written. A row that takes longer than that has its `work`, in bytes
  /// that could be moved meanwhile; so has what is done before the first row of a part, `setUp`.
  RowCost(std::size_t moved, std::size_t work = 0, std::size_t setUp = 0)
      : moved(moved), work(work == 0 ? moved : work), setUp(setUp) {}

  std::size_t moved;
  std::size_t work;
  std::size_t setUp;
};

/// Shares rows out as `shares` says: `work(const Rows&, int thread)`.
template <class Work>
void forRows(const runtime::Shares& shares, const RowCost& row, const Work& work) {
  const bool pastCaches =
      runtime::bypassesCaches(row.moved * static_cast<std::size_t>(shares.rows));
  runtime::shareOut(shares, [&](int begin, int end, int thread) {
    work(Rows{begin, end, pastCaches}, thread);
    if (pastCaches) runtime::finishStreamCopies();
  });
}

/// Shares `count` rows out: `work(const Rows&)` does some of them.
template <class Work>
void forRows(int count, const RowCost& row, const Work& work) {
  forRows(runtime::sharesOf(count, row.work, row.setUp), row,
          [&](const Rows& rows, int) { work(rows); });
}

/// The same with `scratchBytes` for each thread: `work(const Rows&, std::byte* scratch)`. False,
/// with nothing done, without memory for it.
template <class Work>
bool forRows(const runtime::Queue& queue, int count, const RowCost& row, std::size_t scratchBytes,
             const Work& work) {
  constexpr std::size_t kApart = 128;  // two lines of the caches, which are fetched together
  const std::size_t each = (scratchBytes + kApart - 1) / kApart * kApart;
  const runtime::Shares shares = runtime::sharesOf(count, row.work, row.setUp);
  const runtime::Scratch scratch(queue, each * static_cast<std::size_t>(shares.threads));
  if (!scratch.ok()) return false;
  forRows(shares, row, [&](const Rows& rows, int thread) {
    work(rows, scratch.as<std::byte>() + each * static_cast<std::size_t>(thread));
  });
  return true;
}

/// Where a piece of at most kBytes of a result is made: there, or in a buffer from which it goes
/// past the caches.
template <std::size_t kBytes>
class Outlet {
 public:
  explicit Outlet(bool pastCaches) : pastCaches_(pastCaches) {}

  char* open(char* to) { return pastCaches_ ? piece_ : to; }
  /// `bytes` have been made in what `open(to)` returned.
  void close(char* to, std::size_t bytes) {
    if (pastCaches_) runtime::streamCopy(to, piece_, bytes);
  }

 private:
  bool pastCaches_;
  alignas(64) char piece_[kBytes];
};

/// Copies a piece of a result that stands elsewhere already.
inline void putBytes(const Rows& rows, void* to, const void* from, std::size_t bytes) {
  if (rows.pastCaches) {
    runtime::streamCopy(to, from, bytes);
  } else {
    std::memcpy(to, from, bytes);
  }
}

}  // namespace mirl::engine::host
