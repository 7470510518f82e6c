// The captions of one content: where they come from, and when they are drawn.

#ifndef HOST_PLAYER_MEDIA_CAPTIONS_CAPTIONS_H_
#define HOST_PLAYER_MEDIA_CAPTIONS_CAPTIONS_H_

#include <deque>
#include <optional>
#include <string>

#include "host/base/Mutex.h"
#include "host/player/media/captions/CaptionTrack.h"
#include "host/player/media/framework/GstPointers.h"

namespace plexion_host::player {

/// Captions of a file beside the content, of one that was named, or of a stream inside of it.
/// Whatever is wrong with them is told once, and the content plays on without.
///
/// Thread   the player's; Take those of the framework as well.
class Captions {
 public:
  explicit Captions(EngineHost& host) : host_(host) {}

  /// The captions of a file; without one, a stream inside of the content may have some.
  void Open(const std::string& path);
  bool WantStream() const { return wantStream_; }

  /// One of a stream's captions. Text of a kind that is not known is left alone.
  void Take(GstSamplePointer sample);
  /// The stream begins anew: what was taken is not to be shown any more.
  void ForgetStream();

  /// See CaptionTrack::Draw.
  void Draw(const DrawTarget& target, const StageFit& place, const qx::plexion::Rect& seen,
            const qx::plexion::Dims& video, int64_t timeMs);

 private:
  struct StreamCue {
    int64_t beginMs;
    int64_t endMs;
    std::string text;
    std::string head;  ///< of a script; empty for plain text
    bool script;
  };

  CaptionTrack* Track();
  void Tell(const std::string& what);
  void AddTaken();

  EngineHost& host_;
  std::string name_;
  bool wantStream_ = false;
  bool told_ = false;
  std::optional<CaptionTrack> track_;
  std::string head_;  ///< of the script whose events are in the track

  Mutex mutex_;
  std::deque<StreamCue> taken_ GUARDED_BY(mutex_);
  bool forget_ GUARDED_BY(mutex_) = false;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_CAPTIONS_CAPTIONS_H_
