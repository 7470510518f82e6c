// Mutexes, locks and a condition whose use the compiler checks: which lock guards what is written as
// an attribute, and clang refuses an access without it. For g++ the attributes are nothing.

#ifndef HOST_BASE_MUTEX_H_
#define HOST_BASE_MUTEX_H_

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define PLEXION_LOCK_ATTRIBUTE(x) __attribute__((x))
#else
#define PLEXION_LOCK_ATTRIBUTE(x)
#endif

// The usual names; another header of this project may have brought the same ones already.
#ifndef GUARDED_BY
/// Behind a member: read and written only with that mutex held.
#define GUARDED_BY(x) PLEXION_LOCK_ATTRIBUTE(guarded_by(x))
#endif
#ifndef PT_GUARDED_BY
/// The same of what a pointer points to.
#define PT_GUARDED_BY(x) PLEXION_LOCK_ATTRIBUTE(pt_guarded_by(x))
#endif
#ifndef REQUIRES
/// Behind a function, or a lambda's parameters: the caller holds the mutex.
#define REQUIRES(...) PLEXION_LOCK_ATTRIBUTE(exclusive_locks_required(__VA_ARGS__))
#endif
#ifndef EXCLUDES
/// Behind a function: the caller does not hold the mutex, since the function takes it.
#define EXCLUDES(...) PLEXION_LOCK_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#endif
#ifndef ACQUIRE
#define ACQUIRE(...) PLEXION_LOCK_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#endif
#ifndef RELEASE
#define RELEASE(...) PLEXION_LOCK_ATTRIBUTE(release_capability(__VA_ARGS__))
#endif
#ifndef RETURN_CAPABILITY
/// Behind a function that answers a reference to a mutex: which one.
#define RETURN_CAPABILITY(x) PLEXION_LOCK_ATTRIBUTE(lock_returned(x))
#endif
#ifndef NO_THREAD_SAFETY_ANALYSIS
/// For what the compiler cannot follow; the reason stands beside it.
#define NO_THREAD_SAFETY_ANALYSIS PLEXION_LOCK_ATTRIBUTE(no_thread_safety_analysis)
#endif

namespace plexion_host {

/// A mutex that its holder may not take again.
class PLEXION_LOCK_ATTRIBUTE(capability("mutex")) Mutex {
 public:
  constexpr Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;
  void Lock() ACQUIRE() { mutex_.lock(); }
  void Unlock() RELEASE() { mutex_.unlock(); }
  /// Tells the compiler, and nobody else, that it is held: for a callback that runs under it.
  void AssertHeld() PLEXION_LOCK_ATTRIBUTE(assert_capability(this)) {}

 private:
  friend class MutexLock;
  std::mutex mutex_;
};

/// A mutex that its holder may take again, and gives back as often. Only for what is called back
/// under it.
class PLEXION_LOCK_ATTRIBUTE(capability("mutex")) RecursiveMutex {
 public:
  RecursiveMutex() = default;
  RecursiveMutex(const RecursiveMutex&) = delete;
  RecursiveMutex& operator=(const RecursiveMutex&) = delete;
  void Lock() ACQUIRE() { mutex_.lock(); }
  void Unlock() RELEASE() { mutex_.unlock(); }

 private:
  std::recursive_mutex mutex_;
};

/// Holds a mutex while it lives. May let go of it in between.
class PLEXION_LOCK_ATTRIBUTE(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : lock_(mutex.mutex_) {}
  ~MutexLock() RELEASE() {}
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  void Unlock() RELEASE() { lock_.unlock(); }
  void Lock() ACQUIRE() { lock_.lock(); }

 private:
  friend class Condition;
  std::unique_lock<std::mutex> lock_;
};

class PLEXION_LOCK_ATTRIBUTE(scoped_lockable) RecursiveMutexLock {
 public:
  explicit RecursiveMutexLock(RecursiveMutex& mutex) ACQUIRE(mutex) : mutex_(mutex) {
    mutex_.Lock();
  }
  ~RecursiveMutexLock() RELEASE() { mutex_.Unlock(); }
  RecursiveMutexLock(const RecursiveMutexLock&) = delete;
  RecursiveMutexLock& operator=(const RecursiveMutexLock&) = delete;

 private:
  RecursiveMutex& mutex_;
};

/// Something that changes under a mutex, to wait for. The lock passed must be held; it is given up
/// while waiting and held again afterwards. A predicate is evaluated under the lock; one that reads
/// guarded members says so: `[this]() REQUIRES(mutex_) { return ready_; }`.
class Condition {
 public:
  void NotifyOne() { condition_.notify_one(); }
  void NotifyAll() { condition_.notify_all(); }

  /// May return without a reason: call it in a loop.
  void Wait(MutexLock& lock) { condition_.wait(lock.lock_); }
  // The lock that a predicate requires is the one passed, which the compiler cannot know.
  template <typename Predicate>
  void Wait(MutexLock& lock, Predicate&& predicate) NO_THREAD_SAFETY_ANALYSIS {
    while (!predicate()) condition_.wait(lock.lock_);
  }
  /// The same, and at `deadline` at the latest.
  template <typename Deadline>
  void WaitOnceUntil(MutexLock& lock, const Deadline& deadline) {
    condition_.wait_until(lock.lock_, deadline);
  }
  /// Returns  what `predicate` says in the end: false when `deadline` came first.
  template <typename Deadline, typename Predicate>
  bool WaitUntil(MutexLock& lock, const Deadline& deadline,
                 Predicate&& predicate) NO_THREAD_SAFETY_ANALYSIS {
    return condition_.wait_until(lock.lock_, deadline, predicate);
  }
  template <typename Duration, typename Predicate>
  bool WaitFor(MutexLock& lock, const Duration& duration,
               Predicate&& predicate) NO_THREAD_SAFETY_ANALYSIS {
    return condition_.wait_for(lock.lock_, duration, predicate);
  }

 private:
  std::condition_variable condition_;
};

}  // namespace plexion_host

#endif  // HOST_BASE_MUTEX_H_
