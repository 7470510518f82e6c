// The kernel without an operating system.

#ifndef SIM_KERNEL_SIMKERNEL_H_
#define SIM_KERNEL_SIMKERNEL_H_

#include <cstdarg>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "qx/core/IQXKernel.h"
#include "sim/kernel/Faults.h"
#include "sim/kernel/Finding.h"
#include "sim/schedule/Fiber.h"
#include "sim/schedule/Journal.h"
#include "sim/schedule/LockOrder.h"
#include "sim/schedule/Sanitizers.h"
#include "sim/schedule/Scheduler.h"

namespace plexion_sim {

class SimEvent;
class SimKernel;
class SimMutex;
class SimThread;

struct SimOptions {
  uint64_t seed = 1;
  Scheduler* scheduler = nullptr;  ///< borrowed; null: a RandomScheduler of `seed`
  unsigned latePermille = 0;       ///< more than 0: time may pass although somebody could run
  DecisionPoints decisionPoints = DecisionPoints::kEveryCall;
  bool journal = true;
  bool lockOrder = true;              ///< report inversions of the order in which locks are taken
  bool newEventsAreSignalled = true;  ///< the contract leaves it open, so the unkind way
  Nanoseconds timeLimit = 600 * 1000 * kMillisecond;  ///< virtual; a longer run is given up
  uint64_t decisionLimit = 5000000;                   ///< a longer run is given up
  std::vector<std::string> commandLine = {"/opt/plexion/plexion"};  ///< the host's own
  std::string binDirectory = "/opt/plexion";
  int32_t processId = 4711;
};

/// One simulated thread.
struct SimTask {
  enum class Kind : uint8_t {
    kHost,      ///< a story's own; the run lasts until all of these have ended
    kModule,    ///< made through the kernel
    kPlatform,  ///< a scripted module's; may wait for ever without that being a deadlock
  };
  enum class Waits : uint8_t { kNot, kForMutex, kForEvent, kForThread, kForCondition, kForTime };

  uint32_t number = 0;
  std::string name;
  Kind kind = Kind::kHost;
  bool ended = false;
  std::function<void()> body;
  std::unique_ptr<Fiber> fiber;
  SimThread* object = nullptr;  ///< for kModule
  std::vector<SimMutex*> held;  ///< in the order taken; once each
  std::vector<std::string> nextMutexNames;

  const char* call = "start";  ///< what it does, or is about to do
  Waits waits = Waits::kNot;
  const void* waitsFor = nullptr;
  std::function<bool()> condition;  ///< of kForCondition
  bool signalled = false;           ///< of kForEvent: a signal came while it waited
  Nanoseconds deadline = 0;
};

/// A kernel without an operating system: virtual time, one simulated thread at a time, and a
/// ledger of all that it handed out.
///
/// Time stands still while a thread runs and jumps to the next wake-up when none can. At every
/// kernel call the scheduler chooses who goes on. Calls from outside Run are made by the thread
/// called "outside" and are no decisions.
///
/// Thread   the operating-system thread that made it, or any simulated thread.
class SimKernel final : public IQXKernel {
 public:
  explicit SimKernel(const SimOptions& options);
  ~SimKernel();
  SimKernel(const SimKernel&) = delete;
  SimKernel& operator=(const SimKernel&) = delete;

  // Running.

  /// Runs `body` as the thread "host" until it and all that Spawn made have ended.
  /// Returns  false when the run was given up (deadlock, use after destroy, ...): Findings says
  /// why. Whatever was on the stacks of the threads is then dropped, and every later Run is
  /// refused.
  bool Run(std::function<void()> body);
  /// A further thread of the story's own, from inside Run.
  SimTask* Spawn(const std::string& name, std::function<void()> body);
  /// A scripted module's thread.
  SimTask* SpawnPlatform(const std::string& name, std::function<void()> body);

  // For scripted modules, which need no locks: nothing else runs between two of these.

  /// A decision point. `call` is static text.
  void Point(const char* call);
  /// Blocks until `condition` holds. Returns  false when `timeout` passed first.
  bool WaitUntil(const char* call, std::function<bool()> condition, Nanoseconds timeout);
  bool HasEnded(const SimTask* task) const { return task->ended; }
  SimTask* CurrentTask() { return current_; }
  /// Adds a line to the journal in the current thread's name.
  void Note(const char* call, std::string detail);
  /// Records a finding; a fatal one gives the run up and does not return from inside Run.
  void Report(FindingKind kind, const std::string& text);

