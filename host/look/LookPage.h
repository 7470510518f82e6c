// The page's text.

#ifndef HOST_LOOK_LOOKPAGE_H_
#define HOST_LOOK_LOOKPAGE_H_

#include <string>

namespace plexion_host {

/// One HTML document that needs nothing else; its style and its script carry `nonce`.
std::string LookPage(const std::string& nonce);

}  // namespace plexion_host

#endif  // HOST_LOOK_LOOKPAGE_H_
