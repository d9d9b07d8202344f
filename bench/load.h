#pragma once

#include <sys/types.h>

#include <vector>

namespace mirl::bench {

/// Processes beside this one, each of which keeps a processor busy until the end. Make them before
/// anything starts threads.
class Load {
 public:
  explicit Load(int processes);
  ~Load();
  Load(const Load&) = delete;
  Load& operator=(const Load&) = delete;

 private:
  std::vector<pid_t> processes_;
};

}  // namespace mirl::bench
