// Promises of the kernel's mutexes and events.

#include <vector>

#include "kit/certify/Case.h"
#include "kit/certify/Groups.h"

namespace plexion_certify {
namespace {

using Mutex = IQXKernel::Mutex;
using Event = IQXKernel::Event;

// Cases lock and unlock across calls, which is what they are about.
void Lock(Mutex* mutex) QX_UNCHECKED_LOCKS { mutex->Lock(); }
void Unlock(Mutex* mutex) QX_UNCHECKED_LOCKS { mutex->Unlock(); }

Mutex* MakeMutex(Case& c) {
  Mutex* const mutex = c.Kernel().CreateMutex();
  CERTIFY_REQUIRE(c, mutex != nullptr, "a mutex", "null");
  return mutex;
}

/// Begins as the module does: it resets what it has made.
Event* MakeEvent(Case& c) {
  Event* const event = c.Kernel().CreateEvent(true);
  CERTIFY_REQUIRE(c, event != nullptr, "an event", "null");
  event->Reset();
  return event;
}

/// The first thing of a lock: a second thread stands still until the first is through.
void Excludes(Case& c) {
  c.Step("one thread holds the mutex, another wants it");
  Mutex* const mutex = MakeMutex(c);
  Lock(mutex);
  std::atomic<bool> wants{false}, has{false};
  CaseThread other(c, [&] {
    wants = true;
    Lock(mutex);
    has = true;
    Unlock(mutex);
  });
  CERTIFY_REQUIRE(c, c.Until([&] { return wants.load(); }, 3000), "a second thread that begins",
                  "it did not");
  c.SleepMs(40);
  CERTIFY_EXPECT(c, !has, "the second thread waits while the first holds the mutex", "it got it");
  Unlock(mutex);
  c.Step("waiting for the second thread to get the mutex after Unlock");
  CERTIFY_EXPECT(c, c.Until([&] { return has.load(); }, 5000), "it has the mutex after Unlock",
                 "it waits on");
}

/// Reads, waits and writes inside: a lock that lets two in once in a while loses some of the count.
void Counts(Case& c) {
  c.Step("four threads count under the mutex");
  Mutex* const mutex = MakeMutex(c);
  int inside = 0, most = 0;
  long count = 0;
  {
    const auto work = [&] {
      for (int i = 0; i < 300; ++i) {
        Lock(mutex);
        most = std::max(most, ++inside);
        const long read = count;
        if (i % 50 == 0) c.SleepMs(1);  // a place to lose the processor
        count = read + 1;
        --inside;
        Unlock(mutex);
      }
    };
    CaseThread one(c, work), two(c, work), three(c, work), four(c, work);
  }
  CERTIFY_REQUIRE(c, most == 1 && count == 1200, "1200 counted, one thread at a time",
                  Text("%ld, with up to %d inside", count, most));
}

/// The service's operations call each other under their own lock. A plain mutex stops here for good, and the runner
/// says at which Lock.
void Recursive(Case& c) {
  Mutex* const mutex = MakeMutex(c);
  for (int i = 1; i <= 20; ++i) {
    c.Step(Text("locking for the %d. time on one thread", i));
    Lock(mutex);
  }
  c.Step("unlocking as often");
  for (int i = 0; i < 20; ++i) Unlock(mutex);
  c.Kernel().DestroyMutex(mutex);
}

/// A kernel that keeps an owner and no depth lets go at the first Unlock, in the middle of an operation.
void AsOften(Case& c) {
  c.Step("locking three times, unlocking twice");
  Mutex* const mutex = MakeMutex(c);
  for (int i = 0; i < 3; ++i) Lock(mutex);
  for (int i = 0; i < 2; ++i) Unlock(mutex);
  std::atomic<bool> wants{false}, has{false};
  CaseThread other(c, [&] {
    wants = true;
    Lock(mutex);
    has = true;
    Unlock(mutex);
  });
  c.Until([&] { return wants.load(); }, 3000);
  c.SleepMs(40);
  CERTIFY_EXPECT(c, !has, "another thread waits until the third Unlock",
                 "it got the mutex after the second");
  c.Step("unlocking for the third time");
  Unlock(mutex);
  CERTIFY_EXPECT(c, c.Until([&] { return has.load(); }, 5000), "the other thread has it then",
                 "it waits on");
}

/// One lock for everything passes every other case here, and stands still when two windows wait for each other.
void Apart(Case& c) {
  c.Step("one thread holds one mutex, another takes a second one");
  Mutex* const first = MakeMutex(c);
  Mutex* const second = MakeMutex(c);
  Lock(first);
  std::atomic<bool> has{false};
  CaseThread other(c, [&] {
    Lock(second);
    has = true;
    Unlock(second);
  });
  CERTIFY_EXPECT(c, c.Until([&] { return has.load(); }, 5000),
                 "two mutexes have nothing to do with each other",
                 "the second could not be had while the first was held");
  Unlock(first);
}

/// Each window has several. Tables of a fixed size show at the first part, what is never given back at the second.
void ManyMutexes(Case& c) {
  c.Step("2,000 mutexes at a time, 64 of them held, and 20,000 one after the other");
  std::vector<Mutex*> mutexes;
  for (int i = 0; i < 2000; ++i) mutexes.push_back(MakeMutex(c));
  for (size_t i = 0; i < 64; ++i) Lock(mutexes[i]);
  for (size_t i = 0; i < 64; ++i) Unlock(mutexes[i]);
  for (Mutex* mutex : mutexes) c.Kernel().DestroyMutex(mutex);
  const long before = ResidentBytes();
  for (int i = 0; i < 20000; ++i) {
    Mutex* const mutex = MakeMutex(c);
    Lock(mutex);
    Unlock(mutex);
    c.Kernel().DestroyMutex(mutex);
  }
  const long grown = ResidentBytes() - before;
  CERTIFY_REQUIRE(c, grown < (1L << 20), "DestroyMutex gives everything back",
                  Text("the process grew by %ld KiB", grown >> 10));
}

/// The module signals before it waits where a thread is quicker than its maker: a condition without a flag
/// would lose that, and the window would never begin.
void Latches(Case& c) {
  c.Step("signalling an event that nobody waits for");
  Event* const event = MakeEvent(c);
  event->Signal();
  c.SleepMs(20);
  CERTIFY_REQUIRE(c, event->Wait(0), "true from a Wait that comes later",
                  "false: the event forgot");
}

/// Several threads wait for one end of a load. An automatic reset lets one of them go on.
void Stays(Case& c) {
  c.Step("waiting three times for one Signal");
  Event* const event = MakeEvent(c);
  event->Signal();
  CERTIFY_REQUIRE(c, event->Wait(10 * kMillisecond), "true from the first Wait", "false");
  for (int i = 0; i < 2; ++i) {
    CERTIFY_REQUIRE(c, event->Wait(10 * kMillisecond), "true again: it stays signalled until Reset",
                    "false: the first Wait took the signal with it");
  }
}

void Resets(Case& c) {
  c.Step("Reset after Signal");
  Event* const event = MakeEvent(c);
  event->Signal();
  event->Reset();
  CERTIFY_REQUIRE(c, !event->Wait(0), "false after Reset", "true");
  event->Signal();
  CERTIFY_REQUIRE(c, event->Wait(10 * kMillisecond), "true after the next Signal", "false");
}

/// Events that wake one waiter at a time are common, and here leave four behind.
void WakesAll(Case& c) {
  c.Step("five threads wait, one Signal");
  Event* const event = MakeEvent(c);
  std::atomic<int> waiting{0}, woken{0};
  const auto wait = [&] {
    ++waiting;
    if (event->Wait(8000 * kMillisecond)) ++woken;
  };
  CaseThread one(c, wait), two(c, wait), three(c, wait), four(c, wait), five(c, wait);
  CERTIFY_REQUIRE(c, c.Until([&] { return waiting == 5; }, 3000), "five threads that begin",
                  Text("%d", waiting.load()));
  c.SleepMs(30);
  CERTIFY_REQUIRE(c, woken == 0, "they wait", Text("%d had returned", woken.load()));
  event->Signal();
  CERTIFY_EXPECT(c, c.Until([&] { return woken == 5; }, 5000), "all five woken",
                 Text("%d", woken.load()));
  event->Signal();  // so that a broken event does not keep them
}

/// Ten per cent early is allowed for, since clocks of a device may be coarse; a time-out in another unit is not.
void TimesOut(Case& c) {
  c.Step("waiting 200 ms for what does not come");
  Event* const event = MakeEvent(c);
  const IQXKernel::Time before = c.Kernel().GetTime();
  const bool came = event->Wait(200 * kMillisecond);
  const IQXKernel::Time waited = c.Kernel().GetTime() - before;
  CERTIFY_REQUIRE(c, !came, "false: the time-out passed", "true");
  CERTIFY_REQUIRE(c, waited >= 180 * kMillisecond, "a wait of 200 ms",
                  Text("%.3f ms", static_cast<double>(waited) / 1e6));
  c.Step("looking with a time-out of 0");
  CERTIFY_REQUIRE(c, !event->Wait(0), "false at once", "true");
}

/// Deadlines are often kept as "now plus time-out", which wraps for the largest ones: the wait then ends at once, and
/// the module spins.
void Infinite(Case& c) {
  for (const IQXKernel::Time timeout :
       {IQXKernel::kInfinite, IQXKernel::kInfinite - 1, IQXKernel::kInfinite / 2,
        IQXKernel::Time{86400} * 1000 * kMillisecond}) {
    c.Step(Text("waiting with a time-out of %lld ns", static_cast<long long>(timeout)));
    Event* const event = MakeEvent(c);
    std::atomic<int> result{-1};
    std::atomic<bool> waiting{false};
    CaseThread waiter(c, [&] {
      waiting = true;
      result = event->Wait(timeout) ? 1 : 0;
    });
    c.Until([&] { return waiting.load(); }, 3000);
    c.SleepMs(30);
    CERTIFY_EXPECT(c, result == -1, "it waits", "it returned within 30 ms");
    event->Signal();
    CERTIFY_EXPECT(c, c.Until([&] { return result == 1; }, 5000), "true after Signal",
                   result == 0 ? "false" : "it waits on");
    if (c.HasFailed()) return;
  }
}

/// The module destroys what it may not have got: the contract names null for events.
void NullEvent(Case& c) {
  c.Step("DestroyEvent with null");
  c.Kernel().DestroyEvent(nullptr);
}

/// Signal and Reset that overlap: a waiter that looks at the flag only after it woke finds it reset again.
void PingPong(Case& c) {
  c.Step("two threads hand a turn to each other, 500 times");
  Event* const mine = MakeEvent(c);
  Event* const theirs = MakeEvent(c);
  std::atomic<int> turns{0};
  CaseThread other(c, [&] {
    for (int i = 0; i < 500; ++i) {
      if (!theirs->Wait(5000 * kMillisecond)) return;
      theirs->Reset();
      ++turns;
      mine->Signal();
    }
  });
  for (int i = 0; i < 500; ++i) {
    theirs->Signal();
    if (!mine->Wait(5000 * kMillisecond)) break;
    mine->Reset();
  }
  CERTIFY_EXPECT(c, turns == 500, "500 turns, none lost",
                 Text("%d, then nobody was woken", turns.load()));
}

/// Open files count, too: an event made of a pipe takes two of them, and a process has a thousand.
void ManyEvents(Case& c) {
  c.Step("20,000 events, one after the other");
  const long before = ResidentBytes();
  const int descriptors = DescriptorCount();
  for (int i = 0; i < 20000; ++i) {
    Event* const event = MakeEvent(c);
    event->Signal();
    c.Kernel().DestroyEvent(event);
  }
  const long grown = ResidentBytes() - before;
  CERTIFY_REQUIRE(c, grown < (1L << 20) && DescriptorCount() <= descriptors,
                  "DestroyEvent gives everything back",
                  Text("the process grew by %ld KiB and %d open files", grown >> 10,
                       DescriptorCount() - descriptors));
}

constexpr Promise kMutexPromises[] = {
    {"kernel.mutex.recursive", "A thread that holds a mutex may lock it again.", Level::kBasic, "",
     Recursive},
    {"kernel.mutex.excludes", "One thread at a time holds a mutex; who waits gets it after Unlock.",
     Level::kBasic, "kernel.thread.runs", Excludes},
    {"kernel.mutex.counts", "Nothing is lost that several threads write under one mutex.",
     Level::kContract, "kernel.mutex.excludes", Counts},
    {"kernel.mutex.as-often", "A mutex is held until it was unlocked as often as locked.",
     Level::kContract, "kernel.mutex.recursive kernel.mutex.excludes", AsOften},
    {"kernel.mutex.apart", "Two mutexes have nothing to do with each other.", Level::kContract,
     "kernel.thread.runs", Apart},
    {"kernel.mutex.many", "Mutexes can be made by the thousand, and leave nothing behind.",
     Level::kFull, "kernel.mutex.recursive", ManyMutexes},
};

constexpr Promise kEventPromises[] = {
    {"kernel.event.latches", "A signal that nobody waits for is kept.", Level::kBasic, "", Latches},
    {"kernel.event.stays", "A signalled event stays so until Reset, however many wait.",
     Level::kBasic, "kernel.event.latches", Stays},
    {"kernel.event.resets", "After Reset an event is not signalled.", Level::kBasic, "", Resets},
    {"kernel.event.timeout", "Wait answers false when its time-out has passed, and not before.",
     Level::kContract, "kernel.time.nanoseconds", TimesOut},
    {"kernel.event.wakes-all", "Signal wakes every waiter.", Level::kContract,
     "kernel.thread.runs kernel.event.stays kernel.event.resets", WakesAll},
    {"kernel.event.infinite", "Without limit, and with a very long one, Wait waits for the signal.",
     Level::kBasic, "kernel.thread.runs kernel.event.resets", Infinite},
    {"kernel.event.null", "DestroyEvent accepts null.", Level::kContract, "", NullEvent},
    {"kernel.event.turns", "No signal is lost between two threads.", Level::kContract,
     "kernel.thread.runs kernel.event.resets", PingPong},
    {"kernel.event.many", "Events leave nothing behind.", Level::kFull, "", ManyEvents},
};

}  // namespace

PromiseGroup KernelMutexPromises() {
  return MakeGroup("Kernel: mutexes", "qx/core/IQXKernel.h",
                   "The module calls itself: a key that makes a window active takes the same lock "
                   "three times. Many\n"
                   "systems' mutexes are not recursive unless they are told to be.",
                   kMutexPromises);
}

PromiseGroup KernelEventPromises() {
  return MakeGroup("Kernel: events", "qx/core/IQXKernel.h",
                   "A flag, not a condition: what was signalled before somebody waits must be "
                   "found. \"Without limit\"\n"
                   "is the largest number there is, so adding it to the time of day overflows.",
                   kEventPromises);
}

}  // namespace plexion_certify
