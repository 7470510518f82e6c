// A player in the shape that every player has: operations note what is wanted, one thread does it.

#include "kit/certify/bench/BenchPlayer.h"

#include <atomic>
#include <cstring>
#include <mutex>

#include "qx/core/morvellib/MorvelInstanceParameters.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/MemoryWatchdog.h"
#include "qx/plexion/StageWindow.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_certify {
namespace {

using qx::core::morvellib::MorvelInstance;
using qx::core::morvellib::MorvelInstanceNotifier;
using qx::core::morvellib::MorvelInstanceParameters;
using qx::core::morvellib::MorvelLoadSettings;
using namespace qx::plexion;  // statuses
using Plane = qx::platform::RenderPlane;

class BenchInstance final : public MorvelInstance {
 public:
  BenchInstance(IQXKernel& kernel, BenchPlayer& player, StageWindow* window)
      : kernel_(kernel),
        player_(player),
        window_(window),
        wake_(kernel.CreateEvent(true)),
        thread_(kernel.CreateThread()) {
    wake_->Reset();
  }

  ~BenchInstance() {
    ended_ = true;
    wake_->Signal();
    thread_->Join(IQXKernel::kInfinite);
    kernel_.DestroyThread(thread_);
    kernel_.DestroyEvent(wake_);
    if (memory_ != nullptr) window_->GetMemoryWatchdog()->Free(memory_, nullptr, 0);
  }

  bool Configure(const MorvelInstanceParameters& parameters) override {
    notifier_ = parameters.notifier;
    settings_.contentUrl = parameters.contentUrl;
    status_ = kStatusConfigured;
    return thread_->Start("CertifyPlayer", &BenchInstance::Run, this);
  }
  MorvelLoadSettings* GetLoadSettings() override { return &settings_; }
  bool LoadMVX() override { return Want(load_); }
  bool LoadMVXAsync() override { return Want(load_); }
  bool Play() override { return Want(play_); }
  bool Pause() override {
    play_ = false;
    wake_->Signal();
    return !IsTerminalStatus(status_);
  }
  bool Terminate(StageWindowStatus status) override {
    if (IsTerminalStatus(status_)) return false;
    endStatus_ = status;
    wake_->Signal();
    return true;
  }
  StageWindowStatus GetStageWindowStatus() override { return status_; }
  Dims GetMVXAuthoredStageDims() override {
    const StageWindowStatus status = status_;
    return status >= kStatusLoaded && status <= kStatusComplete ? player_.dims : Dims{0, 0};
  }
  bool SetRenderPlane(Plane* plane) override {
    const std::lock_guard<std::mutex> drawing(drawing_);  // waits for a frame that is being drawn
    plane_ = plane;
    redraw_ = true;
    wake_->Signal();
    return true;
  }
  bool ResetRenderPlane(Plane* plane) override { return SetRenderPlane(plane); }
  void RequestInterFrameNotification() override {
    ++betweenFrames_;
    wake_->Signal();
  }
  void SetStageRect(const Rect&) override {}
  void KeyDown(unsigned long) override { ++player_.keyDowns; }
  void KeyUp(unsigned long) override {}
  void MouseButtonDown(MouseButton, unsigned short, unsigned short) override {}
  void MouseButtonUp(MouseButton, unsigned short, unsigned short) override {}
  void MouseMove(unsigned short, unsigned short) override {}
  void ScrollWheelScroll(ScrollWheelDirection, unsigned short) override {}
  void SendEvent(unsigned long) override {}
  void Activate() override {}
  void Deactivate() override {}
  void UpdateProxyParameters(const char*, unsigned short, const char*, const char*) override {}

 private:
  bool Want(std::atomic<bool>& wish) {
    if (IsTerminalStatus(status_)) return false;
    wish = true;
    wake_->Signal();
    return true;
  }

  void Announce(StageWindowStatus status) {
    status_ = status;  // before it is announced: the window asks
    const StageWindowStatusData data = {};
    notifier_->OnMorvelInstanceNotification(status, &data);
  }

  void Load() {
    load_ = false;
    Announce(kStatusLoading);
    if (std::strstr(settings_.contentUrl.Utf8(), "missing") != nullptr)
      return Announce(kErrorInvalidURL);
    memory_ = window_->GetMemoryWatchdog()->Alloc(1000, nullptr, 0);
    Announce(kStatusLoaded);
    Announce(kStatusReadyToAnimate);
  }

