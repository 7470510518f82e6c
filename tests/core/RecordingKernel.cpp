// A kernel on the process heap that remembers what it was asked.

#include "tests/core/RecordingKernel.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tests {

namespace {

class HeapMutex final : public IQXKernel::Mutex {
 public:
  void Lock() override { mutex_.lock(); }
  void Unlock() override { mutex_.unlock(); }

 private:
  std::recursive_mutex mutex_;
};

std::string Format(const char* format, va_list arguments) {
  char text[1024];
  std::vsnprintf(text, sizeof text, format, arguments);
  return text;
}

}  // namespace

bool RecordingKernel::RecordedThread::Start(const char* name, Procedure body, void* data) {
  kernel_->threadLog += std::string("start ") + name + ";";
  kernel_->procedure = body;
  kernel_->argument = data;
  if (kernel_->threadsRun) thread_ = std::thread(body, this, data);
  return kernel_->threadsStart;
}

bool RecordingKernel::RecordedThread::Join(const Time& timeout) {
  kernel_->threadLog += timeout == kInfinite ? "join;" : "join with a limit;";
  if (kernel_->onJoin) kernel_->onJoin();
  if (thread_.joinable()) thread_.join();
  return true;
}

RecordingKernel& RecordingKernel::Get() {
  static RecordingKernel* const kernel = [] {
    auto* made = new RecordingKernel;
    IQXModule_QXModule_PutKernel(made);
    return made;
  }();
  return *kernel;
}

void RecordingKernel::Restart() {
  allocations = 0;
  frees = 0;
  lastAllocated = nullptr;
  lastFreed = nullptr;
  lastFree = {};
  printed.clear();
  refuseIn_ = -1;
  now = 0;
  afterSleep = nullptr;
  threadsStart = true;
  threadsRun = false;
  threadLog.clear();
  procedure = nullptr;
  argument = nullptr;
  onJoin = nullptr;
}

IQXModule* RecordingKernel::AcquireModule(const char*) { return nullptr; }
void RecordingKernel::ReleaseModule(IQXModule*) {}

IQXKernel::Thread* RecordingKernel::CreateThread() {
  ++threads;
  return new RecordedThread(this);
}

void RecordingKernel::DestroyThread(Thread* thread) {
  --threads;
  threadLog += "destroy;";
  delete static_cast<RecordedThread*>(thread);
}

void RecordingKernel::Sleep(const Time& duration) {
  now += duration;
  if (afterSleep) afterSleep();
  if (threadsRun) std::this_thread::yield();
}

IQXKernel::Mutex* RecordingKernel::CreateMutex() {
  ++mutexes;
  return new HeapMutex;
}

void RecordingKernel::DestroyMutex(Mutex* mutex) {
  --mutexes;
  delete static_cast<HeapMutex*>(mutex);
}

IQXKernel::Event* RecordingKernel::CreateEvent(bool) { return nullptr; }
void RecordingKernel::DestroyEvent(Event*) {}

void* RecordingKernel::Allocate(unsigned long bytes, const char* file, int line) {
  const std::lock_guard<std::mutex> guard(ledgerLock_);
  ++allocations;
  if (refuseIn_ >= 0 && refuseIn_-- == 0) return nullptr;
  void* block = std::malloc(bytes);
  if (block == nullptr) return nullptr;
  // Old contents show in whoever counts on zeros.
  std::memset(block, 0xA5, bytes);
  live[block] = {bytes, file != nullptr ? file : "", line};
  lastAllocated = block;
  return block;
}

void RecordingKernel::Free(void* block, const char* file, int line) {
  const std::lock_guard<std::mutex> guard(ledgerLock_);
  ++frees;
  lastFreed = block;
  lastFree = {0, file != nullptr ? file : "", line};
  if (live.erase(block) != 1) {
    ADD_FAILURE() << "a block was freed that is not live: " << block;
    return;
  }
  std::free(block);
}

IQXKernel::Time RecordingKernel::GetTime() { return now; }
int32_t RecordingKernel::GetProcessId() { return 4711; }
int RecordingKernel::GetArgc() { return static_cast<int>(arguments.size()); }
const char** RecordingKernel::GetArgv() { return arguments.data(); }
bool RecordingKernel::GetBinDirectory(QXString&, const char*) { return false; }

void RecordingKernel::MemSet(void* destination, int value, unsigned long bytes) {
  std::memset(destination, value, bytes);
}

void RecordingKernel::MemCopy(void* destination, const void* source, unsigned long bytes) {
  std::memcpy(destination, source, bytes);
}

void RecordingKernel::MemMove(void* destination, const void* source, unsigned long bytes) {
  std::memmove(destination, source, bytes);
}

unsigned long RecordingKernel::StrLen16(const unsigned short* text) {
  unsigned long length = 0;
  while (text[length] != 0) ++length;
  return length;
}

unsigned long RecordingKernel::StrLen(const char* text) { return std::strlen(text); }
int RecordingKernel::StrCmp(const char* left, const char* right) {
  return std::strcmp(left, right);
}
void RecordingKernel::StrCpy(char* destination, const char* source) {
  std::strcpy(destination, source);
}

void RecordingKernel::FormatString(char* buffer, unsigned long size, const char* format, ...) {
  va_list arguments_;
  va_start(arguments_, format);
  std::vsnprintf(buffer, size, format, arguments_);
  va_end(arguments_);
}

long RecordingKernel::StrToL(const char* text, char** end, int base) {
  return std::strtol(text, end, base);
}
unsigned long RecordingKernel::StrToUL(const char* text, char** end, int base) {
  return std::strtoul(text, end, base);
}
const char* RecordingKernel::StrChr(const char* text, int character) {
  return std::strchr(text, character);
}
const char* RecordingKernel::StrRChr(const char* text, int character) {
  return std::strrchr(text, character);
}

void RecordingKernel::Printf(const char* format, ...) {
  va_list arguments_;
  va_start(arguments_, format);
  printed.push_back(Format(format, arguments_));
  va_end(arguments_);
}

}  // namespace tests
