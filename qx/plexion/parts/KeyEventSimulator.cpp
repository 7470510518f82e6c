// Key ups and repeats that a device does not send by itself.

#include "qx/plexion/parts/KeyEventSimulator.h"

#include "qx/core/Check.h"
#include "qx/core/QXLock.h"
#include "qx/core/QXMem.h"
#include "qx/core/morvellib/MorvelInstance.h"

namespace qx {
namespace plexion {

using core::morvellib::MorvelInstance;

namespace {

constexpr IQXKernel::Time kTick = 10000000;
constexpr IQXKernel::Time kDefaultDelay = 50000000;
constexpr unsigned kReservedEvents = 8;

void SendKeyDown(MorvelInstance* instance, uint32_t key) {
  if (instance != nullptr) instance->KeyDown(key);
}

void SendKeyUp(MorvelInstance* instance, uint32_t key) {
  if (instance != nullptr) instance->KeyUp(key);
}

void DestroyEvent(KeyEventData* event) { QXTypes_ScalarDelete(event, nullptr, 0); }

}  // namespace

PlexionKeyEventSimulator::PlexionKeyEventSimulator()
    : kernel(IQXKernel::GetKernel()),
      thread(kernel->CreateThread()),
      lock(kernel->CreateMutex()),
      running(false),
      keyDownTime(0),
      repeatDelay(kDefaultDelay),
      repeatInterval(kDefaultDelay),
      mode(kKeyInputModeDirect),
      keyDownSeen(false),
      heldKey(0),
      keyHeld(false),
      repeating(false),
      lastRepeatTime(0),
      heldInstance(nullptr) {
  events.Reserve(kReservedEvents);
}

PlexionKeyEventSimulator::~PlexionKeyEventSimulator() {
  if (thread != nullptr) {
    if (running) {
      running = false;
      thread->Join(IQXKernel::kInfinite);
    }
    kernel->DestroyThread(thread);
  }
  if (lock != nullptr) kernel->DestroyMutex(lock);
  for (unsigned i = 0; i < events.Count(); ++i) DestroyEvent(events[i]);
}

bool PlexionKeyEventSimulator::SetKeyInputMode(KeyInputMode newMode, IQXKernel::Time delay,
                                               IQXKernel::Time interval) {
  if (keyDownSeen) return false;
  repeatDelay = delay;
  repeatInterval = interval;
  mode = newMode;
  if (newMode != kKeyInputModeDirect && !running && thread != nullptr) {
    running = true;
    // A worker that could not be started is not one that runs: the next call tries again.
    if (!thread->Start("PlexionKeyEventSimulator", &StaticThreadProc, this)) running = false;
  } else if (newMode == kKeyInputModeDirect && running) {
    QX_CHECK(thread != nullptr, "the thread that runs");
    running = false;
    thread->Join(IQXKernel::kInfinite);
  }
  return true;
}

void PlexionKeyEventSimulator::NotifyKeyDownEvent(MorvelInstance* instance, unsigned long keyCode) {
  const uint32_t key = static_cast<uint32_t>(keyCode);
  keyDownSeen = true;  // from here on the mode is frozen: half of a key would be of another mode
  const bool sameKey = key == heldKey;
  if (!sameKey) repeating = false;
  heldKey = key;
  // Also for a repeat that is swallowed below: while the device repeats by itself, ours wait.
  keyDownTime = kernel->GetTime();
  heldInstance = instance;
  keyHeld = true;

  switch (mode) {
    case kKeyInputModeDirect:
      SendKeyDown(instance, key);
      break;
    case kKeyInputModeAutoRepeat:
      // The device's own repeat. The second press of a key after its release looks the same here,
      // and is swallowed too: devices for this mode send no release.
      if (!sameKey) SendKeyDown(instance, key);
      break;
    case kKeyInputModeSimulateKeyUp: {
      SendEarlyKeyUp(instance, key);
      const IQXKernel::Time now = kernel->GetTime();
      SendKeyDown(instance, key);
      QueueKeyUp(instance, key, now + repeatDelay);
      break;
    }
    default:
      break;
  }
}

void PlexionKeyEventSimulator::NotifyKeyUpEvent(MorvelInstance* instance, unsigned long keyCode) {
  const uint32_t key = static_cast<uint32_t>(keyCode);
  if (key == heldKey) {
    keyHeld = false;
    heldInstance = nullptr;
    repeating = false;
  }
  const KeyInputMode current = mode;
  if (current == kKeyInputModeDirect || current == kKeyInputModeAutoRepeat) {
    SendKeyUp(instance, key);
  }
}

void PlexionKeyEventSimulator::ClearKeyEvents(MorvelInstance* instance, bool resetHeldKey) {
  QXLock locked(lock);
  if (resetHeldKey) {
    heldKey = 0;
    keyHeld = false;
    heldInstance = nullptr;
    repeating = false;
  }
  // Whoever is cleared is about to go: the worker must not repeat a held key to it.
  if (heldInstance == instance) heldInstance = nullptr;
  // What belongs to others is dropped with the rest and neither sent nor released: to send it here
  // would call a player with this lock held, from a thread that it does not expect.
  for (unsigned i = 0; i < events.Count(); ++i) {
    if (events[i]->instance == instance) DestroyEvent(events[i]);
  }
  events.SetSize(0);
}

/// A key that is pressed again before its simulated key up gets that one first.
void PlexionKeyEventSimulator::SendEarlyKeyUp(MorvelInstance* instance, uint32_t key) {
  QXLock locked(lock);
  for (unsigned i = 0; i < events.Count(); ++i) {
    if (events[i]->keyCode != key) continue;
    DestroyEvent(events[i]);
    events.RemoveAt(i);
    SendKeyUp(instance, key);
    return;
  }
}

void PlexionKeyEventSimulator::QueueKeyUp(MorvelInstance* instance, uint32_t key,
                                          IQXKernel::Time due) {
  KeyEventData* event = new (nullptr, 0, QX_NEW_DELETE) KeyEventData();
  if (event == nullptr) return;  // the key stays down: better than no key down at all
  event->dueTime = due;
  event->isKeyDown = 0;
  event->keyCode = key;
  event->instance = instance;
  QXLock locked(lock);
  if (!events.Append(event)) DestroyEvent(event);
}

void PlexionKeyEventSimulator::StaticThreadProc(IQXKernel::Thread*, void* argument) {
  QX_CHECK(argument != nullptr, "the simulator whose worker this is");
  static_cast<PlexionKeyEventSimulator*>(argument)->ThreadProc();
}

void PlexionKeyEventSimulator::ThreadProc() {
  while (running) {
    const IQXKernel::Time begin = kernel->GetTime();
    {
      QXLock locked(lock);
      DeliverDueEvents();
      RepeatHeldKey();
    }
    const IQXKernel::Time elapsed = kernel->GetTime() - begin;
    // A tick that took its whole time is followed by the next one at once.
    if (elapsed >= kTick) continue;
    if (!running) break;
    kernel->Sleep(kTick - elapsed);
  }
}

void PlexionKeyEventSimulator::DeliverDueEvents() {
  while (!events.IsEmpty()) {
    KeyEventData* event = events[0];
    // In order of insertion: one that is not due holds back those behind it, which are later.
    if (event->dueTime >= kernel->GetTime()) return;
    if (event->isKeyDown != 0) {
      SendKeyDown(event->instance, event->keyCode);
    } else {
      SendKeyUp(event->instance, event->keyCode);
    }
    events.RemoveAt(0);
    DestroyEvent(event);
  }
}

void PlexionKeyEventSimulator::RepeatHeldKey() {
  if (mode != kKeyInputModeAutoRepeat || !keyHeld) return;
  const IQXKernel::Time now = kernel->GetTime();
  if (repeating) {
    if (now - lastRepeatTime < repeatInterval) return;
    // By whole intervals, so that late ticks do not add up.
    lastRepeatTime = lastRepeatTime + repeatInterval;
  } else {
    if (now - keyDownTime < repeatDelay) return;
    repeating = true;
    lastRepeatTime = kernel->GetTime();
  }
  SendKeyDown(heldInstance, heldKey);
}

}  // namespace plexion
}  // namespace qx
