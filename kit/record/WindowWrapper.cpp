// The module's objects as the host sees them: windows, and what belongs to
// them.

#include "kit/record/Crossing.h"

namespace plexion_record {
namespace {

using plexion::StageWindow;

class WindowFace final : public ModuleObject<StageWindow> {
  using Op = Operation;

 public:
  using ModuleObject::ModuleObject;

  bool Configure(const plexion::StageWindowParameters& parameters) override {
    return InBy<StageWindow, bool, const plexion::StageWindowParameters&>(
        border_, Op::kWindowConfigure, *this,
        static_cast<bool (StageWindow::*)(const plexion::StageWindowParameters&)>(
            &StageWindow::Configure),
        parameters);
  }
  bool Configure(int argc, const char** argv) override {
    bool usable = false;
    CallIn(
        border_, Op::kWindowConfigureWords,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          border_.PutWords(to, argc, argv);
        },
        [&] { usable = Raw()->Configure(argc, argv); }, [&](Encoder& to) { to.Bool(usable); });
    return usable;
  }
  bool LoadMVX() override { return Enter(Op::kWindowLoadMVX, &StageWindow::LoadMVX); }
  bool CreatePlanes() override {
    return Enter(Op::kWindowCreatePlanes, &StageWindow::CreatePlanes);
  }
  bool RunToCompletion() override {
    return Enter(Op::kWindowRunToCompletion, &StageWindow::RunToCompletion);
  }
  bool LoadForLFD() override { return Enter(Op::kWindowLoadForLFD, &StageWindow::LoadForLFD); }
  bool PlayForLFD() override { return Enter(Op::kWindowPlayForLFD, &StageWindow::PlayForLFD); }
  bool LoadMVXAsync() override {
    return Enter(Op::kWindowLoadMVXAsync, &StageWindow::LoadMVXAsync);
  }
  bool Play() override { return Enter(Op::kWindowPlay, &StageWindow::Play); }
  bool Pause() override { return Enter(Op::kWindowPause, &StageWindow::Pause); }
  bool Terminate(plexion::StageWindowStatus status) override {
    return Enter(Op::kWindowTerminate, &StageWindow::Terminate, status);
  }
  bool SetRenderPlane(platform::RenderPlane* plane) override {
    return Enter(Op::kWindowSetRenderPlane, &StageWindow::SetRenderPlane, plane);
  }
  bool ResetRenderPlane(platform::RenderPlane* plane) override {
    return Enter(Op::kWindowResetRenderPlane, &StageWindow::ResetRenderPlane, plane);
  }
  bool SetOutputPlane(platform::OutputPlane* plane) override {
    return Enter(Op::kWindowSetOutputPlane, &StageWindow::SetOutputPlane, plane);
  }
  bool SetActiveStageWindow() override {
    return Enter(Op::kWindowSetActiveStageWindow, &StageWindow::SetActiveStageWindow);
  }
  bool IsActiveStageWindow() override {
    return Enter(Op::kWindowIsActiveStageWindow, &StageWindow::IsActiveStageWindow);
  }
  bool MoveTo(const plexion::Point& point) override {
    return Enter(Op::kWindowMoveTo, &StageWindow::MoveTo, point);
  }
  void Resize(const plexion::Dims& dims, bool deferred) override {
    Enter(Op::kWindowResize, &StageWindow::Resize, dims, deferred);
  }
  void ResizeAndMove(const plexion::Dims& dims, const plexion::Point& point) override {
    Enter(Op::kWindowResizeAndMove, &StageWindow::ResizeAndMove, dims, point);
  }
  void SetVisible(bool visible) override {
    Enter(Op::kWindowSetVisible, &StageWindow::SetVisible, visible);
  }
  bool IsVisible() override { return Enter(Op::kWindowIsVisible, &StageWindow::IsVisible); }
  void SetAlpha(unsigned char alpha) override {
    Enter(Op::kWindowSetAlpha, &StageWindow::SetAlpha, alpha);
  }
  void DispatchKeyDown(unsigned long key) override {
    Enter(Op::kWindowDispatchKeyDown, &StageWindow::DispatchKeyDown, key);
  }
  void DispatchKeyUp(unsigned long key) override {
    Enter(Op::kWindowDispatchKeyUp, &StageWindow::DispatchKeyUp, key);
  }
  void DispatchMouseButtonDown(plexion::MouseButton button, unsigned short x,
                               unsigned short y) override {
    Enter(Op::kWindowDispatchMouseButtonDown, &StageWindow::DispatchMouseButtonDown, button, x, y);
  }
  void DispatchMouseButtonUp(plexion::MouseButton button, unsigned short x,
                             unsigned short y) override {
    Enter(Op::kWindowDispatchMouseButtonUp, &StageWindow::DispatchMouseButtonUp, button, x, y);
  }
  void DispatchMouseMove(unsigned short x, unsigned short y) override {
    Enter(Op::kWindowDispatchMouseMove, &StageWindow::DispatchMouseMove, x, y);
  }
  void DispatchScrollWheelScroll(plexion::ScrollWheelDirection direction,
                                 unsigned short delta) override {
    Enter(Op::kWindowDispatchScrollWheelScroll, &StageWindow::DispatchScrollWheelScroll, direction,
          delta);
  }
  plexion::StageWindowStatus GetStageWindowStatus() override {
    return Enter(Op::kWindowGetStageWindowStatus, &StageWindow::GetStageWindowStatus);
  }
  plexion::Dims GetMVXAuthoredStageDims() override {
    return Enter(Op::kWindowGetMVXAuthoredStageDims, &StageWindow::GetMVXAuthoredStageDims);
  }
  plexion::Dims GetStageDims() override {
    return Enter(Op::kWindowGetStageDims, &StageWindow::GetStageDims);
  }
  platform::RenderPlane* GetRenderPlane() override {
    return Enter(Op::kWindowGetRenderPlane, &StageWindow::GetRenderPlane);
  }
  platform::OutputPlane* GetOutputPlane() override {
    return Enter(Op::kWindowGetOutputPlane, &StageWindow::GetOutputPlane);
  }
  plexion::MemoryWatchdog* GetMemoryWatchdog() override {
    plexion::MemoryWatchdog* const watchdog =
        Enter(Op::kWindowGetMemoryWatchdog, &StageWindow::GetMemoryWatchdog);
    // Remembered, since it dies with its window: a block at its address is then another object.
    watchdog_ = WrapperOf(watchdog);
    return watchdog;
  }
  plexion::Rect GetRectOnScreen() const override {
    // Changes nothing that a host sees.
    auto& self = const_cast<WindowFace&>(*this);
    plexion::Rect rect{};
    CallIn(
        border_, Op::kWindowGetRectOnScreen, [&](Encoder& to) { border_.PutObject(to, &self); },
        [&] { rect = Raw()->GetRectOnScreen(); }, [&](Encoder& to) { to.Rect(rect); });
    return rect;
  }
  void SetContext(const char* name, void* value) override {
    CallIn(
        border_, Op::kWindowSetContext,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          border_.PutText(to, name);
          // What a context points to is the host's secret: it is numbered, and neither read nor wrapped.
          border_.PutOpaque(to, value);
        },
        [&] { Raw()->SetContext(name, value); }, [](Encoder&) {});
  }
  void* GetContext(const char* name) override {
    void* value = nullptr;
    CallIn(
        border_, Op::kWindowGetContext,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          border_.PutText(to, name);
        },
        [&] { value = Raw()->GetContext(name); },
        [&](Encoder& to) { border_.PutOpaque(to, value); });
    return value;
  }
  void GetMemoryInfo(unsigned long long& usedBytes, unsigned long long& limitBytes,
                     unsigned long long& graphicsBytes) override {
    Enter(Op::kWindowGetMemoryInfo, &StageWindow::GetMemoryInfo, usedBytes, limitBytes,
          graphicsBytes);
  }
  void IncrementGraphicsMemoryUsedCount(unsigned long long bytes) override {
    Enter(Op::kWindowIncrementGraphicsMemoryUsedCount,
          &StageWindow::IncrementGraphicsMemoryUsedCount, bytes);
  }
  void DecrementGraphicsMemoryUsedCount(unsigned long long bytes) override {
    Enter(Op::kWindowDecrementGraphicsMemoryUsedCount,
          &StageWindow::DecrementGraphicsMemoryUsedCount, bytes);
  }
  void UpdateProxyParameters(const char* host, unsigned short port, const char* user,
                             const char* password) override {
    CallIn(
        border_, Op::kWindowUpdateProxyParameters,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          border_.PutText(to, host);
          to.Unsigned(port);
          border_.PutText(to, user);
          border_.PutSecret(to, password);
        },
        [&] { Raw()->UpdateProxyParameters(host, port, user, password); }, [](Encoder&) {});
  }
  void RegisterNotifier(plexion::StageWindowNotifier* notifier) override {
    Enter(Op::kWindowRegisterNotifier, &StageWindow::RegisterNotifier, notifier);
  }
  void UnregisterNotifier(plexion::StageWindowNotifier* notifier) override {
    Enter(Op::kWindowUnregisterNotifier, &StageWindow::UnregisterNotifier, notifier);
  }
  Wrapped* Watchdog() const { return watchdog_; }

 private:
  Wrapped* watchdog_ = nullptr;  // once the host or the player has asked for it
};

