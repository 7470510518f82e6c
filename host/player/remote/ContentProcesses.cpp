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
  Add(epoll_, wake_.Fd());
  thread_ = NamedThread("PlexionContent", [this] { Run(); });
}

ContentProcesses::~ContentProcesses() {
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
    ChildPointer child = FindWaiting(order);
    if (child == nullptr) child = FindWaiting({});
    if (child == nullptr) child = StartChild(error);
    if (child == nullptr) return;
    child->taken = true;
    child->events->SetListener(&listener);
    taken = {child->process, child->events};
  });
  return taken;
}

void ContentProcesses::Release(const TakenProcess& taken, bool gently) {
  const std::shared_ptr<ContentProcess>& process = taken.process;
  taken.events->SetListener(nullptr);
  if (gently) {
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
        epoll_wait(epoll_.Get(), events, 16, busy ? static_cast<int>(period_.count()) : -1);
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
  }
}

void ContentProcesses::ReadEvents(Child& child) {
  if (child.events->Read() != ProcessEvents::Left::kClosed) return;
  // There is nothing to be heard any more; its end is another event.
  epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, child.process->Socket(), nullptr);
}

void ContentProcesses::ReadOutput(Child& child) {
  char bytes[4096];
  for (int i = 0; i < kMostInTurn && child.outputOpen; ++i) {
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
