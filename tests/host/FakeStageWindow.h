#ifndef TESTS_HOST_FAKESTAGEWINDOW_H_
#define TESTS_HOST_FAKESTAGEWINDOW_H_

#include "qx/plexion/StageWindow.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host {

/// A stage window that does nothing: base of the windows that tests of the host's modules hand in.
class FakeStageWindow : public qx::plexion::StageWindow {
 public:
  using Dims = qx::plexion::Dims;
  using Point = qx::plexion::Point;
  using Rect = qx::plexion::Rect;

  bool Configure(const qx::plexion::StageWindowParameters&) override { return false; }
  bool Configure(int, const char**) override { return false; }
  bool LoadMVX() override { return false; }
  bool CreatePlanes() override { return false; }
  bool RunToCompletion() override { return false; }
  bool LoadForLFD() override { return false; }
  bool PlayForLFD() override { return false; }
  bool LoadMVXAsync() override { return false; }
  bool Play() override { return false; }
  bool Pause() override { return false; }
  bool Terminate(qx::plexion::StageWindowStatus) override { return false; }
  bool SetRenderPlane(qx::platform::RenderPlane*) override { return false; }
  bool ResetRenderPlane(qx::platform::RenderPlane*) override { return false; }
  bool SetOutputPlane(qx::platform::OutputPlane*) override { return false; }
  bool SetActiveStageWindow() override { return false; }
  bool IsActiveStageWindow() override { return false; }
  bool MoveTo(const Point&) override { return false; }
  void Resize(const Dims&, bool) override {}
  void ResizeAndMove(const Dims&, const Point&) override {}
  void SetVisible(bool) override {}
  bool IsVisible() override { return true; }
  void SetAlpha(unsigned char) override {}
  void DispatchKeyDown(unsigned long) override {}
  void DispatchKeyUp(unsigned long) override {}
  void DispatchMouseButtonDown(qx::plexion::MouseButton, unsigned short, unsigned short) override {}
  void DispatchMouseButtonUp(qx::plexion::MouseButton, unsigned short, unsigned short) override {}
  void DispatchMouseMove(unsigned short, unsigned short) override {}
  void DispatchScrollWheelScroll(qx::plexion::ScrollWheelDirection, unsigned short) override {}
  qx::plexion::StageWindowStatus GetStageWindowStatus() override {
    return qx::plexion::kStatusPlaying;
  }
  Dims GetMVXAuthoredStageDims() override { return {0, 0}; }
  Dims GetStageDims() override { return {0, 0}; }
  qx::platform::RenderPlane* GetRenderPlane() override { return nullptr; }
  qx::platform::OutputPlane* GetOutputPlane() override { return nullptr; }
  qx::plexion::MemoryWatchdog* GetMemoryWatchdog() override { return nullptr; }
  Rect GetRectOnScreen() const override { return {0, 0, 0, 0}; }
  void SetContext(const char*, void*) override {}
  void* GetContext(const char*) override { return nullptr; }
  void GetMemoryInfo(unsigned long long& used, unsigned long long& limit,
                     unsigned long long& graphics) override {
    used = limit = 0;
    graphics = graphicsBytes;
  }
  void IncrementGraphicsMemoryUsedCount(unsigned long long bytes) override {
    graphicsBytes += bytes;
  }
  void DecrementGraphicsMemoryUsedCount(unsigned long long bytes) override {
    graphicsBytes -= bytes;
  }
  void UpdateProxyParameters(const char*, unsigned short, const char*, const char*) override {}
  void RegisterNotifier(qx::plexion::StageWindowNotifier*) override {}
  void UnregisterNotifier(qx::plexion::StageWindowNotifier*) override {}

  unsigned long long graphicsBytes = 0;
};

}  // namespace plexion_host

#endif  // TESTS_HOST_FAKESTAGEWINDOW_H_
