// Replays a recording: the recorded host drives a module, call by call.

#include "sim/replay/Replay.h"

#include <dlfcn.h>

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <set>

#include "sim/kernel/SimKernel.h"
#include "sim/replay/Calls.h"
#include "sim/replay/Story.h"

// The module that is linked in.
extern "C" IQXModule* IQXModule_IPlexion_ModuleLoad();
extern "C" void IQXModule_IPlexion_ModuleUnload(IQXModule* service);

namespace plexion_sim {

using plexion_record::Border;
using plexion_record::BorderThread;
using plexion_record::Decoder;
using plexion_record::Encoder;
using plexion_record::Field;
using plexion_record::ObjectKind;
using plexion_record::Operation;
using plexion_record::Record;
using plexion_record::Recording;
using plexion_record::RecordKind;
using plexion_record::Wrapped;

namespace {

constexpr size_t kMostThreads = 1024;
constexpr size_t kNeighboursBefore = 8;
constexpr size_t kNeighboursAfter = 4;
constexpr uint64_t kMostObjects = 0xFFFFFFFF;

SimOptions KernelOptions(Scheduler& scheduler) {
  SimOptions options;
  options.scheduler = &scheduler;
  // The recorded order is the schedule: the simulated kernel has none of its
  // own to offer.
  options.decisionPoints = DecisionPoints::kSynchronisation;
  options.journal = false;
  options.timeLimit = IQXKernel::kInfinite;
  options.decisionLimit = UINT64_MAX;
  return options;
}

/// What a recording says of its host, in the place of one.
class ReplayedHost final : public plexion_record::Outside {
 public:
  ReplayedHost(const Recording& recording, const ReplayOptions& options)
      : recording_(recording),
        options_(options),
        end_(recording.Gaps().empty() ? recording.Records().size() : recording.Gaps().front()),
        scheduler_(Schedule()),
        kernel_(KernelOptions(scheduler_)),
        border_(*this),
        moduleKernel_(plexion_record::MakeKernel(border_)) {}

  ReplayResult Run() {
    IQXModule_QXModule_PutKernel(moduleKernel_);
    if (!OpenModule()) {
      result_.outcome = ReplayResult::Outcome::kNoModule;
      return result_;
    }
    SkipIgnored();
    std::set<uint32_t> threads;
    for (size_t i = 0; i < end_; ++i) {
      const Record& record = recording_.Records()[i];
      if (record.header.thread != 0) threads.insert(record.header.thread);
    }
    if (threads.size() > kMostThreads) {
      return Unreadable(std::to_string(threads.size()) + " threads; expected no more than " +
                        std::to_string(kMostThreads));
    }
    result_.outcome = ReplayResult::Outcome::kEqual;
    kernel_.Run([&] {
      for (const uint32_t number : threads) {
        SimTask* const task = kernel_.SpawnPlatform(recording_.ThreadName(number),
                                                    [this, number] { BeThread(number); });
        BorderThread& thread = threads_[task];
        thread.number = number;
      }
      kernel_.WaitUntil(
          "replay", [this] { return done_ || next_ >= end_; }, IQXKernel::kInfinite);
    });
    return Finish();
  }

  // Outside.

  BorderThread& Here() override { return threads_[kernel_.CurrentTask()]; }

  void Await() override {
    const uint32_t self = Here().number;
    if (!IsTurnOf(self)) {
      kernel_.WaitUntil(
          "turn", [this, self] { return IsTurnOf(self); }, IQXKernel::kInfinite);
    }
  }

  Decoder Compare(RecordKind kind, Operation operation, const Encoder& given) override {
    const Record& record = Next();
    Decoder rest;
    if (record.header.kind != kind || record.header.operation != operation ||
        !BeginsWith(record.Fields(), Decoder(given.Data(), given.Size()), rest)) {
      Differ(kind, operation, given);
    }
    return rest;
  }

  void Done(const Decoder& used) override {
    Decoder rest = used;
    Field field;
    while (rest.Next(field)) {
      if (!field.note) Stop("the recording has more than the call: " + Describe(field));
    }
    if (rest.Failed()) Stop(rest.Reason());
    ++result_.compared;
    ++next_;
    SkipIgnored();
  }

  void Nested() override {
    for (;;) {
      Await();
      const Record& record = Next();
      if (record.header.kind != RecordKind::kEnter || !IsInward(record.header.operation)) return;
      const std::string fault = MakeCall(border_, record, module_);
      if (!fault.empty()) Stop(fault);
    }
  }

  Wrapped* Find(ObjectKind kind, uint64_t number, Decoder& from) override {
    if (number == 0 || number > kMostObjects) {
      from.Fail("object number " + std::to_string(number));
      return nullptr;
    }
    Wrapped* const known = border_.FindNumber(static_cast<uint32_t>(number));
    if (known != nullptr && known->kind == kind) return known;
    Wrapped* const made = known == nullptr ? MakeHostObject(border_, kind) : nullptr;
    if (made == nullptr) {
      from.Fail(std::string(ObjectKindName(kind)) + "#" + std::to_string(number) +
                ", which there is not");
      return nullptr;
    }
    return border_.Adopt(made, static_cast<uint32_t>(number));
  }

  bool Ignores(Operation operation) const override {
    return options_.ignoreMemory &&
           (operation == Operation::kKernelAllocate || operation == Operation::kKernelFree);
  }
  IQXKernel& Kernel() override { return kernel_; }
  const char* Keep(std::string_view text) override { return kept_.emplace_back(text).c_str(); }

 private:
  const Record& Next() const { return recording_.Records()[next_]; }
  bool IsTurnOf(uint32_t thread) const {
    return !done_ && next_ < end_ && Next().header.thread == thread;
  }
  void SkipIgnored() {
    while (next_ < end_ &&
           (Next().header.kind == RecordKind::kNote || Ignores(Next().header.operation))) {
      ++next_;
    }
  }

