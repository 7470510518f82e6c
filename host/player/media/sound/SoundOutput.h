// Whether anything here might play sound.

#ifndef HOST_PLAYER_MEDIA_SOUND_SOUNDOUTPUT_H_
#define HOST_PLAYER_MEDIA_SOUND_SOUNDOUTPUT_H_

#include <functional>
#include <string>

namespace plexion_host::player {

/// What the search for sound outputs looks at.
struct SoundSurroundings {
  /// An environment variable's value; empty when it is not set.
  std::function<std::string(const char* name)> variable;
  std::function<bool(const std::string& path)> exists;
};

/// The process's environment and the machine's files.
SoundSurroundings RealSoundSurroundings();

/// Whether anything here might play sound: a device of the kernel's, a sound server's socket, or
/// settings that name one. Asking each kind of output in turn whether it works takes a noticeable
/// part of a first load, and on a display without sound the answer is always no.
bool SoundMayBeHeard(const SoundSurroundings& surroundings);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_SOUND_SOUNDOUTPUT_H_
