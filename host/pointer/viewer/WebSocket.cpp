// The server's side of the WebSocket protocol (RFC 6455), as far as a viewer needs it.

#include "host/pointer/viewer/WebSocket.h"

#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/base/Text.h"

namespace plexion_host {
namespace {

constexpr std::string_view kKeySuffix = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
constexpr size_t kSha1Bytes = 20;
constexpr size_t kKeyChars = 24;  // sixteen bytes in base64
constexpr size_t kMostControlBytes = 125;

constexpr uint8_t kContinuation = 0;
constexpr uint8_t kBinary = 2;
constexpr uint8_t kFarewell = 8;
constexpr uint8_t kPing = 9;
constexpr uint8_t kPong = 10;
constexpr uint8_t kLastPiece = 0x80;
constexpr uint8_t kMasked = 0x80;

/// Whether `word` is one of a header's words, which commas separate.
bool HasWord(std::string_view list, std::string_view word) {
  for (;;) {
    const size_t comma = list.find(',');
    if (LowerAscii(Trim(list.substr(0, comma))) == word) return true;
    if (comma == std::string_view::npos) return false;
    list.remove_prefix(comma + 1);
  }
}

void AppendControl(std::string& out, uint8_t opcode, std::string_view payload) {
  PLEXION_CHECK(payload.size() <= kMostControlBytes, "a control frame has its size in one byte");
  out += static_cast<char>(kLastPiece | opcode);
  out += static_cast<char>(payload.size());
  out += payload;
}

uint64_t BigEndian(std::string_view bytes) {
  uint64_t value = 0;
  for (const char byte : bytes) value = value << 8 | static_cast<uint8_t>(byte);
  return value;
}

}  // namespace

// The beginning

bool ParseUpgrade(std::string_view header, UpgradeRequest& request) {
  request = UpgradeRequest();
  bool upgrades = false;
  bool connects = false;
  bool versionFits = false;
  std::string_view protocols;
  bool first = true;
  while (!header.empty()) {
    const size_t end = header.find("\r\n");
    if (end == std::string_view::npos) return false;
    const std::string_view line = header.substr(0, end);
    header.remove_prefix(end + 2);
    if (first) {
      first = false;
      const std::string_view version = " HTTP/1.1";
      const bool fits = line.substr(0, 4) == "GET " && line.size() > 4 + version.size() &&
                        line.substr(line.size() - version.size()) == version;
      if (!fits) return false;
      continue;
    }
    const size_t colon = line.find(':');
    // A header line that is none is no reason to refuse: servers skip it.
    if (colon == std::string_view::npos) continue;
    const std::string name = LowerAscii(line.substr(0, colon));
    const std::string_view value = Trim(line.substr(colon + 1));
    if (name == "upgrade") {
      upgrades = HasWord(value, "websocket");
    } else if (name == "connection") {
      connects = HasWord(value, "upgrade");
    } else if (name == "sec-websocket-version") {
      versionFits = value == "13";
    } else if (name == "sec-websocket-key") {
      request.key = value;
    } else if (name == "sec-websocket-protocol") {
      protocols = value;
    } else if (name == "origin") {
      // Twice would leave open which one is meant.
      if (request.fromPage) return false;
      request.fromPage = true;
      request.origin = value;
    }
  }
  request.offersBinary = HasWord(protocols, "binary");
  return upgrades && connects && versionFits && request.key.size() == kKeyChars &&
         (protocols.empty() || request.offersBinary);
}

std::string AcceptUpgrade(const UpgradeRequest& request) {
  const std::string text = request.key + std::string(kKeySuffix);
  unsigned char digest[kSha1Bytes];
  if (gnutls_hash_fast(GNUTLS_DIG_SHA1, text.data(), text.size(), digest) != 0) return "";
  const gnutls_datum_t raw{digest, kSha1Bytes};
  gnutls_datum_t encoded{nullptr, 0};
  if (gnutls_base64_encode2(&raw, &encoded) != 0) return "";
  std::string answer =
      "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
      "Sec-WebSocket-Accept: " +
      std::string(reinterpret_cast<const char*>(encoded.data), encoded.size) + "\r\n";
  gnutls_free(encoded.data);
  if (request.offersBinary) answer += "Sec-WebSocket-Protocol: binary\r\n";
  return answer + "\r\n";
}

std::string RefuseUpgrade(const std::string& status, const std::string& reason) {
  return "HTTP/1.1 " + status +
         "\r\nConnection: close\r\nContent-Type: text/plain\r\n"
         "Content-Length: " +
         std::to_string(reason.size() + 1) + "\r\n\r\n" + reason + "\n";
}

// Frames

void AppendFrame(std::string& out, std::string_view payload) {
  out += static_cast<char>(kLastPiece | kBinary);
  if (payload.size() <= kMostControlBytes) {
    out += static_cast<char>(payload.size());
  } else {
    const bool fitsShort = payload.size() <= 0xFFFF;
    out += static_cast<char>(fitsShort ? 126 : 127);
    for (int shift = fitsShort ? 8 : 56; shift >= 0; shift -= 8) {
      out += static_cast<char>(payload.size() >> shift & 0xFF);
    }
  }
  out += payload;
}

bool FrameReader::Take(std::string_view bytes, std::string& payload, std::string& answer) {
  while (!bytes.empty()) {
    if (!inPayload_) {
      head_ += bytes.front();
      bytes.remove_prefix(1);
      if (!ReadHead()) return false;
    } else {
      PLEXION_CHECK(taken_ <= size_ && mask_.size() == 4,
                    "a frame is taken up to its end, with four bytes of mask");
      const size_t count = static_cast<size_t>(std::min<uint64_t>(size_ - taken_, bytes.size()));
      std::string& target = opcode_ >= kFarewell ? control_ : payload;
      for (size_t i = 0; i < count; ++i) {
        target += static_cast<char>(bytes[i] ^ mask_[(taken_ + i) % mask_.size()]);
      }
      taken_ += count;
      bytes.remove_prefix(count);
    }
    if (inPayload_ && taken_ == size_ && !EndFrame(answer)) return false;
  }
  return true;
}

bool FrameReader::ReadHead() {
  const auto first = static_cast<uint8_t>(head_[0]);
  opcode_ = first & 0x0F;
  const bool isData = opcode_ == kContinuation || opcode_ == kBinary;
  const bool isControl =
      (opcode_ == kFarewell || opcode_ == kPing || opcode_ == kPong) && (first & kLastPiece) != 0;
  if ((first & 0x70) != 0 || (!isData && !isControl)) return false;
  if (head_.size() < 2) return true;
  const auto second = static_cast<uint8_t>(head_[1]);
  const uint8_t shortSize = second & 0x7F;
  // A viewer masks what it sends, so that nothing between the two takes it for something else.
  if ((second & kMasked) == 0 || (isControl && shortSize > kMostControlBytes)) return false;
  const size_t sizeBytes = shortSize == 126 ? 2 : shortSize == 127 ? 8 : 0;
  if (head_.size() < 2 + sizeBytes + 4) return true;
  size_ = sizeBytes == 0 ? shortSize : BigEndian(std::string_view(head_).substr(2, sizeBytes));
  mask_ = head_.substr(2 + sizeBytes);
  taken_ = 0;
  control_.clear();
  inPayload_ = true;
  return true;
}

bool FrameReader::EndFrame(std::string& answer) {
  // A farewell is answered by one, and then the connection ends.
  head_.clear();
  inPayload_ = false;
  if (opcode_ == kPing) AppendControl(answer, kPong, control_);
  if (opcode_ == kFarewell) AppendControl(answer, kFarewell, control_);
  return opcode_ != kFarewell;
}

}  // namespace plexion_host
