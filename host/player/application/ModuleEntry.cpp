// Module "IApplicationEngine".
#include <stdlib.h>

#include "host/contracts/HostModule.h"
#include "host/contracts/WatchFiles.h"
#include "host/player/application/ApplicationEngine.h"

namespace plexion_host::player::application {

class ApplicationEngineModule final : public IEngineModule {
 public:
  std::unique_ptr<Engine> CreateEngine(EngineHost& host) override {
    return MakeApplicationEngine(host, engines_, SystemClocks(), getenv(kWatchVariable) != nullptr);
  }

  void OpenLibraries(const std::string& /*format*/) override {
    // What its document names is not known yet, and later the framework could not look around.
    engines_.OpenLibraries(ContentKind::kMedia, "");
    engines_.OpenLibraries(ContentKind::kPicture, kSvgFormat);
  }

 private:
  InstalledEngines engines_;  ///< for what plays inside of applications
};

}  // namespace plexion_host::player::application

PLEXION_HOST_MODULE(IApplicationEngine, plexion_host::player::application::ApplicationEngineModule)
