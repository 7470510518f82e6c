// A kernel for suites that need nothing more of a host.

#ifndef TESTS_CORE_RECORDINGKERNEL_H_
#define TESTS_CORE_RECORDINGKERNEL_H_

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "qx/core/IQXKernel.h"

namespace tests {

/// A kernel on the process heap for tests of single classes: it keeps a ledger of its blocks and
/// can refuse one. Nothing of it blocks; it has no modules and no events. Time is virtual and
/// passes in Sleep only. A thread that is started does not run by itself: the test calls its
/// procedure.
class RecordingKernel : public IQXKernel {
 public:
  struct Block {
    unsigned long bytes;
    std::string file;
    int line;
  };

  /// A thread that was created; what it was asked to do, for the test to do it.
  class RecordedThread final : public Thread {
   public:
    explicit RecordedThread(RecordingKernel* kernel) : kernel_(kernel) {}
    bool Start(const char* name, Procedure body, void* data) override;
    bool Join(const Time& timeout) override;

   private:
    RecordingKernel* const kernel_;
    std::thread thread_;
  };

  /// The one kernel of this process, handed to the code under test at the first call.
  static RecordingKernel& Get();

  /// Forgets calls and refusals. Live blocks stay in the ledger.
  void Restart();
  /// The next `successes` allocations succeed, the one after them is refused.
  void RefuseAllocationAfter(unsigned successes) { refuseIn_ = static_cast<int>(successes); }

  std::map<void*, Block> live;
  unsigned allocations = 0;
  unsigned frees = 0;
  void* lastAllocated = nullptr;
  void* lastFreed = nullptr;
  Block lastFree{};
  std::vector<std::string> printed;
  std::vector<const char*> arguments{"host"};
  unsigned mutexes = 0;  ///< live ones
  unsigned threads = 0;

  std::atomic<Time> now{0};
  std::function<void()> afterSleep;  ///< called by Sleep when the time has passed
  bool threadsStart = true;          ///< what Start answers
  bool threadsRun = false;
  std::string threadLog;  ///< "start NAME;", "join;", "destroy;" in order of the calls
  Thread::Procedure procedure = nullptr;  ///< of the last start
  void* argument = nullptr;
  std::function<void()> onJoin;

  IQXModule* AcquireModule(const char* name) override;
  void ReleaseModule(IQXModule* module) override;
  Thread* CreateThread() override;
  void DestroyThread(Thread* thread) override;
  void Sleep(const Time& duration) override;
  Mutex* CreateMutex() override;
  void DestroyMutex(Mutex* mutex) override;
  Event* CreateEvent(bool manualReset) override;
  void DestroyEvent(Event* event) override;
  void* Allocate(unsigned long bytes, const char* file, int line) override;
  void Free(void* block, const char* file, int line) override;
  Time GetTime() override;
  int32_t GetProcessId() override;
  int GetArgc() override;
  const char** GetArgv() override;
  bool GetBinDirectory(QXString& directory, const char* moduleName) override;
  void MemSet(void* destination, int value, unsigned long bytes) override;
  void MemCopy(void* destination, const void* source, unsigned long bytes) override;
  void MemMove(void* destination, const void* source, unsigned long bytes) override;
  unsigned long StrLen16(const unsigned short* text) override;
  unsigned long StrLen(const char* text) override;
  int StrCmp(const char* left, const char* right) override;
  void StrCpy(char* destination, const char* source) override;
  void FormatString(char* buffer, unsigned long size, const char* format, ...) override;
  long StrToL(const char* text, char** end, int base) override;
  unsigned long StrToUL(const char* text, char** end, int base) override;
  const char* StrChr(const char* text, int character) override;
  const char* StrRChr(const char* text, int character) override;
  void Printf(const char* format, ...) override;

 private:
  std::mutex ledgerLock_;
  int refuseIn_ = -1;
};

}  // namespace tests

#endif  // TESTS_CORE_RECORDINGKERNEL_H_
