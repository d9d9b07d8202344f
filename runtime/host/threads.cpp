#include "runtime/host/threads.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>

namespace mirl::runtime {
namespace {

constexpr int kMostThreads = 128;

int processors() {
  // A set that is too small for the machine is refused.
  for (int most = 1024; most <= 1 << 20; most *= 2) {
    cpu_set_t* const set = CPU_ALLOC(most);
    if (set == nullptr) break;
    const std::size_t bytes = CPU_ALLOC_SIZE(most);
    const bool known = sched_getaffinity(0, bytes, set) == 0;
    const int count = known ? CPU_COUNT_S(bytes, set) : 0;
    CPU_FREE(set);
    if (known) return std::clamp(count, 1, kMostThreads);
  }
  return 1;
}

void relax() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

/// Whether something comes true in about the time that sleeping and being woken takes. No longer:
/// others may want the processor.
template <class Condition>
bool isSoon(const Condition& condition) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + std::chrono::microseconds(20);
  do {
    for (int i = 0; i < 16; ++i) {
      if (condition()) return true;
      relax();
    }
  } while (Clock::now() < end);
  return false;
}

/// A call of `shareOut`, in the caller's frame.
struct Job {
  Shares shares;
  void (*body)(const void* context, int begin, int end, int thread);
  const void* context;
  Job* next = nullptr;                        // of the list of those that helpers may join
  int joined = 1;                             // threads that ever took part, the caller the first
  std::atomic<int> helping{0};                // helpers that haven't finished
  std::atomic<int> begun[kMostThreads] = {};  // parts of each share

  /// Does the parts of a thread's own share, which tend to be in its caches since the last call,
  /// and then those that others haven't begun with.
  void work(int thread) {
    for (int i = 0; i < shares.threads; ++i) {
      const int share = (thread + i) % shares.threads;
      const int end = shares.part(share + 1);
      for (;;) {
        const int part = shares.part(share) + begun[share].fetch_add(1, std::memory_order_relaxed);
        if (part >= end) break;
        body(context, shares.row(part), shares.row(part + 1), thread);
      }
    }
  }
};

/// The helpers and what they can help with. There is nothing to construct or to destroy, so calls
/// may come at any time of the program.
class Helpers {
 public:
  void run(Job& job) {
    if (!open(job)) {
      job.work(0);
      return;
    }
    job.work(0);
    close(job);
    const auto isDone = [&] { return job.helping.load(std::memory_order_acquire) == 0; };
    if (isSoon(isDone)) return;
    for (;;) {
      const unsigned before = finished_.load();
      if (isDone()) return;
      finished_.wait(before);
    }
  }

 private:
  /// Puts the job up for helpers. False if there are none.
  bool open(Job& job) {
    if (alone_.load(std::memory_order_acquire)) return false;
    {
      const std::lock_guard lock(mutex_);
      if (!wasStarted_) start();
      if (started_ == 0) return false;
      Job** last = &open_;
      while (*last != nullptr) last = &(*last)->next;
      *last = &job;
      ++callers_;
      if (findJob() == nullptr) return true;
    }
    wakeOne();
    return true;
  }

  void close(Job& job) {
    {
      const std::lock_guard lock(mutex_);
      Job** at = &open_;
      while (*at != &job) at = &(*at)->next;
      *at = job.next;
      --callers_;
      if (findJob() == nullptr) return;
    }
    wakeOne();
  }

  /// What one thread more could help with. There shall be no more of them at work than processors.
  Job* findJob() const {
    if (callers_ + helpers_ >= hostThreads()) return nullptr;
    Job* job = open_;
    while (job != nullptr && job->joined == job->shares.threads) job = job->next;
    return job;
  }

  void wakeOne() {
    changes_.fetch_add(1);
    changes_.notify_one();
  }

  void help() {
    bool helped = false;
    for (;;) {
      const unsigned before = changes_.load();
      Job* job = nullptr;
      int thread = 0;
      bool forMore = false;
      {
        const std::lock_guard lock(mutex_);
        if (helped) --helpers_;
        if (alone_.load(std::memory_order_relaxed)) return;
        job = findJob();
        helped = job != nullptr;
        if (helped) {
          ++helpers_;
          thread = job->joined++;
          job->helping.fetch_add(1, std::memory_order_relaxed);
          forMore = findJob() != nullptr;
        }
      }
      if (helped) {
        // One wakes the next, so that the caller can begin after a single call of the system.
        if (forMore) wakeOne();
        job->work(thread);
        // With the last helper done the job may be gone.
        if (job->helping.fetch_sub(1, std::memory_order_release) == 1) {
          finished_.fetch_add(1);
          finished_.notify_all();
        }
      } else if (!isSoon([&] { return changes_.load() != before; })) {
        changes_.wait(before);
      }
    }
  }

  void start();
  void stop();

  std::mutex mutex_;
  Job* open_ = nullptr;
  int callers_ = 0;                    // threads at work on jobs of their own
  int helpers_ = 0;                    // and on those of others
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
  const auto main = [](void*) -> void* {
    helpers.help();
    return nullptr;
  };
  while (started_ < hostThreads() - 1 &&
         pthread_create(&threads_[started_], nullptr, main, nullptr) == 0) {
    ++started_;
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
  static const int threads = processors();
  return threads;
}

Shares sharesOf(int rows, std::size_t bytesPerRow, std::size_t bytesPerPart) {
  constexpr std::size_t kBytesPerThread = 128 * 1024;
  constexpr std::size_t kBytesPerPart = 64 * 1024;
  constexpr std::size_t kPartsPerThread = 8;
  constexpr std::size_t kRowsBytesPerPartBytes = 16;
  const std::size_t bytes = static_cast<std::size_t>(rows) * bytesPerRow;
  const std::size_t most =
      std::min<std::size_t>({static_cast<std::size_t>(hostThreads()), bytes / kBytesPerThread,
                             static_cast<std::size_t>(rows)});
  if (most < 2) return {rows, 1, 1};
  const std::size_t least = std::max(kBytesPerPart, kRowsBytesPerPartBytes * bytesPerPart);
  const std::size_t parts = std::min<std::size_t>(
      std::clamp(bytes / least, most, kPartsPerThread * most), static_cast<std::size_t>(rows));
  return {rows, static_cast<int>(parts), static_cast<int>(most)};
}

void shareOut(const Shares& shares,
              void (*body)(const void* context, int begin, int end, int thread),
              const void* context) {
  if (shares.threads < 2) {
    body(context, 0, shares.rows, 0);
    return;
  }
  Job job{shares, body, context};
  helpers.run(job);
}

}  // namespace mirl::runtime
