#ifndef HOST_CONTRACTS_IHOSTPLAYER_H_
#define HOST_CONTRACTS_IHOSTPLAYER_H_

#include <functional>
#include <string>

#include "qx/core/IQXModule.h"
#include "qx/plexion/StageWindow.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host {

/// What this host's player can do beyond the runtime's contract: module "IHostPlayer", in the library
/// of "IMorvelRuntimeLib". A device maker's player has none, and content then has the volume that it
/// was opened with.
///
/// Windows  are known by their address alone and never called.
/// Thread   any; waits for nothing.
class IHostPlayer : public IQXModule {
 public:
  /// A window with these parameters will be configured soon. Where each content has a process of its own,
  /// that is started now, and opens its libraries while the host opens the display. For the first
  /// windows of a run: each of those that follow does so when it is configured. What is wrong with the
  /// content is told when it is loaded. `parameters` are read during the call only.
  virtual void Prepare(const qx::plexion::StageWindowParameters& parameters) = 0;

  /// What protects from content, in a line for people; empty when no content has had a process of its own.
  virtual std::string Protection() = 0;

  /// A factor from 0 to 1 for the sound of what the window plays, on top of the content's own. It may
  /// come before the window is configured, and holds until Forget.
  virtual void SetVolume(const qx::plexion::StageWindow* window, double factor) = 0;
  /// The window is about to be destroyed.
  virtual void Forget(const qx::plexion::StageWindow* window) = 0;

  /// Goes to a moment of the content, in seconds from its beginning or, `relative`, from where it is.
  /// `done` is called once on the player's thread, with nothing or with what was wrong; never if the
  /// content ends before. Returns  false, and does not call, when no player has the window.
  virtual bool Seek(const qx::plexion::StageWindow* window, double seconds, bool relative,
                    std::function<void(const std::string& fault)> done) = 0;
};

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_IHOSTPLAYER_H_