  /// Makes `module` available as `name`; null takes it away. Not owned.
  void RegisterModule(const std::string& name, IQXModule* module);
  unsigned ModuleReferences(const std::string& name) const;

  // Invariants: what must hold whatever the story.

  /// Called at every decision point, before the choice. It looks and may Report; it makes no call
  /// that is a decision itself. Empty: nobody watches.
  void SetWatcher(std::function<void()> watcher) { watcher_ = std::move(watcher); }
  /// Before Run: the story is one whose races are the host's own.
  void IgnoreDataRaces() { ignoresDataRaces_ = true; }

  // Asking.

  Journal& GetJournal() { return journal_; }
  Faults& GetFaults() { return faults_; }
  LockOrder& GetLockOrder() { return lockOrder_; }
  Findings& GetFindings() { return findings_; }
  /// The choices of the run so far that were not the usual ones.
  const Schedule& TakenSchedule() const { return taken_; }
  uint64_t Decisions() const { return decisions_; }
  uint64_t SwitchCount() const { return switches_; }
  bool HasFailed() const { return failed_; }
  bool IsRunning() const { return current_ != &outside_; }
  Nanoseconds Now() const { return now_; }
  const SimOptions& Options() const { return options_; }

  /// What Printf wrote, line by line, without line ends; an unfinished last line included.
  std::vector<std::string> PrintedLines() const;
  const std::string& PrintedText() const { return printed_; }

  // The ledger.

  /// Gives a mutex or event a name for reports and the journal.
  void Name(IQXKernel::Mutex* mutex, const std::string& name);
  void Name(IQXKernel::Event* event, const std::string& name);
  /// The next mutexes that the calling thread makes get these names, in order.
  void NameNextMutexes(std::vector<std::string> names);
  /// Blocks of `bytes` bytes that are never given back, at most `count` of them, are no leak. `why`
  /// appears when there are more.
  void AllowLeak(const std::string& why, unsigned long bytes, unsigned count);
  /// What was made and not given back, by name; empty when all is. Allowed leaks are left out.
  std::vector<std::string> Leaks() const;
  size_t LiveBlocks() const { return blocks_.size(); }
  unsigned long LiveBytes() const { return liveBytes_; }
  unsigned LiveMutexes() const;
  unsigned LiveEvents() const;
  unsigned LiveThreads() const;
  /// Reports blocks written outside their bounds or after they were freed.
  void CheckMemory();
  /// Mutexes that the current thread holds.
  size_t HeldByCurrent() const { return current_->held.size(); }
  bool HoldsMutex(const SimTask* task, const IQXKernel::Mutex* mutex) const;
  /// Whether any thread holds it.
  bool IsHeld(const IQXKernel::Mutex* mutex) const { return !HoldsMutex(nullptr, mutex); }

  // IQXKernel.
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
  void FormatString(char* buffer, unsigned long size, const char* format, ...) override
      __attribute__((format(printf, 4, 5)));
  long StrToL(const char* text, char** end, int base) override;
  unsigned long StrToUL(const char* text, char** end, int base) override;
  const char* StrChr(const char* text, int character) override;
  const char* StrRChr(const char* text, int character) override;
  void Printf(const char* format, ...) override __attribute__((format(printf, 2, 3)));

  void FormatStringV(char* buffer, unsigned long size, const char* format, va_list arguments);
  void PrintfV(const char* format, va_list arguments);

 private:
  friend class SimEvent;
  friend class SimMutex;
  friend class SimThread;

  struct MemoryBlock {
    unsigned long bytes;
    uint64_t number;
    std::string place;  // who asked, and where
  };
  struct AllowedLeak {
    std::string why;
    unsigned long bytes;
    unsigned count;
  };
  struct Module {
    IQXModule* module = nullptr;
    unsigned references = 0;
  };

  // Tasks (SimKernelRun.cpp).
  SimTask* AddTask(const std::string& name, SimTask::Kind kind, std::function<void()> body);
  static void TaskEntry(void* task);
  [[noreturn]] void EndTask();
  bool IsReady(const SimTask& task) const;
  SimTask* PickNext();
  Nanoseconds NextDeadline() const;
  void BlockUntil(const char* call, SimTask::Waits waits, const void* object, Nanoseconds timeout);
  void GoOn();
  void Look();
  void ReportDataRaces();
  [[noreturn]] void GiveUp();
  void LeaveFor(SimTask* next);
  std::string WhoWaitsForWhat() const;
  std::string Describe(const SimTask& task) const;
  Nanoseconds DeadlineOf(Nanoseconds timeout) const;
  void Minor(const char* call) {
    if (options_.decisionPoints == DecisionPoints::kEveryCall) Point(call);
  }

