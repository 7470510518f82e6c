// The host kernel on POSIX threads.

#ifndef HOST_KERNEL_HOSTKERNEL_H_
#define HOST_KERNEL_HOSTKERNEL_H_

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "host/kernel/Console.h"
#include "host/kernel/ModuleLoader.h"
#include "qx/core/IQXKernel.h"

namespace plexion_host {

/// The host kernel on POSIX threads: what a module needs from outside itself, on Linux.
///
/// One object a process, made before the first module and alive until the process ends, because a
/// library that cannot be unloaded keeps the pointer. Its console is the built-in module
/// "IHostConsole".
class HostKernel final : public IQXKernel {
 public:
  /// `arguments`: the process's command line, element 0 names the executable.
  HostKernel(std::vector<std::string> arguments, ModuleFiles files, int outputFd = 1,
             int errorFd = 2);
  ~HostKernel() = default;
  HostKernel(const HostKernel&) = delete;
  HostKernel& operator=(const HostKernel&) = delete;

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

  // For the host itself.

  /// Not owned; it must outlive every module.
  void AddBuiltIn(const std::string& name, IQXModule* module);
  /// Before `name` is first acquired. Not owned.
  void SetBorder(const std::string& name, ModuleBorder* border) {
    modules_.SetBorder(name, border);
  }
  /// AcquireModule that prints nothing. Returns  null with the reason in `error`.
  IQXModule* TryAcquireModule(const std::string& name, std::string& error);
  /// Why `name` could not be had when it was last asked for; empty when it could, or never was.
  std::string GetModuleError(const std::string& name);
  std::vector<std::string> GetLoadedModules();
  Console& GetConsole();
  /// Bytes of the blocks that have not been freed, as the allocator rounds them.
  int64_t GetLiveBytes() const;

 private:
  Console console_;
  ModuleLoader modules_;
  const std::vector<std::string> arguments_;
  std::vector<const char*> argv_;  // into arguments_, null at the end
  std::atomic<int64_t> liveBytes_{0};
};

}  // namespace plexion_host

#endif  // HOST_KERNEL_HOSTKERNEL_H_
