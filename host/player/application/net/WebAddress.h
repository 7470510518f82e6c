// The host in a web address.
#ifndef HOST_PLAYER_APPLICATION_NET_WEBADDRESS_H_
#define HOST_PLAYER_APPLICATION_NET_WEBADDRESS_H_

#include <string>
#include <string_view>

#include "host/base/Text.h"

namespace plexion_host::player::application {

/// The host of an http or https address, in lower case; empty when it is none, or has no host. Also
/// empty with a user or a backslash: not all who read it agree then on where the host begins and ends,
/// and whoever asks must not be told another one than will be connected to.
inline std::string HostOf(std::string_view address) {
  const size_t begin = address.find("://");
  if (begin == std::string_view::npos) return "";
  const std::string scheme = LowerAscii(address.substr(0, begin));
  if (scheme != "http" && scheme != "https") return "";
  std::string_view server = address.substr(begin + 3);
  server = server.substr(0, server.find_first_of("/?#"));
  if (server.find_first_of("@\\") != std::string_view::npos) return "";
  // "[::1]:80" has colons of its own.
  const size_t bracket = server.find(']');
  const size_t colon = server.find(':', bracket == std::string_view::npos ? 0 : bracket);
  return LowerAscii(server.substr(0, colon));
}

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_NET_WEBADDRESS_H_
