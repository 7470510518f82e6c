// A viewer, on the protocol's own client library.

#include "tests/host/pointer/VncViewer.h"

#include <rfb/rfbclient.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace plexion_host {
namespace {

constexpr unsigned kPatienceUs = 20000000;
char passwordTag = 0;
char updatesTag = 0;

char* GivePassword(rfbClient* client) {
  const auto* const password =
      static_cast<const std::string*>(rfbClientGetClientData(client, &passwordTag));
  return strdup(password->c_str());
}

/// Called for rectangles of pixels; an update may be without any.
void CountUpdate(rfbClient* client, int, int, int, int) {
  auto* const updates = static_cast<int*>(rfbClientGetClientData(client, &updatesTag));
  if (updates != nullptr) ++*updates;
}

void SayNothing(const char*, ...) {}

}  // namespace

bool VncViewer::Connect(int port, const std::string& password, const char* encodings) {
  rfbClientLog = SayNothing;
  rfbClientErr = SayNothing;
  client_ = rfbGetClient(8, 3, 4);
  client_->format.redShift = 16;
  client_->format.greenShift = 8;
  client_->format.blueShift = 0;
  client_->appData.encodingsString = encodings;
  client_->appData.enableJPEG = FALSE;
  client_->canHandleNewFBSize = TRUE;
  client_->GetPassword = GivePassword;
  client_->GotFrameBufferUpdate = CountUpdate;
  client_->serverHost = strdup("127.0.0.1");
  client_->serverPort = port;
  std::string given = password;
  rfbClientSetClientData(client_, &passwordTag, &given);
  // Frees the client when it fails.
  if (!rfbInitClient(client_, nullptr, nullptr)) client_ = nullptr;
  if (client_ != nullptr) rfbClientSetClientData(client_, &passwordTag, nullptr);
  return client_ != nullptr;
}

void VncViewer::Disconnect() {
  if (client_ == nullptr) return;
  free(client_->frameBuffer);
  client_->frameBuffer = nullptr;
  rfbClientCleanup(client_);
  client_ = nullptr;
}

uint32_t VncViewer::GetWidth() const { return static_cast<uint32_t>(client_->width); }
uint32_t VncViewer::GetHeight() const { return static_cast<uint32_t>(client_->height); }

std::vector<uint32_t> VncViewer::GetPixels() const {
  std::vector<uint32_t> pixels(size_t{GetWidth()} * GetHeight());
  std::memcpy(pixels.data(), client_->frameBuffer, pixels.size() * sizeof(uint32_t));
  for (uint32_t& pixel : pixels) pixel |= 0xFF000000u;
  return pixels;
}

bool VncViewer::HandleOne() {
  // The library's wait asks the socket alone; a message may be in its buffer already.
  const bool there = client_->buffered > 0 || WaitForMessage(client_, kPatienceUs) > 0;
  return there && HandleRFBServerMessage(client_);
}

bool VncViewer::WaitForPicture(const std::function<bool(const std::vector<uint32_t>&)>& wanted) {
  while (!wanted(GetPixels())) {
    if (!HandleOne()) return false;
  }
  return true;
}

bool VncViewer::FetchWhole() {
  int updates = 0;
  rfbClientSetClientData(client_, &updatesTag, &updates);
  SendFramebufferUpdateRequest(client_, 0, 0, client_->width, client_->height, FALSE);
  bool alive = true;
  while (alive && updates == 0) alive = HandleOne();
  rfbClientSetClientData(client_, &updatesTag, nullptr);
  return alive;
}

void VncViewer::Point(int x, int y, int buttons) { SendPointerEvent(client_, x, y, buttons); }

void VncViewer::Key(uint32_t keysym, bool down) {
  SendKeyEvent(client_, keysym, down ? TRUE : FALSE);
}

}  // namespace plexion_host
