// Module "IDisplayWindow".

#include "host/contracts/HostModule.h"
#include "host/graphics/window/SdlWindow.h"

namespace plexion_host {
namespace {

class DisplayWindowModule final : public IDisplayWindow {
 public:
  std::unique_ptr<PictureWindow> Open(bool fullscreen, qx::plexion::Dims& dims, unsigned quarters,
                                      const std::string& title, std::string& error) override {
    return SdlWindow::Open(fullscreen, dims, quarters, title, error);
  }
};

}  // namespace
}  // namespace plexion_host

PLEXION_HOST_MODULE(IDisplayWindow, plexion_host::DisplayWindowModule)
