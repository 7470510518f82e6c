// Kernels that are wrong in one thing each: the minimal host's, with one fault in front of it.

#include <dlfcn.h>
#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kit/certify/PlexionHost.h"  // here it declares the right kernel, under another name
#include "qx/core/IQXKernel.h"
#include "qx/core/QXString.h"
#include "tests/kit/certify/Fault.h"

namespace {

using Time = IQXKernel::Time;
constexpr Time kMillisecond = 1000000;

class FaultyMutex final : public IQXKernel::Mutex {
 public:
  explicit FaultyMutex(IQXKernel::Mutex* inner) : inner_(inner) {}

  void Lock() override QX_UNCHECKED_LOCKS {
    if (FAULT("mutex-does-nothing")) return;
    if (FAULT("mutex-not-recursive")) return plain_.lock();
    if (FAULT("mutex-gives-up-after-20ms"))
      return (void)timed_.try_lock_for(std::chrono::milliseconds(20));
    if (FAULT("mutex-one-for-all")) return Everybodys().lock();
    if (FAULT("mutex-recursive-three-deep") && ++depth_ > 3)
      return std::this_thread::sleep_for(std::chrono::hours(1));
    // A short way past the lock that is right nearly always.
    if (FAULT("mutex-lets-every-31st-pass") && ++locks_ % 31 == 0) return (void)(Passed() = this);
    if (FAULT("mutex-wears-out") && ++locks_ == 100000)
      return std::this_thread::sleep_for(std::chrono::hours(1));
    inner_->Lock();
    ++held_;
  }

  void Unlock() override QX_UNCHECKED_LOCKS {
    if (FAULT("mutex-does-nothing")) return;
    if (FAULT("mutex-not-recursive")) return plain_.unlock();
    if (FAULT("mutex-gives-up-after-20ms")) return timed_.unlock();
    if (FAULT("mutex-one-for-all")) return Everybodys().unlock();
    if (FAULT("mutex-never-unlocks")) return;
    if (FAULT("mutex-lets-every-31st-pass") && Passed() == this) return (void)(Passed() = nullptr);
    if (FAULT("mutex-recursive-three-deep")) --depth_;
    if (FAULT("mutex-first-unlock-frees")) {
      for (int times = std::exchange(held_, 0); times > 0; --times) inner_->Unlock();
      return;
    }
    if (held_ > 0) --held_;
    inner_->Unlock();
  }

  IQXKernel::Mutex* const inner_;

 private:
  static std::recursive_mutex& Everybodys() {
    static std::recursive_mutex mutex;
    return mutex;
  }
  static FaultyMutex*& Passed() {
    thread_local FaultyMutex* mutex = nullptr;
    return mutex;
  }
  std::mutex plain_;
  std::recursive_timed_mutex timed_;
  std::atomic<int> depth_{0}, locks_{0};
  int held_ = 0;
};

class FaultyEvent final : public IQXKernel::Event {
 public:
  explicit FaultyEvent(IQXKernel::Event* inner) : inner_(inner) {}

  void Signal() override {
    if (FAULT("event-forgets-without-waiter") && waiting_ == 0) return;
    if (FAULT("event-wakes-one")) tokens_ = waiting_ > 1 ? 1 : 1000000;
    if (FAULT("event-loses-every-100th") && ++signals_ % 100 == 0) return;
    inner_->Signal();
  }

  bool Wait(const Time& timeout) override {
    ++waiting_;
    bool came = false;
    if (FAULT("event-infinite-overflows") && timeout == IQXKernel::kInfinite) {
      came = inner_->Wait(0);
    } else if (FAULT("event-long-timeout-overflows") && timeout != IQXKernel::kInfinite &&
               timeout > IQXKernel::kInfinite / 4) {
      came = inner_->Wait(0);
    } else if (FAULT("event-timeout-in-microseconds") && timeout < 1000000 * kMillisecond) {
      came = inner_->Wait(timeout / 1000);
    } else if (FAULT("event-timeout-counts-as-signal") && timeout > 0) {
      inner_->Wait(timeout);
      came = true;
    } else {
      came = inner_->Wait(timeout);
    }
    if (FAULT("event-wakes-one") && came && tokens_.fetch_sub(1) <= 0) came = Never();
    if (FAULT("event-resets-itself") && came) inner_->Reset();
    --waiting_;
    return came;
  }

