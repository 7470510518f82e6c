// The display loop: when the picture is presented, and what the thread waits for in between.

#include <algorithm>

#include "host/base/Check.h"
#include "host/graphics/Display.h"

namespace plexion_host {

namespace {

// A little more than the 60 of a display: content of that rate then gains on the slots, and its frames
// soon never wait for one.
constexpr auto kSlotPeriod = std::chrono::nanoseconds(1'000'000'000 / 64);
// Waits for events count whole milliseconds; a presentation this much early is on time.
constexpr auto kEarly = std::chrono::microseconds(500);

}  // namespace

void Display::Run() {
  if (window_ != nullptr) {
    RunWindow();
  } else {
    RunHeadless();
  }
}

void Display::RunHeadless() {
  MutexLock lock(wakeMutex_);
  while (!quitRequested_) {
    wakeRequested_ = false;
    lock.Unlock();
    bool due = screen_->HasWork();
    if (due && Clock::now() >= nextSlot_) {
      Present();
      due = screen_->HasWork();
    }
    lock.Lock();
    if (due) {
      // More damage until the slot comes is presented with it, so only the end matters now.
      awaitsSlot_ = true;
      wakeUp_.WaitUntil(lock, nextSlot_, [this]() REQUIRES(wakeMutex_) { return quitRequested_; });
      awaitsSlot_ = false;
    } else {
      wakeUp_.Wait(lock,
                   [this]() REQUIRES(wakeMutex_) { return quitRequested_ || wakeRequested_; });
    }
  }
}

void Display::RunWindow() {
  const auto handler = [this](const DisplayEvent& event) {
    Follow(event);
    sinks_.ForEach([&event](IDisplayEventSink& sink) { sink.OnDisplayEvent(event); });
  };
  const auto quitRequested = [this] {
    const MutexLock lock(wakeMutex_);
    return quitRequested_;
  };
  // What is there to be shown already comes with the whole picture.
  if (cleared_ && (quitRequested() || !screen_->HasWork())) ShowAll();
  while (!quitRequested()) {
    int timeoutMs = -1;
    if (screen_->HasWork()) {
      // Damage that comes within a frame's time is presented together, at the display's rate at most.
      const auto wait = nextSlot_ - Clock::now();
      if (wait <= kEarly) {
        Present();
        timeoutMs = 0;
      } else {
        // Rounded to the nearer millisecond: always down would wake before the slot, and again.
        timeoutMs = static_cast<int>(
            std::chrono::duration_cast<std::chrono::milliseconds>(wait + kEarly).count());
      }
    } else if (cleared_) {
      // For a plane that has not been drawn on: it may have its pixels there from the first frame on.
      screen_->UseCanvas(window_->Canvas(screen_->GetDims()));
    }
    awaitsSlot_ = timeoutMs > 0;
    const bool lost = window_->WaitForEvents(timeoutMs, handler);
    awaitsSlot_ = false;
    if (lost && cleared_) ShowAll();
  }
}

void Display::Present() {
  const Clock::time_point now = Clock::now();
  // Composed where the window has its pixels, if it can have them there: no copy.
  if (window_ != nullptr) screen_->UseCanvas(window_->Canvas(screen_->GetDims()));
  const bool presented = screen_->Present([this](const PixelStore& picture, const Region& damage) {
    if (window_ != nullptr) window_->Show(picture, damage);
    PresentedFrame frame;
    frame.number = ++frameCount_;
    frame.timeNs =
        std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
            .count();
    frame.dims = picture.Dims();
    frame.pixels = picture.Pixels();
    frame.pitchBytes = picture.PitchBytes();
    frame.damage = damage.ToRects();
    observers_.ForEach([&frame](IFrameObserver& observer) { observer.OnFramePresented(frame); });
  });
  if (!presented) return;
  cleared_ = true;
  // A slot that was not used is not lost: frames that come a little earlier and later do not wait for
  // one, which would wake this thread twice for each.
  nextSlot_ = std::max(nextSlot_ + kSlotPeriod, now);
}

// A window that was covered, resized or opened over an old picture has lost its pixels.
void Display::ShowAll() {
  PLEXION_CHECK(window_ != nullptr, "there is a window to show it in");
  screen_->Read([this](const PixelStore& picture) {
    const qx::plexion::Dims dims = picture.Dims();
    window_->Show(picture, Region({0, 0, static_cast<int32_t>(dims.width),
                                   static_cast<int32_t>(dims.height)}));
  });
}

}  // namespace plexion_host
