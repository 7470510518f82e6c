// The thread that starts, hears and collects contents' processes.

#include "host/player/remote/ContentProcesses.h"

#include <errno.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/player/remote/ProcessEnd.h"
#include "qx/core/IQXKernel.h"

namespace plexion_host::player::remote {

namespace {

constexpr std::chrono::milliseconds kPeriod{250};
/// While none of them does anything: a machine that shows a still picture is to sleep.
constexpr std::chrono::milliseconds kIdlePeriod{600};
/// While a process takes memory fast: its limit is to end it before the machine swaps.
constexpr std::chrono::milliseconds kShortPeriod{20};
constexpr int kGentleMs = 500;
/// What it prints is read no faster than that; a process whose pipe is full waits, or leaves something out.
constexpr double kPrintedPerSecond = 256 * 1024;
constexpr double kMostPrinted = 1024 * 1024;
/// A line costs more than its bytes: in a log each is a record.
constexpr double kPrintedPerLine = 128;
/// From one process before the others have their turn.
constexpr int kMostInTurn = 64;
constexpr size_t kMostLine = 4096;
/// Waiting processes cost memory; more contents than that are opened at once rarely.
constexpr size_t kMostWaiting = 4;

void Add(const Descriptor& epoll, int descriptor) {
  epoll_event event = {};
  event.events = EPOLLIN;
  event.data.fd = descriptor;
  epoll_ctl(epoll.Get(), EPOLL_CTL_ADD, descriptor, &event);
}

bool IsFor(const ContentOrder& a, const ContentOrder& b) {
  return a.kind == b.kind && a.network == b.network;
}

}  // namespace

ContentProcesses::ContentProcesses(std::string program)
    : program_(std::move(program)), epoll_(epoll_create1(EPOLL_CLOEXEC)) {
  // The wake-up is one descriptor among those of the processes, so that a job and an event are
  // waited for in one call.
  Add(epoll_, wake_.Fd());
  thread_ = NamedThread("PlexionContent", [this] { Run(); });
}

ContentProcesses::~ContentProcesses() {
  // Behind all jobs that were handed in before: whoever waits for one gets an answer.
  Post([this] { quit_ = true; });
  thread_.Join();
  for (const ChildPointer& child : children_) {
    PLEXION_CHECK(!child->events->HasListener(), "a process is released before its player goes");
  }
}

void ContentProcesses::Post(Job job) {
  {
    const MutexLock lock(mutex_);
    jobs_.push_back(std::move(job));
  }
  wake_.Set();
}

// The caller's stack holds `done` and `job`, which is safe since nobody leaves before it ran.
void ContentProcesses::PostAndWait(const Job& job) {
  bool done = false;
  Post([&] {
    job();
    const MutexLock lock(mutex_);
    done = true;
    changed_.NotifyAll();
  });
  MutexLock lock(mutex_);
  changed_.Wait(lock, [&done] { return done; });
}

void ContentProcesses::Prepare(const ContentOrder& order, const std::string& format) {
  Post([this, order, format] {
    const auto waiting = std::count_if(children_.begin(), children_.end(),
                                       [](const ChildPointer& child) { return !child->taken; });
    ChildPointer child = FindWaiting({});
    // Refused silently: preparing is a favour, Take starts one when it is needed.
    if (child == nullptr && static_cast<size_t>(waiting) >= kMostWaiting) return;
    std::string ignored;  // whoever takes one hears of it
    if (child == nullptr) child = StartChild(ignored);
    if (child != nullptr) PrepareChild(*child, order, format);
  });
}

TakenProcess ContentProcesses::Take(const ContentOrder& order, ProcessListener& listener,
                                    std::string& error) {
  TakenProcess taken;
  PostAndWait([&] {
    // One that has the right libraries open already, one that waits without any, a new one.
    ChildPointer child = FindWaiting(order);
    if (child == nullptr) child = FindWaiting({});
    if (child == nullptr) child = StartChild(error);
    if (child == nullptr) return;
    child->taken = true;
    // On this thread, so no event of the process can fall between its listener and the first read.
    child->events->SetListener(&listener);
    taken = {child->process, child->events};
  });
  return taken;
}

void ContentProcesses::Release(const TakenProcess& taken, bool gently) {
  PLEXION_CHECK(taken.process != nullptr, "what was taken is given back");
  const std::shared_ptr<ContentProcess>& process = taken.process;
  // From here on no event reaches the player; what follows may take its time without it.
  taken.events->SetListener(nullptr);
  if (gently) {
    // The process reads the end of its orders, tells what it counted, and goes. It has half a
    // second.
    shutdown(process->Socket(), SHUT_WR);
    pollfd end = {process->Handle(), POLLIN, 0};
    poll(&end, 1, kGentleMs);
  }
  process->Kill();
  if (!gently) return;
  // What it printed is to be read before its window says more.
  PostAndWait([&] {
    for (const ChildPointer& child : children_) {
      if (child->process == process) ReadOutput(*child);
    }
  });
}

void ContentProcesses::Run() {
  while (!quit_) {
    const bool busy = std::any_of(children_.begin(), children_.end(),
                                  [](const ChildPointer& child) { return child->taken; });
    epoll_event events[16];
    const int count =
        // Only played content is looked after by the clock: with none, or with prepared ones alone,
        // the thread sleeps until somebody calls.
        epoll_wait(epoll_.Get(), events, 16, busy ? static_cast<int>(period_.count()) : -1);
    // By number and not by pointer: an event of this batch may belong to a process that an earlier
    // one of the batch has ended.
    for (int i = 0; i < count; ++i) {
      const int descriptor = events[i].data.fd;
      if (descriptor == wake_.Fd()) {
        wake_.Clear();
        RunJobs();
      } else if (const ChildPointer child = FindBy(descriptor)) {
        Serve(child, descriptor);
      }
      period_ = std::min(period_, kPeriod);
    }
    if (Clock::now() - lookedAround_ >= period_) LookAround();
  }
  // Their players are gone (the destructor checks it); those that merely wait have no claim to an
  // end of their own.
  for (const ChildPointer& child : children_) child->process->Kill();
}

void ContentProcesses::RunJobs() {
  for (;;) {
    Job job;
    {
      const MutexLock lock(mutex_);
      if (jobs_.empty()) return;
      job = std::move(jobs_.front());
      jobs_.pop_front();
    }
    job();
  }
}

ContentProcesses::ChildPointer ContentProcesses::StartChild(std::string& error) {
  const auto child = std::make_shared<Child>();
  child->process = ContentProcess::Start(program_, error);
  if (child->process == nullptr) return nullptr;
  child->events = std::make_shared<ProcessEvents>(*child->process, protection_);
  child->mayPrint = kMostPrinted;
  Add(epoll_, child->process->Socket());
  Add(epoll_, child->process->Output());
  Add(epoll_, child->process->Handle());
  children_.push_back(child);
  return child;
}

ContentProcesses::ChildPointer ContentProcesses::FindWaiting(const ContentOrder& order) {
  for (const ChildPointer& child : children_) {
    if (!child->taken && IsFor(child->order, order)) return child;
  }
  return nullptr;
}

void ContentProcesses::PrepareChild(Child& child, const ContentOrder& order,
                                    const std::string& format) {
  child.order = order;
  // One that does not take it is found out when its content comes.
  child.process->SendText(ContentRecord(Kind::kPrepare, order), format);
}

ContentProcesses::ChildPointer ContentProcesses::FindBy(int descriptor) {
  for (const ChildPointer& child : children_) {
    const ContentProcess& process = *child->process;
    if (descriptor == process.Socket() || descriptor == process.Output() ||
        descriptor == process.Handle()) {
      return child;
    }
  }
  return nullptr;
}

void ContentProcesses::Serve(const ChildPointer& child, int descriptor) {
  if (descriptor == child->process->Output()) {
    ReadOutput(*child);
  } else if (descriptor == child->process->Socket()) {
    ReadEvents(*child);
  } else {
    CollectIfEnded(child);
    // The pidfd gets readable when the process has ended.
  }
}

void ContentProcesses::ReadEvents(Child& child) {
  if (child.events->Read() != ProcessEvents::Left::kClosed) return;
  // There is nothing to be heard any more; its end is another event.
  epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, child.process->Socket(), nullptr);
}

