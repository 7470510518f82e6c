// A kernel in front of another: counts what is taken and given back, and provides modules.

#ifndef KIT_CERTIFY_LEDGERKERNEL_H_
#define KIT_CERTIFY_LEDGERKERNEL_H_

#include <atomic>
#include <cstdarg>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kit/KernelWrapper.h"
#include "qx/core/IQXKernel.h"
#include "qx/core/IQXModule.h"

namespace plexion_certify {

/// What is out at a moment. `text` is for people.
struct Balance {
  long blocks = 0, mutexes = 0, events = 0, threads = 0, modules = 0;
  std::string ToText() const;
  /// What a module took that the kernel found by itself does not pass through a ledger; its strings are
  /// freed by others, so that blocks then say nothing.
  bool Equals(const Balance& other, bool withBlocks) const {
    return (!withBlocks || blocks == other.blocks) && mutexes == other.mutexes &&
           events == other.events && threads == other.threads && modules == other.modules;
  }
};

/// The entry points of a module's library, which stays loaded.
struct ModuleFile {
  void (*putKernel)(IQXKernel*) = nullptr;
  IQXModule* (*load)() = nullptr;
  void (*unload)(IQXModule*) = nullptr;

  /// Returns  false with the reason in `error`.
  bool Open(const std::string& file, const std::string& name, std::string& error);
};

/// Hands every call on to `base`. Modules come from files or objects that it was given; any other name
/// is the base kernel's to find.
///
/// Thread   any, as with every kernel; what it provides is said before.
class LedgerKernel : public plexion_kit::KernelWrapper {
 public:
  explicit LedgerKernel(IQXKernel& base) : base_(base) {}
  virtual ~LedgerKernel() = default;
  LedgerKernel(const LedgerKernel&) = delete;
  LedgerKernel& operator=(const LedgerKernel&) = delete;

  /// `<file>` is loaded at the first acquisition of `name`. It is never unloaded.
  void ProvideFile(const std::string& name, const std::string& file);
  /// Not owned. Null: there is no such module, whatever the base kernel has.
  void Provide(const std::string& name, IQXModule* module);
  /// Why `name` could not be had; empty when it could.
  std::string WhyNot(const std::string& name);

  Balance Out() const;
  /// Another command line than the host's own, for who asks from now on. The texts are borrowed.
  void UseArguments(std::vector<const char*> arguments) { arguments_ = std::move(arguments); }
  /// While set, time stands still but for this many nanoseconds for each call of Sleep, which then hardly
  /// waits: hours pass in seconds.
  void UseVirtualTime(bool use) { virtual_ = use; }
  Time VirtualTime() const { return virtualTime_; }
  /// All that was printed through this kernel.
  std::string Printed();

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
  int GetArgc() override {
    return arguments_.empty() ? base_.GetArgc() : static_cast<int>(arguments_.size());
  }
  const char** GetArgv() override {
    return arguments_.empty() ? base_.GetArgv() : arguments_.data();
  }
  void FormatString(char* buffer, unsigned long size, const char* format, ...) override;
  void Printf(const char* format, ...) override;

 protected:
  IQXKernel& base_;

 private:
  IQXKernel& Base() override { return base_; }

  struct Provided {
    std::string file;
    IQXModule* module = nullptr;
    bool loaded = false;
    std::string error;
  };
  void Load(const std::string& name, Provided& provided);

  std::recursive_mutex
      mutex_;  // guards what follows; recursive: a module acquires others while it loads
  std::map<std::string, Provided> provided_;

  std::vector<const char*> arguments_;  // before the module is loaded

  std::mutex printedMutex_;  // apart: a module may print on one thread while another loads it
  std::string printed_;

  std::atomic<long> blocks_{0}, mutexes_{0}, events_{0}, threads_{0}, modules_{0};
  std::atomic<bool> virtual_{false};
  std::atomic<Time> virtualTime_{0};
  std::atomic<unsigned> virtualSleeps_{0};
};

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_LEDGERKERNEL_H_