  void Reset() override {
    if (FAULT("event-reset-ignored")) return;
    inner_->Reset();
  }

  IQXKernel::Event* const inner_;

 private:
  static bool Never() {
    std::this_thread::sleep_for(std::chrono::hours(1));
    return false;
  }
  std::atomic<int> waiting_{0}, tokens_{0}, signals_{0};
};

class FaultyThread final : public IQXKernel::Thread {
 public:
  explicit FaultyThread(IQXKernel::Thread* inner) : inner_(inner) {}

  bool Start(const char* name, Procedure procedure, void* argument) override {
    procedure_ = procedure;
    argument_ = argument;
    if (FAULT("thread-runs-in-start")) {
      procedure(this, argument);
      return true;
    }
    if (FAULT("thread-never-runs")) return true;
    if (FAULT("thread-refuses-long-names") && strlen(name) > 15) return false;
    if (FAULT("thread-starts-once") && started_) return false;
    if (FAULT("thread-thirty-two-at-most") && running_ >= 32) return false;
    ++running_;
    started_ = true;
    name_ = name;
    return inner_->Start(name, &FaultyThread::Run, this);
  }

  bool Join(const Time& timeout) override {
    if (FAULT("thread-join-returns-at-once") && started_) return true;
    if (FAULT("thread-join-ignores-timeout") && started_) return inner_->Join(IQXKernel::kInfinite);
    if (FAULT("thread-join-timeout-is-true") && started_) {
      inner_->Join(timeout);
      return true;
    }
    if (FAULT("thread-join-unstarted-is-false") && !started_) return false;
    if (FAULT("thread-join-unstarted-hangs") && !started_) {
      std::this_thread::sleep_for(std::chrono::hours(1));
    }
    return inner_->Join(timeout);
  }

  IQXKernel::Thread* const inner_;

 private:
  static void Run(Thread*, void* self) {
    auto* const thread = static_cast<FaultyThread*>(self);
    if (FAULT("thread-borrows-name")) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      pthread_setname_np(pthread_self(), std::string(thread->name_).substr(0, 15).c_str());
    }
    if (FAULT("thread-hands-over-null")) return thread->procedure_(nullptr, thread->argument_);
    thread->procedure_(thread, thread->argument_);
    if (FAULT("thread-runs-twice")) thread->procedure_(thread, thread->argument_);
    --running_;
  }

  static std::atomic<int> running_;
  Procedure procedure_ = nullptr;
  void* argument_ = nullptr;
  const char* name_ = nullptr;
  std::atomic<bool> started_{false};
};

std::atomic<int> FaultyThread::running_{0};

class FaultyKernel final : public IQXKernel {
 public:
  explicit FaultyKernel(IQXKernel& inner) : inner_(inner) {}
  ~FaultyKernel() = default;
  IQXKernel& Right() { return inner_; }

  // Modules

