// The machine's sound output, opened without keeping the picture waiting.

#ifndef HOST_PLAYER_MEDIA_SOUND_SOUNDSINK_H_
#define HOST_PLAYER_MEDIA_SOUND_SOUNDSINK_H_

#include <chrono>

#include "host/player/media/framework/GstPointers.h"

namespace plexion_host::player {

/// A sound server that does not answer keeps whoever opens it for half a minute. So it is opened on
/// a thread of its own, one at a time in the process, and waited for only so long.
constexpr std::chrono::milliseconds kSoundPatience{1000};

/// Begins to open an output, unless one is open or being opened: it will probably be wanted soon.
/// After the framework has been started. Thread: any.
void PrepareSound();

/// Returns  an output that is open and ready; null when `patience` has gone by since its opening
///          began. It is then there for a later call, should it open after all. Thread: any.
GstElementPointer TakeSoundSink(std::chrono::milliseconds patience = kSoundPatience);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_SOUND_SOUNDSINK_H_
