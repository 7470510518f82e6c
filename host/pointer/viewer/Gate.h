// The sockets of the viewers: who is let in, for how long, and how much waits for them.

#ifndef HOST_POINTER_VIEWER_GATE_H_
#define HOST_POINTER_VIEWER_GATE_H_

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <string>

#include "host/base/NamedThread.h"
#include "host/base/WakeSignal.h"
#include "host/pointer/viewer/Protocol.h"

namespace plexion_host {

/// Accepts viewers, and stands between each of them and the protocol library, which gets one end of
/// a pair of sockets in place of the viewer's own.
///
/// The gate's thread never waits for one of them: it reads what is there, sends what is taken, and
/// drops whoever keeps it waiting. So the library, which waits for the rest of whatever begins, finds
/// it there, and finds room for all that it sends.
class ViewerGate {
 public:
  struct Limits {
    size_t atDoor = 16;  ///< not logged in; one more takes the place of the one that came first
    size_t viewers = 8;
    std::chrono::milliseconds silence{100};  ///< after which a viewer is greeted
    std::chrono::milliseconds login{5000};   ///< from connecting to the end of the login
    /// The same when a person has to type a password.
    std::chrono::milliseconds loginWithPassword{60000};
    /// A message that has begun, or a picture that waits, has to get on.
    std::chrono::milliseconds stall{5000};
  };
  struct Settings {
    int listenSocket = -1;  ///< stays the caller's
    ViewerProtocol::Rules rules;
    Limits limits;
    /// Takes over a socket on which a viewer has named its version; on the gate's thread.
    std::function<void(int)> handOver;
    /// A page of this origin was turned away; on the gate's thread.
    std::function<void(const std::string&)> refused;
  };

  /// The thread starts at once.
  explicit ViewerGate(Settings settings);
  /// Drops everybody.
  ~ViewerGate();
  ViewerGate(const ViewerGate&) = delete;
  ViewerGate& operator=(const ViewerGate&) = delete;

  /// False when the system had no descriptor to give; then nobody is served.
  bool IsUsable() const { return wake_.Fd() >= 0; }

  /// How much may wait for one viewer; who leaves more than that is dropped. Any thread.
  void SetMostWaiting(size_t bytes) { mostWaiting_ = bytes; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Viewer;

  void Run();
  int MillisecondsToNext() const;
  void Accept();
  void Serve(Viewer& viewer, short events, short serverEvents);
  void ReadViewer(Viewer& viewer);
  void ReadServer(Viewer& viewer);
  void WriteViewer(Viewer& viewer);
  void WriteServer(Viewer& viewer);
  /// What follows from what the viewer has said.
  void Advance(Viewer& viewer);
  bool OpenServerSide(Viewer& viewer);
  void KeepTime(Viewer& viewer);
  Clock::time_point DeadlineOf(const Viewer& viewer) const;
  size_t CountViewers() const;

  const Settings settings_;
  WakeSignal wake_;
  std::atomic<size_t> mostWaiting_{size_t{1} << 20};

  // The thread's own.
  std::list<Viewer> viewers_;  // in the order of arrival
  Clock::time_point acceptAfter_{};

  NamedThread thread_;
};

}  // namespace plexion_host

#endif  // HOST_POINTER_VIEWER_GATE_H_