class NotifierFace final : public ModuleObject<morvellib::MorvelInstanceNotifier> {
 public:
  using ModuleObject::ModuleObject;
  void OnMorvelInstanceNotification(plexion::StageWindowStatus status,
                                    const plexion::StageWindowStatusData* data) override {
    CallIn(
        border_, Operation::kNotifierOnNotification,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          to.Status(status);
          PutStatusData(border_, to, data);
        },
        [&] { Raw()->OnMorvelInstanceNotification(status, data); }, [](Encoder&) {});
  }
  void OnMorvelInstanceInterFrameNotification() override {
    Enter(Operation::kNotifierOnInterFrame,
          &morvellib::MorvelInstanceNotifier::OnMorvelInstanceInterFrameNotification);
  }
};

/// Sizes and places alone: which block is freed says a number that counts them.
class WatchdogFace final : public ModuleObject<plexion::MemoryWatchdog> {
 public:
  using ModuleObject::ModuleObject;
  void* Alloc(unsigned long size, const char* file, unsigned long line) override {
    void* block = nullptr;
    CallIn(
        border_, Operation::kWatchdogAlloc,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          to.Unsigned(size);
          to.Note();
          border_.PutText(to, file);
          to.Note();
          to.Unsigned(line);
        },
        [&] { block = Raw()->Alloc(size, file, line); },
        [&](Encoder& to) { border_.PutBlock(to, block); });
    return block;
  }
  void Free(void* p, const char* file, unsigned long line) override {
    CallIn(
        border_, Operation::kWatchdogFree,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          // By its number: a replay has its blocks at other addresses.
          border_.TakeBlock(to, p);
          to.Note();
          border_.PutText(to, file);
          to.Note();
          to.Unsigned(line);
        },
        [&] { Raw()->Free(p, file, line); }, [](Encoder&) {});
  }
  unsigned long GetBytesUsed() override {
    return Enter(Operation::kWatchdogGetBytesUsed, &plexion::MemoryWatchdog::GetBytesUsed);
  }
  unsigned long GetBytesAvailable() override {
    return Enter(Operation::kWatchdogGetBytesAvailable,
                 &plexion::MemoryWatchdog::GetBytesAvailable);
  }
};

class CommandFace final : public ModuleObject<platform::IShellCommand> {
 public:
  using ModuleObject::ModuleObject;
  QXError Execute(unsigned long argc, char** argv) override {
    QXError error("", 0);
    CallIn(
        border_, Operation::kCommandExecute,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          border_.PutWords(to, static_cast<int>(argc), argv);
        },
        [&] { error = Raw()->Execute(argc, argv); },
        [&](Encoder& to) { PutValue(border_, to, error); });
    return error;
  }
};

}  // namespace

PLEXION_WRAPPER(plexion::StageWindow, WindowFace)
PLEXION_WRAPPER(morvellib::MorvelInstanceNotifier, NotifierFace)
PLEXION_WRAPPER(plexion::MemoryWatchdog, WatchdogFace)
PLEXION_WRAPPER(platform::IShellCommand, CommandFace)

void AddDying(Wrapped* window, std::vector<Wrapped*>& dying) {
  if (window == nullptr) return;
  dying.push_back(window);
  if (Wrapped* const watchdog = static_cast<WindowFace*>(window)->Watchdog()) {
    dying.push_back(watchdog);
  }
}

}  // namespace plexion_record
