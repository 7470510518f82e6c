// Players that are wrong in one thing each: the kit's own, with one fault in front of it.

#include <atomic>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "kit/certify/bench/BenchPlayer.h"
#include "qx/core/IQXKernel.h"
#include "qx/core/morvellib/MorvelInstanceParameters.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/MemoryWatchdog.h"
#include "qx/plexion/StageWindow.h"
#include "qx/plexion/StageWindowParameters.h"
#include "tests/kit/certify/Fault.h"

namespace {

using namespace qx::plexion;  // statuses
using plexion_certify::BenchPlayer;
using qx::core::morvellib::IMorvelRuntimeLib;
using qx::core::morvellib::MorvelInstance;
using qx::core::morvellib::MorvelInstanceNotifier;
using qx::core::morvellib::MorvelInstanceParameters;
using qx::core::morvellib::MorvelLoadSettings;
using Plane = qx::platform::RenderPlane;

void SleepMs(int milliseconds) {
  IQXKernel::GetKernel()->Sleep(milliseconds * IQXKernel::Time{1000000});
}

/// A plane as the kit's player is to see it: by the pitch, the size or the lock of a wrong one.
class FaultyPlane final : public Plane {
 public:
  Dims GetDims() override {
    Dims dims = target->GetDims();
    if (FAULT("draws-with-the-first-size")) {
      if (first_.width == 0) first_ = dims;
      dims = {std::min(first_.width, dims.width), std::min(first_.height, dims.height)};
    }
    if (FAULT("draws-one-row-too-many")) ++dims.height;
    return dims;
  }
  uint32_t GetPixelFormat() override { return target->GetPixelFormat(); }
  uint32_t GetPitch() override {
    return FAULT("pitch-is-ignored") ? target->GetDims().width * 4 : target->GetPitch();
  }
  void* LockPixels(bool forReading) override {
    if (FAULT("draws-nothing")) return nullptr;
    if (FAULT("draws-without-lock")) {
      if (kept_ != target) pixels_ = target->LockPixels(false), target->UnlockPixels();
      kept_ = target;
      return pixels_;
    }
    return target->LockPixels(forReading);
  }
  void UnlockPixels() override {
    if (FAULT("forgets-unlock") || FAULT("draws-nothing") || FAULT("draws-without-lock")) return;
    if (FAULT("draws-colours-not-premultiplied"))
      memset(Pixels(), 0x7F, 3), memset(Pixels() + 3, 0x10, 1);
    target->UnlockPixels();
  }
  qx::platform::DrawingContext* GetDrawingContext() override { return target->GetDrawingContext(); }

  Plane* target = nullptr;

 private:
  unsigned char* Pixels() {
    auto* const pixels = static_cast<unsigned char*>(target->LockPixels(false));
    target->UnlockPixels();
    return pixels;
  }
  Dims first_ = {};
  Plane* kept_ = nullptr;
  void* pixels_ = nullptr;
};

/// Whether who configures last is a window of the module: the kit's own bench says "certify".
thread_local bool filledForModule = false;

class FaultyInstance final : public MorvelInstance, public MorvelInstanceNotifier {
 public:
  FaultyInstance(MorvelInstance* instance, StageWindow* instanceWindow)
      : inner(instance), window(instanceWindow) {}