  IQXModule* AcquireModule(const char* name) override {
    if (FAULT("modules-unknown-is-something") && strcmp(name, "INoSuchModule") == 0) {
      return reinterpret_cast<IQXModule*>(this);
    }
    if (FAULT("modules-locked-while-loading")) {
      // Not recursive: a module that acquires another while it loads waits for itself.
      const std::lock_guard<std::mutex> lock(loading_);
      HandOurselvesTo(name);
      return inner_.AcquireModule(name);
    }
    if (FAULT("modules-null-while-loading")) {
      if (busyLoading_.exchange(true)) return nullptr;
      HandOurselvesTo(name);
      IQXModule* const module = inner_.AcquireModule(name);
      busyLoading_ = false;
      return module;
    }
    if (FAULT("modules-input-must-be-there") && name[0] == 'I' &&
        strcmp(name, "INoSuchModule") != 0)
      abort();
    if (FAULT("modules-load-once") && !loadedBefore_.insert(name).second) {
      if (users_ == 0) return nullptr;
    }
    if (FAULT("modules-kernel-after-load") && strcmp(name, "CertifyProbe") == 0) {
      return LoadOf("IQXModule_CertifyProbe_ModuleLoad")();
    }
    if (FAULT("modules-loaded-without-a-lock") && strcmp(name, "CertifyProbe") == 0) {
      // Between the look and the load another thread looks as well.
      if (probeUsers_ == 0) {
        std::this_thread::sleep_for(std::chrono::microseconds(300));
        HandOurselvesTo(name);
        module_ = LoadOf("IQXModule_CertifyProbe_ModuleLoad")();
      }
      ++probeUsers_;
      return module_;
    }
    IQXModule* const module = inner_.AcquireModule(name);
    if (module != nullptr) ++users_;
    return module;
  }
  void ReleaseModule(IQXModule* module) override {
    if (FAULT("modules-null-crashes") && module == nullptr) abort();
    if (FAULT("modules-never-unload")) return;
    if (FAULT("modules-loaded-without-a-lock") && module != nullptr && module == module_) {
      if (--probeUsers_ > 0) return;
      return reinterpret_cast<void (*)(IQXModule*)>(
          dlsym(Library("CertifyProbe"), "IQXModule_CertifyProbe_ModuleUnload"))(module_);
    }
    if (module != nullptr) --users_;
    inner_.ReleaseModule(module);
    if (FAULT("modules-unload-at-first-release")) inner_.ReleaseModule(module);
  }

  // Threads, time and synchronisation

  Thread* CreateThread() override { return new FaultyThread(inner_.CreateThread()); }
  void DestroyThread(Thread* thread) override {
    auto* const faulty = static_cast<FaultyThread*>(thread);
    if (FAULT("thread-destroy-leaks")) return (void)faulty->Join(kInfinite);
    inner_.DestroyThread(faulty->inner_);
    delete faulty;
  }
  void Sleep(const Time& duration) override {
    static std::mutex everybodys;
    if (FAULT("sleep-returns-at-once")) return;
    if (FAULT("sleep-in-microseconds")) return inner_.Sleep(duration / 1000);
    if (FAULT("sleep-stops-everybody")) {
      const std::lock_guard<std::mutex> lock(everybodys);
      return inner_.Sleep(duration);
    }
    inner_.Sleep(duration);
  }
  Mutex* CreateMutex() override { return new FaultyMutex(inner_.CreateMutex()); }
  void DestroyMutex(Mutex* mutex) override {
    if (FAULT("mutex-destroy-leaks")) return;
    auto* const faulty = static_cast<FaultyMutex*>(mutex);
    inner_.DestroyMutex(faulty->inner_);
    delete faulty;
  }
  Event* CreateEvent(bool manualReset) override {
    if (FAULT("event-automatic-reset")) manualReset = false;
    if (FAULT("event-fifty-at-most") && ++events_ > 50) return nullptr;
    return new FaultyEvent(inner_.CreateEvent(manualReset));
  }
  void DestroyEvent(Event* event) override {
    auto* const faulty = static_cast<FaultyEvent*>(event);
    if (FAULT("event-destroy-leaks") && event != nullptr) return;
    if (event == nullptr && !FAULT("event-null-crashes")) return;
    --events_;
    inner_.DestroyEvent(faulty->inner_);
    delete faulty;
  }

  // Memory