void ContentProcesses::ReadOutput(Child& child) {
  char bytes[4096];
  // In turns: one process that prints without end does not keep the others' events waiting.
  for (int i = 0; i < kMostInTurn && child.outputOpen; ++i) {
    // Out of credit: not read any more, so its pipe fills and the process waits, or leaves it out.
    // LookAround takes it in again when credit has come.
    if (child.mayPrint < 0) return PauseOutput(child);
    const ssize_t count = read(child.process->Output(), bytes, sizeof bytes);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return;
    if (count == 0) {
      child.outputOpen = false;
      PauseOutput(child);
      PrintLines(child, true);
      return;
    }
    child.mayPrint -= static_cast<double>(count);
    child.printed.append(bytes, static_cast<size_t>(count));
    PrintLines(child, false);
  }
}

void ContentProcesses::PauseOutput(Child& child) {
  epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, child.process->Output(), nullptr);
  child.outputPaused = true;
}

void ContentProcesses::PrintLines(Child& child, bool all) {
  size_t begin = 0;
  while (begin < child.printed.size()) {
    size_t end = child.printed.find('\n', begin);
    const bool whole = end != std::string::npos;
    if (!whole) end = child.printed.size();
    // A piece without a line's end waits for the rest, but not for ever: a process that never ends
    // its line would fill our memory.
    if (!whole && !all && end - begin < kMostLine) break;
    end = std::min(end, begin + kMostLine);
    // Whatever content makes a library print, it is one line of text here.
    const std::string line = Printable(std::string_view(child.printed).substr(begin, end - begin));
    IQXKernel::GetKernel()->Printf("%s\n", line.c_str());
    child.mayPrint -= kPrintedPerLine;
    begin = end + (end < child.printed.size() && child.printed[end] == '\n' ? 1 : 0);
  }
  child.printed.erase(0, begin);
}

