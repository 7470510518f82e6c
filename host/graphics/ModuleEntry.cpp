// The library's modules: "IGraphicsDriver" and "IHostDisplay", two sides of one screen, which lives as
// long as either is loaded, and "IHostPlanes".

#include <memory>

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
  DisplayModule() : Display(SharedScreen()) {}
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