  void* Allocate(unsigned long bytes, const char* file, int line) override {
    if (FAULT("memory-reads-file-name") && strlen(file) > 1000) return nullptr;
    if (FAULT("memory-zero-crashes") && bytes == 0) abort();
    if (FAULT("memory-throws") && bytes > (1UL << 40)) throw std::bad_alloc();
    if (FAULT("memory-wraps-size")) return inner_.Allocate((bytes + 64) & ~63UL, file, line);
    if (FAULT("memory-cut-to-one-mib") && bytes > (1UL << 20) && bytes < (1UL << 40))
      bytes = 1UL << 20;
    if (FAULT("memory-overlaps")) {
      // Every block a little shorter than asked for.
      static std::atomic<size_t> at{0};
      static std::vector<char> arena(64 << 20);
      const size_t step = (bytes * 3 / 4 + 8) & ~size_t{7};
      return bytes < 4096 ? arena.data() + at.fetch_add(step) : inner_.Allocate(bytes, file, line);
    }
    if (FAULT("memory-aligned-to-4")) {
      return static_cast<char*>(inner_.Allocate(bytes + 8, file, line)) + 4;
    }
    if (FAULT("memory-one-cache-for-all-threads") && bytes <= 1024) {
      // The last freed block of a thread goes to whoever asks next, and nobody locks.
      void* const block = cached_;
      if (block != nullptr && malloc_usable_size(block) >= bytes) {
        std::this_thread::yield();
        cached_ = nullptr;
        return block;
      }
    }
    return inner_.Allocate(bytes, file, line);
  }
  void Free(void* block, const char* file, int line) override {
    if (FAULT("memory-aligned-to-4") || FAULT("memory-overlaps")) return;
    if (FAULT("memory-never-freed")) return;
    if (FAULT("memory-free-reads-file-name") && strlen(file) > 1000) return;
    if (FAULT("memory-free-writes-beside")) {
      // What it keeps of a freed block lands behind it.
      memset(static_cast<char*>(block) + malloc_usable_size(block), 0, 24);
      return;
    }
    if (FAULT("memory-one-cache-for-all-threads") && cached_ == nullptr) {
      cached_ = block;
      return;
    }
    inner_.Free(block, file, line);
  }

  // Time and process

  Time GetTime() override {
    static std::atomic<int> calls{0};
    const Time now = inner_.GetTime();
    if (FAULT("time-in-microseconds")) return now / 1000;
    if (FAULT("time-in-steps-of-40-ms")) return now - now % (40 * kMillisecond);
    if (FAULT("time-in-milliseconds")) return now / 1000000;
    if (FAULT("time-steps-back") && ++calls % 1000 == 0) return now - 5 * kMillisecond;
    if (FAULT("time-wraps-at-32-bits")) return now & 0x3FFFF;
    if (FAULT("time-stands-still")) return 1;
    if (FAULT("time-apart-in-threads")) {
      thread_local const Time skew = ++calls % 2 * 100 * kMillisecond;
      return now + skew;
    }
    return now;
  }
  int32_t GetProcessId() override {
    static std::atomic<int> calls{0};
    if (FAULT("process-id-changes")) return 1 + ++calls;
    if (FAULT("process-id-is-zero")) return 0;
    return inner_.GetProcessId();
  }
  int GetArgc() override {
    if (FAULT("arguments-count-the-null")) return inner_.GetArgc() + 1;
    return inner_.GetArgc();
  }
  const char** GetArgv() override {
    if (FAULT("arguments-without-executable")) return inner_.GetArgv() + 1;
    if (FAULT("arguments-made-anew")) {
      auto** const copy = new const char*[static_cast<size_t>(inner_.GetArgc()) + 1]();
      for (int i = 0; i < inner_.GetArgc(); ++i) copy[i] = inner_.GetArgv()[i];
      return copy;
    }
    return inner_.GetArgv();
  }
  bool GetBinDirectory(QXString& directory, const char* moduleName) override {
    if (FAULT("bin-directory-appends")) directory.Append("/opt");
    if (FAULT("bin-directory-appends")) return true;
    if (FAULT("bin-directory-is-relative")) {
      directory.Assign("bin");
      return true;
    }
    if (FAULT("bin-directory-clears-on-failure") && moduleName != nullptr) {
      directory.Clear();
      return false;
    }
    return inner_.GetBinDirectory(directory, moduleName);
  }

  // Bytes and text

