// The kernel that the module is handed, with its mutexes, events and threads.

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "kit/record/Crossing.h"

namespace plexion_record {
namespace {

/// Who waits for a lock is told before it waits: of a deadlock that is all that
/// there is.
class MutexFace final : public HostObject<IQXKernel::Mutex> {
 public:
  using HostObject::HostObject;
  void Lock() override QX_UNCHECKED_LOCKS {
    // A host may lock a mutex that it got from the module. That is no crossing, and would be told
    // as one of the module's thread.
    if (IsOutside()) return ReallyLock();
    const uint32_t self = border_.Here().number;
    const uint32_t holder = holder_.load(std::memory_order_relaxed);
    // Read without a lock: it may be wrong by a moment, and only decides whether a note is written.
    if (holder != 0 && holder != self) border_.NoteLockWaits(*this, holder);
    Ask(Operation::kMutexLock, &IQXKernel::Mutex::Lock);
    // In a replay the simulated mutex is taken when the recorded one was: it
    // finds misuse.
    if (border_.InReplay() != nullptr) ReallyLock();
    holder_.store(self, std::memory_order_relaxed);
    ++depth_;
  }
  // Given back before it is told: whoever takes it next is noted behind this, and must not find us
  // as its holder.
  void Unlock() override QX_UNCHECKED_LOCKS {
    if (IsOutside()) return ReallyUnlock();
    if (depth_ > 0 && --depth_ == 0) holder_.store(0, std::memory_order_relaxed);
    Tell(Operation::kMutexUnlock, &IQXKernel::Mutex::Unlock);
    if (border_.InReplay() != nullptr) ReallyUnlock();
  }
  IQXKernel::Mutex* shadow = nullptr;  ///< in a replay

 private:
  bool IsOutside() { return !border_.Here().inside; }
  void ReallyLock() QX_UNCHECKED_LOCKS { (shadow != nullptr ? shadow : Raw())->Lock(); }
  void ReallyUnlock() QX_UNCHECKED_LOCKS { (shadow != nullptr ? shadow : Raw())->Unlock(); }

  std::atomic<uint32_t> holder_{0};
  unsigned depth_ = 0;  // the holder's
};

class EventFace final : public HostObject<IQXKernel::Event> {
 public:
  using HostObject::HostObject;
  void Signal() override { Tell(Operation::kEventSignal, &IQXKernel::Event::Signal); }
  bool Wait(const IQXKernel::Time& timeout) override {
    return Call(Operation::kEventWait, &IQXKernel::Event::Wait, timeout);
  }
  void Reset() override { Tell(Operation::kEventReset, &IQXKernel::Event::Reset); }
};

class ThreadFace final : public HostObject<IQXKernel::Thread> {
 public:
  using HostObject::HostObject;
  bool Start(const char* name, Procedure procedure, void* argument) override {
    // Before Start: the thread that it starts reads them.
    procedure_ = procedure;
    argument_ = argument;
    label = name != nullptr ? name : "";
    bool started = false;
    CallOut(
        border_, Manner::kCall, Operation::kThreadStart,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          border_.PutText(to, name);
        },
        [&] { started = Raw()->Start(name, &Run, this); }, [&](Encoder& to) { to.Bool(started); },
        [&](Decoder& from) { started = TakeValue<bool>(border_, from); });
    return started;
  }
  bool Join(const IQXKernel::Time& timeout) override {
    return Call(Operation::kThreadJoin, &IQXKernel::Thread::Join, timeout);
  }
  bool RunProcedure() {
    if (procedure_ == nullptr) return false;
    CallIn(
        border_, Operation::kThreadProcedure, [&](Encoder& to) { border_.PutObject(to, this); },
        [&] { procedure_(this, argument_); }, [](Encoder&) {});
    return true;
  }

 private:
  static void Run(IQXKernel::Thread*, void* self) {
    auto* const thread = static_cast<ThreadFace*>(self);
    thread->border_.NoteThread(thread->label);
    thread->RunProcedure();
  }

  Procedure procedure_ = nullptr;  // written before Start, read by the thread that it starts
  void* argument_ = nullptr;
};

/// Every operation but the byte and text ones is a crossing while the module's
/// code runs. Those say nothing that the module could not work out by itself;
/// they are counted.
class KernelFace final : public IQXKernel, public Wrapped {
 public:
  explicit KernelFace(Border& border) : Wrapped(ObjectKind::kKernel, nullptr), border_(border) {}

