// Proxies that https goes through.

#ifndef HOST_PLAYER_MEDIA_NET_PROXYTUNNEL_H_
#define HOST_PLAYER_MEDIA_NET_PROXYTUNNEL_H_

#include <string>

#include "host/player/Engine.h"

namespace plexion_host::player {

/// The address of `proxy` for https content, which goes through a tunnel (CONNECT).
///
/// The http library opens such tunnels itself for proxies of the scheme "http", but cannot tell
/// them a user and a password. So this address has a scheme of its own, behind which stands the
/// tunnel of GIO, which can.
std::string TunnelAddress(const ProxySettings& proxy);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_NET_PROXYTUNNEL_H_
