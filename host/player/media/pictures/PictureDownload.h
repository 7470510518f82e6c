// A picture from a server.

#ifndef HOST_PLAYER_MEDIA_PICTURES_PICTUREDOWNLOAD_H_
#define HOST_PLAYER_MEDIA_PICTURES_PICTUREDOWNLOAD_H_

#include <string>

#include "host/player/Engine.h"
#include "host/player/media/net/HttpAccess.h"
#include "host/player/picture/PictureBytes.h"

namespace plexion_host::player {

/// Appends all that a server has at `uri` to `bytes`. Takes as long as it takes, and gives up when the
/// host cancels.
/// Returns  false with `error`.
/// Thread   the player's.
bool DownloadPicture(const std::string& uri, HttpAccess& access, EngineHost& host,
                     PictureBytes& bytes, EngineError& error);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_PICTURES_PICTUREDOWNLOAD_H_
