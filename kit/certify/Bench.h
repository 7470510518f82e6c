// The world of a case: the host under test, and the kit's own in place of what was not given.

#ifndef KIT_CERTIFY_BENCH_H_
#define KIT_CERTIFY_BENCH_H_

#include <functional>
#include <memory>
#include <string>

#include "kit/certify/LedgerKernel.h"
#include "kit/certify/Options.h"
#include "qx/core/IQXKernel.h"

namespace plexion_certify {

/// Loads a stranger's kernel and modules. One for a process, alive until it ends: what a stranger's
/// library leaves behind when it is unloaded would be said of the wrong promise.
class Bench {
 public:
  explicit Bench(const Options& options);
  ~Bench();
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;

  /// Returns  false with the reason in `error`: nothing can then be tried.
  bool Load(std::string& error);
  /// Whether the library takes its kernel back.
  bool CanDestroyKernel() const { return destroy_ != nullptr; }
  /// After Run, when CanDestroyKernel: nothing that takes the kernel's memory may be used any more.
  void DestroyKernel();
  /// What the process had before the kernel was made, its library being loaded.
  int ThreadsBefore() const { return threadsBefore_; }
  int DescriptorsBefore() const { return descriptorsBefore_; }
  /// Calls `body` where the kernel's operations may be called.
  void Run(std::function<void()> body);

  /// The kernel as it was given.
  IQXKernel& Kernel() { return *kernel_; }
  /// The same with a ledger; modules that are tried get this one.
  LedgerKernel& Ledger() { return *ledger_; }
  /// What Printf of the kit's own messages goes through. The operator types a line.
  /// Returns  false when there is no way to.
  bool Type(const std::string& line);
  /// Whether Type may work, without typing.
  bool CanType() const { return type_ != nullptr || (options_.shellReadsInput && inputFd_ >= 0); }

 private:
  const Options& options_;
  std::vector<const char*> arguments_;
  IQXKernel* kernel_ = nullptr;
  std::unique_ptr<LedgerKernel> ledger_;
  void (*destroy_)(IQXKernel*) = nullptr;
  void (*run_)(IQXKernel*, void (*)(void*), void*) = nullptr;
  void (*type_)(const char*) = nullptr;
  int inputFd_ = -1;  // writes to our own standard input
  int threadsBefore_ = 0, descriptorsBefore_ = 0;
};

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_BENCH_H_
