// Module "IApplicationEngine".
#include "host/contracts/HostModule.h"
#include "host/player/application/ApplicationEngine.h"

namespace plexion_host::player::application {

class ApplicationEngineModule final : public IEngineModule {
 public:
  std::unique_ptr<Engine> CreateEngine(EngineHost& host) override {
    return MakeApplicationEngine(host, engines_, SystemClocks());
  }

 private:
  InstalledEngines engines_;  ///< for what plays inside of applications
};

}  // namespace plexion_host::player::application

PLEXION_HOST_MODULE(IApplicationEngine, plexion_host::player::application::ApplicationEngineModule)
