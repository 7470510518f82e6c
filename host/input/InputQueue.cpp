// Takes input from its sources without making them wait.

#include "host/input/InputQueue.h"

#include <algorithm>

namespace plexion_host {

using qx::plexion::MouseButton;
using qx::plexion::ScrollWheelDirection;

InputQueue::InputQueue(IHostWindows& windows)
    : router_(windows), thread_("PlexionInput", [this] { Run(); }) {}

InputQueue::~InputQueue() {
  {
    const MutexLock lock(mutex_);
    ending_ = true;
  }
  changed_.NotifyOne();
  thread_.Join();
}

void InputQueue::Push(const InputEvent& event) {
  {
    const MutexLock lock(mutex_);
    const bool move = event.kind == InputEvent::Kind::kMove;
    if (move && !waiting_.empty() && waiting_.back().kind == event.kind &&
        waiting_.back().source == event.source) {
      // Only where the pointer is now counts; a busy content would otherwise lag behind the hand.
      waiting_.back() = event;
      return;
    }
    if (waiting_.size() >= kMaxWaiting) {
      // Its releases may be among the lost: all that it holds is let go when the rest is through.
      if (!move) overflown_.insert(event.source);
      return;
    }
    waiting_.push_back(event);
  }
  changed_.NotifyOne();
}

void InputQueue::Run() {
  MutexLock lock(mutex_);
  for (;;) {
    changed_.Wait(lock, [this]() REQUIRES(mutex_) { return ending_ || !waiting_.empty(); });
    if (ending_) return;
    const InputEvent event = waiting_.front();
    waiting_.pop_front();
    // What was lost came after all that waited then: let go when those are through.
    std::set<InputSource> release;
    if (waiting_.empty()) std::swap(release, overflown_);
    // Outside of the lock: a content may take its time, and its sources must not wait for it.
    lock.Unlock();
    Dispatch(event);
    for (const InputSource source : release) router_.ReleaseAll(source);
    lock.Lock();
  }
}

void InputQueue::Dispatch(const InputEvent& event) {
  switch (event.kind) {
    case InputEvent::Kind::kKeyDown:
      return router_.KeyDown(event.source, event.code);
    case InputEvent::Kind::kKeyUp:
      return router_.KeyUp(event.source, event.code);
    case InputEvent::Kind::kMove:
      return router_.PointerMove(event.source, event.x, event.y);
    case InputEvent::Kind::kPress:
      return router_.PointerDown(event.source, static_cast<MouseButton>(event.code), event.x,
                                 event.y);
    case InputEvent::Kind::kRelease:
      return router_.PointerUp(event.source, static_cast<MouseButton>(event.code), event.x,
                               event.y);
    case InputEvent::Kind::kWheel:
      return router_.Wheel(static_cast<ScrollWheelDirection>(event.code),
                           static_cast<uint16_t>(std::clamp<int32_t>(event.x, 0, 0xffff)));
    case InputEvent::Kind::kReleaseAll:
      return router_.ReleaseAll(event.source);
  }
}

}  // namespace plexion_host