  IQXModule* AcquireModule(const char* name) override {
    if (IsOutside()) return Real().AcquireModule(name);
    IQXModule* raw = nullptr;
    Wrapped* module = nullptr;
    CallOut(
        border_, Manner::kCall, Operation::kKernelAcquireModule,
        [&](Encoder& to) { border_.PutText(to, name); },
        [&] {
          raw = Real().AcquireModule(name);
          if (raw == nullptr) return;
          module = FindModule(name, raw);
        },
        [&](Encoder& to) { border_.PutObject(to, module); },
        // In a replay nothing was acquired: the recording says which module it was, and a wrapper
        // with nothing behind it stands for it.
        [&](Decoder& from) { module = TakeModule(name, from); });
    return module != nullptr ? ModuleFace(module) : nullptr;
  }
  void ReleaseModule(IQXModule* module) override {
    if (IsOutside()) return Real().ReleaseModule(module);
    Wrapped* const wrapper = border_.FindFace(module);
    CallOut(
        border_, Manner::kCall, Operation::kKernelReleaseModule,
        [&](Encoder& to) { border_.PutObject(to, wrapper); },
        // The wrapper stays: whether this was the last release is the host's
        // secret, and a module that is loaded again may be the same object.
        [&] {
          Real().ReleaseModule(wrapper != nullptr
                                   ? static_cast<IQXModule*>(const_cast<void*>(wrapper->behind))
                                   : nullptr);
        },
        [](Encoder&) {}, [](Decoder&) {});
  }

  Thread* CreateThread() override {
    if (IsOutside()) return Real().CreateThread();
    return Create<Thread>(Operation::kKernelCreateThread, [&] { return Real().CreateThread(); });
  }
  void DestroyThread(Thread* thread) override {
    if (IsOutside()) return Real().DestroyThread(thread);
    Destroy(Operation::kKernelDestroyThread, thread, &IQXKernel::DestroyThread);
  }
  void Sleep(const Time& duration) override {
    if (IsOutside()) return Real().Sleep(duration);
    CallOut(
        border_, Manner::kCall, Operation::kKernelSleep, [&](Encoder& to) { to.Signed(duration); },
        [&] { Real().Sleep(duration); }, [](Encoder&) {}, [](Decoder&) {});
  }
  Mutex* CreateMutex() override {
    if (IsOutside()) return Real().CreateMutex();
    Mutex* const mutex =
        Create<Mutex>(Operation::kKernelCreateMutex, [&] { return Real().CreateMutex(); });
    // The simulated mutex behind a replayed one finds what a recording cannot show: a lock given
    // back twice, or by another thread.
    if (border_.InReplay() != nullptr && mutex != nullptr) {
      static_cast<MutexFace*>(mutex)->shadow = Real().CreateMutex();
    }
    return mutex;
  }
  void DestroyMutex(Mutex* mutex) override {
    if (IsOutside()) return Real().DestroyMutex(mutex);
    Mutex* const shadow = mutex != nullptr ? static_cast<MutexFace*>(mutex)->shadow : nullptr;
    Destroy(Operation::kKernelDestroyMutex, mutex, &IQXKernel::DestroyMutex);
    if (shadow != nullptr) Real().DestroyMutex(shadow);
  }
  Event* CreateEvent(bool manualReset) override {
    if (IsOutside()) return Real().CreateEvent(manualReset);
    return Create<Event>(
        Operation::kKernelCreateEvent, [&] { return Real().CreateEvent(manualReset); },
        [&](Encoder& to) { to.Bool(manualReset); });
  }
  void DestroyEvent(Event* event) override {
    if (IsOutside()) return Real().DestroyEvent(event);
    Destroy(Operation::kKernelDestroyEvent, event, &IQXKernel::DestroyEvent);
  }

