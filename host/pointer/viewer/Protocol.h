// What a viewer must say to be let in, and what of it reaches the protocol library.

#ifndef HOST_POINTER_VIEWER_PROTOCOL_H_
#define HOST_POINTER_VIEWER_PROTOCOL_H_

#include <string>
#include <string_view>
#include <vector>

#include "host/pointer/viewer/WebSocket.h"

namespace plexion_host {

/// One viewer's side of the stream, without sockets and clocks: bytes in, bytes out.
///
/// The library waits for the rest of whatever begins, so it is handed whole messages only, and
/// nothing of a connection before that has said which protocol it speaks.
class ViewerProtocol {
 public:
  struct Rules {
    bool asksPassword = false;
    /// Pages that may connect, as browsers name them: "http://localhost:6080".
    std::vector<std::string> origins;
  };
  enum class Stage {
    kArrived,  ///< has said nothing: a native viewer waits for our greeting, a page for nothing
    kUpgrade,  ///< a page's request for a WebSocket has begun
    kGreeted,  ///< is to answer the greeting
    kLogin,    ///< chooses the way to log in, and does it
    kViewing,
    kOver,  ///< is to get what is left for it, and then to be gone
  };

  /// `rules` must outlive this.
  explicit ViewerProtocol(const Rules& rules) : rules_(rules) {}

  /// Bytes from the viewer. Appends whole messages to `toServer`, and answers of our own to
  /// `toViewer`.
  void Receive(std::string_view bytes, std::string& toServer, std::string& toViewer);
  /// A viewer that says nothing by itself gets the greeting.
  void Greet(std::string& toViewer);
  /// Bytes from the library, on their way to the viewer.
  void Send(std::string_view bytes, std::string& toViewer);

  /// The library has nothing more to say.
  void End() { stage_ = Stage::kOver; }

  Stage GetStage() const { return stage_; }
  /// Whether the viewer is in the middle of a message.
  bool IsInMessage() const { return !held_.empty() || ignored_ > 0 || frames_.IsInFrame(); }
  /// A page that was turned away because of where it comes from; empty: none was.
  const std::string& GetRefusedOrigin() const { return refusedOrigin_; }

 private:
  void ReadUpgrade(std::string& toServer, std::string& toViewer);
  /// Hands on what is whole of `held_`.
  void ProcessHeld(std::string& toServer);
  bool ReadVersion(std::string& toServer);
  bool ReadLogin(std::string& toServer);
  bool ReadMessage(std::string& toServer);
  void HandOn(size_t bytes, std::string& toServer);

  const Rules& rules_;
  Stage stage_ = Stage::kArrived;
  bool isPage_ = false;
  FrameReader frames_;
  std::string held_;         // what is not whole yet
  size_t ignored_ = 0;       // bytes still to come of a message that nobody wants
  size_t greetingLeft_ = 0;  // of the library's own greeting, in whose place ours went out
  int loginStep_ = 0;
  bool choosesType_ = false;  // since version 3.7 the viewer chooses how to log in
  std::string refusedOrigin_;
};

}  // namespace plexion_host

#endif  // HOST_POINTER_VIEWER_PROTOCOL_H_
