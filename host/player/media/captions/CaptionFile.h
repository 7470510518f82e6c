// Captions from files: SubRip, WebVTT and Advanced SubStation Alpha.

#ifndef HOST_PLAYER_MEDIA_CAPTIONS_CAPTIONFILE_H_
#define HOST_PLAYER_MEDIA_CAPTIONS_CAPTIONFILE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace plexion_host::player {

/// What is to be read while a stretch of time lasts.
struct Cue {
  int64_t beginMs = 0;
  int64_t endMs = 0;
  std::string text;   ///< in the notation of ASS events
  int alignment = 2;  ///< as on a number block: 2 below in the middle, 8 above
};

struct CaptionFile {
  std::vector<Cue> cues;  ///< in the file's order; empty for an ASS script
  std::string script;     ///< an ASS script as it is; empty for the others
  /// What in it could not be read, and where; empty: nothing.
  std::string complaint;
};

constexpr size_t kLargestCaptionFile = size_t{8} << 20;
constexpr size_t kMostCues = 20000;
constexpr size_t kLongestCue = 4000;  ///< bytes; the rest is left out

/// Reads a text of any of the kinds, which it tells by itself. Cues that are wrong are left out.
/// Returns  false with line and expectation in `error` when nothing can be read.
bool ReadCaptions(std::string text, CaptionFile& file, std::string& error);

/// What stands in <i>tags</i> and &entities; (SubRip, WebVTT, and what demuxers hand out) in the
/// notation of ASS events. What it does not know is left out; nothing of it can be taken for a
/// command of ASS, but {\an1} to {\an9} in front. Without `marked` there are no tags in it.
std::string AsEventText(const std::string& markup, bool marked = true);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_CAPTIONS_CAPTIONFILE_H_
