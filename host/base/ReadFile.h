// Reading a small file whole, whatever somebody put in its place.

#ifndef HOST_BASE_READFILE_H_
#define HOST_BASE_READFILE_H_

#include <cstddef>
#include <string>

namespace plexion_host {

/// Reads a regular file of at most `maxBytes`. A FIFO, a device or a folder is refused without
/// waiting for it.
///
/// Returns  false with the reason in `error`, without the path; `bytes` is then unchanged.
/// Thread   any.
bool ReadFile(const std::string& path, size_t maxBytes, std::string& bytes, std::string& error);

}  // namespace plexion_host

#endif  // HOST_BASE_READFILE_H_
