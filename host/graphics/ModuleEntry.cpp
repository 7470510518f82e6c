// The library's modules: "IGraphicsDriver" and "IHostDisplay", two sides of one screen, which lives as
// long as either is loaded, and "IHostPlanes".

#include <memory>
#include <string>

#include "host/base/ModuleHandle.h"
#include "host/base/Mutex.h"
#include "host/contracts/HostModule.h"
#include "host/graphics/Display.h"
#include "host/graphics/GraphicsDriver.h"
#include "host/graphics/pixels/SharedMemory.h"

namespace plexion_host {
namespace {

constexpr qx::plexion::Dims kOffScreenDims{1280, 720};

std::shared_ptr<Screen> SharedScreen() {
  static Mutex mutex;
  static std::weak_ptr<Screen> shared;
  const MutexLock lock(mutex);
  std::shared_ptr<Screen> screen = shared.lock();
  if (screen == nullptr) {
    screen = std::make_shared<Screen>(kOffScreenDims);
    shared = screen;
  }
  return screen;
}

class GraphicsDriverModule final : public GraphicsDriver {
 public:
  GraphicsDriverModule() : GraphicsDriver(SharedScreen()) {}
};

class DisplayModule final : public Display {
 public:
  DisplayModule()
      : Display(SharedScreen(), [this](bool fullscreen, qx::plexion::Dims& dims, unsigned quarters,
                                       const std::string& title, std::string& error) {
          return OpenWindow(fullscreen, dims, quarters, title, error);
        }) {}
  ~DisplayModule() override { Close(); }

 private:
  std::unique_ptr<PictureWindow> OpenWindow(bool fullscreen, qx::plexion::Dims& dims,
                                            unsigned quarters, const std::string& title,
                                            std::string& error) {
    if (!windows_) windows_ = ModuleHandle<IDisplayWindow>("IDisplayWindow");
    if (windows_) return windows_->Open(fullscreen, dims, quarters, title, error);
    error =
        "cannot open a display: this host has no windows (module \"IDisplayWindow\" is not on the "
        "module path, or a library that it needs is not installed); expected the display mode "
        "headless";
    return nullptr;
  }

  ModuleHandle<IDisplayWindow> windows_;  // held from the first window on
};

class PlanesModule final : public IHostPlanes {
 public:
  bool FindShared(const void* pixels, SharedPixels& shared) override {
    return FindSharedMemory(pixels, shared);
  }
};

}  // namespace
}  // namespace plexion_host

PLEXION_HOST_MODULE(IGraphicsDriver, plexion_host::GraphicsDriverModule)
PLEXION_HOST_MODULE(IHostDisplay, plexion_host::DisplayModule)
PLEXION_HOST_MODULE(IHostPlanes, plexion_host::PlanesModule)
