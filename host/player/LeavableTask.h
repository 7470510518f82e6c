// Work of libraries that cannot be interrupted, on threads that can be left behind.

#ifndef HOST_PLAYER_LEAVABLETASK_H_
#define HOST_PLAYER_LEAVABLETASK_H_

#include <functional>
#include <string>

namespace plexion_host::player {

enum class TaskEnd {
  kDone,
  kLeft,        ///< goes on by itself, and nobody waits for it any more
  kNotStarted,  ///< too many have been left and are still at work, or there is no thread to be had
};

/// Runs `work` on a thread of its own and waits for it, until `givesUp` says that it is not to be
/// waited for any longer; it is asked every 20 ms.
///
/// Owns    `work` must own all that it touches: it may outlive its caller. Pass it shared pointers
///         and values. It does not throw.
/// Thread  any.
TaskEnd RunLeavable(const std::string& name, std::function<void()> work,
                    const std::function<bool()>& givesUp);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_LEAVABLETASK_H_
