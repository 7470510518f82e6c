// Runs a pipeline that writes a clip.

#ifndef TESTS_HOST_MEDIA_CLIPMAKER_H_
#define TESTS_HOST_MEDIA_CLIPMAKER_H_

#include <string>

namespace plexion_host::player {

/// Runs `pipeline`, in which "%" stands for `path`, to its end. The framework is initialised.
/// Returns  what went wrong; empty: nothing.
std::string MakeClip(const std::string& path, std::string pipeline);

}  // namespace plexion_host::player

#endif  // TESTS_HOST_MEDIA_CLIPMAKER_H_
