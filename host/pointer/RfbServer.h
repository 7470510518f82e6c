#ifndef HOST_POINTER_RFBSERVER_H_
#define HOST_POINTER_RFBSERVER_H_

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/contracts/IHostDisplay.h"
#include "host/contracts/IHostInput.h"
#include "host/pointer/ScreenFeed.h"

struct _rfbClientRec;
struct _rfbScreenInfo;

namespace plexion_host {

/// Serves the composed screen over RFB, and hands the clients' pointers and keys on as input.
///
/// One thread does everything that touches the protocol library, so its encoders never read a
/// picture that is being written, and none of its calls needs a lock. A client that stalls in the
/// middle of a message holds up the others, for kStallLimit at most; never the content.
class RfbServer {
 public:
  static constexpr int kMaxClients = 8;
  static constexpr std::chrono::milliseconds kStallLimit{5000};

  struct Settings {
    int listenSocket = -1;   ///< taken over
    std::string password;    ///< empty: none asked for
    int refreshSeconds = 0;  ///< least time between two pictures; 0: as the screen changes
    IHostDisplay* display = nullptr;
    IHostInput* input = nullptr;  ///< may be null
  };

  explicit RfbServer(Settings settings);
  /// Drops the clients and releases what they hold. Does not wait for a client.
  ~RfbServer();
  RfbServer(const RfbServer&) = delete;
  RfbServer& operator=(const RfbServer&) = delete;

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
  void AcceptClients();
  bool IsPictureWanted();
  bool IsRefreshDue() const { return Clock::now() >= nextRefresh_; }
  void Refresh();
  void Wake() const;
  void ForgetWatch(int watch);

  const Settings settings_;
  const int wake_;
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

  std::mutex watchesMutex_;  // guards what follows
  /// Second descriptors of the clients' sockets, by which a stalled one is cut off.
  std::vector<int> watches_;

  std::unique_ptr<ScreenFeed> feed_;
  std::thread thread_;
};

}  // namespace plexion_host

#endif  // HOST_POINTER_RFBSERVER_H_
