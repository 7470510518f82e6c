// Stacks and the switch between them, with what the sanitizers want to know of it.

#include "sim/schedule/Fiber.h"

#include <sys/mman.h>
#include <ucontext.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "qx/core/Check.h"
#include "sim/schedule/Sanitizers.h"

#ifdef SIM_ADDRESS_SANITIZER
#include <sanitizer/common_interface_defs.h>
#include <sanitizer/lsan_interface.h>
#endif
#ifdef SIM_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

#if defined(__x86_64__)
// Saves what a call must preserve, leaves the stack pointer in *save, and continues where `load`
// was saved. No signal masks: that is what makes it a hundred times cheaper than swapcontext.
asm(R"(
.text
.p2align 4
.type plexion_sim_switch_stacks,@function
plexion_sim_switch_stacks:
  pushq %rbp
  pushq %rbx
  pushq %r12
  pushq %r13
  pushq %r14
  pushq %r15
  movq %rsp, (%rdi)
  movq %rsi, %rsp
  popq %r15
  popq %r14
  popq %r13
  popq %r12
  popq %rbx
  popq %rbp
  ret
.size plexion_sim_switch_stacks,.-plexion_sim_switch_stacks
.p2align 4
.type plexion_sim_first_entry,@function
plexion_sim_first_entry:
  movq %r12, %rdi
  xorl %ebp, %ebp
  callq *%r13
  ud2
.size plexion_sim_first_entry,.-plexion_sim_first_entry
)");
extern "C" void plexion_sim_switch_stacks(void** save, void* load);
extern "C" void plexion_sim_first_entry();
#endif

