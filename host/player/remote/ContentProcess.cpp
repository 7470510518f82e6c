// The connection to one content's process, and what the system says of it.

#include "host/player/remote/ContentProcess.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>

#include "host/base/Check.h"

namespace plexion_host::player::remote {

namespace {

constexpr std::chrono::milliseconds kGlance{20};
constexpr std::chrono::milliseconds kPatienceForRoom{2000};

/// The first 4 KiB of a file of the system about a process, as they are now.
std::string ReadSystemFile(const Descriptor& file) {
  char text[4096];
  const ssize_t bytes = file ? pread(file.Get(), text, sizeof text, 0) : 0;
  return {text, bytes > 0 ? static_cast<size_t>(bytes) : 0};
}

void Ring(int bell) {
  const uint64_t one = 1;
  const ssize_t written = write(bell, &one, sizeof one);
  (void)written;  // a bell that is full rings
}

void ClearBell(int bell) {
  char rings[64];
  const ssize_t count = read(bell, rings, sizeof rings);
  (void)count;  // one that was not rung is as silent as any
}

}  // namespace

Descriptor ContentProcess::OpenSystemFile(pid_t id, const char* name) {
  char path[64];
  snprintf(path, sizeof path, "/proc/%d/%s", static_cast<int>(id), name);
  return Descriptor(open(path, O_RDONLY | O_CLOEXEC));
}

ContentProcess::~ContentProcess() {
  siginfo_t end;
  if (!TakeEnd(end)) {
    Kill();
    // Nothing can keep it now, and an uncollected one would stay in the system's list.
    if (id_ > 0) waitid(P_PIDFD, static_cast<id_t>(handle_.Get()), &end, WEXITED);
  }
  if (page_ != nullptr) munmap(page_, sizeof(CallPage));
}

bool ContentProcess::Send(const Record& order, int descriptor) {
  // The structure of the system has no const; sendmsg only reads.
  iovec part = {const_cast<Record*>(&order), sizeof order};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr message = {};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  if (descriptor >= 0) {
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  }
  // A record goes whole or not at all: the socket keeps the borders of records.
  for (;;) {
    const ssize_t sent = sendmsg(socket_.Get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent == static_cast<ssize_t>(sizeof order)) return true;
    if (sent < 0 && errno == EINTR) continue;
    if (sent >= 0 || errno != EAGAIN || !WaitForRoom()) return false;
  }
}

// Asked in glances: a process that dies while its socket is full makes room for nobody, and poll
// tells that only with POLLERR.
bool ContentProcess::WaitForRoom() {
  pollfd socket = {socket_.Get(), POLLOUT, 0};
  const auto deadline = std::chrono::steady_clock::now() + kPatienceForRoom;
  while (std::chrono::steady_clock::now() < deadline) {
    if (poll(&socket, 1, static_cast<int>(kGlance.count())) > 0)
      return (socket.revents & POLLOUT) != 0;
  }
  return false;
}

// Pieces first, the order last with the rest: the process gathers pieces until an order comes.
bool ContentProcess::SendText(const Record& order, std::string_view text, int descriptor) {
  while (text.size() > kMostText) {
    Record piece = MakeRecord(Kind::kText);
    PutText(piece, text.substr(0, kMostText));
    if (!Send(piece)) return false;
    text.remove_prefix(kMostText);
  }
  Record last = order;
  PutText(last, text);
  return Send(last, descriptor);
}

void ContentProcess::Order(Record order) {
  PLEXION_CHECK(page_ != nullptr && !ordered_, "orders with an answer are given one at a time");
  // A serial for each: an answer that comes late, or twice, cannot be taken for this one's.
  order.serial = ++serial_;
  ordered_ = true;
  // Written before the bell, which is a system call and so a barrier for both processes.
  CopyRecord(order, page_->order);
  Ring(orderBell_.Get());
}

CallEnd ContentProcess::Await(Record& answer, const std::function<bool()>& glance) {
  PLEXION_CHECK(ordered_ && glance != nullptr, "an answer follows an order");
  ordered_ = false;
  auto glanced = std::chrono::steady_clock::now();
  pollfd waits[] = {{answerBell_.Get(), POLLIN, 0}, {handle_.Get(), POLLIN, 0}};
  for (;;) {
    if (page_->answered == serial_) {
      CopyRecord(page_->answer, answer);
      // An answer with another serial was written by a process that does not do what ours does.
      return answer.serial == serial_ ? CallEnd::kAnswered : CallEnd::kLied;
    }
    // Looked for once more after that was said: the process may just have found that nobody waits.
    page_->awaited = 1;
    const int ready =
        page_->answered == serial_ ? 0 : poll(waits, 2, static_cast<int>(kGlance.count()));
    page_->awaited = 0;
    if (ready > 0 && waits[0].revents != 0) ClearBell(answerBell_.Get());
    if (page_->answered == serial_) continue;
    if (ready > 0 && waits[1].revents != 0) return CallEnd::kEnded;
    // Also of a process that rings all the time without an answer; one ring too many, which is left
    // from an answer that was found without it, is worth no look.
    const auto now = std::chrono::steady_clock::now();
    if (ready > 0 && now - glanced < kGlance) continue;
    glanced = now;
    if (!glance()) return CallEnd::kGaveUp;
  }
}

void ContentProcess::Kill() {
  // By the handle, not by the number: that may be another process's by now.
  if (handle_) syscall(SYS_pidfd_send_signal, handle_.Get(), SIGKILL, nullptr, 0);
}

bool ContentProcess::TakeEnd(siginfo_t& end) {
  end = {};
  if (!handle_ || collected_) return true;
  const int result = waitid(P_PIDFD, static_cast<id_t>(handle_.Get()), &end, WEXITED | WNOHANG);
  // Where children of the launcher are collected by the system, there is nothing to be learned.
  collected_ = result != 0 ? errno == ECHILD : end.si_pid != 0;
  return collected_;
}

ProcessMemory ContentProcess::Memory() const {
  // Anonymous and shared pages of its own; what is mapped from files (libraries, content) can be
  // dropped by the system and is shared with others.
  const std::string text = ReadSystemFile(status_);
  const auto bytesOf = [&text](const char* name) {
    unsigned long long kibibytes = 0;
    const size_t at = text.find(name);
    if (at != std::string::npos) sscanf(text.c_str() + at + strlen(name), " %llu", &kibibytes);
    return uint64_t{kibibytes} * 1024;
  };
  return {bytesOf("\nRssAnon:"), bytesOf("\nRssShmem:")};
}

int64_t ContentProcess::WorkedNanoseconds() const {
  clockid_t clock = 0;
  timespec time = {};
  if (clock_getcpuclockid(id_, &clock) != 0 || clock_gettime(clock, &time) != 0) return -1;
  return int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

bool ContentProcess::IsWorking() const {
  // "12 (name) R ...": the name may hold anything, also brackets.
  const std::string text = ReadSystemFile(OpenSystemFile(id_, "stat"));
  const size_t bracket = text.rfind(')');
  return bracket != std::string::npos && text.compare(bracket, 3, ") R") == 0;
}

}  // namespace plexion_host::player::remote
