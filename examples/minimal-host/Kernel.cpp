// The smallest kernel that the module runs on: memory, threads, time, text and modules from a POSIX system.
//
// A device with a 32-bit processor that keeps the high half of a number first prints through a formatter of its own:
// the module hands Printf 64-bit values for "%d" in places, always as the last one.

#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "HostKernel.h"
#include "kit/FindModuleContract.h"
#include "qx/core/IQXKernel.h"
#include "qx/core/IQXModule.h"
#include "qx/core/QXString.h"

namespace {

using Clock = std::chrono::steady_clock;

class MutexOfHost final : public IQXKernel::Mutex {
 public:
  void Lock() override { mutex_.lock(); }
  void Unlock() override { mutex_.unlock(); }

 private:
  std::recursive_mutex mutex_;
};

/// Waits on `condition` until `done`, at most `timeout`. `lock` is held. Returns `done()`.
template <typename Done>
bool WaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
             IQXKernel::Time timeout, Done done) {
  // "Without limit", and what is nearly as long, would overflow when it is added to the time of day.
  constexpr IQXKernel::Time kYear = IQXKernel::Time{366} * 24 * 3600 * 1000000000;
  if (timeout > kYear) {
    condition.wait(lock, done);
    return true;
  }
  return condition.wait_for(lock, std::chrono::nanoseconds(timeout > 0 ? timeout : 0), done);
}

class EventOfHost final : public IQXKernel::Event {
 public:
  explicit EventOfHost(bool manualReset) : manualReset_(manualReset) {}

  void Signal() override {
    std::lock_guard<std::mutex> lock(mutex_);
    signalled_ = true;
    condition_.notify_all();
  }

  bool Wait(const IQXKernel::Time& timeout) override {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!WaitFor(condition_, lock, timeout, [this] { return signalled_; })) return false;
    if (!manualReset_) signalled_ = false;
    return true;
  }

  void Reset() override {
    std::lock_guard<std::mutex> lock(mutex_);
    signalled_ = false;
  }

 private:
  const bool manualReset_;
  std::mutex mutex_;
  std::condition_variable condition_;
  bool signalled_ = false;
};

class ThreadOfHost final : public IQXKernel::Thread {
 public:
  ~ThreadOfHost() {
    if (thread_.joinable()) thread_.join();
  }

  bool Start(const char*, Procedure procedure, void* argument) override {
    std::lock_guard<std::mutex> lock(mutex_);
    if (running_) return false;
    if (thread_.joinable()) thread_.join();  // it has ended: only its remains are collected
    running_ = true;
    thread_ = std::thread([this, procedure, argument] {
      procedure(this, argument);
      std::lock_guard<std::mutex> done(mutex_);
      running_ = false;
      condition_.notify_all();
    });
    return true;
  }

