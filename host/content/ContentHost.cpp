// What an engine says, as events over the socket.

#include "host/content/ContentHost.h"

#include <errno.h>
#include <sys/socket.h>

#include <algorithm>

#include "host/player/remote/Answers.h"

namespace plexion_host::content {

namespace {

using player::remote::Kind;
using player::remote::MakeRecord;

/// Well below what the launcher takes for a flood.
constexpr double kNoticesPerSecond = 500;
constexpr double kMostNotices = 2000;

}  // namespace

ContentHost::ContentHost(int socket, player::remote::CallPage& page)
    : socket_(socket),
      page_(page),
      memory_([this](uint64_t bytes) {
        // The window is ending: once is enough.
        if (!memoryRefused_.exchange(true)) Send(player::remote::NoMemoryRecord(bytes));
      }),
      notices_(kMostNotices),
      counted_(std::chrono::steady_clock::now()) {}

void ContentHost::Send(const player::remote::Record& event) {
  // Before it can be heard: an answer that counts fewer than were heard, while another thread sends,
  // would hide one that was not.
  ++sent_;
  // Waits for room: a launcher that does not come to read is not to be told more.
  while (send(socket_, &event, sizeof event, MSG_NOSIGNAL) < 0 && errno == EINTR) {
  }
}

bool ContentHost::Cancelled() {
  // Engines ask while they work, in loops: the launcher sees by it that this one is busy, and does not hang.
  page_.alive.fetch_add(1, std::memory_order_relaxed);
  return page_.cancelled != 0 || memoryRefused_;
}

void ContentHost::ReportProgress(unsigned percent) {
  Send(player::remote::ProgressRecord(percent));
}

void ContentHost::RequestFrame() {
  // One at a time: a script that asks without end fills no socket by it.
  if (!frameWanted_.exchange(true)) Send(MakeRecord(Kind::kFrameWanted));
}

void ContentHost::Complete() { Send(MakeRecord(Kind::kComplete)); }

void ContentHost::Fail(const player::EngineError& error) {
  Send(player::remote::ErrorRecord(Kind::kGaveUp, error));
}

bool ContentHost::MayNotify() {
  const auto now = std::chrono::steady_clock::now();
  const std::chrono::duration<double> since = now - counted_;
  counted_ = now;
  notices_ = std::min(kMostNotices, notices_ + since.count() * kNoticesPerSecond);
  if (notices_ < 1) {
    ++leftOut_;
    return false;
  }
  notices_ -= 1;
  return true;
}

void ContentHost::Notify(qx::plexion::StageWindowStatus event, const std::string& message) {
  const MutexLock lock(mutex_);
  if (!MayNotify()) return;
  if (leftOut_ > 0) {
    Send(player::remote::NoticeRecord(
        event, "(" + std::to_string(leftOut_) + " more were left out: too many at once)"));
    leftOut_ = 0;
  }
  Send(player::remote::NoticeRecord(event, message));
}

}  // namespace plexion_host::content
