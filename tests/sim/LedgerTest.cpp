// What the simulated kernel notices of memory and kernel objects.

#include <functional>

#include "tests/support/StoryTest.h"

namespace plexion_sim {
namespace {

struct Misuse {
  const char* name;
  std::function<void(SimKernel&)> does;
  FindingKind kind;
  const char* text;
};

const Misuse kMisuses[] = {
    {"BlockKept", [](SimKernel& kernel) { kernel.Allocate(24, "Plane.cpp", 7); },
     FindingKind::kLeak, "block1 of 24 bytes, asked for by host at Plane.cpp:7"},
    {"MutexKept",
     [](SimKernel& kernel) {
       kernel.NameNextMutexes({"stateLock"});
       kernel.CreateMutex();
     },
     FindingKind::kLeak, "stateLock, made by host"},
    {"EventKept", [](SimKernel& kernel) { kernel.CreateEvent(true); }, FindingKind::kLeak,
     "event1, made by host"},
    {"ThreadKept", [](SimKernel& kernel) { kernel.CreateThread(); }, FindingKind::kLeak,
     "thread1, made by host"},
    {"ModuleKept", [](SimKernel& kernel) { kernel.AcquireModule("IShell"); }, FindingKind::kLeak,
     "module IShell, acquired 1 times more than released"},
    {"AllowanceOfNothing", [](SimKernel& kernel) { kernel.AllowLeak("", 8, 0); },
     FindingKind::kCheck, "a reason, and a number that there may be"},
    {"FreedTwice",
     [](SimKernel& kernel) {
       void* block = kernel.Allocate(8, nullptr, 0);
       kernel.Free(block, nullptr, 0);
       kernel.Free(block, "Plane.cpp", 9);
     },
     FindingKind::kMemory, "Free at Plane.cpp:9 of block1, which is free already"},
    {"InsideFreed",
     [](SimKernel& kernel) {
       kernel.Free(static_cast<char*>(kernel.Allocate(64, nullptr, 0)) + 8, nullptr, 0);
     },
     FindingKind::kMemory, "8 bytes from the start of block1"},
    {"WrittenBefore",
     [](SimKernel& kernel) {
       auto* block = static_cast<char*>(kernel.Allocate(64, nullptr, 0));
       block[-1] = 1;
       kernel.Free(block, nullptr, 0);
     },
     FindingKind::kMemory, "block1 of 64 bytes (host) was written before its start"},
    {"WrittenBehind",
     [](SimKernel& kernel) {
       auto* block = static_cast<char*>(kernel.Allocate(13, nullptr, 0));
       block[13] = 1;
       kernel.Free(block, nullptr, 0);
     },
     FindingKind::kMemory, "block1 of 13 bytes (host) was written behind its end"},
    {"WrittenAfterFree",
     [](SimKernel& kernel) {
       auto* block = static_cast<char*>(kernel.Allocate(32, nullptr, 0));
       kernel.Free(block, nullptr, 0);
       block[4] = 1;
     },
     FindingKind::kMemory, "block1 of 32 bytes (host) was written after it was freed"},
    {"CopiedOntoItself",
     [](SimKernel& kernel) {
       char text[8] = "abcdefg";
       kernel.MemCopy(text + 1, text, 4);
     },
     FindingKind::kMemory, "MemCopy of 4 bytes between ranges that overlap"},
    {"UnlockedByAnother",
     [](SimKernel& kernel) {
       IQXKernel::Mutex* mutex = kernel.CreateMutex();
       mutex->Lock();
       kernel.Spawn("thief", [mutex] { mutex->Unlock(); });
       kernel.Sleep(kMillisecond);
       mutex->Unlock();
       kernel.DestroyMutex(mutex);
     },
     FindingKind::kLockMisuse, "Unlock of mutex1, which host holds"},
    {"DestroyedWhileHeld",
     [](SimKernel& kernel) {
       IQXKernel::Mutex* mutex = kernel.CreateMutex();
       mutex->Lock();
       kernel.DestroyMutex(mutex);
     },
     FindingKind::kLockMisuse, "mutex1 is destroyed while host holds it"},
    {"EndedWhileHolding",
     [](SimKernel& kernel) {
       IQXKernel::Mutex* mutex = kernel.CreateMutex();
       kernel.Spawn("careless", [mutex] { mutex->Lock(); });
       kernel.Sleep(kMillisecond);
       kernel.DestroyMutex(mutex);
     },
     FindingKind::kLockMisuse, "the thread ended while it held mutex1"},
    {"LockedAfterDestroy",
     [](SimKernel& kernel) {
       IQXKernel::Mutex* mutex = kernel.CreateMutex();
       kernel.DestroyMutex(mutex);
       mutex->Lock();
     },
     FindingKind::kUseAfterDestroy, "Lock of mutex1, which is destroyed"},
    {"SignalledAfterDestroy",
     [](SimKernel& kernel) {
       IQXKernel::Event* event = kernel.CreateEvent(true);
       kernel.DestroyEvent(event);
       event->Signal();
     },
     FindingKind::kUseAfterDestroy, "Signal of event1, which is destroyed"},
    {"DestroyedWhileRunning",
     [](SimKernel& kernel) {
       IQXKernel::Thread* thread = kernel.CreateThread();
       thread->Start(
           "worker", [](IQXKernel::Thread*, void*) { SimDevice::Current()->kernel.Sleep(1); },
           nullptr);
       kernel.DestroyThread(thread);
     },
     FindingKind::kLockMisuse, "worker is destroyed while it runs"},
    {"ReleasedTooOften",
     [](SimKernel& kernel) {
       IQXModule* module = kernel.AcquireModule("IShell");
       kernel.ReleaseModule(module);
       kernel.ReleaseModule(module);
     },
     FindingKind::kUseAfterDestroy, "ReleaseModule of IShell, which nobody holds"},
};

class MisuseTest : public ::testing::TestWithParam<Misuse> {};

TEST_P(MisuseTest, IsFoundAndNamed) {
  SimDevice device;
  device.Run([&] { GetParam().does(device.kernel); });
  device.Finish();
  const std::vector<std::string> found = device.kernel.GetFindings().Take(GetParam().kind);
  ASSERT_GE(found.size(), 1u) << device.kernel.GetFindings().ToText();
  EXPECT_NE(found[0].find(GetParam().text), std::string::npos) << found[0];
}

INSTANTIATE_TEST_SUITE_P(Ledger, MisuseTest, ::testing::ValuesIn(kMisuses),
                         [](const auto& misuse) { return std::string(misuse.param.name); });

TEST(LedgerTest, AllowedLeaksAreCounted) {
  for (const unsigned allowed : {1u, 2u}) {
    SimDevice device;
    device.kernel.AllowLeak("events of other windows", 32, allowed);
    device.kernel.Allocate(32, nullptr, 0);
    device.kernel.Allocate(32, nullptr, 0);
    const std::string found = device.Finish();
    if (allowed == 2) {
      EXPECT_EQ(found, "");
    } else {
      EXPECT_NE(found.find("more of 'events of other windows' than allowed"), std::string::npos);
    }
  }
}

TEST(FaultTest, TheNthCallFailsOnceOrForEver) {
  for (const auto repeat : {Faults::Repeat::kOnce, Faults::Repeat::kForEver}) {
    SimDevice device;
    device.kernel.GetFaults().Fail(Fallible::kAllocate, 2, repeat);
    std::string results;
    for (int i = 0; i < 4; ++i) {
      void* block = device.kernel.Allocate(8, nullptr, 0);
      results += block == nullptr ? '0' : '1';
      if (block != nullptr) device.kernel.Free(block, nullptr, 0);
    }
    EXPECT_EQ(results, repeat == Faults::Repeat::kOnce ? "1011" : "1000");
    EXPECT_EQ(device.kernel.GetFaults().Count(Fallible::kAllocate), 4u);
    EXPECT_EQ(device.Finish(), "");
  }
}

TEST(FaultTest, AModuleFailsByName) {
  SimDevice device;
  device.kernel.GetFaults().Fail(Fallible::kAcquireModule, 1, Faults::Repeat::kOnce, "IShell");
  IQXModule* files = device.kernel.AcquireModule("IFileSystem");
  EXPECT_NE(files, nullptr);
  EXPECT_EQ(device.kernel.AcquireModule("IShell"), nullptr);
  EXPECT_EQ(device.kernel.AcquireModule("INothing"), nullptr);
  device.kernel.ReleaseModule(files);
  device.Remove("IFileSystem");
  EXPECT_EQ(device.kernel.AcquireModule("IFileSystem"), nullptr);
  EXPECT_EQ(device.Finish(), "");
}

}  // namespace
}  // namespace plexion_sim
