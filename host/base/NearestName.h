// Which of several names somebody who mistyped one has probably meant.
#ifndef HOST_BASE_NEARESTNAME_H_
#define HOST_BASE_NEARESTNAME_H_

#include <string>
#include <vector>

namespace plexion_host {

/// The name that `typed` was probably meant to be: the one that takes the fewest changes of one
/// character, put in, left out, exchanged for another or with its neighbour, and at most one in
/// three. Empty: none is near. Upper and lower case are the same.
std::string NearestName(const std::string& typed, const std::vector<std::string>& names);

}  // namespace plexion_host

#endif  // HOST_BASE_NEARESTNAME_H_
