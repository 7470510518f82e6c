// Which file a content's captions are in.

#ifndef HOST_PLAYER_CONTENT_CAPTIONADDRESS_H_
#define HOST_PLAYER_CONTENT_CAPTIONADDRESS_H_

#include <string>

#include "host/player/PlayerSettings.h"

namespace plexion_host::player {

/// The variable of a content that asks for captions: on, off, or a file's name.
inline constexpr char kCaptionsVariable[] = "captions";

/// The file with the captions of the content at `path` (empty: it is no file), by its variables: the
/// one that they name, which lies beside the content unless it is a whole path; with "on", the content's
/// name with .ass, .ssa, .vtt or .srt in place of the ending, or behind it. Empty: there is none, or
/// nobody wants it.
std::string CaptionAddress(const std::string& path, const PlayerSettings& settings);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_CONTENT_CAPTIONADDRESS_H_
