// Threads, mutexes, events, sleeping.

#include <algorithm>

#include "qx/core/Check.h"
#include "sim/kernel/SimKernel.h"
#include "sim/schedule/Sanitizers.h"

namespace plexion_sim {

// Mutexes.

IQXKernel::Mutex* SimKernel::CreateMutex() {
  Point("CreateMutex");
  if (faults_.Fails(Fallible::kCreateMutex)) {
    Note("CreateMutex", "-> null");
    return nullptr;
  }
  const auto number = static_cast<uint32_t>(mutexes_.size() + 1);
  std::string name = "mutex" + std::to_string(number);
  std::vector<std::string>& names = current_->nextMutexNames;
  // Stories name the locks of what they make, so that a report speaks of "stateLock".
  if (!names.empty()) {
    name = names.front();
    names.erase(names.begin());
  }
  mutexes_.push_back(std::make_unique<SimMutex>(this, number, name, current_->name));
  Note("CreateMutex", "-> " + name);
  return mutexes_.back().get();
}

void SimKernel::DestroyMutex(IQXKernel::Mutex* object) {
  Point("DestroyMutex");
  auto* mutex = static_cast<SimMutex*>(object);
  if (mutex == nullptr) {
    Report(FindingKind::kUseAfterDestroy, "DestroyMutex of null");
    return;
  }
  Note("DestroyMutex", mutex->name_);
  if (mutex->destroyed_) {
    Report(FindingKind::kUseAfterDestroy, mutex->name_ + " is destroyed a second time");
    return;
  }
  if (mutex->owner_ != nullptr) {
    Report(FindingKind::kLockMisuse,
           mutex->name_ + " is destroyed while " + mutex->owner_->name + " holds it");
    auto& held = mutex->owner_->held;
    held.erase(std::remove(held.begin(), held.end(), mutex), held.end());
    mutex->owner_ = nullptr;
  }
  for (const SimTask* task : live_) {
    if (task->waits == SimTask::Waits::kForMutex && task->waitsFor == mutex) {
      // The waiter is about to use it.
      Report(FindingKind::kUseAfterDestroy,
             mutex->name_ + " is destroyed while " + task->name + " waits for it");
    }
  }
  // The object stays until the end of the run: a late use of it is told, and is no crash.
  mutex->destroyed_ = true;
}

void SimKernel::CheckCycle(const SimMutex* wanted) {
  // Threads that wait for each other in a ring never go on, whatever the others do.
  std::string ring = current_->name + " wants " + wanted->name_;
  const SimTask* owner = wanted->owner_;
  // Bounded by the threads that there are: a ring that this thread is no part of must not hold up the report.
  for (size_t steps = 0; owner != nullptr && steps <= live_.size(); ++steps) {
    ring += ", which " + owner->name + " holds";
    if (owner == current_) {
      std::string others = WhoWaitsForWhat();
      Report(FindingKind::kDeadlock, ring + "\n  " + others);
      return;
    }
    if (owner->waits != SimTask::Waits::kForMutex) return;
    const auto* next = static_cast<const SimMutex*>(owner->waitsFor);
    QX_CHECK(next != nullptr, "whoever waits for a mutex waits for one");
    ring += "; " + owner->name + " wants " + next->name_;
    owner = next->owner_;
  }
}

void SimKernel::LockMutex(SimMutex* mutex) {
  if (mutex->destroyed_) {
    Report(FindingKind::kUseAfterDestroy, "Lock of " + mutex->name_ + ", which is destroyed");
    return;
  }
  // Taken again by its holder: no order of locks can be wrong by that.
  if (mutex->owner_ == current_) {
    Point("Lock");
    ++mutex->depth_;
    return;
  }
  // Before it waits: an order that is wrong is told also in runs in which nobody happened to come between.
  if (options_.lockOrder && !current_->held.empty()) {
    std::vector<LockOrder::Lock> held;
    for (const SimMutex* other : current_->held) held.push_back({other->number_, other->name_});
    const std::string inversion =
        lockOrder_.Taken({mutex->number_, mutex->name_}, held, current_->number, current_->name);
    if (!inversion.empty()) Report(FindingKind::kLockOrder, inversion);
  }
  if (IsRunning()) {
    if (mutex->owner_ != nullptr) CheckCycle(mutex);
    do {
      BlockUntil("Lock", SimTask::Waits::kForMutex, mutex, kInfinite);
      // Woken is not chosen: another thread may have taken it first.
    } while (mutex->owner_ != nullptr && !mutex->destroyed_);
    if (mutex->destroyed_) {
      Report(FindingKind::kUseAfterDestroy,
             mutex->name_ + " was destroyed while " + current_->name + " waited for it");
      return;
    }
  } else if (mutex->owner_ != nullptr) {
    Report(FindingKind::kLockMisuse,
           "Lock of " + mutex->name_ + " outside Run, while " + mutex->owner_->name + " holds it");
    return;
  }
  mutex->owner_ = current_;
  mutex->depth_ = 1;
  Acquired(mutex);
  current_->held.push_back(mutex);
  if (journal_.IsOn()) Note("Lock", mutex->name_);
}

void SimKernel::UnlockMutex(SimMutex* mutex) {
  Point("Unlock");
  if (mutex->destroyed_) {
    Report(FindingKind::kUseAfterDestroy, "Unlock of " + mutex->name_ + ", which is destroyed");
    return;
  }
  if (mutex->owner_ != current_) {
    Report(FindingKind::kLockMisuse,
           "Unlock of " + mutex->name_ + ", which " +
               (mutex->owner_ == nullptr ? std::string("nobody") : mutex->owner_->name) + " holds");
    return;
  }
  QX_CHECK(mutex->depth_ > 0, "a lock that is held as often as it was taken");
  if (--mutex->depth_ > 0) return;
  Released(mutex);
  mutex->owner_ = nullptr;
  auto& held = current_->held;
  const auto place = std::find(held.begin(), held.end(), mutex);
  QX_CHECK(place != held.end(), "the owner has it among what it holds");
  held.erase(place);
  if (journal_.IsOn()) Note("Unlock", mutex->name_);
}

bool SimKernel::HoldsMutex(const SimTask* task, const IQXKernel::Mutex* mutex) const {
  QX_CHECK(mutex != nullptr, "a mutex");
  return static_cast<const SimMutex*>(mutex)->owner_ == task;
}

void SimKernel::Name(IQXKernel::Mutex* mutex, const std::string& name) {
  QX_CHECK(mutex != nullptr, "only what there is can be named");
  static_cast<SimMutex*>(mutex)->name_ = name;
}

void SimKernel::Name(IQXKernel::Event* event, const std::string& name) {
  QX_CHECK(event != nullptr, "only what there is can be named");
  static_cast<SimEvent*>(event)->name_ = name;
}

void SimKernel::NameNextMutexes(std::vector<std::string> names) {
  current_->nextMutexNames = std::move(names);
}

// Events.

IQXKernel::Event* SimKernel::CreateEvent(bool manualReset) {
  Point("CreateEvent");
  if (faults_.Fails(Fallible::kCreateEvent)) {
    Note("CreateEvent", "-> null");
    return nullptr;
  }
  std::string name = "event" + std::to_string(events_.size() + 1);
  events_.push_back(std::make_unique<SimEvent>(this, name, current_->name, manualReset,
                                               options_.newEventsAreSignalled));
  Note("CreateEvent", "-> " + name);
  return events_.back().get();
}

void SimKernel::DestroyEvent(IQXKernel::Event* object) {
  Point("DestroyEvent");
  auto* event = static_cast<SimEvent*>(object);
  if (event == nullptr) {
    Note("DestroyEvent", "null");
    return;
  }
  Note("DestroyEvent", event->name_);
  if (event->destroyed_) {
    Report(FindingKind::kUseAfterDestroy, event->name_ + " is destroyed a second time");
    return;
  }
  for (const SimTask* task : live_) {
    if (task->waits == SimTask::Waits::kForEvent && task->waitsFor == event && !task->signalled) {
      // The waiter is about to use it.
      Report(FindingKind::kUseAfterDestroy,
             event->name_ + " is destroyed while " + task->name + " waits for it");
    }
  }
  event->destroyed_ = true;
}

void SimKernel::SignalEvent(SimEvent* event) {
  Point("Signal");
  Note("Signal", event->name_);
  if (event->destroyed_) {
    Report(FindingKind::kUseAfterDestroy, "Signal of " + event->name_ + ", which is destroyed");
    return;
  }
  Released(event);
  // For those that come later; those that wait now are told one by one below.
  event->signalled_ = true;
  for (SimTask* task : live_) {
    if (task->waits == SimTask::Waits::kForEvent && task->waitsFor == event) {
      // Remembered for each waiter: a Reset that follows at once must not lose the signal.
      task->signalled = true;
    }
  }
}

void SimKernel::ResetEvent(SimEvent* event) {
  Point("Reset");
  Note("Reset", event->name_);
  if (event->destroyed_) {
    Report(FindingKind::kUseAfterDestroy, "Reset of " + event->name_ + ", which is destroyed");
    return;
  }
  event->signalled_ = false;
}

bool SimKernel::WaitEvent(SimEvent* event, Nanoseconds timeout) {
  if (!IsRunning()) {
    bool result = false;
    Run([&] { result = WaitEvent(event, timeout); });
    return result;
  }
  Point("Wait");
  if (event->destroyed_) {
    Report(FindingKind::kUseAfterDestroy, "Wait for " + event->name_ + ", which is destroyed");
    return false;
  }
  Note("Wait", event->name_);
  bool woken = event->signalled_;
  if (!woken) {
    BlockUntil("Wait", SimTask::Waits::kForEvent, event, timeout);
    woken = current_->signalled || event->signalled_;
  }
  if (woken) Acquired(event);
  // With automatic reset the one that goes on first takes the signal with it.
  if (woken && !event->manualReset_) event->signalled_ = false;
  Note("Wait", event->name_ + (woken ? " -> signalled" : " -> timed out"));
  return woken;
}

// Threads and sleeping.

IQXKernel::Thread* SimKernel::CreateThread() {
  Point("CreateThread");
  if (faults_.Fails(Fallible::kCreateThread)) {
    Note("CreateThread", "-> null");
    return nullptr;
  }
  std::string name = "thread" + std::to_string(threads_.size() + 1);
  threads_.push_back(std::make_unique<SimThread>(this, name, current_->name));
  Note("CreateThread", "-> " + name);
  return threads_.back().get();
}

void SimKernel::DestroyThread(IQXKernel::Thread* object) {
  Point("DestroyThread");
  auto* thread = static_cast<SimThread*>(object);
  if (thread == nullptr) {
    Report(FindingKind::kUseAfterDestroy, "DestroyThread of null");
    return;
  }
  Note("DestroyThread", thread->name_);
  if (thread->destroyed_) {
    Report(FindingKind::kUseAfterDestroy, thread->name_ + " is destroyed a second time");
    return;
  }
  if (thread->task_ != nullptr && !thread->task_->ended) {
    Report(FindingKind::kLockMisuse, thread->name_ + " is destroyed while it runs");
  }
  thread->destroyed_ = true;
}

bool SimKernel::StartThread(SimThread* thread, const char* name, Thread::Procedure procedure,
                            void* argument) {
  Point("Start");
  if (thread->destroyed_) {
    Report(FindingKind::kUseAfterDestroy, "Start of " + thread->name_ + ", which is destroyed");
    return false;
  }
  if (thread->task_ != nullptr && !thread->task_->ended) {
    Report(FindingKind::kContract, "Start of " + thread->name_ + ", which runs already");
    return false;
  }
  if (faults_.Fails(Fallible::kThreadStart)) {
    Note("Start", std::string(name) + " -> false");
    return false;
  }
  Note("Start", std::string(name) + " -> true");
  // Copied: the contract lets the caller's text go when Start returns.
  thread->name_ = name;
  thread->task_ = AddTask(name, SimTask::Kind::kModule,
                          [thread, procedure, argument] { procedure(thread, argument); });
  thread->task_->object = thread;
  return true;
}

bool SimKernel::JoinThread(SimThread* thread, Nanoseconds timeout) {
  if (!IsRunning()) {
    bool result = false;
    Run([&] { result = JoinThread(thread, timeout); });
    return result;
  }
  if (thread->destroyed_) {
    Report(FindingKind::kUseAfterDestroy, "Join of " + thread->name_ + ", which is destroyed");
    return false;
  }
  if (thread->task_ == current_) {
    Report(FindingKind::kDeadlock, thread->name_ + " joins itself");
  }
  BlockUntil("Join", SimTask::Waits::kForThread, thread, timeout);
  const bool ended = thread->task_ == nullptr || thread->task_->ended;
  if (ended && thread->task_ != nullptr) Acquired(thread->task_);
  Note("Join", thread->name_ + (ended ? " -> ended" : " -> timed out"));
  return ended;
}

void SimKernel::Sleep(const Time& duration) {
  if (!IsRunning()) {
    // A copy: the caller's time may lie on a stack that does not go on.
    const Time wanted = duration;
    Run([&] { Sleep(wanted); });
    return;
  }
  if (journal_.IsOn()) Note("Sleep", std::to_string(duration));
  BlockUntil("Sleep", SimTask::Waits::kForTime, nullptr, duration);
}

}  // namespace plexion_sim