void ContentProcesses::CollectIfEnded(const ChildPointer& child) {
  siginfo_t end;
  if (!child->process->TakeEnd(end)) return;
  // What it said before comes first, whether it was read yet or not.
  child->events->ReadAll();
  ReadOutput(*child);
  PrintLines(*child, true);
  for (const int descriptor :
       {child->process->Socket(), child->process->Output(), child->process->Handle()}) {
    epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, descriptor, nullptr);
  }
  child->events->TellEnd(ErrorOfEnd(end));
  children_.remove(child);
}

void ContentProcesses::LookAround() {
  const std::chrono::duration<double> since = Clock::now() - lookedAround_;
  lookedAround_ = Clock::now();
  for (const ChildPointer& child : children_) {
    child->mayPrint = std::min(kMostPrinted, child->mayPrint + since.count() * kPrintedPerSecond);
    // Its descriptor was taken out of the epoll when it had no credit; level-triggered, it would
    // have woken the thread all the time.
    if (!child->outputPaused || !child->outputOpen || child->mayPrint < 0) continue;
    child->outputPaused = false;
    Add(epoll_, child->process->Output());
  }
  period_ = kIdlePeriod;
  for (const ChildPointer& child : children_) {
    const int64_t worked = child->process->WorkedNanoseconds();
    if (std::exchange(child->worked, worked) != worked) period_ = std::min(period_, kPeriod);
    if (child->events->TellMemory()) period_ = kShortPeriod;
  }
}

}  // namespace plexion_host::player::remote