  bool OpenModule() {
    if (options_.module.empty()) {
      module_.load = &IQXModule_IPlexion_ModuleLoad;
      module_.unload = &IQXModule_IPlexion_ModuleUnload;
      return true;
    }
    void* const library = dlopen(options_.module.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      const char* const reason = dlerror();
      result_.report = std::string("no module: ") +
                       (reason != nullptr ? reason : options_.module.c_str()) + "\n";
      return false;
    }
    using Put = void (*)(IQXKernel*);
    const auto put = reinterpret_cast<Put>(dlsym(library, "IQXModule_QXModule_PutKernel"));
    module_.load = reinterpret_cast<plexion_record::Recorder::LoadEntry>(
        dlsym(library, "IQXModule_IPlexion_ModuleLoad"));
    module_.unload = reinterpret_cast<plexion_record::Recorder::UnloadEntry>(
        dlsym(library, "IQXModule_IPlexion_ModuleUnload"));
    if (put == nullptr || module_.load == nullptr || module_.unload == nullptr) {
      result_.report = "no module: " + options_.module +
                       " lacks an entry point; expected a library of the module IPlexion\n";
      return false;
    }
    put(moduleKernel_);
    return true;
  }

  /// What a recorded thread's own code did: it called the module.
  void BeThread(uint32_t) {
    Nested();
    Stop("a call out of the module by a thread that is not in it");
  }

  /// The calling thread stays where it is: a module's code cannot be unwound.
  [[noreturn]] void Park() {
    done_ = true;
    for (;;)
      kernel_.WaitUntil(
          "stopped", [] { return false; }, IQXKernel::kInfinite);
  }

  [[noreturn]] void Stop(const std::string& fault) {
    Unreadable("record " + std::to_string(Next().number) + ": " + fault + "\n  " +
               StoryLine(recording_, Next(), 0));
    Park();
  }

  ReplayResult Unreadable(const std::string& fault) {
    result_.outcome = ReplayResult::Outcome::kUnreadable;
    result_.report = "the recording cannot be replayed: " + fault + "\n";
    return result_;
  }

  [[noreturn]] void Differ(RecordKind kind, Operation operation, const Encoder& given) {
    Record made = Next();
    made.header.kind = kind;
    made.header.operation = operation;
    made.header.flags = 0;
    made.fields = given.Data();
    made.fieldBytes = given.Size();
    std::string report = "the module differs at record " + std::to_string(Next().number) +
                         ", after " + std::to_string(result_.compared) + " equal ones\n\n";
    Neighbours(report, next_ > kNeighboursBefore ? next_ - kNeighboursBefore : 0, next_);
    report += "recorded  " + StoryLine(recording_, Next(), 0) + "\n";
    report += "now       " + StoryLine(recording_, made, 0) + "\n";
    Neighbours(report, next_ + 1, std::min(end_, next_ + 1 + kNeighboursAfter));
    report += "\nthe same thread before:\n";
    SameThread(report);
    result_.outcome = ReplayResult::Outcome::kDifferent;
    result_.report = std::move(report);
    Park();
  }

  void Neighbours(std::string& report, size_t from, size_t to) const {
    for (size_t i = from; i < to; ++i) {
      report += "          " + StoryLine(recording_, recording_.Records()[i], 0) + "\n";
    }
  }

  void SameThread(std::string& report) const {
    std::vector<size_t> last;
    for (size_t i = next_; i > 0 && last.size() < kNeighboursBefore; --i) {
      if (recording_.Records()[i - 1].header.thread == Next().header.thread) last.push_back(i - 1);
    }
    for (auto each = last.rbegin(); each != last.rend(); ++each)
      Neighbours(report, *each, *each + 1);
  }

  ReplayResult Finish() {
    const Findings& findings = kernel_.GetFindings();
    if (result_.outcome == ReplayResult::Outcome::kEqual && !findings.All().empty()) {
      result_.outcome = ReplayResult::Outcome::kDifferent;
      result_.report = "after " + std::to_string(result_.compared) +
                       " equal records the simulated kernel found:\n" + findings.ToText() +
                       "\nthe recording was at\n  " +
                       (next_ < end_ ? StoryLine(recording_, Next(), 0) : "its end") + "\n";
    }
    if (result_.outcome == ReplayResult::Outcome::kEqual) {
      result_.report = "equal: " + std::to_string(result_.compared) + " records of " +
                       std::to_string(threads_.size()) + " threads\n";
      if (end_ < recording_.Records().size()) {
        result_.report += "the ring has dropped what follows record " +
                          std::to_string(recording_.Records()[end_ - 1].number) +
                          ": the rest can be shown, not replayed\n";
      }
    }
    return result_;
  }

  const Recording& recording_;
  const ReplayOptions options_;
  const size_t end_;
  size_t next_ = 0;
  bool done_ = false;
  ReplayResult result_;

  ReplayScheduler scheduler_;
  SimKernel kernel_;
  std::map<const SimTask*, BorderThread> threads_;
  std::deque<std::string> kept_;
  Border border_;
  IQXKernel* const moduleKernel_;
  ReplayedModule module_;
};

}  // namespace

ReplayResult ReplayRecording(const Recording& recording, const ReplayOptions& options) {
  // For good: threads stand in the module's code, and it keeps its kernel.
  static std::deque<std::unique_ptr<ReplayedHost>>* const hosts =
      new std::deque<std::unique_ptr<ReplayedHost>>();
  hosts->push_back(std::make_unique<ReplayedHost>(recording, options));
  return hosts->back()->Run();
}

}  // namespace plexion_sim
