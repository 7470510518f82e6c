// Whether an application declares addresses of the network.
#ifndef HOST_PLAYER_CONTENT_DECLAREDADDRESSES_H_
#define HOST_PLAYER_CONTENT_DECLAREDADDRESSES_H_

#include "host/player/ContentAddress.h"

namespace plexion_host::player {

/// Looks for <data or <stream in an application's document, without reading it as one: what comes
/// from outside is taken apart in the content's own process. So a document that has them in a comment
/// counts as one that declares them. False also when there is no document, or it is too large.
///
/// Thread   any.
bool DeclaresAddresses(const ContentAddress& content);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_CONTENT_DECLAREDADDRESSES_H_
