#include "host/pointer/RfbServer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <rfb/rfb.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/pointer/RemoteInput.h"

extern "C" {
#include <rfb/rfbregion.h>  // says nothing of C by itself
}

namespace plexion_host {
namespace {

constexpr qx::plexion::Dims kDimsWithoutScreen{64, 64};
constexpr int kNoDescriptorsPauseMs = 100;

void SayNothing(const char*, ...) {}

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

RfbServer* ServerOf(const rfbScreenInfo* screen) {
  return static_cast<RfbServer*>(screen->screenData);
}

}  // namespace

struct RfbServer::Client {
  Client(IHostInput* hostInput, int watchFd) : input(hostInput), watch(watchFd) {}
  RemoteInput input;
  const int watch;
};

RfbServer::RfbServer(Settings settings)
    : settings_(std::move(settings)), wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  feed_ = std::make_unique<ScreenFeed>(*settings_.display, [this] { Wake(); });
  // The process's signals are for others.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  thread_ = std::thread([this] { Serve(); });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_setname_np(thread_.native_handle(), "PlexionPointer");
}

RfbServer::~RfbServer() {
  stopping_ = true;
  Wake();
  {
    const std::lock_guard<std::mutex> lock(watchesMutex_);
    for (const int watch : watches_) shutdown(watch, SHUT_RDWR);
  }
  thread_.join();
  feed_.reset();
  close(settings_.listenSocket);
  close(wake_);
}

void RfbServer::Wake() const {
  const uint64_t one = 1;
  const ssize_t written = write(wake_, &one, sizeof(one));
  (void)written;  // a full counter wakes as well
}

void RfbServer::Serve() {
  MakeScreen();
  if (screen_ == nullptr) return;
  while (!stopping_) {
    WaitForWork();
    AcceptClients();
    if (stopping_) break;
    // Requests are read first, so that the answer shows the screen of now.
    rfbCheckFds(screen_, 0);
    if (feed_->HasChanged() && IsPictureWanted() && IsRefreshDue()) Refresh();
    rfbProcessEvents(screen_, 0);
  }
  DestroyScreen();
}

// The picture

void RfbServer::MakeScreen() {
  rfbLog = SayNothing;
  rfbErr = SayNothing;
  settings_.display->CopyScreen(dims_, picture_);
  if (picture_.empty()) {
    dims_ = kDimsWithoutScreen;
    picture_.assign(size_t{dims_.width} * dims_.height, 0xFF000000u);
  }
  screen_ = rfbGetScreen(nullptr, nullptr, static_cast<int>(dims_.width),
                         static_cast<int>(dims_.height), 8, 3, 4);
  if (screen_ == nullptr) return;
  screen_->screenData = this;
  screen_->desktopName = "Plexion";
  screen_->frameBuffer = reinterpret_cast<char*>(picture_.data());
  screen_->serverFormat.redShift = 16;
  screen_->serverFormat.greenShift = 8;
  screen_->serverFormat.blueShift = 0;
  screen_->alwaysShared = TRUE;
  // Paced here; what the library is told is to go out at once.
  screen_->deferUpdateTime = 0;
  screen_->deferPtrUpdateTime = 0;
  screen_->handleEventsEagerly = TRUE;
  screen_->maxClientWait = static_cast<int>(kStallLimit.count());
  screen_->ignoreSIGPIPE = FALSE;  // blocked on this thread
  screen_->autoPort = FALSE;
  screen_->port = 0;  // the listening socket is ours
  screen_->ipv6port = 0;
  screen_->cursor = nullptr;
  screen_->kbdAddEvent = &RfbServer::OnKey;
  screen_->ptrAddEvent = &RfbServer::OnPointer;
  if (!settings_.password.empty()) {
    password_ = settings_.password;
    passwords_ = {password_.data(), nullptr};
    screen_->authPasswdData = passwords_.data();
    screen_->passwordCheck = rfbCheckPasswordByList;
  }
  rfbInitServer(screen_);
}

void RfbServer::DestroyScreen() {
  while (screen_->clientHead != nullptr) {
    rfbClientPtr record = screen_->clientHead;
    rfbCloseClient(record);
    rfbClientConnectionGone(record);
  }
  rfbShutdownServer(screen_, FALSE);
  screen_->authPasswdData = nullptr;
  screen_->frameBuffer = nullptr;
  rfbScreenCleanup(screen_);
  screen_ = nullptr;
}