namespace plexion_sim {

namespace {

#if defined(SIM_ADDRESS_SANITIZER) || defined(SIM_THREAD_SANITIZER)
constexpr size_t kStackBytes = 1024 * 1024;
#else
constexpr size_t kStackBytes = 256 * 1024;
#endif
constexpr size_t kGuardBytes = 4096;
constexpr size_t kKeptStacks = 64;

std::vector<char*>& FreeStacks() {
  static thread_local std::vector<char*> stacks;
  return stacks;
}

char* TakeStack() {
  std::vector<char*>& free = FreeStacks();
  if (!free.empty()) {
    char* stack = free.back();
    free.pop_back();
    return stack;
  }
  void* memory = mmap(nullptr, kGuardBytes + kStackBytes, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED || mprotect(memory, kGuardBytes, PROT_NONE) != 0) {
    std::fprintf(stderr, "plexion_sim: no memory for the stack of a simulated thread (%zu bytes)\n",
                 kStackBytes);
    std::abort();
  }
  return static_cast<char*>(memory) + kGuardBytes;
}

void GiveStackBack(char* stack, bool finished) {
  // Nothing orders what a dropped fiber did before what the next owner of its stack does.
  if (finished && FreeStacks().size() < kKeptStacks) {
    FreeStacks().push_back(stack);
  } else {
    munmap(stack - kGuardBytes, kGuardBytes + kStackBytes);
  }
}

}  // namespace

Fiber::Fiber() {
#ifdef SIM_THREAD_SANITIZER
  threadSanitizerFiber_ = __tsan_get_current_fiber();
#endif
#if !defined(__x86_64__)
  context_ = new ucontext_t();
#endif
}

Fiber::Fiber(Entry entry, void* argument)
    : stack_(TakeStack()), stackBytes_(kStackBytes), entry_(entry), argument_(argument) {
#ifdef SIM_THREAD_SANITIZER
  threadSanitizerFiber_ = __tsan_create_fiber(0);
#endif
#if defined(__x86_64__)
  // The frame that plexion_sim_switch_stacks takes off: r15 r14 r13 r12 rbx rbp, return address.
  auto** top = reinterpret_cast<void**>(stack_ + stackBytes_);
  *--top = nullptr;
  *--top = nullptr;  // leaves the stack pointer a multiple of 16 before the first call
  *--top = reinterpret_cast<void*>(&plexion_sim_first_entry);
  *--top = nullptr;                                 // rbp
  *--top = nullptr;                                 // rbx
  *--top = this;                                    // r12
  *--top = reinterpret_cast<void*>(&Fiber::Start);  // r13
  *--top = nullptr;                                 // r14
  *--top = nullptr;                                 // r15
  context_ = top;
#else
  auto* context = new ucontext_t();
  getcontext(context);
  context->uc_stack.ss_sp = stack_;
  context->uc_stack.ss_size = stackBytes_;
  context->uc_link = nullptr;
  // Its arguments are ints; a pointer may take two of them.
  const uint64_t address = reinterpret_cast<uintptr_t>(this);
  makecontext(context, reinterpret_cast<void (*)()>(+[](unsigned high, unsigned low) {
                const uint64_t self = (uint64_t{high} << 32) | low;
                Start(reinterpret_cast<void*>(static_cast<uintptr_t>(self)));
              }),
              2, static_cast<unsigned>(address >> 32), static_cast<unsigned>(address));
  context_ = context;
#endif
}

Fiber::~Fiber() {
#if !defined(__x86_64__)
  delete static_cast<ucontext_t*>(context_);
#endif
  if (stack_ == nullptr) return;
#ifdef SIM_THREAD_SANITIZER
  __tsan_destroy_fiber(threadSanitizerFiber_);
#endif
#ifdef SIM_ADDRESS_SANITIZER
  if (!finished_) {
    // What the dropped stack points to is not lost by a fault of the program under test.
    __lsan_register_root_region(stack_, stackBytes_);
    return;
  }
#endif
  GiveStackBack(stack_, finished_);
}

void Fiber::Start(void* self) {
  auto* fiber = static_cast<Fiber*>(self);
  QX_CHECK(fiber->entry_ != nullptr, "a new fiber has something to do");
  fiber->Arrive();
  fiber->entry_(fiber->argument_);
  std::fprintf(stderr, "plexion_sim: the entry of a fiber returned; expected SwitchForGood\n");
  std::abort();
}

#ifdef SIM_ADDRESS_SANITIZER
namespace {
thread_local Fiber* arrivedFrom = nullptr;
}  // namespace
#endif

void Fiber::Arrive() {
#ifdef SIM_ADDRESS_SANITIZER
  // Whoever was left tells here where its stack is: a first fiber does not know its own.
  const void* bottom = nullptr;
  size_t bytes = 0;
  __sanitizer_finish_switch_fiber(fakeStack_, &bottom, &bytes);
  if (arrivedFrom != nullptr && arrivedFrom->stackBytes_ == 0) {
    arrivedFrom->argument_ = const_cast<void*>(bottom);
    arrivedFrom->stackBytes_ = bytes;
  }
#endif
}

void Fiber::Switch(Fiber& from, Fiber& to) {
  QX_CHECK(&from != &to && !to.finished_, "a fiber that has ended is not switched to");
#ifdef SIM_ADDRESS_SANITIZER
  arrivedFrom = &from;
  __sanitizer_start_switch_fiber(from.finished_ ? nullptr : &from.fakeStack_,
                                 to.stack_ != nullptr ? to.stack_ : to.argument_, to.stackBytes_);
#endif
#ifdef SIM_THREAD_SANITIZER
  __tsan_switch_to_fiber(to.threadSanitizerFiber_, __tsan_switch_to_fiber_no_sync);
#endif
#if defined(__x86_64__)
  plexion_sim_switch_stacks(&from.context_, to.context_);
#else
  swapcontext(static_cast<ucontext_t*>(from.context_), static_cast<ucontext_t*>(to.context_));
#endif
  from.Arrive();
}

void Fiber::ReleasedHere([[maybe_unused]] Fiber& running,
                         [[maybe_unused]] const void* object) const {
#ifdef SIM_THREAD_SANITIZER
  // To the sanitizer a switch is only a change of the name in which things are done.
  __tsan_switch_to_fiber(threadSanitizerFiber_, __tsan_switch_to_fiber_no_sync);
  Released(object);
  __tsan_switch_to_fiber(running.threadSanitizerFiber_, __tsan_switch_to_fiber_no_sync);
#endif
}

void Fiber::SwitchForGood(Fiber& from, Fiber& to) {
  QX_CHECK(!from.finished_, "a fiber ends once");
  from.finished_ = true;
  Switch(from, to);
  std::fprintf(stderr, "plexion_sim: a fiber that had ended was switched to\n");
  std::abort();
}

}  // namespace plexion_sim
