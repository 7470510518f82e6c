// Certificates of a folder.

#ifndef HOST_PLAYER_MEDIA_NET_CERTIFICATEFOLDER_H_
#define HOST_PLAYER_MEDIA_NET_CERTIFICATEFOLDER_H_

#include <string>

#include "host/player/media/framework/GstPointers.h"

namespace plexion_host::player {

/// Reads all certificates in the files of `folder`: *.pem, *.crt, *.cer, and names as tools give
/// them to such files by a hash, 1a2b3c4d.0.
/// Returns  null with `reason` when there are none that can be used.
TlsDatabasePointer ReadCertificateFolder(const std::string& folder, std::string& reason);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_NET_CERTIFICATEFOLDER_H_
