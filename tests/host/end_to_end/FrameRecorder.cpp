// Writes a line for each presented frame to the file PLEXION_FRAME_LOG: its time in nanoseconds,
// the pixel in the middle of the screen, a hash of all pixels, the pixels an eighth of the screen
// from its left and its right end, and the screen's size. It takes the place of the pointer stream, or of the page.
#include <cstdio>
#include <cstdlib>

#include "host/contracts/HostModule.h"
#include "host/contracts/IHostDisplay.h"
#include "host/contracts/IHostLook.h"
#include "qx/platform/IMouseStream.h"

namespace {

class Recording final : public plexion_host::IFrameObserver {
 public:
  ~Recording() override {
    if (display_ != nullptr) display_->RemoveFrameObserver(this);
    if (log_ != nullptr) std::fclose(log_);
    IQXKernel::GetKernel()->ReleaseModule(display_);
  }

  bool Start() {
    if (display_ != nullptr) return true;
    log_ = std::fopen(std::getenv("PLEXION_FRAME_LOG"), "w");
    display_ = static_cast<plexion_host::IHostDisplay*>(
        IQXKernel::GetKernel()->AcquireModule("IHostDisplay"));
    if (display_ != nullptr && log_ != nullptr) display_->AddFrameObserver(this);
    return true;
  }

  void OnFramePresented(const plexion_host::PresentedFrame& frame) override {
    uint64_t hash = 14695981039346656037U;
    const auto* row = reinterpret_cast<const unsigned char*>(frame.pixels);
    uint32_t middle = 0;
    uint32_t left = 0;
    uint32_t right = 0;
    for (uint32_t y = 0; y < frame.dims.height; ++y, row += frame.pitchBytes) {
      const auto* const pixels = reinterpret_cast<const uint32_t*>(row);
      if (y == frame.dims.height / 2) {
        middle = pixels[frame.dims.width / 2];
        left = pixels[frame.dims.width / 8];
        right = pixels[frame.dims.width - 1 - frame.dims.width / 8];
      }
      for (uint32_t x = 0; x < frame.dims.width; ++x) hash = (hash ^ pixels[x]) * 1099511628211U;
    }
    std::fprintf(log_, "%lld %08x %016llx %08x %08x %ux%u\n", static_cast<long long>(frame.timeNs),
                 middle, static_cast<unsigned long long>(hash), left, right, frame.dims.width,
                 frame.dims.height);
    std::fflush(log_);
  }

 private:
  plexion_host::IHostDisplay* display_ = nullptr;
  std::FILE* log_ = nullptr;
};

class StreamRecorder final : public qx::platform::IMouseStream {
 public:
  bool StartMouseStream(const qx::plexion::StageWindowParameters&) override {
    return recording_.Start();
  }

 private:
  Recording recording_;
};

class LookRecorder final : public plexion_host::IHostLook {
 public:
  bool Start(const plexion_host::LookSettings&, plexion_host::ILookSource&, std::string&) override {
    return recording_.Start();
  }
  uint16_t GetPort() override { return 1; }
  void Stop() override {}

 private:
  Recording recording_;
};

}  // namespace

PLEXION_HOST_MODULE(IMouseStream, StreamRecorder)
PLEXION_HOST_MODULE(IHostLook, LookRecorder)
