// Drives the protocol library: one thread, one picture, the viewers that have logged in.

#include "host/pointer/RfbServer.h"

#include <poll.h>
#include <rfb/rfb.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Pixels.h"
#include "host/pointer/RemoteInput.h"

extern "C" {
#include <rfb/rfbregion.h>  // says nothing of C by itself
}

namespace plexion_host {
namespace {

constexpr qx::plexion::Dims kDimsWithoutScreen{64, 64};
/// The library's own limit, should the gate ever leave it waiting.
constexpr int kLibraryWaitMs = 5000;
constexpr size_t kBesidePictures = size_t{1} << 20;

// The library's own log goes to standard error, with what viewers send in it.
void DiscardLog(const char*, ...) {}

RfbServer* ServerOf(const rfbScreenInfo* screen) {
  return static_cast<RfbServer*>(screen->screenData);
}

}  // namespace

struct RfbServer::Client {
  explicit Client(IHostInput* hostInput) : input(hostInput) {}
  RemoteInput input;
};

RfbServer::RfbServer(Settings settings) : settings_(std::move(settings)) {
  PLEXION_CHECK(settings_.display != nullptr, "there is a screen to show");
  if (wake_.Fd() < 0) return;
  feed_ = std::make_unique<ScreenFeed>(*settings_.display, [this] { wake_.Set(); });
  ViewerGate::Settings gate;
  gate.listenSocket = settings_.listenSocket;
  gate.rules = {!settings_.password.empty(), settings_.origins};
  gate.limits = settings_.limits;
  gate.handOver = [this](int fd) {
    const MutexLock lock(mutex_);
    arrived_.push_back(fd);
    wake_.Set();
  };
  gate.refused = [this](const std::string& origin) {
    if (settings_.refused != nullptr) settings_.refused(origin);
  };
  gate_ = std::make_unique<ViewerGate>(std::move(gate));
  if (IsUsable()) thread_ = NamedThread("PlexionPointer", [this] { Serve(); });
}

RfbServer::~RfbServer() {
  stopping_ = true;
  wake_.Set();
  // The gate goes on until then, so that what the thread is sending finds a taker.
  thread_.Join();
  gate_.reset();
  feed_.reset();
  for (const int fd : arrived_) close(fd);
  close(settings_.listenSocket);
}

void RfbServer::Serve() {
  MakeScreen();
  if (screen_ == nullptr) return;
  while (!stopping_) {
    WaitForWork();
    AddClients();
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
  rfbLog = DiscardLog;
  rfbErr = DiscardLog;
  settings_.display->CopyScreen(dims_, picture_);
  if (picture_.empty()) {
    dims_ = kDimsWithoutScreen;
    picture_.assign(size_t{dims_.width} * dims_.height, kOpaqueBlack);
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
  screen_->maxClientWait = kLibraryWaitMs;
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
  AllowForPicture();
}

void RfbServer::AllowForPicture() {
  PLEXION_CHECK(gate_ != nullptr, "the gate is there as long as the picture is served");
  // A viewer asks for the next picture when it has the last one; encoded, none is much larger than
  // its pixels.
  gate_->SetMostWaiting(2 * picture_.size() * sizeof(uint32_t) + kBesidePictures);
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
  PLEXION_CHECK(screen_ != nullptr, "there is a screen to refresh");
  nextRefresh_ = Clock::now() + std::chrono::seconds(settings_.refreshSeconds);
  qx::plexion::Dims dims{};
  const std::vector<qx::plexion::Rect> damage = feed_->Take(dims, next_);
  if (next_.empty()) return;
  // The library reads the old picture no more: it encodes on this thread.
  picture_.swap(next_);
  char* const pixels = reinterpret_cast<char*>(picture_.data());
  const int width = static_cast<int>(dims.width);
  const int height = static_cast<int>(dims.height);
  if (dims.width != dims_.width || dims.height != dims_.height) {
    dims_ = dims;
    AllowForPicture();
    // It sets its own order of colours, which is not ours.
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
  std::vector<pollfd> waits{{wake_.Fd(), POLLIN, 0}};
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
  wake_.Clear();
}

void RfbServer::AddClients() {
  std::vector<int> arrived;
  {
    const MutexLock lock(mutex_);
    arrived.swap(arrived_);
  }
  for (const int fd : arrived) {
    // The library asks for its sockets with select, which cannot name more.
    if (fd >= FD_SETSIZE) {
      close(fd);
      continue;
    }
    rfbClientPtr record = rfbNewClient(screen_, fd);
    if (record == nullptr) continue;
    ++clients_;
    record->clientData = new Client(settings_.input);
    record->clientGoneHook = &RfbServer::OnClientGone;
  }
}

void RfbServer::OnClientGone(rfbClientPtr record) {
  auto* const client = static_cast<Client*>(record->clientData);
  RfbServer* const server = ServerOf(record->screen);
  // Its other callbacks may still come for this record.
  record->clientData = nullptr;
  if (client == nullptr) return;
  delete client;  // lets go of its keys and buttons
  PLEXION_CHECK(server->clients_ > 0, "who goes was counted when it came");
  // Whatever a lost viewer still held: with the last of them nothing of the stream is down.
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
