// Which simulated thread runs, and when time passes.

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "qx/core/Check.h"
#include "sim/kernel/SimKernel.h"
#include "sim/schedule/Sanitizers.h"

namespace plexion_sim {

namespace {
constexpr Nanoseconds kNever = IQXKernel::kInfinite;
}

SimKernel::SimKernel(const SimOptions& options)
    : options_(options),
      ownScheduler_(options.seed, options.latePermille),
      scheduler_(options.scheduler != nullptr ? options.scheduler : &ownScheduler_) {
  journal_.SetOn(options.journal);
  outside_.name = "outside";
  outside_.number = Switch::kTimePasses;
  for (const std::string& word : options_.commandLine) argv_.push_back(word.c_str());
  argv_.push_back(nullptr);
}

SimTask* SimKernel::AddTask(const std::string& name, SimTask::Kind kind,
                            std::function<void()> body) {
  QX_CHECK(body != nullptr, "a thread needs something to do");
  auto task = std::make_unique<SimTask>();
  task->number = static_cast<uint32_t>(tasks_.size());
  task->name = name;
  task->kind = kind;
  task->body = std::move(body);
  task->fiber = std::make_unique<Fiber>(&SimKernel::TaskEntry, task.get());
  task->waitsFor = this;  // until it first runs: where TaskEntry finds the kernel
  if (kind == SimTask::Kind::kHost) ++liveHosts_;
  live_.push_back(task.get());
  tasks_.push_back(std::move(task));
  scheduler_->ThreadStarted(live_.back()->number);
  return live_.back();
}

void SimKernel::TaskEntry(void* argument) {
  auto* task = static_cast<SimTask*>(argument);
  auto* kernel = static_cast<SimKernel*>(const_cast<void*>(task->waitsFor));
  QX_CHECK(kernel != nullptr, "the kernel that the new thread was told of");
  task->waitsFor = nullptr;
  if (kernel->ignoresDataRaces_) Acquired(kernel);
  kernel->journal_.Add(kernel->now_, task->name, "begins", "");
  task->body();
  kernel->EndTask();
}

void SimKernel::EndTask() {
  SimTask* task = current_;
  journal_.Add(now_, task->name, "ends", "");
  if (!task->held.empty()) {
    std::string names;
    for (const SimMutex* mutex : task->held) names += " " + mutex->GetName();
    Report(FindingKind::kLockMisuse, "the thread ended while it held" + names);
  }
  QX_CHECK(task != &outside_ && !task->ended, "a simulated thread ends once");
  task->ended = true;
  Released(task);
  if (ignoresDataRaces_) Released(this);
  task->call = "ended";
  live_.erase(std::find(live_.begin(), live_.end(), task));
  if (task->kind == SimTask::Kind::kHost) --liveHosts_;
  // It stands on that very stack until the switch: others give the memory back.
  endedFibers_.push_back(std::move(task->fiber));
  Fiber& own = *endedFibers_.back();
  // The run is over with the host's last thread, whatever the platform's still wait for.
  SimTask* next = liveHosts_ == 0 ? &outside_ : PickNext();
  if (next == nullptr) {
    Report(FindingKind::kDeadlock, WhoWaitsForWhat());
    std::abort();
  }
  current_ = next;
  ++switches_;
  Fiber::SwitchForGood(own, next == &outside_ ? outsideFiber_ : *next->fiber);
}

bool SimKernel::Run(std::function<void()> body) {
  QX_CHECK(body != nullptr, "something to run");
  if (failed_) return false;
  if (IsRunning()) {
    body();
    return true;
  }
  AddTask("host", SimTask::Kind::kHost, std::move(body));
  SimTask* next = PickNext();
  current_ = next;
  Fiber::Switch(outsideFiber_, *next->fiber);
  current_ = &outside_;
  for (const auto& task : tasks_) {
    // After a run that was given up nothing comes from the threads any more either.
    if (!task->ended) task->fiber->ReleasedHere(outsideFiber_, task.get());
    Acquired(task.get());
  }
  endedFibers_.clear();
  ReportDataRaces();
  return !failed_;
}

SimTask* SimKernel::Spawn(const std::string& name, std::function<void()> body) {
  Note("Spawn", name);
  return AddTask(name, SimTask::Kind::kHost, std::move(body));
}

SimTask* SimKernel::SpawnPlatform(const std::string& name, std::function<void()> body) {
  return AddTask(name, SimTask::Kind::kPlatform, std::move(body));
}

bool SimKernel::IsReady(const SimTask& task) const {
  switch (task.waits) {
    case SimTask::Waits::kNot:
      return true;
    case SimTask::Waits::kForMutex: {
      const auto* mutex = static_cast<const SimMutex*>(task.waitsFor);
      return mutex->owner_ == nullptr || mutex->destroyed_;
    }
    case SimTask::Waits::kForEvent: {
      const auto* event = static_cast<const SimEvent*>(task.waitsFor);
      if (task.signalled || event->signalled_ || event->destroyed_) return true;
      break;
    }
    case SimTask::Waits::kForThread: {
      const auto* thread = static_cast<const SimThread*>(task.waitsFor);
      if (thread->task_ == nullptr || thread->task_->ended) return true;
      break;
    }
    case SimTask::Waits::kForCondition:
      if (task.condition()) return true;
      break;
    case SimTask::Waits::kForTime:
      break;
  }
  return task.deadline <= now_;
}

Nanoseconds SimKernel::NextDeadline() const {
  Nanoseconds next = kNever;
  for (const SimTask* task : live_) {
    if (task->waits != SimTask::Waits::kNot && task->deadline > now_) {
      next = std::min(next, task->deadline);
    }
  }
  return next;
}

SimTask* SimKernel::PickNext() {
  for (;;) {
    candidates_.clear();
    size_t running = SIZE_MAX;
    for (const SimTask* task : live_) {
      if (!IsReady(*task)) continue;
      if (task == current_) running = candidates_.size();
      candidates_.push_back(task->number);
    }
    const size_t count = candidates_.size();
    const bool mayPass = count > 0 && options_.latePermille > 0 && NextDeadline() != kNever;
    size_t chosen = 0;
    // Where there is no choice the scheduler is not asked: its record has choices only, and stays short.
    if (count > 1 || mayPass) {
      const Decision decision{
          decisions_++, now_,          candidates_.data(), count, std::min(running, count),
          mayPass,      current_->call};
      if (decisions_ > options_.decisionLimit) {
        Report(FindingKind::kRunAway, "more than " + std::to_string(options_.decisionLimit) +
                                          " decisions; " + WhoWaitsForWhat());
      }
      chosen = scheduler_->Choose(decision);
      // A record of another run may name what cannot run now.
      if (chosen > count || (chosen == count && !mayPass)) chosen = UsualChoice(decision);
      if (chosen != UsualChoice(decision)) {
        taken_.switches.push_back(
            {decision.number, chosen == count ? Switch::kTimePasses : candidates_[chosen]});
      }
    }
    if (chosen < count) return tasks_[candidates_[chosen]].get();
    const Nanoseconds next = NextDeadline();
    if (next == kNever) return nullptr;
    if (next > options_.timeLimit) {
      Report(FindingKind::kRunAway, "more than " +
                                        std::to_string(options_.timeLimit / kMillisecond) +
                                        " ms of virtual time; " + WhoWaitsForWhat());
    }
    now_ = next;
  }
}

void SimKernel::LeaveFor(SimTask* next) {
  SimTask* self = current_;
  QX_CHECK(next != nullptr, "a thread to go on with");
  if (next == self) return;
  QX_CHECK(!next->ended && next->fiber != nullptr, "only a thread that lives can go on");
  current_ = next;
  ++switches_;
  if (ignoresDataRaces_) Released(this);
  Fiber::Switch(*self->fiber, *next->fiber);
  if (ignoresDataRaces_) Acquired(this);
#ifndef SIM_THREAD_SANITIZER
  // Whoever ran until now may have ended. Under the thread sanitizer fibers are kept to the end of
  // the run: a stack that changes hands within it would order the two threads.
  endedFibers_.clear();
#endif
}

void SimKernel::GoOn() {
  SimTask* next = PickNext();
  if (next == nullptr) {
    Report(FindingKind::kDeadlock, WhoWaitsForWhat());
    return;
  }
  LeaveFor(next);
}

void SimKernel::ReportDataRaces() {
  const uint64_t races = DataRaces();
  if (races == dataRaces_) return;
  dataRaces_ = races;
  Report(FindingKind::kDataRace, "the thread sanitizer's report is on the error output");
}

/// Before every choice: what must hold at any moment.
void SimKernel::Look() {
  ReportDataRaces();
  if (!watcher_) return;
  const Unseen unseen;
  watcher_();
}

void SimKernel::Point(const char* call) {
  if (!IsRunning()) return;
  current_->call = call;
  Look();
  // Nobody else to go on, and no time that may pass: most calls of a quiet story end here.
  if (live_.size() == 1 && options_.latePermille == 0) return;
  GoOn();
}

void SimKernel::BlockUntil(const char* call, SimTask::Waits waits, const void* object,
                           Nanoseconds timeout) {
  SimTask* self = current_;
  self->call = call;
  QX_CHECK(waits != SimTask::Waits::kNot, "whoever blocks waits for something");
  self->waits = waits;
  self->waitsFor = object;
  self->signalled = false;
  self->deadline = DeadlineOf(timeout);
  Look();
  GoOn();
  self->waits = SimTask::Waits::kNot;
  self->waitsFor = nullptr;
}

bool SimKernel::WaitUntil(const char* call, std::function<bool()> condition, Nanoseconds timeout) {
  if (!IsRunning()) {
    bool held = false;
    Run([&] { held = WaitUntil(call, condition, timeout); });
    return held;
  }
  QX_CHECK(condition != nullptr, "a wait needs something to wait for");
  SimTask* self = current_;
  self->condition = std::move(condition);
  BlockUntil(call, SimTask::Waits::kForCondition, nullptr, timeout);
  const bool held = self->condition();
  self->condition = nullptr;
  return held;
}

Nanoseconds SimKernel::DeadlineOf(Nanoseconds timeout) const {
  QX_CHECK(now_ >= 0, "virtual time begins at 0");
  if (timeout <= 0) return now_;
  return timeout >= kNever - now_ ? kNever : now_ + timeout;
}

void SimKernel::Note(const char* call, std::string detail) {
  journal_.Add(now_, current_->name, call, std::move(detail));
}

void SimKernel::Report(FindingKind kind, const std::string& text) {
  // What a run that was given up leaves behind says nothing more.
  if (failed_) return;
  findings_.Add({kind, now_, current_->name, text});
  journal_.Add(now_, current_->name, "FOUND", std::string(NameOf(kind)) + ": " + text);
  if (!IsFatal(kind)) return;
  failed_ = true;
  if (IsRunning()) GiveUp();
}

void SimKernel::GiveUp() {
  // The threads stay where they are, for good: nothing of the module's can be unwound.
  SimTask* self = current_;
  Fiber& own = self->fiber != nullptr ? *self->fiber : *endedFibers_.back();
  current_ = &outside_;
  Fiber::Switch(own, outsideFiber_);
  std::fprintf(stderr, "plexion_sim: a run that was given up went on\n");
  std::abort();
}

std::string SimKernel::Describe(const SimTask& task) const {
  std::string text = task.name + " ";
  switch (task.waits) {
    case SimTask::Waits::kNot:
      text += std::string("is in ") + task.call;
      break;
    case SimTask::Waits::kForMutex: {
      const auto* mutex = static_cast<const SimMutex*>(task.waitsFor);
      text += "wants " + mutex->name_;
      if (mutex->owner_ != nullptr) text += ", which " + mutex->owner_->name + " holds";
      break;
    }
    case SimTask::Waits::kForEvent:
      text += "waits for " + static_cast<const SimEvent*>(task.waitsFor)->name_;
      break;
    case SimTask::Waits::kForThread:
      text += "waits for the end of " + static_cast<const SimThread*>(task.waitsFor)->name_;
      break;
    case SimTask::Waits::kForCondition:
      text += std::string("waits in ") + task.call;
      break;
    case SimTask::Waits::kForTime:
      text += "sleeps";
      break;
  }
  if (task.waits != SimTask::Waits::kNot && task.deadline == kNever) text += ", for ever";
  if (!task.held.empty()) {
    text += "; it holds";
    for (const SimMutex* mutex : task.held) {
      text += (mutex == task.held.front() ? " " : ", ") + mutex->name_;
    }
  }
  return text;
}

std::string SimKernel::WhoWaitsForWhat() const {
  std::string text;
  for (const SimTask* task : live_) {
    // A scripted module that waits for work says nothing.
    if (task->kind == SimTask::Kind::kPlatform && task->held.empty() &&
        task->waits == SimTask::Waits::kForCondition) {
      continue;
    }
    text += (text.empty() ? "" : "\n  ") + Describe(*task);
  }
  return text;
}

}  // namespace plexion_sim
