#include "runtime/host/threads.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>

namespace mirl::runtime {
namespace {

constexpr int kMostThreads = 128;

/// The processors that the process may use: its first thread's, as another may have tied itself to
/// one of them. False on a machine of more than such a set can hold.
bool getProcessors(cpu_set_t& set) {
  return sched_getaffinity(getpid(), sizeof set, &set) == 0;
}

void relax() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

using Clock = std::chrono::steady_clock;

/// How long it is worth waiting awake: a few times what it takes to be woken, so that one call behind
/// another finds its helpers ready, and little beside the turns of a scheduler, whose other processes
/// may want the processor.
constexpr auto kSoon = std::chrono::microseconds(100);

template <class Condition>
bool isSoon(const Condition& condition) {
  const Clock::time_point end = Clock::now() + kSoon;
  do {
    for (int i = 0; i < 16; ++i) {
      if (condition()) return true;
      relax();
    }
  } while (Clock::now() < end);
  return false;
}

/// A call of `shareOut`, in the caller's frame.
class Job {
 public:
  Job(const Shares& shares, void (*body)(const void*, int, int, int), const void* context)
      : shares_(shares), body_(body), context_(context) {
    of_[0].taken = true;  // the caller's
  }

  /// Does the parts of a thread's own share, which tend to be in its caches since the last call,
  /// and then those that others haven't begun with, for as long as `stays`.
  template <class Stays>
  void work(int thread, const Stays& stays) {
    for (int i = 0; i < shares_.threads; ++i) {
      const int share = (thread + i) % shares_.threads;
      const int first = shares_.part(share);
      const int count = shares_.part(share + 1) - first;
      while (stays()) {
        const int part = of_[share].begun.fetch_add(1, std::memory_order_relaxed);
        if (part >= count) break;
        body_(context_, shares_.row(first + part), shares_.row(first + part + 1), thread);
      }
    }
  }

  bool takesOneMore() const { return freeThread() < shares_.threads; }
  bool wakes() const { return shares_.wake; }

  /// The number of the thread that helps from now on.
  int join() {
    const int thread = freeThread();
    of_[thread].taken.store(true, std::memory_order_relaxed);
    helping_.fetch_add(1, std::memory_order_relaxed);
    return thread;
  }

  /// Whether that was the last one, behind which the job may be gone.
  bool leave(int thread) {
    of_[thread].taken.store(false, std::memory_order_release);
    return helping_.fetch_sub(1, std::memory_order_release) == 1;
  }

  bool isLeft() const { return helping_.load(std::memory_order_acquire) == 0; }

  Job* next = nullptr;  // of the list of those that helpers may join

 private:
  int freeThread() const {
    int thread = 1;
    while (thread < shares_.threads && of_[thread].taken.load(std::memory_order_acquire)) ++thread;
    return thread;
  }

  struct Share {
    std::atomic<int> begun{0};  // parts
    std::atomic<bool> taken{false};
  };

  const Shares shares_;
  void (*const body_)(const void* context, int begin, int end, int thread);
  const void* const context_;
  std::atomic<int> helping_{0};
  Share of_[kMostThreads];
};

/// The helpers and what they can help with. There is nothing to construct or to destroy, so calls
/// may come at any time of the program.
class Helpers {
 public:
  void run(Job& job) {
    const bool opened = open(job);
    job.work(0, [] { return true; });
    if (!opened) return;
    close(job);
    if (isSoon([&] { return job.isLeft(); })) return;
    for (;;) {
      const unsigned before = finished_.load();
      if (job.isLeft()) return;
      finished_.wait(before);
    }
  }

 private:
  /// Puts the job up for helpers. False if there are none.
  bool open(Job& job) {
    if (alone_.load(std::memory_order_acquire)) return false;
    bool wake = false;
    {
      const std::lock_guard lock(mutex_);
      if (!wasStarted_) start();
      if (started_ == 0) return false;
      Job** last = &open_;
      while (*last != nullptr) last = &(*last)->next;
      *last = &job;
      ++busy_;
      // Once awake, a helper stays so if calls follow one another.
      wake = !allBusy() && (job.wakes() || Clock::now() - lastClosed_ < kSoon);
    }
    call(wake);
    return true;
  }

  void close(Job& job) {
    {
      const std::lock_guard lock(mutex_);
      Job** at = &open_;
      while (*at != &job) at = &(*at)->next;
      *at = job.next;
      --busy_;
      lastClosed_ = Clock::now();
    }
    call(false);  // others may have jobs, too
  }

  /// One helper, if need be one that sleeps; those that are awake look by themselves.
  void call(bool wake) {
    changes_.fetch_add(1);
    if (wake) changes_.notify_one();
  }

  /// There shall be no more threads at work than processors.
  bool allBusy() const { return busy_.load(std::memory_order_relaxed) >= hostThreads(); }

