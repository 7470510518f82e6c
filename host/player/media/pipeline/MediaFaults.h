// What the framework cannot play, in words.

#ifndef HOST_PLAYER_MEDIA_PIPELINE_MEDIAFAULTS_H_
#define HOST_PLAYER_MEDIA_PIPELINE_MEDIAFAULTS_H_

#include <gst/gst.h>

#include <string>
#include <vector>

#include "host/player/Engine.h"

namespace plexion_host::player {

/// What the framework would have needed, and has not.
struct MissingPart {
  std::string what;     ///< "H.265 (Main Profile) decoder"
  std::string type;     ///< media type, or an element's or scheme's name
  std::string package;  ///< Debian package that is known to hold it
  bool picture = false;
  bool sound = false;
};

/// Gathers what the framework says about content that it cannot play, and says it in a sentence.
class MediaFaults {
 public:
  /// Remembers a message about a missing part. Returns  false for every other message.
  bool Take(GstMessage* message);
  bool Any() const { return !missing_.empty(); }
  /// The first missing decoder of pictures; null: none is missing.
  const MissingPart* Picture() const;
  const MissingPart* Sound() const;

  static EngineError Unsupported(const MissingPart& part);
  /// The status and the reason of an error message, the missing parts considered.
  EngineError FromError(GstMessage* message) const;

 private:
  std::vector<MissingPart> missing_;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_PIPELINE_MEDIAFAULTS_H_