  bool Configure(const MorvelInstanceParameters& parameters) override {
    notifier_ = parameters.notifier;
    ofModule_ = filledForModule;
    MorvelInstanceParameters own;
    own.notifier = this;
    own.contentUrl = parameters.contentUrl;
    if (FAULT("configure-opens-content") &&
        strstr(parameters.contentUrl.Utf8(), "missing") != nullptr)
      return false;
    const bool configured = inner->Configure(own);
    settings_.contentUrl = parameters.contentUrl;
    told_ = kStatusConfigured;
    if (FAULT("configure-forgets-settings")) inner->GetLoadSettings()->contentUrl.Clear();
    if (FAULT("leaks-watchdog-memory")) window->GetMemoryWatchdog()->Alloc(16, nullptr, 0);
    if (FAULT("configure-keeps-texts")) memset(new char[2000], 1, 2000);
    if (FAULT("leaks-kernel-event")) IQXKernel::GetKernel()->CreateEvent(true);
    return configured;
  }
  MorvelLoadSettings* GetLoadSettings() override {
    if (FAULT("settings-are-null-at-first") && inner->GetStageWindowStatus() == kStatusUnconfigured)
      return nullptr;
    return FAULT("settings-are-not-read") ? &settings_ : inner->GetLoadSettings();
  }
  bool LoadMVX() override {
    if (FAULT("load-mvx-refused")) return false;
    return inner->LoadMVX();
  }
  bool LoadMVXAsync() override { return inner->LoadMVXAsync(); }
  bool Play() override {
    if (FAULT("notifies-in-play"))
      notifier_->OnMorvelInstanceNotification(kInfoNotifyTSTrace, nullptr);
    if (FAULT("play-needs-a-plane") && plane_.target == nullptr) return false;
    if (FAULT("play-once") && ++plays_ > 1) return true;
    if (FAULT("play-answers-false")) return inner->Play() && false;
    if (FAULT("window-plays-alone") && HasPlanes() && playing_.exchange(true)) {
      return true;
    }
    if (FAULT("windows-thirty-two-at-most") && HasPlanes() && ++playingWindows_ > 32) return true;
    return inner->Play();
  }
  bool Pause() override {
    if (FAULT("pause-is-ignored")) return true;
    if (FAULT("pause-is-announced-only"))
      return notifier_->OnMorvelInstanceNotification(kStatusPaused, nullptr), true;
    return inner->Pause();
  }
  bool Terminate(StageWindowStatus status) override {
    if (FAULT("terminate-when-playing-only") && inner->GetStageWindowStatus() != kStatusPlaying)
      return true;
    if (FAULT("terminate-with-another-status")) status = kErrorFatalPlaybackError;
    if (FAULT("terminate-inside-crashes") && player_ == std::this_thread::get_id()) abort();
    if (FAULT("terminate-waits-for-the-end")) {
      inner->Terminate(status);
      while (!IsTerminalStatus(inner->GetStageWindowStatus()) || announcing_ > 0) SleepMs(1);
      return true;
    }
    return inner->Terminate(status);
  }
  StageWindowStatus GetStageWindowStatus() override {
    if (FAULT("status-begins-configured") && inner->GetStageWindowStatus() == kStatusUnconfigured)
      return kStatusConfigured;
    if (FAULT("status-waits-for-announcement")) {
      const std::lock_guard<std::recursive_mutex> lock(busy_);
      return inner->GetStageWindowStatus();
    }
    if (FAULT("status-stored-after")) return told_;
    if (FAULT("status-goes-back-at-the-end") && inner->GetStageWindowStatus() == kStatusComplete)
      return kStatusConfigured;
    return inner->GetStageWindowStatus();
  }
  Dims GetMVXAuthoredStageDims() override {
    if (FAULT("size-unknown-until-ready") && inner->GetStageWindowStatus() < kStatusReadyToAnimate)
      return {0, 0};
    if (FAULT("size-before-it-is-known")) return {640, 480};
    return inner->GetMVXAuthoredStageDims();
  }
  bool SetRenderPlane(Plane* plane) override {
    if (FAULT("plane-same-again-refused") && plane == plane_.target) return false;
    if (FAULT("plane-of-a-window-set-once") && plane == plane_.target && HasPlanes())
      return inner->Pause();
    if (FAULT("plane-change-does-not-wait")) return Later(plane);
    // The kit's player holds our plane; it has let go of it when this returns.
    inner->SetRenderPlane(nullptr);
    plane_.target = plane;
    return inner->SetRenderPlane(&plane_);
  }
  bool ResetRenderPlane(Plane* plane) override {
    if (FAULT("reset-plane-refused")) return false;
    return SetRenderPlane(plane);
  }
  void RequestInterFrameNotification() override {
    if (FAULT("between-frames-when-playing-only") &&
        inner->GetStageWindowStatus() != kStatusPlaying)
      return;
    if (FAULT("between-frames-first-only") && ++requests_ > 1) return;
    if (FAULT("between-frames-at-once")) return notifier_->OnMorvelInstanceInterFrameNotification();
    if (FAULT("between-frames-twice")) inner->RequestInterFrameNotification();
    inner->RequestInterFrameNotification();
  }
  void SetStageRect(const Rect& rect) override {
    if (FAULT("stage-rect-waits-for-the-player")) WaitWhileBusy();
    if (FAULT("notifies-under-a-lock-while-loading") || FAULT("notifies-frames-under-a-lock")) {
      const std::lock_guard<std::recursive_mutex> lock(busy_);
    }
    inner->SetStageRect(rect);
  }
  void KeyDown(unsigned long key) override {
    if (FAULT("keys-wait-for-the-player")) WaitWhileBusy();
    if (FAULT("keys-pile-up")) keys_.insert(keys_.end(), 64, key);
    if (FAULT("keys-crash-before-load") && inner->GetStageWindowStatus() == kStatusConfigured)
      abort();
    inner->KeyDown(key);
  }
  void KeyUp(unsigned long key) override { inner->KeyUp(key); }
  void MouseButtonDown(MouseButton button, unsigned short x, unsigned short y) override {
    inner->MouseButtonDown(button, x, y);
  }
  void MouseButtonUp(MouseButton button, unsigned short x, unsigned short y) override {
    inner->MouseButtonUp(button, x, y);
  }
  void MouseMove(unsigned short x, unsigned short y) override {
    if (FAULT("pointer-is-trusted") && x > 10000) abort();
    inner->MouseMove(x, y);
  }
  void ScrollWheelScroll(ScrollWheelDirection direction, unsigned short delta) override {
    inner->ScrollWheelScroll(direction, delta);
  }
  void SendEvent(unsigned long code) override { inner->SendEvent(code); }
  void Activate() override { inner->Activate(); }
  void Deactivate() override { inner->Deactivate(); }
  void UpdateProxyParameters(const char* host, unsigned short port, const char* user,
                             const char* password) override {
    if (FAULT("proxy-null-crashes") && strlen(host) > 1000) abort();
    inner->UpdateProxyParameters(host, port, user, password);
  }