  /// A job that can do with one thread more.
  Job* findJob() const {
    if (allBusy()) return nullptr;
    Job* job = open_;
    while (job != nullptr && !job->takesOneMore()) job = job->next;
    return job;
  }

  void help() {
    for (;;) {
      const unsigned before = changes_.load();
      Job* job = nullptr;
      int thread = 0;
      bool wake = false;
      {
        const std::lock_guard lock(mutex_);
        if (alone_.load(std::memory_order_relaxed)) return;
        job = findJob();
        if (job != nullptr) {
          thread = job->join();
          ++busy_;
          const Job* const other = findJob();
          wake = other != nullptr && other->wakes();
        }
      }
      if (job != nullptr) {
        // One wakes the next, so that the caller can begin after a single call of the system.
        if (wake) call(true);
        job->work(thread, [&] { return busy_.load(std::memory_order_relaxed) <= hostThreads(); });
        --busy_;
        if (job->leave(thread)) {
          finished_.fetch_add(1);
          finished_.notify_all();
        }
      } else if (allBusy() || !isSoon([&] { return changes_.load() != before; })) {
        changes_.wait(before);
      }
    }
  }

  void start();
  void stop();

  std::mutex mutex_;
  Job* open_ = nullptr;
  Clock::time_point lastClosed_{};
  std::atomic<int> busy_{0};           // threads at work, callers and helpers
  std::atomic<unsigned> changes_{0};   // goes up when there is something to be looked for
  std::atomic<unsigned> finished_{0};  // goes up when a job has lost its last helper
  std::atomic<bool> alone_{false};     // no helper is there any longer
  bool wasStarted_ = false;
  int started_ = 0;
  pthread_t threads_[kMostThreads] = {};
};

constinit Helpers helpers;

void Helpers::start() {
  wasStarted_ = true;
  // The end of the program, or of a library that is unloaded.
  static const struct Stopper {
    ~Stopper() { helpers.stop(); }
  } stopper;
  // Only the thread that forks lives on in the child.
  if (pthread_atfork(nullptr, nullptr, [] { helpers.alone_ = true; }) != 0) return;

  // Signals are for the program's own threads.
  sigset_t all, before;
  sigfillset(&all);
  if (pthread_sigmask(SIG_SETMASK, &all, &before) != 0) return;
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) == 0) {
    cpu_set_t set;
    if (getProcessors(set)) pthread_attr_setaffinity_np(&attributes, sizeof set, &set);
    const auto main = [](void*) -> void* {
      helpers.help();
      return nullptr;
    };
    while (started_ < hostThreads() - 1 &&
           pthread_create(&threads_[started_], &attributes, main, nullptr) == 0) {
      ++started_;
    }
    pthread_attr_destroy(&attributes);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void Helpers::stop() {
  {
    if (alone_.load(std::memory_order_acquire)) return;  // in a forked child, its lock may be held
    const std::lock_guard lock(mutex_);
    alone_ = true;
  }
  changes_.fetch_add(1);
  changes_.notify_all();
  for (int i = 0; i < started_; ++i) pthread_join(threads_[i], nullptr);
}

}  // namespace

int hostThreads() {
  static const int threads = [] {
    cpu_set_t set;
    const long count = getProcessors(set) ? CPU_COUNT(&set) : sysconf(_SC_NPROCESSORS_ONLN);
    return static_cast<int>(std::clamp<long>(count, 1, kMostThreads));
  }();
  return threads;
}

Shares sharesOf(int rows, std::size_t bytesPerRow, std::size_t bytesPerPart) {
  // Moving so many bytes takes as long as calling a helper who is awake, and waking one.
  constexpr std::size_t kBytesPerThread = 128 * 1024;
  constexpr std::size_t kBytesToWakeFor = 1024 * 1024;
  constexpr std::size_t kBytesPerPart = 64 * 1024;
  constexpr std::size_t kPartsPerThread = 8;
  constexpr std::size_t kTimesWhatAPartTakes = 16;
  const auto count = static_cast<std::size_t>(rows);
  const std::size_t bytes = count * bytesPerRow;
  const auto most = static_cast<std::size_t>(hostThreads());
  const std::size_t threads = std::min({most, bytes / kBytesPerThread, count});
  if (threads < 2) return {rows, 1, 1};
  const std::size_t least = std::max(kBytesPerPart, kTimesWhatAPartTakes * bytesPerPart);
  const std::size_t parts =
      std::min(std::clamp(bytes / least, threads, kPartsPerThread * threads), count);
  return {rows, static_cast<int>(parts), static_cast<int>(threads), bytes >= kBytesToWakeFor};
}

void shareOut(const Shares& shares,
              void (*body)(const void* context, int begin, int end, int thread),
              const void* context) {
  if (shares.threads < 2) {
    body(context, 0, shares.rows, 0);
    return;
  }
  Job job(shares, body, context);
  helpers.run(job);
}

}  // namespace mirl::runtime
