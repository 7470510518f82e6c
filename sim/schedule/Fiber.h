// Flows of control that are entered and left by hand.

#ifndef SIM_SCHEDULE_FIBER_H_
#define SIM_SCHEDULE_FIBER_H_

#include <cstddef>

namespace plexion_sim {

/// A flow of control with a stack of its own, entered and left by hand. All fibers of a simulated
/// device run on the one operating-system thread that made the device.
///
/// Stacks are kept for the next fiber. The address and thread sanitizers are told of each switch;
/// to the latter it orders nothing (Sanitizers.h).
class Fiber {
 public:
  using Entry = void (*)(void* argument);

  /// The flow of control that runs already: what a program starts with.
  Fiber();
  /// A new one that calls `entry(argument)` when it is first switched to. `entry` must not return;
  /// it ends with SwitchForGood.
  Fiber(Entry entry, void* argument);
  /// Not the running one. A fiber that never ended is dropped: nothing on its stack is destroyed.
  ~Fiber();
  Fiber(const Fiber&) = delete;
  Fiber& operator=(const Fiber&) = delete;

  /// Leaves `from`, which is running, for `to`; returns when something switches back to `from`.
  static void Switch(Fiber& from, Fiber& to);
  /// Leaves `from`, which has ended or is given up, for `to`.
  [[noreturn]] static void SwitchForGood(Fiber& from, Fiber& to);
  /// Released(object) in the name of a fiber that will not run again (Sanitizers.h).
  void ReleasedHere(Fiber& running, const void* object) const;

 private:
  [[noreturn]] static void Start(void* self);
  void Arrive();

  void* context_ = nullptr;  // where the saved registers are
  char* stack_ = nullptr;    // lowest usable address; null for the first constructor's
  size_t stackBytes_ = 0;
  bool finished_ = false;
  Entry entry_ = nullptr;
  void* argument_ = nullptr;
  // Read only when the sanitizer in question is built in.
  [[maybe_unused]] void* threadSanitizerFiber_ = nullptr;
  [[maybe_unused]] void* fakeStack_ = nullptr;
};

}  // namespace plexion_sim

#endif  // SIM_SCHEDULE_FIBER_H_
