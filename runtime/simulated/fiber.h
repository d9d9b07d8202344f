#pragma once

// Threads of control on stacks of their own, switched by hand and announced to the address
// sanitizer.

#include <cstddef>

namespace mirl::simulated {

class Fiber {
 public:
  /// Calls `body(argument)`, which never returns, at the first switch.
  Fiber(void (*body)(void*), void* argument);
  ~Fiber();
  Fiber(const Fiber&) = delete;
  Fiber& operator=(const Fiber&) = delete;

  /// Goes on with the fiber until it comes back.
  void run();
  /// From within: goes back to where `run` was called.
  void comeBack();

  struct Context;

 private:
  static void start(Fiber* fiber);
  friend void startFiber(Fiber* fiber);

  void (*body_)(void*);
  void* argument_;
  void* stack_;
  Context* own_;
  Context* caller_;
  void* ownFake_ = nullptr;
  const void* callerStack_ = nullptr;
  std::size_t callerBytes_ = 0;
};

}  // namespace mirl::simulated
