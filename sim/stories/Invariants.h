// What must hold in every story, whatever it tells.

#ifndef SIM_STORIES_INVARIANTS_H_
#define SIM_STORIES_INVARIANTS_H_

#include <string>

#include "sim/explore/Explore.h"

namespace qx {
namespace plexion {
class IPlexionSets;
}  // namespace plexion
}  // namespace qx

namespace plexion_sim {

// What must hold in every story, whatever it tells. What the device finds by itself (leaks, use
// after destroy, deadlock) is in sim/README.md; these are the service's own.

/// Locks are taken in the documented order only; docs/concurrency.md has it.
void WatchLocks(SimDevice& device);

/// At every decision point: the active window and the key master are windows of the service's list,
/// and nobody but the service's lock hides a change of them.
void WatchService(SimDevice& device, qx::plexion::IPlexionSets* service);
void UnwatchService(SimDevice& device);

/// Queued key ups of other windows are dropped, not freed, when one window's are cleared: kept, for
/// the hosts that clear only when all windows go. At most `count` of them in this story.
void AllowDroppedKeyEvents(SimDevice& device, unsigned count);

/// What is left of a run's findings when one call, or all later ones, failed. Left out: what the
/// story itself expected, and the waits without end that the contract leaves to the host
/// (docs/concurrency.md): a player that refuses to load or play without a status, a shell without
/// "go", a player that refuses the plane that replaced its own.
/// Sets `leftToHost` when such a case was met.
std::string UnexpectedFindings(const FaultCase& fault, const std::string& findings,
                               bool* leftToHost = nullptr);
/// The same without a failed call: what the story itself expected is left out.
std::string UnexpectedFindings(const std::string& findings);

}  // namespace plexion_sim

#endif  // SIM_STORIES_INVARIANTS_H_
