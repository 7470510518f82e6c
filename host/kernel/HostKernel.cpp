// The host kernel on POSIX threads.

#include "host/kernel/HostKernel.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "host/base/Check.h"
#include "host/kernel/HostThread.h"
#include "host/kernel/Synchronisation.h"
#include "qx/core/QXString.h"

namespace plexion_host {

HostKernel::HostKernel(std::vector<std::string> arguments, ModuleFiles files, int outputFd,
                       int errorFd)
    : console_(outputFd, errorFd),
      modules_(*this, std::move(files)),
      arguments_(std::move(arguments)) {
  // Modules keep these pointers: the texts are constant from here on.
  for (const std::string& argument : arguments_) argv_.push_back(argument.c_str());
  argv_.push_back(nullptr);
  // A module of the kernel itself: the shell prints through it, and captures what a command prints.
  modules_.AddBuiltIn("IHostConsole", &console_);
}

// Modules

IQXModule* HostKernel::AcquireModule(const char* name) {
  if (name == nullptr) return nullptr;
  std::string error;
  IQXModule* const module = modules_.Acquire(name, error);
  // Told once for each name: a window asks for what it can do without each time it opens, and a
  // device that was built without a module would fill its log.
  if (module == nullptr && modules_.ShouldReport(name)) {
    console_.Log({LogLevel::kError, "module " + std::string(name) + " is not available: " + error});
  }
  return module;
}

void HostKernel::ReleaseModule(IQXModule* module) { modules_.Release(module); }

void HostKernel::AddBuiltIn(const std::string& name, IQXModule* module) {
  PLEXION_CHECK(!name.empty() && module != nullptr, "a built-in module has a name and is there");
  modules_.AddBuiltIn(name, module);
}

IQXModule* HostKernel::TryAcquireModule(const std::string& name, std::string& error) {
  return modules_.Acquire(name, error);
}

std::string HostKernel::GetModuleError(const std::string& name) { return modules_.GetError(name); }

std::vector<std::string> HostKernel::GetLoadedModules() { return modules_.GetLoaded(); }

bool HostKernel::GetBinDirectory(QXString& directory, const char* moduleName) {
  // What is built in has no file of its own: it is where the executable is.
  const bool own = moduleName == nullptr || modules_.IsBuiltIn(moduleName);
  const std::string folder = own ? ExecutableFolder() : modules_.FolderOf(moduleName);
  if (folder.empty()) return false;
  directory.Assign(folder.c_str());
  return true;
}

// Threads, time and synchronisation

// Without memory the answer is null, as modules expect: they are compiled without exceptions.
IQXKernel::Thread* HostKernel::CreateThread() { return new (std::nothrow) HostThread(); }

void HostKernel::DestroyThread(Thread* thread) { delete static_cast<HostThread*>(thread); }

void HostKernel::Sleep(const Time& duration) { SleepFor(duration); }

IQXKernel::Mutex* HostKernel::CreateMutex() { return new (std::nothrow) HostMutex(); }

void HostKernel::DestroyMutex(Mutex* mutex) { delete static_cast<HostMutex*>(mutex); }

IQXKernel::Event* HostKernel::CreateEvent(bool manualReset) {
  return new (std::nothrow) HostEvent(manualReset);
}

void HostKernel::DestroyEvent(Event* event) { delete static_cast<HostEvent*>(event); }

IQXKernel::Time HostKernel::GetTime() { return MonotonicNow(); }

// Memory

void* HostKernel::Allocate(unsigned long bytes, const char* /*file*/, int /*line*/) {
  // Aligned to 8 bytes at least by the library, as the contract wants.
  void* const block = std::malloc(bytes);
  if (block != nullptr) {
    // As the allocator rounds it, so that Free finds the same number without a header of ours.
    liveBytes_.fetch_add(static_cast<int64_t>(malloc_usable_size(block)),
                         std::memory_order_relaxed);
  }
  return block;
}

void HostKernel::Free(void* block, const char* /*file*/, int /*line*/) {
  if (block == nullptr) return;
  liveBytes_.fetch_sub(static_cast<int64_t>(malloc_usable_size(block)), std::memory_order_relaxed);
  std::free(block);
}

int64_t HostKernel::GetLiveBytes() const { return liveBytes_.load(std::memory_order_relaxed); }

// The process

int32_t HostKernel::GetProcessId() { return static_cast<int32_t>(getpid()); }

int HostKernel::GetArgc() { return static_cast<int>(arguments_.size()); }

const char** HostKernel::GetArgv() { return argv_.data(); }

// Bytes and text

void HostKernel::MemSet(void* destination, int value, unsigned long bytes) {
  std::memset(destination, value, bytes);
}

void HostKernel::MemCopy(void* destination, const void* source, unsigned long bytes) {
  std::memcpy(destination, source, bytes);
}

void HostKernel::MemMove(void* destination, const void* source, unsigned long bytes) {
  std::memmove(destination, source, bytes);
}

unsigned long HostKernel::StrLen16(const unsigned short* text) {
  unsigned long length = 0;
  while (text[length] != 0) ++length;
  return length;
}

unsigned long HostKernel::StrLen(const char* text) { return std::strlen(text); }

int HostKernel::StrCmp(const char* left, const char* right) { return std::strcmp(left, right); }

void HostKernel::StrCpy(char* destination, const char* source) { std::strcpy(destination, source); }

void HostKernel::FormatString(char* buffer, unsigned long size, const char* format, ...) {
  va_list arguments;
  // Cut to `size` with its zero, which is what the contract promises.
  va_start(arguments, format);
  std::vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
}

long HostKernel::StrToL(const char* text, char** end, int base) {
  return std::strtol(text, end, base);
}

unsigned long HostKernel::StrToUL(const char* text, char** end, int base) {
  return std::strtoul(text, end, base);
}

const char* HostKernel::StrChr(const char* text, int character) {
  return std::strchr(text, character);
}

const char* HostKernel::StrRChr(const char* text, int character) {
  return std::strrchr(text, character);
}

// Output

void HostKernel::Printf(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  console_.PrintFormat(format, arguments);
  va_end(arguments);
}

Console& HostKernel::GetConsole() { return console_; }

}  // namespace plexion_host
