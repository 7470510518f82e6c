// Windows and a service that write down what they hear.

#ifndef TESTS_HOST_INPUT_INPUTSTAGE_H_
#define TESTS_HOST_INPUT_INPUTSTAGE_H_

#include <condition_variable>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "host/contracts/IHostWindows.h"
#include "host/graphics/GraphicsDriver.h"
#include "tests/host/FakeService.h"
#include "tests/host/FakeStageWindow.h"

namespace plexion_host {

/// Windows with real output planes and a service that follows the rules of activation; all that
/// reaches either is written down as one line.
class InputStage : public IHostWindows, public FakeService {
 public:
  class Window : public FakeStageWindow {
   public:
    Window(InputStage& stage, unsigned number, const Rect& rect)
        : stage_(stage), number_(number), rect_(rect) {}

    Rect GetRectOnScreen() const override { return plane != nullptr ? plane->GetRect() : rect_; }
    qx::platform::OutputPlane* GetOutputPlane() override { return plane; }
    bool IsActiveStageWindow() override {
      const bool answer = stage_.active == this;
      if (stage_.onActiveAsked) stage_.onActiveAsked();
      return answer;
    }
    bool SetActiveStageWindow() override {
      if (playing && stage_.active != this) {
        stage_.active = this;
        stage_.Write("activate", number_);
      }
      return stage_.active == this;
    }
    void DispatchMouseButtonDown(qx::plexion::MouseButton button, unsigned short x,
                                 unsigned short y) override {
      stage_.Write(*this, "down", button, x, y);
    }
    void DispatchMouseButtonUp(qx::plexion::MouseButton button, unsigned short x,
                               unsigned short y) override {
      stage_.Write(*this, "up", button, x, y);
    }
    void DispatchMouseMove(unsigned short x, unsigned short y) override {
      stage_.Write(*this, "move", x, y);
    }
    /// Named in the journal unless it is the active one.
    friend std::ostream& operator<<(std::ostream& stream, const Window& window) {
      if (window.stage_.active != &window) stream << "window " << window.number_ << ' ';
      return stream;
    }

    qx::platform::OutputPlane* plane = nullptr;
    bool playing = true;

   private:
    InputStage& stage_;
    const unsigned number_;
    const Rect rect_;
  };

  ~InputStage() override {
    for (const auto& window : owned_) driver_.DestroyOutputPlane(window->plane);
  }

  /// A playing window on top of the others.
  Window& OpenWindow(const qx::plexion::Rect& rect, bool withPlane = true) {
    const auto number = static_cast<unsigned>(owned_.size() + 1);
    owned_.push_back(std::make_unique<Window>(*this, number, rect));
    Window& window = *owned_.back();
    if (withPlane) {
      window.plane = driver_.CreateOutputPlane(rect, false, nullptr, nullptr, "window");
    }
    HostWindow entry;
    entry.number = number;
    entry.window = &window;
    windows.push_back(entry);
    if (active == nullptr) active = &window;
    return window;
  }
  void CloseWindow(Window& window) {
    for (size_t i = windows.size(); i-- > 0;) {
      if (windows[i].window == &window) windows.erase(windows.begin() + static_cast<long>(i));
    }
    if (active == &window) active = nullptr;
  }

  /// What was written since the last call.
  std::vector<std::string> Taken() {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> taken;
    taken.swap(journal_);
    return taken;
  }
  void WaitForLines(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    written_.wait(lock, [&] { return journal_.size() >= count; });
  }
  /// Keys and pointer wait in the service while this is held.
  std::mutex& Gate() { return gate_; }

  // IHostWindows
  void WithWindows(const std::function<void(std::vector<HostWindow>&)>& visit) override {
    visit(windows);
  }
  qx::plexion::IPlexionSets* GetService() override { return hasService ? this : nullptr; }
  void RequestQuit() override {}

  // The service
  // Two of each name: the list of windows hands the keys on to the service.
  void DispatchKeyDown(uint32_t key) override { IHostWindows::DispatchKeyDown(key); }
  void DispatchKeyUp(uint32_t key) override { IHostWindows::DispatchKeyUp(key); }
  void DispatchKeyDown(unsigned long key) override { Write("key down", key); }
  void DispatchKeyUp(unsigned long key) override { Write("key up", key); }
  void DispatchScrollWheelScroll(qx::plexion::ScrollWheelDirection direction,
                                 unsigned short delta) override {
    Write("scroll", direction, delta);
  }

  std::vector<HostWindow> windows;
  Window* active = nullptr;
  bool hasService = true;
  std::function<void()> onActiveAsked;  ///< called behind each question whether a window is active

 private:
  template <class... Words>
  void Write(const Words&... words) {
    const std::lock_guard<std::mutex> gate(gate_);
    std::ostringstream line;
    const char* gap = "";
    ((line << gap << words, gap = line.str().empty() || line.str().back() == ' ' ? "" : " "), ...);
    const std::lock_guard<std::mutex> lock(mutex_);
    journal_.push_back(line.str());
    written_.notify_all();
  }

  GraphicsDriver driver_{std::make_shared<Screen>(qx::plexion::Dims{1280, 720})};
  std::vector<std::unique_ptr<Window>> owned_;
  std::mutex gate_;
  std::mutex mutex_;
  std::condition_variable written_;
  std::vector<std::string> journal_;
};

}  // namespace plexion_host

#endif  // TESTS_HOST_INPUT_INPUTSTAGE_H_
