// What a content's process is born with: where its ends of the connection are, and the page that both
// sides have.

#ifndef HOST_PLAYER_REMOTE_LINK_H_
#define HOST_PLAYER_REMOTE_LINK_H_

#include <stdint.h>

#include <atomic>

#include "host/player/remote/Record.h"

namespace plexion_host::player::remote {

/// Descriptors of the process; all others but the standard streams are closed.
/// The bells are pipes: each end has flags of its own. Of an eventfd both sides would have the same ones,
/// and a process that makes it wait again would have the player wait for as long as it likes.
constexpr int kSocketDescriptor = 3;      ///< SOCK_SEQPACKET: orders come, events go
constexpr int kPageDescriptor = 4;        ///< sealed memory: a CallPage
constexpr int kOrderBellDescriptor = 5;   ///< read end: an order stands in the page
constexpr int kAnswerBellDescriptor = 6;  ///< write end: its answer stands there

/// Orders with an answer, one at a time: the player writes `order` and rings; the process works, writes
/// `answer`, says so, and rings back when that is waited for. That is half of what a socket costs, twice
/// a frame. The process may write anything anywhere in here at any moment: the player only believes a
/// copy that it has checked.
struct CallPage {
  Record order;
  Record answer;
  std::atomic<uint32_t> cancelled{0};  ///< by the player: not 0 once the content is to end
  std::atomic<uint32_t> alive{0};      ///< by the process: moves on while a load does
  /// By the process: what its content has of counted memory. Whoever lies keeps more, or less, for
  /// itself: what the process uses in truth is counted by the launcher.
  std::atomic<uint32_t> countedKibibytes{0};
  /// By the process: the serial of the order whose answer stands above.
  std::atomic<uint32_t> answered{0};
  /// By the player: not 0 while it sleeps until an answer comes. The process looks here after it has
  /// answered, the player looks for an answer after it has said so: one of them sees the other. A bell
  /// that nobody waits for is not rung, which is a frame that was drawn before it was due.
  std::atomic<uint32_t> awaited{0};
};
static_assert(std::atomic<uint32_t>::is_always_lock_free, "a lock would be in another's hands");

/// The program, in the folder of the player runtime.
constexpr const char* kProgramName = "plexion-content";

}  // namespace plexion_host::player::remote

#endif  // HOST_PLAYER_REMOTE_LINK_H_
