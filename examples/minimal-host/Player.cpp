// The smallest player runtime: plays a text file "WIDTH HEIGHT FRAMES", a ball that rolls over a gradient at
// thirty frames a second. Whoever ports a real player keeps this shape: one thread for each instance, operations
// that only note what is wanted, statuses that are stored before they are announced.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>

#include "qx/core/IQXKernel.h"
#include "qx/core/morvellib/IMorvelRuntimeLib.h"
#include "qx/core/morvellib/MorvelInstance.h"
#include "qx/core/morvellib/MorvelInstanceParameters.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindowParameters.h"

namespace {

using namespace qx;
using namespace qx::plexion;
using core::morvellib::MorvelInstance;
using core::morvellib::MorvelInstanceParameters;

class Instance final : public MorvelInstance {
 public:
  ~Instance() {
    Want([this] { destroyed_ = true; });
    if (thread_.joinable()) thread_.join();
  }

  bool Configure(const MorvelInstanceParameters& parameters) override {
    notifier_ = parameters.notifier;
    settings_.contentUrl = parameters.contentUrl;
    status_ = kStatusConfigured;
    thread_ = std::thread([this] { Run(); });
    return true;
  }
  core::morvellib::MorvelLoadSettings* GetLoadSettings() override { return &settings_; }

  bool LoadMVX() override { return LoadMVXAsync(); }
  bool LoadMVXAsync() override {
    return Want([this] { loading_ = true; });
  }
  bool Play() override {
    return Want([this] { playing_ = true; });
  }
  bool Pause() override {
    return Want([this] { playing_ = false; });
  }
  bool Terminate(StageWindowStatus status) override {
    return Want([this, status] { end_ = status; });
  }
  StageWindowStatus GetStageWindowStatus() override {
    std::lock_guard<std::mutex> lock(mutex_);
    return status_;
  }
  Dims GetMVXAuthoredStageDims() override {
    std::lock_guard<std::mutex> lock(mutex_);
    return dims_;
  }

  bool SetRenderPlane(platform::RenderPlane* plane) override {
    // Waits for a frame that is being drawn, and for nothing else: no drawing into the old plane after this.
    std::lock_guard<std::mutex> drawing(drawing_);
    return Want([this, plane] { plane_ = plane; });
  }
  bool ResetRenderPlane(platform::RenderPlane* plane) override { return SetRenderPlane(plane); }
  void RequestInterFrameNotification() override {
    Want([this] { betweenFrames_ = true; });
  }
  void SetStageRect(const Rect&) override {}

  // This content takes no input.
  void KeyDown(unsigned long) override {}
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
  /// Notes a wish and wakes the player's thread; the caller may hold locks of the window and waits for nothing.
  template <typename Wish>
  bool Want(Wish wish) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (IsTerminalStatus(status_)) return false;
    wish();
    wake_.notify_all();
    return true;
  }