bool RfbServer::IsPictureWanted() {
  for (rfbClientPtr record = screen_->clientHead; record != nullptr; record = record->next) {
    if (record->state == rfbClientRec::RFB_NORMAL && !sraRgnEmpty(record->requestedRegion)) {
      return true;
    }
  }
  return false;
}

void RfbServer::Refresh() {
  nextRefresh_ = Clock::now() + std::chrono::seconds(settings_.refreshSeconds);
  qx::plexion::Dims dims{};
  const std::vector<qx::plexion::Rect> damage = feed_->Take(dims, next_);
  if (next_.empty()) return;
  picture_.swap(next_);
  char* const pixels = reinterpret_cast<char*>(picture_.data());
  const int width = static_cast<int>(dims.width);
  const int height = static_cast<int>(dims.height);
  if (dims.width != dims_.width || dims.height != dims_.height) {
    dims_ = dims;
    rfbNewFramebuffer(screen_, pixels, width, height, 8, 3, 4);
    screen_->serverFormat.redShift = 16;
    screen_->serverFormat.greenShift = 8;
    screen_->serverFormat.blueShift = 0;
    rfbMarkRectAsModified(screen_, 0, 0, width, height);
    return;
  }
  screen_->frameBuffer = pixels;
  for (const qx::plexion::Rect& rect : damage) {
    rfbMarkRectAsModified(screen_, static_cast<int>(rect.x), static_cast<int>(rect.y),
                          static_cast<int>(rect.x + rect.width),
                          static_cast<int>(rect.y + rect.height));
  }
}

// Clients

void RfbServer::WaitForWork() {
  std::vector<pollfd> waits{{wake_, POLLIN, 0}, {settings_.listenSocket, POLLIN, 0}};
  for (rfbClientPtr record = screen_->clientHead; record != nullptr; record = record->next) {
    waits.push_back({record->sock, POLLIN, 0});
  }
  int timeoutMs = -1;
  if (feed_->HasChanged() && IsPictureWanted()) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(nextRefresh_ - Clock::now());
    timeoutMs = static_cast<int>(std::clamp<int64_t>(left.count() + 1, 0, 60000));
  }
  poll(waits.data(), waits.size(), timeoutMs);
  uint64_t ignored = 0;
  const ssize_t drained = read(wake_, &ignored, sizeof(ignored));
  (void)drained;
}

void RfbServer::AcceptClients() {
  for (;;) {
    const int fd = accept4(settings_.listenSocket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
      // Out of descriptors, a caller stays at the door and poll returns at once: not a busy loop.
      pollfd wake{wake_, POLLIN, 0};
      if (errno == EMFILE || errno == ENFILE) poll(&wake, 1, kNoDescriptorsPauseMs);
      return;
    }
    const int watch = clients_ < kMaxClients ? dup(fd) : -1;
    if (watch < 0) {
      close(fd);
      continue;
    }
    WatchOverPeer(fd);
    {
      const std::lock_guard<std::mutex> lock(watchesMutex_);
      watches_.push_back(watch);
    }
    if (stopping_) shutdown(watch, SHUT_RDWR);  // whoever stops may have looked before
    rfbClientPtr record = rfbNewClient(screen_, fd);
    if (record == nullptr) {
      ForgetWatch(watch);
      continue;
    }
    ++clients_;
    record->clientData = new Client(settings_.input, watch);
    record->clientGoneHook = &RfbServer::OnClientGone;
  }
}

void RfbServer::ForgetWatch(int watch) {
  const std::lock_guard<std::mutex> lock(watchesMutex_);
  watches_.erase(std::remove(watches_.begin(), watches_.end(), watch), watches_.end());
  close(watch);
}

void RfbServer::OnClientGone(rfbClientPtr record) {
  auto* const client = static_cast<Client*>(record->clientData);
  RfbServer* const server = ServerOf(record->screen);
  record->clientData = nullptr;
  if (client == nullptr) return;
  server->ForgetWatch(client->watch);
  delete client;  // lets go of its keys and buttons
  if (--server->clients_ == 0 && server->settings_.input != nullptr) {
    server->settings_.input->ReleaseAll(InputSource::kPointerStream);
  }
}

void RfbServer::OnKey(rfbBool down, rfbKeySym keysym, rfbClientPtr record) {
  auto* const client = static_cast<Client*>(record->clientData);
  if (client != nullptr) client->input.Key(down != FALSE, keysym);
}

void RfbServer::OnPointer(int buttons, int x, int y, rfbClientPtr record) {
  auto* const client = static_cast<Client*>(record->clientData);
  if (client != nullptr) client->input.Pointer(static_cast<unsigned>(buttons), x, y);
}

}  // namespace plexion_host
