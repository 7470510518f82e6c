// A kernel in front of another.

#ifndef KIT_KERNELWRAPPER_H_
#define KIT_KERNELWRAPPER_H_

#include "qx/core/IQXKernel.h"

namespace plexion_kit {

/// Hands every call on to `Base()`, so that whoever derives overrides only what it is about. The two
/// operations with variable arguments stay to be written: C has no way to hand those on, so they are
/// formatted where they arrive, and how long a text may get is not for a wrapper to say.
///
/// Owns     nothing. What it creates belongs to the kernel behind it.
/// Thread   any, as the kernel behind it allows.
class KernelWrapper : public IQXKernel {
 public:
  IQXModule* AcquireModule(const char* name) override { return Base().AcquireModule(name); }
  void ReleaseModule(IQXModule* module) override { Base().ReleaseModule(module); }
  Thread* CreateThread() override { return Base().CreateThread(); }
  void DestroyThread(Thread* thread) override { Base().DestroyThread(thread); }
  void Sleep(const Time& duration) override { Base().Sleep(duration); }
  Mutex* CreateMutex() override { return Base().CreateMutex(); }
  void DestroyMutex(Mutex* mutex) override { Base().DestroyMutex(mutex); }
  Event* CreateEvent(bool manualReset) override { return Base().CreateEvent(manualReset); }
  void DestroyEvent(Event* event) override { Base().DestroyEvent(event); }
  void* Allocate(unsigned long bytes, const char* file, int line) override {
    return Base().Allocate(bytes, file, line);
  }
  void Free(void* block, const char* file, int line) override { Base().Free(block, file, line); }
  Time GetTime() override { return Base().GetTime(); }
  int32_t GetProcessId() override { return Base().GetProcessId(); }
  int GetArgc() override { return Base().GetArgc(); }
  const char** GetArgv() override { return Base().GetArgv(); }
  bool GetBinDirectory(QXString& directory, const char* moduleName) override {
    return Base().GetBinDirectory(directory, moduleName);
  }
  void MemSet(void* destination, int value, unsigned long bytes) override {
    Base().MemSet(destination, value, bytes);
  }
  void MemCopy(void* destination, const void* source, unsigned long bytes) override {
    Base().MemCopy(destination, source, bytes);
  }
  void MemMove(void* destination, const void* source, unsigned long bytes) override {
    Base().MemMove(destination, source, bytes);
  }
  unsigned long StrLen16(const unsigned short* text) override { return Base().StrLen16(text); }
  unsigned long StrLen(const char* text) override { return Base().StrLen(text); }
  int StrCmp(const char* left, const char* right) override { return Base().StrCmp(left, right); }
  void StrCpy(char* destination, const char* source) override {
    Base().StrCpy(destination, source);
  }
  long StrToL(const char* text, char** end, int base) override {
    return Base().StrToL(text, end, base);
  }
  unsigned long StrToUL(const char* text, char** end, int base) override {
    return Base().StrToUL(text, end, base);
  }
  const char* StrChr(const char* text, int character) override {
    return Base().StrChr(text, character);
  }
  const char* StrRChr(const char* text, int character) override {
    return Base().StrRChr(text, character);
  }

 protected:
  ~KernelWrapper() = default;

 private:
  /// The kernel behind this one, asked for at each call: it may be another one at the next.
  virtual IQXKernel& Base() = 0;
};

}  // namespace plexion_kit

#endif  // KIT_KERNELWRAPPER_H_
