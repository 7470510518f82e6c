// Where content is: a path of this machine, or an address of another one.

#ifndef HOST_PLAYER_CONTENTADDRESS_H_
#define HOST_PLAYER_CONTENTADDRESS_H_

#include <string>
#include <string_view>

namespace plexion_host::player {

/// Where content is, taken apart.
struct ContentAddress {
  std::string path;  ///< local content; empty for remote
  std::string url;   ///< remote content, as given; empty for local
  std::string name;  ///< last part, for messages
};

/// Takes a plain path, a file:// address and any other scheme:// (remote). A relative path is
/// taken from `base` (a folder, or an address) when there is one, else from the working directory.
/// Returns  false with `error` saying what is wrong with the text.
bool ResolveContentAddress(std::string_view text, std::string_view base, ContentAddress& address,
                           std::string& error);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_CONTENTADDRESS_H_