  // What the kit's player says, on its way to the window.

  void OnMorvelInstanceNotification(StageWindowStatus status,
                                    const StageWindowStatusData* data) override {
    ++announcing_;
    player_ = std::this_thread::get_id();
    Announce(status, data);
    told_ = status <= kErrorUnsupportedVersion ? status : told_.load();
    if (FAULT("talks-after-the-end") && status == kStatusComplete) {
      SleepMs(20);
      Announce(kInfoNotifyTSTrace, nullptr);
    }
    --announcing_;
  }
  void OnMorvelInstanceInterFrameNotification() override {
    if (FAULT("draws-between-frames") && plane_.target != nullptr) {
      return Beside([this] {
        SleepMs(20);
        plane_.LockPixels(false);
        plane_.UnlockPixels();
      });
    }
    notifier_->OnMorvelInstanceInterFrameNotification();
  }
  bool IsUnused() {
    return plane_.target != nullptr && inner->GetStageWindowStatus() == kStatusReadyToAnimate;
  }
  bool HasPlanes() const { return ofModule_; }

  MorvelInstance* const inner;
  StageWindow* const window;

 private:
  void Announce(StageWindowStatus status, const StageWindowStatusData* data) {
    if (FAULT("never-completes") && status == kStatusComplete) return;
    if (HasPlanes()) {  // as windows of the module have
      if (FAULT("window-ends-in-error") && status == kStatusComplete)
        status = kErrorFatalPlaybackError;
      if (FAULT("window-is-wiped") && status == kInfoRenderPlaneUpdated) Wipe();
      if (FAULT("window-leaks-an-event") && status == kStatusPlaying)
        IQXKernel::GetKernel()->CreateEvent(true);
    }
    if (FAULT("error-is-not-announced") && status == kErrorInvalidURL) return;
    if (FAULT("loaded-is-not-announced") && status == kStatusLoaded) return;
    if (FAULT("ready-before-loaded") && status == kStatusLoaded)
      notifier_->OnMorvelInstanceNotification(kStatusReadyToAnimate, data);
    if (FAULT("frame-without-rectangle") && status == kInfoRenderPlaneUpdated) data = nullptr;
    Rect rect = {};
    StageWindowStatusData other = {};
    if (FAULT("frame-rectangle-outside") && status == kInfoRenderPlaneUpdated) {
      rect = {1, 1, data->rect->width, data->rect->height};
      other.rect = &rect;
      data = &other;
    }
    if (FAULT("frame-first-in-part") && status == kInfoRenderPlaneUpdated) {
      rect = {0, 0, 8, 8};
      other.rect = &rect;
      data = &other;
    }
    if (FAULT("notifies-from-two-threads") && status == kStatusPaused) {
      return std::thread(
                 [this, status, data] { notifier_->OnMorvelInstanceNotification(status, data); })
          .join();
    }
    if (FAULT("notifies-under-a-lock-while-loading") && status == kStatusLoaded)
      return Locked(status, data);
    if (FAULT("notifies-frames-under-a-lock") && status == kInfoRenderPlaneUpdated)
      return Locked(status, data);
    if (FAULT("status-waits-for-announcement") && status == kStatusPlaying)
      return Locked(status, data);
    notifier_->OnMorvelInstanceNotification(status, data);
  }
  void Locked(StageWindowStatus status, const StageWindowStatusData* data) {
    const std::lock_guard<std::recursive_mutex> lock(busy_);
    notifier_->OnMorvelInstanceNotification(status, data);
  }
  void Wipe() {
    qx::platform::Plane& plane = *plane_.target;
    memset(plane.LockPixels(false), 0, size_t{plane.GetPitch()} * plane.GetDims().height);
    plane.UnlockPixels();
  }
  /// Notifies, and does something else on another thread meanwhile.
  void Beside(const std::function<void()>& other) {
    std::thread thread(other);
    notifier_->OnMorvelInstanceInterFrameNotification();
    thread.join();
  }
  /// As an operation that takes the lock under which this player notifies.
  void WaitWhileBusy() {
    while (announcing_ > 0) SleepMs(1);
  }
  /// Exchanges the plane soon, on another thread.
  bool Later(Plane* plane) {
    if (plane_.target == nullptr) {
      plane_.target = plane;
      return inner->SetRenderPlane(&plane_);
    }
    std::thread([this, plane] {
      SleepMs(30);
      plane_.target = plane;
      inner->SetRenderPlane(&plane_);
    }).detach();
    return true;
  }

