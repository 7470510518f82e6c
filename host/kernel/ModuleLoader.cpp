// Modules by name: loaded at the first acquisition, unloaded at the last release.

#include "host/kernel/ModuleLoader.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>

#include <utility>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

using PutKernelEntry = void (*)(IQXKernel*);
using LoadEntry = IQXModule* (*)();
using UnloadEntry = void (*)(IQXModule*);

constexpr const char* kPutKernel = "IQXModule_QXModule_PutKernel";

template <typename Function>
Function FindEntry(void* library, const std::string& symbol) {
  return reinterpret_cast<Function>(dlsym(library, symbol.c_str()));
}

// Two ways to name a file are still one library.
std::string Canonical(const std::string& file) {
  char* const resolved = realpath(file.c_str(), nullptr);
  if (resolved == nullptr) return file;
  std::string path(resolved);
  free(resolved);
  return path;
}

/// Runs what the library does by itself, and what it does with the kernel. Null with `error`.
void* OpenFile(const std::string& file, IQXKernel& kernel, std::string& error) {
  // Local: modules of different makers may define the same names. Now: what is missing is told by
  // name here, and does not end the process later.
  void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* const reason = dlerror();
    error = reason != nullptr ? reason : file + " cannot be loaded";
    return nullptr;
  }
  if (const auto putKernel = FindEntry<PutKernelEntry>(handle, kPutKernel)) {
    putKernel(&kernel);
    return handle;
  }
  error = file + " has no entry point " + kPutKernel;
  dlclose(handle);
  return nullptr;
}

}  // namespace

ModuleLoader::ModuleLoader(IQXKernel& kernel, ModuleFiles files)
    : kernel_(kernel), files_(std::move(files)) {}

void ModuleLoader::AddBuiltIn(const std::string& name, IQXModule* module) {
  const MutexLock lock(mutex_);
  PLEXION_CHECK(module != nullptr, "a module of the host itself is there");
  Entry& entry = entries_[name];
  entry.state = State::kLoaded;
  entry.builtIn = true;
  entry.module = module;
}

void ModuleLoader::SetBorder(const std::string& name, ModuleBorder* border) {
  borderedName_ = name;
  border_ = border;
}

IQXModule* ModuleLoader::Acquire(const std::string& name, std::string& error) {
  MutexLock lock(mutex_);
  Entry& entry = entries_[name];  // map nodes stay where they are
  while (entry.state == State::kLoading || entry.state == State::kUnloading) {
    // To wait would be for ever: it is this thread, further up, that loads or unloads it.
    if (entry.worker == std::this_thread::get_id()) {
      error = entry.state == State::kLoading ? "it needs itself in order to load"
                                             : "it is asked for while it unloads";
      return nullptr;
    }
    // Another thread loads it: both then hold one and the same object.
    settled_.Wait(lock);
  }
  if (entry.state == State::kAbsent) {
    entry.state = State::kLoading;
    entry.worker = std::this_thread::get_id();
    lock.Unlock();
    Entry loaded;
    // Without the lock: a module acquires others while it loads, and may take seconds.
    const bool succeeded = Load(name, loaded);
    lock.Lock();
    entry.error = loaded.error;
    entry.module = loaded.module;
    entry.source = loaded.source;
    entry.unload = loaded.unload;
    entry.state = succeeded ? State::kLoaded : State::kAbsent;
    settled_.NotifyAll();
    if (!succeeded) {
      error = entry.error;
      return nullptr;
    }
  }
  PLEXION_CHECK(entry.state == State::kLoaded && entry.module != nullptr,
                "only what is loaded is held");
  ++entry.users;
  return entry.module;
}

bool ModuleLoader::Load(const std::string& name, Entry& loaded) {
  const std::string file = files_.Find(name, loaded.error);
  if (file.empty()) return false;
  // A name that is mapped twice, or through a link, must not load a second copy: the library has one
  // kernel pointer and other statics.
  ModuleBorder* const border = BorderOf(name);
  IQXKernel& kernel = border != nullptr ? border->KernelFor(kernel_) : kernel_;
  loaded.source = OpenLibrary(Canonical(file), kernel, loaded.error);
  if (loaded.source == nullptr) return false;

  const std::string loadSymbol = "IQXModule_" + name + "_ModuleLoad";
  const std::string unloadSymbol = "IQXModule_" + name + "_ModuleUnload";
  const auto load = FindEntry<LoadEntry>(loaded.source->handle, loadSymbol);
  loaded.unload = FindEntry<UnloadEntry>(loaded.source->handle, unloadSymbol);
  if (load == nullptr || loaded.unload == nullptr) {
    loaded.error = loaded.source->file + " has no entry point " +
                   (load == nullptr ? loadSymbol : unloadSymbol);
  } else {
    loaded.module = border != nullptr ? border->Load(load) : load();
    if (loaded.module == nullptr) {
      loaded.error = loaded.source->file + ": " + loadSymbol + " made no module";
    }
  }
  if (loaded.module != nullptr) return true;
  CloseLibrary(loaded.source);
  loaded.source = nullptr;
  return false;
}

