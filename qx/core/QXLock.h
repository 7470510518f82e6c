#ifndef QX_CORE_QXLOCK_H_
#define QX_CORE_QXLOCK_H_

#include "qx/core/IQXKernel.h"

/// Holds a kernel mutex from construction to the end of the scope. A null mutex (the kernel had
/// none to give) is not locked: the work goes on unguarded rather than not at all.
class QXLock {
 public:
  explicit QXLock(IQXKernel::Mutex* mutex) : mutex_(mutex) {
    if (mutex_ != nullptr) mutex_->Lock();
  }
  ~QXLock() {
    if (mutex_ != nullptr) mutex_->Unlock();
  }
  QXLock(const QXLock&) = delete;
  QXLock& operator=(const QXLock&) = delete;

 private:
  IQXKernel::Mutex* const mutex_;
};

#endif  // QX_CORE_QXLOCK_H_
