// Writes a line for each presented frame to the file PLEXION_FRAME_LOG: its time in nanoseconds,
// the pixel in the middle of the screen, and a hash of all pixels.
#include <cstdio>
#include <cstdlib>

#include "host/contracts/HostModule.h"
#include "host/contracts/IHostDisplay.h"
#include "qx/platform/IMouseStream.h"

namespace {

class FrameRecorder final : public qx::platform::IMouseStream, public plexion_host::IFrameObserver {
 public:
  ~FrameRecorder() override {
    if (display_ != nullptr) display_->RemoveFrameObserver(this);
    if (log_ != nullptr) std::fclose(log_);
    IQXKernel::GetKernel()->ReleaseModule(display_);
  }

  bool StartMouseStream(const qx::plexion::StageWindowParameters&) override {
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
    for (uint32_t y = 0; y < frame.dims.height; ++y, row += frame.pitchBytes) {
      const auto* const pixels = reinterpret_cast<const uint32_t*>(row);
      if (y == frame.dims.height / 2) middle = pixels[frame.dims.width / 2];
      for (uint32_t x = 0; x < frame.dims.width; ++x) hash = (hash ^ pixels[x]) * 1099511628211U;
    }
    std::fprintf(log_, "%lld %08x %016llx\n", static_cast<long long>(frame.timeNs), middle,
                 static_cast<unsigned long long>(hash));
  }

 private:
  plexion_host::IHostDisplay* display_ = nullptr;
  std::FILE* log_ = nullptr;
};

}  // namespace

PLEXION_HOST_MODULE(IMouseStream, FrameRecorder)
