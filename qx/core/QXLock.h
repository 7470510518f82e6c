#ifndef QX_CORE_QXLOCK_H_
#define QX_CORE_QXLOCK_H_

#include "qx/core/IQXKernel.h"

/// Holds a kernel mutex from construction to the end of the scope. A null mutex (the kernel had
/// none to give) is not locked: the work goes on unguarded rather than not at all.
class QX_SCOPED_LOCK QXLock {
 public:
  // The compiler takes the lock as held either way: a mutex that there is not guards nothing.
  explicit QXLock(IQXKernel::Mutex* mutex) QX_ACQUIRE(mutex) QX_UNCHECKED_LOCKS : mutex_(mutex) {
    if (mutex_ != nullptr) mutex_->Lock();
  }
  ~QXLock() QX_RELEASE() QX_UNCHECKED_LOCKS {
    if (mutex_ != nullptr) mutex_->Unlock();
  }
  QXLock(const QXLock&) = delete;
  QXLock& operator=(const QXLock&) = delete;

 private:
  IQXKernel::Mutex* const mutex_;
};

#endif  // QX_CORE_QXLOCK_H_
