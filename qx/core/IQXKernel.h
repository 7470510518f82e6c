#ifndef QX_CORE_IQXKERNEL_H_
#define QX_CORE_IQXKERNEL_H_

#include <stdint.h>

#include "qx/core/QXThreadSafety.h"

class IQXModule;
class QXString;

#if defined(__GNUC__)
#define QX_EXPORT __attribute__((visibility("default")))
#else
#define QX_EXPORT
#endif

/// The host kernel: everything that a module needs from outside itself.
///
/// The host implements it and hands it to each module through IQXModule_QXModule_PutKernel before
/// anything else; it must outlive every module. The order of the operations is the order of the
/// virtual slots and part of the binary contract; an implementation may add operations behind them.
///
/// Thread   every operation may be called from any thread at any time.
/// Errors   a null pointer or false; nothing is thrown.
class IQXKernel {
 public:
  /// Nanoseconds, signed. A point in time counts from an origin that the kernel chooses and never
  /// goes back; a duration of milliseconds is multiplied by 1,000,000.
  using Time = int64_t;

  /// As a time-out: wait without limit.
  static constexpr Time kInfinite = 0x7FFFFFFFFFFFFFFFLL;

  /// A recursive mutex: the thread that holds it may lock it again and unlocks it as often.
  class QX_LOCKABLE Mutex {
   public:
    virtual void Lock() QX_ACQUIRE() = 0;
    virtual void Unlock() QX_RELEASE() = 0;

   protected:
    ~Mutex() {}
  };

  /// A flag that threads wait for. Signal wakes every waiter; the flag then stays set until Reset
  /// (manual reset, see CreateEvent).
  class Event {
   public:
    virtual void Signal() = 0;
    /// Returns  true once the event is signalled, false when `timeout` passed first.
    virtual bool Wait(const Time& timeout) = 0;
    virtual void Reset() = 0;

   protected:
    ~Event() {}
  };

  /// A thread that runs one procedure at a time and can be started again after it was joined.
  class Thread {
   public:
    using Procedure = void (*)(Thread* thread, void* argument);

    /// Starts `procedure` on a thread called `name` (copied).
    /// Returns  false when no thread could be made; the procedure then never runs.
    virtual bool Start(const char* name, Procedure procedure, void* argument) = 0;
    /// Waits for the procedure to return. A thread that was never started counts as ended.
    /// Returns  false when `timeout` passed first.
    virtual bool Join(const Time& timeout) = 0;

   protected:
    ~Thread() {}
  };

  /// The kernel that the host handed to this module, null before that. Constant afterwards.
  QX_EXPORT static IQXKernel* GetKernel();

  // Modules. An acquired module stays loaded until as many ReleaseModule calls; null is accepted by
  // ReleaseModule and does nothing.
  virtual IQXModule* AcquireModule(const char* name) = 0;
  virtual void ReleaseModule(IQXModule* module) = 0;

  // Threads, time and synchronisation. What a Create operation returns is owned by the caller and
  // goes back through the Destroy operation beside it; DestroyEvent accepts null.
  virtual Thread* CreateThread() = 0;
  virtual void DestroyThread(Thread* thread) = 0;
  virtual void Sleep(const Time& duration) = 0;
  virtual Mutex* CreateMutex() = 0;
  virtual void DestroyMutex(Mutex* mutex) = 0;
  /// `manualReset` true (the only value that the service passes): stays signalled until Reset.
  /// Whether a new event is signalled is the kernel's choice; callers Reset it first.
  virtual Event* CreateEvent(bool manualReset) = 0;
  virtual void DestroyEvent(Event* event) = 0;

  // Memory. `file` (may be null) and `line` say who asked; blocks are aligned to 8 bytes at least.
  virtual void* Allocate(unsigned long bytes, const char* file, int line) = 0;
  virtual void Free(void* block, const char* file, int line) = 0;

  virtual Time GetTime() = 0;
  virtual int32_t GetProcessId() = 0;

  // The host process's own command line; element 0 names the executable. Both stay unchanged.
  virtual int GetArgc() = 0;
  virtual const char** GetArgv() = 0;

  /// Fills `directory` with the folder of the executable or, when `moduleName` is not null, of that
  /// module.
  /// Returns  false when it is not known; `directory` is then unchanged.
  virtual bool GetBinDirectory(QXString& directory, const char* moduleName) = 0;

  // Byte and text operations with the meaning of their C namesakes. Sizes are bytes, lengths are
  // units without the terminator.
  virtual void MemSet(void* destination, int value, unsigned long bytes) = 0;
  virtual void MemCopy(void* destination, const void* source, unsigned long bytes) = 0;
  virtual void MemMove(void* destination, const void* source, unsigned long bytes) = 0;
  virtual unsigned long StrLen16(const unsigned short* text) = 0;
  virtual unsigned long StrLen(const char* text) = 0;
  virtual int StrCmp(const char* left, const char* right) = 0;
  virtual void StrCpy(char* destination, const char* source) = 0;
  /// printf conventions; writes at most `size` bytes, the terminator included.
  virtual void FormatString(char* buffer, unsigned long size, const char* format, ...) = 0;
  virtual long StrToL(const char* text, char** end, int base) = 0;
  virtual unsigned long StrToUL(const char* text, char** end, int base) = 0;
  virtual const char* StrChr(const char* text, int character) = 0;
  virtual const char* StrRChr(const char* text, int character) = 0;

  /// Writes to the host's console, printf conventions. Lines of two threads are not mixed.
  virtual void Printf(const char* format, ...) = 0;

 protected:
  ~IQXKernel() {}
};

extern "C" {
/// Stores the kernel for this module. The first kernel stays for the life of the process: later
/// calls, null included, change nothing.
QX_EXPORT void IQXModule_QXModule_PutKernel(IQXKernel* kernel);
}

#endif  // QX_CORE_IQXKERNEL_H_