void ModuleLoader::Release(IQXModule* module) {
  if (module == nullptr) return;
  MutexLock lock(mutex_);
  Entry* entry = nullptr;
  ModuleBorder* border = nullptr;
  for (auto& [name, candidate] : entries_) {
    // By the object, which several names may share; who holds none of it is passed over.
    if (candidate.module != module || candidate.users == 0) continue;
    entry = &candidate;
    border = BorderOf(name);
  }
  // Not ours, or given back already: there is nothing here to unload.
  if (entry == nullptr) return;
  if (--entry->users > 0 || entry->builtIn) return;

  PLEXION_CHECK(entry->unload != nullptr && entry->source != nullptr,
                "what was loaded can be unloaded");
  entry->state = State::kUnloading;
  entry->worker = std::this_thread::get_id();
  lock.Unlock();
  if (border != nullptr) {
    border->Unload(entry->unload, module);
  } else {
    entry->unload(module);
  }
  CloseLibrary(entry->source);
  lock.Lock();
  entry->module = nullptr;
  entry->source = nullptr;
  entry->unload = nullptr;
  entry->state = State::kAbsent;
  settled_.NotifyAll();
}

ModuleLoader::Library* ModuleLoader::OpenLibrary(const std::string& file, IQXKernel& kernel,
                                                 std::string& error) {
  MutexLock lock(librariesMutex_);
  for (;;) {
    std::unique_ptr<Library>& library = libraries_[file];
    if (library == nullptr) {
      library = std::make_unique<Library>();
      library->file = file;
      library->opener = std::this_thread::get_id();
      break;
    }
    if (library->opener == std::thread::id()) {
      ++library->users;
      return library.get();
    }
    if (library->opener == std::this_thread::get_id()) {
      error = file + " needs itself in order to be opened";
      return nullptr;
    }
    opened_.Wait(lock);
  }
  lock.Unlock();
  void* const handle = OpenFile(file, kernel, error);
  lock.Lock();
  opened_.NotifyAll();
  if (handle == nullptr) {
    libraries_.erase(file);
    return nullptr;
  }
  Library* const library = libraries_[file].get();
  PLEXION_CHECK(library != nullptr && library->users == 0, "one thread opens a library");
  library->handle = handle;
  library->opener = std::thread::id();
  library->users = 1;
  return library;
}

void ModuleLoader::CloseLibrary(Library* library) {
  void* handle = nullptr;
  {
    const MutexLock lock(librariesMutex_);
    PLEXION_CHECK(library->users > 0, "a library is closed as often as it was opened");
    if (--library->users > 0) return;
    handle = library->handle;
    libraries_.erase(library->file);
  }
  // Runs the library's own destructors, which may join threads that still ask for modules.
  dlclose(handle);
}

std::string ModuleLoader::FolderOf(const std::string& name) {
  std::string error;
  const std::string file = files_.Find(name, error);
  if (file.empty()) return std::string();
  const std::string path = Canonical(file);
  return path.substr(0, path.rfind('/'));
}

bool ModuleLoader::IsBuiltIn(const std::string& name) {
  const MutexLock lock(mutex_);
  const auto entry = entries_.find(name);
  return entry != entries_.end() && entry->second.builtIn;
}

std::string ModuleLoader::GetError(const std::string& name) {
  const MutexLock lock(mutex_);
  const auto entry = entries_.find(name);
  return entry != entries_.end() ? entry->second.error : std::string();
}

bool ModuleLoader::ShouldReport(const std::string& name) {
  const MutexLock lock(mutex_);
  Entry& entry = entries_[name];
  const bool first = !entry.reported;
  entry.reported = true;
  return first;
}

std::vector<std::string> ModuleLoader::GetLoaded() {
  const MutexLock lock(mutex_);
  std::vector<std::string> names;
  for (const auto& [name, entry] : entries_) {
    if (entry.users > 0 && !entry.builtIn) names.push_back(name);
  }
  return names;
}

}  // namespace plexion_host
