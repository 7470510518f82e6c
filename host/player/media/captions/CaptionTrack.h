// Captions drawn over a picture.

#ifndef HOST_PLAYER_MEDIA_CAPTIONS_CAPTIONTRACK_H_
#define HOST_PLAYER_MEDIA_CAPTIONS_CAPTIONTRACK_H_

#include <ass/ass.h>

#include <memory>
#include <string>

#include "host/player/Engine.h"
#include "host/player/StageFit.h"
#include "host/player/media/captions/CaptionFile.h"

namespace plexion_host::player {

/// One track of captions, drawn by libass, which sets lines of every direction and script.
///
/// Plain cues get a style of ours: white with a dark rim, as large as the picture wants it. A script
/// has styles of its own. Fonts are the system's; those inside of files are not used.
///
/// Thread   one at a time.
class CaptionTrack {
 public:
  CaptionTrack();

  /// Returns  false when the library does not start.
  bool IsUsable() const { return track_ != nullptr; }

  /// Returns  false with the reason in `error` for a script without events, or with too many.
  bool SetScript(std::string script, std::string& error);
  /// The head of a script whose events come one by one.
  void SetScriptHead(std::string head);
  /// An event as demuxers hand it out: "order,layer,style,...,text".
  void AddEvent(std::string event, int64_t beginMs, int64_t endMs);
  void AddCue(const Cue& cue);
  /// All events are gone; the style stays. Not for whole scripts.
  void Forget();

  /// Draws what is to be read at a moment over the picture, which lies at `place` in the target;
  /// `video` is its own size. Touches nothing outside of `seen`.
  void Draw(const DrawTarget& target, const StageFit& place, const qx::plexion::Rect& seen,
            const qx::plexion::Dims& video, int64_t timeMs);

  /// Drawing took too long too often: it is over with this track.
  bool HasGivenUp() const { return slow_ >= kMostSlow; }

 private:
  static constexpr int kMostSlow = 5;

  struct Free {
    void operator()(ASS_Library* library) const { ass_library_done(library); }
    void operator()(ASS_Renderer* renderer) const { ass_renderer_done(renderer); }
    void operator()(ASS_Track* track) const { ass_free_track(track); }
  };

  void SizeStyle(const StageFit& place, const qx::plexion::Dims& plane);
  void TrimEvents();

  std::unique_ptr<ASS_Library, Free> library_;
  std::unique_ptr<ASS_Renderer, Free> renderer_;
  std::unique_ptr<ASS_Track, Free> track_;
  bool styled_ = true;  ///< our style, and not a script's
  int order_ = 0;
  int slow_ = 0;
  int64_t drawnMs_ = 0;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_CAPTIONS_CAPTIONTRACK_H_
