// A stage window without a service: what a driver or a player is handed when it is tried alone.

#ifndef KIT_CERTIFY_BENCH_BAREWINDOW_H_
#define KIT_CERTIFY_BENCH_BAREWINDOW_H_

#include <atomic>

#include "qx/core/IQXKernel.h"
#include "qx/plexion/MemoryWatchdog.h"
#include "qx/plexion/StageWindow.h"

namespace plexion_certify {

/// Counts what a player allocates. Thread: any.
class BareWatchdog final : public qx::plexion::MemoryWatchdog {
 public:
  explicit BareWatchdog(IQXKernel& kernel) : kernel_(kernel) {}

  void* Alloc(unsigned long size, const char* file, unsigned long line) override {
    // The size stands before the block, for Free.
    auto* const block =
        static_cast<unsigned long*>(kernel_.Allocate(size + 16, file, static_cast<int>(line)));
    if (block == nullptr) return nullptr;
    block[0] = size;
    used_ += static_cast<long>(size);
    ++blocks_;
    return block + 16 / sizeof(unsigned long);
  }
  void Free(void* p, const char* file, unsigned long line) override {
    auto* const block = static_cast<unsigned long*>(p) - 16 / sizeof(unsigned long);
    used_ -= static_cast<long>(block[0]);
    --blocks_;
    kernel_.Free(block, file, static_cast<int>(line));
  }
  unsigned long GetBytesUsed() override { return static_cast<unsigned long>(used_.load()); }
  unsigned long GetBytesAvailable() override { return 4294967295UL; }
  long Blocks() const { return blocks_; }

 private:
  IQXKernel& kernel_;
  std::atomic<long> used_{0}, blocks_{0};
};

/// Answers as a configured window without planes does. Counts graphics memory.
class BareWindow final : public qx::plexion::StageWindow {
 public:
  explicit BareWindow(IQXKernel& kernel) : watchdog(kernel) {}

  using Dims = qx::plexion::Dims;
  using Status = qx::plexion::StageWindowStatus;
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
  bool Terminate(Status) override { return false; }
  bool SetRenderPlane(qx::platform::RenderPlane*) override { return false; }
  bool ResetRenderPlane(qx::platform::RenderPlane*) override { return false; }
  bool SetOutputPlane(qx::platform::OutputPlane*) override { return false; }
  bool SetActiveStageWindow() override { return false; }
  bool IsActiveStageWindow() override { return false; }
  bool MoveTo(const qx::plexion::Point&) override { return false; }
  void Resize(const Dims&, bool) override {}
  void ResizeAndMove(const Dims&, const qx::plexion::Point&) override {}
  void SetVisible(bool) override {}
  bool IsVisible() override { return true; }
  void SetAlpha(unsigned char) override {}
  void DispatchKeyDown(unsigned long) override {}
  void DispatchKeyUp(unsigned long) override {}
  void DispatchMouseButtonDown(qx::plexion::MouseButton, unsigned short, unsigned short) override {}
  void DispatchMouseButtonUp(qx::plexion::MouseButton, unsigned short, unsigned short) override {}
  void DispatchMouseMove(unsigned short, unsigned short) override {}
  void DispatchScrollWheelScroll(qx::plexion::ScrollWheelDirection, unsigned short) override {}
  Status GetStageWindowStatus() override { return qx::plexion::kStatusConfigured; }
  Dims GetMVXAuthoredStageDims() override { return {0, 0}; }
  Dims GetStageDims() override { return {0, 0}; }
  qx::platform::RenderPlane* GetRenderPlane() override { return nullptr; }
  qx::platform::OutputPlane* GetOutputPlane() override { return nullptr; }
  qx::plexion::MemoryWatchdog* GetMemoryWatchdog() override { return &watchdog; }
  qx::plexion::Rect GetRectOnScreen() const override { return {0, 0, 0, 0}; }
  void SetContext(const char*, void*) override {}
  void* GetContext(const char*) override { return nullptr; }
  void GetMemoryInfo(unsigned long long& used, unsigned long long& limit,
                     unsigned long long& graphics) override {
    used = watchdog.GetBytesUsed();
    limit = 0;
    graphics = static_cast<unsigned long long>(graphicsBytes.load());
  }
  void IncrementGraphicsMemoryUsedCount(unsigned long long bytes) override {
    graphicsBytes += static_cast<long long>(bytes);
  }
  void DecrementGraphicsMemoryUsedCount(unsigned long long bytes) override {
    graphicsBytes -= static_cast<long long>(bytes);
  }
  void UpdateProxyParameters(const char*, unsigned short, const char*, const char*) override {}
  void RegisterNotifier(qx::plexion::StageWindowNotifier*) override {}
  void UnregisterNotifier(qx::plexion::StageWindowNotifier*) override {}

  BareWatchdog watchdog;
  std::atomic<long long> graphicsBytes{0};
};

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_BENCH_BAREWINDOW_H_
