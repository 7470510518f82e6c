// One thread over all sockets of the viewers, none of which can make it wait.

#include "host/pointer/viewer/Gate.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <utility>
#include <vector>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

using Stage = ViewerProtocol::Stage;

constexpr std::chrono::milliseconds kNoDescriptorsPause{100};
constexpr int kMostAcceptedAtOnce = 64;
constexpr size_t kReadBytes = 16384;
constexpr size_t kServerReadBytes = 65536;
/// Less than this within the stall limit is no progress: a byte now and then is how one pretends.
constexpr size_t kLeastTaken = 4096;

/// A peer that is gone without a word (a cable that was pulled) is found out in about half a
/// minute, so that it does not hold a button down for ever.
void WatchOverPeer(int fd) {
  const int yes = 1;
  const int idleSeconds = 10;
  const int intervalSeconds = 5;
  const int probes = 4;
  setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &yes, sizeof(yes));
  setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &idleSeconds, sizeof(idleSeconds));
  setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &intervalSeconds, sizeof(intervalSeconds));
  setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof(probes));
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
}

/// Bytes on their way to a socket that takes them as it can.
class Outbound {
 public:
  enum class Result { kGoesOn, kGone };

  std::string& Tail() { return bytes_; }
  bool IsEmpty() const { return bytes_.size() == sent_; }
  size_t Size() const { return bytes_.size() - sent_; }
  /// Of all that there ever was.
  uint64_t TakenBytes() const { return taken_; }

  Result SendTo(int fd) {
    while (!IsEmpty()) {
      const ssize_t count = send(fd, bytes_.data() + sent_, Size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0 && errno == EAGAIN) break;
      if (count <= 0) return Result::kGone;
      sent_ += static_cast<size_t>(count);
      taken_ += static_cast<uint64_t>(count);
    }
    // The front goes when it is the greater part, so that a byte is moved once at most.
    if (sent_ * 2 >= bytes_.size()) {
      bytes_.erase(0, sent_);
      sent_ = 0;
    }
    return Result::kGoesOn;
  }

 private:
  std::string bytes_;
  size_t sent_ = 0;
  uint64_t taken_ = 0;
};

}  // namespace

struct ViewerGate::Viewer {
  Viewer(const ViewerProtocol::Rules& rules, int socket, Clock::time_point now)
      : protocol(rules), fd(socket), arrived(now) {}
  ~Viewer() {
    close(fd);
    if (serverFd >= 0) close(serverFd);
  }
  Viewer(const Viewer&) = delete;
  Viewer& operator=(const Viewer&) = delete;

  bool IsAtDoor() const { return !isCounted; }

  ViewerProtocol protocol;
  const int fd;
  int serverFd = -1;  // our end of the pair; the library has the other one
  Outbound toViewer;
  Outbound toServer;
  const Clock::time_point arrived;
  bool gone = false;
  bool isCounted = false;  // among those that are logged in

  // Since when nothing gets on; the epoch when nothing has to.
  Clock::time_point waitsSince{};
  uint64_t takenThen = 0;
};

ViewerGate::ViewerGate(Settings settings) : settings_(std::move(settings)) {
  PLEXION_CHECK(settings_.listenSocket >= 0 && settings_.handOver != nullptr,
                "a gate has a socket, and somebody behind it");
  if (IsUsable()) thread_ = NamedThread("PlexionViewers", [this] { Run(); });
}

ViewerGate::~ViewerGate() {
  wake_.Raise();
  thread_.Join();
}

void ViewerGate::Run() {
  std::vector<pollfd> waits;
  while (!wake_.IsRaised()) {
    const bool accepts = Clock::now() >= acceptAfter_;
    waits.assign({{wake_.Fd(), POLLIN, 0}, {accepts ? settings_.listenSocket : -1, POLLIN, 0}});
    for (const Viewer& viewer : viewers_) {
      // Nothing more is taken from a viewer that has not got its last answer: what it sends waits in
      // its own system's buffers and not in our memory.
      const bool reads = viewer.toViewer.IsEmpty() && viewer.toServer.IsEmpty() &&
                         viewer.protocol.GetStage() != Stage::kOver;
      waits.push_back({viewer.fd, 0, 0});
      if (reads) waits.back().events |= POLLIN;
      if (!viewer.toViewer.IsEmpty()) waits.back().events |= POLLOUT;
      waits.push_back({viewer.serverFd, POLLIN, 0});
      if (!viewer.toServer.IsEmpty()) waits.back().events |= POLLOUT;
    }
    poll(waits.data(), waits.size(), MillisecondsToNext());
    size_t index = 2;
    for (Viewer& viewer : viewers_) {
      Serve(viewer, waits[index].revents, waits[index + 1].revents);
      index += 2;
    }
    viewers_.remove_if([](const Viewer& viewer) { return viewer.gone; });
    if (waits[1].revents != 0) Accept();
  }
  viewers_.clear();
}

int ViewerGate::MillisecondsToNext() const {
  Clock::time_point next = Clock::time_point::max();
  if (acceptAfter_ > Clock::now()) next = acceptAfter_;
  for (const Viewer& viewer : viewers_) next = std::min(next, DeadlineOf(viewer));
  if (next == Clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
  return static_cast<int>(std::clamp<int64_t>(left.count(), 0, 60000));
}

void ViewerGate::Accept() {
  for (int i = 0; i < kMostAcceptedAtOnce; ++i) {
    const int fd = accept4(settings_.listenSocket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
      // Out of descriptors, a caller stays at the door and poll would return at once.
      if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
        acceptAfter_ = Clock::now() + kNoDescriptorsPause;
      }
      return;
    }
    WatchOverPeer(fd);
    viewers_.emplace_back(settings_.rules, fd, Clock::now());
    if (viewers_.size() - CountViewers() <= settings_.limits.atDoor) continue;
    // The one that has stood there longest goes, so that a crowd that says nothing keeps nobody out.
    viewers_.erase(std::find_if(viewers_.begin(), viewers_.end(),
                                [](const Viewer& viewer) { return viewer.IsAtDoor(); }));
  }
}

