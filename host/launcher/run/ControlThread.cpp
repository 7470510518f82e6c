#include "host/launcher/run/ControlThread.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace plexion_host {
namespace {

constexpr int kQuitRetryMs = 50;

sigset_t HandledSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, number);
  return signals;
}

// A line editor may have left the terminal without echo; nobody will put that right after _exit.
void RestoreTerminalEcho() {
  termios settings{};
  if (tcgetattr(STDIN_FILENO, &settings) != 0) return;
  settings.c_lflag |= ECHO | ICANON | ISIG;
  tcsetattr(STDIN_FILENO, TCSANOW, &settings);
}

}  // namespace

void ControlThread::BlockSignals() {
  const sigset_t signals = HandledSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

ControlThread::ControlThread() {
  const sigset_t signals = HandledSignals();
  signals_ = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
  wakeUp_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
}

ControlThread::~ControlThread() {
  Stop();
  if (signals_ >= 0) close(signals_);
  if (wakeUp_ >= 0) close(wakeUp_);
}

void ControlThread::Start(std::function<bool()> onQuit) {
  onQuit_ = std::move(onQuit);
  thread_ = std::thread([this] { Run(); });
}

void ControlThread::Stop() {
  if (!thread_.joinable()) return;
  stopping_ = true;
  Wake();
  thread_.join();
}

void ControlThread::SetSnapshotTimer(Clock::time_point when, std::function<void()> action) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    snapshotAt_ = when;
    takeSnapshot_ = std::move(action);
  }
  Wake();
}

void ControlThread::CancelSnapshotTimer() {
  const std::lock_guard<std::mutex> lock(mutex_);
  snapshotAt_.reset();
}

void ControlThread::QuitAt(Clock::time_point when) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    quitAt_ = when;
  }
  Wake();
}

void ControlThread::RequestQuit() {
  quitRequested_ = true;
  Wake();
}

void ControlThread::Wake() {
  const uint64_t one = 1;
  // A full counter means that the thread is about to wake anyway.
  if (write(wakeUp_, &one, sizeof(one)) < 0) return;
}

void ControlThread::Run() {
  pthread_setname_np(pthread_self(), "PlexionControl");
  while (!stopping_) {
    int timeoutMs = RunTimers();
    if (quitRequested_ && !quitDone_) {
      quitDone_ = onQuit_();
      if (!quitDone_) timeoutMs = kQuitRetryMs;
    }
    pollfd sources[] = {{signals_, POLLIN, 0}, {wakeUp_, POLLIN, 0}};
    if (poll(sources, 2, timeoutMs) <= 0) continue;
    if (sources[1].revents != 0) {
      uint64_t count = 0;
      if (read(wakeUp_, &count, sizeof(count)) < 0) count = 0;
    }
    if (sources[0].revents != 0) HandleSignals();
  }
}

void ControlThread::HandleSignals() {
  signalfd_siginfo info{};
  while (read(signals_, &info, sizeof(info)) == static_cast<ssize_t>(sizeof(info))) {
    if (++signalsSeen_ > 1) {
      RestoreTerminalEcho();
      _exit(128 + static_cast<int>(info.ssi_signo));
    }
    quitRequested_ = true;
  }
}

int ControlThread::RunTimers() {
  std::function<void()> due;
  std::optional<Clock::time_point> next;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const Clock::time_point now = Clock::now();
    if (snapshotAt_ && *snapshotAt_ <= now) {
      due = std::move(takeSnapshot_);
      snapshotAt_.reset();
    }
    if (quitAt_ && *quitAt_ <= now) {
      quitRequested_ = true;
      quitAt_.reset();
    }
    for (const auto& timer : {snapshotAt_, quitAt_}) {
      if (timer && (!next || *timer < *next)) next = timer;
    }
  }
  if (due) due();
  if (!next) return -1;
  // Rounded up, so that the timer is due when the poll returns.
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*next - Clock::now()).count();
  return static_cast<int>(std::clamp<int64_t>(left, 0, 1000000));
}

}  // namespace plexion_host
