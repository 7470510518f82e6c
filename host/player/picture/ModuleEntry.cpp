// Module "IPictureEngine".
#include "host/contracts/HostModule.h"
#include "host/player/content/ContentProbe.h"
#include "host/player/image/SvgLibrary.h"
#include "host/player/picture/PictureEngine.h"

namespace plexion_host::player {

class PictureModule final : public IEngineModule {
 public:
  std::unique_ptr<Engine> CreateEngine(EngineHost& host) override {
    return std::make_unique<PictureEngine>(host);
  }

  void OpenLibraries(const std::string& format) override {
    std::string ignored;  // the picture says what is wrong
    if (format == kSvgFormat) SvgLibrary::Get(ignored);
  }
};

}  // namespace plexion_host::player

PLEXION_HOST_MODULE(IPictureEngine, plexion_host::player::PictureModule)