  bool Join(const IQXKernel::Time& timeout) override {
    std::unique_lock<std::mutex> lock(mutex_);
    return WaitFor(condition_, lock, timeout, [this] { return !running_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable condition_;
  std::thread thread_;
  bool running_ = false;
};

class Kernel final : public IQXKernel {
 public:
  Kernel(int argc, const char** argv) : argc_(argc), argv_(argv) {
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    folder_ = length > 0 ? std::string(path, static_cast<size_t>(length)) : std::string(".");
    folder_.erase(folder_.find_last_of('/') == std::string::npos ? 0 : folder_.find_last_of('/'));
  }

  IQXModule* AcquireModule(const char* name) override {
    std::lock_guard<std::recursive_mutex> lock(modulesMutex_);
    auto found = modules_.find(name);
    if (found != modules_.end()) {
      ++found->second.users;
      return found->second.object;
    }
    Module module;
    module.library = dlopen((folder_ + "/" + name + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
    // A module that the host does not have is an expected case: whoever asked says what that means.
    if (module.library == nullptr) return nullptr;
    const std::string prefix = std::string("IQXModule_") + name;
    auto putKernel = Find<void (*)(IQXKernel*)>(module.library, "IQXModule_QXModule_PutKernel");
    auto load = Find<IQXModule* (*)()>(module.library, (prefix + "_ModuleLoad").c_str());
    module.unload = Find<void (*)(IQXModule*)>(module.library, (prefix + "_ModuleUnload").c_str());
    // Made for another contract, its operations would stand in other places than ours: ask before the first call.
    plexion_kit::ModuleContract contract;
    if (plexion_kit::FindModuleContract(reinterpret_cast<const void*>(load), contract) &&
        !contract.SuitsTheseHeaders()) {
      Printf("%s.so has version %u.%u of the contract, this host needs %u.%u\n", name,
             contract.major, contract.minor, QX_CONTRACT_MAJOR, QX_CONTRACT_MINOR);
      dlclose(module.library);
      return nullptr;
    }
    if (putKernel != nullptr && load != nullptr && module.unload != nullptr) {
      putKernel(this);
      module.object = load();
    }
    if (module.object == nullptr) {
      dlclose(module.library);
      return nullptr;
    }
    modules_[name] = module;
    return module.object;
  }

  void ReleaseModule(IQXModule* object) override {
    std::lock_guard<std::recursive_mutex> lock(modulesMutex_);
    for (auto at = modules_.begin(); object != nullptr && at != modules_.end(); ++at) {
      if (at->second.object != object) continue;
      if (--at->second.users == 0) {
        const Module module = at->second;
        modules_.erase(at);
        module.unload(module.object);
        dlclose(module.library);
      }
      return;
    }
  }

  Thread* CreateThread() override { return new ThreadOfHost; }
  void DestroyThread(Thread* thread) override { delete static_cast<ThreadOfHost*>(thread); }
  void Sleep(const Time& duration) override {
    std::this_thread::sleep_for(std::chrono::nanoseconds(duration));
  }
  Mutex* CreateMutex() override { return new MutexOfHost; }
  void DestroyMutex(Mutex* mutex) override { delete static_cast<MutexOfHost*>(mutex); }
  Event* CreateEvent(bool manualReset) override { return new EventOfHost(manualReset); }
  void DestroyEvent(Event* event) override { delete static_cast<EventOfHost*>(event); }

  void* Allocate(unsigned long bytes, const char*, int) override { return malloc(bytes); }
  void Free(void* block, const char*, int) override { free(block); }

  Time GetTime() override {
    return std::chrono::nanoseconds(Clock::now().time_since_epoch()).count();
  }
  int32_t GetProcessId() override { return getpid(); }
  int GetArgc() override { return argc_; }
  const char** GetArgv() override { return argv_; }
  bool GetBinDirectory(QXString& directory, const char*) override {
    directory.Assign(folder_.c_str());
    return true;
  }

  void MemSet(void* to, int value, unsigned long bytes) override { memset(to, value, bytes); }
  void MemCopy(void* to, const void* from, unsigned long bytes) override {
    memcpy(to, from, bytes);
  }
  void MemMove(void* to, const void* from, unsigned long bytes) override {
    memmove(to, from, bytes);
  }
  unsigned long StrLen16(const unsigned short* text) override {
    unsigned long length = 0;
    while (text[length] != 0) ++length;
    return length;
  }
  unsigned long StrLen(const char* text) override { return strlen(text); }
  int StrCmp(const char* left, const char* right) override { return strcmp(left, right); }
  void StrCpy(char* to, const char* from) override { strcpy(to, from); }
  long StrToL(const char* text, char** end, int base) override { return strtol(text, end, base); }
  unsigned long StrToUL(const char* text, char** end, int base) override {
    return strtoul(text, end, base);
  }
  const char* StrChr(const char* text, int character) override { return strchr(text, character); }
  const char* StrRChr(const char* text, int character) override { return strrchr(text, character); }

  void FormatString(char* buffer, unsigned long size, const char* format, ...) override {
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
  }
  void Printf(const char* format, ...) override {
    va_list arguments;
    va_start(arguments, format);
    vprintf(format, arguments);  // the C library keeps the lines of two threads apart
    va_end(arguments);
    fflush(stdout);
  }

 private:
  struct Module {
    void* library = nullptr;
    IQXModule* object = nullptr;
    void (*unload)(IQXModule*) = nullptr;
    int users = 1;
  };

  template <typename Function>
  static Function Find(void* library, const char* symbol) {
    return reinterpret_cast<Function>(dlsym(library, symbol));
  }

  const int argc_;
  const char** const argv_;
  std::string folder_;
  // Recursive: a module that is loaded may acquire another one.
  std::recursive_mutex modulesMutex_;
  std::map<std::string, Module> modules_;
};

}  // namespace

extern "C" QX_EXPORT IQXKernel* PlexionHost_CreateKernel(int argc, const char** argv) {
  return new Kernel(argc, argv);
}

extern "C" QX_EXPORT void PlexionHost_DestroyKernel(IQXKernel* kernel) {
  delete static_cast<Kernel*>(kernel);
}