  void* Allocate(unsigned long bytes, const char* file, int line) override {
    void* block = nullptr;
    // Some recordings leave allocations out, since they are half of all calls.
    if (IsOutside() || IsIgnored(Operation::kKernelAllocate)) {
      return Real().Allocate(bytes, file, line);
    }
    bool given = true;
    CallOut(
        border_, Manner::kAsk, Operation::kKernelAllocate,
        [&](Encoder& to) {
          to.Unsigned(bytes);
          to.Note();
          border_.PutText(to, file);
          to.Note();
          to.Signed(line);
        },
        [&] {
          block = Real().Allocate(bytes, file, line);
          given = block != nullptr;
        },
        [&](Encoder& to) { to.Bool(given); },
        [&](Decoder& from) { given = TakeValue<bool>(border_, from); });
    // The memory must be real: the module writes into it.
    if (border_.InReplay() != nullptr && given) block = Real().Allocate(bytes, file, line);
    return block;
  }
  void Free(void* block, const char* file, int line) override {
    BorderThread& thread = border_.Here();
    if (!thread.inside) return Real().Free(block, file, line);
    // Before the block is free: the next one may have its address, and would be taken for the
    // object that lay there.
    if (!thread.dying.empty() && block != nullptr) border_.ForgetBlock(thread, block);
    if (IsIgnored(Operation::kKernelFree)) return Real().Free(block, file, line);
    CallOut(
        border_, Manner::kTell, Operation::kKernelFree,
        [&](Encoder& to) {
          to.Bool(block != nullptr);
          to.Note();
          border_.PutText(to, file);
          to.Note();
          to.Signed(line);
        },
        [&] { Real().Free(block, file, line); }, [](Encoder&) {}, [](Decoder&) {});
    if (border_.InReplay() != nullptr) Real().Free(block, file, line);
  }

  Time GetTime() override {
    return AskReal<Time>(Operation::kKernelGetTime, [&] { return Real().GetTime(); });
  }
  int32_t GetProcessId() override {
    return AskReal<int32_t>(Operation::kKernelGetProcessId, [&] { return Real().GetProcessId(); });
  }
  int GetArgc() override {
    return AskReal<int>(Operation::kKernelGetArgc, [&] { return Real().GetArgc(); });
  }
  const char** GetArgv() override {
    if (IsOutside()) return Real().GetArgv();
    const char** words = nullptr;
    CallOut(
        border_, Manner::kAsk, Operation::kKernelGetArgv, [](Encoder&) {},
        [&] { words = Real().GetArgv(); },
        // The words as they were given; nobody changes them while the process lives.
        [&](Encoder& to) { border_.PutWords(to, Real().GetArgc(), words); },
        [&](Decoder& from) {
          argv_ = TakeWords(border_, from);
          argv_.push_back(nullptr);
          words = argv_.data();
        });
    return words;
  }
  bool GetBinDirectory(QXString& directory, const char* moduleName) override {
    if (IsOutside()) return Real().GetBinDirectory(directory, moduleName);
    bool known = false;
    CallOut(
        border_, Manner::kAsk, Operation::kKernelGetBinDirectory,
        [&](Encoder& to) { border_.PutText(to, moduleName); },
        [&] { known = Real().GetBinDirectory(directory, moduleName); },
        [&](Encoder& to) {
          to.Bool(known);
          PutString(border_, to, directory);
        },
        [&](Decoder& from) {
          known = TakeValue<bool>(border_, from);
          TakeString(from, directory);
        });
    return known;
  }

  void MemSet(void* destination, int value, unsigned long bytes) override {
    Count();
    Real().MemSet(destination, value, bytes);
  }
  void MemCopy(void* destination, const void* source, unsigned long bytes) override {
    Count();
    Real().MemCopy(destination, source, bytes);
  }
  void MemMove(void* destination, const void* source, unsigned long bytes) override {
    Count();
    Real().MemMove(destination, source, bytes);
  }
  unsigned long StrLen16(const unsigned short* text) override {
    Count();
    return Real().StrLen16(text);
  }
  unsigned long StrLen(const char* text) override {
    Count();
    return Real().StrLen(text);
  }
  int StrCmp(const char* left, const char* right) override {
    Count();
    return Real().StrCmp(left, right);
  }
  void StrCpy(char* destination, const char* source) override {
    Count();
    Real().StrCpy(destination, source);
  }
  void FormatString(char* buffer, unsigned long size, const char* format, ...) override
      __attribute__((format(printf, 4, 5))) {
    Count();
    va_list arguments;
    va_start(arguments, format);
    // The variable arguments cannot be handed on to another variadic function. The kernel's own
    // formats as the contract says, which is what the library does as well.
    std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
  }
  long StrToL(const char* text, char** end, int base) override {
    Count();
    return Real().StrToL(text, end, base);
  }
  unsigned long StrToUL(const char* text, char** end, int base) override {
    Count();
    return Real().StrToUL(text, end, base);
  }
  const char* StrChr(const char* text, int character) override {
    Count();
    return Real().StrChr(text, character);
  }
  const char* StrRChr(const char* text, int character) override {
    Count();
    return Real().StrRChr(text, character);
  }
  void Printf(const char* format, ...) override __attribute__((format(printf, 2, 3))) {
    va_list arguments;
    va_start(arguments, format);
    // Formatted twice: once to know the length. What crosses is the finished text, so that a format
    // never reaches the host with other arguments than its own.
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    va_end(arguments);
    if (IsOutside()) return Real().Printf("%s", text.c_str());
    CallOut(
        border_, Manner::kTell, Operation::kKernelPrintf,
        [&](Encoder& to) { border_.PutText(to, text.c_str()); },
        [&] { Real().Printf("%s", text.c_str()); }, [](Encoder&) {}, [](Decoder&) {});
  }

