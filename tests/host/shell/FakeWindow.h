// A window that does what the shell's commands need.

#ifndef TESTS_HOST_SHELL_FAKEWINDOW_H_
#define TESTS_HOST_SHELL_FAKEWINDOW_H_

#include <optional>
#include <string>
#include <vector>

#include "host/contracts/IHostInput.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindowNotifier.h"
#include "tests/host/FakeStageWindow.h"

namespace plexion_host {

/// Writes down what it is told.
class FakeOutputPlane final : public qx::platform::OutputPlane {
 public:
  std::vector<std::string> calls;

  qx::plexion::Dims GetDims() override { return {640, 360}; }
  uint32_t GetPixelFormat() override { return qx::platform::kPixelFormat32; }
  uint32_t GetPitch() override { return 640 * 4; }
  void* LockPixels(bool) override { return nullptr; }
  void UnlockPixels() override {}
  qx::platform::DrawingContext* GetDrawingContext() override { return nullptr; }
  void ShowRegion(const qx::plexion::Rect&) override {}
  bool MoveTo(const qx::plexion::Point& point) override {
    calls.push_back("move " + std::to_string(static_cast<int32_t>(point.x)) + "," +
                    std::to_string(static_cast<int32_t>(point.y)));
    return true;
  }
  qx::plexion::Rect GetRect() override { return {static_cast<uint32_t>(-8), 9, 640, 360}; }
  void SetVisible(bool) override {}
  bool IsVisible() override { return true; }
  void SetAlpha(unsigned char) override {}
  bool SetAbove(qx::platform::OutputPlane* other) override {
    calls.push_back(other == nullptr ? "above all" : "above one");
    return true;
  }
  bool SetBelow(qx::platform::OutputPlane* other) override {
    calls.push_back(other == nullptr ? "below all" : "below one");
    return true;
  }
  void SetActive(bool) override {}
  unsigned char GetAlpha() override { return 200; }
  unsigned GetStackingIndex() override { return 3; }
  const char* GetName() override { return "fake"; }
};

/// Writes down what it is told, and counts the questions that could wait for a load.
class FakeWindow final : public FakeStageWindow {
 public:
  std::vector<std::string> calls;
  int questions = 0;
  bool willing = true;  ///< the answer to what may be refused
  qx::platform::OutputPlane* plane = nullptr;
  qx::plexion::StageWindowNotifier* observer = nullptr;
  std::optional<qx::plexion::StageWindowStatus> resizeOutcome = qx::plexion::kInfoWindowResized;

  bool Play() override { return Note("play"); }
  bool Pause() override { return Note("pause"); }
  bool Terminate(qx::plexion::StageWindowStatus status) override {
    return Note("terminate " + std::to_string(status));
  }
  bool SetActiveStageWindow() override { return Note("activate"); }
  bool IsActiveStageWindow() override { return Ask(true); }
  bool MoveTo(const qx::plexion::Point& point) override {
    const bool moved = Note("move " + std::to_string(static_cast<int32_t>(point.x)) + "," +
                            std::to_string(static_cast<int32_t>(point.y)));
    if (observer != nullptr) {
      observer->OnStageWindowNotification(
          this, moved ? qx::plexion::kInfoWindowMoved : qx::plexion::kInfoWindowMoveFailed,
          nullptr);
    }
    return false;
  }
  void RegisterNotifier(qx::plexion::StageWindowNotifier* notifier) override {
    observer = notifier;
  }
  void UnregisterNotifier(qx::plexion::StageWindowNotifier*) override { observer = nullptr; }
  void Resize(const qx::plexion::Dims& dims, bool deferred) override {
    Note("resize " + std::to_string(dims.width) + "x" + std::to_string(dims.height) +
         (deferred ? " deferred" : " at once"));
    if (observer != nullptr && resizeOutcome) {
      observer->OnStageWindowNotification(this, *resizeOutcome, nullptr);
    }
  }
  void SetVisible(bool visible) override { Note("visible " + std::to_string(visible)); }
  void SetAlpha(unsigned char alpha) override { Note("alpha " + std::to_string(alpha)); }
  qx::plexion::StageWindowStatus GetStageWindowStatus() override {
    return Ask(qx::plexion::kStatusPlaying);
  }
  qx::platform::OutputPlane* GetOutputPlane() override { return Ask(plane); }
  void GetMemoryInfo(unsigned long long& used, unsigned long long& limit,
                     unsigned long long& graphics) override {
    used = 1000;
    limit = 4000;
    graphics = 50;
  }

  bool IsVisible() override { return Ask(true); }

 private:
  bool Note(const std::string& call) {
    if (willing) calls.push_back(call);
    return willing;
  }
  template <typename T>
  T Ask(T answer) {
    ++questions;
    return answer;
  }
};

/// Knows the key "ok", code 5.
class FakeInput final : public IHostInput {
 public:
  std::vector<std::string> calls;

  bool LoadKeyMap(const std::string&, std::string&) override { return true; }
  uint32_t MapKey(int32_t, uint16_t) override { return 0; }
  uint32_t KeyByName(const std::string& name) override { return name == "ok" ? 5 : 0; }
  void KeyDown(InputSource source, uint32_t key) override {
    Note(source, "down " + std::to_string(key));
  }
  void KeyUp(InputSource source, uint32_t key) override {
    Note(source, "up " + std::to_string(key));
  }
  void PointerMove(InputSource source, int32_t x, int32_t y) override {
    Note(source, "move " + At(x, y));
  }
  void PointerDown(InputSource source, qx::plexion::MouseButton, int32_t x, int32_t y) override {
    Note(source, "press " + At(x, y));
  }
  void PointerUp(InputSource source, qx::plexion::MouseButton, int32_t x, int32_t y) override {
    Note(source, "release " + At(x, y));
  }
  void Wheel(InputSource, qx::plexion::ScrollWheelDirection, uint16_t) override {}
  void ReleaseAll(InputSource) override {}

 private:
  static std::string At(int32_t x, int32_t y) {
    return std::to_string(x) + "," + std::to_string(y);
  }
  void Note(InputSource source, const std::string& call) {
    calls.push_back(source == InputSource::kShell ? call : "wrong source: " + call);
  }
};

}  // namespace plexion_host

#endif  // TESTS_HOST_SHELL_FAKEWINDOW_H_
