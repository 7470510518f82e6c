#ifndef QX_PLEXION_PARTS_KEYEVENTSIMULATOR_H_
#define QX_PLEXION_PARTS_KEYEVENTSIMULATOR_H_

#include <stdint.h>

#include <atomic>

#include "qx/core/IQXKernel.h"
#include "qx/core/QXArray.h"
#include "qx/plexion/InputTypes.h"

namespace qx {
namespace core {
namespace morvellib {
class MorvelInstance;
}  // namespace morvellib
}  // namespace core

namespace plexion {

/// One key event that a simulator will deliver.
struct KeyEventData {
  IQXKernel::Time dueTime;  ///< delivered at the first tick strictly after this
  int32_t isKeyDown;        ///< else a key up
  uint32_t keyCode;
  core::morvellib::MorvelInstance* instance;  ///< not owned
};

/// Stands between the service's key dispatch and the player: passes keys through, or makes the key
/// ups or repeats that the device does not send (KeyInputMode). The service owns one.
///
/// Order    SetKeyInputMode before the first key; then key downs and ups as the host reports them;
///          ClearKeyEvents before a player instance is destroyed.
/// Thread   two meet here: the host's input thread, which calls the operations, and the worker,
///          which ticks every 10 ms in all modes but kKeyInputModeDirect. `lock` guards the queue,
///          and the worker holds it while it sends events, so a player's key operations must not
///          call back into the simulator. The state of the held key is written without the lock;
///          the worker tolerates a tick that sees a half-updated key.
class PlexionKeyEventSimulator {
 public:
  PlexionKeyEventSimulator();
  PlexionKeyEventSimulator(const PlexionKeyEventSimulator&) = delete;
  PlexionKeyEventSimulator& operator=(const PlexionKeyEventSimulator&) = delete;
  ~PlexionKeyEventSimulator();

  /// Starts or stops the worker as the mode needs.
  ///
  /// Units    nanoseconds. `delay`: from a key down to its key up, or to the first repeat;
  ///          `interval`: between repeats.
  /// Returns  false, and changes nothing, once a key down has been seen.
  bool SetKeyInputMode(KeyInputMode newMode, IQXKernel::Time delay, IQXKernel::Time interval);

  /// A null `instance` counts as pressed, and nothing is sent.
  void NotifyKeyDownEvent(core::morvellib::MorvelInstance* instance, unsigned long keyCode);
  void NotifyKeyUpEvent(core::morvellib::MorvelInstance* instance, unsigned long keyCode);

  /// Empties the queue. When this returns the worker sends nothing more to `instance`.
  ///
  /// Events of other instances leave the queue too, without being delivered or released: meant for
  /// hosts that clear only when the whole set of windows goes away (docs/concurrency.md tells what
  /// others do).
  void ClearKeyEvents(core::morvellib::MorvelInstance* instance, bool resetHeldKey);

  static void StaticThreadProc(IQXKernel::Thread* thread, void* argument);

  // Fields are public for inspection only.
  IQXKernel* kernel;
  QXArray<KeyEventData*> events QX_GUARDED_BY(lock);  ///< in order of insertion; owned
  IQXKernel::Thread* thread;
  IQXKernel::Mutex* lock;
  std::atomic<bool> running;  ///< the worker has been started and should go on
  std::atomic<IQXKernel::Time> keyDownTime;
  std::atomic<IQXKernel::Time> repeatDelay;
  std::atomic<IQXKernel::Time> repeatInterval;
  std::atomic<KeyInputMode> mode;
  std::atomic<bool> keyDownSeen;  ///< freezes mode, delay and interval
  std::atomic<uint32_t> heldKey;  ///< key code of the last key down, also after its key up
  std::atomic<bool> keyHeld;
  std::atomic<bool> repeating;
  std::atomic<IQXKernel::Time> lastRepeatTime;
  std::atomic<core::morvellib::MorvelInstance*> heldInstance;  ///< receives the repeats

 private:
  void ThreadProc();
  void DeliverDueEvents() QX_REQUIRES(lock);
  void RepeatHeldKey() QX_REQUIRES(lock);
  void SendEarlyKeyUp(core::morvellib::MorvelInstance* instance, uint32_t key);
  void QueueKeyUp(core::morvellib::MorvelInstance* instance, uint32_t key, IQXKernel::Time due);
};

static_assert(alignof(PlexionKeyEventSimulator) <= 8, "tracked blocks are aligned to 8 bytes");
static_assert(std::atomic<IQXKernel::Time>::is_always_lock_free, "else it needs a library");

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_PARTS_KEYEVENTSIMULATOR_H_