  /// Sleeps until there is something to do or, while the content plays, until `due`.
  void Wait(std::chrono::steady_clock::time_point due) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto wanted = [this] {
      return destroyed_ || end_ != kStatusUnconfigured || betweenFrames_ ||
             (loading_ && status_ == kStatusConfigured) ||
             IsRunning() != (status_ == kStatusPlaying);
    };
    if (status_ == kStatusPlaying) {
      wake_.wait_until(lock, due, wanted);
    } else {
      wake_.wait(lock, wanted);
    }
  }

  /// Whether it should be playing. `mutex_` is held.
  bool IsRunning() const {
    return playing_ && plane_ != nullptr && status_ >= kStatusReadyToAnimate;
  }

  void Announce(StageWindowStatus status, const char* message = nullptr) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      status_ = status;  // stored first: the window asks for it from inside of the notification
    }
    StageWindowStatusData data = {};
    data.message = message;
    notifier_->OnMorvelInstanceNotification(status, &data);  // under no lock of ours
  }

  void Load() {
    Announce(kStatusLoading);
    FILE* file = fopen(settings_.contentUrl.Utf8(), "r");
    if (file == nullptr) return Announce(kErrorInvalidURL, "there is no such file");
    Dims dims = {};
    const int fields = fscanf(file, "%u %u %d", &dims.width, &dims.height, &frames_);
    fclose(file);
    if (fields != 3 || dims.width - 1 >= 4096 || dims.height - 1 >= 4096 || frames_ < 1) {
      return Announce(kErrorCorruptMovie, "expected \"WIDTH HEIGHT FRAMES\", sizes of 1 to 4096");
    }
    {
      std::lock_guard<std::mutex> lock(mutex_);
      dims_ = dims;
    }
    Announce(kStatusLoaded);
    Announce(kStatusReadyToAnimate);
  }

  void DrawFrame() {
    Dims dims = {};
    {
      std::lock_guard<std::mutex> drawing(drawing_);
      dims = plane_->GetDims();
      auto* row = static_cast<unsigned char*>(plane_->LockPixels(false));
      const int radius = static_cast<int>(std::min(dims.width, dims.height)) / 6 + 1;
      const int way = static_cast<int>(dims.width) - 2 * radius;
      const int x = radius + (frames_ > 1 ? way * frame_ / (frames_ - 1) : 0);
      const int y = static_cast<int>(dims.height) / 2;
      for (uint32_t line = 0; row != nullptr && line < dims.height;
           ++line, row += plane_->GetPitch()) {
        for (uint32_t column = 0; column < dims.width; ++column) {
          const int dx = static_cast<int>(column) - x, dy = static_cast<int>(line) - y;
          const uint32_t shade = 64 + 160 * line / dims.height;
          const uint32_t pixel =
              dx * dx + dy * dy <= radius * radius ? 0xFFFFB000u : 0xFF001800u + shade;
          memcpy(row + column * 4, &pixel, 4);
        }
      }
      plane_->UnlockPixels();
    }
    const Rect rect = {0, 0, dims.width, dims.height};
    StageWindowStatusData data = {};
    data.rect = &rect;
    notifier_->OnMorvelInstanceNotification(kInfoRenderPlaneUpdated, &data);
  }

  void Run() {
    auto due = std::chrono::steady_clock::now();
    for (;;) {
      Wait(due);
      bool load = false, interFrame = false, change = false, run = false;
      StageWindowStatus end = kStatusUnconfigured;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        if (destroyed_) return;
        end = end_;
        load = loading_ && status_ == kStatusConfigured;
        std::swap(interFrame, betweenFrames_);
        run = IsRunning();
        change = run != (status_ == kStatusPlaying);
      }
      if (end != kStatusUnconfigured) return Announce(end);
      if (interFrame) notifier_->OnMorvelInstanceInterFrameNotification();
      if (load) {
        Load();
        if (IsTerminalStatus(GetStageWindowStatus())) return;
      } else if (change) {
        Announce(run ? kStatusPlaying : kStatusPaused);
        due = std::chrono::steady_clock::now();
      } else if (run && std::chrono::steady_clock::now() >= due) {
        if (frame_ == frames_) return Announce(kStatusComplete);
        DrawFrame();
        ++frame_;
        due += std::chrono::microseconds(33333);
      }
    }
  }

  core::morvellib::MorvelInstanceNotifier* notifier_ = nullptr;
  core::morvellib::MorvelLoadSettings settings_;
  std::thread thread_;
  std::mutex drawing_;  // held while a frame is drawn; taken before mutex_
  std::mutex mutex_;  // guards what follows, but for the frame numbers: those are the thread's own
  std::condition_variable wake_;
  StageWindowStatus status_ = kStatusUnconfigured;
  StageWindowStatus end_ = kStatusUnconfigured;
  bool loading_ = false, playing_ = false, betweenFrames_ = false, destroyed_ = false;
  Dims dims_ = {};
  platform::RenderPlane* plane_ = nullptr;
  int frame_ = 0, frames_ = 0;
};

class Runtime : public core::morvellib::IMorvelRuntimeLib {
 public:
  void GetVersion(char* buffer, unsigned long size) override {
    IQXKernel::GetKernel()->FormatString(buffer, size, "minimal player 1.0");
  }
  uint32_t GetDefaultPixelFormat() override { return platform::kPixelFormat32; }
  void FillInstanceParameters(MorvelInstanceParameters& to,
                              const StageWindowParameters& from) override {
    to.contentUrl.Assign(from.contentPath);
  }
  MorvelInstance* CreateMorvelInstance(StageWindow*) override { return new Instance; }
  void DestroyMorvelInstance(MorvelInstance* instance) override {
    delete static_cast<Instance*>(instance);
  }
};

}  // namespace

extern "C" QX_EXPORT IQXModule* IQXModule_IMorvelRuntimeLib_ModuleLoad() { return new Runtime; }

extern "C" QX_EXPORT void IQXModule_IMorvelRuntimeLib_ModuleUnload(IQXModule* module) {
  delete module;
}
