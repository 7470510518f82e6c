// The windows that the launcher runs, the keys that reach them, and the way to end them all.

#ifndef HOST_LAUNCHER_RUN_WINDOWLIST_H_
#define HOST_LAUNCHER_RUN_WINDOWLIST_H_

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/base/Mutex.h"
#include "host/contracts/IHostWindows.h"
#include "host/launcher/options/WindowArguments.h"
#include "host/launcher/run/WindowObserver.h"

namespace plexion_host {

/// The module "IHostWindows", and the launcher's own side of it.
class WindowList final : public IHostWindows {
 public:
  explicit WindowList(StatusBoard& board) : board_(board) {}

  // For the other modules.
  void WithWindows(const std::function<void(std::vector<HostWindow>&)>& visit) override;
  qx::plexion::IPlexionSets* GetService() override { return service_.load(); }
  void RequestQuit() override;
  void DisplayLost(const std::string& reason) override;
  bool IsPausePending() override { return pausePending_.load(); }
  void DispatchKeyDown(uint32_t key) override;
  void DispatchKeyUp(uint32_t key) override;

  // For the launcher.
  void SetService(qx::plexion::IPlexionSets* service) { service_ = service; }
  /// Called by RequestQuit each time; must not block. Set before any thread is there.
  void SetQuitHandler(std::function<void()> handler) { quitHandler_ = std::move(handler); }
  /// Called by DisplayLost, before the end is asked for; the same holds of it.
  void SetDisplayLostHandler(std::function<void(const std::string&)> handler) {
    displayLostHandler_ = std::move(handler);
  }
  /// Hear of each window before it plays and before it is destroyed, and of each key that comes down.
  /// Set before any thread is there.
  void SetWindowHandlers(std::function<void(const HostWindow&)> added,
                         std::function<void(const qx::plexion::StageWindow*)> gone) {
    windowAdded_ = std::move(added);
    windowGone_ = std::move(gone);
  }
  /// Called before a window is taken out of the list. Set before any thread is there.
  void SetGoingHandler(std::function<void()> handler) { windowGoing_ = std::move(handler); }
  void SetKeyHandler(std::function<void(uint32_t)> handler) { keyHandler_ = std::move(handler); }
  /// "--pause" stands on the command line and nobody has said "go" yet.
  void SetPausePending(bool pending) { pausePending_ = pending; }
  /// The service simulates key ups, this long after each key down; 0: it does not. A window that is
  /// destroyed takes the simulated key ups of all windows with it, so none is while one is due.
  void SetKeyUpDelay(std::chrono::milliseconds delay) { keyUpDelay_ = delay; }

  /// Takes a window in and listens to it. A window that comes after the end was asked for is ended
  /// at once. The observer lives until the window is destroyed.
  WindowObserver& Add(qx::plexion::StageWindow* window, const WindowLine& line);
  /// Takes the window out, so that nobody sees it any more, and destroys it, which waits for its
  /// player's thread.
  void Destroy(qx::plexion::StageWindow* window) EXCLUDES(keysMutex_, mutex_);

  /// Ends every window with kStatusComplete, now and those to come.
  void TerminateAll();
  bool IsQuitting() const { return quitting_.load(); }
  StatusBoard& Board() { return board_; }
  /// What the operator calls a window; 0: it is not known.
  unsigned NumberOf(const qx::plexion::StageWindow* window) EXCLUDES(mutex_);
  /// The contents whose windows have not been destroyed yet. Waits for nothing.
  std::vector<std::string> GetContents();

 private:
  struct Entry {
    HostWindow shown;
    bool keyMasterWanted = false;
    std::unique_ptr<WindowObserver> observer;
  };

  std::unique_ptr<WindowObserver> TakeOut(qx::plexion::StageWindow* window);
  void WaitForKeyUps() REQUIRES(keysMutex_);

  StatusBoard& board_;
  std::atomic<qx::plexion::IPlexionSets*> service_{nullptr};
  std::atomic<bool> quitting_{false};
  std::atomic<bool> pausePending_{false};
  std::function<void()> quitHandler_;
  std::function<void(const std::string&)> displayLostHandler_;
  std::function<void(const HostWindow&)> windowAdded_;
  std::function<void(const qx::plexion::StageWindow*)> windowGone_;
  std::function<void()> windowGoing_;
  std::function<void(uint32_t)> keyHandler_;
  std::chrono::milliseconds keyUpDelay_{0};  // constant once there are windows

  // Held while a key goes to the service and, with simulated key ups, while a window is destroyed.
  // Comes before the next.
  Mutex keysMutex_;
  StatusBoard::Clock::time_point keyUpsDue_ GUARDED_BY(keysMutex_);

  RecursiveMutex mutex_;  // the launcher's window lock
  std::vector<Entry> entries_ GUARDED_BY(mutex_);
  unsigned nextNumber_ GUARDED_BY(mutex_) = 1;

  Mutex contentsMutex_;  // a leaf
  std::map<qx::plexion::StageWindow*, std::string> contents_ GUARDED_BY(contentsMutex_);
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_WINDOWLIST_H_
