// --look: where the page is served, and the token in its address.

#ifndef HOST_LAUNCHER_OPTIONS_LOOKADDRESS_H_
#define HOST_LAUNCHER_OPTIONS_LOOKADDRESS_H_

#include <cstdint>
#include <optional>
#include <string>

namespace plexion_host {

struct LookAddress {
  std::string address;  ///< in numbers
  uint16_t port = 0;
  bool IsLoopback() const { return address.compare(0, 4, "127.") == 0 || address == "::1"; }
};

/// Reads "127.0.0.1:8080" or "[::1]:8080". Returns  an empty text, or what was expected.
std::string ReadLookAddress(const std::string& text, std::optional<LookAddress>& address);

/// What stands in a URL in front of the token's path: "http://127.0.0.1:8080/".
std::string LookUrl(const LookAddress& address, uint16_t port);

/// The token in a file that only its owner can read; the file is made when it is not there.
/// Returns  false with the reason in `error`.
bool LoadLookToken(const std::string& path, std::string& token, std::string& error);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_OPTIONS_LOOKADDRESS_H_
