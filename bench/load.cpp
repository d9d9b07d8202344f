#include "load.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace mirl::bench {

Load::Load(int processes) {
  const pid_t parent = getpid();
  for (int i = 0; i < processes; ++i) {
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("cannot start a process beside this one");
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (volatile unsigned turns = 0; getppid() == parent;) {
        for (int turn = 0; turn < 1 << 20; ++turn) turns = turns + 1;
      }
      _exit(0);
    }
    processes_.push_back(child);
  }
}

Load::~Load() {
  for (const pid_t child : processes_) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
}

}  // namespace mirl::bench
