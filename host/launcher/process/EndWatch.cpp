// The end of the process, whatever runs: hears the signals, and ends by force what does not end.

#include "host/launcher/process/EndWatch.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/kernel/OperatorLog.h"

namespace plexion_host {
namespace {

sigset_t HandledSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, number);
  return signals;
}

// Past the console, whose lock somebody may hold who waits for a reader; and only as far as it goes
// at once.
void WriteAtOnce(const std::string& text) {
  pollfd ready{STDERR_FILENO, POLLOUT, 0};
  // A pipe whose reader sleeps would keep this thread, and with it the end.
  if (poll(&ready, 1, 0) != 1 || (ready.revents & POLLOUT) == 0) return;
  const ssize_t written = write(STDERR_FILENO, text.data(), std::min<size_t>(text.size(), 4096));
  (void)written;  // there is nobody else to tell
}

}  // namespace

void EndWatch::BlockSignals() {
  const sigset_t signals = HandledSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

// Before Start: signals that come in between are blocked and wait in the descriptor.
EndWatch::EndWatch() {
  const sigset_t signals = HandledSignals();
  // Read like a file on a thread of its own, so that what is done for a signal may take locks and
  // memory.
  signals_ = Descriptor(signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC));
  termios settings{};
  if (tcgetattr(STDIN_FILENO, &settings) == 0) terminal_ = settings;
}

EndWatch::~EndWatch() {
  {
    const MutexLock lock(mutex_);
    stopping_ = true;
  }
  wakeUp_.Set();
  thread_.Join();
}

void EndWatch::Start(std::function<void()> onSignal,
                     std::function<std::vector<std::string>()> whatRuns,
                     std::function<int()> exitCode) {
  PLEXION_CHECK(!thread_.IsJoinable(), "the end is watched once");
  PLEXION_CHECK(onSignal != nullptr && whatRuns != nullptr && exitCode != nullptr,
                "somebody ends what runs, names it, and says how it ends");
  onSignal_ = std::move(onSignal);
  whatRuns_ = std::move(whatRuns);
  exitCode_ = std::move(exitCode);
  thread_ = NamedThread("PlexionEnd", [this] { Run(); });
}

void EndWatch::EndWithin(std::chrono::milliseconds patience) {
  {
    const MutexLock lock(mutex_);
    const Clock::time_point end = Clock::now() + patience;
    if (!end_ || end < *end_) end_ = end;
  }
  wakeUp_.Set();
}

void EndWatch::SetStep(const char* step) {
  PLEXION_CHECK(step != nullptr, "a step has a name");
  const MutexLock lock(mutex_);
  step_ = step;
}

void EndWatch::SetSocket(const std::string& path) {
  struct stat info {};
  // By device and inode: another launcher may have put its socket there by the time this one ends.
  if (lstat(path.c_str(), &info) != 0) return;
  const MutexLock lock(mutex_);
  socket_ = path;
  socketDevice_ = info.st_dev;
  socketNode_ = info.st_ino;
}

void EndWatch::SetCleanUp(std::function<void()> cleanUp) {
  const MutexLock lock(mutex_);
  cleanUp_ = std::move(cleanUp);
}

void EndWatch::Run() {
  for (;;) {
    int timeoutMs = -1;
    {
      const MutexLock lock(mutex_);
      if (stopping_) return;
      if (end_) {
        // Up and not down: a millisecond too early would come round with nothing to do.
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end_ - Clock::now());
        timeoutMs = static_cast<int>(std::clamp<int64_t>(left.count(), 0, 1000000));
      }
    }
    // In this thread, which holds nothing and waits for nothing: the rest of the process may be in
    // any state.
    if (timeoutMs == 0) EndByForce(exitCode_(), WhatIsLeft());
    pollfd sources[] = {{signals_.Get(), POLLIN, 0}, {wakeUp_.Fd(), POLLIN, 0}};
    if (poll(sources, 2, timeoutMs) <= 0) continue;
    if (sources[1].revents != 0) wakeUp_.Clear();
    if (sources[0].revents != 0) HandleSignals();
  }
}

void EndWatch::HandleSignals() {
  signalfd_siginfo info{};
  while (read(signals_.Get(), &info, sizeof(info)) == static_cast<ssize_t>(sizeof(info))) {
    // Impatience needs no explanation.
    if (++signalsSeen_ > 1) EndByForce(128 + static_cast<int>(info.ssi_signo), "");
    EndWithin(kAfterSignal);
    onSignal_();
  }
}

std::string EndWatch::WhatIsLeft() {
  // Names are contents': they may hold what a terminal would obey, and passwords.
  std::vector<std::string> running = whatRuns_();
  for (std::string& name : running) name = PrintableWord(WithoutPasswords(name));
  const MutexLock lock(mutex_);
  return "plexion: ended by force; this did not stop: " +
         (running.empty() ? std::string(step_) : Join(running)) + "\n";
}

void EndWatch::EndByForce(int code, const std::string& message) {
  // A line editor may have left the terminal without echo; nobody will put that right after _exit.
  // A terminal that has another process in the foreground would stop this one instead.
  signal(SIGTTOU, SIG_IGN);
  if (terminal_) tcsetattr(STDIN_FILENO, TCSANOW, &*terminal_);
  WriteAtOnce(message);
  // Whoever sets the socket or the cleaning up holds this lock for an instant only.
  const MutexLock lock(mutex_);
  struct stat info {};
  const bool own = !socket_.empty() && lstat(socket_.c_str(), &info) == 0 &&
                   info.st_dev == socketDevice_ && info.st_ino == socketNode_;
  if (own) unlink(socket_.c_str());
  if (cleanUp_) cleanUp_();
  _exit(code);
}

}  // namespace plexion_host
