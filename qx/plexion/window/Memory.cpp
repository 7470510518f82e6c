// The memory watchdog as the window shows it. The pointer never changes after Configure, so nothing
// here takes a lock of the window: a player may ask from inside of any of its operations.

#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/parts/MemoryWatchdog.h"

namespace qx {
namespace plexion {

MemoryWatchdog* StageWindowImpl::GetMemoryWatchdog() { return memoryWatchdog; }

void StageWindowImpl::GetMemoryInfo(unsigned long long& usedBytes, unsigned long long& limitBytes,
                                    unsigned long long& graphicsBytes) {
  usedBytes = 0;
  limitBytes = 0;
  graphicsBytes = 0;
  if (memoryWatchdog != nullptr) {
    usedBytes = memoryWatchdog->GetBytesUsed();
    graphicsBytes = memoryWatchdog->GetGraphicsMemoryUsed();
  }
  limitBytes = parameters.memoryLimit;
}

void StageWindowImpl::IncrementGraphicsMemoryUsedCount(unsigned long long bytes) {
  if (memoryWatchdog != nullptr) memoryWatchdog->IncrementGraphicsMemoryUsed(bytes);
}

void StageWindowImpl::DecrementGraphicsMemoryUsedCount(unsigned long long bytes) {
  if (memoryWatchdog != nullptr) memoryWatchdog->DecrementGraphicsMemoryUsed(bytes);
}

}  // namespace plexion
}  // namespace qx
