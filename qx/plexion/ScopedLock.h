#ifndef QX_PLEXION_SCOPEDLOCK_H_
#define QX_PLEXION_SCOPEDLOCK_H_

#include "qx/core/IQXKernel.h"

namespace qx {
namespace plexion {

/// Holds a kernel mutex for the length of a block.
class ScopedLock {
 public:
  explicit ScopedLock(IQXKernel::Mutex* mutex) : mutex_(mutex) { mutex_->Lock(); }
  ScopedLock(const ScopedLock&) = delete;
  ScopedLock& operator=(const ScopedLock&) = delete;
  ~ScopedLock() { mutex_->Unlock(); }

 private:
  IQXKernel::Mutex* const mutex_;
};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_SCOPEDLOCK_H_