  MorvelInstanceNotifier* notifier_ = nullptr;
  MorvelLoadSettings settings_;
  FaultyPlane plane_;
  std::recursive_mutex busy_;
  std::atomic<int> announcing_{0}, plays_{0}, requests_{0};
  std::atomic<StageWindowStatus> told_{kStatusUnconfigured};
  std::vector<unsigned long> keys_;
  std::thread::id player_;
  bool ofModule_ = false;  // its window is one of the module's, with planes
  static std::atomic<bool> playing_;
  static std::atomic<int> playingWindows_;
};

std::atomic<bool> FaultyInstance::playing_{false};
std::atomic<int> FaultyInstance::playingWindows_{0};

class FaultyPlayer final : public IMorvelRuntimeLib {
 public:
  FaultyPlayer() : inner_(*IQXKernel::GetKernel()) {
    inner_.frames = 100;
    inner_.frameTime = 5000000;
  }
  void GetVersion(char* buffer, unsigned long size) override {
    if (FAULT("version-ignores-size")) return (void)strcpy(buffer, "player");
    if (FAULT("version-without-zero"))
      return (void)strncpy(
          buffer, "a player's version that is long enough for every buffer that anybody has", size);
    inner_.GetVersion(buffer, size);
  }
  uint32_t GetDefaultPixelFormat() override {
    return FAULT("default-format-is-none") ? 0 : inner_.GetDefaultPixelFormat();
  }
  void FillInstanceParameters(MorvelInstanceParameters& to,
                              const StageWindowParameters& from) override {
    filledForModule =
        from.outputPlaneName == nullptr || strcmp(from.outputPlaneName, "certify") != 0;
    if (FAULT("fill-forgets-content")) return;
    if (FAULT("fill-reads-null-texts") && strlen(from.base) > 1000) return;
    inner_.FillInstanceParameters(to, from);
  }
  MorvelInstance* CreateMorvelInstance(StageWindow* window) override {
    if (FAULT("create-keeps-memory")) memset(new char[1000], 1, 1000);
    if (FAULT("instances-thirty-two-at-most") && ++live_ > 32) return nullptr;
    return new FaultyInstance(inner_.CreateMorvelInstance(window), window);
  }
  void DestroyMorvelInstance(MorvelInstance* instance) override {
    auto* const faulty = static_cast<FaultyInstance*>(instance);
    --live_;
    if (FAULT("destroy-before-play-crashes") && faulty->IsUnused()) abort();
    if (FAULT("destroy-does-not-wait-for-callback")) {
      faulty->inner->Terminate(kErrorFatalPlaybackError);
      return;  // it goes when it is done
    }
    if (FAULT("destroy-leaks-thread"))
      std::thread([] { std::this_thread::sleep_for(std::chrono::minutes(5)); }).detach();
    inner_.DestroyMorvelInstance(faulty->inner);
    if (!FAULT("destroy-leaks-instance")) delete faulty;
  }

 private:
  BenchPlayer inner_;
  std::atomic<int> live_{0};
};

}  // namespace

extern "C" QX_EXPORT IQXModule* IQXModule_IMorvelRuntimeLib_ModuleLoad() {
  if (FAULT("player-load-leaks-a-mutex")) IQXKernel::GetKernel()->CreateMutex();
  return new FaultyPlayer;
}
extern "C" QX_EXPORT void IQXModule_IMorvelRuntimeLib_ModuleUnload(IQXModule* module) {
  delete module;
}
