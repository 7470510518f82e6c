// How a content's process ended, for its window.

#ifndef HOST_PLAYER_REMOTE_PROCESSEND_H_
#define HOST_PLAYER_REMOTE_PROCESSEND_H_

#include <signal.h>

#include <string>

#include "host/player/Engine.h"

namespace plexion_host::player::remote {

/// `info` is what waitid found; si_pid is 0 when it found nothing.
std::string DescribeEnd(const siginfo_t& info);

/// The status and message of a window whose process ended by itself.
EngineError ErrorOfEnd(const siginfo_t& info);

}  // namespace plexion_host::player::remote

#endif  // HOST_PLAYER_REMOTE_PROCESSEND_H_
