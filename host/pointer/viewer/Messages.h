// How long the messages of a viewer are, so that only whole ones are handed on.

#ifndef HOST_POINTER_VIEWER_MESSAGES_H_
#define HOST_POINTER_VIEWER_MESSAGES_H_

#include <cstddef>
#include <string_view>

namespace plexion_host {

/// What is known of the message at the front of some bytes.
struct ViewerMessage {
  enum class Kind {
    kUnfinished,  ///< more bytes are needed to tell
    kHandOn,
    kIgnore,  ///< of no use here: `size` bytes are to be skipped, as they come
    kRefuse,  ///< nothing that a viewer of ours may send
  };
  Kind kind = Kind::kUnfinished;
  size_t size = 0;  ///< of the whole message; it may not all be there yet
};

/// Looks at the front of what a viewer sent after its login. `bytes` is not empty.
ViewerMessage MeasureViewerMessage(std::string_view bytes);

}  // namespace plexion_host

#endif  // HOST_POINTER_VIEWER_MESSAGES_H_
