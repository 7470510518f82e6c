#include <atomic>
#include <climits>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "host/kernel/HostThread.h"
#include "host/kernel/Synchronisation.h"
#include "qx/core/QXThreadSafety.h"
#include "tests/host/kernel/KernelFixture.h"

namespace plexion_host {
namespace {

constexpr IQXKernel::Time kMillisecond = 1000000;

class PrimitivesTest : public KernelFixture {
 protected:
  /// Runs `body` on a kernel thread and waits for it.
  template <typename Body>
  void OnThread(Body body) {
    IQXKernel::Thread* const thread = kernel_->CreateThread();
    ASSERT_TRUE(thread->Start(
        "other", [](IQXKernel::Thread*, void* argument) { (*static_cast<Body*>(argument))(); },
        &body));
    EXPECT_TRUE(thread->Join(IQXKernel::kInfinite));
    kernel_->DestroyThread(thread);
  }
};

TEST_F(PrimitivesTest, MutexIsRecursiveAndExclusive) {
  IQXKernel::Mutex* const mutex = kernel_->CreateMutex();
  int counter = 0;
  // The compiler's check takes every lock for one that its holder may not take again.
  const auto count = [&]() QX_UNCHECKED_LOCKS {
    for (int i = 0; i < 20000; ++i) {
      mutex->Lock();
      mutex->Lock();
      ++counter;
      mutex->Unlock();
      mutex->Unlock();
    }
  };
  std::thread other(count);
  count();
  other.join();
  EXPECT_EQ(40000, counter);
  kernel_->DestroyMutex(mutex);
}

TEST_F(PrimitivesTest, ManualEventStaysSignalledUntilReset) {
  IQXKernel::Event* const event = kernel_->CreateEvent(true);
  EXPECT_FALSE(event->Wait(0));
  event->Signal();
  EXPECT_TRUE(event->Wait(0));
  EXPECT_TRUE(event->Wait(IQXKernel::kInfinite));
  event->Reset();
  const IQXKernel::Time before = kernel_->GetTime();
  EXPECT_FALSE(event->Wait(2 * kMillisecond));
  EXPECT_GE(kernel_->GetTime() - before, 2 * kMillisecond);
  EXPECT_FALSE(event->Wait(-5)) << "a negative time-out is none";
  kernel_->DestroyEvent(event);
  kernel_->DestroyEvent(nullptr);
}

TEST_F(PrimitivesTest, AutomaticEventWakesOneWaiterForEachSignal) {
  IQXKernel::Event* const event = kernel_->CreateEvent(false);
  std::atomic<int> woken{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&] {
      if (event->Wait(IQXKernel::kInfinite)) ++woken;
    });
  }
  for (int i = 1; i <= 3; ++i) {
    event->Signal();
    while (woken.load() < i) std::this_thread::yield();
    EXPECT_EQ(i, woken.load());
  }
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_FALSE(event->Wait(0)) << "the last waiter took the signal with it";
  kernel_->DestroyEvent(event);
}

TEST_F(PrimitivesTest, EventMayBeDestroyedAsSoonAsItsWaitReturns) {
  for (int i = 0; i < 500; ++i) {
    IQXKernel::Event* const event = kernel_->CreateEvent(true);
    std::thread signaller([event] { event->Signal(); });
    EXPECT_TRUE(event->Wait(IQXKernel::kInfinite));
    kernel_->DestroyEvent(event);
    signaller.join();
  }
}

TEST_F(PrimitivesTest, WaitsBeyondTheClocksRangeDoNotWrapAround) {
  EXPECT_EQ(IQXKernel::kInfinite, DeadlineAfter(IQXKernel::kInfinite));
  EXPECT_EQ(IQXKernel::kInfinite, DeadlineAfter(IQXKernel::kInfinite - 1));
  IQXKernel::Event* const event = kernel_->CreateEvent(true);
  std::thread signaller([event] { event->Signal(); });
  EXPECT_TRUE(event->Wait(IQXKernel::kInfinite - 1));
  signaller.join();
  kernel_->DestroyEvent(event);
}

TEST_F(PrimitivesTest, ThreadBearsItsNameAndCanBeStartedAgain) {
  struct Seen {
    std::string name;
    int runs = 0;
  } seen;
  const auto procedure = [](IQXKernel::Thread*, void* argument) {
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof(name));
    auto* const record = static_cast<Seen*>(argument);
    record->name = name;
    ++record->runs;
  };
  IQXKernel::Thread* const thread = kernel_->CreateThread();
  EXPECT_TRUE(thread->Join(0)) << "never started counts as ended";
  ASSERT_TRUE(thread->Start("PlexionKeyEventSimulator", procedure, &seen));
  EXPECT_FALSE(thread->Start("again", procedure, &seen)) << "not joined yet";
  ASSERT_TRUE(thread->Join(IQXKernel::kInfinite));
  EXPECT_EQ("PlexionKeyEvent", seen.name);
  ASSERT_TRUE(thread->Start("again", procedure, &seen));
  ASSERT_TRUE(thread->Join(IQXKernel::kInfinite));
  EXPECT_EQ("again", seen.name);
  EXPECT_EQ(2, seen.runs);
  kernel_->DestroyThread(thread);
}

