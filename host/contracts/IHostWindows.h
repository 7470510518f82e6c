#ifndef HOST_CONTRACTS_IHOSTWINDOWS_H_
#define HOST_CONTRACTS_IHOSTWINDOWS_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "qx/core/IQXModule.h"
#include "qx/plexion/IPlexion.h"
#include "qx/plexion/StageWindow.h"

namespace plexion_host {

struct HostWindow {
  unsigned number =
      0;  ///< what the operator calls it: 1, 2, ... in the order of creation, kept for life
  std::string content;  ///< as named on the command line
  qx::plexion::StageWindow* window = nullptr;
  qx::plexion::StageWindowStatus status =
      qx::plexion::kStatusUnconfigured;  ///< last heard of; asking the window may wait for a load
  bool keyMaster = false;
  bool paused = false;
  std::string zone = {};  ///< of a programme; empty: none
  int64_t shownMs = 0;    ///< since its first picture; 0: there was none
};

/// The windows that the launcher runs: a built-in module "IHostWindows" of this host's kernel. The
/// launcher implements it; input, shell and pointer stream use it. Built in before any other module
/// is loaded and there until the last is gone.
class IHostWindows : public IQXModule {
 public:
  /// Calls `visit` with the windows, in order of creation. None of them is destroyed meanwhile; so
  /// do not wait in there for content to end. Thread   any but a player's own. Takes the launcher's
  /// window lock, which comes before every lock
  ///          of the service.
  virtual void WithWindows(const std::function<void(std::vector<HostWindow>&)>& visit) = 0;
  /// The service; null before it is loaded and after it is unloaded.
  virtual qx::plexion::IPlexionSets* GetService() = 0;
  /// Ends all windows and then the launcher, as SIGTERM does. Does not block.
  virtual void RequestQuit() = 0;

  /// Content waits for the operator's "go": until then nothing of it is opened. Thread   any.
  virtual bool IsPausePending() { return false; }

  /// Keys go to the service this way, so that the launcher knows when one is under way. Thread   any;
  ///          takes the launcher's key lock, which comes before its window lock.
  virtual void DispatchKeyDown(uint32_t key) {
    if (qx::plexion::IPlexionSets* const service = GetService()) service->DispatchKeyDown(key);
  }
  virtual void DispatchKeyUp(uint32_t key) {
    if (qx::plexion::IPlexionSets* const service = GetService()) service->DispatchKeyUp(key);
  }

  /// The display that contents are shown on has gone and does not come back: ends everything, with
  /// an exit code of its own. Does not block. Thread   any.
  virtual void DisplayLost(const std::string& /*reason*/) { RequestQuit(); }
};

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_IHOSTWINDOWS_H_
