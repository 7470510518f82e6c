// WebSockets as a page's viewer speaks them: the request to begin, and frames there and back.

#ifndef HOST_POINTER_VIEWER_WEBSOCKET_H_
#define HOST_POINTER_VIEWER_WEBSOCKET_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace plexion_host {

/// What matters of a request for a WebSocket.
struct UpgradeRequest {
  std::string key;
  bool fromPage = false;      ///< a browser says so, and cannot be made to say otherwise
  std::string origin;         ///< of the page: "http://localhost:6080", "null" for a file
  bool offersBinary = false;  ///< names the subprotocol "binary", and expects it to be chosen
};

/// No request of a browser comes near this.
constexpr size_t kMostUpgradeBytes = 8192;

/// Reads a request, up to its empty line.
/// Returns  false when it asks for anything but a WebSocket of version 13 that can carry bytes.
bool ParseUpgrade(std::string_view header, UpgradeRequest& request);

/// The answer that begins the WebSocket; empty when it cannot be made.
std::string AcceptUpgrade(const UpgradeRequest& request);
/// The answer that refuses it: `status` is "403 Forbidden", `reason` one line for a person.
std::string RefuseUpgrade(const std::string& status, const std::string& reason);

/// Appends `payload` as one frame from the server.
void AppendFrame(std::string& out, std::string_view payload);

/// Takes apart a viewer's frames, in whatever pieces they come. Holds no payload but a ping's.
class FrameReader {
 public:
  /// Appends the payload of data frames to `payload`, and what a ping or a farewell is to be
  /// answered with to `answer`.
  /// Returns  false when the viewer has ended the WebSocket, or does not keep to the protocol.
  bool Take(std::string_view bytes, std::string& payload, std::string& answer);

  /// A frame has begun and not ended.
  bool IsInFrame() const { return !head_.empty(); }

 private:
  /// Returns  false when no such frame may come from a viewer.
  bool ReadHead();
  bool EndFrame(std::string& answer);

  std::string head_;  // of the frame at hand
  bool inPayload_ = false;
  uint8_t opcode_ = 0;
  uint64_t size_ = 0;
  uint64_t taken_ = 0;
  std::string mask_;
  std::string control_;  // payload of a control frame: at most 125 bytes
};

}  // namespace plexion_host

#endif  // HOST_POINTER_VIEWER_WEBSOCKET_H_