  void MemSet(void* to, int value, unsigned long bytes) override {
    inner_.MemSet(to, value, FAULT("mem-set-one-too-many") ? bytes + 1 : bytes);
  }
  void MemCopy(void* to, const void* from, unsigned long bytes) override {
    inner_.MemCopy(to, from, FAULT("mem-copy-words-only") ? bytes & ~7UL : bytes);
  }
  void MemMove(void* to, const void* from, unsigned long bytes) override {
    if (FAULT("mem-move-forwards-only")) {
      for (unsigned long i = 0; i < bytes; ++i) {
        static_cast<char*>(to)[i] = static_cast<const volatile char*>(from)[i];
      }
      return;
    }
    inner_.MemMove(to, from, bytes);
  }
  unsigned long StrLen16(const unsigned short* text) override {
    if (FAULT("str-len16-counts-bytes")) return 2 * inner_.StrLen16(text);
    return inner_.StrLen16(text);
  }
  unsigned long StrLen(const char* text) override {
    return inner_.StrLen(text) + (FAULT("str-len-counts-the-zero") ? 1 : 0);
  }
  int StrCmp(const char* left, const char* right) override {
    if (FAULT("str-cmp-signed-bytes")) {
      while (*left != '\0' && *left == *right) ++left, ++right;
      return static_cast<signed char>(*left) - static_cast<signed char>(*right);
    }
    if (FAULT("str-cmp-ignores-case")) return strcasecmp(left, right);
    return inner_.StrCmp(left, right);
  }
  void StrCpy(char* to, const char* from) override {
    if (FAULT("str-cpy-without-zero")) return (void)memcpy(to, from, strlen(from));
    inner_.StrCpy(to, from);
  }
  long StrToL(const char* text, char** end, int base) override {
    if (FAULT("str-to-l-writes-null-end")) *end = nullptr;
    if (FAULT("str-to-l-is-32-bits")) return static_cast<int32_t>(inner_.StrToL(text, end, base));
    return inner_.StrToL(text, end, base);
  }
  unsigned long StrToUL(const char* text, char** end, int base) override {
    if (FAULT("str-to-ul-signed"))
      return static_cast<unsigned long>(static_cast<int32_t>(inner_.StrToUL(text, end, base)));
    return inner_.StrToUL(text, end, base);
  }
  const char* StrChr(const char* text, int character) override {
    if (FAULT("str-chr-not-the-zero") && character == 0) return nullptr;
    return inner_.StrChr(text, character);
  }
  const char* StrRChr(const char* text, int character) override {
    if (FAULT("str-rchr-finds-first")) return inner_.StrChr(text, character);
    return inner_.StrRChr(text, character);
  }

  // Formatting

  void FormatString(char* buffer, unsigned long size, const char* format, ...) override {
    va_list arguments;
    va_start(arguments, format);
    if (FAULT("format-ignores-size")) {
      vsprintf(buffer, format, arguments);
    } else if (FAULT("format-no-zero-when-cut")) {
      char whole[512];
      vsnprintf(whole, sizeof(whole), format, arguments);
      strncpy(buffer, whole, size);
    } else if (FAULT("format-size-without-zero")) {
      vsnprintf(buffer, size + 1, format, arguments);
    } else if (FAULT("format-writes-zero-without-room") && size == 0) {
      buffer[0] = '\0';
    } else if (FAULT("format-long-is-32-bits")) {
      vsnprintf(buffer, size, ShortLong(format).c_str(), arguments);
    } else if (FAULT("format-knows-no-width")) {
      std::string plain;
      for (const char* at = format; *at != '\0'; ++at) {
        plain += *at;
        while (*at == '%' && (at[1] == '-' || (at[1] >= '0' && at[1] <= '9'))) ++at;
      }
      vsnprintf(buffer, size, plain.c_str(), arguments);
    } else {
      vsnprintf(buffer, size, format, arguments);
    }
    va_end(arguments);
  }

