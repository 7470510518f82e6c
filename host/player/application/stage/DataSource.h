// What an application takes from the network, as its document declares it.
#ifndef HOST_PLAYER_APPLICATION_STAGE_DATASOURCE_H_
#define HOST_PLAYER_APPLICATION_STAGE_DATASOURCE_H_

#include <string>

namespace plexion_host::player::application {

/// Names of declared data begin so where a file may be named, those of streams in a `src`.
constexpr char kDataPrefix[] = "data:";
constexpr char kStreamPrefix[] = "stream:";
/// Of data and streams together.
constexpr size_t kMostSources = 32;

/// An address that an application may use; there are no others.
struct DataSource {
  std::string id;
  std::string address;  ///< http or https, without a user
  bool isStream = false;
  double everySeconds = 60;    ///< of data: from the end of one request to the next
  double timeoutSeconds = 15;  ///< of data: for all of it, redirections included
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_STAGE_DATASOURCE_H_
