// What the framework is told once for the whole process.

#ifndef HOST_PLAYER_MEDIA_FRAMEWORK_FRAMEWORKSETUP_H_
#define HOST_PLAYER_MEDIA_FRAMEWORK_FRAMEWORKSETUP_H_

namespace plexion_host::player {

/// Puts right what the media framework does by itself: which of its parts is taken where several
/// can do the work, and picture types that it does not recognise. Once in a process; thread: any.
void SetUpFramework();

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_FRAMEWORK_FRAMEWORKSETUP_H_
