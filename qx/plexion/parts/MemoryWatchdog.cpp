// Counts what one window's player allocates, and ends the window that takes too much.

#include "qx/plexion/parts/MemoryWatchdog.h"

#include "qx/core/Check.h"
#include "qx/core/QXLock.h"
#include "qx/plexion/StageWindow.h"

namespace qx {
namespace plexion {

namespace {

constexpr unsigned long kHeaderBytes = 8;

}  // namespace

StageWindowMemoryWatchdog::StageWindowMemoryWatchdog(StageWindow* stageWindow,
                                                     unsigned long limitBytes)
    : window(stageWindow),
      limit(static_cast<uint32_t>(limitBytes)),
      bytesUsed(0),
      peakBytesUsed(0),
      kernel(IQXKernel::GetKernel()),
      mutex(kernel->CreateMutex()),
      allocationCount(0),
      freeCount(0),
      graphicsMemoryUsed(0) {
  QX_CHECK(window != nullptr, "a window to end when the limit is passed");
}

StageWindowMemoryWatchdog::~StageWindowMemoryWatchdog() {
  if (mutex != nullptr) kernel->DestroyMutex(mutex);
}

void* StageWindowMemoryWatchdog::Alloc(unsigned long size, const char* file, unsigned long line) {
  QXLock lock(mutex);
  QX_CHECK(limit == 0 || bytesUsed <= limit, "no more in use than the limit");
  // Compared before it is cut to the counters' 32 bits, in which 4 GiB are nothing.
  if (limit != 0 && size > limit - bytesUsed) {
    kernel->Printf("YELLOW ALERT: StageWindow exceeded memlimit of %d bytes\n", limit);
    window->Terminate(kErrorNotEnoughMemory);
    return nullptr;
  }
  if (size > ~0UL - kHeaderBytes) return nullptr;
  char* block =
      static_cast<char*>(kernel->Allocate(size + kHeaderBytes, file, static_cast<int>(line)));
  if (block == nullptr) return nullptr;
  // Wrapping: without a limit, adding and subtracting stay in step however much is in use.
  const uint32_t total = bytesUsed + static_cast<uint32_t>(size);
  *reinterpret_cast<uint32_t*>(block) = static_cast<uint32_t>(size);
  bytesUsed = total;
  if (bytesUsed > peakBytesUsed) peakBytesUsed = bytesUsed;
  ++allocationCount;
  return block + kHeaderBytes;
}

void StageWindowMemoryWatchdog::Free(void* p, const char* file, unsigned long line) {
  QX_CHECK(p != nullptr, "a block: null is not freed");
  QXLock lock(mutex);
  char* block = static_cast<char*>(p) - kHeaderBytes;
  const uint32_t size = *reinterpret_cast<const uint32_t*>(block);
  QX_CHECK(limit == 0 || size <= bytesUsed, "a block that this watchdog handed out");
  kernel->Free(block, file, static_cast<int>(line));
  bytesUsed -= size;
  ++freeCount;
}

unsigned long StageWindowMemoryWatchdog::GetBytesUsed() {
  QXLock lock(mutex);
  return bytesUsed;
}

unsigned long StageWindowMemoryWatchdog::GetBytesAvailable() {
  QXLock lock(mutex);
  return limit == 0 ? UINT32_MAX : limit - bytesUsed;
}

uint64_t StageWindowMemoryWatchdog::GetGraphicsMemoryUsed() {
  QXLock lock(mutex);
  return graphicsMemoryUsed;
}

void StageWindowMemoryWatchdog::IncrementGraphicsMemoryUsed(uint64_t bytes) {
  QXLock lock(mutex);
  graphicsMemoryUsed += bytes;
}

void StageWindowMemoryWatchdog::DecrementGraphicsMemoryUsed(uint64_t bytes) {
  QXLock lock(mutex);
  if (graphicsMemoryUsed >= bytes) graphicsMemoryUsed -= bytes;
}

}  // namespace plexion
}  // namespace qx