 private:
  bool IsOutside() { return !border_.Here().inside; }
  bool IsIgnored(Operation operation) const {
    return border_.InReplay() != nullptr && border_.InReplay()->Ignores(operation);
  }
  IQXKernel& Real() { return border_.Real(); }
  void Count() {
    BorderThread& thread = border_.Here();
    if (thread.inside) ++thread.pureCalls;
  }
  /// By name as well: one object may be two modules, and one that is loaded
  /// where another was unloaded may have its address.
  Wrapped* FindModule(const char* name, IQXModule* raw) {
    const std::lock_guard<std::mutex> lock(modulesMutex_);
    std::unique_ptr<Wrapped>& found = modules_[{raw, name != nullptr ? name : ""}];
    if (found == nullptr) found.reset(MakeModule(border_, name, raw));
    return found.get();
  }
  Wrapped* TakeModule(const char* name, Decoder& from) {
    Field field;
    if (!from.Take('o', field, true) || field.tag == '0') return nullptr;
    if (field.kind != ObjectKind::kModule || field.numbers[0] == 0 ||
        field.numbers[0] > 0xFFFFFFFF) {
      from.Fail("expected a module");
      return nullptr;
    }
    const auto number = static_cast<uint32_t>(field.numbers[0]);
    Wrapped* const known = border_.FindNumber(number);
    if (known == nullptr) return border_.Adopt(MakeModule(border_, name, nullptr), number);
    // A recording that calls one object by two modules' names would make one be
    // used as the other.
    if (known->kind == ObjectKind::kModule && known->label == (name != nullptr ? name : ""))
      return known;
    from.Fail("a module that has another name");
    return nullptr;
  }

  template <typename T, typename Question>
  T AskReal(Operation operation, const Question& question) {
    if (IsOutside()) return question();
    T answer{};
    CallOut(
        border_, Manner::kAsk, operation, [](Encoder&) {}, [&] { answer = question(); },
        [&](Encoder& to) { PutValue(border_, to, answer); },
        [&](Decoder& from) { answer = TakeValue<T>(border_, from); });
    return answer;
  }
  template <typename T, typename Make>
  T* Create(Operation operation, const Make& make) {
    return Create<T>(operation, make, [](Encoder&) {});
  }
  template <typename T, typename Make, typename Arguments>
  T* Create(Operation operation, const Make& make, const Arguments& arguments) {
    T* created = nullptr;
    CallOut(
        border_, Manner::kAsk, operation, arguments, [&] { created = Wrap(border_, make()); },
        [&](Encoder& to) { border_.PutObject(to, WrapperOf(created)); },
        [&](Decoder& from) { created = TakeObject<T>(border_, from); });
    return created;
  }
  template <typename T>
  void Destroy(Operation operation, T* object, void (IQXKernel::*destroy)(T*)) {
    CallOut(
        border_, Manner::kTell, operation,
        [&](Encoder& to) { border_.PutObject(to, WrapperOf(object)); },
        [&] {
          T* const raw = Unwrap(object);
          // Before another one can have its address.
          border_.Forget(WrapperOf(object));
          (Real().*destroy)(raw);
        },
        [](Encoder&) {}, [](Decoder&) {});
    if (border_.InReplay() != nullptr) border_.Forget(WrapperOf(object));
  }

  Border& border_;
  std::vector<const char*> argv_;  // in a replay
  std::mutex modulesMutex_;
  std::map<std::pair<IQXModule*, std::string>, std::unique_ptr<Wrapped>> modules_;
};

}  // namespace

PLEXION_WRAPPER(IQXKernel::Mutex, MutexFace)
PLEXION_WRAPPER(IQXKernel::Event, EventFace)
PLEXION_WRAPPER(IQXKernel::Thread, ThreadFace)

bool RunThreadProcedure(Border&, Wrapped* thread) {
  return static_cast<ThreadFace*>(thread)->RunProcedure();
}

IQXKernel* MakeKernel(Border& border) { return new KernelFace(border); }
void DestroyKernel(IQXKernel* kernel) { delete static_cast<KernelFace*>(kernel); }

}  // namespace plexion_record
