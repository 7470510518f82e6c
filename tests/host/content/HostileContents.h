// Contents that nobody should have to play.

#ifndef TESTS_HOST_CONTENT_HOSTILECONTENTS_H_
#define TESTS_HOST_CONTENT_HOSTILECONTENTS_H_

#include <filesystem>
#include <string>
#include <vector>

namespace plexion_host::content {

struct HostileContent {
  std::string name;
  std::string path;
};

/// Makes them all below `folder`: movies, applications, pictures and media that are cut, changed, lying,
/// huge or endless, and files that are none.
std::vector<HostileContent> MakeHostileContents(const std::filesystem::path& folder);

}  // namespace plexion_host::content

#endif  // TESTS_HOST_CONTENT_HOSTILECONTENTS_H_