  void Printf(const char* format, ...) override {
    char text[16384];
    va_list arguments;
    va_start(arguments, format);
    const std::string kept = FAULT("printf-long-is-32-bits") ? ShortLong(format) : format;
    vsnprintf(text, FAULT("printf-cuts-at-256") ? 256 : sizeof(text), kept.c_str(), arguments);
    va_end(arguments);
    if (FAULT("printf-says-nothing")) return;
    if (FAULT("printf-keeps-its-buffers")) memset(new char[2000], 1, 2000);
    if (FAULT("printf-formats-twice")) return inner_.Printf(text);
    if (FAULT("printf-swaps-lines") && ++lines_ > 4) {
      // Two buffers, and the second is written first.
      if (lines_ % 2 == 1) return (void)(kept_ = text);
      return inner_.Printf("%s%s", text, kept_.c_str());
    }
    if (FAULT("printf-mixes-lines")) {
      for (const char* at = text; *at != '\0';) {
        const size_t length = strcspn(at + 1, " ") + 1;
        if (write(1, at, length) < 0) return;
        std::this_thread::yield();
        at += length;
      }
      return;
    }
    if (FAULT("printf-loses-lines")) {
      // Whoever comes while another prints is not waited for.
      if (printing_.exchange(true)) return;
      inner_.Printf("%s", text);
      std::this_thread::sleep_for(std::chrono::microseconds(200));
      printing_ = false;
      return;
    }
    inner_.Printf("%s", text);
  }

 private:
  void* Library(const std::string& name) {
    QXString folder;
    inner_.GetBinDirectory(folder, nullptr);
    return dlopen((std::string(folder.Utf8()) + "/" + name + ".so").c_str(), RTLD_NOW);
  }
  /// The right kernel hands itself to what it loads; the first one stays.
  void HandOurselvesTo(const char* name) {
    void* const library = Library(name);
    if (library == nullptr) return;
    reinterpret_cast<void (*)(IQXKernel*)>(dlsym(library, "IQXModule_QXModule_PutKernel"))(this);
  }
  IQXModule* (*LoadOf(const char* entry))() {
    return reinterpret_cast<IQXModule* (*)()>(dlsym(Library("CertifyProbe"), entry));
  }

  /// As for a formatter whose long is 32 bits wide.
  static std::string ShortLong(std::string format) {
    for (size_t at; (at = format.find("%ld")) != std::string::npos;) format.erase(at + 1, 1);
    return format;
  }

  IQXKernel& inner_;
  std::mutex loading_;
  std::atomic<bool> busyLoading_{false}, printing_{false};
  std::atomic<int> users_{0}, probeUsers_{0}, events_{0};
  std::set<std::string> loadedBefore_;
  IQXModule* module_ = nullptr;
  void* volatile cached_ = nullptr;
  std::string kept_;
  int lines_ = 0;
};

}  // namespace

#undef PlexionHost_CreateKernel
#undef PlexionHost_DestroyKernel
extern "C" QX_EXPORT IQXKernel* PlexionHost_CreateKernel(int argc, const char** argv) {
  if (FAULT("create-answers-null")) return nullptr;
  if (FAULT("create-throws")) throw 7;
  if (FAULT("create-exits")) _exit(0);
  if (FAULT("create-closes-every-file")) {
    for (int file = 0; file < 100; ++file) close(file);
  }
  if (FAULT("create-floods-the-report")) {
    // Whatever it thinks that descriptor 3 is.
    const std::string noise(65536, 'F');
    while (write(3, noise.data(), noise.size()) != 0) {
    }
  }
  if (FAULT("create-lets-a-process-go")) {
    if (fork() == 0) {
      setsid();
      std::this_thread::sleep_for(std::chrono::hours(1));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // it has a group of its own now
    return nullptr;
  }
  if (FAULT("create-hangs")) std::this_thread::sleep_for(std::chrono::hours(1));
  IQXKernel* const right = RightHost_CreateKernel(argc, argv);
  // Strings that it fills take their memory from the right kernel's side.
  IQXModule_QXModule_PutKernel(right);
  if (FAULT("destroy-leaves-threads")) {
    std::thread([] { std::this_thread::sleep_for(std::chrono::hours(1)); }).detach();
  }
  return new FaultyKernel(*right);
}

extern "C" QX_EXPORT void PlexionHost_DestroyKernel(IQXKernel* kernel) {
  auto* const faulty = static_cast<FaultyKernel*>(kernel);
  if (FAULT("destroy-waits-for-ever")) std::this_thread::sleep_for(std::chrono::hours(1));
  if (FAULT("destroy-leaves-files") && dup(1) < 0) return;
  RightHost_DestroyKernel(&faulty->Right());
  if (FAULT("destroy-frees-twice")) RightHost_DestroyKernel(&faulty->Right());
  delete faulty;
}