  /// Colours the plane. Returns  false while there is none.
  bool Draw(Rect& drawn) {
    const std::lock_guard<std::mutex> drawing(drawing_);
    Plane* const plane = plane_;
    if (plane == nullptr) return false;
    redraw_ = false;
    const Dims dims = plane->GetDims();
    const uint32_t colour = 0xFF000000u + static_cast<uint32_t>(frame_);
    auto* row = static_cast<unsigned char*>(plane->LockPixels(false));
    for (uint32_t y = 0; row != nullptr && y < dims.height; ++y, row += plane->GetPitch()) {
      for (uint32_t x = 0; x < dims.width; ++x) std::memcpy(row + size_t{x} * 4, &colour, 4);
    }
    plane->UnlockPixels();
    drawn = {0, 0, dims.width, dims.height};
    return true;
  }

  void ShowFrame() {
    Rect drawn = {};
    if (!Draw(drawn)) return;
    StageWindowStatusData data = {};
    data.rect = &drawn;
    notifier_->OnMorvelInstanceNotification(kInfoRenderPlaneUpdated, &data);
  }

  static void Run(IQXKernel::Thread*, void* self) { static_cast<BenchInstance*>(self)->Loop(); }

  void Loop() {
    IQXKernel::Time due = kernel_.GetTime();
    while (!ended_ && !IsTerminalStatus(status_)) {
      const IQXKernel::Time now = kernel_.GetTime();
      const bool playing = status_ == kStatusPlaying;
      wake_->Wait(playing ? (due > now ? due - now : 0) : IQXKernel::kInfinite);
      wake_->Reset();
      if (ended_) return;
      if (endStatus_ != kStatusUnconfigured) return Announce(endStatus_);
      while (betweenFrames_ > 0) {
        --betweenFrames_;
        notifier_->OnMorvelInstanceInterFrameNotification();
      }
      if (load_ && status_ == kStatusConfigured) Load();
      const bool ready = status_ >= kStatusReadyToAnimate && plane_ != nullptr;
      if (ready && play_ != (status_ == kStatusPlaying)) {
        Announce(play_ ? kStatusPlaying : kStatusPaused);
        due = kernel_.GetTime();
      }
      if (status_ == kStatusPlaying && (kernel_.GetTime() >= due || redraw_)) {
        if (frame_ == player_.frames) return Announce(kStatusComplete);
        ++frame_;
        ShowFrame();
        due += player_.frameTime;
      } else if (ready && redraw_ && frame_ > 0) {
        ShowFrame();
      }
    }
  }

  IQXKernel& kernel_;
  BenchPlayer& player_;
  StageWindow* const window_;
  IQXKernel::Event* const wake_;
  IQXKernel::Thread* const thread_;
  MorvelInstanceNotifier* notifier_ = nullptr;
  MorvelLoadSettings settings_;
  std::mutex drawing_;  // held while a frame is drawn
  std::atomic<Plane*> plane_{nullptr};
  std::atomic<StageWindowStatus> status_{kStatusUnconfigured}, endStatus_{kStatusUnconfigured};
  std::atomic<bool> load_{false}, play_{false}, ended_{false}, redraw_{false};
  std::atomic<int> betweenFrames_{0};
  // The thread's own.
  int frame_ = 0;
  void* memory_ = nullptr;
};

}  // namespace

void BenchPlayer::GetVersion(char* buffer, unsigned long size) {
  kernel_.FormatString(buffer, size, "%s", "the kit's player 1.0");
}

uint32_t BenchPlayer::GetDefaultPixelFormat() { return qx::platform::kPixelFormat32; }

void BenchPlayer::FillInstanceParameters(MorvelInstanceParameters& to,
                                         const StageWindowParameters& from) {
  to.contentUrl.Assign(from.contentPath);
}

MorvelInstance* BenchPlayer::CreateMorvelInstance(StageWindow* window) {
  return new BenchInstance(kernel_, *this, window);
}

void BenchPlayer::DestroyMorvelInstance(MorvelInstance* instance) {
  delete static_cast<BenchInstance*>(instance);
}

}  // namespace plexion_certify
