// Looks through an application's document for what it takes from the network.
#include "host/player/content/DeclaredAddresses.h"

#include <sys/stat.h>

#include <string>

#include "host/base/ReadFile.h"

namespace plexion_host::player {

namespace {

/// A document that is larger is refused by whoever reads it.
constexpr size_t kLargestDocument = 1024 * 1024;

}  // namespace

bool DeclaresAddresses(const ContentAddress& content) {
  if (content.path.empty()) return false;
  struct stat status = {};
  const bool isFolder = stat(content.path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
  std::string text;
  std::string ignored;
  if (!ReadFile(isFolder ? content.path + "/application.xml" : content.path, kLargestDocument, text,
                ignored)) {
    return false;
  }
  for (const char* element : {"<data", "<stream"}) {
    if (text.find(element) != std::string::npos) return true;
  }
  return false;
}

}  // namespace plexion_host::player