TEST_F(PrimitivesTest, JoinGivesUpAfterItsTimeOut) {
  HostEvent mayEnd(true);
  IQXKernel::Thread* const thread = kernel_->CreateThread();
  ASSERT_TRUE(thread->Start(
      "waits",
      [](IQXKernel::Thread* self, void* argument) {
        EXPECT_FALSE(self->Join(IQXKernel::kInfinite)) << "a thread cannot wait for itself";
        static_cast<HostEvent*>(argument)->Wait(IQXKernel::kInfinite);
      },
      &mayEnd));
  EXPECT_FALSE(thread->Join(kMillisecond));
  mayEnd.Signal();
  EXPECT_TRUE(thread->Join(IQXKernel::kInfinite));
  kernel_->DestroyThread(thread);
}

TEST_F(PrimitivesTest, DestroyingAThreadWaitsForIt) {
  std::atomic<bool> ended{false};
  IQXKernel::Thread* const thread = kernel_->CreateThread();
  ASSERT_TRUE(thread->Start(
      "ends",
      [](IQXKernel::Thread*, void* argument) {
        std::this_thread::yield();
        *static_cast<std::atomic<bool>*>(argument) = true;
      },
      &ended));
  kernel_->DestroyThread(thread);
  EXPECT_TRUE(ended);
}

TEST_F(PrimitivesTest, SleepsAtLeastAsLongAsAsked) {
  const IQXKernel::Time before = kernel_->GetTime();
  kernel_->Sleep(3 * kMillisecond);
  EXPECT_GE(kernel_->GetTime() - before, 3 * kMillisecond);
  kernel_->Sleep(-1);
}

TEST_F(PrimitivesTest, AccountsForLiveMemory) {
  ASSERT_EQ(0, kernel_->GetLiveBytes());
  void* const large = kernel_->Allocate(100000, __FILE__, __LINE__);
  void* const small = kernel_->Allocate(1, nullptr, 0);
  ASSERT_NE(nullptr, large);
  EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(small) % 8);
  EXPECT_GE(kernel_->GetLiveBytes(), 100001);
  OnThread([&] { kernel_->Free(large, nullptr, 0); });
  EXPECT_LT(kernel_->GetLiveBytes(), 100);
  kernel_->Free(small, nullptr, 0);
  kernel_->Free(nullptr, nullptr, 0);
  EXPECT_EQ(0, kernel_->GetLiveBytes());
}

TEST_F(PrimitivesTest, ShowsTheCommandLineOfTheProcess) {
  ASSERT_EQ(2, kernel_->GetArgc());
  EXPECT_STREQ("/usr/bin/plexion", kernel_->GetArgv()[0]);
  EXPECT_STREQ("--pause", kernel_->GetArgv()[1]);
  EXPECT_EQ(nullptr, kernel_->GetArgv()[2]);
  EXPECT_EQ(getpid(), kernel_->GetProcessId());
}

TEST_F(PrimitivesTest, HandlesTextAsTheCLibraryDoes) {
  const unsigned short units[] = {'a', 0xD83D, 0xDE00, 0};
  EXPECT_EQ(3UL, kernel_->StrLen16(units));
  EXPECT_EQ(5UL, kernel_->StrLen("abcde"));
  EXPECT_EQ(0, kernel_->StrCmp("a", "a"));
  EXPECT_LT(kernel_->StrCmp("a", "b"), 0);
  char buffer[8] = "";
  kernel_->StrCpy(buffer, "abc");
  EXPECT_STREQ("abc", buffer);
  kernel_->FormatString(buffer, sizeof(buffer), "%s-%ld", "id", 1234567L);
  EXPECT_STREQ("id-1234", buffer) << "cut to the buffer and terminated";
  char* end = nullptr;
  EXPECT_EQ(-12, kernel_->StrToL("-12,7", &end, 10));
  EXPECT_STREQ(",7", end);
  EXPECT_EQ(ULONG_MAX, kernel_->StrToUL("99999999999999999999999", &end, 10));
  const char* const path = "/a/b.mvx";
  EXPECT_EQ(path + 4, kernel_->StrChr(path, '.'));
  EXPECT_EQ(path + 2, kernel_->StrRChr(path, '/'));
  EXPECT_EQ(nullptr, kernel_->StrChr(path, 'z'));
  char overlap[] = "abcdef";
  kernel_->MemMove(overlap + 2, overlap, 4);
  EXPECT_STREQ("ababcd", overlap);
  kernel_->MemSet(overlap, 'x', 2);
  kernel_->MemCopy(overlap + 2, "yz", 2);
  EXPECT_STREQ("xxyzcd", overlap);
}

}  // namespace
}  // namespace plexion_host
