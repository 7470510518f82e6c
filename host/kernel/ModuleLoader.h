// Modules by name: loaded at the first acquisition, unloaded at the last release.

#ifndef HOST_KERNEL_MODULELOADER_H_
#define HOST_KERNEL_MODULELOADER_H_

#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/base/Mutex.h"
#include "host/kernel/ModuleFiles.h"
#include "qx/core/IQXKernel.h"
#include "qx/core/IQXModule.h"

namespace plexion_host {

/// Stands between the host and one module: what it is handed and what it hands out goes through here.
/// Outlives the module.
class ModuleBorder {
 public:
  virtual ~ModuleBorder() = default;
  virtual IQXKernel& KernelFor(IQXKernel& kernel) = 0;
  /// Returns  what the host is given of what `load` made; null when it made nothing.
  virtual IQXModule* Load(IQXModule* (*load)()) = 0;
  virtual void Unload(void (*unload)(IQXModule*), IQXModule* module) = 0;
};

/// Modules by name: finds the library, loads it, counts who holds it, and unloads it at the last
/// release.
///
/// A library is loaded once however many names live in it, and is handed the kernel before any of
/// its other entry points is called. Loading and unloading happen outside the lock: a module may
/// acquire and release others meanwhile, also from threads of its own, and whoever wants the same
/// name waits until it is there or gone.
class ModuleLoader {
 public:
  /// `kernel` is handed to each library and must outlive this.
  ModuleLoader(IQXKernel& kernel, ModuleFiles files);
  ModuleLoader(const ModuleLoader&) = delete;
  ModuleLoader& operator=(const ModuleLoader&) = delete;

  /// Makes an object of the host itself acquirable. Not owned; it must outlive every use.
  void AddBuiltIn(const std::string& name, IQXModule* module);

  /// Before `name` is first acquired; it must be alone in its library. Not owned.
  void SetBorder(const std::string& name, ModuleBorder* border);

  /// Returns  null with the reason in `error`.
  IQXModule* Acquire(const std::string& name, std::string& error);
  /// Null does nothing.
  void Release(IQXModule* module);

  /// The folder of the library of `name`, loaded or not; empty when there is none.
  std::string FolderOf(const std::string& name);
  bool IsBuiltIn(const std::string& name);

  /// Why `name` could not be had when it was last asked for; empty when it could.
  std::string GetError(const std::string& name);
  /// True once for each name: the caller is the first to tell of its absence.
  bool ShouldReport(const std::string& name);

  /// Names of the modules that are held, built-in ones left out.
  std::vector<std::string> GetLoaded();

 private:
  struct Library {
    std::string file;
    void* handle = nullptr;
    unsigned users = 0;
    std::thread::id opener;  // none: it is open
  };
  enum class State { kAbsent, kLoading, kLoaded, kUnloading };
  struct Entry {
    State state = State::kAbsent;
    std::thread::id worker;  // who is loading or unloading
    IQXModule* module = nullptr;
    unsigned users = 0;
    bool builtIn = false;
    bool reported = false;
    std::string error;
    Library* source = nullptr;
    void (*unload)(IQXModule*) = nullptr;
  };

  bool Load(const std::string& name, Entry& loaded);
  Library* OpenLibrary(const std::string& file, IQXKernel& kernel, std::string& error);
  ModuleBorder* BorderOf(const std::string& name) const {
    return name == borderedName_ ? border_ : nullptr;
  }
  void CloseLibrary(Library* library);

  IQXKernel& kernel_;
  const ModuleFiles files_;
  std::string borderedName_;  // both constant once modules are acquired
  ModuleBorder* border_ = nullptr;

  Mutex mutex_;
  Condition settled_;
  std::map<std::string, Entry> entries_ GUARDED_BY(mutex_);

  Mutex librariesMutex_;  // never held while mutex_ is taken, nor while a library is opened
  Condition opened_;
  std::map<std::string, std::unique_ptr<Library>> libraries_ GUARDED_BY(librariesMutex_);
};

}  // namespace plexion_host

#endif  // HOST_KERNEL_MODULELOADER_H_
