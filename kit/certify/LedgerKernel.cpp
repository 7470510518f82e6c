// Counts what goes through, and loads the modules under test.

#include "kit/certify/LedgerKernel.h"

#include <dlfcn.h>

#include <cstdio>
#include <mutex>
#include <vector>

namespace plexion_certify {

std::string Balance::ToText() const {
  return std::to_string(blocks) + " blocks of memory, " + std::to_string(mutexes) + " mutexes, " +
         std::to_string(events) + " events, " + std::to_string(threads) + " threads, " +
         std::to_string(modules) + " modules";
}

void LedgerKernel::ProvideFile(const std::string& name, const std::string& file) {
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  provided_[name].file = file;
}

void LedgerKernel::Provide(const std::string& name, IQXModule* module) {
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  // Taken for loaded, also with nothing behind it: the kernel under test is not asked for what a
  // case takes away.
  Provided provided;
  provided.module = module;
  provided.loaded = true;
  if (module == nullptr) provided.error = "this case takes it away";
  provided_[name] = provided;
}

std::string LedgerKernel::WhyNot(const std::string& name) {
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  const auto found = provided_.find(name);
  return found == provided_.end() ? "the kernel has none" : found->second.error;
}

bool ModuleFile::Open(const std::string& file, const std::string& name, std::string& error) {
  // Bound at once: a missing symbol is found here, with its name, and not in the middle of a case.
  // Never closed: libraries leave threads and handlers behind.
  void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    error = dlerror();
    return false;
  }
  const std::string entry = "IQXModule_" + name + "_Module";
  putKernel = reinterpret_cast<decltype(putKernel)>(dlsym(library, "IQXModule_QXModule_PutKernel"));
  load = reinterpret_cast<decltype(load)>(dlsym(library, (entry + "Load").c_str()));
  unload = reinterpret_cast<decltype(unload)>(dlsym(library, (entry + "Unload").c_str()));
  if (putKernel != nullptr && load != nullptr && unload != nullptr) return true;
  error = file + " does not export all of IQXModule_QXModule_PutKernel, " + entry + "Load, " +
          entry + "Unload";
  return false;
}

void LedgerKernel::Load(const std::string& name, Provided& provided) {
  provided.loaded = true;
  ModuleFile file;
  if (!file.Open(provided.file, name, provided.error)) return;
  file.putKernel(this);
  provided.module = file.load();
  if (provided.module == nullptr)
    provided.error = "IQXModule_" + name + "_ModuleLoad answered null";
}

IQXModule* LedgerKernel::AcquireModule(const char* name) {
  IQXModule* module = nullptr;
  {
    // Recursive, since a module that is loaded acquires others in turn.
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    const auto found = provided_.find(name);
    if (found == provided_.end()) {
      module = base_.AcquireModule(name);
    } else {
      if (!found->second.loaded) Load(name, found->second);
      module = found->second.module;
    }
  }
  if (module != nullptr) ++modules_;
  return module;
}

void LedgerKernel::ReleaseModule(IQXModule* module) {
  if (module == nullptr) return;
  --modules_;
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  for (const auto& [name, provided] : provided_) {
    // Modules of ours were never acquired from the kernel below.
    if (provided.module == module) return;
  }
  base_.ReleaseModule(module);
}

Balance LedgerKernel::Out() const {
  Balance balance;
  balance.blocks = blocks_;
  balance.mutexes = mutexes_;
  balance.events = events_;
  balance.threads = threads_;
  balance.modules = modules_;
  return balance;
}

std::string LedgerKernel::Printed() {
  const std::lock_guard<std::mutex> lock(printedMutex_);
  return printed_;
}

IQXKernel::Thread* LedgerKernel::CreateThread() {
  Thread* const thread = base_.CreateThread();
  if (thread != nullptr) ++threads_;
  return thread;
}

void LedgerKernel::DestroyThread(Thread* thread) {
  if (thread != nullptr) --threads_;
  base_.DestroyThread(thread);
}

void LedgerKernel::Sleep(const Time& duration) {
  if (!virtual_) return base_.Sleep(duration);
  virtualTime_ += duration;
  // Every now and then for real: a kernel with a scheduler of its own lets others run then only.
  // No call for the others: a sleep of no time takes 50 us on many a system, a minute for three hours.
  if (++virtualSleeps_ % 1000 == 0) base_.Sleep(1000000);
}

IQXKernel::Mutex* LedgerKernel::CreateMutex() {
  Mutex* const mutex = base_.CreateMutex();
  if (mutex != nullptr) ++mutexes_;
  return mutex;
}

void LedgerKernel::DestroyMutex(Mutex* mutex) {
  if (mutex != nullptr) --mutexes_;
  base_.DestroyMutex(mutex);
}

IQXKernel::Event* LedgerKernel::CreateEvent(bool manualReset) {
  Event* const event = base_.CreateEvent(manualReset);
  if (event != nullptr) ++events_;
  return event;
}

void LedgerKernel::DestroyEvent(Event* event) {
  if (event != nullptr) --events_;
  base_.DestroyEvent(event);
}

void* LedgerKernel::Allocate(unsigned long bytes, const char* file, int line) {
  // Counted by what came back, not by what was asked: a kernel that refuses owes nothing.
  void* const block = base_.Allocate(bytes, file, line);
  if (block != nullptr) ++blocks_;
  return block;
}

void LedgerKernel::Free(void* block, const char* file, int line) {
  if (block != nullptr) --blocks_;
  base_.Free(block, file, line);
}

IQXKernel::Time LedgerKernel::GetTime() { return virtual_ ? virtualTime_.load() : base_.GetTime(); }

// Variable arguments cannot be handed on, so the C library formats them here: on every processor as the module means
// it, which hands a 64-bit value to "%d" as the last one only.
void LedgerKernel::FormatString(char* buffer, unsigned long size, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
}

void LedgerKernel::Printf(const char* format, ...) {
  // What a case compares of it is far shorter.
  char text[8192];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  {
    const std::lock_guard<std::mutex> lock(printedMutex_);
    printed_ += text;
  }
  // Formatted already: a "%" in a name must not be one for the kernel below.
  base_.Printf("%s", text);
}

}  // namespace plexion_certify
