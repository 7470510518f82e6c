// Reads records off a process's socket and tells them.

#include "host/player/remote/ProcessEvents.h"

#include <errno.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "qx/core/IQXKernel.h"

namespace plexion_host::player::remote {

namespace {

// A movie says about sixty things a second. A hundred times that is for bursts; beyond it somebody
// floods.
/// Records that content may send a second, and at once.
constexpr double kCreditPerSecond = 2000;
constexpr double kMostCredit = 8000;
/// From one process before the others have their turn.
constexpr int kMostEventsInTurn = 64;

/// Between two looks at what a process uses; from then on it is looked at more often.
constexpr uint64_t kFastGrowth = uint64_t{32} << 20;

}  // namespace

void ProtectionNote::Tell(const std::string& text) {
  {
    const MutexLock lock(mutex_);
    if (text == told_) return;
    told_ = text;
  }
  IQXKernel::GetKernel()->Printf("Isolation: each content in a process of its own; %s\n",
                                 PrintableWord(text).c_str());
}

std::string ProtectionNote::Get() const {
  const MutexLock lock(mutex_);
  return told_;
}

ProcessEvents::ProcessEvents(ContentProcess& process, ProtectionNote& protection)
    : process_(process), protection_(protection), credit_(kMostCredit), credited_(Clock::now()) {}

void ProcessEvents::SetListener(ProcessListener* listener) {
  const MutexLock lock(mutex_);
  PLEXION_CHECK(listener == nullptr || listener_ == nullptr, "a process plays for one player");
  listener_ = listener;
}

bool ProcessEvents::HasListener() const {
  const MutexLock lock(mutex_);
  return listener_ != nullptr;
}

// A bucket that fills with time: bursts are fine, a stream is not.
void ProcessEvents::TakeCredit() {
  const auto now = Clock::now();
  const std::chrono::duration<double> since = now - credited_;
  credit_ = std::min(kMostCredit, credit_ + since.count() * kCreditPerSecond);
  credited_ = now;
}

ProcessEvents::Left ProcessEvents::Read() {
  const MutexLock lock(mutex_);
  for (int i = 0; i < kMostEventsInTurn; ++i) {
    Record record;
    iovec part = {&record, sizeof record};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    // No room for control data: descriptors that come along are closed by the system.
    const ssize_t bytes = recvmsg(process_.Socket(), &message, MSG_DONTWAIT);
    if (bytes < 0 && errno == EINTR) continue;
    if (bytes <= 0) return bytes == 0 ? Left::kClosed : Left::kNothing;
    TakeCredit();
    credit_ -= 1;
    Event event;
    // The reason that is told when it is not `whole`; ReadEvent writes its own over it.
    std::string fault = "a record of " + std::to_string(bytes) + " bytes";
    const bool whole = bytes == sizeof record && (message.msg_flags & MSG_TRUNC) == 0;
    // Ended and not slowed down: what it says would pile up in the socket, and its player wait for
    // the answer behind it.
    if (credit_ < 0) {
      End({qx::plexion::kErrorFatalPlaybackError,
           "the content's process was ended: it said more than content may have to say"});
      return Left::kNothing;
    }
    if (whole && ReadEvent(record, event, fault)) {
      if (listener_ != nullptr) listener_->OnEvent(event);
    } else {
      End({qx::plexion::kErrorFatalPlaybackError,
           "the content's process was ended: it sent " + fault});
    }
    // Not before it was told: whoever counts on it does not take the lock.
    ++heard_;
  }
  return Left::kMore;
}

// Ends: credit bounds how much one can say.
void ProcessEvents::ReadAll() {
  while (Read() == Left::kMore) {
  }
}

void ProcessEvents::ReadBefore(uint32_t events) {
  // Hardly any answer has events before it. Who lies here hears of its own events late.
  if (events != heard_) ReadAll();
}

void ProcessEvents::BeginContent(const std::string& protection) {
  // Under the lock, so that the first measure stands before any that LookAround takes.
  {
    const MutexLock lock(mutex_);
    const ProcessMemory memory = process_.Memory();
    hasContent_ = true;
    usedBytes_ = memory.ownBytes + memory.sharedBytes;
    if (listener_ != nullptr) listener_->OnMemory(memory);
  }
  protection_.Tell(protection);
}

// Exchanged first: the end is the last call that a listener gets, also when the process dies of the
// kill a moment later.
void ProcessEvents::End(const EngineError& error) {
  process_.Kill();
  if (listener_ != nullptr) std::exchange(listener_, nullptr)->OnEnd(error);
}

bool ProcessEvents::TellMemory() {
  const MutexLock lock(mutex_);
  if (listener_ == nullptr || !hasContent_) return false;
  const ProcessMemory memory = process_.Memory();
  const uint64_t used = memory.ownBytes + memory.sharedBytes;
  const uint64_t before = std::exchange(usedBytes_, used);
  listener_->OnMemory(memory);
  // What is taken in one period of that size would reach a limit of some hundred megabytes within a
  // second.
  return used > before && used - before > kFastGrowth;
}

void ProcessEvents::TellEnd(const EngineError& error) {
  const MutexLock lock(mutex_);
  if (listener_ != nullptr) std::exchange(listener_, nullptr)->OnEnd(error);
}

}  // namespace plexion_host::player::remote
