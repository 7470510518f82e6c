// The pointer stream at one address: the composed screen to viewers, their keys and pointers back.

#ifndef HOST_POINTER_RFBSERVER_H_
#define HOST_POINTER_RFBSERVER_H_

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/base/WakeSignal.h"
#include "host/contracts/IHostDisplay.h"
#include "host/contracts/IHostInput.h"
#include "host/pointer/ScreenFeed.h"
#include "host/pointer/viewer/Gate.h"

struct _rfbClientRec;
struct _rfbScreenInfo;

namespace plexion_host {

/// Serves the composed screen over RFB, and hands the clients' pointers and keys on as input.
///
/// One thread does everything that touches the protocol library, so its encoders never read a
/// picture that is being written, and none of its calls needs a lock. The viewers' own sockets are
/// the gate's: nothing that a viewer does, or leaves undone, makes that thread wait.
class RfbServer {
 public:
  struct Settings {
    int listenSocket = -1;   ///< taken over
    std::string password;    ///< empty: none asked for
    int refreshSeconds = 0;  ///< least time between two pictures; 0: as the screen changes
    std::vector<std::string> origins;  ///< of pages that may connect
    ViewerGate::Limits limits;
    /// A page of this origin was turned away; called on a thread of this object. May be null.
    std::function<void(const std::string&)> refused;
    IHostDisplay* display = nullptr;
    IHostInput* input = nullptr;  ///< may be null
  };

  /// Serves at once, if it IsUsable.
  explicit RfbServer(Settings settings);
  /// Drops the clients and releases what they hold. Does not wait for a client.
  ~RfbServer();
  RfbServer(const RfbServer&) = delete;
  RfbServer& operator=(const RfbServer&) = delete;

  /// False when the system had no descriptor to give; then nobody is served.
  bool IsUsable() const { return wake_.Fd() >= 0 && gate_ != nullptr && gate_->IsUsable(); }

 private:
  using Clock = std::chrono::steady_clock;
  struct Client;

  static void OnKey(signed char down, uint32_t keysym, _rfbClientRec* record);
  static void OnPointer(int buttons, int x, int y, _rfbClientRec* record);
  static void OnClientGone(_rfbClientRec* record);

  void Serve();
  void MakeScreen();
  void DestroyScreen();
  /// Waits for sockets, a changed screen that somebody wants, or the end.
  void WaitForWork();
  void AddClients();
  bool IsPictureWanted();
  bool IsRefreshDue() const { return Clock::now() >= nextRefresh_; }
  void Refresh();
  void AllowForPicture();

  const Settings settings_;
  WakeEvent wake_;
  std::atomic<bool> stopping_{false};

  // The thread's own.
  _rfbScreenInfo* screen_ = nullptr;
  std::vector<char*> passwords_;
  std::string password_;
  qx::plexion::Dims dims_{};
  std::vector<uint32_t> picture_;  // what the library reads
  std::vector<uint32_t> next_;
  Clock::time_point nextRefresh_{};
  int clients_ = 0;

  Mutex mutex_;
  std::vector<int> arrived_ GUARDED_BY(mutex_);  // from the gate, for the thread to take over

  std::unique_ptr<ScreenFeed> feed_;
  NamedThread thread_;
  std::unique_ptr<ViewerGate> gate_;
};

}  // namespace plexion_host

#endif  // HOST_POINTER_RFBSERVER_H_
