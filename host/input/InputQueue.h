// The way of all input to the service, on a thread of its own.

#ifndef HOST_INPUT_INPUTQUEUE_H_
#define HOST_INPUT_INPUTQUEUE_H_

#include <cstdint>
#include <deque>
#include <set>

#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/input/InputRouter.h"

namespace plexion_host {

/// One thing that a source did.
struct InputEvent {
  enum class Kind { kKeyDown, kKeyUp, kMove, kPress, kRelease, kWheel, kReleaseAll };
  Kind kind;
  InputSource source;
  uint32_t code = 0;  ///< key, button or direction
  int32_t x = 0;      ///< or notches
  int32_t y = 0;
};

/// Carries input to the router on a thread of its own. Whoever delivers input, the display's loop
/// above all, thus never waits for a lock of the service, which content may hold for a while.
///
/// Moves of one source that wait behind each other become one. When content does not take its input
/// for so long that the queue is full, new events are dropped, and what their source holds is
/// released, so that nothing stays down for ever.
///
/// Thread   any.
class InputQueue {
 public:
  explicit InputQueue(IHostWindows& windows);
  /// Waits for a dispatch under way; what is still queued is dropped.
  ~InputQueue();
  InputQueue(const InputQueue&) = delete;
  InputQueue& operator=(const InputQueue&) = delete;

  void Push(const InputEvent& event);

  static constexpr size_t kMaxWaiting = 1024;

 private:
  void Run();
  void Dispatch(const InputEvent& event);

  InputRouter router_;  ///< the thread's

  Mutex mutex_;
  Condition changed_;
  std::deque<InputEvent> waiting_ GUARDED_BY(mutex_);
  std::set<InputSource> overflown_ GUARDED_BY(mutex_);
  bool ending_ GUARDED_BY(mutex_) = false;

  NamedThread thread_;  ///< last: it uses all of the above
};

}  // namespace plexion_host

#endif  // HOST_INPUT_INPUTQUEUE_H_