size_t ViewerGate::CountViewers() const {
  return static_cast<size_t>(
      std::count_if(viewers_.begin(), viewers_.end(), [](const Viewer& v) { return v.isCounted; }));
}

void ViewerGate::Serve(Viewer& viewer, short events, short serverEvents) {
  if (serverEvents != 0) ReadServer(viewer);
  // What the server still says is read first: a refusal has its reason in it.
  if ((events & (POLLERR | POLLNVAL)) != 0) viewer.gone = true;
  if ((events & (POLLIN | POLLHUP)) != 0) ReadViewer(viewer);
  if (!viewer.gone) WriteServer(viewer);
  if (!viewer.gone) WriteViewer(viewer);
  if (!viewer.gone) KeepTime(viewer);
}

void ViewerGate::ReadViewer(Viewer& viewer) {
  char bytes[kReadBytes];
  const ssize_t count = recv(viewer.fd, bytes, sizeof(bytes), 0);
  if (count > 0) {
    viewer.protocol.Receive({bytes, static_cast<size_t>(count)}, viewer.toServer.Tail(),
                            viewer.toViewer.Tail());
    viewer.waitsSince = {};
    Advance(viewer);
  } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
    viewer.gone = true;
  }
}

void ViewerGate::Advance(Viewer& viewer) {
  const ViewerProtocol& protocol = viewer.protocol;
  if (!protocol.GetRefusedOrigin().empty()) settings_.refused(protocol.GetRefusedOrigin());
  const bool speaks =
      protocol.GetStage() == Stage::kLogin || protocol.GetStage() == Stage::kViewing;
  if (speaks && viewer.serverFd < 0 && !OpenServerSide(viewer)) viewer.gone = true;
  if (protocol.GetStage() == Stage::kViewing && !viewer.isCounted) {
    // Its request to be shown the screen has not been handed on yet.
    if (CountViewers() >= settings_.limits.viewers) viewer.gone = true;
    viewer.isCounted = !viewer.gone;
  }
}

bool ViewerGate::OpenServerSide(Viewer& viewer) {
  PLEXION_CHECK(viewer.serverFd < 0, "a viewer has one connection to the server");
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pair) != 0) return false;
  viewer.serverFd = pair[0];
  // The library looks at the first bytes of a new connection, and waits for them.
  WriteServer(viewer);
  settings_.handOver(pair[1]);
  return true;
}

void ViewerGate::ReadServer(Viewer& viewer) {
  PLEXION_CHECK(viewer.serverFd >= 0, "there is a connection to read from");
  char bytes[kServerReadBytes];
  const ssize_t count = recv(viewer.serverFd, bytes, sizeof(bytes), 0);
  if (count > 0) {
    if (viewer.toViewer.IsEmpty()) viewer.waitsSince = {};
    viewer.protocol.Send({bytes, static_cast<size_t>(count)}, viewer.toViewer.Tail());
    // Who asks for pictures and does not take them would fill the memory.
    if (viewer.toViewer.Size() > mostWaiting_) viewer.gone = true;
  } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
    close(viewer.serverFd);
    viewer.serverFd = -1;
    viewer.protocol.End();
  }
}

void ViewerGate::WriteViewer(Viewer& viewer) {
  if (viewer.toViewer.SendTo(viewer.fd) == Outbound::Result::kGone) viewer.gone = true;
  const bool over = viewer.protocol.GetStage() == Stage::kOver;
  if (over && viewer.toViewer.IsEmpty()) viewer.gone = true;
}

void ViewerGate::WriteServer(Viewer& viewer) {
  if (viewer.serverFd < 0) return;
  if (viewer.toServer.SendTo(viewer.serverFd) == Outbound::Result::kGone) viewer.gone = true;
}

void ViewerGate::KeepTime(Viewer& viewer) {
  const Clock::time_point now = Clock::now();
  const bool waits = !viewer.toViewer.IsEmpty() || viewer.protocol.IsInMessage();
  const uint64_t taken = viewer.toViewer.TakenBytes();
  if (!waits) {
    viewer.waitsSince = {};
  } else if (viewer.waitsSince == Clock::time_point() || taken >= viewer.takenThen + kLeastTaken) {
    viewer.waitsSince = now;
    viewer.takenThen = taken;
  }
  if (now < DeadlineOf(viewer)) return;
  if (viewer.protocol.GetStage() == Stage::kArrived &&
      now < viewer.arrived + settings_.limits.login) {
    viewer.protocol.Greet(viewer.toViewer.Tail());
    WriteViewer(viewer);
  } else {
    viewer.gone = true;
  }
}

ViewerGate::Clock::time_point ViewerGate::DeadlineOf(const Viewer& viewer) const {
  const Limits& limits = settings_.limits;
  const Stage stage = viewer.protocol.GetStage();
  if (stage == Stage::kArrived) return viewer.arrived + std::min(limits.silence, limits.login);
  if (viewer.isCounted || stage == Stage::kOver) {
    return viewer.waitsSince == Clock::time_point() ? Clock::time_point::max()
                                                    : viewer.waitsSince + limits.stall;
  }
  const bool types = stage == Stage::kLogin && settings_.rules.asksPassword;
  return viewer.arrived + (types ? limits.loginWithPassword : limits.login);
}

}  // namespace plexion_host
