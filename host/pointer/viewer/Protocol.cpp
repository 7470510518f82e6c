// The steps from a connection to a viewer that is logged in, and its messages from then on.

#include "host/pointer/viewer/Protocol.h"

#include <rfb/rfb.h>

#include <algorithm>
#include <cctype>

#include "host/base/Check.h"
#include "host/pointer/viewer/Messages.h"

namespace plexion_host {
namespace {

constexpr std::string_view kGreeting = "RFB 003.008\n";
constexpr std::string_view kRequestStart = "GET ";
constexpr size_t kChallengeBytes = 16;

/// The versions that there are; others are taken for the one that they extend.
const char* VersionFor(int minor) {
  if (minor >= 8) return "RFB 003.008\n";
  return minor == 7 ? "RFB 003.007\n" : "RFB 003.003\n";
}

}  // namespace

void ViewerProtocol::Receive(std::string_view bytes, std::string& toServer, std::string& toViewer) {
  if (stage_ == Stage::kOver) return;
  if (stage_ == Stage::kArrived && !bytes.empty()) {
    // A page speaks first. A native viewer should not, and is understood all the same.
    isPage_ = bytes[0] == kRequestStart[0];
    stage_ = Stage::kUpgrade;
    if (!isPage_) Greet(toViewer);
  }
  if (stage_ == Stage::kUpgrade) {
    held_ += bytes;
    ReadUpgrade(toServer, toViewer);
    return;
  }
  if (!isPage_) {
    held_ += bytes;
  } else if (!frames_.Take(bytes, held_, toViewer)) {
    stage_ = Stage::kOver;
    return;
  }
  ProcessHeld(toServer);
}

void ViewerProtocol::Greet(std::string& toViewer) {
  PLEXION_CHECK(stage_ == Stage::kArrived || stage_ == Stage::kUpgrade, "nobody is greeted twice");
  stage_ = Stage::kGreeted;
  Send(kGreeting, toViewer);
  greetingLeft_ = kGreeting.size();
}

void ViewerProtocol::Send(std::string_view bytes, std::string& toViewer) {
  const size_t skipped = std::min(greetingLeft_, bytes.size());
  greetingLeft_ -= skipped;
  bytes.remove_prefix(skipped);
  if (bytes.empty()) return;
  if (isPage_) {
    AppendFrame(toViewer, bytes);
  } else {
    toViewer += bytes;
  }
}

void ViewerProtocol::ReadUpgrade(std::string& toServer, std::string& toViewer) {
  const size_t shown = std::min(held_.size(), kRequestStart.size());
  const size_t end = held_.find("\r\n\r\n");
  if (held_.compare(0, shown, kRequestStart, 0, shown) != 0 ||
      (end == std::string::npos && held_.size() > kMostUpgradeBytes)) {
    stage_ = Stage::kOver;
    return;
  }
  if (end == std::string::npos) return;
  UpgradeRequest request;
  if (!ParseUpgrade(std::string_view(held_).substr(0, end + 2), request)) {
    toViewer += RefuseUpgrade("400 Bad Request", "Expected a WebSocket of a VNC viewer.");
    stage_ = Stage::kOver;
    return;
  }
  const auto& origins = rules_.origins;
  if (request.fromPage &&
      std::find(origins.begin(), origins.end(), request.origin) == origins.end()) {
    refusedOrigin_ = request.origin;
    toViewer += RefuseUpgrade("403 Forbidden", "This page may not connect.");
    stage_ = Stage::kOver;
    return;
  }
  toViewer += AcceptUpgrade(request);
  // A viewer need not wait for the answer: what came behind the request is its first frame.
  const std::string rest = held_.substr(end + 4);
  held_.clear();
  Greet(toViewer);
  if (!rest.empty()) Receive(rest, toServer, toViewer);
}

void ViewerProtocol::ProcessHeld(std::string& toServer) {
  bool goesOn = true;
  while (goesOn && (!held_.empty() || ignored_ > 0)) {
    const size_t skipped = std::min(ignored_, held_.size());
    held_.erase(0, skipped);
    ignored_ -= skipped;
    if (held_.empty()) return;
    switch (stage_) {
      case Stage::kGreeted:
        goesOn = ReadVersion(toServer);
        break;
      case Stage::kLogin:
        goesOn = ReadLogin(toServer);
        break;
      case Stage::kViewing:
        goesOn = ReadMessage(toServer);
        break;
      default:
        return;
    }
  }
}

bool ViewerProtocol::ReadVersion(std::string& toServer) {
  static constexpr std::string_view kShape = "RFB 003.ddd\n";
  for (size_t i = 0; i < std::min(held_.size(), kShape.size()); ++i) {
    const bool fits = kShape[i] == 'd' ? std::isdigit(static_cast<unsigned char>(held_[i])) != 0
                                       : held_[i] == kShape[i];
    if (!fits) {
      stage_ = Stage::kOver;
      return false;
    }
  }
  if (held_.size() < kShape.size()) return false;
  // Three digits, as was checked.
  const int minor = std::stoi(held_.substr(8, 3));
  choosesType_ = minor >= 7;
  toServer += VersionFor(minor);
  held_.erase(0, kShape.size());
  stage_ = Stage::kLogin;
  return true;
}

bool ViewerProtocol::ReadLogin(std::string& toServer) {
  const uint8_t type = rules_.asksPassword ? rfbSecTypeVncAuth : rfbSecTypeNone;
  const size_t sizes[] = {choosesType_ ? size_t{1} : 0, rules_.asksPassword ? kChallengeBytes : 0,
                          sz_rfbClientInitMsg};
  PLEXION_CHECK(loginStep_ < 3, "there are three steps to a login");
  const size_t size = sizes[loginStep_];
  if (held_.size() < size) return false;
  // The server offers one way only. A viewer that names another would get further than it may.
  if (loginStep_ == 0 && choosesType_ && static_cast<uint8_t>(held_[0]) != type) {
    stage_ = Stage::kOver;
    return false;
  }
  HandOn(size, toServer);
  if (++loginStep_ == 3) stage_ = Stage::kViewing;
  return true;
}

bool ViewerProtocol::ReadMessage(std::string& toServer) {
  const ViewerMessage message = MeasureViewerMessage(held_);
  switch (message.kind) {
    case ViewerMessage::Kind::kUnfinished:
      return false;
    case ViewerMessage::Kind::kHandOn:
      if (held_.size() < message.size) return false;
      HandOn(message.size, toServer);
      return true;
    case ViewerMessage::Kind::kIgnore:
      ignored_ = message.size;
      return true;
    case ViewerMessage::Kind::kRefuse:
      break;
  }
  stage_ = Stage::kOver;
  return false;
}

void ViewerProtocol::HandOn(size_t bytes, std::string& toServer) {
  PLEXION_CHECK(bytes <= held_.size(), "only what has come is handed on");
  toServer.append(held_, 0, bytes);
  held_.erase(0, bytes);
}

}  // namespace plexion_host
