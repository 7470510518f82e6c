#ifndef QX_PLEXION_PARTS_MEMORYWATCHDOG_H_
#define QX_PLEXION_PARTS_MEMORYWATCHDOG_H_

#include <stdint.h>

#include "qx/core/IQXKernel.h"
#include "qx/plexion/MemoryWatchdog.h"

namespace qx {
namespace plexion {

class StageWindow;

/// A stage window's memory watchdog. Made by the window when it is configured, with QX_NEW_DELETE,
/// and destroyed with it; blocks that are still live then stay the kernel's.
///
/// Each block is preceded by 8 bytes: its size as asked for, and a word that is not written.
///
/// Thread   any; takes its own mutex and no other. The window is terminated with it held, so
///          Terminate must not call back into the watchdog of the same window on another thread and
///          wait for it.
class StageWindowMemoryWatchdog : public MemoryWatchdog {
 public:
  /// `limitBytes` 0: no limit; only its low 32 bits count.
  StageWindowMemoryWatchdog(StageWindow* window, unsigned long limitBytes);
  StageWindowMemoryWatchdog(const StageWindowMemoryWatchdog&) = delete;
  StageWindowMemoryWatchdog& operator=(const StageWindowMemoryWatchdog&) = delete;
  ~StageWindowMemoryWatchdog() override;

  void* Alloc(unsigned long size, const char* file, unsigned long line) override;
  void Free(void* p, const char* file, unsigned long line) override;
  unsigned long GetBytesUsed() override;
  unsigned long GetBytesAvailable() override;

  // The window's count of graphics memory, kept here so that one mutex covers all its memory. The
  // count wraps above, and a decrement larger than the count leaves it as it is.
  uint64_t GetGraphicsMemoryUsed();
  void IncrementGraphicsMemoryUsed(uint64_t bytes);
  void DecrementGraphicsMemoryUsed(uint64_t bytes);

  // Fields are public for inspection only.
  StageWindow* window;  ///< not owned
  uint32_t limit;       ///< bytes; 0: none
  uint32_t bytesUsed QX_GUARDED_BY(mutex);
  uint32_t peakBytesUsed QX_GUARDED_BY(mutex);
  IQXKernel* kernel;
  IQXKernel::Mutex* mutex;
  uint32_t allocationCount QX_GUARDED_BY(mutex);  ///< Alloc calls that handed out a block
  uint32_t freeCount QX_GUARDED_BY(mutex);
  uint64_t graphicsMemoryUsed QX_GUARDED_BY(mutex);
};

static_assert(alignof(StageWindowMemoryWatchdog) <= 8, "tracked blocks are aligned to 8 bytes");

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_PARTS_MEMORYWATCHDOG_H_