  // Mutexes, events, threads (SimKernelSync.cpp).
  void LockMutex(SimMutex* mutex);
  void UnlockMutex(SimMutex* mutex);
  void CheckCycle(const SimMutex* wanted);
  void SignalEvent(SimEvent* event);
  bool WaitEvent(SimEvent* event, Nanoseconds timeout);
  void ResetEvent(SimEvent* event);
  bool StartThread(SimThread* thread, const char* name, Thread::Procedure procedure,
                   void* argument);
  bool JoinThread(SimThread* thread, Nanoseconds timeout);

  // Memory (SimKernelMemory.cpp).
  void CheckGuards(const char* block, const MemoryBlock& entry);

  SimOptions options_;
  RandomScheduler ownScheduler_;
  Scheduler* scheduler_;
  Journal journal_;
  Faults faults_;
  LockOrder lockOrder_;
  Findings findings_;

  Nanoseconds now_ = 0;
  uint64_t decisions_ = 0;
  uint64_t switches_ = 0;
  Schedule taken_;
  bool failed_ = false;
  bool ignoresDataRaces_ = false;
  uint64_t dataRaces_ = DataRaces();  // those of earlier devices are not ours

  Fiber outsideFiber_;
  SimTask outside_;
  SimTask* current_ = &outside_;
  std::vector<std::unique_ptr<SimTask>> tasks_;
  std::vector<SimTask*> live_;
  std::vector<uint32_t> candidates_;
  std::vector<std::unique_ptr<Fiber>> endedFibers_;
  unsigned liveHosts_ = 0;

  std::vector<std::unique_ptr<SimMutex>> mutexes_;
  std::vector<std::unique_ptr<SimEvent>> events_;
  std::vector<std::unique_ptr<SimThread>> threads_;
  std::map<std::string, Module> modules_;

  std::unordered_map<const void*, MemoryBlock> blocks_;
  std::unordered_map<const void*, MemoryBlock> freed_;
  unsigned long liveBytes_ = 0;
  uint64_t blockNumber_ = 0;
  std::vector<AllowedLeak> allowedLeaks_;

  std::vector<const char*> argv_;
  std::string printed_;
  std::function<void()> watcher_;
};

class SimMutex final : public IQXKernel::Mutex {
 public:
  SimMutex(SimKernel* kernel, uint32_t number, std::string name, std::string creator)
      : kernel_(kernel), number_(number), name_(std::move(name)), creator_(std::move(creator)) {}
  void Lock() override { kernel_->LockMutex(this); }
  void Unlock() override { kernel_->UnlockMutex(this); }
  const std::string& GetName() const { return name_; }

 private:
  friend class SimKernel;
  SimKernel* kernel_;
  uint32_t number_;
  std::string name_;
  std::string creator_;
  SimTask* owner_ = nullptr;
  unsigned depth_ = 0;
  bool destroyed_ = false;
};

class SimEvent final : public IQXKernel::Event {
 public:
  SimEvent(SimKernel* kernel, std::string name, std::string creator, bool manualReset,
           bool signalled)
      : kernel_(kernel),
        name_(std::move(name)),
        creator_(std::move(creator)),
        manualReset_(manualReset),
        signalled_(signalled) {}
  void Signal() override { kernel_->SignalEvent(this); }
  bool Wait(const IQXKernel::Time& timeout) override { return kernel_->WaitEvent(this, timeout); }
  void Reset() override { kernel_->ResetEvent(this); }
  const std::string& GetName() const { return name_; }

 private:
  friend class SimKernel;
  SimKernel* kernel_;
  std::string name_;
  std::string creator_;
  bool manualReset_;
  bool signalled_;
  bool destroyed_ = false;
};

class SimThread final : public IQXKernel::Thread {
 public:
  SimThread(SimKernel* kernel, std::string name, std::string creator)
      : kernel_(kernel), name_(std::move(name)), creator_(std::move(creator)) {}
  bool Start(const char* name, Procedure procedure, void* argument) override {
    return kernel_->StartThread(this, name, procedure, argument);
  }
  bool Join(const IQXKernel::Time& timeout) override { return kernel_->JoinThread(this, timeout); }

 private:
  friend class SimKernel;
  SimKernel* kernel_;
  std::string name_;
  std::string creator_;
  SimTask* task_ = nullptr;  // the last one started
  bool destroyed_ = false;
};

}  // namespace plexion_sim

#endif  // SIM_KERNEL_SIMKERNEL_H_
