#ifndef HOST_LAUNCHER_RUN_WINDOWLIST_H_
#define HOST_LAUNCHER_RUN_WINDOWLIST_H_

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/contracts/IHostWindows.h"
#include "host/launcher/options/WindowArguments.h"
#include "host/launcher/run/WindowObserver.h"

namespace plexion_host {

/// The windows that the launcher runs, and the way to end them all.
class WindowList final : public IHostWindows {
 public:
  explicit WindowList(StatusBoard& board) : board_(board) {}

  // For the other modules.
  void WithWindows(const std::function<void(std::vector<HostWindow>&)>& visit) override;
  qx::plexion::IPlexionSets* GetService() override { return service_.load(); }
  void RequestQuit() override;

  // For the launcher.
  void SetService(qx::plexion::IPlexionSets* service) { service_ = service; }
  /// Called by RequestQuit each time; must not block. Set before any thread is there.
  void SetQuitHandler(std::function<void()> handler) { quitHandler_ = std::move(handler); }

  /// Takes a window in and listens to it. A window that comes after the end was asked for is ended
  /// at once. The observer lives until the window is destroyed.
  WindowObserver& Add(qx::plexion::StageWindow* window, const WindowLine& line);
  /// Takes the window out, so that nobody sees it any more, and destroys it.
  void Destroy(qx::plexion::StageWindow* window);

  /// Ends every window with kStatusComplete, now and those to come.
  void TerminateAll();
  bool IsQuitting() const { return quitting_.load(); }
  StatusBoard& Board() { return board_; }

 private:
  struct Entry {
    HostWindow shown;
    bool keyMasterWanted = false;
    std::unique_ptr<WindowObserver> observer;
  };

  StatusBoard& board_;
  std::atomic<qx::plexion::IPlexionSets*> service_{nullptr};
  std::atomic<bool> quitting_{false};
  std::function<void()> quitHandler_;

  std::recursive_mutex mutex_;  // the launcher's window lock; guards what follows
  std::vector<Entry> entries_;
  unsigned nextNumber_ = 1;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_WINDOWLIST_H_
