// The operator's socket: by the user's runtime folder, or the service's.
#include "host/launcher/options/ShellSocketPath.h"

#include <cstdlib>

namespace plexion_host {
namespace {

/// As in packaging/plexion.service.
constexpr const char* kServiceSocket = "/run/plexion/shell";

}  // namespace

std::string UsualShellSocket() {
  const char* const folder = std::getenv("XDG_RUNTIME_DIR");
  return folder == nullptr || *folder == '\0' ? std::string()
                                              : folder + std::string("/plexion.sock");
}

std::vector<std::string> ShellSocketsToTry() {
  // Named, it alone is tried: a script that means one launcher must not reach another.
  const char* const named = std::getenv("PLEXION_SOCKET");
  if (named != nullptr && *named != '\0') return {named};
  std::vector<std::string> paths;
  if (!UsualShellSocket().empty()) paths.push_back(UsualShellSocket());
  paths.emplace_back(kServiceSocket);
  return paths;
}

}  // namespace plexion_host
