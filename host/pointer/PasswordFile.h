// The password of the pointer stream.

#ifndef HOST_POINTER_PASSWORDFILE_H_
#define HOST_POINTER_PASSWORDFILE_H_

#include <string>

namespace plexion_host {

/// Only so much of a password counts in this protocol.
constexpr size_t kPasswordBytes = 8;

/// Reads the password, the first line of a file that nobody but its owner may read.
///
/// Returns  false with what is wrong with the file in `error`.
bool ReadPasswordFile(const std::string& path, std::string& password, std::string& error);

}  // namespace plexion_host

#endif  // HOST_POINTER_PASSWORDFILE_H_
