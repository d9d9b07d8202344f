#pragma once

#include "runtime/host/parallel.h"
#include "runtime/host/stream_copy.h"

#include <cstddef>

namespace mirl::engine::host {

/// The rows that a call of the work does.
struct Rows {
  int begin;
  int end;
  bool pastCaches;
};

template <class Work>
void forRows(int count, std::size_t bytesPerRow, const Work& work) {
  const bool pastCaches = runtime::bypassesCaches(bytesPerRow * static_cast<std::size_t>(count));
  runtime::parallelRows(count, bytesPerRow, [&](int begin, int end) {
    work(Rows{begin, end, pastCaches});
    if (pastCaches) runtime::finishStreamCopies();
  });
}

template <std::size_t kBytes>
class Outlet {
 public:
  explicit Outlet(bool pastCaches) : pastCaches_(pastCaches) {}
  char* open(char* to) { return pastCaches_ ? piece_ : to; }
  void close(char* to, std::size_t bytes) {
    if (pastCaches_) runtime::streamCopy(to, piece_, bytes);
  }

 private:
  bool pastCaches_;
  alignas(64) char piece_[kBytes];
};

}  // namespace mirl::engine::host
