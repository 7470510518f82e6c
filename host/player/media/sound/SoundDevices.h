// The sound outputs of the machine, by their names.

#ifndef HOST_PLAYER_MEDIA_SOUND_SOUNDDEVICES_H_
#define HOST_PLAYER_MEDIA_SOUND_SOUNDDEVICES_H_

#include <string>
#include <vector>

#include "host/player/media/framework/GstPointers.h"

namespace plexion_host::player {

/// Names by which outputs can be chosen: what people call them and, behind each, what its server
/// does. Asks the servers, which takes as long as they take. After the framework has been started.
std::vector<std::string> SoundOutputNames();

/// An output of that name, not open yet; null when there is none. Thread: any.
GstElementPointer MakeSoundOutput(const std::string& name);

/// What --sound-output says; "auto" when it is not there.
std::string ChosenSoundOutput();

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_SOUND_SOUNDDEVICES_H_
