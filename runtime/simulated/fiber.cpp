#include "runtime/simulated/fiber.h"

#include "runtime/simulated/block.h"
#include "runtime/simulated/watched.h"

#include <sys/mman.h>

#include <cstdint>

#if !defined(__x86_64__)
#include <ucontext.h>
#endif

#if MIRL_WATCHED
#include <sanitizer/common_interface_defs.h>
#endif

#if defined(__x86_64__)
// The system's own switch makes a system call for the mask of signals each time, which takes
// several times as long as all else. This one keeps what a function call has to keep: the registers
// on the old stack, whose place goes to *rdi; those of the new stack come from rsi.
extern "C" void mirlSwitchStacks(void** from, void* to);
extern "C" void mirlEnterFiber();
asm(R"(
.text
.globl mirlSwitchStacks
mirlSwitchStacks:
  push %rbp
  push %rbx
  push %r12
  push %r13
  push %r14
  push %r15
  mov %rsp, (%rdi)
  mov %rsi, %rsp
  pop %r15
  pop %r14
  pop %r13
  pop %r12
  pop %rbx
  pop %rbp
  ret
.globl mirlEnterFiber
mirlEnterFiber:
  mov %r12, %rdi
  call *%r13
  ud2
)");
#endif

namespace mirl::simulated {

void startFiber(Fiber* fiber) {
  Fiber::start(fiber);
}

namespace {

constexpr std::size_t kStackBytes = 512 * 1024;  // taken page by page as it is used
constexpr std::size_t kGuardBytes = 4096;

void announce([[maybe_unused]] void** fake, [[maybe_unused]] const void* stack,
              [[maybe_unused]] std::size_t bytes) {
#if MIRL_WATCHED
  __sanitizer_start_switch_fiber(fake, stack, bytes);
#endif
}
void arrived([[maybe_unused]] void* fake, [[maybe_unused]] const void** from,
             [[maybe_unused]] std::size_t* bytes) {
#if MIRL_WATCHED
  __sanitizer_finish_switch_fiber(fake, from, bytes);
#endif
}

}  // namespace

#if defined(__x86_64__)

/// Where a stack stands that isn't in use.
struct Fiber::Context {
  void* stackPointer = nullptr;

  void start(void* stack, Fiber* fiber) {
    auto* top = reinterpret_cast<std::uintptr_t*>(static_cast<char*>(stack) + kStackBytes);
    *--top = 0;
    *--top = 0;  // the stack is at a multiple of 16 when a function has been called
    *--top = reinterpret_cast<std::uintptr_t>(mirlEnterFiber);
    *--top = 0;                                             // rbp
    *--top = 0;                                             // rbx
    *--top = reinterpret_cast<std::uintptr_t>(fiber);       // r12
    *--top = reinterpret_cast<std::uintptr_t>(startFiber);  // r13
    *--top = 0;                                             // r14
    *--top = 0;                                             // r15
    stackPointer = top;
  }
  static void change(Context& from, Context& to) {
    mirlSwitchStacks(&from.stackPointer, to.stackPointer);
  }
};

#else

struct Fiber::Context {
  ucontext_t context;

  void start(void* stack, Fiber* fiber) {
    getcontext(&context);
    context.uc_stack.ss_sp = stack;
    context.uc_stack.ss_size = kStackBytes;
    context.uc_link = nullptr;
    const auto self = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(fiber));
    makecontext(&context, reinterpret_cast<void (*)()>(enter), 2, static_cast<unsigned>(self),
                static_cast<unsigned>(self >> 32));
  }
  static void enter(unsigned low, unsigned high) {
    startFiber(
        reinterpret_cast<Fiber*>(static_cast<std::uintptr_t>((std::uint64_t{high} << 32) | low)));
  }
  static void change(Context& from, Context& to) { swapcontext(&from.context, &to.context); }
};

#endif

Fiber::Fiber(void (*body)(void*), void* argument)
    : body_(body), argument_(argument), own_(new Context), caller_(new Context) {
  stack_ = mmap(nullptr, kStackBytes, PROT_READ | PROT_WRITE,
                MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (stack_ == MAP_FAILED || mprotect(stack_, kGuardBytes, PROT_NONE) != 0) {
    fault("there is no memory for the stack of a thread");
  }
  own_->start(stack_, this);
}

Fiber::~Fiber() {
  munmap(stack_, kStackBytes);
  delete own_;
  delete caller_;
}

void Fiber::start(Fiber* fiber) {
  arrived(nullptr, &fiber->callerStack_, &fiber->callerBytes_);
  fiber->body_(fiber->argument_);
}

void Fiber::run() {
  void* fake = nullptr;
  announce(&fake, stack_, kStackBytes);
  Context::change(*caller_, *own_);
  arrived(fake, nullptr, nullptr);
}

void Fiber::comeBack() {
  announce(&ownFake_, callerStack_, callerBytes_);
  Context::change(*own_, *caller_);
  arrived(ownFake_, &callerStack_, &callerBytes_);
}

}  // namespace mirl::simulated
