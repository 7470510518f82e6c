// Threads, locks, and what several modules share.

#include <gtest/gtest.h>

#include <csignal>
#include <vector>

#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/base/SharedModule.h"

namespace plexion_host {
namespace {

class Turns {
 public:
  void Give() {
    const MutexLock lock(mutex_);
    ++given_;
    changed_.NotifyAll();
  }
  int Await(int turns) {
    MutexLock lock(mutex_);
    changed_.Wait(lock, [&]() REQUIRES(mutex_) { return given_ >= turns; });
    return given_;
  }

 private:
  Mutex mutex_;
  Condition changed_;
  int given_ GUARDED_BY(mutex_) = 0;
};

TEST(Mutex, OrdersWhatThreadsShare) {
  constexpr int kEach = 200;
  Turns turns;
  {
    std::vector<NamedThread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back("Turns", [&] {
        for (int turn = 0; turn < kEach; ++turn) turns.Give();
      });
    }
    EXPECT_EQ(turns.Await(4 * kEach), 4 * kEach);
  }
}

TEST(NamedThread, IsNamedAndLeavesTheEndOfTheProcessToOthers) {
  std::string name(16, '\0');
  sigset_t blocked;
  NamedThread thread("PlexionWithALongName", [&] {
    pthread_getname_np(pthread_self(), name.data(), name.size());
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  });
  thread.Join();
  EXPECT_STREQ(name.c_str(), "PlexionWithALon");
  EXPECT_TRUE(sigismember(&blocked, SIGTERM));
  EXPECT_FALSE(sigismember(&blocked, SIGSEGV));
  sigset_t own;
  pthread_sigmask(SIG_SETMASK, nullptr, &own);
  EXPECT_FALSE(sigismember(&own, SIGTERM)) << "whoever starts one keeps its own";
}

struct Counted {
  Counted() { ++alive; }
  ~Counted() { --alive; }
  static inline int alive = 0;
};

TEST(SharedModule, IsOneObjectFromTheFirstHolderToTheLast) {
  auto first = std::make_unique<SharedModule<Counted>>();
  auto second = std::make_unique<SharedModule<Counted>>();
  EXPECT_EQ(&first->Get(), &second->Get());
  first.reset();
  EXPECT_EQ(Counted::alive, 1);
  second.reset();
  EXPECT_EQ(Counted::alive, 0);
  EXPECT_DEATH(SharedModule<Counted>::LetGo(), "as often as it was held");
}

}  // namespace
}  // namespace plexion_host
