// The display loop, and whoever listens to it.

#ifndef HOST_GRAPHICS_DISPLAY_H_
#define HOST_GRAPHICS_DISPLAY_H_

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "host/base/Mutex.h"
#include "host/contracts/IHostDisplay.h"
#include "host/graphics/PictureWindow.h"
#include "host/graphics/Screen.h"

namespace plexion_host {

/// Objects that are called on the display's thread and may be taken off from any.
template <class Listener>
class Listeners {
 public:
  void Add(Listener* listener) {
    const RecursiveMutexLock lock(mutex_);
    listeners_.push_back(listener);
  }
  /// Waits for a call under way, unless made from inside it.
  void Remove(Listener* listener) {
    const RecursiveMutexLock lock(mutex_);
    for (Listener*& place : listeners_) {
      if (place == listener) place = nullptr;
    }
    if (depth_ == 0) Sweep();
  }
  template <class Call>
  void ForEach(const Call& call) {
    const RecursiveMutexLock lock(mutex_);
    ++depth_;
    for (size_t i = 0; i < listeners_.size(); ++i) {
      if (listeners_[i] != nullptr) call(*listeners_[i]);
    }
    if (--depth_ == 0) Sweep();
  }

 private:
  void Sweep() REQUIRES(mutex_) {
    size_t kept = 0;
    for (Listener* listener : listeners_) {
      if (listener != nullptr) listeners_[kept++] = listener;
    }
    listeners_.resize(kept);
  }

  RecursiveMutex mutex_;  // also held while they are called
  std::vector<Listener*> listeners_ GUARDED_BY(mutex_);
  int depth_ GUARDED_BY(mutex_) = 0;
};

/// Module "IHostDisplay": presents a Screen, in a window, on the whole display or to nobody.
///
/// The loop sleeps until something is damaged, somebody does something at the window or the end is
/// asked for. A change after a pause is presented at once, and so is the next; further ones at most
/// 64 times a second.
class Display : public IHostDisplay {
 public:
  /// `opener` makes the window, when there is to be one.
  Display(std::shared_ptr<Screen> screen, WindowOpener opener);
  ~Display() override;

  bool Plan(const DisplayOptions& options) override;
  bool Open(const DisplayOptions& options, std::string& error) override;
  std::string Describe() override;
  bool IsHeadless() override { return kind_.load() == Kind::kHeadless; }
  void Run() override;
  void RequestQuit() override;
  void Close() override;

  void BeginUpdate() override { screen_->BeginUpdate(); }
  void EndUpdate() override { screen_->EndUpdate(); }
  void CopyScreen(qx::plexion::Dims& dims, std::vector<uint32_t>& pixels) override;
  bool SaveSnapshot(const std::string& path, std::string& error) override;

  bool ClipPlane(qx::platform::OutputPlane* plane, const qx::plexion::Rect* clip) override {
    return screen_->Clip(plane, clip);
  }

  void SetGround(uint32_t colour) override { screen_->SetGround(colour); }

  void AddEventSink(IDisplayEventSink* sink) override { sinks_.Add(sink); }
  void RemoveEventSink(IDisplayEventSink* sink) override { sinks_.Remove(sink); }
  void AddFrameObserver(IFrameObserver* observer) override { observers_.Add(observer); }
  void RemoveFrameObserver(IFrameObserver* observer) override { observers_.Remove(observer); }
  bool GetPlaneHealth(const qx::platform::OutputPlane* plane, bool withPicture,
                      PlaneHealth& health) override {
    return screen_->GetHealth(plane, withPicture, health);
  }
  void RequestFrame() override { screen_->DamageCorner(); }
  uint64_t GetFrameCount() override { return frameCount_; }

 private:
  using Clock = std::chrono::steady_clock;
  enum class Kind { kHeadless, kWindow, kFullscreen };

  bool OpenWindow(bool fullscreen, const DisplayOptions& options, std::string& error);
  void Wake();
  /// For something new to present, which needs nobody who is going to look anyway.
  void WakeForWork();
  void RunHeadless();
  void RunWindow();
  void Present();
  void ShowAll();
  /// The screen takes the display's new size, where it is to.
  void Follow(const DisplayEvent& event);

  const std::shared_ptr<Screen> screen_;
  const WindowOpener opener_;

  // Set by Open and Close on the main thread; wakeMutex_ keeps Wake from a window that goes away.
  std::unique_ptr<PictureWindow> window_;
  std::atomic<Kind> kind_{Kind::kHeadless};
  unsigned quarters_ = 0;         ///< the main thread's, as the next
  bool follows_ = false;          ///< the screen takes each new size of the display
  bool cleared_ = true;           ///< the main thread's: the window's pixels are ours to replace
  Clock::time_point nextSlot_{};  ///< the main thread's: no presentation before this

  Mutex wakeMutex_;
  Condition wakeUp_;
  bool wakeRequested_ GUARDED_BY(wakeMutex_) = false;
  bool quitRequested_ GUARDED_BY(wakeMutex_) = false;

  std::atomic<bool> awaitsSlot_{false};  ///< the loop waits for the moment to present what is due
  std::atomic<uint64_t> frameCount_{0};
  Listeners<IDisplayEventSink> sinks_;
  Listeners<IFrameObserver> observers_;
};

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_DISPLAY_H_
