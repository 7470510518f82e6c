#ifndef QX_PLEXION_MEMORYWATCHDOG_H_
#define QX_PLEXION_MEMORYWATCHDOG_H_

namespace qx {
namespace plexion {

/// The allocator that a stage window gives its player instance. It counts the bytes in use against
/// the window's limit; an allocation that would pass the limit is refused and ends the window with
/// kErrorNotEnoughMemory.
///
/// Owned by the window, valid as long as the window. The player calls it, from any of its threads.
class MemoryWatchdog {
 public:
  virtual ~MemoryWatchdog() {}

  /// A block of `size` bytes, aligned to 8, or null. `file` (may be null) and `line` go to the
  /// kernel.
  virtual void* Alloc(unsigned long size, const char* file, unsigned long line) = 0;
  /// `p` comes from Alloc of this watchdog and is not null.
  virtual void Free(void* p, const char* file, unsigned long line) = 0;
  /// Bytes asked for by the live blocks.
  virtual unsigned long GetBytesUsed() = 0;
  /// 4294967295 without a limit.
  virtual unsigned long GetBytesAvailable() = 0;
};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_MEMORYWATCHDOG_H_
